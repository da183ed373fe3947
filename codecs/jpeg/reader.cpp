// The walk over marker segments, and what is in them.
#include "jpeg/reader.h"

#include <climits>
#include <cstdio>
#include <cstring>

namespace zelcodecs::jpeg {
namespace {

int word(const uint8_t* p) { return p[0] << 8 | p[1]; }

[[noreturn]] void damaged(const std::string& what, size_t offset) { throw Error(ErrorKind::damaged, what, offset); }

bool isFrame(int marker) {
  return marker >= kSOF0 && marker <= kSOF15 && marker != kDHT && marker != kJPG && marker != kDAC;
}

}  // namespace

std::string markerName(int code) {
  char name[8];
  std::snprintf(name, sizeof name, "FF%02X", unsigned(code) & 255);
  return name;
}

Reader::Reader(const uint8_t* data, size_t size, const Limits& limits, bool skipJunk, Warnings* warnings)
    : data_(data), size_(size), limits_(limits), skipJunk_(skipJunk), warnings_(warnings) {
  if (size < 2 || data[0] != 0xFF || data[1] != kSOI) throw Error(ErrorKind::unsupported, "not a JPEG file", 0);
  // The coders count bytes in 32 bits.
  if (size > INT_MAX) throw Error(ErrorKind::limit, "a JPEG file above 2 GB");
  at_ = 2;
}

// The code of the marker at the current position, which moves past it; any number of fill bytes may stand before it.
int Reader::nextMarker() {
  const size_t start = at_;
  while (at_ < size_ && data_[at_] != 0xFF) ++at_;
  if (at_ != start && at_ < size_) {
    if (!skipJunk_) damaged("a marker is expected", start);
    warnings_->add(std::to_string(at_ - start) + " bytes that belong to no segment", start);
  }
  while (at_ < size_ && data_[at_] == 0xFF) ++at_;
  if (at_ >= size_) damaged("the file ends without an end-of-image marker", size_);
  return data_[at_++];
}

bool Reader::nextScan(Scan* scan) {
  for (;;) {
    const int marker = nextMarker();
    const size_t start = at_ - 2;
    if (marker == kEOI) {
      if (frame_.process < 0) damaged("the image ends before a frame header", start);
      return false;
    }
    if (marker == kSOI) damaged("a second start-of-image marker", start);
    if (isRestart(marker) || marker == kTEM || marker == 0) {
      if (marker == 0 && !skipJunk_) damaged("a marker is expected", start);
      warnings_->add("marker " + markerName(marker) + " out of place", start);
      continue;
    }
    if (size_ - at_ < 2) damaged("the file ends in a marker segment", size_);
    const size_t length = size_t(word(data_ + at_));
    if (length < 2) damaged("marker segment " + markerName(marker) + " has a length below 2", at_);
    if (length > size_ - at_) damaged("the file ends in marker segment " + markerName(marker), size_);
    const ByteView payload = {data_ + at_ + 2, length - 2};
    const size_t offset = at_ + 2;
    at_ += length;
    if (marker == kDHP) throw Error(ErrorKind::unsupported, "hierarchical JPEG is not supported,", start);
    if (marker == kSOS) {
      readScan(scan, payload.data, payload.size, offset);
      return true;
    }
    readSegment(marker, payload, offset);
  }
}

void Reader::readSegment(int marker, ByteView payload, size_t offset) {
  const uint8_t* const p = payload.data;
  if (isFrame(marker)) {
    readFrame(marker, p, payload.size, offset);
  } else if (marker == kDQT) {
    readQuantTables(p, payload.size, offset);
  } else if (marker == kDHT) {
    readHuffmanTables(p, payload.size, offset);
  } else if (marker == kDRI) {
    if (payload.size != 2) damaged("a restart interval segment of the wrong length", offset);
    restartInterval_ = word(p);
  } else {
    if (marker == kAPP0 && payload.size >= 5 && std::memcmp(p, "JFIF", 5) == 0) jfif_ = true;
    if (marker == kAPP14 && payload.size >= 12 && std::memcmp(p, "Adobe", 5) == 0) adobeTransform_ = p[11];
    metadata_.add(marker, payload, offset);
  }
}

void Reader::readFrame(int marker, const uint8_t* p, size_t length, size_t offset) {
  if (frame_.process >= 0) damaged("a second frame header", offset);
  if (length < 6) damaged("a frame header that is too short", offset);
  Frame f;
  f.process = marker;
  f.offset = offset;
  f.precision = p[0];
  f.height = word(p + 1);
  f.width = word(p + 3);
  const int count = p[5];
  if (length != 6 + 3 * size_t(count)) damaged("a frame header of the wrong length", offset);
  if (count == 0 || f.width == 0) damaged("a frame without components or columns", offset);
  if (count > kMaxComponents)
    throw Error(ErrorKind::unsupported, "a file with " + std::to_string(count) + " components", offset + 5);
  const bool lossless = (marker & 3) == 3;
  if (lossless ? f.precision < 2 || f.precision > 16 : f.precision != 8 && (f.precision != 12 || marker == kSOF0))
    damaged("a precision of " + std::to_string(f.precision) + " bits in a " + processName(marker) + " file", offset);
  for (int i = 0; i < count; ++i) {
    const uint8_t* q = p + 6 + 3 * i;
    const size_t at = offset + size_t(6 + 3 * i);
    Component c;
    c.id = q[0];
    c.h = q[1] >> 4;
    c.v = q[1] & 15;
    c.quantTable = q[2];
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4) damaged("a sampling factor outside 1 to 4", at + 1);
    if (c.quantTable > 3) damaged("a quantisation table number above 3", at + 2);
    for (const Component& other : f.components)
      if (other.id == c.id) damaged("two components with the same number", at);
    f.components.push_back(c);
  }
  frame_ = f;
}

