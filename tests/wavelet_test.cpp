// Wavelets against T.800's lifting equations (Annex F), each coefficient and sample by itself, from its line alone: to
// the bit in the arithmetic that is fixed for each type, and near the equations in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/api.h"
#include "support/checks.h"
#include "support/data.h"
#include "support/picture.h"

namespace {

using namespace zeltest;

// ---- The arithmetic of each function, one value at a time -----------------------------------------------------------
// T is a sample, W what it is between the steps. add(i, ...) is step i of the forward transform, sub its undoing; `out`
// says that the place is outside the line of a row function. kBound is how far results may be from the exact ones, of
// samples up to kScale; the bound holds for a whole level of a tile.

enum { kAlpha, kBeta, kGamma, kDelta };  // T.800, Table F.4
constexpr double kWeight[4] = {-1.586134342059924, -0.052980118572961, 0.882911075530934, 0.443506852043971};
constexpr double kHigh = 1.230174104914001, kLow = 1 / kHigh;

int64_t inUnits(int bits, double x) { return std::llround(std::ldexp(x, bits)); }
int16_t sat16(int64_t x) { return int16_t(std::clamp<int64_t>(x, -32768, 32767)); }

// Steps in W; coefficients and samples are W as well.
template <class W_>
struct Real {
  using T = W_;
  using W = W_;
  static constexpr W kl = W(kLow), kh = W(kHigh);
  static constexpr double kBound = 0.01;
  static constexpr int kScale = 4096;
  static W add(int i, W x, W a, W b, bool) { return x + W(kWeight[i]) * (a + b); }
  static W sub(int i, W x, W a, W b, bool) { return x - W(kWeight[i]) * (a + b); }
  static T low(W e, W d0, W d1) { return kl * add(kDelta, e, d0, d1, false); }
  static T high(W o) { return kh * o; }
  static W scale(T h) { return kl * h; }
  static W unlow(T l, W d0, W d1, bool) { return sub(kDelta, kh * l, d0, d1, false); }
  static W unhigh(W o, W s0, W s1, bool) { return sub(kGamma, o, s0, s1, false); }
  static T result(W x) { return x; }
};
using Exact = Real<double>;
using Float = Real<float>;

struct FoldedFloat : Float {  // lifting steps on rows: the fourth step and the scaling in one
  static constexpr W kDeltaLow = 0.36052364f;
  static T low(W e, W d0, W d1) { return kl * e + kDeltaLow * (d0 + d1); }
  static W scale(T h) { return h; }
  static W unlow(T l, W h0, W h1, bool) { return kh * l - kDeltaLow * (h0 + h1); }
  static W unhigh(W h, W s0, W s1, bool) { return sub(kGamma, kl * h, s0, s1, false); }
};
struct FloatOfInt : Float {  // the first sum is one of 32 bits; results are truncated and clamped
  using T = int32_t;
  static constexpr double kBound = 5;
  static constexpr int kScale = 1 << 18;
  static T result(W x) {
    if (x >= 2147483648.0f) return INT32_MAX;
    if (x < -2147483648.0f) return INT32_MIN;
    return T(x);
  }
  using Float::add;
  static W add(int i, T x, T a, T b, bool) { return W(x) + W(kWeight[i]) * W(T(int64_t(a) + b)); }
  static W add(int i, T x, W a, W b, bool out) { return Float::add(i, W(x), a, b, out); }
  static T low(W e, W d0, W d1) { return result(Float::low(e, d0, d1)); }
  static T high(W o) { return result(Float::high(o)); }
  static W scale(T h) { return Float::scale(W(h)); }
  static W unlow(T l, W d0, W d1, bool out) { return Float::unlow(W(l), d0, d1, out); }
};
// Weights in units of 2^-bits; each product of a 32-bit sum is rounded, in as many bits as it takes.
template <class T_, int bits>
struct Fixed {
  using T = T_;
  using W = T_;
  static int64_t times(double weight, int64_t x) { return inUnits(bits, weight) * int32_t(x); }
  static int64_t rounded(int64_t x) { return (x + (int64_t(1) << (bits - 1))) >> bits; }
  static W add(int i, W x, W a, W b, bool) { return W(x + rounded(times(kWeight[i], int64_t(a) + b))); }
  static W sub(int i, W x, W a, W b, bool) { return W(x - rounded(times(kWeight[i], int64_t(a) + b))); }
  static T high(W o) { return T(rounded(times(kHigh, o))); }
  static T result(W x) { return x; }
};
struct Q14 : Fixed<int16_t, 14> {
  static constexpr double kBound = 8;
  static constexpr int kScale = 4000;
  static T low(W e, W d0, W d1) { return T(rounded(times(kLow, add(kDelta, e, d0, d1, false)))); }
  static W scale(T h) { return W(rounded(times(kLow, h))); }
  static W unlow(T l, W d0, W d1, bool) { return sub(kDelta, W(rounded(times(kHigh, l))), d0, d1, false); }
  static W unhigh(W o, W s0, W s1, bool) { return sub(kGamma, o, s0, s1, false); }
};
struct Q16 : Fixed<int32_t, 16> {
  static constexpr double kBound = 3;
  static constexpr int kScale = 4096;
  static constexpr double kDeltaLow = kWeight[kDelta] * kLow;
  static T low(W e, W d0, W d1) { return T(rounded(times(kLow, e) + times(kDeltaLow, int64_t(d0) + d1))); }
  static W scale(T h) { return h; }
  static W unlow(T l, W h0, W h1, bool) { return W(rounded(times(kHigh, l) - times(kDeltaLow, int64_t(h0) + h1))); }
  static W unhigh(W h, W s0, W s1, bool) {
    return W(rounded(times(kLow, h) - times(kWeight[kGamma], int64_t(s0) + s1)));
  }
};
// 16-bit arithmetic, with weights in units of 2^-15, those above 1 halved. Outside a row's line it is Q16, saturated.
// Lifting steps saturate the second subtraction of the inverse, the lines of rows cut it.
template <bool kSaturate>
struct Saturating16 {
  using T = int16_t;
  using W = int16_t;
  static constexpr double kBound = 6;
  static constexpr int kScale = 4000;
  static int mulr(int x, int64_t weight) { return int((x * weight + 16384) >> 15); }
  static int product(int i, int sign, int sum) {
    const int weight = int(sign * inUnits(i == kAlpha ? 14 : 15, kWeight[i]));
    return mulr(i == kAlpha ? sat16(2 * sat16(sum)) : sat16(sum), weight);
  }
  static W add(int i, W x, W a, W b, bool out) {
    return sat16(out ? Q16::add(i, x, a, b, out) : x + product(i, 1, a + b));
  }
  static W sub(int i, W x, W a, W b, bool out) {
    return sat16(out ? Q16::sub(i, x, a, b, out) : x + product(i, -1, a + b));
  }
  static T low(W e, W d0, W d1) {
    return sat16(mulr(e, inUnits(15, kLow)) + (mulr(sat16(d0 + d1), inUnits(16, Q16::kDeltaLow)) >> 1));
  }
  static T high(W o) { return sat16(mulr(sat16(2 * o), inUnits(14, kHigh))); }
  static W scale(T h) { return h; }
  static W unlow(T l, W h0, W h1, bool out) {
    if (out) return sat16(Q16::unlow(l, h0, h1, out));
    return sat16(mulr(sat16(2 * l), inUnits(14, kHigh)) - mulr(sat16(h0 + h1), inUnits(16, Q16::kDeltaLow) >> 1));
  }
  static W unhigh(W h, W s0, W s1, bool out) {
    if (out) return sat16(Q16::unhigh(h, s0, s1, out));
    const int x = mulr(h, inUnits(15, kLow)) - mulr(sat16(s0 + s1), inUnits(15, kWeight[kGamma]));
    return kSaturate ? sat16(x) : W(x);
  }
  static T result(W x) { return x; }
};
template <class T_>
struct B53 {
  using T = T_;
  static T half(T a, T b) { return T(T(int64_t(a) + b) >> 1); }
  static T quarter(T a, T b) { return T(T(int64_t(a) + b + 2) >> 2); }
};

// ---- Lines: place q holds a low coefficient where q + p is even. x(q) gives samples, or coefficients at their places.

template <class A, class X>
struct Line {  // 9/7
  X x;
  int p, n;
  bool out(int q) const { return q < 0 || q >= n; }
  auto d1(int q) const { return A::add(kAlpha, x(q), x(q - 1), x(q + 1), out(q)); }
  auto s1(int q) const { return A::add(kBeta, x(q), d1(q - 1), d1(q + 1), out(q)); }
  auto d2(int q) const { return A::add(kGamma, d1(q), s1(q - 1), s1(q + 1), out(q)); }
  auto forward(int q) const { return (q + p) % 2 ? A::high(d2(q)) : A::low(s1(q), d2(q - 1), d2(q + 1)); }
  auto o1(int q) const { return A::scale(x(q)); }
  auto e1(int q) const { return A::unlow(x(q), o1(q - 1), o1(q + 1), out(q)); }
  auto o2(int q) const { return A::unhigh(o1(q), e1(q - 1), e1(q + 1), out(q)); }
  auto e2(int q) const { return A::sub(kBeta, e1(q), o2(q - 1), o2(q + 1), out(q)); }
  auto inverse(int q) const {
    return A::result((q + p) % 2 ? A::sub(kAlpha, o2(q), e2(q - 1), e2(q + 1), false) : e2(q));
  }
};
template <class T, class X>
struct Line<B53<T>, X> {
  X x;
  int p, n;
  // Of two samples one is the neighbour on both sides: its mean with itself, without the wrap of a sum.
  T half(T a, T b) const { return n == 2 ? a : B53<T>::half(a, b); }
  T quarter(T a, T b) const { return n == 2 ? T(T(int64_t{a} + 1) >> 1) : B53<T>::quarter(a, b); }
  T d(int q) const { return T(x(q) - int64_t(half(x(q - 1), x(q + 1)))); }
  T e(int q) const { return T(x(q) - int64_t(quarter(x(q - 1), x(q + 1)))); }
  T forward(int q) const { return (q + p) % 2 ? d(q) : T(x(q) + int64_t(quarter(d(q - 1), d(q + 1)))); }
  T inverse(int q) const { return (q + p) % 2 ? T(x(q) + int64_t(half(e(q - 1), e(q + 1)))) : e(q); }
};
template <class A, class X>
Line<A, X> lineOf(X x, int p, int n) {
  return {x, p, n};
}

int placeOf(int i, int n, int p) {  // of coefficient i of a line in low-first order
  const int lows = (n + 1 - p) / 2;
  return i < lows ? 2 * i + p : 2 * (i - lows) + 1 - p;
}
int mirror(int q, int n) { return q < 0 ? mirror(-q, n) : q >= n ? mirror(2 * (n - 1) - q, n) : q; }

// One line of a tile, in place, its samples `stride` apart.
template <class L, class T>
void tileLine(T* line, size_t stride, int n, int p, bool inverse) {
  if (n == 1) {
    using Wide = std::common_type_t<T, int64_t>;
    if (p) *line = inverse ? T(*line / 2) : T(Wide(*line) * 2);
    return;
  }
  std::vector<T> places(size_t(n), T{});
  for (int i = 0; i < n; ++i) places[size_t(inverse ? placeOf(i, n, p) : i)] = line[size_t(i) * stride];
  const auto l = lineOf<L>([&](int q) { return places[size_t(mirror(q, n))]; }, p, n);
  for (int i = 0; i < n; ++i) line[size_t(i) * stride] = inverse ? l.inverse(i) : l.forward(placeOf(i, n, p));
}
// A plane of r.width x r.height samples: columns first, and last in the inverse.
template <class L, class T>
std::vector<T> tile(std::vector<T> plane, ZeliRect r, bool inverse) {
  const size_t w = size_t(r.width);
  for (const bool columns : {!inverse, inverse}) {
    if (columns)
      for (size_t x = 0; x < w; ++x) tileLine<L>(&plane[x], w, r.height, r.y & 1, inverse);
    else
      for (int y = 0; y < r.height; ++y) tileLine<L>(&plane[size_t(y) * w], 1, r.width, r.x & 1, inverse);
  }
  return plane;
}

// The arithmetic itself: samples in the range of pictures give what double precision gives, but for the rounding.
template <class L>
void nearExact(std::vector<ZeliRect> tiles) {
  Random rng(2);
  for (const ZeliRect r : tiles)
    for (const bool inverse : {false, true}) {
      std::vector<typename L::T> samples(size_t(r.width * r.height));
      for (auto& x : samples) x = typename L::T(rng.between(-L::kScale, L::kScale));
      const std::vector<double> exact = tile<Exact>(std::vector<double>(samples.begin(), samples.end()), r, inverse);
      const auto rounded = tile<L>(samples, r, inverse);
      for (size_t i = 0; i < exact.size(); ++i) ASSERT_NEAR(exact[i], double(rounded[i]), L::kBound) << i;
    }
}

// ---- Tiles ----------------------------------------------------------------------------------------------------------

template <class T>
struct TileFunctions {
  ZelStatus (*forward)(T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*inverse)(T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*toBands)(const T*, int, const ZeliRect*, T* const*, const int*, uint8_t*);
  ZelStatus (*fromBands)(const T* const*, const int*, T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*lineBytes)(const ZeliRect*, int*);
  ZelStatus (*planeBytes)(const ZeliRect*, int*);
  int border, leastSide;  // of the line in the buffer; the shortest side that needs one
};
#define TILE_FUNCTIONS(F, type, border, leastSide)                                                                   \
  {                                                                                                                  \
    zel().zeliWTFwd_##F##_JPEG2K_##type##_C1IR, zel().zeliWTInv_##F##_JPEG2K_##type##_C1IR,                          \
        zel().zeliWTFwd_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv_##F##_JPEG2K_##type##_C1R,                        \
        zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1IR, zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1R, border, \
        leastSide                                                                                                    \
  }
TileFunctions<int16_t> b53Tile16() { return TILE_FUNCTIONS(B53, 16s, 2, 3); }
TileFunctions<int32_t> b53Tile32() { return TILE_FUNCTIONS(B53, 32s, 2, 3); }
TileFunctions<int16_t> d97Tile16() { return TILE_FUNCTIONS(D97, 16s, 4, 2); }
TileFunctions<int32_t> d97Tile32() { return TILE_FUNCTIONS(D97, 32s, 4, 2); }

// The four bands of a plane of w x h, cut at half the width and height.
template <class T>
struct Bands {
  Bands(int w, int h) : left((w + 1) / 2), top((h + 1) / 2), right(std::max(1, w / 2)), bottom(std::max(1, h / 2)) {}
  Plane<T>& bandOf(int x, int y) { return all[2 * (x >= left) + (y >= top)]; }
  T get(int x, int y) { return bandOf(x, y).get(x % left, y % top); }
  void set(int x, int y, T c) { bandOf(x, y).set(x % left, y % top, c); }
  int left, top, right, bottom;
  Plane<T> all[4] = {{left, top}, {left, bottom, int(sizeof(T))}, {right, top, 0, int(sizeof(T))}, {right, bottom}};
  T* pointers[4] = {all[0].data(), all[1].data(), all[2].data(), all[3].data()};
  int steps[4] = {all[0].step(), all[1].step(), all[2].step(), all[3].step()};
};

template <class L, class T = typename L::T>
void oneTile(const TileFunctions<T>& f, ZeliRect r, Random& rng) {
  SCOPED_TRACE(testing::Message() << r.width << " x " << r.height << " at " << r.x << ", " << r.y);
  const int w = r.width, h = r.height, longer = std::max(w, h);
  int inLine = -1, inPlane = -1;
  ASSERT_EQ(zelStsNoErr, f.lineBytes(&r, &inLine));
  ASSERT_EQ(zelStsNoErr, f.planeBytes(&r, &inPlane));
  ASSERT_EQ(longer < f.leastSide ? 0 : (longer + 2 * f.border) * int(sizeof(T)), inLine);
  ASSERT_EQ((w * int(sizeof(T)) + 31) / 32 * 32 * h + inLine, inPlane);
  Guarded<uint8_t> lineBuffer{size_t(inLine)}, planeBuffer{size_t(inPlane), 1};
  Plane<T> image(w, h, w % 3 * int(sizeof(T)));
  image.fill(rng);
  for (const bool inverse : {false, true}) {
    SCOPED_TRACE(inverse ? "inverse" : "forward");
    const std::vector<T> expected = tile<L>(image.samples(), r, inverse);
    Plane<T> inPlace(w, h, h % 3 * int(sizeof(T)), h % 2 * int(sizeof(T))), whole(w, h, int(sizeof(T)));
    inPlace.fill([&](int x, int y) { return image.get(x, y); });
    ASSERT_EQ(zelStsNoErr, (inverse ? f.inverse : f.forward)(inPlace.data(), inPlace.step(), &r, lineBuffer.data()));
    ASSERT_EQ(expected, inPlace.samples());
    Bands<T> bands(w, h);
    if (inverse) {
      for (int i = 0; i < w * h; ++i) bands.set(i % w, i / w, image.get(i % w, i / w));
      ASSERT_EQ(zelStsNoErr,
                f.fromBands(bands.pointers, bands.steps, whole.data(), whole.step(), &r, planeBuffer.data()));
    } else {
      ASSERT_EQ(zelStsNoErr,
                f.toBands(image.data(), image.step(), &r, bands.pointers, bands.steps, planeBuffer.data()));
      whole.fill([&](int x, int y) { return bands.get(x, y); });
    }
    ASSERT_EQ(expected, whole.samples());
  }
}
template <class L, class T = typename L::T>
void tiles(const TileFunctions<T>& f) {
  Random rng(1);
  for (int origin = 0; origin < 4; ++origin) {
    const int x = origin % 2 ? -3 : 8, y = origin / 2 ? 5 : -2;
    for (int w = 1; w <= 20; ++w)
      for (int h = 1; h <= 7 && !testing::Test::HasFatalFailure(); ++h) oneTile<L>(f, {x, y, w, h}, rng);
    for (int h = 8; h <= 20 && !testing::Test::HasFatalFailure(); ++h) oneTile<L>(f, {x, y, h * 3 % 7 + 1, h}, rng);
    // Beyond one chunk of a line, beyond one strip of columns.
    for (const ZeliSize s : {ZeliSize{511, 7}, {513, 2}, {1029, 6}, {2100, 9}, {5, 700}, {64, 48}, {1, 99}})
      if (!testing::Test::HasFatalFailure()) oneTile<L>(f, {x, y, s.width, s.height}, rng);
  }
}

// ---- Rows and columns with borders ----------------------------------------------------------------------------------

template <class T>
struct RegionFunctions {
  ZelStatus (*forward)(const T*, int, T*, int, T*, int, ZeliSize, int);
  ZelStatus (*inverse)(const T*, int, const T*, int, ZeliSize, T*, int, int);
  bool columns;
  int reach;  // samples of border that the filter reaches
};
#define REGION_FUNCTIONS(F, direction, type, reach)                                                                 \
  {                                                                                                                 \
    zel().zeliWTFwd##direction##_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv##direction##_##F##_JPEG2K_##type##_C1R, \
        #direction[0] == 'C', reach                                                                                 \
  }
template <class T>
using Region = RegionFunctions<T>;
Region<int16_t> b53Rows16() { return REGION_FUNCTIONS(B53, Row, 16s, 2); }
Region<int16_t> b53Columns16() { return REGION_FUNCTIONS(B53, Col, 16s, 2); }
Region<int32_t> b53Rows32() { return REGION_FUNCTIONS(B53, Row, 32s, 2); }
Region<int32_t> b53Columns32() { return REGION_FUNCTIONS(B53, Col, 32s, 2); }
Region<int16_t> d97Rows16() { return REGION_FUNCTIONS(D97, Row, 16s, 4); }
Region<int32_t> d97Rows32() { return REGION_FUNCTIONS(D97, Row, 32s, 4); }
Region<float> d97Rows32f() { return REGION_FUNCTIONS(D97, Row, 32f, 4); }
Region<float> d97Columns32f() { return REGION_FUNCTIONS(D97, Col, 32f, 4); }

// Places first to last of some lines, as the rows or as the columns of a plane; beyond them nothing may be read.
template <class T>
class Lines {
 public:
  Lines(bool columns, int lines, int first, int last)
      : columns_(columns),
        first_(first),
        last_(last),
        plane_(columns ? lines : last - first + 1, columns ? last - first + 1 : lines) {}
  T* origin() {
    return columns_ ? reinterpret_cast<T*>(reinterpret_cast<char*>(plane_.data()) - first_ * plane_.step())
                    : plane_.data() - first_;
  }
  Plane<T>& plane() { return plane_; }
  int step() const { return plane_.step(); }
  T operator()(int line, int place) const {  // what is not there decides nothing
    if (place < first_ || place > last_) return T(0);
    return columns_ ? plane_.get(line, place - first_) : plane_.get(place - first_, line);
  }

