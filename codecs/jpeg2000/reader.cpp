#include "jpeg2000/reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace zelcodecs::jpeg2000 {
namespace {

int word(const uint8_t* p) { return p[0] << 8 | p[1]; }
uint32_t dword(const uint8_t* p) { return uint32_t(word(p)) << 16 | uint32_t(word(p + 2)); }

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

// ---- Boxes ----------------------------------------------------------------------------------------------------------

namespace {

class BoxWalk {
 public:
  BoxWalk(const uint8_t* data, size_t begin, size_t end) : data_(data), at_(begin), end_(end) {}
  // The next box: its type and contents. False at the end; a box that is cut off reaches to the end.
  bool next(uint32_t* type, size_t* begin, size_t* end) {
    if (end_ - at_ < 8) return false;
    uint64_t length = dword(data_ + at_);
    *type = dword(data_ + at_ + 4);
    size_t head = 8;
    if (length == 1) {
      if (end_ - at_ < 16) return false;
      length = uint64_t{dword(data_ + at_ + 8)} << 32 | dword(data_ + at_ + 12);
      head = 16;
    }
    if (length == 0) length = end_ - at_;  // to the end of the file
    if (length < head) throw Error(ErrorKind::damaged, "a box with an impossible length", at_);
    *begin = at_ + head;
    *end = at_ + size_t(std::min<uint64_t>(length, end_ - at_));
    at_ = *end;
    return true;
  }

