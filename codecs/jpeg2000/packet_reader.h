// Reading packets (T.800 B.9 and B.10): a header that tells which code blocks of a precinct a layer brings, how many
// coding passes and how many bytes of each; then the bytes, which stay where they are in the file.
#pragma once

#include <memory>

#include "common/bytes.h"
#include "jpeg2000/order.h"
#include "jpeg2000/tag_tree.h"

namespace zelcodecs::jpeg2000 {

// Coding passes that a codeword segment can hold, by its number and the code-block style.
int segmentCapacity(int segment, int blockStyle);

// What one packet brought of one codeword segment of a block.
struct CodedPiece {
  const uint8_t* at;
  uint32_t bytes;
  uint32_t next;  // number of the block's next piece, or kNone
  int segment, passes;
  static constexpr uint32_t kNone = ~uint32_t{0};
};

// A code block of which packets have brought something. Blocks without any have no record.
struct CodeBlock {
  Rect area;  // in the band
  uint16_t component;
  uint8_t resolution, band;                // band: its number in the resolution
  uint8_t zeroPlanes = 0, lengthBits = 3;  // lengthBits: Lblock
  int openSegment = 0, openPasses = 0;     // the segment that the next pass belongs to, and its passes so far
  uint32_t firstPiece = CodedPiece::kNone, lastPiece = CodedPiece::kNone;
};

// Bytes that lie in several places of a file, one after the other.
class ByteChain {
 public:
  ByteChain() = default;
  explicit ByteChain(std::vector<ByteView> parts) : parts_(std::move(parts)) { settle(); }
  bool atEnd() const { return at_ == parts_.size(); }
  uint8_t byte() {
    const uint8_t b = *parts_[at_].data;
    skip(1);
    return b;
  }
  // The next bytes that lie together, at most so many; passes over them.
  ByteView take(size_t most) {
    const ByteView v = {parts_[at_].data, std::min(most, parts_[at_].size)};
    skip(v.size);
    return v;
  }
  // Passes over a marker, if it stands here.
  bool takeMarker(int marker) {
    if (atEnd() || parts_[at_].size < 2 || int(bigEndian16(parts_[at_].data)) != marker) return false;
    skip(2);
    return true;
  }

 private:
  void skip(size_t n) {
    parts_[at_] = parts_[at_].from(n);
    settle();
  }
  void settle() {
    while (at_ < parts_.size() && parts_[at_].size == 0) ++at_;
  }
  std::vector<ByteView> parts_;
  size_t at_ = 0;
};

// The coded bytes of a tile, of all its tile-parts. Packed: packet headers stand apart (PPM, PPT).
struct TileBytes {
  std::vector<ByteView> packets, packedHeaders;
  bool packed = false;
};

// Reads the packets of one tile.
class PacketReader {
 public:
  // maxMemory: what may be held for precincts and blocks, in bytes.
  PacketReader(const Tile& tile, TileBytes bytes, uint64_t maxMemory);

  // Reads all packets. keep(id) tells whether a packet's bytes are wanted. Throws Error(damaged); what came before is
  // kept.
  template <class Keep>
  void readAll(const Keep& keep) {
    PacketWalk(tile_, (uint64_t{1} << 20) / tileShare_ + 1024 + 64 * bytes_).run([&](const PacketId& id) {
      if ((packed_ ? headers_ : body_).atEnd()) throw Error(ErrorKind::damaged, "packets are missing");
      read(id, keep(id));
      return true;
    });
  }
  std::vector<CodeBlock>& blocks() { return blocks_; }
  const CodedPiece& piece(uint32_t i) const { return pieces_[i]; }

 private:
  // The blocks of a precinct in a band: for each 1 more than its number, or 0; then the nodes of two trees, the layers
  // in which blocks come first, and the empty bit planes above them.
  using PrecinctBand = std::vector<uint32_t>;
  struct Precinct {
    int nextLayer = 0;
    std::unique_ptr<PrecinctBand[]> bands;
  };
  struct Part {  // of a packet's body
    uint32_t block;
    int segment, passes;
    uint32_t bytes;
  };
  class HeaderBits;
  Precinct& precinctAt(const PacketId& id, const Resolution& resolution);
  void read(const PacketId& id, bool keep);
  void readHeader(const PacketId& id, const Resolution& resolution, Precinct* precinct);
  void readBand(const PacketId& id, const Resolution& resolution, int band, PrecinctBand* nodes, HeaderBits* in);
  void readContribution(uint32_t block, int blockStyle, HeaderBits* in);
  void takeBytes(const Part& part, bool keep);
  void count(uint64_t bytes);

  const Tile& tile_;
  ByteChain body_, headers_;
  const bool packed_;
  const uint64_t maxMemory_;
  uint64_t memory_ = 0;
  size_t bytes_ = 0;
  uint64_t tileShare_;
  std::map<int, std::vector<std::vector<Precinct>>> precincts_;  // by component and resolution, where packets come
  std::vector<CodeBlock> blocks_;
  std::vector<CodedPiece> pieces_;
  std::vector<Part> parts_;  // of the present packet
};

}  // namespace zelcodecs::jpeg2000
