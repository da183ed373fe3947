#include "colour/mcu.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kHalf = 1 << (kFractionBits - 1), kOne = 1 << kFractionBits;

struct Factors {
  int r, g, b;
};
constexpr Factors kY = {4899, 9617, 1868}, kCb = {-2764, -5428, 8192}, kCr = {8192, -6860, -1332};
static_assert(kY.r + kY.g + kY.b == kOne, "luma is green and a part of the differences");
static_assert(kCb.r + kCb.g + kCb.b == 0 && kCr.r + kCr.g + kCr.b == 0, "chroma needs the differences alone");

constexpr int kRedOfCr = 22970, kGreenOfCb = -5638, kGreenOfCr = -11700, kBlueOfCb = 29032;

template <class T, int N>
constexpr void fill(T (&lanes)[N], int value) {
  for (T& lane : lanes) lane = T(value);
}
template <class T, int N>
constexpr void fillPairs(T (&lanes)[N], int even, int odd) {
  for (int i = 0; i < N; i += 2) lanes[i] = T(even), lanes[i + 1] = T(odd);
}

// Bytes r g b g of four pixels of the given size, the first at byte `start`.
constexpr void greenTwice(McuTables::Bytes& t, int start, int pixelBytes, int red, int blue) {
  for (int i = 0; i < kVecBytes; ++i) {
    const int channel = i % 2 ? 1 : i % 4 ? blue : red;
    t[i] = uint8_t(start + i % 16 / 4 * pixelBytes + channel);
  }
}

constexpr McuTables mcuTables() {
  McuTables t{};
  fill(t.centre, 128);
  fill(t.centreByte, 128);

  fillPairs(t.toY, kY.r, kY.b);
  fillPairs(t.toCb, kCb.r, kCb.b);
  fillPairs(t.toCr, kCr.r, kCr.b);
  fill(t.toYAdd, kHalf - 128 * kOne);
  for (int log = 0; log < 3; ++log) fill(t.toChromaAdd[log], kHalf << log);
  fill(t.inkToChromaAdd, 8133);
  fillPairs(t.evenMinusOdd, 1, -1);
  fillPairs(t.oddMinusEven, -1, 1);
  fill(t.evenPlusOdd, 1);
  for (int i = 0; i < 2; ++i) {  // pixel 4 is byte 12, and 4 of the last 16
    greenTwice(t.rgbGreenTwice[i], 4 * i, 3, 0, 2);
    greenTwice(t.bgrGreenTwice[i], 4 * i, 3, 2, 0);
  }
  greenTwice(t.inkGreenTwice, 0, 4, 0, 2);
  for (int i = 0; i < kVecBytes; ++i) {
    const int lane = i % 16;
    t.oddOfFour[i] = lane % 2 ? kZeroByte : uint8_t(lane / 2 % 4 * 4 + (lane < 8 ? 1 : 3));
    const int byte = lane % 8 * 3 + (lane < 8 ? 1 : 2);
    t.chroma[0][i] = byte < 16 ? uint8_t(byte) : kZeroByte;
    t.chroma[1][i] = byte < 16 ? kZeroByte : uint8_t(byte - 8);
  }
  fill(t.lowByte, 0xFF);
  fill(t.field5, 0xF8);
  fill(t.field6, 0xFC);

  fill(t.redRest, 2 * (kRedOfCr - kOne));
  fill(t.blueRest, 2 * (kBlueOfCb - kOne));
  fillPairs(t.greenRest, kGreenOfCb, kGreenOfCr + kOne);
  fill(t.greenHalfUp, 128 * kOne + kHalf);
  fill(t.greenHalfDown, 128 * kOne + kHalf - 1);
  return t;
}

}  // namespace

constexpr McuTables kMcu = mcuTables();

}  // namespace ZEL_VARIANT
