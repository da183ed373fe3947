#include "colour/mcu.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kOne = 1 << kFractionBits;
constexpr int kHalf = kOne / 2;
constexpr ForwardMatrix kForward = kForward14;
static_assert(sumOf(kForward.y) == kOne, "luma is green and a part of the differences");
static_assert(sumOf(kForward.cb) == 0 && sumOf(kForward.cr) == 0, "chroma needs the differences alone");
constexpr int kCmykChromaRounding = 8133;  // of 4:4:4, instead of a half

template <class T, int N>
constexpr void fill(T (&lanes)[N], int value) {
  for (T& lane : lanes) lane = T(value);
}
template <class T, int N>
constexpr void fillPairs(T (&lanes)[N], int even, int odd) {
  for (int i = 0; i < N; ++i) lanes[i] = T(i % 2 ? odd : even);
}

// Bytes r g b g of four pixels of the given size, the first at byte `start`; or g r g b.
constexpr void greenTwice(McuTables::Bytes& t, int start, int pixelBytes, int red, int blue, bool greenFirst = false) {
  for (int i = 0; i < kVecBytes; ++i) {
    const int channel = i % 2 == int(!greenFirst) ? 1 : i / 2 % 2 ? blue : red;
    t[i] = uint8_t(start + i % 16 / 4 * pixelBytes + channel);
  }
}

constexpr void fillEncoder(McuTables& t) {
  fillPairs(t.toY, kForward.y.r, kForward.y.b);
  fillPairs(t.toCb, kForward.cb.r, kForward.cb.b);
  fillPairs(t.toCr, kForward.cr.r, kForward.cr.b);
  fill(t.toYAdd, kHalf - kCentre * kOne);
  for (int log = 0; log < 3; ++log) fill(t.toChromaAdd[log], kHalf << log);
  fill(t.cmykToChromaAdd, kCmykChromaRounding);
  for (int i = 0; i < 2; ++i) {  // pixel 4 is byte 12, and 4 of the last 16
    greenTwice(t.rgbGreenTwice[i], 4 * i, 3, 0, 2);
    greenTwice(t.bgrGreenTwice[i], 4 * i, 3, 2, 0);
  }
  greenTwice(t.cmykGreenTwice, 0, 4, 0, 2, true);
  for (int i = 0; i < kVecBytes; ++i) {
    const int lane = i % 16;
    t.oddOfFour[i] = lane % 2 ? kZeroByte : uint8_t(lane / 2 % 4 * 4 + (lane < 8 ? 1 : 3));
    const int byte = lane % 8 * 3 + (lane < 8 ? 1 : 2);
    t.chroma[0][i] = byte < 16 ? uint8_t(byte) : kZeroByte;
    t.chroma[1][i] = byte < 16 ? kZeroByte : uint8_t(byte - 8);
  }
  fill(t.lowByte, 0xFF);
  fill(t.field5, Bgr555::kGreenMask);
  fill(t.field6, Bgr565::kGreenMask);
}

// Whole samples are kOne; a rounding multiply takes twice the factor that remains.
constexpr void fillDecoder(McuTables& t) {
  fill(t.redRest, 2 * (kRedOfCr - kOne));
  fill(t.blueRest, 2 * (kBlueOfCb - kOne));
  fillPairs(t.greenRest, kGreenOfCb, kGreenOfCr + kOne);
  fill(t.greenHalfUp, kCentre * kOne + kHalf);
  fill(t.greenHalfDown, kCentre * kOne + kHalf - 1);
}

constexpr McuTables mcuTables() {
  McuTables t{};
  fill(t.centre, kCentre);
  fill(t.centreByte, kCentre);
  fillEncoder(t);
  fillDecoder(t);
  return t;
}

}  // namespace

constexpr McuTables kMcu = mcuTables();

}  // namespace ZEL_VARIANT
