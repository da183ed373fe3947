// The entropy-coded data of a scan: restart interval after restart interval, in sequential (T.81 F.2), progressive
// (G.2) and lossless (H.2) files.
#pragma once

#include <memory>
#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/reader.h"

namespace zelcodecs::jpeg {

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
// side by side, or passed over.
class ScanDecoder {
 public:
  virtual ~ScanDecoder() = default;

  // Rows of MCUs.
  int rows() const { return units_ / rowUnits_; }
  bool hasIntervals() const { return interval_ < units_; }

  // At the start of the scan: only these rows are wanted. Passes over the intervals that end before them, as far as
  // their markers are in order.
  void choose(int fromRow, int toRow);

  // Decodes on to a row, in rounds of pieces that may be done side by side: as long as plan() gives any, work() for
  // each of them, then join(). Rounds of a single piece for a single thread.
  virtual int plan(int row, int threads);
  virtual void work(int piece);
  virtual void join();

  // After the last row: the position behind the scan's data.
  size_t end();
  // The position in the file.
  size_t offset() const { return base_ + size_t(source_.position); }

 protected:
  // rowUnits: the units of a row.
  ScanDecoder(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, int units, int rowUnits,
              int unitMcus);
  ScanDecoder(const ScanDecoder&) = default;

  virtual std::unique_ptr<ScanDecoder> clone() const = 0;
  virtual void resetPredictors() = 0;
  // Decodes units of one row up to the first that is damaged, and moves *unit past the good ones.
  virtual ZelStatus decodeUnits(int* unit, int end) = 0;
  // The unit whose decoding has failed, or that was not tried.
  virtual void loseUnit(int unit) = 0;

  // In order up to the target of the present plan.
  void setTarget(int row);
  void workInOrder();
  // Whether the next unit may be decoded straight away: it lies in an interval that is not lost.
  bool goesOn() const { return unit_ < intervalEnd_ && unit_ >= lostEnd_ && !source_.marker; }

  EntropySource source_;
  int units_;
  int unit_ = 0;    // the next one
  int target_ = 0;  // where the present plan ends
  int wantedEnd_;   // units from here on are not wanted

 private:
  struct Failure {
    int unit;
    size_t offset;
    const char* what;
  };
  // An interval that is decoded beside others: its data, up to and with the marker behind it.
  struct Interval {
    int unit, begin, end;
    int spare;  // where bytes stand that no unit needs, or -1
    Failure failure;
  };
  // What is to be decoded side by side. Copies of a decoder work on single intervals and have no plan of their own.
  struct Plan {
    Plan() = default;
    Plan(const Plan&) {}
    std::vector<Interval> intervals;
    int perPiece = 1;
  };
  bool findIntervals();
  int intervalEnd(int unit, int from) const;
  void workOn(Interval* interval);
  void beginInterval();
  bool decode(int from, int to, Failure* failure);
  int nextInterval(int expected);
  bool seekMarker();
  void startAt(int unit, int position);
  void reset();

  size_t base_;  // of the data, in the file
  bool keepGoing_;
  Warnings* warnings_;
  int rowUnits_, unitMcus_;
  int interval_;         // in units; all of them without restart markers
  int intervalEnd_ = 0;  // of the interval that unit_ is in, or that ends before it
  int lostEnd_ = 0;      // units before this one are lost
  Plan plan_;            // empty where the intervals are decoded in order
};

// Receives MCUs as they are decoded. Threads may call it at once for different MCUs.
class McuSink {
 public:
  virtual ~McuSink() = default;
  // last: the zigzag position of each block's last coefficient that is not zero, or null where that is not known.
  virtual void mcu(int x, int y, const int16_t* const* blocks, const int8_t* last) const = 0;
};

// A sequential scan: sink gets every MCU once, those that are lost with zeros from the damaged block on. Throws where
// the scan names tables that the file has not defined. threads: how many will share the work.
std::unique_ptr<ScanDecoder> sequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                            const McuSink* sink, int threads);

// A sequential or progressive scan into stored blocks. What a progressive scan loses stays as the scans before left it.
std::unique_ptr<ScanDecoder> storedScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                        const Blocks& blocks);

}  // namespace zelcodecs::jpeg
