#include "jpeg/scan_decode.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace zelcodecs::jpeg {
namespace {

const char* const kSpareBytes = "bytes after the coded data that belong to nothing";

bool isRestart(int marker) { return marker >= kRST0 && marker <= kRST7; }

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
    : base_(scan.begin), keepGoing_(keepGoing), warnings_(warnings), units_(units), rowUnits_(rowUnits) {
  source_.data = reader.data() + scan.begin;
  source_.length = int(reader.size() - scan.begin);
  // The half of a marker that a cut file ends with would make the coder miss bits that it has.
  while (source_.length > 0 && source_.data[source_.length - 1] == 0xFF) --source_.length;
  interval_ = reader.restartInterval() / unitMcus;
  if (reader.restartInterval() % unitMcus)
    throw Error(ErrorKind::damaged, "a restart interval that is not a whole number of rows", base_);
}

void ScanDecoder::reset() {
  zeliDecodeHuffmanStateInit_JPEG_8u(&source_.state);
  source_.marker = 0;
  resetPredictors();
}

size_t ScanDecoder::run(int threads, const Progress& progress) {
  size_t end;
  if (interval_ && interval_ < units_ && threads > 1 && !keepGoing_ && runSideBySide(threads, &end)) return end;
  return runInOrder(progress);
}

size_t ScanDecoder::runInOrder(const Progress& progress) {
  // Without restart markers the intervals are rows, between which nothing happens but the report of progress.
  const int step = interval_ ? interval_ : rowUnits_;
  int number = 0;  // of the restart marker that comes next
  const auto lose = [&](int first, int count) {
    for (int u = first; u < first + count; ++u) {
      loseUnit(u);
      if ((u + 1) % rowUnits_ == 0) rowDone(u / rowUnits_);
    }
  };
  reset();
  for (int unit = 0; unit < units_;) {
    const int count = std::min(step, units_ - unit);
    Failure failure;
    const bool whole = interval(unit, count, &failure);
    if (!whole) {
      if (!keepGoing_) throw Error(ErrorKind::damaged, failure.what, failure.offset);
      warnings_->add(failure.what, failure.offset);
      lose(failure.unit, unit + count - failure.unit);
    }
    unit += count;
    if (progress && (unit / rowUnits_) % 16 == 0) progress(double(unit) / units_);
    if (unit == units_) break;
    int skipped = 0;
    if (interval_) {
      skipped = nextInterval(number);
      number = (number + 1 + skipped) & 7;
    } else if (!whole) {
      skipped = -1;
    }
    if (skipped != 0) {  // intervals are lost; all that is left where the number is below 0
      const int lost = skipped < 0 ? units_ - unit : int(std::min<int64_t>(int64_t{skipped} * step, units_ - unit));
      lose(unit, lost);
      unit += lost;
    }
  }
  if (source_.marker) return offset() - 2;
  return seekMarker() ? offset() - 2 : base_ + size_t(source_.length);
}

// Decodes units up to the first that is damaged.
bool ScanDecoder::interval(int first, int count, Failure* failure) {
  const int end = first + count;
  for (int u = first; u < end;) {
    const int row = u / rowUnits_, rowEnd = (row + 1) * rowUnits_;
    const ZelStatus status = decodeUnits(&u, std::min(rowEnd, end));
    if (status != zelStsNoErr) {
      *failure = {u, offset(), describe(status, source_.marker)};
      return false;
    }
    if (u == rowEnd) rowDone(row);
  }
  return true;
}

// The first byte of each interval, where the markers between them are all there, in order and no more.
bool ScanDecoder::findIntervals(std::vector<int>* starts, int* end) const {
  const size_t count = size_t((units_ - 1) / interval_) + 1;
  const uint8_t* const data = source_.data;
  starts->assign(1, 0);
  for (int at = 0; at + 1 < source_.length;) {
    const void* ff = std::memchr(data + at, 0xFF, size_t(source_.length - 1 - at));
    if (!ff) break;
    at = int(static_cast<const uint8_t*>(ff) - data);
    const int code = data[at + 1];
    if (code == 0) {
      at += 2;
    } else if (code == 0xFF) {
      return false;  // a fill byte: rare, and left to the decoder
    } else if (isRestart(code)) {
      if (starts->size() == count || code != kRST0 + int((starts->size() - 1) & 7)) return false;
      at += 2;
      starts->push_back(at);
    } else {
      *end = at;
      return starts->size() == count;
    }
  }
  return false;
}

// False, with nothing done, where the markers are not as they should be; then only decoding in order can tell what is
// wrong. The first interval in the file that fails decides what is reported.
bool ScanDecoder::runSideBySide(int threads, size_t* end) {
  std::vector<int> starts;
  int last = 0;
  if (!findIntervals(&starts, &last)) return false;
  starts.push_back(last + 2);
  const int count = int(starts.size()) - 1;
  std::vector<Failure> failures(size_t(count), Failure{-1, 0, nullptr});
  std::vector<int> spare(size_t(count), -1);  // where bytes stand that no unit needs
  std::atomic<int> failed{count};
#pragma omp parallel num_threads(threads)
  {
    const std::unique_ptr<ScanDecoder> decoder = clone();
#pragma omp for schedule(dynamic)
    for (int i = 0; i < count; ++i) {
      if (i > failed.load()) continue;
      const size_t n = size_t(i);
      decoder->source_.position = starts[n];
      decoder->source_.length = starts[n + 1];  // up to and with the marker
      decoder->reset();
      const int first = i * interval_;
      if (!decoder->interval(first, std::min(interval_, units_ - first), &failures[n])) {
        int before = failed.load();
        while (i < before && !failed.compare_exchange_weak(before, i)) {
        }
      } else if (!decoder->source_.marker && decoder->source_.position < starts[n + 1] - 2) {
        spare[n] = decoder->source_.position;
      }
    }
  }
  if (failed.load() < count) {
    const Failure& f = failures[size_t(failed.load())];
    throw Error(ErrorKind::damaged, f.what, f.offset);
  }
  for (int at : spare)
    if (at >= 0) warnings_->add(kSpareBytes, base_ + size_t(at));
  *end = base_ + size_t(last);
  return true;
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
    const bool needsDc = scan.ss == 0 && scan.ah == 0, needsAc = scan.se > 0;
    for (int i = 0; i < scan.count; ++i) {
      const Scan::Part& part = scan.parts[i];
      dc_[i] = reader.dcTable(part.dcTable);
      ac_[i] = reader.acTable(part.acTable);
      if ((needsDc && !dc_[i]) || (needsAc && !ac_[i]))
        throw Error(ErrorKind::damaged, "a scan uses a Huffman table that is not there", scan.begin);
      const Component& c = reader.frame().components[size_t(part.component)];
      const int blocks = scan.interleaved() ? c.h * c.v : 1;
      for (int b = 0; b < blocks; ++b) partOf_[planned_++] = i;
    }
  }
  void resetPredictors() override { std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0}); }
  void rowDone(int) override {}

  ZelStatus decodeSequential(int part, int16_t* block) {
    return zeliDecodeHuffman8x8_JPEG_1u16s_C1(source_.data, source_.length, &source_.position, block, &lastDc_[part],
                                              &source_.marker, dc_[part], ac_[part], &source_.state);
  }

  int mcusWide_;
  const ZeliDecodeHuffmanSpec *dc_[kMaxComponents], *ac_[kMaxComponents];
  int partOf_[kMaxBlocksPerMcu];  // of each block of the MCU
  int planned_ = 0;
  int16_t lastDc_[kMaxComponents] = {};
};

