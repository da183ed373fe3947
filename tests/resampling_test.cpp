// Chroma resampling of planes and rows against its definition.
#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/picture.h"

namespace {

using namespace zeltest;

// The mean of two samples, or of four in two rows, with a bias for outputs of even and of odd index.
std::vector<uint8_t> downRow(const uint8_t* upper, const uint8_t* lower, int n, int even, int odd) {
  std::vector<uint8_t> d;
  for (int i = 0; i < n; ++i) {
    int sum = upper[2 * i] + upper[2 * i + 1] + (i % 2 ? odd : even);
    if (lower) sum += lower[2 * i] + lower[2 * i + 1];
    d.push_back(uint8_t(sum >> (lower ? 2 : 1)));
  }
  return d;
}

// Three parts of a sample and one of its neighbour; the samples before the first and after the last are read. With a
// second row (`far` not null) three parts of the nearer row and one of the farther one before that.
std::vector<uint8_t> upRow(const uint8_t* near, const uint8_t* far, int n) {
  const auto column = [&](int k) { return far ? 3 * near[k] + far[k] : near[k]; };
  std::vector<uint8_t> d;
  for (int i = 0; i < n; ++i) {
    const int k = i / 2, left = i % 2 == 0;
    const int sum = 3 * column(k) + column(left ? k - 1 : k + 1);
    const int bias = far ? (left ? 8 : 7) : (left ? 1 : 2);
    d.push_back(uint8_t((sum + bias) >> (far ? 4 : 2)));
  }
  return d;
}

// A row between copies of its ends.
std::vector<uint8_t> extended(const std::vector<uint8_t>& row) {
  std::vector<uint8_t> e(row.size() + 2, row.back());
  e.front() = row.front();
  std::copy(row.begin(), row.end(), e.begin() + 1);
  return e;
}

using PlaneFunction = ZelStatus (*)(const uint8_t*, int, ZeliSize, uint8_t*, int, ZeliSize);

// Sources end at unreadable pages after what may be read; their own size is only checked.
void expectDown(PlaneFunction f, bool v2, int width, int height, Random& rng) {
  Plane<uint8_t> src(2 * width, v2 ? 2 * height : height, width % 3), dst(width, height, height % 4, width % 3);
  src.fill(rng);
  ASSERT_EQ(zelStsNoErr, f(src.data(), src.step(), {1, 1}, dst.data(), dst.step(), dst.size()));
  for (int y = 0; y < height; ++y) {
    const uint8_t* upper = src.data() + (v2 ? 2 * y : y) * src.step();
    ASSERT_EQ(downRow(upper, v2 ? upper + src.step() : nullptr, width, v2 ? 3 : 1, v2 ? 3 : 1), dst.row(y))
        << width << "x" << height << " row " << y;
  }
}
// One sample more at each end of a row, and for H2V2 the row above and, where the last row is odd, the one below.
void expectUp(PlaneFunction f, bool v2, int width, int height, Random& rng) {
  const int readable = 1 + width / 2 + 1, above = v2 ? 1 : 0, below = v2 && height % 2 == 0 ? 1 : 0;
  const int rows = v2 ? (height + 1) / 2 : height;
  Plane<uint8_t> src(readable, above + rows + below, width % 3), dst(width, height, height % 4, width % 3);
  src.fill(rng);
  const uint8_t* origin = src.data() + 1 + above * src.step();
  ASSERT_EQ(zelStsNoErr, f(origin, src.step(), {1, 1}, dst.data(), dst.step(), dst.size()));
  for (int y = 0; y < height; ++y) {
    const uint8_t* near = origin + (v2 ? y / 2 : y) * src.step();
    ASSERT_EQ(upRow(near, v2 ? near + (y % 2 ? src.step() : -src.step()) : nullptr, width), dst.row(y))
        << width << "x" << height << " row " << y;
  }
}

}  // namespace

