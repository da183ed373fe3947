// Restart intervals in order and side by side, and the blocks in them.
#include "jpeg/scan_decode.h"

#include <algorithm>
#include <cstring>

#include "jpeg/stretches.h"

namespace zelcodecs::jpeg {
namespace {

const char* const kSpareBytes = "bytes after the coded data that belong to nothing";

// Markers that can follow a scan. Any other between restart markers is a damaged byte.
bool endsScan(int marker) {
  return marker == kEOI || marker == kSOS || marker == kDHT || marker == kDQT || marker == kDNL || marker == kDRI;
}

const char* describe(ZelStatus status, int marker) {
  if (status == zelStsJPEGOutOfBufErr) return "the file ends in the coded data";
  if (status == zelStsErr) return "a run of zeros leaves the block";
  return marker ? "the coded data is cut short by a marker" : "no Huffman code matches the coded data";
}

}  // namespace

// ---- Restart intervals ----------------------------------------------------------------------------------------------

ScanDecoder::ScanDecoder(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, int units,
                         int rowUnits, int unitMcus)
    : units_(units),
      wantedEnd_(units),
      base_(scan.begin),
      keepGoing_(keepGoing),
      warnings_(warnings),
      rowUnits_(rowUnits),
      unitMcus_(unitMcus) {
  source_.data = reader.data() + scan.begin;
  source_.length = int(reader.size() - scan.begin);
  // The half of a marker that a cut file ends with would make the coder miss bits that it has.
  while (source_.length > 0 && source_.data[source_.length - 1] == 0xFF) --source_.length;
  if (reader.restartInterval() % unitMcus)
    throw Error(ErrorKind::damaged, "a restart interval that is not a whole number of rows", base_);
  interval_ = std::min(reader.restartInterval() / unitMcus, units_);
  if (interval_ == 0) interval_ = units_;
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&source_.state));
  intervalEnd_ = interval_;
}

void ScanDecoder::reset() {
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&source_.state));
  source_.marker = 0;
  resetPredictors();
}

// The interval of a unit begins at a position.
void ScanDecoder::startAt(int unit, int position) {
  unit_ = unit;
  intervalEnd_ = int(std::min(int64_t{unit} + interval_, int64_t{units_}));
  source_.position = position;
  reset();
}

// The position behind the marker that ends the interval of a unit, whose data begin at a position: the restart marker
// whose turn it is, or behind the last interval any other. -1 where something else comes first.
int ScanDecoder::intervalEnd(int unit, int from) const {
  const bool last = int64_t{unit} + interval_ >= units_;
  for (int at = from; at + 1 < source_.length;) {
    const void* ff = std::memchr(source_.data + at, 0xFF, size_t(source_.length - 1 - at));
    if (!ff) return -1;
    at = int(static_cast<const uint8_t*>(ff) - source_.data);
    const int code = source_.data[at + 1];
    if (code != 0) {
      // A fill byte, too, is rare and left to decoding in order.
      const bool expected = last ? !isRestart(code) && code != 0xFF : code == kRST0 + (unit / interval_ & 7);
      return expected ? at + 2 : -1;
    }
    at += 2;
  }
  return -1;
}

void ScanDecoder::choose(int fromRow, int toRow) {
  wantedEnd_ = int(std::min(int64_t{toRow} * rowUnits_, int64_t{units_}));
  for (int end; int64_t{unit_} + interval_ <= int64_t{fromRow} * rowUnits_; startAt(unit_ + interval_, end)) {
    end = unit_ + interval_ < units_ ? intervalEnd(unit_, source_.position) : -1;
    if (end < 0) return;
  }
}

// ---- In pieces

void ScanDecoder::setTarget(int row) { target_ = int(std::min(int64_t{row} * rowUnits_, int64_t{units_})); }

