// Files from stored coefficients: any order of scans, and Huffman tables that fit them.
#pragma once

#include "common/team.h"
#include "jpeg/writer.h"

namespace zelcodecs::jpeg {

// Throws what makes a picture impossible to code.
void requireCodable(int width, int height, int64_t restartInterval);

// The MCUs of a scan in pieces of whole restart intervals, for threads.
class Pieces {
 public:
  // Of the MCUs [begin, end) of a scan, which begin with an interval.
  Pieces(int begin, int end, int interval) : begin_(begin), end_(end), interval_(interval ? interval : end) {
    constexpr int kLeast = 256;  // MCUs, so that pieces are worth a thread's while
    step_ = interval_ * ceilDiv(std::min(kLeast, end - begin), interval_);
  }
  int count() const { return (end_ - begin_ - 1) / step_ + 1; }
  int begin(int piece) const { return begin_ + piece * step_; }
  int end(int piece) const { return int(std::min(begin_ + int64_t{piece + 1} * step_, int64_t{end_})); }
  // The end of the restart interval that an MCU is in, and the number of the marker before it.
  int intervalEnd(int mcu) const { return int(std::min((int64_t{mcu} / interval_ + 1) * interval_, int64_t{end_})); }
  int marker(int mcu) const { return (mcu / interval_ - 1) & 7; }

 private:
  const int begin_, end_, interval_;
  int step_;
};

// Writes the file. Scans do not depend on each other and are coded side by side. progress is called by the caller's
// thread.
void writeStored(const JpegCoefficients& in, const JpegWriteOptions& options, const Metadata& metadata, Team* team,
                 const Progress& progress, Sink* sink);

}  // namespace zelcodecs::jpeg
