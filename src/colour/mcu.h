// How the MCU conversions divide an MCU, in both directions.
//
// The step of a kernel is a group: one vector of 16-bit lanes with 8 pixels in each 128-bit half. In the 32-byte form
// the upper half is another row of the MCU, so that 8 columns, the width of a block, always fill a half, and left and
// right block are vectors of their own: no operation crosses the halves, and one source serves both widths.
#pragma once

#include "frame/checks.h"
#include "frame/interleave.h"
#include "frame/rows.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kRows = i16v::N / 8;  // rows in a group

// The 14-bit fixed point of the JFIF matrix.
constexpr int kFractionBits = 14;
constexpr int kRounding = 1 << (kFractionBits - 1);
constexpr int kLevelShift = 128 << kFractionBits;

struct Bgr555 {
  static constexpr int kBits[3] = {5, 5, 5};  // blue in the lowest bits
};
struct Bgr565 {
  static constexpr int kBits[3] = {5, 6, 5};
};

// The same pair of factors in every pair of lanes.
ZEL_INLINE i16v pairOf(int even, int odd) {
  return as<i16v>(splat<i32v>(int32_t(uint32_t(uint16_t(even)) | uint32_t(odd) << 16)));
}

}  // namespace
}  // namespace ZEL_VARIANT
