// Marker segments are read where they stand in the file; nothing is kept of them but what they say.
#include "jpeg2000/codestream.h"

#include <cstdio>

#include "common/image.h"

namespace zelcodecs::jpeg2000 {
namespace {

std::string name(int marker) {
  char text[8];
  std::snprintf(text, sizeof text, "%04X", unsigned(marker));
  return text;
}

// Markers without a segment.
bool alone(int marker) {
  return (marker >= 0xFF30 && marker <= 0xFF3F) || marker == kSOC || marker == kEPH || marker == kSOD || marker == kEOC;
}

}  // namespace

// ---- The main header ------------------------------------------------------------------------------------------------

Codestream::Codestream(ByteView bytes, size_t offset, const Limits& limits)
    : bytes_(bytes), offset_(offset), limits_(limits) {
  if (bytes.size < 4 || int(bigEndian16(bytes.data)) != kSOC) damaged("the codestream does not begin as it must", 0);
  readMainHeader();
}

int Codestream::nextMarker(size_t* at) const {
  if (bytes_.size - *at < 2) damaged("the codestream ends where a marker is expected", bytes_.size);
  const int marker = int(bigEndian16(bytes_.data + *at));
  if (marker < 0xFF00) damaged("a marker is expected", *at);
  *at += 2;
  return marker;
}

Codestream::Segment Codestream::segment(size_t* at) const {
  if (bytes_.size - *at < 2) damaged("the codestream ends in a marker segment", bytes_.size);
  const size_t length = bigEndian16(bytes_.data + *at);
  if (length < 2 || length > bytes_.size - *at) damaged("a marker segment of an impossible length", *at);
  const Segment s = {{bytes_.data + *at + 2, length - 2}, *at + 2};
  *at += length;
  return s;
}

void Codestream::readMainHeader() {
  std::map<int, Segment> packed;  // PPM by number
  for (size_t at = 2;;) {
    const size_t start = at;
    const int marker = nextMarker(&at);
    if (marker == kSOT || marker == kEOC) {
      mainEnd_ = start;
      break;
    }
    if (alone(marker)) continue;
    const Segment s = segment(&at);
    if (marker == kSIZ) {
      if (!grid_.components.empty()) damaged("a second image size", start);
      readSize(s);
      continue;
    }
    if (grid_.components.empty()) damaged("the image size does not come first", start);
    if (marker == kPPM) {
      if (s.bytes.size < 1) damaged("packed packet headers without a number", s.at);
      packed[s.bytes.data[0]] = {s.bytes.from(1), s.at + 1};
    } else if (marker == kCOM) {
      if (s.bytes.size >= 2 && bigEndian16(s.bytes.data) == 1)  // text
        comments_.emplace_back(s.bytes.begin() + 2, s.bytes.end());
    } else {
      readStyle(marker, s, &styles_);
    }
  }
  if (grid_.components.empty()) damaged("a codestream without an image size", mainEnd_);
  if (!styles_.tile || !styles_.quantisation) damaged("a codestream without coding style or quantisation", mainEnd_);
  splitPackedHeaders(packed);
}

// Segments that may stand in the main header and in a tile's. False for those that say nothing of the style: lengths of
// tile-parts and packets, registration, what later editions add.
bool Codestream::readStyle(int marker, const Segment& s, HeaderStyles* to) const {
  switch (marker) {
    case kCOD:
      readCod(s, to);
      return true;
    case kCOC:
      readCoc(s, to);
      return true;
    case kQCD:
      to->quantisation = readQuantisation(s, 0);
      return true;
    case kQCC:
      readQcc(s, to);
      return true;
    case kRGN:
      readRgn(s, to);
      return true;
    case kPOC:
      readPoc(s, to);
      return true;
  }
  return false;
}

// SIZ (T.800 A.5.1): image and tiles on the reference grid, then the components. A tile may reach beyond 2^31; it is
// cut off there, as the image ends before.
void Codestream::readSize(const Segment& s) {
  if (s.bytes.size < 36 + 3) damaged("an image size that is too short", s.at);
  uint32_t v[8];
  for (int i = 0; i < 8; ++i) v[i] = bigEndian32(s.bytes.data + 2 + 4 * i);
  checkGrid(v, s.at);
  grid_.image = {int(v[2]), int(v[3]), int(v[0]), int(v[1])};
  grid_.tile = {int(v[6]), int(v[7]), int(std::min<uint64_t>(uint64_t{v[6]} + v[4], INT32_MAX)),
                int(std::min<uint64_t>(uint64_t{v[7]} + v[5], INT32_MAX))};
  if (uint64_t(grid_.tilesAcross()) * uint64_t(grid_.tilesDown()) > 65535) damaged("more than 65535 tiles", s.at);
  checkSize(uint64_t(grid_.image.width()), uint64_t(grid_.image.height()), limits_, offset_ + s.at);
  readComponents(s);
}

// Right, bottom, left and top of the image; width, height, left and top of the first tile.
void Codestream::checkGrid(const uint32_t (&v)[8], size_t at) const {
  for (uint32_t x : v)
    if (x > INT32_MAX) throw Error(ErrorKind::limit, "a reference grid above 2^31", offset_ + at);
  const bool image = v[0] > v[2] && v[1] > v[3];
  const bool tile = v[4] > 0 && v[5] > 0 && v[6] <= v[2] && v[7] <= v[3] && uint64_t{v[6]} + v[4] > v[2] &&
                    uint64_t{v[7]} + v[5] > v[3];
  if (!image || !tile) damaged("an image or tiles without area", at);
}

void Codestream::readComponents(const Segment& s) {
  const size_t count = bigEndian16(s.bytes.data + 34);
  if (count < 1 || count > 16384 || s.bytes.size != 36 + 3 * count) damaged("an image size of the wrong length", s.at);
  // There may be far more components than a picture has channels. Up to four samples for each pixel are allowed.
  uint64_t samples = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* p = s.bytes.data + 36 + 3 * i;
    ComponentSize c;
    c.precision = (p[0] & 0x7F) + 1;
    c.isSigned = p[0] & 0x80;
    c.dx = p[1];
    c.dy = p[2];
    if (c.dx == 0 || c.dy == 0) damaged("a component without samples", s.at + 36 + 3 * i);
    if (c.precision > 24) unsupported("samples of more than 24 bits", s.at + 36 + 3 * i);
    grid_.components.push_back(c);
    samples +=
        (uint64_t(grid_.image.width()) / uint64_t(c.dx) + 1) * (uint64_t(grid_.image.height()) / uint64_t(c.dy) + 1);
  }
  if (samples / 4 > limits_.maxPixels)
    throw Error(ErrorKind::limit, "more samples in all components than the limit allows", offset_ + s.at);
}