 private:
  const uint8_t* data_;
  size_t at_, end_;
};

constexpr uint32_t fourCc(const char (&s)[5]) {
  return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 | uint32_t(uint8_t(s[2])) << 8 | uint8_t(s[3]);
}

void readPalette(const uint8_t* p, size_t n, size_t offset, Boxes::Palette* to) {
  const auto damaged = [&] { throw Error(ErrorKind::damaged, "a palette that is cut short", offset); };
  if (n < 3) damaged();
  if (to->columns != 0) throw Error(ErrorKind::damaged, "a second palette", offset);
  const int entries = word(p);
  to->columns = p[2];
  if (entries < 1 || entries > 1024 || to->columns < 1) throw Error(ErrorKind::damaged, "a palette of no use", offset);
  size_t at = 3;
  size_t bytes = 0;
  for (int i = 0; i < to->columns; ++i, ++at) {
    if (at >= n) damaged();
    to->depths.push_back((p[at] & 0x7F) + 1);
    bytes += size_t((to->depths.back() + 7) / 8);
  }
  if (n - at < bytes * size_t(entries)) damaged();
  for (int e = 0; e < entries; ++e)
    for (int i = 0; i < to->columns; ++i) {
      int32_t v = 0;
      for (int b = 0; b < (to->depths[size_t(i)] + 7) / 8; ++b) v = int32_t(uint32_t(v) << 8 | p[at++]);
      to->entries.push_back(v);
    }
}

void readHeaderBoxes(const uint8_t* data, size_t begin, size_t end, Boxes* boxes) {
  BoxWalk walk(data, begin, end);
  uint32_t type;
  size_t from, to;
  while (walk.next(&type, &from, &to)) {
    const uint8_t* p = data + from;
    const size_t n = to - from;
    if (type == fourCc("colr") && n >= 7 && p[0] == 1 && boxes->colourSpace == 0) {
      boxes->colourSpace = int(dword(p + 3) & 0x7FFFFFFF);
    } else if (type == fourCc("pclr")) {
      readPalette(p, n, from, &boxes->palette);
    } else if (type == fourCc("cmap")) {
      for (size_t i = 0; i + 4 <= n; i += 4) boxes->mappings.push_back({word(p + i), p[i + 2], p[i + 3]});
    } else if (type == fourCc("cdef") && n >= 2) {
      for (size_t i = 2; i + 6 <= n; i += 6) boxes->channels.push_back({word(p + i), word(p + i + 2), word(p + i + 4)});
    }
  }
}

}  // namespace

Boxes readBoxes(const uint8_t* data, size_t size) {
  Boxes boxes;
  boxes.codestreamBytes = size;
  if (size >= 2 && word(data) == kSOC) return boxes;
  static const uint8_t signature[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 13, 10, 0x87, 10};
  if (size < 12 || std::memcmp(data, signature, 12) != 0)
    throw Error(ErrorKind::unsupported, "neither a JPEG 2000 codestream nor a JP2 file", 0);
  boxes.present = true;
  BoxWalk walk(data, 12, size);
  uint32_t type;
  size_t from, to;
  while (walk.next(&type, &from, &to)) {
    if (type == fourCc("jp2h")) readHeaderBoxes(data, from, to, &boxes);
    if (type != fourCc("jp2c")) continue;
    boxes.codestream = from;
    boxes.codestreamBytes = to - from;
    return boxes;
  }
  throw Error(ErrorKind::damaged, "a JP2 file without a codestream", size);
}

// ---- The main header ------------------------------------------------------------------------------------------------

Reader::Reader(const uint8_t* data, size_t size, size_t offset, const Limits& limits, bool keepGoing,
               Warnings* warnings)
    : data_(data), size_(size), offset_(offset), limits_(limits), keepGoing_(keepGoing), warnings_(warnings) {
  if (size < 4 || word(data) != kSOC) damaged("the codestream does not begin as it must", 0);
  at_ = 2;
  readMainHeader();
}

int Reader::nextMarker(size_t* at) const {
  if (size_ - *at < 2) damaged("the codestream ends where a marker is expected", size_);
  const int marker = word(data_ + *at);
  if (marker < 0xFF00) damaged("a marker is expected", *at);
  *at += 2;
  return marker;
}

Reader::Segment Reader::segment(size_t* at) const {
  if (size_ - *at < 2) damaged("the codestream ends in a marker segment", size_);
  const size_t length = size_t(word(data_ + *at));
  if (length < 2 || length > size_ - *at) damaged("a marker segment of an impossible length", *at);
  const Segment s = {data_ + *at + 2, length - 2, *at + 2};
  *at += length;
  return s;
}

void Reader::readMainHeader() {
  for (;;) {
    const size_t start = at_;
    const int marker = nextMarker(&at_);
    if (marker == kSOT || marker == kEOC) {
      at_ = start;
      break;
    }
    if (alone(marker)) continue;
    const Segment s = segment(&at_);
    if (marker == kSIZ) {
      if (!grid_.components.empty()) damaged("a second image size", start);
      readSiz(s);
      continue;
    }
    if (grid_.components.empty()) damaged("the image size does not come first", start);
    if (marker == kPPM) {
      if (s.length < 1) damaged("packed packet headers without a number", s.offset);
      packedSegments_[s.at[0]] = {s.at + 1, s.length - 1, s.offset + 1};
    } else {
      common(marker, s, &parameters_, false);
    }
  }
  if (grid_.components.empty()) damaged("a codestream without an image size", at_);
  if (!hasStyle_ || !hasQuantisation_) damaged("a codestream without coding style or quantisation", at_);
  splitPackedHeaders();
  tiles_.resize(size_t(grid_.tilesAcross()) * size_t(grid_.tilesDown()));
}

// Segments that may stand in the main header and in a tile's.
bool Reader::common(int marker, const Segment& s, TileParameters* p, bool ofTile) {
  switch (marker) {
    case kCOD:
      readCod(s, p, ofTile);
      return true;
    case kCOC:
      readCoc(s, p, ofTile);
      return true;
    case kQCD:
      readQcd(s, p, ofTile);
      return true;
    case kQCC:
      readQcc(s, p, ofTile);
      return true;
    case kRGN:
      readRgn(s, p);
      return true;
    case kPOC:
      readPoc(s, p);
      return true;
    case kCOM:
      if (s.length >= 2 && word(s.at) == 1)
        comments_.emplace_back(reinterpret_cast<const char*>(s.at + 2), s.length - 2);
      return true;
  }
  return false;  // lengths of tile-parts and packets, registration, what later editions add
}

void Reader::readSiz(const Segment& s) {
  if (s.length < 36 + 3) damaged("an image size that is too short", s.offset);
  const int count = word(s.at + 34);
  if (count < 1 || count > 16384 || s.length != 36 + 3 * size_t(count))
    damaged("an image size of the wrong length", s.offset);
  uint32_t v[8];
  for (int i = 0; i < 8; ++i) v[i] = dword(s.at + 2 + 4 * i);
  // Right, bottom, left and top of the image; width, height, left and top of the first tile.
  for (uint32_t x : v)
    if (x > INT32_MAX) throw Error(ErrorKind::limit, "a reference grid above 2^31", offset_ + s.offset);
  grid_.image = {int(v[2]), int(v[3]), int(v[0]), int(v[1])};
  const bool tileOk = v[4] > 0 && v[5] > 0 && v[6] <= v[2] && v[7] <= v[3] && uint64_t{v[6]} + v[4] > v[2] &&
                      uint64_t{v[7]} + v[5] > v[3];
  if (grid_.image.empty() || !tileOk) damaged("an image or tiles without area", s.offset);
  grid_.tile = {int(v[6]), int(v[7]), int(std::min<uint64_t>(uint64_t{v[6]} + v[4], INT32_MAX)),
                int(std::min<uint64_t>(uint64_t{v[7]} + v[5], INT32_MAX))};
  const uint64_t across = uint64_t(grid_.tilesAcross()), down = uint64_t(grid_.tilesDown());
  if (across * down > 65535) damaged("more than 65535 tiles", s.offset);
  uint64_t samples = 0;
  for (int i = 0; i < count; ++i) {
    const uint8_t* p = s.at + 36 + 3 * i;
    ComponentSize c;
    c.precision = (p[0] & 0x7F) + 1;
    c.isSigned = p[0] & 0x80;
    c.dx = p[1];
    c.dy = p[2];
    if (c.dx == 0 || c.dy == 0) damaged("a component without samples", s.offset + 36 + 3 * size_t(i));
    if (c.precision > 24)
      throw Error(ErrorKind::unsupported, "samples of more than 24 bits", offset_ + s.offset + 36 + 3 * size_t(i));
    grid_.components.push_back(c);
    samples +=
        (uint64_t(grid_.image.width()) / uint64_t(c.dx) + 1) * (uint64_t(grid_.image.height()) / uint64_t(c.dy) + 1);
  }
  checkSize(uint64_t(grid_.image.width()), uint64_t(grid_.image.height()), limits_, offset_ + s.offset);
  if (samples / 4 > limits_.maxPixels)
    throw Error(ErrorKind::limit, "more samples in all components than the limit allows", offset_ + s.offset);
  parameters_.components.resize(size_t(count));
}

int Reader::componentNumber(const uint8_t** at, const Segment& s) const {
  const size_t bytes = grid_.components.size() < 257 ? 1 : 2;
  if (s.length < bytes) damaged("a marker segment that is too short", s.offset);
  const int c = bytes == 1 ? s.at[0] : word(s.at);
  *at = s.at + bytes;
  if (size_t(c) >= grid_.components.size()) damaged("a component that does not exist", s.offset);
  return c;
}

void Reader::readCodingStyle(const uint8_t* p, size_t n, bool precincts, size_t offset, CodingStyle* to) {
  const auto wrong = [&](const char* what) { throw Error(ErrorKind::damaged, what, offset); };
  if (n < 5) wrong("a coding style that is too short");
  CodingStyle c;
  c.levels = p[0];
  c.logBlockWidth = (p[1] & 15) + 2;
  c.logBlockHeight = (p[2] & 15) + 2;
  c.blockStyle = p[3];
  c.reversible = p[4] == 1;
  if (c.levels > kMaxLevels) wrong("more than 32 levels");
  if (c.logBlockWidth > 10 || c.logBlockHeight > 10 || c.logBlockWidth + c.logBlockHeight > 12)
    wrong("code blocks of an impossible size");
  if (c.blockStyle > 63)
    throw Error(ErrorKind::unsupported, "a code-block style of a later part of the standard", offset);
  if (p[4] > 1) throw Error(ErrorKind::unsupported, "a wavelet of a later part of the standard", offset);
  if (precincts) {
    if (n < 6 + size_t(c.levels)) wrong("a coding style that is too short");
    std::copy(p + 5, p + 6 + c.levels, c.precincts);
  }
  *to = c;
}

void Reader::readCod(const Segment& s, TileParameters* p, bool ofTile) {
  if (s.length < 10) damaged("a coding style that is too short", s.offset);
  const int flags = s.at[0];
  TileStyle t;
  t.sop = flags & 2;
  t.eph = flags & 4;
  if (s.at[1] > 4) damaged("an unknown progression order", s.offset + 1);
  t.progression = static_cast<Progression>(s.at[1]);
  t.layers = word(s.at + 2);
  if (t.layers == 0) damaged("no quality layers", s.offset + 2);
  if (s.at[4] > 1)
    throw Error(ErrorKind::unsupported, "a colour transform of a later part of the standard", offset_ + s.offset + 4);
  t.colourTransform = s.at[4] != 0;
  p->style = t;
  CodingStyle c;
  readCodingStyle(s.at + 5, s.length - 5, flags & 1, offset_ + s.offset + 5, &c);
  for (ComponentStyle& k : p->components)
    if (!k.ownCoding) k.coding = c;
  if (!ofTile) hasStyle_ = true;
}

void Reader::readCoc(const Segment& s, TileParameters* p, bool) {
  const uint8_t* at;
  ComponentStyle& k = p->components[size_t(componentNumber(&at, s))];
  const size_t left = s.length - size_t(at - s.at);
  if (left < 6) damaged("a coding style that is too short", s.offset);
  readCodingStyle(at + 1, left - 1, at[0] & 1, offset_ + s.offset, &k.coding);
  k.ownCoding = true;
}

void Reader::readQuantisation(const uint8_t* at, size_t n, size_t offset, Quantisation* to) const {
  if (n < 1) damaged("a quantisation that is too short", offset);
  Quantisation q;
  if ((at[0] & 31) > 2) damaged("an unknown kind of quantisation", offset);
  q.kind = static_cast<Quantisation::Kind>(at[0] & 31);
  q.guardBits = at[0] >> 5;
  const size_t each = q.kind == Quantisation::none ? 1 : 2;
  q.count = int(std::min<size_t>((n - 1) / each, kMaxBands));
  if (q.count < 1) damaged("a quantisation that is too short", offset);
  for (int i = 0; i < q.count; ++i) {
    const uint8_t* p = at + 1 + each * size_t(i);
    q.exponent[i] = p[0] >> 3;
    q.mantissa[i] = each == 2 ? word(p) & 0x7FF : 0;
  }
  *to = q;
}

void Reader::readQcd(const Segment& s, TileParameters* p, bool ofTile) {
  Quantisation q;
  readQuantisation(s.at, s.length, s.offset, &q);
  for (ComponentStyle& k : p->components)
    if (!k.ownQuantisation) k.quantisation = q;
  if (!ofTile) hasQuantisation_ = true;
}

void Reader::readQcc(const Segment& s, TileParameters* p, bool) {
  const uint8_t* at;
  ComponentStyle& k = p->components[size_t(componentNumber(&at, s))];
  readQuantisation(at, s.length - size_t(at - s.at), s.offset, &k.quantisation);
  k.ownQuantisation = true;
}

void Reader::readRgn(const Segment& s, TileParameters* p) const {
  const uint8_t* at;
  ComponentStyle& k = p->components[size_t(componentNumber(&at, s))];
  if (s.length - size_t(at - s.at) < 2) damaged("a region of interest that is too short", s.offset);
  if (at[0] != 0)
    throw Error(ErrorKind::unsupported, "a region of interest of a later part of the standard", offset_ + s.offset);
  k.roiShift = at[1];
}

void Reader::readPoc(const Segment& s, TileParameters* p) const {
  const size_t wide = grid_.components.size() < 257 ? 1 : 2, each = 5 + 2 * wide;
  for (size_t i = 0; i + each <= s.length; i += each) {
    const uint8_t* q = s.at + i;
    ProgressionChange c;
    c.resolutionBegin = q[0];
    c.componentBegin = wide == 1 ? q[1] : word(q + 1);
    q += 1 + wide;
    c.layerEnd = word(q);
    c.resolutionEnd = q[2];
    c.componentEnd = wide == 1 ? q[3] : word(q + 3);
    if (c.componentEnd == 0) c.componentEnd = wide == 1 ? 256 : 16384;
    if (q[3 + wide] > 4) damaged("an unknown progression order", s.offset + i);
    c.progression = static_cast<Progression>(q[3 + wide]);
    p->changes.push_back(c);
  }
}

// The PPM segments, joined in the order of their numbers, are lists of headers, one for each tile-part.
void Reader::splitPackedHeaders() {
  std::vector<uint8_t> all;
  for (const auto& [number, s] : packedSegments_) all.insert(all.end(), s.at, s.at + s.length);
  for (size_t at = 0; at < all.size();) {
    if (all.size() - at < 4) damaged("packed packet headers that are cut short", at_);
    const size_t n = dword(&all[at]);
    at += 4;
    if (n > all.size() - at) damaged("packed packet headers that are cut short", at_);
    packedParts_.emplace_back(all.begin() + long(at), all.begin() + long(at + n));
    at += n;
  }
}

// ---- Tile-parts -----------------------------------------------------------------------------------------------------

void Reader::readTiles() {
  try {
    while (readTilePart(&at_)) {
    }
  } catch (const Error& e) {
    if (!keepGoing_) throw;
    warnings_->add(e);
  }
}

void Reader::checkParameters(const TileParameters& p, size_t offset) const {
  for (const ComponentStyle& k : p.components) {
    const int bands = 3 * k.coding.levels + 1;
    if (k.quantisation.kind != Quantisation::derived && k.quantisation.count < bands)
      damaged("fewer quantisation steps than bands", offset);
    if (k.quantisation.kind == Quantisation::none && !k.coding.reversible)
      damaged("an irreversible transform without quantisation steps", offset);
  }
  if (!p.style.colourTransform) return;
  if (p.components.size() < 3) damaged("a colour transform of fewer than three components", offset);
  for (size_t i = 1; i < 3; ++i) {
    const ComponentSize &a = grid_.components[0], &b = grid_.components[i];
    if (a.dx != b.dx || a.dy != b.dy || p.components[0].coding.reversible != p.components[i].coding.reversible ||
        p.components[0].coding.levels != p.components[i].coding.levels)
      damaged("a colour transform of components that differ", offset);
  }
}

bool Reader::readTilePart(size_t* at) {
  const size_t start = *at;
  if (size_ - *at < 2) damaged("the codestream ends without its end marker", size_);
  const int marker = nextMarker(at);
  if (marker == kEOC) return false;
  if (marker != kSOT) damaged("marker " + name(marker) + " where a tile-part is expected", start);
  const Segment sot = segment(at);
  if (sot.length != 8) damaged("a tile-part header of the wrong length", sot.offset);
  const int index = word(sot.at);
  const size_t length = dword(sot.at + 2);
  const int part = sot.at[6];
  if (size_t(index) >= tiles_.size()) damaged("a tile that does not exist", sot.offset);
  if (length != 0 && length < *at - start) damaged("a tile-part of an impossible length", sot.offset + 2);
  size_t end = length ? start + length : size_;
  const bool cut = end > size_ || end < start;
  if (cut) end = size_;
  TileData& tile = tiles_[size_t(index)];
  if (!tile.present) {
    tile.parameters = parameters_;
    // Segments of the tile take the place of all of the main header's, those for single components too.
    for (ComponentStyle& k : tile.parameters.components) k.ownCoding = k.ownQuantisation = false;
    tile.offset = offset_ + start;
  }
  bool firstChange = part == 0;
  std::map<int, Segment> packed;
  for (;;) {
    const size_t here = *at;
    const int m = nextMarker(at);
    if (m == kSOD) break;
    if (alone(m)) continue;
    const Segment s = segment(at);
    if (s.offset + s.length > end) damaged("a marker segment that leaves its tile-part", here);
    if (m == kPPT) {
      if (s.length < 1) damaged("packed packet headers without a number", s.offset);
      packed[s.at[0]] = {s.at + 1, s.length - 1, s.offset + 1};
    } else {
      if (m == kPOC && firstChange) {
        tile.parameters.changes.clear();  // the tile's own take the place of the main header's
        firstChange = false;
      }
      common(m, s, &tile.parameters, true);
    }
  }
  checkParameters(tile.parameters, start);
  tile.present = true;
  for (const auto& [number, s] : packed) {
    tile.hasPackedHeaders = true;
    tile.packedHeaders.insert(tile.packedHeaders.end(), s.at, s.at + s.length);
  }
  if (!packedParts_.empty()) {
    tile.hasPackedHeaders = true;
    if (tileParts_ < packedParts_.size())
      tile.packedHeaders.insert(tile.packedHeaders.end(), packedParts_[tileParts_].begin(),
                                packedParts_[tileParts_].end());
  }
  ++tileParts_;
  if (*at > end) damaged("a tile-part without data", start);
  if (length == 0 && end >= 2 && word(data_ + end - 2) == kEOC) end -= 2;
  tile.packets.insert(tile.packets.end(), data_ + *at, data_ + end);
  *at = end;
  if (cut) damaged("the codestream ends in a tile-part", size_);
  return true;
}

}  // namespace zelcodecs::jpeg2000
