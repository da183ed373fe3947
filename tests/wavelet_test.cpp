// Wavelets against T.800's lifting equations (Annex F), each coefficient and sample by itself, from its line alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/api.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;

// ---- The arithmetic of each function, one value at a time ----------------------------------------------------------
// `out` says that a value is outside the line of a row function.

template <class T>
struct B53 {
  static T mean(T a, T b) { return T(T(int64_t(a) + b) >> 1); }
  static T quarter(T a, T b) { return T(T(int64_t(a) + b + 2) >> 2); }
};

struct Float {
  typedef float T, W;
  static constexpr float a = -1.5861343f, b = -0.052980117f, c = 0.8829111f, d = 0.44350687f, kl = 0.8128931f,
                         kh = 1.2301741f;
  static W lift1(T o, T e0, T e1, bool) { return o + a * (e0 + e1); }
  static W lift2(T e, W d0, W d1, bool) { return e + b * (d0 + d1); }
  static W lift3(W o, W s0, W s1, bool) { return o + c * (s0 + s1); }
  static T low(W e, W d0, W d1) { return kl * (e + d * (d0 + d1)); }
  static T high(W o) { return kh * o; }
  static W scale(T h) { return kl * h; }
  static W unlift4(T l, W d0, W d1, bool) { return kh * l - d * (d0 + d1); }
  static W unlift3(W o, W s0, W s1, bool) { return o - c * (s0 + s1); }
  static W unlift2(W e, W d0, W d1, bool) { return e - b * (d0 + d1); }
  static T unlift1(W o, W s0, W s1) { return o - a * (s0 + s1); }
  static T result(W e) { return e; }
};
struct Folded : Float {  // lifting steps on rows
  static T low(W e, W d0, W d1) { return kl * e + 0.36052364f * (d0 + d1); }
  static W unlift4(T l, W h0, W h1, bool) { return kh * l - 0.36052364f * (h0 + h1); }
  static W unlift3(W h, W s0, W s1, bool) { return kl * h - c * (s0 + s1); }
};
struct Mixed {
  typedef int32_t T;
  typedef float W;
  static T cut(W x) { return x >= 2147483648.0f ? INT32_MAX : x < -2147483648.0f ? INT32_MIN : T(x); }
  static W lift1(T o, T e0, T e1, bool) { return W(o) + Float::a * W(T(int64_t(e0) + e1)); }
  static W lift2(T e, W d0, W d1, bool) { return W(e) + Float::b * (d0 + d1); }
  static W lift3(W o, W s0, W s1, bool) { return o + Float::c * (s0 + s1); }
  static T low(W e, W d0, W d1) { return cut(Float::low(e, d0, d1)); }
  static T high(W o) { return cut(Float::high(o)); }
  static W scale(T h) { return Float::kl * W(h); }
  static W unlift4(T l, W d0, W d1, bool) { return Float::kh * W(l) - Float::d * (d0 + d1); }
  static W unlift3(W o, W s0, W s1, bool) { return o - Float::c * (s0 + s1); }
  static W unlift2(W e, W d0, W d1, bool) { return e - Float::b * (d0 + d1); }
  static T unlift1(W o, W s0, W s1) { return cut(Float::unlift1(o, s0, s1)); }
  static T result(W e) { return cut(e); }
};
struct Q14 {
  typedef int16_t T, W;
  static int part(int64_t weight, int64_t x) { return int((weight * x + 8192) >> 14); }
  static W lift1(T o, T e0, T e1, bool) { return W(o + part(-25987, e0 + e1)); }
  static W lift2(T e, W d0, W d1, bool) { return W(e + part(-868, d0 + d1)); }
  static W lift3(W o, W s0, W s1, bool) { return W(o + part(14466, s0 + s1)); }
  static T low(W e, W d0, W d1) { return T(part(13318, W(e + part(7266, d0 + d1)))); }
  static T high(W o) { return T(part(20155, o)); }
  static W scale(T h) { return W(part(13318, h)); }
  static W unlift4(T l, W d0, W d1, bool) { return W(W(part(20155, l)) - part(7266, d0 + d1)); }
  static W unlift3(W o, W s0, W s1, bool) { return W(o - part(14466, s0 + s1)); }
  static W unlift2(W e, W d0, W d1, bool) { return W(e - part(-868, d0 + d1)); }
  static T unlift1(W o, W s0, W s1) { return W(o - part(-25987, s0 + s1)); }
  static T result(W e) { return e; }
};
struct Q16 {
  typedef int32_t T, W;
  static W sum(W x, W y) { return W(int64_t(x) + y); }
  static int64_t part(int64_t p) { return (p + 32768) >> 16; }
  static W lift1(T o, T e0, T e1, bool) { return W(o + part(-103949LL * sum(e0, e1))); }
  static W lift2(T e, W d0, W d1, bool) { return W(e + part(-3472LL * sum(d0, d1))); }
  static W lift3(W o, W s0, W s1, bool) { return W(o + part(57862LL * sum(s0, s1))); }
  static T low(W e, W d0, W d1) { return T(part(53274LL * e + 23627LL * sum(d0, d1))); }
  static T high(W o) { return T(part(80621LL * o)); }
  static W scale(T h) { return h; }
  static W unlift4(T l, W h0, W h1, bool) { return W(part(80621LL * l - 23627LL * sum(h0, h1))); }
  static W unlift3(W h, W s0, W s1, bool) { return W(part(53274LL * h - 57862LL * sum(s0, s1))); }
  static W unlift2(W e, W d0, W d1, bool) { return W(e - part(-3472LL * sum(d0, d1))); }
  static T unlift1(W o, W s0, W s1) { return W(o - part(-103949LL * sum(s0, s1))); }
  static T result(W e) { return e; }
};
template <bool kSaturate>  // the second subtraction of the inverse: in lifting steps, but not in rows
struct Packed {
  typedef int16_t T, W;
  static W sat(int64_t x) { return W(std::clamp<int64_t>(x, -32768, 32767)); }
  static int mulr(int x, int weight) { return (x * weight + 16384) >> 15; }
  static W lift1(T o, T e0, T e1, bool out) {
    return out ? sat(Q16::lift1(o, e0, e1, out)) : sat(o + mulr(sat(2 * sat(e0 + e1)), -25987));
  }
  static W lift2(T e, W d0, W d1, bool out) {
    return out ? sat(Q16::lift2(e, d0, d1, out)) : sat(e + mulr(sat(d0 + d1), -1736));
  }
  static W lift3(W o, W s0, W s1, bool out) {
    return out ? sat(Q16::lift3(o, s0, s1, out)) : sat(o + mulr(sat(s0 + s1), 28931));
  }
  static T low(W e, W d0, W d1) { return sat(mulr(e, 26637) + (mulr(sat(d0 + d1), 23627) >> 1)); }
  static T high(W o) { return sat(mulr(sat(2 * o), 20155)); }
  static W scale(T h) { return h; }
  static W unlift4(T l, W h0, W h1, bool out) {
    return out ? sat(Q16::unlift4(l, h0, h1, out)) : sat(mulr(sat(2 * l), 20155) - mulr(sat(h0 + h1), 11813));
  }
  static W unlift3(W h, W s0, W s1, bool out) {
    const int x = mulr(h, 26637) - mulr(sat(s0 + s1), 28931);
    return out ? sat(Q16::unlift3(h, s0, s1, out)) : kSaturate ? sat(x) : W(x);
  }
  static W unlift2(W e, W d0, W d1, bool out) {
    return out ? sat(Q16::unlift2(e, d0, d1, out)) : sat(e + mulr(sat(d0 + d1), 1736));
  }
  static T unlift1(W o, W s0, W s1) { return sat(o + mulr(sat(2 * sat(s0 + s1)), 25987)); }
  static T result(W e) { return e; }
};