int ScanDecoder::plan(int row, int threads) {
  setTarget(row);
  plan_.intervals.clear();
  if (unit_ >= target_) return 0;
  if (threads == 1 || keepGoing_ || !findIntervals()) return 1;
  // Pieces that are worth a thread's while.
  constexpr int kLeastMcus = 128;
  plan_.perPiece = ceilDiv(kLeastMcus, interval_ * unitMcus_);
  return ceilDiv(int(plan_.intervals.size()), plan_.perPiece);
}

// The intervals up to the target, where they end there and their markers are all in order. False, with nothing done,
// where not; then only decoding in order can tell what is wrong.
bool ScanDecoder::findIntervals() {
  const bool atStart = unit_ < intervalEnd_ && unit_ % interval_ == 0;
  if (!atStart || interval_ == units_ || (target_ % interval_ && target_ != units_)) return false;
  int begin = source_.position;
  for (int unit = unit_; unit < target_; unit += interval_) {
    const int end = intervalEnd(unit, begin);
    if (end < 0) {
      plan_.intervals.clear();
      return false;
    }
    plan_.intervals.push_back({unit, begin, end, -1, {-1, 0, nullptr}});
    begin = end;
  }
  return true;
}

void ScanDecoder::work(int piece) {
  if (plan_.intervals.empty()) return workInOrder();
  const size_t from = size_t(piece) * size_t(plan_.perPiece);
  const size_t to = std::min(from + size_t(plan_.perPiece), plan_.intervals.size());
  const std::unique_ptr<ScanDecoder> decoder = clone();
  for (size_t i = from; i < to; ++i) {
    decoder->workOn(&plan_.intervals[i]);
    if (plan_.intervals[i].failure.what) return;  // of those after it nothing is told
  }
}

void ScanDecoder::workOn(Interval* interval) {
  startAt(interval->unit, interval->begin);
  source_.length = interval->end;
  if (!decode(unit_, intervalEnd_, &interval->failure)) return;
  if (!source_.marker && source_.position < interval->end - 2) interval->spare = source_.position;
}

// The first interval in the file that fails decides what is reported.
void ScanDecoder::join() {
  if (plan_.intervals.empty()) return;
  for (const Interval& i : plan_.intervals) {
    if (i.failure.what) throw Error(ErrorKind::damaged, i.failure.what, i.failure.offset);
    if (i.spare >= 0) warnings_->add(kSpareBytes, base_ + size_t(i.spare));
  }
  const int end = plan_.intervals.back().end;
  startAt(target_, end);
  if (target_ == units_) source_.marker = source_.data[end - 1];
}

// ---- In order

void ScanDecoder::workInOrder() {
  while (unit_ < target_) {
    if (unit_ == intervalEnd_) beginInterval();
    for (; unit_ < std::min(lostEnd_, target_); ++unit_) loseUnit(unit_);
    if (unit_ == target_ || unit_ == intervalEnd_) continue;
    Failure failure;
    const int end = std::min(intervalEnd_, target_);
    if (decode(unit_, end, &failure)) {
      unit_ = end;
    } else {
      if (!keepGoing_) throw Error(ErrorKind::damaged, failure.what, failure.offset);
      warnings_->add(failure.what, failure.offset);
      unit_ = failure.unit;
      lostEnd_ = intervalEnd_;
    }
  }
}

// Goes behind the restart marker before the next unit. Intervals that a later marker proves lost are passed over, all
// that is left where there is no marker.
void ScanDecoder::beginInterval() {
  const int skipped = nextInterval((unit_ / interval_ - 1) & 7);
  const int64_t lost = skipped < 0 ? units_ : int64_t{skipped} * interval_;
  lostEnd_ = int(std::min(unit_ + lost, int64_t{units_}));
  intervalEnd_ = int(std::min(int64_t{lostEnd_} + interval_, int64_t{units_}));
}

