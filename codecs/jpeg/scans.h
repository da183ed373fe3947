// The scans of a file in their order, and what they must bring.
#pragma once

#include <array>
#include <vector>

#include "common/options.h"
#include "common/team.h"
#include "jpeg/planes.h"

namespace zelcodecs::jpeg {

// Opens a file at its first scan and goes on from scan to scan.
class Scans {
 public:
  // Throws what is wrong with the file up to its first scan, and where it is too short for its size in pixels.
  Scans(ByteView file, const JpegDecodeOptions& options);

  const Reader& reader() const { return reader_; }
  const Frame& frame() const { return reader_.frame(); }
  const Scan& current() const { return scan_; }
  Warnings* warnings() { return &warnings_; }

  // Must be called for the current scan. Throws where its parameters are not allowed (T.81 B.2.3, G.1.1.1.1), and where
  // a sequential file codes something twice. A progressive file may; what comes of it is its own affair.
  void admit();
  // Goes to the next scan, behind the data of this one, which end at a position. False at the end of the image; then
  // throws where a component had no scan.
  bool next(size_t end);
  // What is wrong with the scans ends them with a warning where the caller wants to keep going.
  template <class Action>
  void guard(const Action& action) {
    try {
      action();
    } catch (const Error& e) {
      if (!keepGoing_ || e.kind() == ErrorKind::argument) throw;
      warnings_.add(e);
    }
  }

  // The table in force for a component.
  const uint16_t* quant(int component) const;

 private:
  static constexpr int8_t kNothing = -1;
  void checkParameters() const;

  const bool keepGoing_;
  Warnings warnings_;
  Reader reader_;
  Scan scan_;
  std::array<int8_t, 64> known_[kMaxComponents];  // the lowest bit of each coefficient that is there
};

// Decodes every scan into stored blocks. progress: the part done.
void storeScans(Scans* scans, const JpegDecodeOptions& options, Team* team, const Progress& progress,
                JpegCoefficients* store);

// Throws Error(limit) before memory is taken that exceeds the caller's limit.
void requireMemory(uint64_t bytes, const Limits& limits);

}  // namespace zelcodecs::jpeg
