// Packets (T.800 B.9 and B.10): a header that tells which code blocks of a precinct a layer brings, how many coding
// passes and how many bytes of each; then the bytes.
#pragma once

#include "jpeg2000/tile.h"

namespace zelcodecs::jpeg2000 {

// Coding passes that a codeword segment can hold, by its number and the code-block style.
int segmentCapacity(int segment, int blockStyle);

struct Bytes {
  const uint8_t* at = nullptr;
  size_t left = 0;
};

class PacketReader {
 public:
  // headers: the packed headers of the tile (PPM, PPT), or null where headers stand in the body.
  PacketReader(Tile* tile, const TileParameters& parameters, Bytes body, const Bytes* headers);

  // Whether packets may follow.
  bool atEnd() const { return headers_ ? packed_.left == 0 : body_.left == 0; }
  // Reads a packet. keep: its bytes are stored, otherwise passed over. Throws Error(damaged); with rescue, what is left
  // of the bytes has been stored then.
  void read(const PacketId& id, bool keep);

  size_t bodyLeft() const { return body_.left; }

 private:
  struct Part {
    CodeBlock* block;
    int segment;  // -1 for one that is passed over
    int passes;
    size_t bytes;
  };
  void header(Precinct* precinct, int layer, int blockStyle, int maxPlanes, Bytes* from);
  Tile* tile_;
  const TileParameters& parameters_;
  Bytes body_, packed_;
  bool headers_;
  std::vector<Part> parts_;
};

// Appends a packet to out: what each block's layerPasses, rates and data say of the layer. sequence is the packet's
// number in the tile, for SOP.
void writePacket(const PacketId& id, const TileParameters& parameters, Tile* tile, int sequence,
                 std::vector<uint8_t>* out);

// Forgets what packets have told, so that writing can start again.
void restartPackets(Tile* tile);

}  // namespace zelcodecs::jpeg2000
