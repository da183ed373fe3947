#include "jpeg2000/packet.h"

#include <algorithm>

#include "common/error.h"

namespace zelcodecs::jpeg2000 {
namespace {

[[noreturn]] void damaged(const char* what) { throw Error(ErrorKind::damaged, what); }

int floorLog2(int n) { return 31 - __builtin_clz(unsigned(n)); }

// Header bits, most significant first; a byte after 0xFF has seven (T.800 B.10.1).
class HeaderBits {
 public:
  explicit HeaderBits(Bytes* from) : from_(from) {}
  int bit() {
    if (left_ == 0) next();
    return current_ >> --left_ & 1;
  }
  int bits(int n) {
    int v = 0;
    for (; n > 0; --n) v = v << 1 | bit();
    return v;
  }
  // A byte of 0xFF at the end has a stuffed one behind it.
  void align() {
    left_ = 0;
    if (current_ == 0xFF) next();
  }

 private:
  void next() {
    if (from_->left == 0) damaged("the codestream ends in a packet header");
    left_ = current_ == 0xFF ? 7 : 8;
    current_ = *from_->at++;
    --from_->left;
  }
  Bytes* from_;
  int current_ = 0, left_ = 0;
};

class HeaderWriter {
 public:
  explicit HeaderWriter(std::vector<uint8_t>* out) : out_(out) {}
  void bit(int b) {
    current_ = current_ << 1 | b;
    if (--room_ == 0) flush();
  }
  void bits(int value, int n) {
    while (n > 0) bit(value >> --n & 1);
  }
  void align() {
    if (room_ < (after0xFF_ ? 7 : 8)) {
      current_ <<= room_;
      flush();
    }
    if (after0xFF_) out_->push_back(0);
  }