// Rows up follow the rule of planes, between copies of their ends.
TEST(Resampling, Rows) {
  Random rng(1);
  const Api& z = zel();
  for (int width = 1; width <= 200; ++width) {
    SCOPED_TRACE(width);
    const size_t n = size_t(width), half = (n + 1) / 2;
    Guarded<uint8_t> upper(rng.vector<uint8_t>(2 * half)), lower(rng.vector<uint8_t>(2 * half)), down(half, n % 17);
    ASSERT_EQ(zelStsNoErr, z.zeliSampleDownRowH2V1_Box_JPEG_8u_C1(upper.data(), width, down.data()));
    ASSERT_EQ(downRow(upper.data(), nullptr, int(half), 0, 1), down.copy());
    ASSERT_EQ(zelStsNoErr, z.zeliSampleDownRowH2V2_Box_JPEG_8u_C1(upper.data(), lower.data(), width, down.data()));
    ASSERT_EQ(downRow(upper.data(), lower.data(), int(half), 1, 2), down.copy());
    Guarded<uint8_t> near(rng.vector<uint8_t>(n)), far(rng.vector<uint8_t>(n)), up(2 * n, n % 17);
    const std::vector<uint8_t> nearRow = extended(near.copy()), farRow = extended(far.copy());
    ASSERT_EQ(zelStsNoErr, z.zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(near.data(), width, up.data()));
    ASSERT_EQ(upRow(nearRow.data() + 1, nullptr, 2 * width), up.copy());
    ASSERT_EQ(zelStsNoErr, z.zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near.data(), far.data(), width, up.data()));
    ASSERT_EQ(upRow(nearRow.data() + 1, farRow.data() + 1, 2 * width), up.copy());
  }
}

// Planes of every small width, and such as are divided among threads from 8193 samples on.
TEST(Resampling, PlanesInAnyNumberOfThreads) {
  Random rng(3);
  const auto run = [&](int width, int height, int queries) {
    const auto queried = [&](int expected) {
      if (hooks()) EXPECT_EQ(expected, hooks()->threadQueries.exchange(0)) << width << "x" << height;
    };
    expectDown(zel().zeliSampleDownH2V1_JPEG_8u_C1R, false, width, height, rng);
    queried(queries);
    expectDown(zel().zeliSampleDownH2V2_JPEG_8u_C1R, true, width, height, rng);
    queried(queries);
    expectUp(zel().zeliSampleUpH2V1_JPEG_8u_C1R, false, width, height, rng);
    queried(0);
    expectUp(zel().zeliSampleUpH2V2_JPEG_8u_C1R, true, width, height, rng);
    queried(queries);
  };
  if (hooks()) hooks()->reset();
  for (int width = 1; width <= 140; ++width) run(width, 1 + width % 5, 0);
  run(128, 64, 0);
  for (const int threads : {1, 2, 3, 7}) {
    if (hooks()) hooks()->threads = threads;
    for (const auto& [width, height] : {std::pair(8193, 1), std::pair(131, 77), std::pair(31, 301)})
      run(width, height, 1);
  }
  if (hooks()) hooks()->reset();
}

TEST_F(Checks, Resampling) {
  for (const ZeliSize s : {ZeliSize{0, 1}, ZeliSize{1, 0}, ZeliSize{-1, -1}})
    for (const auto f : {z.zeliSampleDownH2V1_JPEG_8u_C1R, z.zeliSampleDownH2V2_JPEG_8u_C1R,
                         z.zeliSampleUpH2V1_JPEG_8u_C1R, z.zeliSampleUpH2V2_JPEG_8u_C1R})
      check(f, null<0>(), step<1>(), size<2>(s.width, s.height), null<3>(), step<4>(-1), size<5>(s.width, s.height));
  for (const auto f : {z.zeliSampleDownRowH2V1_Box_JPEG_8u_C1, z.zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1})
    check(f, null<0, 2>(), length<1>());
  for (const auto f : {z.zeliSampleDownRowH2V2_Box_JPEG_8u_C1, z.zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1})
    check(f, null<0, 1, 3>(), length<2>(-1));
}