// Of COC, QCC and RGN: one byte where there are fewer than 257 components (T.800 Table A.22).
int Codestream::componentNumber(const Segment& s) const {
  if (s.bytes.size < componentBytes()) damaged("a marker segment that is too short", s.at);
  const int c = int(componentBytes() == 1 ? s.bytes.data[0] : bigEndian16(s.bytes.data));
  if (size_t(c) >= grid_.components.size()) damaged("a component that does not exist", s.at);
  return c;
}

// SPcod and SPcoc (T.800 Table A.20): what COD says of all components and COC of one.
CodingStyle Codestream::readCodingStyle(const Segment& s, size_t from, bool precincts) const {
  if (s.bytes.size < from + 5) damaged("a coding style that is too short", s.at);
  const uint8_t* p = s.bytes.data + from;
  const size_t at = s.at + from;
  CodingStyle c;
  c.levels = p[0];
  c.logBlockWidth = (p[1] & 15) + 2;
  c.logBlockHeight = (p[2] & 15) + 2;
  c.blockStyle = p[3];
  c.reversible = p[4] == 1;
  if (c.levels > kMaxLevels) damaged("more than 32 levels", at);
  if (c.logBlockWidth > 10 || c.logBlockHeight > 10 || c.logBlockWidth + c.logBlockHeight > 12)
    damaged("code blocks of an impossible size", at + 1);
  if (c.blockStyle & 0x40) unsupported("high-throughput code blocks (HTJ2K)", at + 3);
  if (c.blockStyle > 63) unsupported("a code-block style of a later part of the standard", at + 3);
  if (p[4] > 1) unsupported("a wavelet of a later part of the standard", at + 4);
  if (precincts) {
    if (s.bytes.size < from + 6 + size_t(c.levels)) damaged("a coding style that is too short", s.at);
    std::copy(p + 5, p + 6 + c.levels, c.precincts);
  }
  return c;
}

// COD (T.800 A.6.1): what holds for all components together, then the style of each one that has no COC.
void Codestream::readCod(const Segment& s, HeaderStyles* to) const {
  if (s.bytes.size < 10) damaged("a coding style that is too short", s.at);
  const uint8_t* const p = s.bytes.data;
  TileStyle t;
  t.sop = p[0] & 2;
  t.eph = p[0] & 4;
  if (p[1] > 4) damaged("an unknown progression order", s.at + 1);
  t.progression = static_cast<Progression>(p[1]);
  t.layers = int(bigEndian16(p + 2));
  if (t.layers == 0) damaged("no quality layers", s.at + 2);
  if (p[4] > 1) unsupported("a colour transform of a later part of the standard", s.at + 4);
  t.colourTransform = p[4] != 0;
  to->coding = readCodingStyle(s, 5, p[0] & 1);
  to->tile = t;
}