// ---- Lines: place q holds a low coefficient where q + p is even. x(q) gives samples, or coefficients at their places.

template <class A, class X>
struct Line97 {
  X x;
  int p, n;
  bool out(int q) const { return q < 0 || q >= n; }
  auto d1(int q) const { return A::lift1(x(q), x(q - 1), x(q + 1), out(q)); }
  auto s1(int q) const { return A::lift2(x(q), d1(q - 1), d1(q + 1), out(q)); }
  auto d2(int q) const { return A::lift3(d1(q), s1(q - 1), s1(q + 1), out(q)); }
  auto forward(int q) const { return (q + p) % 2 ? A::high(d2(q)) : A::low(s1(q), d2(q - 1), d2(q + 1)); }
  auto o1(int q) const { return A::scale(x(q)); }
  auto e1(int q) const { return A::unlift4(x(q), o1(q - 1), o1(q + 1), out(q)); }
  auto o2(int q) const { return A::unlift3(o1(q), e1(q - 1), e1(q + 1), out(q)); }
  auto e2(int q) const { return A::unlift2(e1(q), o2(q - 1), o2(q + 1), out(q)); }
  auto inverse(int q) const { return (q + p) % 2 ? A::unlift1(o2(q), e2(q - 1), e2(q + 1)) : A::result(e2(q)); }
};
template <class T, class X>
struct Line53 {
  X x;
  int p, n;
  T mean(T a, T b) const { return n == 2 ? a : B53<T>::mean(a, b); }  // two samples: one neighbour, seen twice
  T quarter(T a, T b) const { return n == 2 ? T(T(int64_t{a} + 1) >> 1) : B53<T>::quarter(a, b); }
  T d(int q) const { return T(x(q) - int64_t(mean(x(q - 1), x(q + 1)))); }
  T e(int q) const { return T(x(q) - int64_t(quarter(x(q - 1), x(q + 1)))); }
  T forward(int q) const { return (q + p) % 2 ? d(q) : T(x(q) + int64_t(quarter(d(q - 1), d(q + 1)))); }
  T inverse(int q) const { return (q + p) % 2 ? T(x(q) + int64_t(mean(e(q - 1), e(q + 1)))) : e(q); }
};
template <class A>
struct Lines97 {
  typedef typename A::T T;
  template <class X>
  static auto line(X x, int p, int n) {
    return Line97<A, X>{x, p, n};
  }
};
template <class T_>
struct Lines53 {
  typedef T_ T;
  template <class X>
  static auto line(X x, int p, int n) {
    return Line53<T, X>{x, p, n};
  }
};

