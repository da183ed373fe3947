// Interleaved pixels of three and four 8-bit channels, split into channels and put together again. Every function works
// inside the 128-bit halves of its vectors, so a half is a run of pixels of its own: 8 of them where channels are
// widened to 16 bits, 16 where they are bytes.
#pragma once

#include "frame/vec.h"

namespace ZEL_VARIANT {

// Constants as wide as a vector. They are defined apart, so that kernels use them as operands in memory: a compiler
// that sees the values builds them in registers at the start of each call, which costs small blocks dearly.
struct alignas(kVecBytes) InterleaveTables {
  uint8_t widen[3][kVecBytes];   // a channel of 8 pixels to 16-bit lanes
  uint8_t outer[2][kVecBytes];   // the first and the last channel of pixels 0 2 4 6 and of 1 3 5 7, by turns
  uint8_t middle[2][kVecBytes];  // their middle channel, twice each
  // Two channels of pixels, by turns, and the third one to their places in each of three vectors.
  uint8_t two[3][kVecBytes], third[3][kVecBytes];
};
[[gnu::visibility("hidden")]] extern const InterleaveTables kInterleave;

namespace {

struct ShuffleBytes {
  uint8_t at[16];
};
constexpr uint8_t kZeroByte = 0x80;  // as a shuffle index

template <class V>
ZEL_INLINE V shuffleBy(V a, const ShuffleBytes& index) {
  using Bytes = Vec<uint8_t, int(sizeof(V))>;
  return as<V>(shuffle128(as<Bytes>(a), repeat128<Bytes>(load<u8x16>(index.at))));
}

// 16 bytes at low, and in the 32-byte form 16 more at high for the upper half.
template <class V, class P>
ZEL_INLINE V loadHalves(const P* low, [[maybe_unused]] const P* high) {
#ifdef ZEL_VEC32
  if constexpr (sizeof(V) == 32)
    return join(load<Vec<typename V::Lane, 16>>(low), load<Vec<typename V::Lane, 16>>(high));
#endif
  if constexpr (sizeof(V) == 16) return load<V>(low);
}

template <int kHalf, class T, int B>
ZEL_INLINE Vec<T, 16> halfOf(Vec<T, B> a) {
#ifdef ZEL_VEC32
  if constexpr (B == 32 && kHalf == 0) return lowHalf(a);
  if constexpr (B == 32 && kHalf == 1) return highHalf(a);
#endif
  if constexpr (B == 16) return a;
}

template <class V>
ZEL_INLINE V unpackLow64x128(V a, V b) {
  using Wide = Vec<int64_t, int(sizeof(V))>;
  return as<V>(unpackLow128(as<Wide>(a), as<Wide>(b)));
}
template <class V>
ZEL_INLINE V unpackHigh64x128(V a, V b) {
  using Wide = Vec<int64_t, int(sizeof(V))>;
  return as<V>(unpackHigh128(as<Wide>(a), as<Wide>(b)));
}

// ---- Three channels -------------------------------------------------------------------------------------------------
// Eight pixels are 24 bytes, read as the first 16 and the last 16 of them: nothing beyond is touched, and each of the
// two loads holds whole the four pixels that the other may lack.

template <class V>
struct Rgb24 {
  V first, last;  // bytes 0-15 and 8-23, in each half
};

template <class V>
ZEL_INLINE Rgb24<V> loadRgb24(const uint8_t* low, const uint8_t* high) {
  return {loadHalves<V>(low, high), loadHalves<V>(low + 8, high + 8)};
}

// The 16-bit lanes to be taken from the second load so that one register holds all eight samples of a channel.
constexpr int kLanesFromLast[3] = {0x64, 0xB2, 0xD9};

// The eight samples of one channel as 16-bit lanes.
template <int kChannel, class V>
ZEL_INLINE Vec<int16_t, int(sizeof(V))> channelOf3(Rgb24<V> p) {
  const V all = blend16x128<kLanesFromLast[kChannel]>(p.first, p.last);
  return as<Vec<int16_t, int(sizeof(V))>>(shuffle128(all, loadAligned<V>(kInterleave.widen[kChannel])));
}

// The same in pairs of 16-bit lanes, as a pairwise product takes them: pixels 0 2 4 6 at index 0, 1 3 5 7 at index 1.
template <class V>
struct PixelPairs {
  V outer[2];   // the first and the last channel
  V middle[2];  // the middle one twice
};
constexpr int kPairsFromLast[2] = {0x64, 0xD9};

template <class V>
ZEL_INLINE PixelPairs<Vec<int16_t, int(sizeof(V))>> pairsOf3(Rgb24<V> p) {
  using Lanes = Vec<int16_t, int(sizeof(V))>;
  const V even = blend16x128<kPairsFromLast[0]>(p.first, p.last);
  const V odd = blend16x128<kPairsFromLast[1]>(p.first, p.last);
  return {{as<Lanes>(shuffle128(even, loadAligned<V>(kInterleave.outer[0]))),
           as<Lanes>(shuffle128(odd, loadAligned<V>(kInterleave.outer[1])))},
          {as<Lanes>(shuffle128(even, loadAligned<V>(kInterleave.middle[0]))),
           as<Lanes>(shuffle128(odd, loadAligned<V>(kInterleave.middle[1])))}};
}

// 16 samples of each channel to 48 bytes in memory order: of the first two channels by turns, the first vector of the
// result wants pixels 0 to 5, the second 5 to 10, the third 10 to 15.
template <class V>
ZEL_INLINE void interleave3(V a, V b, V c, V (&out)[3]) {
  const V low = unpackLow128(a, b), high = unpackHigh128(a, b);
  const V two[3] = {low, blend16x128<0xF0>(high, low), high};
#pragma GCC unroll 3
  for (int i = 0; i < 3; ++i)
    out[i] =
        shuffle128(two[i], loadAligned<V>(kInterleave.two[i])) | shuffle128(c, loadAligned<V>(kInterleave.third[i]));
}

// ---- Two and four channels ------------------------------------------------------------------------------------------

template <class V>
ZEL_INLINE void interleave2(V a, V b, V (&out)[2]) {
  out[0] = unpackLow128(a, b);
  out[1] = unpackHigh128(a, b);
}

template <class V>
ZEL_INLINE void interleave4(V a, V b, V c, V d, V (&out)[4]) {
  using Pairs = Vec<uint16_t, int(sizeof(V))>;
  const Pairs ab0 = as<Pairs>(unpackLow128(a, b)), ab1 = as<Pairs>(unpackHigh128(a, b));
  const Pairs cd0 = as<Pairs>(unpackLow128(c, d)), cd1 = as<Pairs>(unpackHigh128(c, d));
  out[0] = as<V>(unpackLow128(ab0, cd0));
  out[1] = as<V>(unpackHigh128(ab0, cd0));
  out[2] = as<V>(unpackLow128(ab1, cd1));
  out[3] = as<V>(unpackHigh128(ab1, cd1));
}

}  // namespace
}  // namespace ZEL_VARIANT
