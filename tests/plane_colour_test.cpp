// Colour conversion of planes: to the bit by the definition of each form, and near the exact matrix.
#include <cmath>
#include <functional>

#include "colour_support.h"
#include "support/checks.h"
#include "support/core_hooks.h"

namespace {

using namespace zeltest;

// ---- Forms: the matrix, its bits, and what is added before the shift ------------------------------------------------

template <int kBits, int kR, int kG, int kB, bool kGreenSubtracted>
Pixel decoded(const Pixel& p) {
  const int y = p[0], cb = p[1] - 128, cr = p[2] - 128;
  const int green = fix(0.34414, kBits) * cb + fix(0.71414, kBits) * cr;
  return {clamp8(y + ((fix(1.402, kBits) * cr + kR) >> kBits)),
          clamp8(kGreenSubtracted ? y - ((green + kG) >> kBits) : y + ((kG - green) >> kBits)),
          clamp8(y + ((fix(1.772, kBits) * cb + kB) >> kBits)), p[3]};
}
constexpr auto decodedPlanar = decoded<14, 8145, 8082, 7535, true>;
constexpr auto decodedInterleaved = decoded<14, 8145, 8302, 8135, false>;
constexpr auto decodedByTables = decoded<16, 32768, 32768, 32768, false>;

// Chroma is not centred before the product; green has two terms, rounded down on their own to 2^-5.
Pixel decodedPairs(const Pixel& p) {
  const auto term = [](int c, double factor) { return c * fix(factor, 14) >> 9; };
  return {clamp8(p[0] + (term(p[2], 1.402) >> 5) - 179),
          clamp8(p[0] + ((term(p[1], -0.34414) + term(p[2], -0.71414)) >> 5) + 135),
          clamp8(p[0] + (term(p[1], 1.772) >> 5) - 226), 0};
}

template <int kBits, int kY, int kCb, int kCr>
Pixel encoded(const Pixel& p) {
  const auto component = [&](int row, int rounding) {
    const int centre = row > 0 ? 128 << kBits : 0;
    return clamp8((weighted<kBits>(row, p[0], p[1], p[2]) + centre + rounding) >> kBits);
  };
  return {component(0, kY), component(1, kCb), component(2, kCr), p[3]};
}
constexpr auto encodedByTables = encoded<16, 32768, 32767, 32767>;
constexpr auto encoded14 = encoded<14, 8192, 8192, 8192>;
constexpr auto encoded15 = encoded<15, 16266, 16384, 16400>;

// Chroma from the rounded luma.
Pixel encodedPlanar(const Pixel& p) {
  const int y = (weighted<16>(0, p[0], p[1], p[2]) + 32768) >> 16;
  const auto chroma = [&](int c, double factor) { return clamp8(128 + (((c - y) * fix(factor, 15) + 16384) >> 15)); };
  return {y, chroma(p[2], 0.5643), chroma(p[0], 0.7133), p[3]};
}
Pixel lumaInFloat(const Pixel& p) {
  return {int(std::nearbyintf(0.299f * float(p[0]) + 0.587f * float(p[1]) + 0.114f * float(p[2])))};
}

// ---- The functions --------------------------------------------------------------------------------------------------

class ColourChecks : public Checks {
 public:
  template <class S, class D>
  void expect(ZelStatus (*f)(S, int, D, int, ZeliSize), int srcPlanes, int dstPlanes) {
    for (int i = 0; i < 4; ++i) {
      const auto src = i < srcPlanes ? lacks<0>(i) : bad<0>(static_cast<void*>(nullptr), zelStsNullPtrErr);
      const auto dst = i < dstPlanes ? lacks<2>(i) : bad<2>(static_cast<void*>(nullptr), zelStsNullPtrErr);
      check(f, null<0, 2>(), src, dst, step<1, 3>(-i), size<4>(i % 2, 1 - i % 2));
    }
  }
  // Steps of 4:2:2 are distances of any sign.
  void expectPairs(ZelStatus (*f)(const uint8_t*, int, uint8_t*, int, ZeliSize)) {
    checkWith(f, {bytes, 0, bytes, 0, {1, 1}}, null<0, 2>(), size<4>(0, 1));
  }
  void TestBody() override {}
};

using Form = Pixel (*)(const Pixel&);
struct Conversion {
  const char* name;
  std::function<ZelStatus(Image&, Image&)> run;
  std::function<void(int, int)> expectChecks;
  Layout from, to;
  Form form, tail;
  int group;  // whole groups of so many pixels are converted by the form, the rest of a row by the tail
  bool threads;
  double bound = 1;
};
template <class S, class D>
auto runOf(ZelStatus (*Api::*f)(S, int, D, int, ZeliSize)) {
  return [f](Image& src, Image& dst) {
    return (zel().*f)(src.as<S>(), src.bytes.step(), dst.as<D>(), dst.bytes.step(), dst.size);
  };
}
#define NAMED(name) #name, runOf(&Api::name), [](int s, int d) { ColourChecks().expect(zel().name, s, d); }
const Conversion kConversions[] = {
    {NAMED(zeliYCbCrToRGB_JPEG_8u_P3R), kPlanes3, kPlanes3, decodedPlanar, decodedByTables, 4, true},
    {NAMED(zeliYCbCrToRGB_JPEG_8u_P3C3R), kPlanes3, kRgb, decodedInterleaved, decodedByTables, 4, true},
    {NAMED(zeliYCbCrToBGR_JPEG_8u_P3C3R), kPlanes3, kBgr, decodedInterleaved, decodedByTables, 4, true},
    {NAMED(zeliYCbCrToRGB555_JPEG_8u16u_P3C3R), kPlanes3, kRgb555, decodedPlanar, decodedByTables, 4, false},
    {NAMED(zeliYCbCrToBGR555_JPEG_8u16u_P3C3R), kPlanes3, kBgr555, decodedPlanar, decodedByTables, 4, false},
    {NAMED(zeliYCbCrToRGB565_JPEG_8u16u_P3C3R), kPlanes3, kRgb565, decodedPlanar, decodedByTables, 4, false},
    {NAMED(zeliYCbCrToBGR565_JPEG_8u16u_P3C3R), kPlanes3, kBgr565, decodedPlanar, decodedByTables, 4, false},
    {NAMED(zeliYCCKToCMYK_JPEG_8u_P4R), kYcck4, kCmyk4, decodedPlanar, decodedByTables, 4, true},
    {NAMED(zeliYCCKToCMYK_JPEG_8u_P4C4R), kYcck4, kCmyk, decodedPlanar, decodedByTables, 4, true},
    {NAMED(zeliYCbCr422ToRGB_JPEG_8u_C2C3R), kYcc422, kRgb, decodedPairs, decodedByTables, 8, true, 1.6},
    {NAMED(zeliRGBToYCbCr_JPEG_8u_P3R), kPlanes3, kPlanes3, encodedPlanar, encodedByTables, 4, true},
    {NAMED(zeliRGBToYCbCr_JPEG_8u_C3P3R), kRgb, kPlanes3, encoded15, encoded14, 8, true},
    {NAMED(zeliBGRToYCbCr_JPEG_8u_C3P3R), kBgr, kPlanes3, encoded15, encoded14, 8, true},
    {NAMED(zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R), kRgb555, kPlanes3, encoded14, encoded14, 8, false},
    {NAMED(zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R), kBgr555, kPlanes3, encoded14, encoded14, 8, false},
    {NAMED(zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R), kRgb565, kPlanes3, encoded14, encoded14, 8, false},
    {NAMED(zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R), kBgr565, kPlanes3, encoded14, encoded14, 8, false},
    {NAMED(zeliCMYKToYCCK_JPEG_8u_P4R), kCmyk4, kYcck4, encodedPlanar, encodedByTables, 4, true},
    {NAMED(zeliCMYKToYCCK_JPEG_8u_C4P4R), kCmyk, kYcck4, encoded14, encoded14, 8, true},
    {NAMED(zeliRGBToY_JPEG_8u_P3C1R), kPlanes3, kPlanes1, lumaInFloat, encodedByTables, 4, true},
    {NAMED(zeliRGBToY_JPEG_8u_C3C1R), kRgb, kPlanes1, encoded15, encoded15, 8, true},
    {NAMED(zeliBGRToY_JPEG_8u_C3C1R), kBgr, kPlanes1, encoded15, encoded15, 8, true},
};

void anything(Image& image, Random& rng) { image.bytes.fill(rng); }

// Two channels (of a 16-bit pixel both bytes) run through all their pairs of values; the others are random.
void sweep(Image& image, Random& rng) {
  const Storage storage = image.layout.storage;
  const int first = storage == Storage::kFields ? 0 : 1;
  const int second = storage == Storage::kPairs ? 3 : first + 1;
  const int unit = storage == Storage::kPairs ? 4 : image.layout.pixelBytes();
  for (int p = 0; p < image.layout.planes(); ++p)
    image.bytes[p].fill([&](int x, int y) {
      const int channel = p + x % unit, place = y * ((image.bytes[p].width() + unit - 1) / unit) + x / unit;
      return uint8_t(channel == first ? place : channel == second ? place >> 8 : int(rng.next()));
    });
}

void expectConverted(const Conversion& c, int width, int height, int pad, Random& rng, void fill(Image&, Random&)) {
  SCOPED_TRACE(testing::Message() << c.name << " " << width << "x" << height);
  Image src(c.from, width, height, pad % 5), dst(c.to, width, height, pad % 4, pad % 7);
  fill(src, rng);
  ASSERT_EQ(zelStsNoErr, c.run(src, dst));
  const bool decodes = std::string(c.name).find("zeliYC") == 0, pairs = c.from.storage == Storage::kPairs;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < (pairs ? width / 2 * 2 : width); ++x) {  // what an unpaired last pixel becomes is open
      const Pixel in = src.get(x, y), got = dst.get(x, y);
      Pixel want = c.to.kept((x < width / c.group * c.group ? c.form : c.tail)(in));
      std::fill(want.begin() + c.to.channels, want.end(), 0);
      ASSERT_EQ(want, got) << "at " << x << "," << y << " of " << testing::PrintToString(in);
      const Exact exact = (decodes ? exactRgb : exactYcc)(in[0], in[1], in[2]);
      ASSERT_TRUE(near(got, exact, c.to.channels, c.to, c.bound)) << testing::PrintToString(in);
    }
}

}  // namespace

