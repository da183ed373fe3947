// Wavelets against T.800's lifting equations (Annex F), each coefficient and sample by itself, from its line alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/api.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;

// ---- The arithmetic of each function, one value at a time ----------------------------------------------------------
// add(i, x, a, b, out) is a forward step, sub an inverse one; out: outside the line of a row function. T is a sample,
// W what it is between the steps.

template <class T_>
struct B53 {
  using T = T_;
  static T mean(T a, T b) { return T(T(int64_t(a) + b) >> 1); }
  static T quarter(T a, T b) { return T(T(int64_t(a) + b + 2) >> 2); }
};
struct Float {
  using T = float;
  using W = float;
  static constexpr float c[4] = {-1.5861343f, -0.052980117f, 0.8829111f, 0.44350687f}, kl = 0.8128931f, kh = 1.2301741f;
  static W add(int i, W x, W a, W b, bool) { return x + c[i] * (a + b); }
  static W sub(int i, W x, W a, W b, bool) { return x - c[i] * (a + b); }
  static T low(W e, W d0, W d1) { return kl * add(3, e, d0, d1, false); }
  static T high(W o) { return kh * o; }
  static W scale(T h) { return kl * h; }
  static W unlow(T l, W d0, W d1, bool) { return sub(3, kh * l, d0, d1, false); }
  static W unhigh(W o, W s0, W s1, bool) { return sub(2, o, s0, s1, false); }
  static T result(W x) { return x; }
};
struct Folded : Float {  // lifting steps on rows
  static T low(W e, W d0, W d1) { return kl * e + 0.36052364f * (d0 + d1); }
  static W unlow(T l, W h0, W h1, bool) { return kh * l - 0.36052364f * (h0 + h1); }
  static W unhigh(W h, W s0, W s1, bool) { return sub(2, kl * h, s0, s1, false); }
};
struct Mixed : Float {
  using T = int32_t;
  static T result(W x) { return x >= 2147483648.0f ? INT32_MAX : x < -2147483648.0f ? INT32_MIN : T(x); }
  using Float::add;
  static W add(int i, T x, T a, T b, bool) { return W(x) + c[i] * W(T(int64_t(a) + b)); }
  static T low(W e, W d0, W d1) { return result(Float::low(e, d0, d1)); }
  static T high(W o) { return result(Float::high(o)); }
  static W add(int i, T x, W a, W b, bool out) { return Float::add(i, W(x), a, b, out); }
  static W scale(T h) { return Float::scale(W(h)); }
  static W unlow(T l, W d0, W d1, bool out) { return Float::unlow(W(l), d0, d1, out); }
};
template <class T_, int kShift, class Sum, Sum... weights>  // sums of two samples are of type Sum
struct Fixed {
  using T = T_;
  using W = T_;
  static constexpr int64_t c[6] = {weights...}, kl = c[4], kh = c[5];
  static int64_t sum(W a, W b) { return Sum(int64_t(a) + b); }
  static int64_t rounded(int64_t x) { return (x + (int64_t(1) << (kShift - 1))) >> kShift; }
  static W add(int i, W x, W a, W b, bool) { return W(x + rounded(c[i] * sum(a, b))); }
  static W sub(int i, W x, W a, W b, bool) { return W(x - rounded(c[i] * sum(a, b))); }
  static T high(W o) { return T(rounded(kh * o)); }
  static T result(W x) { return x; }
};
struct Q14 : Fixed<int16_t, 14, int32_t, -25987, -868, 14466, 7266, 13318, 20155> {
  static T low(W e, W d0, W d1) { return T(rounded(kl * add(3, e, d0, d1, false))); }
  static W scale(T h) { return W(rounded(kl * h)); }
  static W unlow(T l, W d0, W d1, bool) { return sub(3, W(rounded(kh * l)), d0, d1, false); }
  static W unhigh(W o, W s0, W s1, bool) { return sub(2, o, s0, s1, false); }
};
struct Q16 : Fixed<int32_t, 16, int32_t, -103949, -3472, 57862, 23627, 53274, 80621> {
  static T low(W e, W d0, W d1) { return T(rounded(kl * e + c[3] * sum(d0, d1))); }
  static W scale(T h) { return h; }
  static W unlow(T l, W h0, W h1, bool) { return W(rounded(kh * l - c[3] * sum(h0, h1))); }
  static W unhigh(W h, W s0, W s1, bool) { return W(rounded(kl * h - c[2] * sum(s0, s1))); }
};
template <bool kSaturate>  // the second subtraction of the inverse: in lifting steps, but not in rows
struct Packed {
  using T = int16_t;
  using W = int16_t;
  static W sat(int64_t x) { return W(std::clamp<int64_t>(x, -32768, 32767)); }
  static int mulr(int x, int weight) { return (x * weight + 16384) >> 15; }
  static int part(int i, int sign, int sum) {
    const int c[] = {25987 * -sign, 1736 * -sign, 28931};
    return mulr(i == 0 ? sat(2 * sat(sum)) : sat(sum), c[i]);
  }
  static W add(int i, W x, W a, W b, bool out) { return sat(out ? Q16::add(i, x, a, b, out) : x + part(i, 1, a + b)); }
  static W sub(int i, W x, W a, W b, bool out) { return sat(out ? Q16::sub(i, x, a, b, out) : x + part(i, -1, a + b)); }
  static T low(W e, W d0, W d1) { return sat(mulr(e, 26637) + (mulr(sat(d0 + d1), 23627) >> 1)); }
  static T high(W o) { return sat(mulr(sat(2 * o), 20155)); }
  static W scale(T h) { return h; }
  static W unlow(T l, W h0, W h1, bool out) {
    return sat(out ? Q16::unlow(l, h0, h1, out) : mulr(sat(2 * l), 20155) - mulr(sat(h0 + h1), 11813));
  }
  static W unhigh(W h, W s0, W s1, bool out) {
    const int x = out ? Q16::unhigh(h, s0, s1, out) : mulr(h, 26637) - mulr(sat(s0 + s1), 28931);
    return out || kSaturate ? sat(x) : W(x);
  }
  static T result(W x) { return x; }
};