 private:
  void flush() {
    out_->push_back(uint8_t(current_));
    after0xFF_ = current_ == 0xFF;
    room_ = after0xFF_ ? 7 : 8;
    current_ = 0;
  }
  std::vector<uint8_t>* out_;
  int current_ = 0, room_ = 8;
  bool after0xFF_ = false;
};

// The number of coding passes (T.800 Table B.4).
int readPasses(HeaderBits* in) {
  if (!in->bit()) return 1;
  if (!in->bit()) return 2;
  int n = in->bits(2);
  if (n < 3) return 3 + n;
  n = in->bits(5);
  if (n < 31) return 6 + n;
  return 37 + in->bits(7);
}

void writePasses(int n, HeaderWriter* out) {
  if (n == 1)
    out->bit(0);
  else if (n == 2)
    out->bits(2, 2);
  else if (n < 6)
    out->bits(0xC | (n - 3), 4);
  else if (n < 37)
    out->bits(0x1E0 | (n - 6), 9);
  else
    out->bits(0xFF80 | (n - 37), 16);
}

bool take(Bytes* from, int marker) {
  if (from->left < 2 || from->at[0] != marker >> 8 || from->at[1] != (marker & 255)) return false;
  from->at += 2;
  from->left -= 2;
  return true;
}

}  // namespace

// With bypass the first ten passes are coded arithmetically, then by turns two raw ones and a cleanup (T.800 D.6).
int segmentCapacity(int segment, int blockStyle) {
  if (blockStyle & kTerminate) return 1;
  if (blockStyle & kBypass) return segment == 0 ? 10 : segment % 2 ? 2 : 1;
  return INT32_MAX;
}

PacketReader::PacketReader(Tile* tile, const TileParameters& parameters, Bytes body, const Bytes* headers)
    : tile_(tile), parameters_(parameters), body_(body), headers_(headers != nullptr) {
  if (headers) packed_ = *headers;
}

void PacketReader::read(const PacketId& id, bool keep) {
  Resolution& resolution = tile_->components[size_t(id.component)].resolutions[size_t(id.resolution)];
  Precinct& precinct = resolution.precincts[size_t(id.precinct)];
  if (id.layer < precinct.nextLayer) return;
  precinct.nextLayer = id.layer + 1;
  if (take(&body_, kSOP)) {
    const size_t rest = std::min<size_t>(4, body_.left);
    body_.at += rest;
    body_.left -= rest;
  }
  int planes = 0;
  for (const Band& b : resolution.bands) planes = std::max(planes, b.planes);
  const ComponentStyle& style = parameters_.components[size_t(id.component)];
  parts_.clear();
  header(&precinct, id.layer, style.coding.blockStyle, planes + style.roiShift, headers_ ? &packed_ : &body_);
  for (const Part& p : parts_) {
    const size_t n = std::min(p.bytes, body_.left);
    if (keep) {
      CodeBlock& b = *p.block;
      b.data.insert(b.data.end(), body_.at, body_.at + n);
      if (size_t(p.segment) == b.segments.size()) {
        b.segments.push_back(0);
        b.segmentPasses.push_back(0);
      }
      b.segments.back() += int(n);
      b.segmentPasses.back() += p.passes;
      b.passes += p.passes;
    }
    body_.at += n;
    body_.left -= n;
    if (n < p.bytes) damaged("the codestream ends in a packet");
  }
}

void PacketReader::header(Precinct* precinct, int layer, int blockStyle, int maxPlanes, Bytes* from) {
  HeaderBits in(from);
  const auto bit = [&] { return in.bit(); };
  if (in.bit()) {
    for (PrecinctBand& band : precinct->bands)
      for (size_t i = 0; i < band.blocks.size(); ++i) {
        CodeBlock& b = band.blocks[i];
        const int leaf = int(i);
        if (!(b.included ? in.bit() != 0 : band.inclusion.decode(leaf, layer + 1, bit))) continue;
        if (!b.included) {
          b.included = true;
          int planes = 1;
          while (!band.zeroPlanes.decode(leaf, planes, bit))
            if (++planes > maxPlanes + 1) damaged("a code block with more empty bit planes than there are");
          b.zeroPlanes = planes - 1;
        }
        int passes = readPasses(&in);
        while (in.bit())
          if (++b.lengthBits > 32) damaged("a code block with an impossible length");
        // What is passed over is counted too: the segments that later packets bring follow from it.
        while (passes > 0) {
          const int capacity = segmentCapacity(b.openSegment, blockStyle) - b.openPasses;
          const int n = std::min(passes, capacity);
          const int bits = b.lengthBits + floorLog2(n);
          if (bits > 31) damaged("a code block with an impossible length");
          parts_.push_back({&b, b.openSegment, n, size_t(in.bits(bits))});
          passes -= n;
          b.openPasses += n;
          if (n == capacity) {
            ++b.openSegment;
            b.openPasses = 0;
          }
        }
      }
  }
  in.align();
  take(from, kEPH);
}

// ---- Writing --------------------------------------------------------------------------------------------------------

void restartPackets(Tile* tile) {
  for (TileComponent& c : tile->components)
    for (Resolution& r : c.resolutions)
      for (Precinct& p : r.precincts)
        for (PrecinctBand& band : p.bands) {
          band.inclusion.restart();
          band.zeroPlanes.restart();
          for (CodeBlock& b : band.blocks) {
            b.included = false;
            b.lengthBits = 3;
          }
        }
}

void writePacket(const PacketId& id, const TileParameters& parameters, Tile* tile, int sequence,
                 std::vector<uint8_t>* out) {
  Precinct& precinct =
      tile->components[size_t(id.component)].resolutions[size_t(id.resolution)].precincts[size_t(id.precinct)];
  const int style = parameters.components[size_t(id.component)].coding.blockStyle;
  const size_t layer = size_t(id.layer);
  if (parameters.style.sop)
    for (int byte : {0xFF, 0x91, 0, 4, sequence >> 8 & 255, sequence & 255}) out->push_back(uint8_t(byte));
  if (id.layer == 0)
    for (PrecinctBand& band : precinct.bands) {
      for (size_t i = 0; i < band.blocks.size(); ++i) {
        const CodeBlock& b = band.blocks[i];
        int first = 0;
        while (size_t(first) < b.layerPasses.size() && b.layerPasses[size_t(first)] == 0) ++first;
        band.inclusion.set(int(i), first);
        band.zeroPlanes.set(int(i), b.zeroPlanes);
      }
      band.inclusion.settle();
      band.zeroPlanes.settle();
    }

  struct Part {
    const CodeBlock* block;
    size_t from, bytes;
  };
  std::vector<Part> parts;
  HeaderWriter header(out);
  const auto bit = [&](int b) { header.bit(b); };
  bit(1);
  for (PrecinctBand& band : precinct.bands)
    for (size_t i = 0; i < band.blocks.size(); ++i) {
      CodeBlock& b = band.blocks[i];
      const int leaf = int(i), before = layer ? b.layerPasses[layer - 1] : 0;
      const int passes = b.layerPasses[layer] - before;
      if (b.included)
        bit(passes > 0);
      else
        band.inclusion.code(leaf, id.layer + 1, bit);
      if (passes == 0) continue;
      if (!b.included) {
        b.included = true;
        for (int threshold = 1; threshold <= b.zeroPlanes + 1; ++threshold) band.zeroPlanes.code(leaf, threshold, bit);
      }
      writePasses(passes, &header);
      // The pieces of codeword segments that this layer brings, and how wide their lengths must be.
      const auto bytesThrough = [&](int n) { return n ? b.rates[size_t(n - 1)] : 0; };
      struct Piece {
        int passes, bytes;
      };
      std::vector<Piece> pieces;
      int segment = 0, begin = 0;  // of the segment
      for (int at = before; at < before + passes;) {
        while (at - begin >= segmentCapacity(segment, style)) begin += segmentCapacity(segment++, style);
        const int n = std::min(before + passes - at, segmentCapacity(segment, style) - (at - begin));
        pieces.push_back({n, bytesThrough(at + n) - bytesThrough(at)});
        at += n;
      }
      int wider = 0;
      for (const Piece& p : pieces) {
        const int needed = p.bytes ? floorLog2(p.bytes) + 1 : 0;
        wider = std::max(wider, needed - floorLog2(p.passes) - b.lengthBits);
      }
      for (int k = 0; k < wider; ++k) bit(1);
      bit(0);
      b.lengthBits += wider;
      for (const Piece& p : pieces) header.bits(p.bytes, b.lengthBits + floorLog2(p.passes));
      parts.push_back({&b, size_t(bytesThrough(before)), size_t(bytesThrough(before + passes) - bytesThrough(before))});
    }
  header.align();
  if (parameters.style.eph) {
    out->push_back(0xFF);
    out->push_back(0x92);
  }
  for (const Part& p : parts) {
    const auto from = p.block->data.begin() + long(p.from);
    out->insert(out->end(), from, from + long(p.bytes));
  }
}

}  // namespace zelcodecs::jpeg2000