// Decodes units up to the first that is damaged.
bool ScanDecoder::decode(int from, int to, Failure* failure) {
  for (int u = from; u < to;) {
    const int rowEnd = (u / rowUnits_ + 1) * rowUnits_;
    const ZelStatus status = decodeUnits(&u, std::min(rowEnd, to));
    if (status != zelStsNoErr) {
      *failure = {u, offset(), describe(status, source_.marker)};
      return false;
    }
  }
  return true;
}

size_t ScanDecoder::end() {
  if (source_.marker) return offset() - 2;
  return seekMarker() ? offset() - 2 : base_ + size_t(source_.length);
}

// Moves past the next marker and records it. False at the end of the data.
bool ScanDecoder::seekMarker() {
  EntropySource& s = source_;
  const int start = s.position;
  while (s.position + 1 < s.length) {
    const void* ff = std::memchr(s.data + s.position, 0xFF, size_t(s.length - 1 - s.position));
    if (!ff) break;
    s.position = int(static_cast<const uint8_t*>(ff) - s.data);
    const int code = s.data[s.position + 1];
    if (code == 0xFF) {
      ++s.position;
      continue;
    }
    s.position += 2;
    if (code == 0) continue;
    if (s.position - 2 - start > 0) warnings_->add(kSpareBytes, base_ + size_t(start));
    s.marker = code;
    return true;
  }
  s.position = s.length;
  return false;
}

// Goes to the restart marker of the given number and resets. Otherwise, with keepGoing: the number of intervals that a
// later restart marker proves lost, or -1 where the scan has ended. Numbers count modulo 8; one that is up to three
// ahead is taken as later, any other as a marker that comes late and is passed over (T.81 E.1.4 leaves this to the
// decoder).
int ScanDecoder::nextInterval(int expected) {
  for (;;) {
    const bool found = source_.marker || seekMarker();
    if (found && source_.marker == kRST0 + expected) {
      reset();
      return 0;
    }
    const std::string what = "restart marker " + markerName(kRST0 + expected) + " is missing" +
                             (found ? ", " + markerName(source_.marker) + " stands there" : "");
    if (!keepGoing_) throw Error(ErrorKind::damaged, what, offset());
    warnings_->add(what, offset());
    if (!found || endsScan(source_.marker)) return -1;
    const int ahead = (source_.marker - kRST0 - expected) & 7;
    if (isRestart(source_.marker) && ahead <= 3) {
      reset();
      return ahead;
    }
    source_.marker = 0;
  }
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

namespace {

class BlockScan : public ScanDecoder {
 protected:
  BlockScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings)
      : ScanDecoder(reader, scan, keepGoing, warnings, scan.mcusWide(reader.frame()) * scan.mcusHigh(reader.frame()),
                    scan.mcusWide(reader.frame()), 1),
        mcusWide_(scan.mcusWide(reader.frame())) {
    const bool sequential = reader.frame().process != kSOF2;
    const bool needsDc = sequential || (scan.ss == 0 && scan.ah == 0), needsAc = sequential || scan.se > 0;
    for (int i = 0; i < scan.count; ++i) {
      dc_[i] = reader.dcTable(scan.parts[i].dcTable);
      ac_[i] = reader.acTable(scan.parts[i].acTable);
      if ((needsDc && !dc_[i]) || (needsAc && !ac_[i]))
        throw Error(ErrorKind::damaged, "a scan uses a Huffman table that is not there", scan.begin);
    }
  }
  void resetPredictors() override { std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0}); }

  ZelStatus decodeSequential(int part, int16_t* block) {
    return zeliDecodeHuffman8x8_JPEG_1u16s_C1(source_.data, source_.length, &source_.position, block, &lastDc_[part],
                                              &source_.marker, dc_[part].get(), ac_[part].get(), &source_.state);
  }

  int mcusWide_;
  HuffmanTableInForce dc_[kMaxComponents], ac_[kMaxComponents];
  int16_t lastDc_[kMaxComponents] = {};
  int decoded_ = 0;  // good blocks of an MCU that is damaged further on
};