int placeOf(int i, int n, int p) {  // of coefficient i of a line in low-first order
  const int lows = (n + 1 - p) / 2;
  return i < lows ? 2 * i + p : 2 * (i - lows) + 1 - p;
}
int mirror(int q, int n) { return q < 0 ? mirror(-q, n) : q >= n ? mirror(2 * (n - 1) - q, n) : q; }

// One line of a tile, in place, its samples `stride` apart.
template <class L, class T>
void tileLine(T* line, size_t stride, int n, int p, bool inverse) {
  if (n == 1) return void(line[0] = !p ? line[0] : inverse ? T(line[0] / 2) : T(int64_t(line[0]) * 2));
  std::vector<T> places(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) places[size_t(inverse ? placeOf(i, n, p) : i)] = line[size_t(i) * stride];
  const auto l = L::line([&](int q) { return places[size_t(mirror(q, n))]; }, p, n);
  for (int i = 0; i < n; ++i) line[size_t(i) * stride] = inverse ? l.inverse(i) : l.forward(placeOf(i, n, p));
}
template <class L, class T>
void tile(std::vector<T>& plane, ZeliRect r, bool inverse) {
  const size_t w = size_t(r.width);
  for (int pass = 0; pass < 2; ++pass)
    if (inverse == (pass == 0))
      for (int y = 0; y < r.height; ++y) tileLine<L>(&plane[size_t(y) * w], 1, r.width, r.x & 1, inverse);
    else
      for (size_t x = 0; x < w; ++x) tileLine<L>(&plane[x], w, r.height, r.y & 1, inverse);
}

// ---- Tiles ---------------------------------------------------------------------------------------------------------

