// Records are made of the precincts and blocks that packets name, so that memory follows the bytes that have been read.
#include "jpeg2000/packet_reader.h"

namespace zelcodecs::jpeg2000 {
namespace {

[[noreturn]] void damaged(const char* what) { throw Error(ErrorKind::damaged, what); }

int floorLog2(int n) { return 31 - __builtin_clz(unsigned(n)); }

}  // namespace

// Header bits, most significant first; a byte after 0xFF has seven (T.800 B.10.1).
class PacketReader::HeaderBits {
 public:
  explicit HeaderBits(ByteChain* from) : from_(from) {}
  int operator()() {
    if (left_ == 0) next();
    return current_ >> --left_ & 1;
  }
  uint32_t bits(int n) {
    uint32_t v = 0;
    for (; n > 0; --n) v = v << 1 | uint32_t((*this)());
    return v;
  }
  // A byte of 0xFF at the end has a stuffed one behind it.
  void align() {
    left_ = 0;
    if (current_ == 0xFF) next();
  }

 private:
  void next() {
    if (from_->atEnd()) damaged("the codestream ends in a packet header");
    left_ = current_ == 0xFF ? 7 : 8;
    current_ = from_->byte();
  }
  ByteChain* from_;
  int current_ = 0, left_ = 0;
};

// With bypass the first ten passes are coded arithmetically, then by turns two raw ones and a cleanup (T.800 D.6).
int segmentCapacity(int segment, int blockStyle) {
  if (blockStyle & kTerminate) return 1;
  if (blockStyle & kBypass) return segment == 0 ? 10 : segment % 2 ? 2 : 1;
  return INT32_MAX;
}

PacketReader::PacketReader(const Tile& tile, TileBytes bytes, uint64_t maxMemory)
    : tile_(tile),
      packed_(bytes.packed),
      maxMemory_(maxMemory),
      tileShare_(uint64_t(tile.grid.tilesAcross()) * uint64_t(tile.grid.tilesDown())) {
  for (const ByteView& v : bytes.packets) bytes_ += v.size;
  for (const ByteView& v : bytes.packedHeaders) bytes_ += v.size;
  body_ = ByteChain(std::move(bytes.packets));
  headers_ = ByteChain(std::move(bytes.packedHeaders));
}

// Before so many are taken.
void PacketReader::count(uint64_t bytes) {
  memory_ += bytes;
  if (memory_ > maxMemory_)
    throw Error(ErrorKind::limit, "the code blocks of a tile take more than the limit of " +
                                      std::to_string(maxMemory_ >> 20) + " MiB (limits.maxMemory)");
}

// Every packet has a byte at least: more precincts than bytes are not all there. Room is made for some more, as the
// bytes may have been cut off.
PacketReader::Precinct& PacketReader::precinctAt(const PacketId& id, const Resolution& resolution) {
  std::vector<std::vector<Precinct>>& resolutions = precincts_[id.component];
  if (resolutions.empty()) resolutions.resize(size_t(tile_.levels(id.component)) + 1);
  std::vector<Precinct>& precincts = resolutions[size_t(id.resolution)];
  if (precincts.empty()) {
    if (uint64_t(resolution.precincts()) > 1024 + 8 * bytes_)
      damaged("far more precincts are claimed than there can be");
    count(uint64_t(resolution.precincts()) * sizeof(Precinct));
    precincts.resize(size_t(resolution.precincts()));
  }
  return precincts[size_t(id.precinct)];
}

void PacketReader::read(const PacketId& id, bool keep) {
  const Resolution resolution = tile_.resolution(id.component, id.resolution);
  Precinct& precinct = precinctAt(id, resolution);
  if (id.layer < precinct.nextLayer) return;  // an earlier progression has brought it
  precinct.nextLayer = id.layer + 1;
  if (body_.takeMarker(kSOP))
    for (size_t left = 4; left && !body_.atEnd();) left -= body_.take(left).size;  // its length and number
  parts_.clear();
  readHeader(id, resolution, &precinct);
  for (const Part& p : parts_) takeBytes(p, keep);
}

void PacketReader::takeBytes(const Part& part, bool keep) {
  uint32_t left = part.bytes;
  int passes = part.passes;
  do {  // nearly always in one piece; also where there are none
    const ByteView v = body_.atEnd() ? ByteView{nullptr, 0} : body_.take(left);
    left -= uint32_t(v.size);
    if (keep && (v.size || passes)) {
      CodeBlock& b = blocks_[part.block];
      const uint32_t number = uint32_t(pieces_.size());
      pieces_.push_back({v.data, uint32_t(v.size), CodedPiece::kNone, part.segment, passes});
      (b.firstPiece == CodedPiece::kNone ? b.firstPiece : pieces_[b.lastPiece].next) = number;
      b.lastPiece = number;
      passes = 0;
    }
    if (left && body_.atEnd()) damaged("the codestream ends in a packet");
  } while (left);
}

void PacketReader::readHeader(const PacketId& id, const Resolution& resolution, Precinct* precinct) {
  ByteChain* const from = packed_ ? &headers_ : &body_;
  HeaderBits in(from);
  if (in()) {
    if (!precinct->bands) precinct->bands.reset(new PrecinctBand[size_t(resolution.bandCount)]);
    for (int i = 0; i < resolution.bandCount; ++i) readBand(id, resolution, i, &precinct->bands[size_t(i)], &in);
  }
  in.align();
  from->takeMarker(kEPH);
}

void PacketReader::readBand(const PacketId& id, const Resolution& resolution, int band, PrecinctBand* nodes,
                            HeaderBits* in) {
  const BlockGrid grid = resolution.blocksOf(id.precinct, band);
  if (grid.count() == 0) return;
  const TagTreeShape shape(grid.across, grid.down);
  const size_t blocks = size_t(grid.across) * size_t(grid.down);
  if (nodes->empty()) {
    count((blocks + 2 * shape.nodes()) * sizeof(KnownNode));
    nodes->resize(blocks + 2 * shape.nodes());
  }
  KnownNode* const inclusion = nodes->data() + blocks;
  KnownNode* const zeroPlanes = inclusion + shape.nodes();
  const int blockStyle = tile_.parameters.coding(id.component).blockStyle;
  const auto bit = [in] { return (*in)(); };
  const int maxPlanes = resolution.bands[band].planes + tile_.parameters.roiShift(id.component);
  for (int y = 0; y < grid.down; ++y)
    for (int x = 0; x < grid.across; ++x) {
      uint32_t& number = (*nodes)[size_t(y) * size_t(grid.across) + size_t(x)];
      if (number) {
        if (!bit()) continue;
      } else {
        // Blocks under a node that has none of this layer say nothing more: they are passed over together.
        const int without = readTagTree(shape, inclusion, x, y, id.layer + 1, bit);
        if (without == shape.top()) return;
        if (without >= 0) {
          x = std::min(grid.across, ((x >> without) + 1) << without) - 1;
          continue;
        }
        int planes = 1;
        while (readTagTree(shape, zeroPlanes, x, y, planes, bit) >= 0)
          if (++planes > std::max(maxPlanes, 0) + 1) damaged("a code block with more empty bit planes than there are");
        CodeBlock b;
        b.area = grid.block(x, y);
        b.component = uint16_t(id.component);
        b.resolution = uint8_t(id.resolution);
        b.band = uint8_t(band);
        b.zeroPlanes = uint8_t(planes - 1);
        blocks_.push_back(b);
        number = uint32_t(blocks_.size());
      }
      readContribution(number - 1, blockStyle, in);
    }
}

namespace {

// The number of coding passes (T.800 Table B.4).
template <class Bits>
int readPasses(Bits* in) {
  if (!(*in)()) return 1;
  if (!(*in)()) return 2;
  int n = int(in->bits(2));
  if (n < 3) return 3 + n;
  n = int(in->bits(5));
  if (n < 31) return 6 + n;
  return 37 + int(in->bits(7));
}

}  // namespace

// What is going to be passed over is counted too: the segments that later packets bring follow from it.
void PacketReader::readContribution(uint32_t block, int blockStyle, HeaderBits* in) {
  CodeBlock& b = blocks_[block];
  int passes = readPasses(in);
  while ((*in)())
    if (++b.lengthBits > 32) damaged("a code block with an impossible length");
  while (passes > 0) {
    const int capacity = segmentCapacity(b.openSegment, blockStyle) - b.openPasses;
    const int n = std::min(passes, capacity);
    const int bits = b.lengthBits + floorLog2(n);
    if (bits > 31) damaged("a code block with an impossible length");
    parts_.push_back({block, b.openSegment, n, in->bits(bits)});
    passes -= n;
    b.openPasses += n;
    if (n == capacity) {
      ++b.openSegment;
      b.openPasses = 0;
    }
  }
}

}  // namespace zelcodecs::jpeg2000
