// MCU conversions in both directions: to the bit by their formulas, and near the exact matrix.
#include "colour_support.h"
#include "support/checks.h"

namespace {

using namespace zeltest;

struct Shape {
  Layout layout;
  bool colour;     // RGB on the side of the pixels
  int logX, logY;  // chroma subsampling
  int width() const { return 8 << logX; }
  int height() const { return 8 << logY; }
  int samples(int component) const { return component % 3 ? 64 : 64 << (logX + logY); }
  int lumaAt(int x, int y) const { return (y / 8 * (1 << logX) + x / 8) * 64 + y % 8 * 8 + x % 8; }
  int chromaAt(int x, int y) const { return (y >> logY) * 8 + (x >> logX); }
};

template <class F>
struct Conversion {
  const char* name;
  Shape shape;
  F Api::*function;
};
template <class P>
using Encoder = Conversion<ZelStatus (*)(const P*, int, int16_t* const*)>;
template <class P>
using Decoder = Conversion<ZelStatus (*)(const int16_t* const*, P*, int)>;

#define ROW(name, ...) \
  { #name, {__VA_ARGS__ }, &Api::name }
#define THREE(before, after, ...)                                                         \
  ROW(before##444##after, __VA_ARGS__, 0, 0), ROW(before##422##after, __VA_ARGS__, 1, 0), \
      ROW(before##411##after, __VA_ARGS__, 1, 1)
const Encoder<uint8_t> kEncoders[] = {
    THREE(zeliRGBToYCbCr, LS_MCU_8u16s_C3P3R, kRgb, true), THREE(zeliBGRToYCbCr, LS_MCU_8u16s_C3P3R, kBgr, true),
    THREE(zeliCMYKToYCCK, LS_MCU_8u16s_C4P4R, kCmyk, true), THREE(zeliSampleDown, LS_MCU_8u16s_C3P3R, kYcc, false),
    ROW(zeliSplit422LS_MCU_8u16s_C2P3R, kYcc422, false, 1, 0)};
const Encoder<uint16_t> kPackedEncoders[] = {THREE(zeliBGR555ToYCbCr, LS_MCU_16u16s_C3P3R, kBgr555, true),
                                             THREE(zeliBGR565ToYCbCr, LS_MCU_16u16s_C3P3R, kBgr565, true)};
const Decoder<uint8_t> kDecoders[] = {
    THREE(zeliYCbCr, ToRGBLS_MCU_16s8u_P3C3R, kRgb, true), THREE(zeliYCbCr, ToBGRLS_MCU_16s8u_P3C3R, kBgr, true),
    THREE(zeliYCCK, ToCMYKLS_MCU_16s8u_P4C4R, kCmyk, true), THREE(zeliSampleUp, LS_MCU_16s8u_P3C3R, kYcc, false),
    ROW(zeliJoin422LS_MCU_16s8u_P3C2R, kYcc422, false, 1, 0)};
const Decoder<uint16_t> kPackedDecoders[] = {THREE(zeliYCbCr, ToBGR555LS_MCU_16s16u_P3C3R, kBgr555, true),
                                             THREE(zeliYCbCr, ToBGR565LS_MCU_16s16u_P3C3R, kBgr565, true)};

template <class Test, class... Tables>
void forEach(Test test, const Tables&... tables) {
  const auto all = [&](const auto& table) {
    for (const auto& f : table) ASSERT_NO_FATAL_FAILURE(test(f)) << f.name;
  };
  (all(tables), ...);
}

// The blocks of each component, anywhere that int16_t may be.
struct Blocks {
  Blocks(const Shape& shape, Random& rng) {
    for (int c = 0; c < shape.layout.channels; ++c) {
      memory.push_back(std::make_unique<Guarded<int16_t>>(size_t(shape.samples(c)), 2 * size_t(rng.below(16))));
      at[c] = memory.back()->data();
    }
  }
  std::vector<std::unique_ptr<Guarded<int16_t>>> memory;
  int16_t* at[4] = {};
};

// Luma of every pixel, and chroma of the sum over its pixels: for RGB rounded to nearest, else rounded down.
void expectEncoded(const Shape& s, const Image& image, const Blocks& blocks) {
  Pixel sums[64] = {};
  for (int y = 0; y < s.height(); ++y)
    for (int x = 0; x < s.width(); ++x) {
      const Pixel p = image.get(x, y);
      const int luma = s.colour ? (weighted<14>(0, p[0], p[1], p[2]) + 8192) >> 14 : p[0];
      ASSERT_EQ(luma - 128, blocks.at[0][s.lumaAt(x, y)]) << x << "," << y;
      if (s.layout.channels == 4) {
        ASSERT_EQ(p[3] - 128, blocks.at[3][s.lumaAt(x, y)]) << x << "," << y;
      }
      for (size_t c = 0; c < 3; ++c) sums[s.chromaAt(x, y)][c] += p[c];
    }
  const int log = s.logX + s.logY, shift = 14 + log;
  const int rounding = s.layout.inks && log == 0 ? 8133 : 1 << (shift - 1);
  for (int i = 0; i < 64; ++i) {
    const Pixel& p = sums[i];
    const double n = 1 << log;
    const Exact exact = s.colour ? exactYcc(p[0] / n, p[1] / n, p[2] / n) : Exact{0, p[1] / n, p[2] / n};
    for (int c = 1; c < 3; ++c) {
      const int got = blocks.at[c][i];
      ASSERT_EQ(s.colour ? (weighted<14>(c, p[0], p[1], p[2]) + rounding) >> shift : (p[size_t(c)] >> log) - 128, got)
          << "component " << c << " at " << i;
      ASSERT_NEAR(exact[size_t(c)] - 128, got, 1);
    }
  }
}

// What is added to level-shifted luma. Green rounds its halves down, but in RGB and BGR of full chroma.
Pixel chromaTerms(const Shape& s, int cb, int cr) {
  if (!s.colour) return {128, 128, 128};
  const bool direct = s.layout.storage == Storage::kBytes && !s.layout.inks && s.logX == 0;
  const int green = fix(0.34414, 14) * cb + fix(0.71414, 14) * cr;
  return {128 + ((fix(1.402, 14) * cr + 8192) >> 14), 128 + (direct ? (8192 - green) >> 14 : -((green + 8192) >> 14)),
          128 + ((fix(1.772, 14) * cb + 8192) >> 14)};
}

void expectDecoded(const Shape& s, const Blocks& blocks, const Image& image) {
  const Layout& layout = s.layout;
  for (int y = 0; y < s.height(); ++y)
    for (int x = 0; x < s.width(); ++x) {
      const int luma = blocks.at[0][s.lumaAt(x, y)];
      const int cb = blocks.at[1][s.chromaAt(x, y)], cr = blocks.at[2][s.chromaAt(x, y)];
      const Pixel t = chromaTerms(s, cb, cr);
      const int second = s.colour ? luma : cb, third = s.colour ? luma : cr;
      Pixel want = layout.kept({clamp8(luma + t[0]), clamp8(second + t[1]), clamp8(third + t[2])});
      if (layout.channels == 4) want[3] = clamp8(blocks.at[3][s.lumaAt(x, y)] + 128);
      const Pixel got = image.get(x, y);
      ASSERT_EQ(want, got) << x << "," << y << " of y " << luma << " cb " << cb << " cr " << cr;
      // Beyond the range of samples the error of a factor, below 2^-15, counts.
      if (s.colour && std::abs(cb) <= 128 && std::abs(cr) <= 128) {
        ASSERT_TRUE(near(got, exactRgb(luma + 128, cb + 128, cr + 128), 3, layout, 1))
            << x << "," << y << " of y " << luma << " cb " << cb << " cr " << cr;
      }
    }
}

template <class P>
void encodeOnce(const Conversion<ZelStatus (*)(const P*, int, int16_t* const*)>& f, Image& image, Random& rng) {
  Blocks blocks(f.shape, rng);
  ASSERT_EQ(zelStsNoErr, (zel().*f.function)(image.as<const P*>(), image.bytes.step(), blocks.at));
  expectEncoded(f.shape, image, blocks);
}
template <class P>
void decodeOnce(const Decoder<P>& f, const Blocks& blocks, int pad, int slack) {
  Image image(f.shape.layout, f.shape.width(), f.shape.height(), pad, slack);
  ASSERT_EQ(zelStsNoErr, (zel().*f.function)(blocks.at, image.as<P*>(), image.bytes.step()));
  expectDecoded(f.shape, blocks, image);
}

}  // namespace

// Of colours two channels in full, the others in part: every rounding of the matrix in each format. At every alignment.
TEST(McuConversion, Encodes) {
  Random rng(2);
  const auto test = [&](const auto& f) {
    const int n = f.shape.layout.pixelBytes();
    for (int run = 0, i = 0; run < rounds(256) || (f.shape.colour && i < rounds(2 * 65536)); ++run) {
      Image image(f.shape.layout, f.shape.width(), f.shape.height(), run / 16 % 16 * 5, run % 16);
      image.bytes[0].fill([&](int x, int) {
        const int channel = x % n;
        if (channel == 1) ++i;
        return uint8_t(!f.shape.colour || channel > 1 ? int(rng.next()) : channel == 1 ? i : i >> 8);
      });
      ASSERT_NO_FATAL_FAILURE(encodeOnce(f, image, rng)) << "slack " << run % 16;
    }
  };
  forEach(test, kEncoders, kPackedEncoders);
}

TEST(McuConversion, DecodesAtEveryAlignment) {
  Random rng(3);
  const auto test = [&](const auto& f) {
    for (int run = 0; run < rounds(256); ++run) {
      Blocks blocks(f.shape, rng);
      const bool nominal = rng.below(2) != 0;
      for (int c = 0; c < f.shape.layout.channels; ++c) {
        rng.fill(blocks.at[c], size_t(f.shape.samples(c)));
        for (int i = 0; nominal && i < f.shape.samples(c); ++i) blocks.at[c][i] = int16_t(blocks.at[c][i] >> 8);
      }
      ASSERT_NO_FATAL_FAILURE(decodeOnce(f, blocks, run / 16 * 5, run % 16)) << "slack " << run % 16;
    }
  };
  forEach(test, kDecoders, kPackedDecoders);
}

// Every chroma value, with luma that brings one channel near 0..255: there a term that saturates on its own would show.
TEST(McuConversion, DecodesEverySixteenBitChroma) {
  Random rng(4);
  const auto test = [&](const auto& f) {
    const Shape& s = f.shape;
    Blocks blocks(s, rng);
    for (int channel = 0; channel < 3; ++channel)
      for (int value = 0; value < 65536; value += brief ? 2048 : 64) {
        for (int i = 0; i < 64; ++i) {
          const int others[] = {int(rng.next()), value + i, -value - i};
          blocks.at[channel == 2 ? 1 : 2][i] = int16_t(value + i);
          blocks.at[channel == 2 ? 2 : 1][i] = int16_t(others[rng.below(3)]);
        }
        for (int y = 0; y < s.height(); ++y)
          for (int x = 0; x < s.width(); ++x) {
            const Pixel t = chromaTerms(s, blocks.at[1][s.chromaAt(x, y)], blocks.at[2][s.chromaAt(x, y)]);
            blocks.at[0][s.lumaAt(x, y)] =
                int16_t(std::clamp(rng.between(-3, 258) - t[size_t(channel)], -32768, 32767));
          }
        ASSERT_NO_FATAL_FAILURE(decodeOnce(f, blocks, 0, 0));
      }
  };
  forEach(test, kDecoders, kPackedDecoders);
}

TEST_F(Checks, McuConversion) {
  const auto encoder = [&](const auto& f) {
    for (int i = 0; i < f.shape.layout.channels; ++i) check(z.*f.function, null<0, 2>(), step<1>(-i), lacks<2>(i));
  };
  const auto decoder = [&](const auto& f) {
    for (int i = 0; i < f.shape.layout.channels; ++i) check(z.*f.function, null<0, 1>(), lacks<0>(i), step<2>(-i));
  };
  forEach(encoder, kEncoders, kPackedEncoders);
  forEach(decoder, kDecoders, kPackedDecoders);
}