class SequentialScan : public BlockScan {
 public:
  SequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, McuSink* sink)
      : BlockScan(reader, scan, keepGoing, warnings), sink_(sink) {}
  SequentialScan(const SequentialScan&) = default;

 private:
  std::unique_ptr<ScanDecoder> clone() const override {
    auto copy = std::make_unique<SequentialScan>(*this);
    copy->tellsRows_ = false;
    return copy;
  }
  ZelStatus decodeUnits(int* unit, int end) override {
    const int y = *unit / mcusWide_;
    for (int x = *unit % mcusWide_; *unit < end; ++*unit, ++x) {
      for (decoded_ = 0; decoded_ < planned_; ++decoded_) {
        const ZelStatus status = decodeSequential(partOf_[decoded_], blocks_[decoded_]);
        if (status != zelStsNoErr) return status;
      }
      decoded_ = 0;
      deliver(x, y);
    }
    return zelStsNoErr;
  }
  void loseUnit(int unit) override {
    std::memset(blocks_[decoded_], 0, sizeof(Block) * size_t(planned_ - decoded_));
    decoded_ = 0;
    deliver(unit % mcusWide_, unit / mcusWide_);
  }
  void rowDone(int row) override {
    if (tellsRows_) sink_->rowDone(row);
  }
  void deliver(int x, int y) const {
    const int16_t* blocks[kMaxBlocksPerMcu];
    for (int b = 0; b < planned_; ++b) blocks[b] = blocks_[b];
    sink_->mcu(x, y, blocks);
  }

  McuSink* sink_;
  bool tellsRows_ = true;
  int decoded_ = 0;  // good blocks of an MCU that is damaged further on
  alignas(32) Block blocks_[kMaxBlocksPerMcu];
};