// A height of 0 says that a DNL segment after the first scan holds it (T.81 B.2.5).
void Reader::settleHeight(size_t scanBegin) {
  if (frame_.mcusWide > 0) return;
  if (frame_.height == 0) {
    const size_t end = endOfScan(scanBegin);
    if (size_ - end < 6 || data_[end + 1] != kDNL) damaged("neither the frame nor a DNL segment gives the height", end);
    frame_.height = word(data_ + end + 4);
    if (frame_.height == 0) damaged("a frame without lines", end + 4);
  }
  checkSize(uint64_t(frame_.width), uint64_t(frame_.height), limits_, frame_.offset);
  frame_.layOut();
}

void Reader::readScan(Scan* scan, const uint8_t* p, size_t length, size_t offset) {
  if (frame_.process < 0) damaged("a scan before the frame header", offset);
  if (++scans_ > limits_.maxScans)
    throw Error(ErrorKind::limit, "more than " + std::to_string(limits_.maxScans) + " scans", offset);
  if (length < 1) damaged("a scan header that is too short", offset);
  Scan s;
  s.count = p[0];
  if (s.count < 1 || s.count > kMaxComponents || length != 4 + 2 * size_t(s.count))
    damaged("a scan header of the wrong length", offset);
  settleHeight(offset + length);
  int blocks = 0;
  for (int i = 0; i < s.count; ++i) {
    const uint8_t* q = p + 1 + 2 * i;
    const size_t at = offset + size_t(1 + 2 * i);
    Scan::Part& part = s.parts[i];
    part.component = -1;
    for (size_t c = 0; c < frame_.components.size(); ++c)
      if (frame_.components[c].id == q[0]) part.component = int(c);
    if (part.component < 0) damaged("a scan of a component that the frame does not have", at);
    for (int k = 0; k < i; ++k)
      if (s.parts[k].component == part.component) damaged("a component twice in a scan", at);
    part.dcTable = q[1] >> 4;
    part.acTable = q[1] & 15;
    if (part.dcTable > 3 || part.acTable > 3) damaged("a Huffman table number above 3", at + 1);
    const Component& c = frame_.components[size_t(part.component)];
    blocks += c.h * c.v;
  }
  if (s.interleaved() && blocks > kMaxBlocksPerMcu) damaged("more than 10 blocks in an MCU", offset);
  const uint8_t* tail = p + 1 + 2 * s.count;
  s.ss = tail[0];
  s.se = tail[1];
  s.ah = tail[2] >> 4;
  s.al = tail[2] & 15;
  s.begin = offset + length;
  *scan = s;
}

void Reader::readQuantTables(const uint8_t* p, size_t length, size_t offset) {
  const uint8_t* const end = p + length;
  while (p < end) {
    const size_t at = offset + length - size_t(end - p);
    const int number = *p & 15, precision = *p >> 4;
    if (number > 3 || precision > 1) damaged("a quantisation table with a wrong number or precision", at);
    ++p;
    if (end - p < (precision ? 128 : 64)) damaged("a quantisation table that is too short", at);
    QuantTable& t = quant_[number];
    t.present = true;
    t.wide = precision != 0;
    if (t.wide) {
      for (int k = 0; k < 64; ++k) t.inverse[kNaturalOrder[k]] = uint16_t(word(p + 2 * k));
      p += 128;
    } else {
      require(zeliQuantInvTableInit_JPEG_8u16u(p, t.inverse));
      p += 64;
    }
    for (uint16_t q : t.inverse)
      if (q == 0) {
        warnings_->add("a quantisation step of 0", at);
        break;
      }
  }
}

void Reader::readHuffmanTables(const uint8_t* p, size_t length, size_t offset) {
  const uint8_t* const end = p + length;
  while (p < end) {
    const size_t at = offset + length - size_t(end - p);
    const int kind = *p >> 4, number = *p & 15;
    if (kind > 1 || number > 3) damaged("a Huffman table with a wrong class or number", at);
    ++p;
    if (end - p < 16) damaged("a Huffman table that is too short", at);
    HuffmanTable t = {};
    std::memcpy(t.bits, p, 16);
    p += 16;
    const int count = t.count();
    if (count > 256 || count > end - p) damaged("a Huffman table with more codes than values", at);
    // More codes of a length than are left would decode to anything (T.81 Annex C).
    int room = 1;
    for (uint8_t n : t.bits)
      if ((room = 2 * room - n) < 0) damaged("a Huffman table with too many short codes", at);
    std::memcpy(t.values, p, size_t(count));
    p += count;
    auto table = std::make_shared<ZeliDecodeHuffmanSpec>();
    if (zeliDecodeHuffmanSpecInit_JPEG_8u(t.bits, t.values, table.get()) != zelStsNoErr)
      damaged("an invalid Huffman table", at);
    (kind ? ac_ : dc_)[number] = std::move(table);
  }
}

size_t Reader::endOfScan(size_t from) const {
  for (size_t i = from; i + 1 < size_;) {
    const void* ff = std::memchr(data_ + i, 0xFF, size_ - 1 - i);
    if (!ff) break;
    i = size_t(static_cast<const uint8_t*>(ff) - data_);
    const int code = data_[i + 1];
    if (code == 0xFF) {
      ++i;  // fill
    } else if (code == 0 || isRestart(code)) {
      i += 2;
    } else {
      return i;
    }
  }
  return size_;
}

}  // namespace zelcodecs::jpeg
