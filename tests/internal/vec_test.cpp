// The arithmetic of the vector layer against scalar lambdas, compiled with each variant's flags. What moves lanes about
// (packs, unpacks, shuffles, widenings) is met by every kernel's definition test.
#include "frame/vec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "support/data.h"

using namespace ZEL_VARIANT;
using zeltest::Random;

namespace {

template <class T>
int64_t clampTo(int64_t x) {
  return std::min<int64_t>(std::numeric_limits<T>::max(), std::max<int64_t>(std::numeric_limits<T>::min(), x));
}

// result lane i == scalar(a[i], b[i]) for random and extreme lanes.
template <class V, class Op, class Scalar>
void lanewise(const char* name, Op op, Scalar scalar) {
  using T = typename V::Lane;
  Random rng(1);
  for (int round = 0; round < 300; ++round) {
    const auto a = rng.vector<T>(V::N), b = rng.vector<T>(V::N);
    const auto r = op(load<V>(a.data()), load<V>(b.data()));
    for (int i = 0; i < V::N; ++i)
      ASSERT_EQ(T(scalar(int64_t(a[size_t(i)]), int64_t(b[size_t(i)]))), T(r.v[i])) << name << " lane " << i;
  }
}

// EXPECT_LANES(V, what the vectors do, what each lane does): a and b are the operands in both.
#define EXPECT_LANES(V, vectors, lane) \
  lanewise<V>(                         \
      #vectors, [](V a, V b) { return (void)b, vectors; }, [](int64_t a, int64_t b) { return (void)b, lane; })

template <class V>
void arithmetic() {
  using T = typename V::Lane;
  EXPECT_LANES(V, a + b, a + b);
  EXPECT_LANES(V, a - b, a - b);
  EXPECT_LANES(V, a == b, a == b ? -1 : 0);
  EXPECT_LANES(V, a > b, a > b ? -1 : 0);
  EXPECT_LANES(V, select(a > b, a, b), std::max(a, b));
  EXPECT_LANES(V, a << 3, a * 8);
  EXPECT_LANES(V, a >> 3, a >> 3);
  EXPECT_LANES(V, (splat<V>(T(-7)) ^ a ^ a), T(-7));
}

template <class V>
void saturating() {
  using T = typename V::Lane;
  EXPECT_LANES(V, addSat(a, b), clampTo<T>(a + b));
  EXPECT_LANES(V, subSat(a, b), clampTo<T>(a - b));
}

template <class V>
void minMax() {
  EXPECT_LANES(V, min(a, b), std::min(a, b));
  EXPECT_LANES(V, max(a, b), std::max(a, b));
}

}  // namespace

TEST(Vec, LanewiseOperations) {
  arithmetic<u8v>(), arithmetic<i16v>(), arithmetic<u16v>(), arithmetic<i32v>(), arithmetic<i16x8>();
  saturating<u8v>(), saturating<i8v>(), saturating<i16v>(), saturating<u16v>(), saturating<i16x8>();
  minMax<u8v>(), minMax<i16v>(), minMax<i32v>();
  EXPECT_LANES(i16v, mulHi(a, b), (a * b) >> 16);
  EXPECT_LANES(u16v, mulHi(a, b), (a * b) >> 16);
  EXPECT_LANES(i16v, a * b, a * b);
  EXPECT_LANES(u16v, average(a, b), (a + b + 1) >> 1);
  EXPECT_LANES(u8v, average(a, b), (a + b + 1) >> 1);
  EXPECT_LANES(i16v, abs(a), std::abs(a));
}