class SequentialScan : public BlockScan {
 public:
  SequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, const McuSink* sink)
      : BlockScan(reader, scan, keepGoing, warnings), sink_(sink) {
    for (int i = 0; i < scan.count; ++i) {
      const Component& c = reader.frame().components[size_t(scan.parts[i].component)];
      for (int b = scan.interleaved() ? c.h * c.v : 1; b > 0; --b) code_.partOf[code_.blocks++] = i;
      code_.dc[i] = dc_[i].get();
      code_.ac[i] = ac_[i].get();
    }
  }

 protected:
  McuCode code_;

 private:
  std::unique_ptr<ScanDecoder> clone() const override { return std::make_unique<SequentialScan>(*this); }
  ZelStatus decodeUnits(int* unit, int end) override {
    struct {
      int16_t* lastDc;
      const ZeliDecodeHuffmanSpec *dc, *ac;
    } of[kMaxBlocksPerMcu];  // each block's
    const int16_t* blocks[kMaxBlocksPerMcu];
    const int count = code_.blocks, y = *unit / mcusWide_;
    for (int b = 0; b < count; ++b) {
      const int part = code_.partOf[b];
      of[b] = {&lastDc_[part], code_.dc[part], code_.ac[part]};
      blocks[b] = blocks_[b];
    }
    for (int x = *unit % mcusWide_; *unit < end; ++*unit, ++x) {
      for (int b = 0; b < count; ++b) {
        const ZelStatus status =
            zeliDecodeHuffman8x8_JPEG_1u16s_C1(source_.data, source_.length, &source_.position, blocks_[b],
                                               of[b].lastDc, &source_.marker, of[b].dc, of[b].ac, &source_.state);
        if (status != zelStsNoErr) {
          decoded_ = b;
          return status;
        }
        last_[b] = int8_t(source_.state.lastPosition);
      }
      sink_->mcu(x, y, blocks, last_);
    }
    return zelStsNoErr;
  }
  void loseUnit(int unit) override {
    std::memset(blocks_[decoded_], 0, sizeof(Block) * size_t(code_.blocks - decoded_));
    std::fill(last_ + decoded_, last_ + code_.blocks, int8_t{0});
    decoded_ = 0;
    deliver(unit % mcusWide_, unit / mcusWide_);
  }
  void deliver(int x, int y) const {
    const int16_t* blocks[kMaxBlocksPerMcu];
    for (int b = 0; b < code_.blocks; ++b) blocks[b] = blocks_[b];
    sink_->mcu(x, y, blocks, last_);
  }

  const McuSink* sink_;
  int8_t last_[kMaxBlocksPerMcu];  // coefficients of the blocks that are not zero
  alignas(32) Block blocks_[kMaxBlocksPerMcu];
};

// The same by several threads where there are no restart markers: MCUs are decoded ahead in stretches, and delivered in
// later rounds.
class StretchedScan : public SequentialScan {
 public:
  StretchedScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, const McuSink* sink)
      : SequentialScan(reader, scan, keepGoing, warnings, sink), stretches_(code_, sink, mcusWide_) {}

 private:
  int plan(int row, int) override {
    const int before = target_;
    setTarget(row);
    if (target_ > before) ahead_ = target_ - before;
    if (delivered_ >= target_) return 0;
    const bool stuck = !goesOn() || unit_ == stuckAt_;
    inOrder_ = stuck && unit_ < target_;
    // Up to the next target, and a little more, as nobody knows exactly how many MCUs are in so many bytes.
    const int spare = ahead_ / 4, aim = std::min(target_ + ahead_ + spare, wantedEnd_);
    const int wanted = stuck ? 0 : std::clamp(aim - unit_, 0, ahead_ + spare);
    decodesAhead_ = wanted > 0;
    delivered_ = inOrder_ ? target_ : std::min(target_, unit_);
    McuState state = {source_, {}};
    std::copy_n(lastDc_, kMaxComponents, state.lastDc);
    return int(inOrder_) + stretches_.plan(std::min(target_, unit_), unit_, state, wanted, units_ - unit_);
  }
  void work(int piece) override {
    if (inOrder_ && piece == 0)
      workInOrder();
    else
      stretches_.work(piece - int(inOrder_));
  }
  void join() override {
    const Stretches::Outcome next = stretches_.join();
    if (!decodesAhead_) return;
    unit_ += next.mcus;
    source_ = next.state.source;
    std::copy_n(next.state.lastDc, kMaxComponents, lastDc_);
    if (next.ended || next.mcus == 0) stuckAt_ = unit_;
  }

  Stretches stretches_;
  int delivered_ = 0;                            // units before this one, when the round is done
  int ahead_ = 0;                                // units from one target to the next
  int stuckAt_ = -1;                             // the unit that stretches have ended at
  bool inOrder_ = false, decodesAhead_ = false;  // in the present round
};

