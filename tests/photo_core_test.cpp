// The photo core transform against its definition, step by step, and its inverse.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/checks.h"
#include "support/data.h"

namespace {

using namespace zeltest;

struct Int {  // wraps
  int32_t v;
  Int operator+(Int o) const { return {int32_t(uint32_t(v) + uint32_t(o.v))}; }
  Int operator-(Int o) const { return {int32_t(uint32_t(v) - uint32_t(o.v))}; }
  Int operator>>(int n) const { return {v >> n}; }
};
Int round3(Int x, int offset, int shift) { return (x + x + x + Int{offset}) >> shift; }

void H(Int& a, Int& b, Int& c, Int& d, int R) {
  a = a + d;
  b = b - c;
  const Int t = (a - b + Int{R}) >> 1;
  const Int newC = t - d, newD = t - c;
  a = a - newD;
  b = b + newC;
  c = newC;
  d = newD;
}

void odd(Int& a, Int& b, Int& c, Int& d) {
  b = b - c;
  a = a + d;
  c = c + ((b + Int{1}) >> 1);
  d = ((a + Int{1}) >> 1) - d;
  b = b - round3(a, 4, 3);
  a = a + round3(b, 4, 3);
  d = d - round3(c, 4, 3);
  c = c + round3(d, 4, 3);
  d = d + (b >> 1);
  c = c - ((a + Int{1}) >> 1);
  b = b - d;
  a = a + c;
}

void oddOdd(Int& a, Int& b, Int& c, Int& d) {
  b = Int{0} - b;
  c = Int{0} - c;
  d = d + a;
  c = c - b;
  const Int t1 = d >> 1, t2 = c >> 1;
  a = a - t1;
  b = b + t2;
  a = a + round3(b, 4, 3);
  b = b - round3(a, 3, 2);
  a = a + round3(b, 3, 3);
  b = b - t2;
  a = a + t1;
  c = c + b;
  d = d - a;
}

void forward(char* corner, size_t step) {
  Int x[4][4];
  for (size_t r = 0; r < 4; ++r) std::memcpy(x[r], corner + r * step, 16);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 2; ++c) H(x[r][c], x[r][3 - c], x[3 - r][c], x[3 - r][3 - c], 0);
  H(x[0][0], x[0][1], x[1][0], x[1][1], 1);
  odd(x[0][2], x[0][3], x[1][2], x[1][3]);
  odd(x[2][0], x[3][0], x[2][1], x[3][1]);
  oddOdd(x[2][2], x[2][3], x[3][2], x[3][3]);
  for (size_t r = 0; r < 4; ++r) std::memcpy(corner + r * step, x[r], 16);
}

using Fixed = decltype(&zeliPCTFwd8x8_HDP_32s_C1IR);

// A null pair of functions: the plane functions.
void check(Random& rng, ZeliSize size, size_t extraStep, size_t slack, Fixed fwd, Fixed inv) {
  const size_t step = size_t(size.width) * 4 + extraStep;
  std::vector<int32_t> values = rng.vector<int32_t>(step * size_t(size.height) / 4 + 1);
  std::vector<uint8_t> bytes(step * size_t(size.height - 1) + size_t(size.width) * 4);
  std::memcpy(bytes.data(), values.data(), bytes.size());
  Guarded<uint8_t> region(bytes, slack);
  std::vector<uint8_t> expected = bytes;
  for (size_t y = 0; y < size_t(size.height); y += 4)
    for (size_t x = 0; x < size_t(size.width); x += 4)
      forward(reinterpret_cast<char*>(expected.data()) + y * step + 4 * x, step);
  int32_t* const p = reinterpret_cast<int32_t*>(region.data());
  ASSERT_EQ(zelStsNoErr, fwd ? fwd(p, uint32_t(step)) : zel().zeliPCTFwd_HDP_32s_C1IR(p, uint32_t(step), size));
  ASSERT_EQ(expected, region.copy()) << size.width << " x " << size.height;
  ASSERT_EQ(zelStsNoErr, inv ? inv(p, uint32_t(step)) : zel().zeliPCTInv_HDP_32s_C1IR(p, uint32_t(step), size));
  ASSERT_EQ(bytes, region.copy()) << size.width << " x " << size.height;
}

}  // namespace

TEST(PhotoCore, RegionsForwardAndBack) {
  Random rng(60);
  for (int w = 4; w <= 76; w += 4)
    for (int h = 4; h <= 40; h += 4)
      check(rng, {w, h}, size_t(rng.below(3) * 5), size_t(rng.below(20)), nullptr, nullptr);
  for (int round = 0; round < zeltest::rounds(400); ++round) {
    const size_t extra = size_t(rng.below(4) * 6), slack = size_t(rng.below(20));
    check(rng, {16, 16}, extra, slack, zel().zeliPCTFwd16x16_HDP_32s_C1IR, zel().zeliPCTInv16x16_HDP_32s_C1IR);
    check(rng, {8, 16}, extra, slack, zel().zeliPCTFwd8x16_HDP_32s_C1IR, zel().zeliPCTInv8x16_HDP_32s_C1IR);
    check(rng, {8, 8}, extra, slack, zel().zeliPCTFwd8x8_HDP_32s_C1IR, zel().zeliPCTInv8x8_HDP_32s_C1IR);
  }
}

TEST(PhotoCore, KnownBlocks) {
  int32_t flat[16], one[16] = {1};
  std::fill_n(flat, 16, 7);
  ASSERT_EQ(zelStsNoErr, zel().zeliPCTFwd_HDP_32s_C1IR(flat, 16, {4, 4}));
  ASSERT_EQ(zelStsNoErr, zel().zeliPCTFwd_HDP_32s_C1IR(one, 16, {4, 4}));
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(i ? 0 : 28, flat[i]);
    EXPECT_EQ(i == 1 || i == 4 || i == 5, one[i]);
  }
}

TEST_F(Checks, PhotoCore) {
  int32_t* const x = as<int32_t*>();
  for (const auto f : {z.zeliPCTFwd_HDP_32s_C1IR, z.zeliPCTInv_HDP_32s_C1IR}) {
    checkWith(f, {x, 16, {4, 4}}, null<0>(), size<2>(4, 0), bad<1>(15u, zelStsStepErr));
    checkWith(f, {x, 16, {4, 4}}, null<0>(), size<2>(0, 4), bad<1>(0u, zelStsStepErr));
    check(f, null<0>(), size<2>(6, 4));
    check(f, null<0>(), size<2>(4, 6));
    EXPECT_EQ(zelStsStepErr, f(x, 16, {6, 4}));
    EXPECT_EQ(zelStsStepErr, f(x, 16, {0x40000004, 4}));  // 4 * width is beyond 32 bits
  }
  for (const auto f : {z.zeliPCTFwd16x16_HDP_32s_C1IR, z.zeliPCTInv16x16_HDP_32s_C1IR})
    check(f, null<0>(), bad<1>(63u, zelStsStepErr));
  for (const auto f : {z.zeliPCTFwd8x16_HDP_32s_C1IR, z.zeliPCTInv8x16_HDP_32s_C1IR, z.zeliPCTFwd8x8_HDP_32s_C1IR,
                       z.zeliPCTInv8x8_HDP_32s_C1IR})
    check(f, null<0>(), bad<1>(31u, zelStsStepErr));
}