template <class T>
struct TileFunctions {
  ZelStatus (*inPlace[2])(T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*toBands)(const T*, int, const ZeliRect*, T* const*, const int*, uint8_t*);
  ZelStatus (*fromBands)(const T* const*, const int*, T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*lineBytes)(const ZeliRect*, int*);
  ZelStatus (*planeBytes)(const ZeliRect*, int*);
  int border, least;  // of the line in the buffer; the shortest side that needs one
};
#define TILE_FUNCTIONS(F, type, border, least)                                                                       \
  {                                                                                                                  \
    {zel().zeliWTFwd_##F##_JPEG2K_##type##_C1IR, zel().zeliWTInv_##F##_JPEG2K_##type##_C1IR},                        \
        zel().zeliWTFwd_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv_##F##_JPEG2K_##type##_C1R,                        \
        zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1IR, zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1R, border, \
        least                                                                                                        \
  }

template <class L, class T = typename L::T>
void oneTile(const TileFunctions<T>& f, ZeliRect r, Random& rng, bool exact) {
  SCOPED_TRACE(testing::Message() << r.width << " x " << r.height << " at " << r.x << ", " << r.y);
  const size_t w = size_t(r.width), h = size_t(r.height), n = w * h, left = (w + 1) / 2, top = (h + 1) / 2;
  const int step = int(w * sizeof(T)), longer = std::max(r.width, r.height);
  int bytes = -1, planeBytes = -1;
  ASSERT_EQ(zelStsNoErr, f.lineBytes(&r, &bytes));
  ASSERT_EQ(longer < f.least ? 0 : (longer + 2 * f.border) * int(sizeof(T)), bytes);
  ASSERT_EQ(zelStsNoErr, f.planeBytes(&r, &planeBytes));
  ASSERT_EQ((step + 31) / 32 * 32 * r.height + bytes, planeBytes);
  Guarded<uint8_t> buffer{size_t(bytes)}, planeBuffer{size_t(planeBytes), 1};
  const std::vector<T> image = rng.vector<T>(n);
  for (const bool inverse : {false, true}) {
    std::vector<T> expected = image;
    tile<L>(expected, r, inverse);
    Guarded<T> plane(image);
    ASSERT_EQ(zelStsNoErr, f.inPlace[inverse](plane.data(), step, &r, buffer.data()));
    ASSERT_EQ(expected, plane.copy()) << (inverse ? "inverse" : "forward");
    ASSERT_TRUE(plane.intact() && buffer.intact());
    // The same to, or from, bands cut at half the width and height.
    const std::vector<T>& coefficients = inverse ? image : expected;
    Guarded<T> ll(left * top), lh(left * (h - top)), hl((w - left) * top), hh((w - left) * (h - top)), back(n);
    T* const bands[4] = {ll.data(), lh.data(), hl.data(), hh.data()};
    const int leftStep = int(left * sizeof(T)), rightStep = std::max(1, step - leftStep);
    const int steps[4] = {leftStep, leftStep, rightStep, rightStep};
    const auto eachRow = [&](auto move) {
      for (size_t y = 0; y < h; ++y) {
        const size_t lower = y >= top, row = y - lower * top;
        move(bands[lower] + row * left, y * w, left);
        move(bands[2 + lower] + row * (w - left), y * w + left, w - left);
      }
    };
    if (inverse) {
      eachRow([&](T* band, size_t i, size_t count) { std::copy_n(image.begin() + int64_t(i), count, band); });
      ASSERT_EQ(zelStsNoErr, f.fromBands(bands, steps, back.data(), step, &r, planeBuffer.data()));
      ASSERT_EQ(expected, back.copy()) << "from bands";
    } else {
      ASSERT_EQ(zelStsNoErr, f.toBands(image.data(), step, &r, bands, steps, planeBuffer.data()));
      std::vector<T> cut(n);
      eachRow([&](T* band, size_t i, size_t count) { std::copy_n(band, count, cut.begin() + int64_t(i)); });
      ASSERT_EQ(coefficients, cut) << "to bands";
      if (exact) {
        ASSERT_EQ(zelStsNoErr, f.inPlace[1](plane.data(), step, &r, buffer.data()));
        ASSERT_TRUE(longer == 1 || image == plane.copy()) << "restored";
      }
    }
    ASSERT_TRUE(planeBuffer.intact() && back.intact());
  }
}

template <class L, class T = typename L::T>
void tiles(TileFunctions<T> f, bool exact) {
  Random rng(1);
  for (int origin = 0; origin < 4; ++origin) {
    const int x = origin % 2 ? -3 : 8, y = origin / 2 ? 5 : -2;
    for (int w = 1; w <= 20 && !testing::Test::HasFatalFailure(); ++w)
      for (int h = 1; h <= 20; ++h) oneTile<L>(f, {x, y, w, h}, rng, exact && w > 1 && h > 1);
    // Beyond one chunk of a line, beyond one strip of columns.
    for (const ZeliSize s : {ZeliSize{511, 7}, {513, 2}, {1029, 6}, {2100, 9}, {5, 700}, {64, 48}, {1, 99}})
      oneTile<L>(f, {x, y, s.width, s.height}, rng, exact && s.width > 1);
  }
  T sample = 7;
  uint8_t buffer[64];
  const ZeliRect none[] = {{1, 1, 0, 5}, {1, 1, 5, 0}, {1, 1, -1, 1}}, rect = {0, 0, 1, 1};
  T* const bands[4] = {&sample, &sample, &sample, &sample};
  const int steps[4] = {4, 4, 4, 4};
  int size;
  for (const auto& inPlace : f.inPlace) {
    for (const ZeliRect& r : none) EXPECT_EQ(zelStsNoErr, inPlace(&sample, 4, &r, buffer));
    EXPECT_EQ(zelStsNullPtrErr, inPlace(nullptr, 0, &rect, buffer));
    EXPECT_EQ(zelStsStepErr, inPlace(&sample, 0, nullptr, nullptr));
    EXPECT_EQ(zelStsNullPtrErr, inPlace(&sample, 4, nullptr, buffer));
    EXPECT_EQ(zelStsNullPtrErr, inPlace(&sample, 4, &rect, nullptr));
  }
  const auto to = f.toBands;
  const auto from = f.fromBands;
  for (const ZelStatus s :
       {to(nullptr, 0, &rect, bands, steps, buffer), to(&sample, 0, nullptr, bands, steps, buffer),
        to(&sample, 0, &rect, nullptr, steps, buffer), to(&sample, 0, &rect, bands, nullptr, buffer),
        to(&sample, 0, &rect, bands, steps, nullptr), from(nullptr, steps, &sample, 0, &rect, buffer),
        from(bands, nullptr, &sample, 0, &rect, buffer), from(bands, steps, nullptr, 0, &rect, buffer),
        from(bands, steps, &sample, 0, nullptr, buffer), from(bands, steps, &sample, 0, &rect, nullptr),
        f.lineBytes(nullptr, &size), f.lineBytes(&rect, nullptr), f.planeBytes(nullptr, &size),
        f.planeBytes(&rect, nullptr)})
    EXPECT_EQ(zelStsNullPtrErr, s);
  for (int b = 0; b < 4; ++b) {
    T* missing[4] = {&sample, &sample, &sample, &sample};
    int zero[4] = {4, 4, 4, 4}, zeros[4] = {};
    missing[b] = nullptr;
    zero[b] = 0;
    EXPECT_EQ(zelStsStepErr, to(&sample, 0, &none[0], missing, zeros, buffer));
    EXPECT_EQ(zelStsStepErr, from(missing, zeros, &sample, 0, &none[0], buffer));
    EXPECT_EQ(zelStsNullPtrErr, to(&sample, 4, &none[0], missing, zeros, buffer));
    EXPECT_EQ(zelStsNullPtrErr, from(missing, zeros, &sample, 4, &none[0], buffer));
    EXPECT_EQ(zelStsStepErr, to(&sample, 4, &none[0], bands, zero, buffer));
    EXPECT_EQ(zelStsStepErr, from(bands, zero, &sample, 4, &none[0], buffer));
  }
  for (const ZeliRect& r : none) {
    EXPECT_EQ(zelStsSizeErr, to(&sample, 4, &r, bands, steps, buffer));
    EXPECT_EQ(zelStsSizeErr, from(bands, steps, &sample, 4, &r, buffer));
  }
  EXPECT_EQ(7, sample);
}

// ---- Rows and columns with borders ---------------------------------------------------------------------------------

template <class T>
struct RegionFunctions {
  ZelStatus (*forward)(const T*, int, T*, int, T*, int, ZeliSize, int);
  ZelStatus (*inverse)(const T*, int, const T*, int, ZeliSize, T*, int, int);
};
#define REGION_FUNCTIONS(F, direction, type) \
  { zel().zeliWTFwd##direction##_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv##direction##_##F##_JPEG2K_##type##_C1R }

// A line of n coefficients a band, or `lines` of them side by side as columns, with exactly the border that may be read
// and unreadable pages before and behind. reach is how far the border goes.
template <class L, class T = typename L::T>
void region(RegionFunctions<T> f, bool columns, int reach, int n, int p, int lines, Random& rng) {
  SCOPED_TRACE(testing::Message() << (columns ? "columns " : "rows ") << n << " phase " << p << " lines " << lines);
  const bool pairs97 = reach == 4 && n == 1;  // by convolution: near the lifting, not the same
  const int front = reach - p, back = 2 * n + reach - 2 + p, c = reach / 2;
  const size_t stride = size_t(lines);  // samples between the places of a line
  const auto source = [&](int count) {
    std::vector<T> v = rng.vector<T>(size_t(count) * stride);
    if (pairs97)
      for (T& x : v) x = T(rng.between(-3000, 3000));
    return v;
  };
  const auto same = [&](T expected, T got, int q) {
    if (pairs97)
      ASSERT_NEAR(double(expected), double(got), std::is_integral_v<T> ? 2.5 : 0.01) << "at " << q;
    else
      ASSERT_EQ(expected, got) << "at " << q;
  };
  const auto first = [&](auto& buffer, int before) { return buffer.data() + size_t(before) * stride; };
  const int step = int(stride * sizeof(T)), width = columns ? lines : n, height = columns ? n : 1;
  {
    Guarded<T> before(source(front + back + 1)), behind(before.copy(), size_t(0)), low(size_t(n) * stride),
        high(size_t(n) * stride);
    ASSERT_EQ(zelStsNoErr,
              f.forward(first(behind, front), step, low.data(), step, high.data(), step, {width, height}, p));
    ASSERT_TRUE(low.intact() && high.intact());
    for (size_t i = 0; i < stride; ++i) {
      const auto line =
          L::line([&](int q) { return q < -front || q > back ? T(0) : behind[size_t(q + front) * stride + i]; }, p,
                  2 * n + 8 * (reach == 2));
      for (int j = 0; j < n && !testing::Test::HasFatalFailure(); ++j) {
        same(line.forward(2 * j + p), low[size_t(j) * stride + i], j);
        same(line.forward(2 * j + 1 - p), high[size_t(j) * stride + i], j);
      }
    }
  }
  // Bands: low -c + 1 - p to n + c - 1 - p, high -c to n + c - 1.
  const int lowFront = c - 1 + p, lowCount = lowFront + n + c - p, highFront = c, highCount = n + 2 * c;
  Guarded<T> low(source(lowCount)), high(source(highCount)), dst(size_t(2 * n) * stride);
  ASSERT_EQ(zelStsNoErr,
            f.inverse(first(low, lowFront), step, first(high, highFront), step, {width, height}, dst.data(), step, p));
  ASSERT_TRUE(dst.intact());
  for (size_t i = 0; i < stride; ++i) {
    const auto coefficient = [&](int q) {
      const bool odd = (q + p) & 1;
      const int j = (q - (odd ? 1 - p : p)) / 2 + (odd ? highFront : lowFront);
      return j < 0 || j >= (odd ? highCount : lowCount) ? T(0) : (odd ? high : low)[size_t(j) * stride + i];
    };
    const auto line = L::line(coefficient, p, 2 * n + 8 * (reach == 2));
    for (int q = 0; q < 2 * n && !testing::Test::HasFatalFailure(); ++q)
      same(line.inverse(q), dst[size_t(q) * stride + i], q);
  }
}

template <class L, class T = typename L::T>
void regions(RegionFunctions<T> f, bool columns, int reach) {
  Random rng(2);
  for (int p = 0; p < 2; ++p) {
    for (int n = 1; n <= 40; ++n) region<L>(f, columns, reach, n, p, columns ? n % 19 + 1 : 1, rng);
    for (const int n : {255, 256, 257, 300, 513})
      region<L>(f, columns, reach, columns ? 3 : n, p, columns ? n : 1, rng);
  }
  T x[3] = {1, 1, 1};
  const ZeliSize none[] = {{0, 1}, {1, 0}};
  for (int missing = 0; missing < 3; ++missing) {
    T* ptr[3] = {x, x, x};
    int step[3] = {4, 4, 4};
    ptr[missing] = nullptr;
    step[missing] = 0;
    EXPECT_EQ(zelStsNullPtrErr, f.forward(ptr[0], 0, ptr[1], 0, ptr[2], 0, none[0], 0));
    EXPECT_EQ(zelStsNullPtrErr, f.inverse(ptr[0], 0, ptr[1], 0, none[0], ptr[2], 0, 0));
    EXPECT_EQ(zelStsStepErr, f.forward(x, step[0], x, step[1], x, step[2], none[0], 0));
    EXPECT_EQ(zelStsStepErr, f.inverse(x, step[0], x, step[1], none[0], x, step[2], 0));
  }
  for (const ZeliSize s : none) {
    EXPECT_EQ(zelStsSizeErr, f.forward(x, 4, x, 4, x, 4, s, 0));
    EXPECT_EQ(zelStsSizeErr, f.inverse(x, 4, x, 4, s, x, 4, 0));
  }
}

// ---- Lifting steps on rows -----------------------------------------------------------------------------------------

// call(rows, width) runs the function; define(column) does one column in place. Every pointer is checked.
template <class T, int kRows, class Call, class Define>
void liftingStep(const char* name, Call call, Define define, int shared = -1) {
  Random rng(3);
  for (int width = 1; width <= 70; ++width) {
    std::vector<std::vector<T>> rows;
    for (int r = 0; r < kRows; ++r) rows.push_back(rng.vector<T>(size_t(width)));
    std::vector<std::unique_ptr<Guarded<T>>> memory;
    T* pointers[kRows];
    for (int r = 0; r < kRows; ++r) {
      memory.push_back(std::make_unique<Guarded<T>>(rows[size_t(r)], size_t(r % 2 * 8)));
      pointers[r] = memory.back()->data();
    }
    if (shared >= 0) pointers[shared] = pointers[shared + 1];
    ASSERT_EQ(zelStsNoErr, call(pointers, width));
    for (size_t i = 0; i < size_t(width); ++i) {
      T column[kRows];
      for (int r = 0; r < kRows; ++r) column[r] = rows[size_t(r)][i];
      define(column);
      for (int r = 0; r < kRows; ++r)
        if (r != shared) ASSERT_EQ(column[r], (*memory[size_t(r)])[i]) << name << " row " << r << " width " << width;
    }
    for (int r = 0; r < kRows && width == 1; ++r) {
      T* missing[kRows];
      std::copy_n(pointers, kRows, missing);
      missing[r] = nullptr;
      EXPECT_EQ(zelStsNullPtrErr, call(missing, 0)) << name << " row " << r;
    }
    EXPECT_EQ(zelStsSizeErr, call(pointers, 0));
  }
}
template <class A, class T = typename A::T, class F, class I>
void liftingSteps97(F forward, I inverse) {
  liftingStep<T, 8>(
      "forward", [=](T** r, int w) { return forward(r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], w); },
      [](T* x) {  // 0 to 2 source, 3 low, 4 even, 5 high, 6 odd before, 7 odd
        x[7] = A::lift1(x[1], x[0], x[2], false);
        x[4] = A::lift2(x[0], x[6], x[7], false);
        x[6] = A::lift3(x[6], x[3], x[4], false);
        x[3] = A::low(x[3], x[5], x[6]);
        x[5] = A::high(x[5]);
      });
  liftingStep<T, 8>(
      "inverse", [=](T** r, int w) { return inverse(r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], w); },
      [](T* x) {  // 0 low, 1 and 2 high, 3 to 7 rows 2n - 4 to 2n
        x[7] = A::unlift4(x[0], x[1], x[2], false);
        x[6] = A::unlift3(x[1], x[5], x[7], false);
        x[5] = A::unlift2(x[5], x[4], x[6], false);
        x[4] = A::unlift1(x[4], x[3], x[5]);
      });
}
template <class T, class F, class I>
void liftingSteps53(F forward, I inverse) {
  const auto call = [=](T** r, int w) { return forward(r[0], r[1], r[2], r[3], r[4], r[5], w); };
  liftingStep<T, 6>("forward", call, [](T* x) {
    x[5] = T(x[1] - int64_t(B53<T>::mean(x[0], x[2])));
    x[3] = T(x[0] + int64_t(B53<T>::quarter(x[4], x[5])));
  });
  liftingStep<T, 6>(
      "forward, the high row also the one before", call,
      [](T* x) {
        x[5] = T(x[1] - int64_t(B53<T>::mean(x[0], x[2])));
        x[3] = T(x[0] + int64_t(B53<T>::quarter(x[5], x[5])));
      },
      4);
  liftingStep<T, 6>(
      "inverse", [=](T** r, int w) { return inverse(r[0], r[1], r[2], r[3], r[4], r[5], w); },
      [](T* x) {
        x[5] = T(x[0] - int64_t(B53<T>::quarter(x[1], x[2])));
        x[4] = T(x[1] + int64_t(B53<T>::mean(x[3], x[5])));
      });
}

}  // namespace