void Codestream::readCoc(const Segment& s, HeaderStyles* to) const {
  const int c = componentNumber(s);
  const size_t at = componentBytes();
  if (s.bytes.size < at + 6) damaged("a coding style that is too short", s.at);
  to->codings[c] = readCodingStyle(s, at + 1, s.bytes.data[at] & 1);
}

// Sqcd and SPqcd (T.800 Tables A.28 to A.30): exponents alone for reversible transforms, one step from which the others
// are derived, or a step for each band.
Quantisation Codestream::readQuantisation(const Segment& s, size_t from) const {
  if (s.bytes.size < from + 1) damaged("a quantisation that is too short", s.at);
  const ByteView v = s.bytes.from(from);
  Quantisation q;
  if ((v.data[0] & 31) > 2) damaged("an unknown kind of quantisation", s.at + from);
  q.kind = static_cast<Quantisation::Kind>(v.data[0] & 31);
  q.guardBits = uint8_t(v.data[0] >> 5);
  const size_t each = q.kind == Quantisation::none ? 1 : 2;
  q.count = uint8_t(std::min<size_t>((v.size - 1) / each, kMaxBands));
  if (q.count < 1) damaged("a quantisation that is too short", s.at);
  for (size_t i = 0; i < q.count; ++i) {
    const uint8_t* p = v.data + 1 + each * i;
    q.exponent[i] = uint8_t(p[0] >> 3);
    q.mantissa[i] = uint16_t(each == 2 ? bigEndian16(p) & 0x7FF : 0);
  }
  return q;
}

void Codestream::readQcc(const Segment& s, HeaderStyles* to) const {
  const int c = componentNumber(s);
  to->quantisations[c] = readQuantisation(s, componentBytes());
}

// RGN (T.800 A.6.3): by how many bit planes the coefficients of the region are raised.
void Codestream::readRgn(const Segment& s, HeaderStyles* to) const {
  constexpr int kMostShift = 37;  // T.800 Table A.26
  const int c = componentNumber(s);
  const size_t at = componentBytes();
  if (s.bytes.size < at + 2) damaged("a region of interest that is too short", s.at);
  if (s.bytes.data[at] != 0) unsupported("a region of interest of a later part of the standard", s.at);
  if (s.bytes.data[at + 1] > kMostShift) damaged("a region of interest that is raised by more than 37 planes", s.at);
  to->shifts[c] = s.bytes.data[at + 1];
}

// POC (T.800 A.6.6). The changes are kept as they stand, and walked when packets are read: expanded they could be any
// number of packets.
void Codestream::readPoc(const Segment& s, HeaderStyles* to) const {
  const size_t wide = componentBytes(), each = 5 + 2 * wide;
  const ByteReader r = s.reader();
  const auto component = [&](size_t at) { return int(wide == 1 ? r.u8(at) : r.u16(at)); };
  for (size_t at = 0; at + each <= s.bytes.size; at += each) {
    ProgressionChange c;
    c.resolutionBegin = int(r.u8(at));
    c.componentBegin = component(at + 1);
    c.layerEnd = int(r.u16(at + 1 + wide));
    c.resolutionEnd = int(r.u8(at + 3 + wide));
    c.componentEnd = component(at + 4 + wide);
    if (c.componentEnd == 0) c.componentEnd = wide == 1 ? 256 : 16384;
    const uint32_t order = r.u8(at + 4 + 2 * wide);
    if (order > 4) damaged("an unknown progression order", s.at + at);
    c.progression = static_cast<Progression>(order);
    to->changes.push_back(c);
  }
}

// The PPM segments, joined in the order of their numbers, are lists of headers, one for each tile-part.
void Codestream::splitPackedHeaders(const std::map<int, Segment>& segments) {
  for (const auto& [number, s] : segments) packed_.insert(packed_.end(), s.bytes.begin(), s.bytes.end());
  for (size_t at = 0; at < packed_.size();) {
    if (packed_.size() - at < 4) damaged("packed packet headers that are cut short", mainEnd_);
    const size_t n = bigEndian32(&packed_[at]);
    at += 4;
    if (n > packed_.size() - at) damaged("packed packet headers that are cut short", mainEnd_);
    packedParts_.push_back({packed_.data() + at, n});
    at += n;
  }
}

// ---- Tile-parts -----------------------------------------------------------------------------------------------------

