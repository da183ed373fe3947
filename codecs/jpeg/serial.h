// Plane primitives on the calling thread.
#pragma once

#include <algorithm>

#include "zelj.h"

namespace zelcodecs::jpeg {

// The colour conversions of planes divide regions of more than 8192 pixels among OpenMP's threads, which spin for a
// while after each call, and whose runtime ends the process where it finds no memory. A codec's work is divided
// already: its regions go to the primitives in pieces below that, as work(x, y, size).
template <class Work>
void inSerialPieces(ZeliSize region, const Work& work) {
  constexpr int kSerialPixels = 8192;
  const int columns = std::min(region.width, kSerialPixels), rows = kSerialPixels / columns;
  for (int y = 0; y < region.height; y += rows)
    for (int x = 0; x < region.width; x += columns)
      work(x, y, ZeliSize{std::min(columns, region.width - x), std::min(rows, region.height - y)});
}

}  // namespace zelcodecs::jpeg
