// The entropy-coded data of a scan: restart interval after restart interval, in sequential (T.81 F.2), progressive
// (G.2) and lossless (H.2) files.
#pragma once

#include <memory>

#include "jpeg/reader.h"

namespace zelcodecs::jpeg {

using Block = int16_t[64];  // quantised coefficients in natural order

// A position in the entropy-coded data.
struct EntropySource {
  const uint8_t* data = nullptr;
  int length = 0;
  int position = 0;
  int marker = 0;
  ZeliDecodeHuffmanState state;
};

// Walks the restart intervals of a scan. They consist of units: MCUs, or rows of MCUs in lossless scans. Each interval
// begins with a reset of everything but the position, so that intervals whose markers are all in place can be decoded
// side by side.
class ScanDecoder {
 public:
  virtual ~ScanDecoder() = default;

  // Decodes the scan and returns the position after its data.
  size_t run(int threads, const Progress& progress);

 protected:
  // rowUnits: the units of a row, after which rowDone() is called.
  ScanDecoder(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, int units, int rowUnits,
              int unitMcus);
  ScanDecoder(const ScanDecoder&) = default;

  virtual std::unique_ptr<ScanDecoder> clone() const = 0;
  virtual void resetPredictors() = 0;
  // Decodes units of one row up to the first that is damaged, and moves *unit past the good ones.
  virtual ZelStatus decodeUnits(int* unit, int end) = 0;
  // The unit whose decoding has failed, or that was not tried.
  virtual void loseUnit(int unit) = 0;
  // All units of the row are decoded or lost. Not called where intervals are decoded side by side.
  virtual void rowDone(int row) = 0;

  size_t offset() const { return base_ + size_t(source_.position); }

  EntropySource source_;

 private:
  struct Failure {
    int unit;
    size_t offset;
    const char* what;
  };
  size_t runInOrder(const Progress& progress);
  bool runSideBySide(int threads, size_t* end);
  bool findIntervals(std::vector<int>* starts, int* end) const;
  bool interval(int first, int count, Failure* failure);
  int nextInterval(int expected);
  bool seekMarker();
  void reset();

  size_t base_;  // of the data, in the file
  bool keepGoing_;
  Warnings* warnings_;
  int units_, rowUnits_;
  int interval_;  // in units; 0 without restart markers
};

// Receives MCUs. The blocks of a component are in rows from left to right (T.81 A.2.3), the components one after the
// other. Threads may call mcu() at once for MCUs of different rows or intervals.
class McuSink {
 public:
  virtual ~McuSink() = default;
  virtual void mcu(int x, int y, const int16_t* const* blocks) const = 0;
  // All MCUs of a row have been received.
  virtual void rowDone(int) {}
};

// A sequential scan: sink gets every MCU once, those that are lost with zeros from the damaged block on. Throws where
// the scan names tables that the file has not defined.
std::unique_ptr<ScanDecoder> sequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                            McuSink* sink);

// A sequential or progressive scan into stored blocks. What is lost stays as the scans before left it.
std::unique_ptr<ScanDecoder> storedScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                        JpegCoefficients* store);

}  // namespace zelcodecs::jpeg
