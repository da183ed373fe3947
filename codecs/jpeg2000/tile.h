// How a tile divides into what packets carry: components, resolutions, bands, precincts, code blocks (T.800 Annex B).
// All of it follows from the parameters by arithmetic, and is computed where it is needed: a tile that claims very many
// of each costs nothing before packets bring something.
#pragma once

#include "jpeg2000/format.h"

namespace zelcodecs::jpeg2000 {

struct Band {
  Rect area;
  int kind = 0;     // 0 LL, 1 HL, 2 LH, 3 HH: bit 0 for high-pass across, bit 1 for high-pass down
  int planes = 0;   // magnitude bit planes, without those of a region of interest
  double step = 1;  // quantisation step; 1 in reversible coding
};

// The code blocks of a band that lie in one precinct: a grid, whose outer blocks are cut off by the precinct's bounds.
struct BlockGrid {
  Rect bounds;
  int logWidth = 0, logHeight = 0;
  int left = 0, top = 0;  // of the grid, in blocks
  int across = 0, down = 0;
  int count() const { return across * down; }
  Rect block(int x, int y) const {
    const auto edge = [](int64_t n, int log) { return int(std::min<int64_t>(n << log, INT32_MAX)); };
    return intersection(bounds, {edge(left + x, logWidth), edge(top + y, logHeight),
                                 edge(int64_t{left} + x + 1, logWidth), edge(int64_t{top} + y + 1, logHeight)});
  }
};

struct Resolution {
  Rect area;
  int bandCount = 1;
  Band bands[3];
  int logPrecinctWidth = 15, logPrecinctHeight = 15;
  int logBlockWidth = 6, logBlockHeight = 6;
  int across = 0, down = 0;  // precincts

  int64_t precincts() const { return int64_t{across} * down; }
  BlockGrid blocksOf(int precinct, int band) const;
};

struct Tile {
  Tile(const Grid& grid, int index, const TileParameters& parameters)
      : grid(grid), parameters(parameters), area(grid.tileRect(index)) {}

  int components() const { return int(grid.components.size()); }
  int levels(int component) const { return parameters.coding(component).levels; }
  Rect componentArea(int component) const;
  // The area alone, as of resolution().
  Rect resolutionArea(int component, int r) const;
  // Throws Error(damaged) for what the parameters cannot mean.
  Resolution resolution(int component, int r) const;

  const Grid& grid;
  const TileParameters parameters;
  const Rect area;
};

// A component's area on its own grid, of an area on the reference grid.
Rect scaled(const Rect& r, int dx, int dy);
// The same, n resolutions lower.
Rect reduced(const Rect& r, int n);

}  // namespace zelcodecs::jpeg2000
