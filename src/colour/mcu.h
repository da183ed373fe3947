// How the MCU conversions divide an MCU, in both directions.
//
// The step of a kernel is a group: one vector of 16-bit lanes with 8 pixels in each 128-bit half. In the 32-byte form
// the upper half is another row of the MCU, so that 8 columns, the width of a block, always fill a half, and left and
// right block are vectors of their own: no operation crosses the halves, and one source serves both widths.
#pragma once

#include "colour/matrix.h"
#include "frame/checks.h"
#include "frame/interleave.h"
#include "frame/rows.h"

namespace ZEL_VARIANT {

// Constants as wide as a vector: see InterleaveTables.
struct alignas(kVecBytes) McuTables {
  using Bytes = uint8_t[kVecBytes];
  using Words = int16_t[kVecBytes / 2];
  using Dwords = int32_t[kVecBytes / 4];

  Words centre;  // 128
  Bytes centreByte;

  // Encoder: factors of R - G and B - G in alternate lanes, and what is added to the products before the shift; chroma
  // by the logarithm of the pixels in a sample.
  Words toY, toCb, toCr;
  Dwords toYAdd, toChromaAdd[3], cmykToChromaAdd;
  Bytes rgbGreenTwice[2], bgrGreenTwice[2];  // r g b g of pixels 0-3 in the first, and 4-7 in the last 16 bytes
  Bytes cmykGreenTwice;                      // c m y m of four pixels
  Bytes oddOfFour;                           // bytes 1 5 9 13, then 3 7 11 15, widened
  Bytes chroma[2];                           // Cb of 8 pixels, then Cr: the part in the first and in the last 16 bytes
  Words lowByte, field5, field6;

  // Decoder: the factors of the rests that remain beside whole chroma samples, and what green adds before the shift.
  Words redRest, blueRest, greenRest;
  Dwords greenHalfUp, greenHalfDown;
};
[[gnu::visibility("hidden")]] extern const McuTables kMcu;

namespace {

constexpr int kRows = i16v::N / 8;  // rows in a group

// Where the fields of a 16-bit pixel are: blue in bits 0 to 4, green from bit 5 on, red above it.
template <int kGreenFieldBits>
struct BgrFields {
  static constexpr int kGreenBits = kGreenFieldBits;
  static constexpr int kGreenAt = 5;
  static constexpr int kRedAt = kGreenAt + kGreenBits;
  static constexpr int kGreenMask = 0x100 - (0x100 >> kGreenBits);  // of a byte's high bits
};
using Bgr555 = BgrFields<5>;
using Bgr565 = BgrFields<6>;

}  // namespace
}  // namespace ZEL_VARIANT