 private:
  bool columns_;
  int first_, last_;
  Plane<T> plane_;
};

// Lines of n coefficients a band with exactly the border that may be read. `check(expected, actual, place)` compares.
template <class L, class T, class Fill, class Check>
void region(const RegionFunctions<T>& f, int n, int p, int lines, Fill fill, Check check) {
  SCOPED_TRACE(testing::Message() << (f.columns ? "columns " : "rows ") << n << " phase " << p << " lines " << lines);
  const int c = f.reach / 2, inside = f.reach == 4 ? 2 * n : -1;
  const ZeliSize size = {f.columns ? lines : n, f.columns ? n : lines};
  const auto places = [&](int first, int last) { return Lines<T>(f.columns, lines, first, last); };
  auto x = places(p - f.reach, 2 * n + f.reach - 2 + p), low = places(0, n - 1), high = places(0, n - 1);
  auto l = places(1 - c - p, n + c - 1 - p), h = places(-c, n + c - 1), dst = places(0, 2 * n - 1);
  for (auto* source : {&x, &l, &h}) fill(source->plane());
  ASSERT_EQ(zelStsNoErr,
            f.forward(x.origin(), x.step(), low.origin(), low.step(), high.origin(), high.step(), size, p));
  ASSERT_EQ(zelStsNoErr, f.inverse(l.origin(), l.step(), h.origin(), h.step(), size, dst.origin(), dst.step(), p + 2));
  const auto half = [](int i) { return (i - (i & 1)) / 2; };
  using V = typename L::T;
  for (int i = 0; i < lines; ++i) {
    const auto samples = lineOf<L>([&](int q) { return V(x(i, q)); }, p, inside);
    const auto coefficients =
        lineOf<L>([&](int q) { return V((q + p) & 1 ? h(i, half(q + p - 1)) : l(i, half(q - p))); }, p, inside);
    for (int q = 0; q < 2 * n; ++q) {
      check(samples.forward(q), ((q + p) & 1 ? high : low)(i, q / 2), q);
      check(coefficients.inverse(q), dst(i, q), q);
    }
  }
}

// One coefficient a band, where the 9/7 is a convolution.
template <class L, class T = typename L::T>
void pairsNearExact(const RegionFunctions<T>& f) {
  Random rng(4);
  const auto fill = [&](Plane<T>& plane) {
    plane.fill([&](int, int) { return T(rng.between(-L::kScale, L::kScale)); });
  };
  const auto near = [](double expected, T actual, int q) { EXPECT_NEAR(expected, double(actual), L::kBound) << q; };
  for (const int p : {zeliPhaseLow, zeliPhaseHigh})
    for (int lines = 1; lines <= 20 && !testing::Test::HasFailure(); ++lines) region<Exact>(f, 1, p, lines, fill, near);
}
template <class L, class T = typename L::T>
void regions(const RegionFunctions<T>& f) {
  Random rng(3);
  const auto fill = [&](Plane<T>& plane) { plane.fill(rng); };
  const auto same = [](T expected, T actual, int q) { EXPECT_EQ(expected, actual) << q; };
  for (const int p : {zeliPhaseLow, zeliPhaseHigh}) {
    for (int n = f.reach == 4 ? 2 : 1; n <= 40 && !testing::Test::HasFailure(); ++n)
      region<L>(f, n, p, f.columns ? n % 19 + 1 : 2, fill, same);
    for (const int n : {255, 256, 257, 300, 513})
      if (!testing::Test::HasFailure()) region<L>(f, f.columns ? 3 : n, p, f.columns ? n : 1, fill, same);
  }
  if constexpr (!std::is_same_v<L, B53<T>>) pairsNearExact<L>(f);
}

// One coefficient a band: the filters' taps are what the lifting makes of a single 1, in units of 2^-16.
TEST(Wavelet, PairsByConvolution) {
  constexpr int kOne = 1 << 16;
  const auto tapOf = [](double weight) {  // all rounded but 0.5912717, which is cut
    return std::abs(std::abs(weight) - 0.5912717) < 1e-6 ? int(weight * kOne) : int(std::lround(weight * kOne));
  };
  const RegionFunctions<int32_t> f = d97Rows32();
  for (const int p : {zeliPhaseLow, zeliPhaseHigh})
    for (int at = -4; at <= 5; ++at) {
      int32_t line[10] = {}, low, high;
      line[at + 4] = kOne;
      const auto forward = lineOf<Exact>([=](int q) { return q == at ? 1.0 : 0.0; }, p, 0);
      ASSERT_EQ(zelStsNoErr, f.forward(line + 4, 4, &low, 4, &high, 4, {1, 1}, p));
      EXPECT_EQ(tapOf(forward.forward(p)), low) << at;
      EXPECT_EQ(tapOf(forward.forward(1 - p)), high) << at;
      // The same place of the interleaved coefficients: low ones at even q + p.
      int32_t lows[10] = {}, highs[10] = {}, x[2];
      const bool isHigh = (at + p) & 1;
      int32_t* const band = isHigh ? highs + 4 : lows + 4;
      band[(at - (isHigh ? 1 - p : p)) / 2] = kOne;  // an even number
      ASSERT_EQ(zelStsNoErr, f.inverse(lows + 4, 4, highs + 4, 4, {1, 1}, x, 8, p));
      for (int q = 0; q < 2; ++q) EXPECT_EQ(tapOf(forward.inverse(q)), x[q]) << at;
    }
  // 16 bits saturate.
  int16_t extreme[10], low, high;
  for (int q = 0; q < 10; ++q) extreme[q] = q % 2 ? 32767 : -32768;
  ASSERT_EQ(zelStsNoErr, d97Rows16().forward(extreme + 4, 2, &low, 2, &high, 2, {1, 1}, zeliPhaseLow));
  EXPECT_EQ(32767, high);
}

// ---- Lifting steps on rows ------------------------------------------------------------------------------------------

template <class F, class T, size_t... i>
ZelStatus callWith(F f, T** rows, int width, std::index_sequence<i...>) {
  return f(rows[i]..., width);
}

// define(column) does one column in place. The row `shared`, if any, is the same memory as the next one.
template <class T, int kRows, class F, class Define>
void liftingStep(F f, Define define, int shared = -1) {
  const auto call = [=](T** rows, int width) { return callWith(f, rows, width, std::make_index_sequence<kRows>()); };
  Random rng(5);
  for (int width = 1; width <= 70; ++width) {
    std::vector<std::vector<T>> rows;
    std::vector<std::unique_ptr<Guarded<T>>> memory;
    T* pointers[kRows];
    for (int r = 0; r < kRows; ++r) {
      rows.push_back(rng.vector<T>(size_t(width)));
      memory.push_back(std::make_unique<Guarded<T>>(rows.back(), size_t(r % 2 * 8)));
      pointers[r] = memory.back()->data();
    }
    if (shared >= 0) pointers[shared] = pointers[shared + 1];
    ASSERT_EQ(zelStsNoErr, call(pointers, width));
    for (size_t i = 0; i < size_t(width); ++i) {
      T column[kRows];
      for (int r = 0; r < kRows; ++r) column[r] = rows[size_t(r)][i];
      define(column);
      for (int r = 0; r < kRows; ++r)
        if (r != shared) ASSERT_EQ(column[r], (*memory[size_t(r)])[i]) << "row " << r << " width " << width;
    }
    for (int r = kRows - 1; r >= 0 && width == 1; --r) {  // the checks in their order
      pointers[r] = nullptr;
      EXPECT_EQ(zelStsNullPtrErr, call(pointers, 0)) << "row " << r;
      pointers[r] = memory[size_t(r)]->data();
    }
    EXPECT_EQ(zelStsSizeErr, call(pointers, 0));
  }
}
template <class T, class F, class I>
void liftingSteps53(F forward, I inverse) {
  for (const int shared : {-1, 4}) {  // the high row before may be the one that is written
    const auto define = [=](T* x) {
      x[5] = T(x[1] - int64_t(B53<T>::half(x[0], x[2])));
      x[3] = T(x[0] + int64_t(B53<T>::quarter(x[shared < 0 ? 4 : 5], x[5])));
    };
    liftingStep<T, 6>(forward, define, shared);
  }
  liftingStep<T, 6>(inverse, [](T* x) {
    x[5] = T(x[0] - int64_t(B53<T>::quarter(x[1], x[2])));
    x[4] = T(x[1] + int64_t(B53<T>::half(x[3], x[5])));
  });
}
template <class A, class T = typename A::T, class F, class I>
void liftingSteps97(F forward, I inverse) {
  liftingStep<T, 8>(forward, [](T* x) {  // 0 to 2 source, 3 low, 4 even, 5 high, 6 odd before, 7 odd
    x[7] = A::add(kAlpha, x[1], x[0], x[2], false);
    x[4] = A::add(kBeta, x[0], x[6], x[7], false);
    x[6] = A::add(kGamma, x[6], x[3], x[4], false);
    x[3] = A::low(x[3], x[5], x[6]);
    x[5] = A::high(x[5]);
  });
  liftingStep<T, 8>(inverse, [](T* x) {  // 0 low, 1 and 2 high, 3 to 7 rows 2n - 4 to 2n
    x[7] = A::unlow(x[0], x[1], x[2], false);
    x[6] = A::unhigh(x[1], x[5], x[7], false);
    x[5] = A::sub(kBeta, x[5], x[4], x[6], false);
    x[4] = A::sub(kAlpha, x[4], x[3], x[5], false);
  });
}

// ---- Sizes and distances --------------------------------------------------------------------------------------------

template <class T>
void bufferLimits(const TileFunctions<T>& f) {
  constexpr int kBytes = int(sizeof(T)), kMost = INT32_MAX;
  const auto sizes = [](auto function, ZeliRect r) {
    int bytes = -77;
    const ZelStatus s = function(&r, &bytes);
    return std::pair(s, bytes);
  };
  const std::pair tooLarge(zelStsSizeErr, -77);
  for (const int side : {32768, 65536, kMost}) EXPECT_EQ(tooLarge, sizes(f.planeBytes, {0, 0, side, side}));
  // The longest line, and the highest plane of one column: each row of it takes 32 bytes, and its line a sample's.
  const int longest = kMost / kBytes - 2 * f.border, highest = (kMost - 2 * f.border * kBytes) / (32 + kBytes);
  EXPECT_EQ(std::pair(zelStsNoErr, kMost / kBytes * kBytes), sizes(f.lineBytes, {0, 0, 1, longest}));
  EXPECT_EQ(tooLarge, sizes(f.lineBytes, {0, 0, longest + 1, 1}));
  EXPECT_EQ(tooLarge, sizes(f.lineBytes, {0, 0, 1, kMost}));
  EXPECT_EQ(std::pair(zelStsNoErr, 32 * highest + (highest + 2 * f.border) * kBytes),
            sizes(f.planeBytes, {0, 0, 1, highest}));
  EXPECT_EQ(tooLarge, sizes(f.planeBytes, {0, 0, 1, highest + 1}));
  for (const int w : {longest, kMost}) EXPECT_EQ(tooLarge, sizes(f.planeBytes, {0, 0, w, 1}));
}

constexpr int kFar = 1 << 30;  // bytes from row to row

template <class T>
void farTile(const TileFunctions<T>& f) {
  constexpr int kW = 9, kH = 8;
  const ZeliRect r = {0, 1, kW, kH};
  std::vector<uint8_t> buffer(2048);
  Plane<T> image(kW, kH);
  FarRows<T> far(kH, kFar);
  Random rng(8);
  image.fill(rng);
  for (int y = 0; y < kH; ++y) std::copy_n(image.row(y).begin(), kW, far.row(y));
  for (const auto& transform : {f.forward, f.inverse}) {
    ASSERT_EQ(zelStsNoErr, transform(far.row(0), kFar, &r, buffer.data()));
    ASSERT_EQ(zelStsNoErr, transform(image.data(), image.step(), &r, buffer.data()));
    EXPECT_EQ(image.samples(), far.samples(kW, kH));
  }
}

// ---- Argument checks ------------------------------------------------------------------------------------------------

class WaveletChecks : public Checks {
 protected:
  template <class T>
  void tile(const TileFunctions<T>& f) {
    for (const auto& g : {f.forward, f.inverse}) {
      check(g, null<0>(), step<1>(), null<2, 3>());
      for (const ZeliRect& none : {ZeliRect{1, 1, 0, 5}, {1, 1, 5, 0}, {1, 1, -1, 1}})
        EXPECT_EQ(zelStsNoErr, g(as<T*>(), 4, &none, bytes));
    }
    for (const auto& g : {f.lineBytes, f.planeBytes}) check(g, null<0, 1>());
    for (const ZeliRect& none : {ZeliRect{1, 1, 0, 5}, {1, 1, 5, -1}})
      for (int b = 0; b < 4; ++b) {
        int steps[4] = {4, 4, 4, 4};
        steps[b] = 0;
        check(f.toBands, null<0, 2, 3, 4, 5>(), step<1>(), lacks<3>(b), bad<4>(&steps[0], zelStsStepErr),
              bad<2>(&none, zelStsSizeErr));
        check(f.fromBands, null<0, 1, 2, 4, 5>(), step<3>(-1), lacks<0>(b), bad<1>(&steps[0], zelStsStepErr),
              bad<4>(&none, zelStsSizeErr));
      }
  }
  template <class T>
  void region(const RegionFunctions<T>& f) {
    for (const auto& [w, h] : {std::pair(0, 1), {1, 0}}) {
      check(f.forward, null<0, 2, 4>(), step<1, 3>(), step<5>(-4), size<6>(w, h));
      check(f.inverse, null<0, 2, 5>(), step<1>(), step<3>(-4), step<6>(), size<4>(w, h));
    }
  }
};

}  // namespace

