// The vector layer, each operation against a scalar lambda, compiled with each variant's flags.
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
  typedef typename V::Lane T;
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
  typedef typename V::Lane T;
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
  typedef typename V::Lane T;
  EXPECT_LANES(V, addSat(a, b), clampTo<T>(a + b));
  EXPECT_LANES(V, subSat(a, b), clampTo<T>(a - b));
}

template <class V>
void minMax() {
  EXPECT_LANES(V, min(a, b), std::min(a, b));
  EXPECT_LANES(V, max(a, b), std::max(a, b));
}

template <class V>
std::vector<int64_t> lanes(V v) {
  std::vector<int64_t> l;
  for (int i = 0; i < V::N; ++i) l.push_back(int64_t(v.v[i]));
  return l;
}
template <class V>
V counting(int from) {
  V v = zero<V>();
  for (int i = 0; i < V::N; ++i) v.v[i] = typename V::Lane(from + i);
  return v;
}

template <int B>
void reshaping() {
  typedef Vec<int16_t, B> W;
  typedef Vec<int32_t, B> D;
  typedef Vec<uint8_t, B> U;
  const W a = counting<W>(0), b = counting<W>(100);
  const W low = unpackLow128(a, b), high = unpackHigh128(a, b);
  for (int i = 0; i < W::N; ++i) {
    const int half = i / 8 * 8, pair = i % 8 / 2;
    ASSERT_EQ(half + pair + (i % 2 ? 100 : 0), low.v[i]);
    ASSERT_EQ(half + 4 + pair + (i % 2 ? 100 : 0), high.v[i]);
  }
  const D d = counting<D>(0), e = counting<D>(50);
  const D reversed = permute32x128<0x1B>(d), even = evenLanes32x128(d, e), odd = oddLanes32x128(d, e),
          sums = addNeighbours(d, e);
  for (int i = 0; i < D::N; ++i) {
    const int half = i / 4 * 4, within = i % 4;
    ASSERT_EQ(half + 3 - within, reversed.v[i]);
    const int source = within / 2 * 50 + half + within % 2 * 2;
    ASSERT_EQ(source, even.v[i]);
    ASSERT_EQ(source + 1, odd.v[i]);
    ASSERT_EQ(2 * source + 1, sums.v[i]);
  }
  Random rng(3);
  for (int round = 0; round < 200; ++round) {
    const auto x = rng.vector<int32_t>(D::N), y = rng.vector<int32_t>(D::N);
    const auto p = rng.vector<int16_t>(W::N), q = rng.vector<int16_t>(W::N);
    const D dx = load<D>(x.data()), dy = load<D>(y.data());
    const W wp = load<W>(p.data()), wq = load<W>(q.data());
    std::vector<int64_t> packed, packedU, packedBytes, products;
    for (const auto* v : {&x, &y})
      for (const int32_t s : *v) packed.push_back(clampTo<int16_t>(s)), packedU.push_back(clampTo<uint16_t>(s));
    for (const auto* v : {&p, &q})
      for (const int16_t s : *v) packedBytes.push_back(clampTo<uint8_t>(s));
    for (size_t i = 0; i < p.size(); i += 2)
      products.push_back(int32_t(uint32_t(p[i] * q[i]) + uint32_t(p[i + 1] * q[i + 1])));
    ASSERT_EQ(packed, lanes(packI16(dx, dy)));
    ASSERT_EQ(packedU, lanes(packU16(dx, dy)));
    ASSERT_EQ(packedBytes, lanes(packU8(wp, wq)));
    ASSERT_EQ(products, lanes(maddPairs(wp, wq)));
    const auto bytes = rng.vector<uint8_t>(W::N);
    ASSERT_EQ(std::vector<int64_t>(bytes.begin(), bytes.end()), lanes(loadWiden<W>(bytes.data())));
    ASSERT_EQ(std::vector<int64_t>(p.begin(), p.begin() + D::N), lanes(loadWiden<D>(p.data())));
    uint8_t narrowed[W::N];
    storeNarrow(narrowed, wp);
    for (size_t i = 0; i < W::N; ++i) ASSERT_EQ(clampTo<uint8_t>(p[i]), narrowed[i]);
    const auto u = rng.vector<uint8_t>(B), control = rng.vector<uint8_t>(B);
    const U shuffled = shuffle128(load<U>(u.data()), load<U>(control.data()));
    uint32_t mask = 0;
    for (int i = 0; i < B; ++i) {
      const uint8_t c = control[size_t(i)];
      ASSERT_EQ(c & 128 ? 0 : u[size_t(i / 16 * 16 + (c & 15))], shuffled.v[i]);
      mask |= uint32_t(u[size_t(i)] >> 7) << i;
    }
    ASSERT_EQ(mask, byteMask(load<U>(u.data())));
  }
  ASSERT_TRUE(isZero(zero<U>()));
  for (int i = 0; i < B; ++i) {
    U one = zero<U>();
    one.v[i] = 1;
    ASSERT_FALSE(isZero(one));
  }
}

template <int B>
void floats() {
  typedef Vec<float, B> F;
  typedef Vec<int32_t, B> D;
  F x = zero<F>();
  const float values[8] = {0.5f, 1.5f, -0.5f, -2.5f, 2.4999f, -7.9f, 100.75f, 65535.5f};
  for (int i = 0; i < F::N; ++i) x.v[i] = values[i];
  const D r = roundToInt(x), t = truncToInt(x);
  const F back = toFloat(t);
  for (int i = 0; i < F::N; ++i) {
    EXPECT_EQ(std::nearbyint(values[i]), r.v[i]);
    EXPECT_EQ(std::trunc(values[i]), t.v[i]);
    EXPECT_EQ(std::trunc(values[i]), back.v[i]);
  }
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

TEST(Vec, ReshapingKeepsItsLaneOrder) {
  reshaping<16>();
  floats<16>();
#ifdef __AVX2__
  reshaping<32>();
  floats<32>();
  const i16x16 all = join(counting<i16x8>(0), counting<i16x8>(8));
  EXPECT_EQ(lanes(counting<i16x16>(0)), lanes(all));
  EXPECT_EQ(lanes(counting<i16x8>(8)), lanes(highHalf(all)));
  EXPECT_EQ(lanes(counting<i16x8>(0)), lanes(lowHalf(all)));
#endif
}

TEST(Vec, PartialLoadsAndStoresTouchTheirBytesAlone) {
  zeltest::Guarded<uint8_t> eight(8);
  std::iota(eight.data(), eight.data() + 8, uint8_t(1));
  const u8x16 v = loadLow8(eight.data());
  EXPECT_TRUE(v.v[7] == 8 && v.v[8] == 0 && v.v[15] == 0);
  zeltest::Guarded<uint8_t> low(8), high(8);
  const u8x16 all = counting<u8x16>(0);
  storeLow8(low.data(), all);
  storeHigh8(high.data(), all);
  EXPECT_TRUE(low[7] == 7 && high[0] == 8 && high[7] == 15);
}
