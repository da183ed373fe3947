// The colour matrices of JFIF (ITU-T T.871) in fixed point:
//
//   Y  =  0.299   R + 0.587   G + 0.114   B          R = Y + 1.402   (Cr - 128)
//   Cb = -0.16874 R - 0.33126 G + 0.5     B + 128    G = Y - 0.34414 (Cb - 128) - 0.71414 (Cr - 128)
//   Cr =  0.5     R - 0.41869 G - 0.08131 B + 128    B = Y + 1.772   (Cb - 128)
#pragma once

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kCentre = 128;  // of chroma; also the level shift of blocks

// x in units of 2^-bits, rounded to nearest; x is not negative.
constexpr int fixedPoint(double x, int bits) { return int(x * (1 << bits) + 0.5); }

constexpr int kFractionBits = 14;                                // so that every factor fits 16 bits
constexpr int kRedOfCr = fixedPoint(1.402, kFractionBits);       // 22970
constexpr int kGreenOfCb = -fixedPoint(0.34414, kFractionBits);  // -5638
constexpr int kGreenOfCr = -fixedPoint(0.71414, kFractionBits);  // -11700
constexpr int kBlueOfCb = fixedPoint(1.772, kFractionBits);      // 29032
static_assert(kRedOfCr == 22970 && kGreenOfCb == -5638 && kGreenOfCr == -11700 && kBlueOfCb == 29032);

// What red, green and blue add to one component.
struct Weights {
  int r, g, b;
};
struct ForwardMatrix {
  Weights y, cb, cr;
};
// The parts of red and blue in the differences that make up chroma; green has the rest of one half.
constexpr ForwardMatrix forwardMatrix(int bits, double cbRed, double cbGreen, double crGreen, double crBlue) {
  const int half = 1 << (bits - 1);
  return {{fixedPoint(0.299, bits), fixedPoint(0.587, bits), fixedPoint(0.114, bits)},
          {-fixedPoint(cbRed, bits), -fixedPoint(cbGreen, bits), half},
          {half, -fixedPoint(crGreen, bits), -fixedPoint(crBlue, bits)}};
}
// With 14 bits the factors of chroma are those of its four-digit figures, so that they add up to 0.
constexpr ForwardMatrix kForward14 = forwardMatrix(14, 0.1687, 0.3313, 0.4187, 0.0813);
constexpr ForwardMatrix kForward15 = forwardMatrix(15, 0.16874, 0.33126, 0.41869, 0.08131);
constexpr ForwardMatrix kForward16 = forwardMatrix(16, 0.16874, 0.33126, 0.41869, 0.08131);

constexpr int sumOf(Weights w) { return w.r + w.g + w.b; }
constexpr bool equal(Weights w, int r, int g, int b) { return w.r == r && w.g == g && w.b == b; }
static_assert(equal(kForward14.y, 4899, 9617, 1868) && sumOf(kForward14.y) == 1 << 14);
static_assert(equal(kForward14.cb, -2764, -5428, 8192) && equal(kForward14.cr, 8192, -6860, -1332));
static_assert(equal(kForward15.y, 9798, 19235, 3736) && sumOf(kForward15.y) == (1 << 15) + 1);
static_assert(equal(kForward15.cb, -5529, -10855, 16384) && equal(kForward15.cr, 16384, -13720, -2664));
static_assert(equal(kForward16.y, 19595, 38470, 7471) && sumOf(kForward16.y) == 1 << 16);

}  // namespace
}  // namespace ZEL_VARIANT