TEST(Wavelet, Tiles53) {
  tiles<Lines53<int16_t>>(TILE_FUNCTIONS(B53, 16s, 2, 3), true);
  tiles<Lines53<int32_t>>(TILE_FUNCTIONS(B53, 32s, 2, 3), true);
}
TEST(Wavelet, Tiles97) {
  tiles<Lines97<Q14>>(TILE_FUNCTIONS(D97, 16s, 4, 2), false);
  tiles<Lines97<Mixed>>(TILE_FUNCTIONS(D97, 32s, 4, 2), false);
}
TEST(Wavelet, RowsAndColumns53) {
  regions<Lines53<int16_t>>(REGION_FUNCTIONS(B53, Row, 16s), false, 2);
  regions<Lines53<int16_t>>(REGION_FUNCTIONS(B53, Col, 16s), true, 2);
  regions<Lines53<int32_t>>(REGION_FUNCTIONS(B53, Row, 32s), false, 2);
  regions<Lines53<int32_t>>(REGION_FUNCTIONS(B53, Col, 32s), true, 2);
}
TEST(Wavelet, RowsAndColumns97) {
  regions<Lines97<Packed<false>>>(REGION_FUNCTIONS(D97, Row, 16s), false, 4);
  regions<Lines97<Q16>>(REGION_FUNCTIONS(D97, Row, 32s), false, 4);
  regions<Lines97<Float>>(REGION_FUNCTIONS(D97, Row, 32f), false, 4);
  regions<Lines97<Float>>(REGION_FUNCTIONS(D97, Col, 32f), true, 4);
}
TEST(Wavelet, LiftingSteps) {
  liftingSteps53<int16_t>(zel().zeliWTFwdColLift_B53_JPEG2K_16s_C1, zel().zeliWTInvColLift_B53_JPEG2K_16s_C1);
  liftingSteps53<int32_t>(zel().zeliWTFwdColLift_B53_JPEG2K_32s_C1, zel().zeliWTInvColLift_B53_JPEG2K_32s_C1);
  liftingSteps97<Packed<true>>(zel().zeliWTFwdColLift_D97_JPEG2K_16s_C1, zel().zeliWTInvColLift_D97_JPEG2K_16s_C1);
  liftingSteps97<Q16>(zel().zeliWTFwdColLift_D97_JPEG2K_32s_C1, zel().zeliWTInvColLift_D97_JPEG2K_32s_C1);
  liftingSteps97<Folded>(zel().zeliWTFwdColLift_D97_JPEG2K_32f_C1, zel().zeliWTInvColLift_D97_JPEG2K_32f_C1);
}
