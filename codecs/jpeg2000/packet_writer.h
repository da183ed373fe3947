// Writing packets (T.800 B.9 and B.10).
#pragma once

#include "jpeg2000/blocks.h"
#include "jpeg2000/order.h"
#include "jpeg2000/tag_tree.h"

namespace zelcodecs::jpeg2000 {

// The blocks of a precinct in one band, row by row, and the trees of their packet headers.
struct EncodedBand {
  explicit EncodedBand(const BlockGrid& g)
      : grid(g), blocks(size_t(g.count())), inclusion(g.across, g.down), zeroPlanes(g.across, g.down) {}
  BlockGrid grid;
  std::vector<EncodedBlock> blocks;
  TagTreeWriter inclusion, zeroPlanes;
};

// All coded blocks of a tile: by component, resolution, precinct, band.
struct EncodedTile {
  using Precinct = std::vector<EncodedBand>;
  std::vector<std::vector<std::vector<Precinct>>> components;
};
EncodedTile blocksOf(const Tile& tile);

// Appends the packets of the first layers: what each block's layerPasses, rates and data say of them.
void writePackets(const Tile& tile, int layers, EncodedTile* blocks, std::vector<uint8_t>* out);

}  // namespace zelcodecs::jpeg2000