// Every width, and two channels in full in rows of whole groups, beside a rest, and of a rest alone.
TEST(PlaneColour, EveryWidthAndPairOfValues) {
  Random rng(1);
  for (const Conversion& c : kConversions) {
    for (int width = 1; width <= 70; ++width) expectConverted(c, width, 1 + width % 3, width, rng, anything);
    for (const auto& [width, height] : {std::pair(256, 256), {7, 9363}, {3, 21846}})
      expectConverted(c, width, rounds(height), 0, rng, sweep);
  }
}

// 8192 pixels stay on the calling thread; from the next on every row is converted once, whatever the threads.
TEST(PlaneColour, DividedAmongThreads) {
  if (!hooks()) GTEST_SKIP() << "the core has no hooks";
  Random rng(3);
  for (const Conversion& c : kConversions)
    for (const int threads : {1, 2, 3, 7})
      for (const auto& [width, height] : {std::pair(128, 64), {8193, 1}, {97, 91}}) {
        hooks()->threads = threads;
        hooks()->threadQueries = 0;
        expectConverted(c, width, height, 1, rng, anything);
        EXPECT_EQ(c.threads && width * height > 8192 ? 1 : 0, hooks()->threadQueries) << width << "x" << height;
      }
  hooks()->reset();
}

TEST(PlaneColour, Checks) {
  for (const Conversion& c : kConversions) {
    SCOPED_TRACE(c.name);
    const auto planes = [](const Layout& l) { return l.storage == Storage::kPlanes ? l.channels : 0; };
    if (c.from.storage != Storage::kPairs) c.expectChecks(planes(c.from), c.to.channels == 1 ? 0 : planes(c.to));
  }
  ColourChecks().expectPairs(zel().zeliYCbCr422ToRGB_JPEG_8u_C2C3R);
}
