// MCU conversions in both directions against their formulas, pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/api.h"
#include "support/data.h"

namespace {

using zeltest::Api;
using zeltest::Guarded;
using zeltest::Random;

enum Format { kRgb, kBgr, k555, k565, kCmyk, kYcc, kYcc422 };

struct Shape {
  Format format;
  int logX, logY;  // chroma subsampling
  int width() const { return 8 << logX; }
  int height() const { return 8 << logY; }
  int components() const { return format == kCmyk ? 4 : 3; }
  int pixelBytes() const { return format == kCmyk ? 4 : format == k555 || format == k565 || format == kYcc422 ? 2 : 3; }
  int samples(int component) const { return component % 3 ? 64 : 64 << (logX + logY); }
  int lumaAt(int x, int y) const { return (y / 8 * (1 << logX) + x / 8) * 64 + y % 8 * 8 + x % 8; }
  int chromaAt(int x, int y) const { return (y >> logY) * 8 + (x >> logX); }
};

template <class P>
struct Encoder {
  using Sample = P;
  const char* name;
  Shape shape;
  ZelStatus (*Api::*function)(const P*, int, int16_t* const*);
};
template <class P>
struct Decoder {
  using Sample = P;
  const char* name;
  Shape shape;
  ZelStatus (*Api::*function)(const int16_t* const*, P*, int);
};

#define ROW(name, ...) \
  { #name, {__VA_ARGS__ }, &Api::name }
#define THREE(before, after, format) \
  ROW(before##444##after, format, 0, 0), ROW(before##422##after, format, 1, 0), ROW(before##411##after, format, 1, 1)
const Encoder<uint8_t> kEncoders[] = {
    THREE(zeliRGBToYCbCr, LS_MCU_8u16s_C3P3R, kRgb), THREE(zeliBGRToYCbCr, LS_MCU_8u16s_C3P3R, kBgr),
    THREE(zeliCMYKToYCCK, LS_MCU_8u16s_C4P4R, kCmyk), THREE(zeliSampleDown, LS_MCU_8u16s_C3P3R, kYcc),
    ROW(zeliSplit422LS_MCU_8u16s_C2P3R, kYcc422, 1, 0)};
const Encoder<uint16_t> kPackedEncoders[] = {THREE(zeliBGR555ToYCbCr, LS_MCU_16u16s_C3P3R, k555),
                                             THREE(zeliBGR565ToYCbCr, LS_MCU_16u16s_C3P3R, k565)};
const Decoder<uint8_t> kDecoders[] = {
    THREE(zeliYCbCr, ToRGBLS_MCU_16s8u_P3C3R, kRgb), THREE(zeliYCbCr, ToBGRLS_MCU_16s8u_P3C3R, kBgr),
    THREE(zeliYCCK, ToCMYKLS_MCU_16s8u_P4C4R, kCmyk), THREE(zeliSampleUp, LS_MCU_16s8u_P3C3R, kYcc),
    ROW(zeliJoin422LS_MCU_16s8u_P3C2R, kYcc422, 1, 0)};
const Decoder<uint16_t> kPackedDecoders[] = {THREE(zeliYCbCr, ToBGR555LS_MCU_16s16u_P3C3R, k555),
                                             THREE(zeliYCbCr, ToBGR565LS_MCU_16s16u_P3C3R, k565)};

template <class Test>
void forEachEncoder(Test test) {
  for (const auto& f : kEncoders) ASSERT_NO_FATAL_FAILURE(test(f)) << f.name;
  for (const auto& f : kPackedEncoders) ASSERT_NO_FATAL_FAILURE(test(f)) << f.name;
}
template <class Test>
void forEachDecoder(Test test) {
  for (const auto& f : kDecoders) ASSERT_NO_FATAL_FAILURE(test(f)) << f.name;
  for (const auto& f : kPackedDecoders) ASSERT_NO_FATAL_FAILURE(test(f)) << f.name;
}

// ---- Memory ----

// The blocks of each component, anywhere that int16_t may be; the unreadable page follows one of them at once.
struct Blocks {
  Blocks(const Shape& shape, Random& rng) {
    for (int c = 0; c < shape.components(); ++c) {
      owned.emplace_back(new Guarded<int16_t>(size_t(shape.samples(c)), 2 * size_t(rng.below(16))));
      at[c] = owned.back()->data();
    }
  }
  bool intact() const {
    return std::all_of(owned.begin(), owned.end(), [](const auto& b) { return b->intact(); });
  }
  std::vector<std::unique_ptr<Guarded<int16_t>>> owned;
  int16_t* at[4] = {};
};

struct Pixels {
  Pixels(const Shape& shape, int pad, size_t slack)
      : shape(shape),
        step(shape.width() * shape.pixelBytes() + pad),
        bytes(size_t((shape.height() - 1) * step + shape.width() * shape.pixelBytes()), slack) {}
  uint8_t* at(int x, int y) { return bytes.data() + y * step + x * shape.pixelBytes(); }
  bool intact() {
    for (int y = 0; y + 1 < shape.height(); ++y)
      for (uint8_t* p = at(shape.width(), y); p < at(0, y + 1); ++p)
        if (*p != bytes.kPattern) return false;
    return bytes.intact();
  }
  Shape shape;
  int step;
  Guarded<uint8_t> bytes;
};

// ---- Definitions ----

struct Rgb {
  int r, g, b;
};

Rgb rgbOf(Format format, const uint8_t* p) {
  const int word = p[0] | p[1] << 8;
  switch (format) {
    case kRgb:
      return {p[0], p[1], p[2]};
    case kBgr:
      return {p[2], p[1], p[0]};
    case kCmyk:
      return {255 - p[0], 255 - p[1], 255 - p[2]};
    case k555:
      return {(word >> 10 & 31) << 3, (word >> 5 & 31) << 3, (word & 31) << 3};
    default:
      return {(word >> 11) << 3, (word >> 5 & 63) << 2, (word & 31) << 3};
  }
}

void expectEncoded(const Shape& s, Pixels& pixels, const Blocks& blocks) {
  int sums[3][64] = {};  // of R, G, B or of -, Cb, Cr
  const bool colour = s.format != kYcc && s.format != kYcc422;
  for (int y = 0; y < s.height(); ++y)
    for (int x = 0; x < s.width(); ++x) {
      const uint8_t* p = pixels.at(x, y);
      const Rgb c = rgbOf(s.format, p);
      const int luma = colour ? (4899 * c.r + 9617 * c.g + 1868 * c.b - 2088960) >> 14 : p[0] - 128;
      ASSERT_EQ(luma, blocks.at[0][s.lumaAt(x, y)]) << x << "," << y;
      if (s.format == kCmyk) {
        ASSERT_EQ(p[3] - 128, blocks.at[3][s.lumaAt(x, y)]) << x << "," << y;
      }
      const uint8_t* pair = pixels.at(x & ~1, y);
      const Rgb add = colour ? c : s.format == kYcc ? Rgb{0, p[1], p[2]} : Rgb{0, pair[1], pair[3]};
      sums[0][s.chromaAt(x, y)] += add.r;
      sums[1][s.chromaAt(x, y)] += add.g;
      sums[2][s.chromaAt(x, y)] += add.b;
    }
  const int log = s.logX + s.logY, shift = 14 + log;
  const int rounding = s.format == kCmyk && log == 0 ? 8133 : 1 << (shift - 1);
  for (int i = 0; i < 64; ++i) {
    const int r = sums[0][i], g = sums[1][i], b = sums[2][i];
    ASSERT_EQ(colour ? (-2764 * r - 5428 * g + 8192 * b + rounding) >> shift : (g - (128 << log)) >> log,
              blocks.at[1][i])
        << "Cb " << i;
    ASSERT_EQ(colour ? (8192 * r - 6860 * g - 1332 * b + rounding) >> shift : (b - (128 << log)) >> log,
              blocks.at[2][i])
        << "Cr " << i;
  }
}

int clamp8(int x) { return x < 0 ? 0 : x > 255 ? 255 : x; }

// What is added to y for each channel.
Rgb chromaTerms(const Shape& s, int cb, int cr) {
  if ((s.format == kRgb || s.format == kBgr) && s.logX == 0)
    return {(22970 * cr + 2105344) >> 14, (-5638 * cb - 11700 * cr + 2105344) >> 14, (29032 * cb + 2105344) >> 14};
  return {(11485 * cr + 1052672) >> 13, -((5638 * cb + 11700 * cr - 2088960) >> 14), (14516 * cb + 1052672) >> 13};
}

void expectDecoded(const Shape& s, const Blocks& blocks, Pixels& pixels) {
  for (int y = 0; y < s.height(); ++y)
    for (int x = 0; x < s.width(); ++x) {
      const int luma = blocks.at[0][s.lumaAt(x, y)];
      const int cb = blocks.at[1][s.chromaAt(x, y)], cr = blocks.at[2][s.chromaAt(x, y)];
      const Rgb t = chromaTerms(s, cb, cr);
      const int r = clamp8(luma + t.r), g = clamp8(luma + t.g), b = clamp8(luma + t.b);
      const int key = s.format == kCmyk ? clamp8(blocks.at[3][s.lumaAt(x, y)] + 128) : 0;
      const int word = s.format == k555 ? r >> 3 << 10 | g >> 3 << 5 | b >> 3 : r >> 3 << 11 | g >> 2 << 5 | b >> 3;
      const int y8 = clamp8(luma + 128), cb8 = clamp8(cb + 128), cr8 = clamp8(cr + 128);
      const int expected[][4] = {{r, g, b},
                                 {b, g, r},
                                 {word & 255, word >> 8},
                                 {word & 255, word >> 8},
                                 {255 - r, 255 - g, 255 - b, key},
                                 {y8, cb8, cr8},
                                 {y8, x % 2 ? cr8 : cb8}};
      for (int i = 0; i < s.pixelBytes(); ++i)
        ASSERT_EQ(expected[s.format][i], pixels.at(x, y)[i])
            << x << "," << y << " byte " << i << " of y " << luma << " cb " << cb << " cr " << cr;
    }
}

// ---- Runs ----

template <class P>
void encodeOnce(const Encoder<P>& f, Pixels& pixels, Random& rng) {
  Blocks blocks(f.shape, rng);
  ASSERT_EQ(zelStsNoErr, (zel().*f.function)(reinterpret_cast<P*>(pixels.bytes.data()), pixels.step, blocks.at));
  expectEncoded(f.shape, pixels, blocks);
  ASSERT_TRUE(blocks.intact());
}

template <class P>
void decodeOnce(const Decoder<P>& f, const Blocks& blocks, int pad, size_t slack) {
  Pixels pixels(f.shape, pad, slack);
  ASSERT_EQ(zelStsNoErr, (zel().*f.function)(blocks.at, reinterpret_cast<P*>(pixels.bytes.data()), pixels.step));
  expectDecoded(f.shape, blocks, pixels);
  ASSERT_TRUE(pixels.intact());
}

}  // namespace

TEST(McuConversion, EncodesAtEveryAlignment) {
  Random rng(1);
  forEachEncoder([&](const auto& f) {
    for (int run = 0; run < 256; ++run) {
      Pixels pixels(f.shape, run / 16 * 5, size_t(run % 16));
      rng.fill(pixels.bytes.data(), pixels.bytes.size());
      ASSERT_NO_FATAL_FAILURE(encodeOnce(f, pixels, rng)) << "slack " << run % 16;
    }
  });
}

// Red and green in full, blue in part: every rounding of the matrix in each format.
TEST(McuConversion, EncodesEveryColour) {
  Random rng(2);
  for (const auto& f : kEncoders) {
    if (f.shape.format == kYcc || f.shape.format == kYcc422) continue;
    Pixels pixels(f.shape, 0, 0);
    for (int i = 0; i < 4 * 65536;) {
      for (int y = 0; y < f.shape.height(); ++y)
        for (int x = 0; x < f.shape.width(); ++x, ++i) {
          uint8_t* p = pixels.at(x, y);
          p[0] = uint8_t(i >> 8), p[1] = uint8_t(i), p[2] = uint8_t(rng.next());
        }
      ASSERT_NO_FATAL_FAILURE(encodeOnce(f, pixels, rng)) << f.name;
    }
  }
}

TEST(McuConversion, DecodesAtEveryAlignment) {
  Random rng(3);
  forEachDecoder([&](const auto& f) {
    for (int run = 0; run < 256; ++run) {
      Blocks blocks(f.shape, rng);
      const bool nominal = rng.below(2) != 0;
      for (int c = 0; c < f.shape.components(); ++c) {
        rng.fill(blocks.at[c], size_t(f.shape.samples(c)));
        for (int i = 0; nominal && i < f.shape.samples(c); ++i) blocks.at[c][i] = int16_t(blocks.at[c][i] >> 8);
      }
      ASSERT_NO_FATAL_FAILURE(decodeOnce(f, blocks, run / 16 * 5, size_t(run % 16))) << "slack " << run % 16;
    }
  });
}

// Every chroma value, with luma that brings one channel near 0..255: there a term that saturates on its own would show.
TEST(McuConversion, DecodesEverySixteenBitChroma) {
  Random rng(4);
  forEachDecoder([&](const auto& f) {
    const Shape& s = f.shape;
    Blocks blocks(s, rng);
    for (int channel = 0; channel < 3; ++channel)
      for (int value = 0; value < 65536; value += 64) {
        for (int i = 0; i < 64; ++i) {
          const int other = rng.below(3);  // random, equal, opposite
          blocks.at[channel == 2 ? 1 : 2][i] = int16_t(value + i);
          blocks.at[channel == 2 ? 2 : 1][i] = int16_t(other == 0   ? int(rng.next())
                                                       : other == 1 ? value + i
                                                                    : -value - i);
        }
        for (int y = 0; y < s.height(); ++y)
          for (int x = 0; x < s.width(); ++x) {
            const Rgb t = chromaTerms(s, blocks.at[1][s.chromaAt(x, y)], blocks.at[2][s.chromaAt(x, y)]);
            const int luma = rng.between(-3, 258) - (channel == 0 ? t.r : channel == 1 ? t.g : t.b);
            blocks.at[0][s.lumaAt(x, y)] = int16_t(std::clamp(luma, -32768, 32767));
          }
        ASSERT_NO_FATAL_FAILURE(decodeOnce(f, blocks, 0, 0));
      }
  });
}

TEST(McuConversion, StatedFigures) {
  int16_t luma[256], cb[64], cr[64], key[256];
  int16_t* const blocks[] = {luma, cb, cr, key};
  uint8_t redBlack[16 * 3 * 8] = {};
  for (int i = 0; i < 64; ++i) redBlack[6 * i] = 255;
  zel().zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R(redBlack, 48, blocks);
  EXPECT_TRUE(cb[9] == -22 && cr[9] == 64 && luma[1] == -128);
  uint8_t blue[8 * 3 * 8] = {};
  for (int i = 0; i < 64; ++i) blue[3 * i + 2] = 255;
  zel().zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R(blue, 24, blocks);
  EXPECT_TRUE(cb[63] == 128 && luma[63] == -99);
  uint8_t ink[8 * 4 * 8] = {};
  for (int i = 0; i < 64; ++i) ink[4 * i + 3] = 200;
  zel().zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R(ink, 32, blocks);
  EXPECT_TRUE(luma[5] == 127 && cb[5] == 0 && cr[5] == 0 && key[5] == 72);
  std::fill(luma, luma + 64, int16_t(0));
  zel().zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R(blocks, ink, 32);
  EXPECT_TRUE(ink[0] == 127 && ink[1] == 127 && ink[2] == 127 && ink[3] == 200);
}