class StoredScan : public BlockScan {
 public:
  StoredScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, const Blocks& blocks)
      : BlockScan(reader, scan, keepGoing, warnings),
        scan_(scan),
        sequential_(reader.frame().process != kSOF2),
        walk_(blocks, reader.frame(), scan) {}

 private:
  std::unique_ptr<ScanDecoder> clone() const override { return std::make_unique<StoredScan>(*this); }

  ZelStatus decodeUnits(int* unit, int end) override {
    EntropySource& s = source_;
    if (sequential_)
      return forEachBlock(unit, end, [&](int part, int16_t* block) { return decodeSequential(part, block); });
    const int ss = scan_.ss, se = scan_.se, al = scan_.al;
    if (ss == 0 && scan_.ah == 0)
      return forEachBlock(unit, end, [&](int part, int16_t* block) {
        return zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &lastDc_[part],
                                                          &s.marker, al, dc_[part].get(), &s.state);
      });
    if (ss == 0)
      return forEachBlock(unit, end, [&](int, int16_t* block) {
        return zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, al,
                                                           &s.state);
      });
    if (scan_.ah == 0)
      return forEachBlock(unit, end, [&](int part, int16_t* block) {
        return zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, ss, se, al,
                                                          ac_[part].get(), &s.state);
      });
    return forEachBlock(unit, end, [&](int part, int16_t* block) {
      return zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, ss, se, al,
                                                         ac_[part].get(), &s.state);
    });
  }

  template <class Decode>
  ZelStatus forEachBlock(int* unit, int end, const Decode& decode) {
    walk_.moveTo(*unit % mcusWide_, *unit / mcusWide_);
    for (; *unit < end; ++*unit, walk_.next())
      for (decoded_ = 0; decoded_ < walk_.count(); ++decoded_) {
        const ZelStatus status = decode(walk_.part(decoded_), walk_.blocks()[decoded_]);
        if (status != zelStsNoErr) return status;
      }
    decoded_ = 0;
    return zelStsNoErr;
  }

  // Blocks of a sequential file may lie in memory that held others before.
  void loseUnit(int unit) override {
    if (!sequential_) return;
    walk_.moveTo(unit % mcusWide_, unit / mcusWide_);
    for (; decoded_ < walk_.count(); ++decoded_) std::memset(walk_.blocks()[decoded_], 0, sizeof(Block));
    decoded_ = 0;
  }

  const Scan scan_;
  const bool sequential_;
  McuWalk<int16_t> walk_;
};

}  // namespace

std::unique_ptr<ScanDecoder> sequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                            const McuSink* sink, int threads) {
  if (threads > 1 && reader.restartInterval() == 0)
    return std::make_unique<StretchedScan>(reader, scan, keepGoing, warnings, sink);
  return std::make_unique<SequentialScan>(reader, scan, keepGoing, warnings, sink);
}

std::unique_ptr<ScanDecoder> storedScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                        const Blocks& blocks) {
  return std::make_unique<StoredScan>(reader, scan, keepGoing, warnings, blocks);
}

}  // namespace zelcodecs::jpeg