// ---- Lines: place q holds a low coefficient where q + p is even. x(q) gives samples, or coefficients at their places.

template <class A, class X>
struct Line {  // 9/7
  X x;
  int p, n;
  bool out(int q) const { return q < 0 || q >= n; }
  auto d1(int q) const { return A::add(0, x(q), x(q - 1), x(q + 1), out(q)); }
  auto s1(int q) const { return A::add(1, x(q), d1(q - 1), d1(q + 1), out(q)); }
  auto d2(int q) const { return A::add(2, d1(q), s1(q - 1), s1(q + 1), out(q)); }
  auto forward(int q) const { return (q + p) % 2 ? A::high(d2(q)) : A::low(s1(q), d2(q - 1), d2(q + 1)); }
  auto o1(int q) const { return A::scale(x(q)); }
  auto e1(int q) const { return A::unlow(x(q), o1(q - 1), o1(q + 1), out(q)); }
  auto o2(int q) const { return A::unhigh(o1(q), e1(q - 1), e1(q + 1), out(q)); }
  auto e2(int q) const { return A::sub(1, e1(q), o2(q - 1), o2(q + 1), out(q)); }
  auto inverse(int q) const { return A::result((q + p) % 2 ? A::sub(0, o2(q), e2(q - 1), e2(q + 1), false) : e2(q)); }
};
template <class T, class X>
struct Line<B53<T>, X> {
  X x;
  int p, n;
  T half(T a, T b) const { return n == 2 ? a : B53<T>::mean(a, b); }  // two samples: one neighbour, seen twice
  T part(T a, T b) const { return n == 2 ? T(T(int64_t{a} + 1) >> 1) : B53<T>::quarter(a, b); }
  T d(int q) const { return T(x(q) - int64_t(half(x(q - 1), x(q + 1)))); }
  T e(int q) const { return T(x(q) - int64_t(part(x(q - 1), x(q + 1)))); }
  T forward(int q) const { return (q + p) % 2 ? d(q) : T(x(q) + int64_t(part(d(q - 1), d(q + 1)))); }
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
  if (n == 1) return void(line[0] = !p ? line[0] : inverse ? T(line[0] / 2) : T(int64_t(line[0]) * 2));
  std::vector<T> places(size_t(n), T{});
  for (int i = 0; i < n; ++i) places[size_t(inverse ? placeOf(i, n, p) : i)] = line[size_t(i) * stride];
  const auto l = lineOf<L>([&](int q) { return places[size_t(mirror(q, n))]; }, p, n);
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

#define TILE_FUNCTIONS(F, type)                                                             \
  zel().zeliWTFwd_##F##_JPEG2K_##type##_C1IR, zel().zeliWTInv_##F##_JPEG2K_##type##_C1IR,   \
      zel().zeliWTFwd_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv_##F##_JPEG2K_##type##_C1R, \
      zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1IR, zel().zeliWTGetBufSize_##F##_JPEG2K_##type##_C1R

// border: of the line in the buffer; least: the shortest side that needs one.
template <class L, class InPlace, class To, class From, class Bytes>
void tiles(InPlace forward, InPlace inverse, To toBands, From fromBands, Bytes lineBytes, Bytes planeBytes, int border,
           int least) {
  using T = typename L::T;
  Random rng(1);
  const auto oneTile = [&](ZeliRect r) {
    SCOPED_TRACE(testing::Message() << r.width << " x " << r.height << " at " << r.x << ", " << r.y);
    const size_t w = size_t(r.width), h = size_t(r.height), left = (w + 1) / 2, top = (h + 1) / 2;
    const int step = int(w * sizeof(T)), longer = std::max(r.width, r.height);
    int inLine = -1, inPlane = -1;
    ASSERT_TRUE(lineBytes(&r, &inLine) == zelStsNoErr && planeBytes(&r, &inPlane) == zelStsNoErr);
    ASSERT_EQ(longer < least ? 0 : (longer + 2 * border) * int(sizeof(T)), inLine);
    ASSERT_EQ((step + 31) / 32 * 32 * r.height + inLine, inPlane);
    Guarded<uint8_t> lineBuffer{size_t(inLine)}, planeBuffer{size_t(inPlane), 1};
    const std::vector<T> image = rng.vector<T>(w * h);
    for (const bool back : {false, true}) {
      std::vector<T> expected = image;
      tile<L>(expected, r, back);
      Guarded<T> plane(image), whole(image);
      ASSERT_EQ(zelStsNoErr, (back ? inverse : forward)(plane.data(), step, &r, lineBuffer.data()));
      ASSERT_EQ(expected, plane.copy()) << (back ? "inverse" : "forward");
      // The same to, or from, bands cut at half the width and height.
      Guarded<T> ll(left * top), lh(left * (h - top)), hl((w - left) * top), hh((w - left) * (h - top));
      T* const bands[4] = {ll.data(), lh.data(), hl.data(), hh.data()};
      const int leftStep = int(left * sizeof(T)), rightStep = std::max(1, step - leftStep);
      const int steps[4] = {leftStep, leftStep, rightStep, rightStep};
      if (!back) ASSERT_EQ(zelStsNoErr, toBands(image.data(), step, &r, bands, steps, planeBuffer.data()));
      for (size_t i = 0; i < w * h; ++i) {
        const size_t x = i % w, y = i / w, lower = y >= top, right = x >= left;
        T& c = bands[lower + 2 * right][(y - lower * top) * (right ? w - left : left) + x - right * left];
        (back ? c : whole[i]) = back ? whole[i] : c;
      }
      if (back) ASSERT_EQ(zelStsNoErr, fromBands(bands, steps, whole.data(), step, &r, planeBuffer.data()));
      ASSERT_EQ(expected, whole.copy()) << (back ? "from" : "to") << " bands";
      ASSERT_TRUE(plane.intact() && lineBuffer.intact() && planeBuffer.intact() && whole.intact());
    }
  };
  for (int origin = 0; origin < 4; ++origin) {
    const int x = origin % 2 ? -3 : 8, y = origin / 2 ? 5 : -2;
    for (int w = 1; w <= 20 && !testing::Test::HasFatalFailure(); ++w)
      for (int h = 1; h <= 20; ++h) oneTile({x, y, w, h});
    // Beyond one chunk of a line, beyond one strip of columns.
    for (const ZeliSize s : {ZeliSize{511, 7}, {513, 2}, {1029, 6}, {2100, 9}, {5, 700}, {64, 48}, {1, 99}})
      oneTile({x, y, s.width, s.height});
  }
  T sample = 7;
  uint8_t buffer[64];
  int size;
  const ZeliRect none[] = {{1, 1, 0, 5}, {1, 1, 5, 0}, {1, 1, -1, 1}}, rect = {0, 0, 1, 1};
  for (const auto& inPlace : {forward, inverse}) {
    for (const ZeliRect& r : none) EXPECT_EQ(zelStsNoErr, inPlace(&sample, 4, &r, buffer));
    EXPECT_EQ(zelStsStepErr, inPlace(&sample, 0, nullptr, nullptr));
    for (const ZelStatus s : {inPlace(nullptr, 0, &rect, buffer), inPlace(&sample, 4, nullptr, buffer),
                              inPlace(&sample, 4, &rect, nullptr)})
      EXPECT_EQ(zelStsNullPtrErr, s);
  }
  for (const auto& bytes : {lineBytes, planeBytes})
    EXPECT_TRUE(bytes(nullptr, &size) == zelStsNullPtrErr && bytes(&rect, nullptr) == zelStsNullPtrErr);
  for (const bool back : {false, true}) {
    const auto call = [&](int missing, int step, int badBand, int badStep, const ZeliRect& rect) {
      T* band[4] = {&sample, &sample, &sample, &sample};
      int steps[4] = {4, 4, 4, 4};
      if (badBand >= 0) band[badBand] = nullptr;
      if (badStep >= 0) steps[badStep] = 0;
      const auto unless = [=](int argument, auto* p) { return missing == argument ? nullptr : p; };
      return back ? fromBands(unless(1, band), unless(2, steps), unless(0, &sample), step, unless(3, &rect),
                              unless(4, buffer))
                  : toBands(unless(0, &sample), step, unless(3, &rect), unless(1, band), unless(2, steps),
                            unless(4, buffer));
    };
    for (int missing = 0; missing < 5; ++missing) EXPECT_EQ(zelStsNullPtrErr, call(missing, 0, 0, 0, none[0]));
    EXPECT_EQ(zelStsStepErr, call(-1, 0, 0, 0, none[0]));
    for (int b = 0; b < 4; ++b) {
      EXPECT_EQ(zelStsNullPtrErr, call(-1, 4, b, 0, none[0]));
      EXPECT_EQ(zelStsStepErr, call(-1, 4, -1, b, none[0]));
    }
    for (const ZeliRect& r : none) EXPECT_EQ(zelStsSizeErr, call(-1, 4, -1, -1, r));
  }
  EXPECT_EQ(7, sample);
}

// ---- Rows and columns with borders ---------------------------------------------------------------------------------

#define REGION_FUNCTIONS(F, direction, type) \
  zel().zeliWTFwd##direction##_##F##_JPEG2K_##type##_C1R, zel().zeliWTInv##direction##_##F##_JPEG2K_##type##_C1R

// Places first to last of some lines, side by side as columns or one after the other, between unreadable pages.
template <class T>
struct LineBuffer {
  bool columns;
  int lines, first, last;
  Guarded<T> memory;
  LineBuffer(bool columns, int lines, int first, int last, Random& rng, bool small)
      : columns(columns), lines(lines), first(first), last(last), memory(size_t(lines * (last - first + 1))) {
    auto v = rng.vector<T>(memory.size());
    for (T& x : v) x = small ? T(rng.between(-3000, 3000)) : x;
    std::memcpy(memory.data(), v.data(), v.size() * sizeof(T));
  }
  int step() const { return int(sizeof(T)) * (columns ? lines : last - first + 1); }
  T* at(int line, int place) {
    return memory.data() + (columns ? (place - first) * lines + line : line * (last - first + 1) + place - first);
  }
  T operator()(int line, int place) { return place < first || place > last ? T(0) : *at(line, place); }
};

// Lines of n coefficients a band with exactly the border that may be read; reach is how far it goes.
template <class L, class F, class I, class T = typename L::T>
void region(F forward, I inverse, bool columns, int reach, int n, int p, int lines, Random& rng) {
  SCOPED_TRACE(testing::Message() << (columns ? "columns " : "rows ") << n << " phase " << p << " lines " << lines);
  const bool pair97 = reach == 4 && n == 1;  // by convolution: near the lifting, not the same
  const int c = reach / 2, length = reach == 4 ? 2 * n : -1;
  const ZeliSize size = {columns ? lines : n, columns ? n : lines};
  const double tolerance = !pair97 ? 0 : std::is_integral_v<T> ? 4.5 : 0.01;
  const auto places = [&](int first, int last) { return LineBuffer<T>(columns, lines, first, last, rng, pair97); };
  auto x = places(p - reach, 2 * n + reach - 2 + p), low = places(0, n - 1), high = places(0, n - 1);
  auto l = places(1 - c - p, n + c - 1 - p), h = places(-c, n + c - 1), dst = places(0, 2 * n - 1);
  ASSERT_EQ(zelStsNoErr, forward(x.at(0, 0), x.step(), low.at(0, 0), low.step(), high.at(0, 0), high.step(), size, p));
  ASSERT_EQ(zelStsNoErr, inverse(l.at(0, 0), l.step(), h.at(0, 0), h.step(), size, dst.at(0, 0), dst.step(), p));
  for (int i = 0; i < lines; ++i) {
    const auto samples = lineOf<L>([&](int q) { return x(i, q); }, p, length);
    const auto coefficients = lineOf<L>(
        [&](int q) { return (q + p) & 1 ? h(i, (q + p - 1 + 4 * c) / 2 - 2 * c) : l(i, (q - p + 4 * c) / 2 - 2 * c); },
        p, length);
    for (int q = 0; q < 2 * n; ++q) {
      ASSERT_NEAR(double(samples.forward(q)), double(((q + p) & 1 ? high : low)(i, q / 2)), tolerance) << q;
      ASSERT_NEAR(double(coefficients.inverse(q)), double(dst(i, q)), tolerance) << q;
    }
  }
  ASSERT_TRUE(low.memory.intact() && high.memory.intact() && dst.memory.intact());
}

template <class L, class F, class I, class T = typename L::T>
void regions(F forward, I inverse, bool columns, int reach) {
  Random rng(2);
  for (int p = 0; p < 2; ++p) {
    for (int n = 1; n <= 40; ++n) region<L>(forward, inverse, columns, reach, n, p, columns ? n % 19 + 1 : 2, rng);
    for (const int n : {255, 256, 257, 300, 513})
      region<L>(forward, inverse, columns, reach, columns ? 3 : n, p, columns ? n : 1, rng);
  }
  T x[3] = {1, 1, 1};
  const ZeliSize none[] = {{0, 1}, {1, 0}};
  for (int bad = 0; bad < 5; ++bad) {  // a pointer, or a step, or the size
    T* const ptr[3] = {bad == 0 ? nullptr : x, bad == 1 ? nullptr : x, bad == 2 ? nullptr : x};
    EXPECT_EQ(bad < 3 ? zelStsNullPtrErr : zelStsStepErr, forward(ptr[0], 0, ptr[1], 0, ptr[2], 0, none[0], 0));
    EXPECT_EQ(bad < 3 ? zelStsNullPtrErr : zelStsStepErr, inverse(ptr[0], 0, ptr[1], 0, none[0], ptr[2], 0, 0));
    const int step[3] = {bad != 0, bad != 1, bad != 2};
    EXPECT_EQ(bad < 3 ? zelStsStepErr : zelStsSizeErr, forward(x, step[0], x, step[1], x, step[2], none[bad & 1], 0));
    EXPECT_EQ(bad < 3 ? zelStsStepErr : zelStsSizeErr, inverse(x, step[0], x, step[1], none[bad & 1], x, step[2], 0));
  }
}

// ---- Lifting steps on rows -----------------------------------------------------------------------------------------

template <class F, class T, size_t... i>
ZelStatus callWith(F f, T** rows, int width, std::index_sequence<i...>) {
  return f(rows[i]..., width);
}

// define(column) does one column in place. The row `shared`, if any, is the same memory as the next one.
template <class T, int kRows, class F, class Define>
void liftingStep(F f, Define define, int shared = -1) {
  const auto call = [=](T** rows, int width) { return callWith(f, rows, width, std::make_index_sequence<kRows>()); };
  Random rng(3);
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
    for (int r = 0; r < kRows && width == 1; ++r) {
      T* const kept = std::exchange(pointers[r], nullptr);
      EXPECT_EQ(zelStsNullPtrErr, call(pointers, 0)) << "row " << r;
      pointers[r] = kept;
    }
    EXPECT_EQ(zelStsSizeErr, call(pointers, 0));
  }
}
template <class A, class T = typename A::T, class F, class I>
void liftingSteps97(F forward, I inverse) {
  liftingStep<T, 8>(forward, [](T* x) {  // 0 to 2 source, 3 low, 4 even, 5 high, 6 odd before, 7 odd
    x[7] = A::add(0, x[1], x[0], x[2], false);
    x[4] = A::add(1, x[0], x[6], x[7], false);
    x[6] = A::add(2, x[6], x[3], x[4], false);
    x[3] = A::low(x[3], x[5], x[6]);
    x[5] = A::high(x[5]);
  });
  liftingStep<T, 8>(inverse, [](T* x) {  // 0 low, 1 and 2 high, 3 to 7 rows 2n - 4 to 2n
    x[7] = A::unlow(x[0], x[1], x[2], false);
    x[6] = A::unhigh(x[1], x[5], x[7], false);
    x[5] = A::sub(1, x[5], x[4], x[6], false);
    x[4] = A::sub(0, x[4], x[3], x[5], false);
  });
}
template <class T, class F, class I>
void liftingSteps53(F forward, I inverse) {
  for (const int shared : {-1, 4}) {  // the high row before may be the one that is written
    const auto define = [=](T* x) {
      x[5] = T(x[1] - int64_t(B53<T>::mean(x[0], x[2])));
      x[3] = T(x[0] + int64_t(B53<T>::quarter(x[shared < 0 ? 4 : 5], x[5])));
    };
    liftingStep<T, 6>(forward, define, shared);
  }
  liftingStep<T, 6>(inverse, [](T* x) {
    x[5] = T(x[0] - int64_t(B53<T>::quarter(x[1], x[2])));
    x[4] = T(x[1] + int64_t(B53<T>::mean(x[3], x[5])));
  });
}

}  // namespace