class StoredScan : public BlockScan {
 public:
  StoredScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, JpegCoefficients* store)
      : BlockScan(reader, scan, keepGoing, warnings), scan_(scan), sequential_(reader.frame().process != kSOF2) {
    for (int i = 0, b = 0; i < scan.count; ++i) {
      JpegCoefficients::Component& c = store->components[size_t(scan.parts[i].component)];
      const int h = scan.interleaved() ? c.h : 1, v = scan.interleaved() ? c.v : 1;
      for (int k = 0; k < h * v; ++k, ++b) {
        const size_t row = 64 * size_t(c.storedWide);
        places_[b] = {c.values.data() + size_t(k / h) * row + 64 * size_t(k % h), 64 * size_t(h), size_t(v) * row};
      }
    }
  }

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
                                                          &s.marker, al, dc_[part], &s.state);
      });
    if (ss == 0)
      return forEachBlock(unit, end, [&](int, int16_t* block) {
        return zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, al,
                                                           &s.state);
      });
    if (scan_.ah == 0)
      return forEachBlock(unit, end, [&](int part, int16_t* block) {
        return zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, ss, se, al,
                                                          ac_[part], &s.state);
      });
    return forEachBlock(unit, end, [&](int part, int16_t* block) {
      return zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(s.data, s.length, &s.position, block, &s.marker, ss, se, al,
                                                         ac_[part], &s.state);
    });
  }
  void loseUnit(int) override {}

  // Scans of one position touch a line of each block only: the processor does not foresee that.
  static constexpr size_t kAhead = 6;
  template <class Decode>
  ZelStatus forEachBlock(int* unit, int end, const Decode& decode) {
    const size_t x = size_t(*unit % mcusWide_), y = size_t(*unit / mcusWide_);
    int16_t* blocks[kMaxBlocksPerMcu];
    for (int b = 0; b < planned_; ++b) blocks[b] = places_[b].first + x * places_[b].mcuStep + y * places_[b].rowStep;
    for (; *unit < end; ++*unit)
      for (int b = 0; b < planned_; ++b) {
        __builtin_prefetch(blocks[b] + kAhead * places_[b].mcuStep, 1);
        const ZelStatus status = decode(partOf_[b], blocks[b]);
        if (status != zelStsNoErr) return status;
        blocks[b] += places_[b].mcuStep;
      }
    return zelStsNoErr;
  }

  struct Place {
    int16_t* first;           // of the block in the first MCU
    size_t mcuStep, rowStep;  // to the next MCU in the row and in the column
  };
  Scan scan_;
  bool sequential_;
  Place places_[kMaxBlocksPerMcu];
};

}  // namespace

std::unique_ptr<ScanDecoder> sequentialScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                            McuSink* sink) {
  return std::make_unique<SequentialScan>(reader, scan, keepGoing, warnings, sink);
}

std::unique_ptr<ScanDecoder> storedScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                        JpegCoefficients* store) {
  return std::make_unique<StoredScan>(reader, scan, keepGoing, warnings, store);
}

}  // namespace zelcodecs::jpeg
