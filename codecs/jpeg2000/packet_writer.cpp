// Packet headers are written bit by bit behind the packets before; the bytes of the blocks follow.
#include "jpeg2000/packet_writer.h"

#include "jpeg2000/packet_reader.h"

namespace zelcodecs::jpeg2000 {
namespace {

int floorLog2(int n) { return 31 - __builtin_clz(unsigned(n)); }

// Header bits, most significant first; a byte after 0xFF has seven (T.800 B.10.1).
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

int bytesThrough(const EncodedBlock& b, int passes) { return passes ? b.rates[size_t(passes - 1)] : 0; }
int passesThrough(const EncodedBlock& b, int layer) { return layer < 0 ? 0 : b.layerPasses[size_t(layer)]; }

// What a packet brings of a codeword segment.
struct Piece {
  int passes, bytes;
};

std::vector<Piece> piecesOf(const EncodedBlock& b, int from, int to, int blockStyle) {
  std::vector<Piece> pieces;
  int segment = 0, begin = 0;  // of the segment
  for (int at = from; at < to;) {
    while (at - begin >= segmentCapacity(segment, blockStyle)) begin += segmentCapacity(segment++, blockStyle);
    const int n = std::min(to - at, segmentCapacity(segment, blockStyle) - (at - begin));
    pieces.push_back({n, bytesThrough(b, at + n) - bytesThrough(b, at)});
    at += n;
  }
  return pieces;
}

// How wide the lengths must be, then the lengths (T.800 B.10.7).
void writeLengths(const std::vector<Piece>& pieces, EncodedBlock* b, HeaderWriter* out) {
  int wider = 0;
  for (const Piece& p : pieces) {
    const int needed = p.bytes ? floorLog2(p.bytes) + 1 : 0;
    wider = std::max(wider, needed - floorLog2(p.passes) - b->lengthBits);
  }
  for (int k = 0; k < wider; ++k) out->bit(1);
  out->bit(0);
  b->lengthBits += wider;
  for (const Piece& p : pieces) out->bits(p.bytes, b->lengthBits + floorLog2(p.passes));
}

void writeBlockHeader(int layer, int blockStyle, EncodedBand* band, int x, int y, HeaderWriter* out) {
  EncodedBlock& b = band->blocks[size_t(y) * size_t(band->grid.across) + size_t(x)];
  const auto bit = [out](int v) { out->bit(v); };
  const int before = passesThrough(b, layer - 1), after = passesThrough(b, layer);
  if (b.included)
    bit(after > before);
  else
    band->inclusion.code(x, y, layer + 1, bit);
  if (after == before) return;
  if (!b.included)
    for (int threshold = 1; threshold <= b.zeroPlanes + 1; ++threshold) band->zeroPlanes.code(x, y, threshold, bit);
  b.included = true;
  writePasses(after - before, out);
  writeLengths(piecesOf(b, before, after, blockStyle), &b, out);
}

// Before a precinct's first packet.
void begin(EncodedBand* band) {
  for (int y = 0; y < band->grid.down; ++y)
    for (int x = 0; x < band->grid.across; ++x) {
      EncodedBlock& b = band->blocks[size_t(y) * size_t(band->grid.across) + size_t(x)];
      int first = 0;
      while (size_t(first) < b.layerPasses.size() && b.layerPasses[size_t(first)] == 0) ++first;
      band->inclusion.set(x, y, first);
      band->zeroPlanes.set(x, y, b.zeroPlanes);
      b.included = false;
      b.lengthBits = 3;
    }
  band->inclusion.settle();
  band->zeroPlanes.settle();
}

// sequence: the packet's number in the tile, for SOP.
void writePacket(const PacketId& id, const Tile& tile, EncodedTile::Precinct* precinct, int sequence,
                 std::vector<uint8_t>* out) {
  if (tile.parameters.style().sop)
    for (int byte : {0xFF, 0x91, 0, 4, sequence >> 8 & 255, sequence & 255}) out->push_back(uint8_t(byte));
  const int blockStyle = tile.parameters.coding(id.component).blockStyle;
  HeaderWriter header(out);
  header.bit(1);
  for (EncodedBand& band : *precinct) {
    if (id.layer == 0) begin(&band);
    for (int y = 0; y < band.grid.down; ++y)
      for (int x = 0; x < band.grid.across; ++x) writeBlockHeader(id.layer, blockStyle, &band, x, y, &header);
  }
  header.align();
  if (tile.parameters.style().eph) out->insert(out->end(), {0xFF, 0x92});
  for (const EncodedBand& band : *precinct)
    for (const EncodedBlock& b : band.blocks) {
      const auto end = [&](int layer) { return b.data.begin() + bytesThrough(b, passesThrough(b, layer)); };
      out->insert(out->end(), end(id.layer - 1), end(id.layer));
    }
}

}  // namespace

namespace {

// The bytes of the blocks, and what their headers take at most as a rule: a vector that grows by doubling would hold
// the file twice.
size_t roomFor(const EncodedTile& tile) {
  constexpr size_t kHeader = 8;
  size_t bytes = 0;
  for (const auto& component : tile.components)
    for (const auto& resolution : component)
      for (const EncodedTile::Precinct& precinct : resolution)
        for (const EncodedBand& band : precinct)
          for (const EncodedBlock& b : band.blocks) bytes += b.data.size() + kHeader;
  return bytes;
}

}  // namespace

EncodedTile blocksOf(const Tile& tile) {
  EncodedTile all;
  all.components.resize(size_t(tile.components()));
  for (int c = 0; c < tile.components(); ++c)
    for (int r = 0; r <= tile.levels(c); ++r) {
      const Resolution res = tile.resolution(c, r);
      std::vector<EncodedTile::Precinct> precincts(size_t(res.precincts()));
      for (size_t p = 0; p < precincts.size(); ++p)
        for (int b = 0; b < res.bandCount; ++b) precincts[p].emplace_back(res.blocksOf(int(p), b));
      all.components[size_t(c)].push_back(std::move(precincts));
    }
  return all;
}

void writePackets(const Tile& tile, int layers, EncodedTile* blocks, std::vector<uint8_t>* out) {
  int sequence = 0;
  out->reserve(out->size() + roomFor(*blocks));
  PacketWalk(tile).run([&](const PacketId& id) {
    if (id.layer < layers)
      writePacket(id, tile, &blocks->components[size_t(id.component)][size_t(id.resolution)][size_t(id.precinct)],
                  sequence++ & 0xFFFF, out);
    return true;
  });
}

}  // namespace zelcodecs::jpeg2000