TEST(Wavelet, Tiles) {
  tiles<B53<int16_t>>(TILE_FUNCTIONS(B53, 16s), 2, 3);
  tiles<B53<int32_t>>(TILE_FUNCTIONS(B53, 32s), 2, 3);
  tiles<Q14>(TILE_FUNCTIONS(D97, 16s), 4, 2);
  tiles<Mixed>(TILE_FUNCTIONS(D97, 32s), 4, 2);
}
TEST(Wavelet, RowsAndColumns) {
  regions<B53<int16_t>>(REGION_FUNCTIONS(B53, Row, 16s), false, 2);
  regions<B53<int16_t>>(REGION_FUNCTIONS(B53, Col, 16s), true, 2);
  regions<B53<int32_t>>(REGION_FUNCTIONS(B53, Row, 32s), false, 2);
  regions<B53<int32_t>>(REGION_FUNCTIONS(B53, Col, 32s), true, 2);
  regions<Packed<false>>(REGION_FUNCTIONS(D97, Row, 16s), false, 4);
  regions<Q16>(REGION_FUNCTIONS(D97, Row, 32s), false, 4);
  regions<Float>(REGION_FUNCTIONS(D97, Row, 32f), false, 4);
  regions<Float>(REGION_FUNCTIONS(D97, Col, 32f), true, 4);
}
TEST(Wavelet, LiftingSteps) {
  liftingSteps53<int16_t>(zel().zeliWTFwdColLift_B53_JPEG2K_16s_C1, zel().zeliWTInvColLift_B53_JPEG2K_16s_C1);
  liftingSteps53<int32_t>(zel().zeliWTFwdColLift_B53_JPEG2K_32s_C1, zel().zeliWTInvColLift_B53_JPEG2K_32s_C1);
  liftingSteps97<Packed<true>>(zel().zeliWTFwdColLift_D97_JPEG2K_16s_C1, zel().zeliWTInvColLift_D97_JPEG2K_16s_C1);
  liftingSteps97<Q16>(zel().zeliWTFwdColLift_D97_JPEG2K_32s_C1, zel().zeliWTInvColLift_D97_JPEG2K_32s_C1);
  liftingSteps97<Folded>(zel().zeliWTFwdColLift_D97_JPEG2K_32f_C1, zel().zeliWTInvColLift_D97_JPEG2K_32f_C1);
}
