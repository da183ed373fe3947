// What a page is like: how it is divided and coded, and what its samples mean.
#pragma once

#include <vector>

#include "common/image.h"
#include "common/warnings.h"
#include "tiff/directory.h"

namespace zelcodecs::tiff {

// Samples as they stand in the file. A piece is a strip or a tile; strips are as wide as the page.
struct Layout {
  int width, height, bits, samples;
  int planes;  // 1 where the samples of a pixel stand together
  int compression, predictor, photometric;
  bool reversed, swapped;
  int pieceWidth, pieceRows, across, down;
  size_t rowSamples, rowBytes;  // of a row of a piece, in one plane
  // YCbCr without JPEG comes in units of subX times subY pixels: their luma, then Cb and Cr. A row of bytes is then one
  // of units.
  int subX = 1, subY = 1;
  double levels[6] = {0, 255, 128, 255, 128, 255};  // black and white, or none and most, of luma, Cb and Cr

  bool jpeg() const { return compression == kJpeg; }
  bool units() const { return photometric == kYCbCr && !jpeg(); }
  // Of rows of a piece, in one plane.
  size_t bytesOf(int rows) const { return rowBytes * ((size_t(rows) + size_t(subY) - 1) / size_t(subY)); }
  int piecesOfPlane() const { return across * down; }
};

// What the samples of a pixel mean.
struct Meaning {
  ColourModel model;
  int depth;    // of the picture's samples
  int colours;  // samples before the extra ones
  int alpha = -1;
  bool associated = false;
  bool inverted = false;
  std::vector<uint8_t> palette;  // red, green and blue of each index
};

// Both throw where the page is damaged or of a kind that is not read.
Layout layoutOf(const Directory& d, const TiffPage& p, const Limits& limits);
Meaning meaningOf(const Directory& d, const Layout& l, Warnings* warnings);

// Memory and time stay in proportion to the file: throws where it is too short for the page.
void checkLength(const Directory& d, const Layout& l, bool keepGoing);

}  // namespace zelcodecs::tiff