TEST(Wavelet, ArithmeticNearTheExact) {
  const std::vector<ZeliRect> tiles = {{0, 0, 64, 64}, {1, 1, 61, 35}, {0, 1, 3, 40}, {1, 0, 40, 2}};
  const std::vector<ZeliRect> lines = {{0, 0, 640, 1}, {1, 0, 641, 1}, {0, 0, 3, 1}, {1, 0, 2, 1}};
  nearExact<Q14>(tiles), nearExact<FloatOfInt>(tiles), nearExact<Float>(tiles), nearExact<FoldedFloat>(tiles);
  nearExact<Q16>(lines), nearExact<Saturating16<true>>(lines), nearExact<Saturating16<false>>(lines);
}
TEST(Wavelet, Tiles) {
  tiles<B53<int16_t>>(b53Tile16());
  tiles<B53<int32_t>>(b53Tile32());
  tiles<Q14>(d97Tile16());
  tiles<FloatOfInt>(d97Tile32());
}
TEST(Wavelet, RowsAndColumns) {
  regions<B53<int16_t>>(b53Rows16());
  regions<B53<int16_t>>(b53Columns16());
  regions<B53<int32_t>>(b53Rows32());
  regions<B53<int32_t>>(b53Columns32());
  regions<Saturating16<false>>(d97Rows16());
  regions<Q16>(d97Rows32());
  regions<Float>(d97Rows32f());
  regions<Float>(d97Columns32f());
}
TEST(Wavelet, LiftingSteps) {
  liftingSteps53<int16_t>(zel().zeliWTFwdColLift_B53_JPEG2K_16s_C1, zel().zeliWTInvColLift_B53_JPEG2K_16s_C1);
  liftingSteps53<int32_t>(zel().zeliWTFwdColLift_B53_JPEG2K_32s_C1, zel().zeliWTInvColLift_B53_JPEG2K_32s_C1);
  liftingSteps97<Saturating16<true>>(zel().zeliWTFwdColLift_D97_JPEG2K_16s_C1,
                                     zel().zeliWTInvColLift_D97_JPEG2K_16s_C1);
  liftingSteps97<Q16>(zel().zeliWTFwdColLift_D97_JPEG2K_32s_C1, zel().zeliWTInvColLift_D97_JPEG2K_32s_C1);
  liftingSteps97<FoldedFloat>(zel().zeliWTFwdColLift_D97_JPEG2K_32f_C1, zel().zeliWTInvColLift_D97_JPEG2K_32f_C1);
}
TEST(Wavelet, SizesAndDistances) {
  bufferLimits(b53Tile16()), bufferLimits(b53Tile32()), bufferLimits(d97Tile16()), bufferLimits(d97Tile32());
  farTile(b53Tile16()), farTile(d97Tile32());
}
TEST_F(WaveletChecks, AllFunctions) {
  tile(b53Tile16()), tile(d97Tile16()), tile(b53Tile32()), tile(d97Tile32());
  for (const auto& f : {b53Rows16(), b53Columns16(), d97Rows16()}) region(f);
  for (const auto& f : {b53Rows32(), b53Columns32(), d97Rows32()}) region(f);
  for (const auto& f : {d97Rows32f(), d97Columns32f()}) region(f);
}
