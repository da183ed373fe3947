// What the blocks and pixels of a texture are made of, and how they become samples.
#pragma once

#include <string>
#include <vector>

#include "common/picture.h"
#include "dds/format.h"

namespace zelcodecs::dds {

// A field of a pixel without compression.
struct Channel {
  uint64_t mask = 0;
  int shift = 0, bits = 0;
};

struct Texels {
  enum class Kind { colourBlocks, valueBlocks, pixels };

  std::string name;
  Kind kind = Kind::colourBlocks;
  size_t unitBytes = 8;  // of a block, or of a pixel
  ColourModel model = ColourModel::rgba;
  int depth = 8;

  // Blocks of colours.
  BlockDecoder decode = nullptr;
  bool widened = false;     // colours of 5, 6 and 5 bits, whose low bits the decoder leaves zero
  bool fourBits = false;    // so it does with opacities
  bool multiplied = false;  // colours with the opacity
  bool ycocg = false;
  // Blocks of values: BC4 has one channel, BC5 two.
  bool isSigned = false;
  // Pixels: as many as the model has, but for a blue that is missing.
  std::vector<Channel> channels;

  bool blocks() const { return kind != Kind::pixels; }
  size_t rowBytes(int width) const { return (blocks() ? blocksOver(width) : size_t(width)) * unitBytes; }
  // Of a picture.
  size_t bytes(int width, int height) const {
    return rowBytes(width) * (blocks() ? blocksOver(height) : size_t(height));
  }
};

// Each throws Error(unsupported) where the texture is of another kind. The first are for the old header: a name of four
// characters, or masks of bits.
Texels texelsOfName(uint32_t fourCC, uint32_t tag);
Texels texelsOfMasks(uint32_t flags, uint32_t bits, const uint32_t (&masks)[4]);
Texels texelsOfNumber(uint32_t dxgiFormat);

// Whether it is plain that the blocks have no transparent pixel.
bool areOpaque(const Texels& texels, const uint8_t* blocks, size_t count);

// A row of blocks (to: up to four rows) or of pixels (one row), of width pixels.
void toSamples(const Texels& texels, const uint8_t* data, int width, Rows to);

}  // namespace zelcodecs::dds