// Only the heads of tile-parts are read here; a tile's own header and data are, when it is decoded. Tile-parts of a
// tile are a chain of numbers, so that a file of many small ones costs no more than a record for each.
void Codestream::findTileParts(bool keepGoing, Warnings* warnings) {
  firstParts_.assign(size_t(tileCount()), kNone);
  lastParts_ = firstParts_;
  try {
    for (size_t at = mainEnd_; findTilePart(&at, keepGoing, warnings);) {
    }
  } catch (const Error& e) {
    if (!keepGoing) throw;
    warnings->add(e);
  }
  if (parts_.empty()) damaged("a codestream without tiles", 0);
  // The lowest position of each tile and all after it: what lies before can be let go while tiles are read in order.
  begins_.assign(firstParts_.size() + 1, offset_ + bytes_.size);
  for (const TilePart& p : parts_) begins_[p.tile] = std::min(begins_[p.tile], offset_ + p.start);
  for (size_t i = firstParts_.size(); i-- > 0;) begins_[i] = std::min(begins_[i], begins_[i + 1]);
}

// False at the end.
bool Codestream::findTilePart(size_t* at, bool keepGoing, Warnings* warnings) {
  const size_t start = *at;
  if (bytes_.size - *at < 2) {
    warnings->add("the codestream ends without its end marker", offset_ + bytes_.size);
    return false;
  }
  const int marker = nextMarker(at);
  if (marker == kEOC) return false;
  if (marker != kSOT) damaged("marker " + name(marker) + " where a tile-part is expected", start);
  const Segment sot = segment(at);
  if (sot.bytes.size != 8) damaged("a tile-part header of the wrong length", sot.at);
  const uint32_t tile = bigEndian16(sot.bytes.data);
  // Psot counts from the SOT marker; 0 says that the tile-part reaches to the end marker (T.800 A.4.2).
  const size_t length = bigEndian32(sot.bytes.data + 2);
  if (tile >= firstParts_.size()) damaged("a tile that does not exist", sot.at);
  if (length != 0 && length < *at - start + 2) damaged("a tile-part of an impossible length", sot.at + 2);
  TilePart part = {tile, kNone, start, *at, length ? start + length : bytes_.size};
  if (length == 0 && int(bigEndian16(bytes_.data + bytes_.size - 2)) == kEOC) part.end -= 2;
  const bool cut = part.end > bytes_.size;
  if (cut && !keepGoing) damaged("the codestream ends in a tile-part", bytes_.size);
  part.end = std::min(part.end, bytes_.size);
  addTilePart(part);
  *at = part.end;
  if (cut) damaged("the codestream ends in a tile-part", bytes_.size);
  return true;
}

void Codestream::addTilePart(const TilePart& part) {
  const uint32_t number = uint32_t(parts_.size());
  uint32_t& last = lastParts_[part.tile];
  (last == kNone ? firstParts_[part.tile] : parts_[last].next) = number;
  last = number;
  parts_.push_back(part);
}

Codestream::TileData Codestream::tile(int i) const {
  TileData data;
  for (uint32_t n = firstParts_[size_t(i)]; n != kNone; n = parts_[n].next) {
    readTilePart(parts_[n], n == firstParts_[size_t(i)], &data);
    if (packedParts_.empty()) continue;
    data.bytes.packed = true;
    if (n < packedParts_.size()) data.bytes.packedHeaders.push_back(packedParts_[n]);
  }
  return data;
}

void Codestream::readTilePart(const TilePart& part, bool first, TileData* to) const {
  std::map<int, Segment> packed;  // PPT by number
  size_t at = part.header;
  for (;;) {
    const size_t here = at;
    const int marker = nextMarker(&at);
    if (marker == kSOD) break;
    if (alone(marker)) continue;
    const Segment s = segment(&at);
    if (at > part.end) damaged("a marker segment that leaves its tile-part", here);
    if (marker == kPPT) {
      if (s.bytes.size < 1) damaged("packed packet headers without a number", s.at);
      packed[s.bytes.data[0]] = {s.bytes.from(1), s.at + 1};
    } else if (first || marker == kPOC) {  // styles stand in a tile's first tile-part only
      to->ownStyles |= readStyle(marker, s, &to->styles);
    }
  }
  if (at > part.end) damaged("a tile-part without data", part.start);
  for (const auto& [number, s] : packed) {
    to->bytes.packed = true;
    to->bytes.packedHeaders.push_back(s.bytes);
  }
  if (at < part.end) to->bytes.packets.push_back({bytes_.data + at, part.end - at});
}

}  // namespace zelcodecs::jpeg2000
