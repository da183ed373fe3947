#include "jpeg_scan_decode.h"

#include <algorithm>
#include <cstring>

namespace zelcodecs::jpeg {
namespace {

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

ScanDecoder::ScanDecoder(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings)
    : data_(reader.data() + scan.begin),
      length_(static_cast<int>(reader.size() - scan.begin)),
      base_(scan.begin),
      keepGoing_(keepGoing),
      warnings_(warnings),
      restartInterval_(reader.restartInterval()),
      mcusWide_(scan.mcusWide(reader.frame())),
      mcusHigh_(scan.mcusHigh(reader.frame())) {
  // The half of a marker that a cut file ends with would make the coder miss bits that it has.
  while (length_ > 0 && data_[length_ - 1] == 0xFF) --length_;
  for (int i = 0; i < scan.count; ++i) {
    const Scan::Part& part = scan.parts[i];
    const BlockPlan plan = {i, reader.dcTable(part.dcTable), reader.acTable(part.acTable)};
    if (!plan.dc || !plan.ac) throw Error(ErrorKind::damaged, "a scan uses a Huffman table that is not there", base_);
    const Component& c = reader.frame().components[static_cast<size_t>(part.component)];
    const int blocks = scan.interleaved() ? c.h * c.v : 1;
    for (int b = 0; b < blocks; ++b) plan_[planned_++] = plan;
  }
}

void ScanDecoder::reset() {
  zeliDecodeHuffmanStateInit_JPEG_8u(&state_);
  marker_ = 0;
  std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0});
}

size_t ScanDecoder::run(McuSink* sink, const Progress& progress) {
  const int total = mcusWide_ * mcusHigh_;
  // Without restart markers the intervals are rows, between which nothing happens but the report of progress.
  const int step = restartInterval_ ? restartInterval_ : mcusWide_;
  int number = 0;  // of the restart marker that comes next
  reset();
  for (int mcu = 0; mcu < total;) {
    const int count = std::min(step, total - mcu);
    const bool whole = interval(mcu, count, sink);
    mcu += count;
    if (progress && (mcu / mcusWide_) % 16 == 0) progress(static_cast<double>(mcu) / total);
    if (mcu == total) break;
    int skipped = 0;
    if (restartInterval_) {
      skipped = nextInterval(number);
      number = (number + 1 + skipped) & 7;
    } else if (!whole) {
      skipped = -1;
    }
    if (skipped != 0) {  // intervals are lost; all that is left where the number is below 0
      const int lost =
          skipped < 0 ? total - mcu : static_cast<int>(std::min<int64_t>(int64_t{skipped} * step, total - mcu));
      lose(mcu, lost, sink);
      mcu += lost;
    }
  }
  if (marker_) return offset() - 2;
  return seekMarker() ? offset() - 2 : base_ + static_cast<size_t>(length_);
}

// Decodes a restart interval, or a row of one. False where it is damaged: what is missing has been delivered as zeros.
bool ScanDecoder::interval(int first, int count, McuSink* sink) {
  for (int i = 0; i < count; ++i) {
    for (int b = 0; b < planned_; ++b) {
      const BlockPlan& plan = plan_[b];
      const ZelStatus status = zeliDecodeHuffman8x8_JPEG_1u16s_C1(
          data_, length_, &position_, blocks_[b], &lastDc_[plan.part], &marker_, plan.dc, plan.ac, &state_);
      if (status == zelStsNoErr) continue;
      const std::string what = describe(status, marker_);
      if (!keepGoing_) throw Error(ErrorKind::damaged, what, offset());
      warnings_->add(what, offset());
      std::memset(blocks_[b], 0, sizeof(Block) * static_cast<size_t>(planned_ - b));
      deliver(first + i, sink);
      lose(first + i + 1, count - i - 1, sink);
      return false;
    }
    deliver(first + i, sink);
  }
  return true;
}

void ScanDecoder::lose(int first, int count, McuSink* sink) {
  for (int i = 0; i < count; ++i) {
    std::memset(blocks_, 0, sizeof(Block) * static_cast<size_t>(planned_));
    deliver(first + i, sink);
  }
}

// Moves past the next marker and records it. False at the end of the data.
bool ScanDecoder::seekMarker() {
  const int start = position_;
  while (position_ + 1 < length_) {
    const void* ff = std::memchr(data_ + position_, 0xFF, static_cast<size_t>(length_ - 1 - position_));
    if (!ff) break;
    position_ = static_cast<int>(static_cast<const uint8_t*>(ff) - data_);
    const int code = data_[position_ + 1];
    if (code == 0xFF) {
      ++position_;
      continue;
    }
    position_ += 2;
    if (code == 0) continue;
    if (position_ - 2 - start > 0 && isRestart(code))
      warnings_->add("bytes that belong to no restart interval", base_ + static_cast<size_t>(start));
    marker_ = code;
    return true;
  }
  position_ = length_;
  return false;
}

// Goes to the restart marker of the given number and resets. Otherwise, with keepGoing: the number of intervals that a
// later restart marker proves lost, or -1 where the scan has ended. Numbers count modulo 8; one that is up to three
// ahead is taken as later, any other as a marker that comes late and is passed over (T.81 E.1.4 leaves this to the
// decoder).
int ScanDecoder::nextInterval(int expected) {
  for (;;) {
    const bool found = marker_ || seekMarker();
    if (found && marker_ == kRST0 + expected) {
      reset();
      return 0;
    }
    const std::string what = "restart marker " + markerName(kRST0 + expected) + " is missing" +
                             (found ? ", " + markerName(marker_) + " stands there" : "");
    if (!keepGoing_) throw Error(ErrorKind::damaged, what, offset());
    warnings_->add(what, offset());
    if (!found || endsScan(marker_)) return -1;
    const int ahead = (marker_ - kRST0 - expected) & 7;
    if (isRestart(marker_) && ahead <= 3) {
      reset();
      return ahead;
    }
    marker_ = 0;
  }
}

}  // namespace zelcodecs::jpeg
