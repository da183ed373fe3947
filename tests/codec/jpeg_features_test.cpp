// What the peer cannot write or does another way: reduced sizes, 12 bits, 16-bit tables, DNL.
#include "peer.h"
#include "zelj.h"

using namespace zelcodecs;
using peer::Bytes;
using zeltest::picture;

namespace {

Image decode(const Bytes& file, int denominator = 1) {
  JpegDecodeOptions o;
  o.scaleDenominator = denominator;
  o.smooth = false;
  return decodeJpeg(file.data(), file.size(), o);
}

// A reduced picture is the picture averaged over squares. Its own roundings and those of the full picture add up to 2
// for grey; at 1/8 the DC's truncation stands for a rounding.
TEST(JpegFeatures, ReducedSizesAreMeans) {
  for (const auto& [w, h] : std::vector<std::pair<int, int>>{{64, 48}, {33, 17}, {1, 1}, {9, 40}}) {
    Image image = picture(w, h, ColourModel::grey);
    for (size_t i = 0; i < image.sizeBytes(); ++i) image.data()[i] = uint8_t(40 + image.data()[i] / 2);
    JpegEncodeOptions e;
    e.quality = 95;
    const Bytes file = encodeJpeg(image, e);
    const Image full = decode(file);
    for (const int d : {2, 4, 8}) {
      const Image small = decode(file, d);
      ASSERT_EQ(small.width(), (w + d - 1) / d);
      ASSERT_EQ(small.height(), (h + d - 1) / d);
      for (int y = 0; y < h / d; ++y)
        for (int x = 0; x < w / d; ++x) {
          int sum = 0;
          for (int i = 0; i < d * d; ++i) sum += full.row(y * d + i / d)[x * d + i % d];
          ASSERT_NEAR(small.row(y)[x], double(sum) / (d * d), 2) << "1/" << d << " at " << x << ", " << y;
        }
    }
  }
}

// Colour at reduced sizes, subsampled or not, is the colour of the picture: flat areas stay.
TEST(JpegFeatures, ReducedColour) {
  for (const char* factors : {"11", "21", "22", "12", "41"}) {
    Image image(50, 70, ColourModel::rgb);
    for (int y = 0; y < 70; ++y)
      for (int i = 0; i < 150; ++i) image.row(y)[i] = uint8_t((y < 32 ? 220 : 60) - 40 * (i % 3));
    peer::WriteOptions o;
    o.factors = factors;
    o.quality = 100;
    const Bytes file = peer::write(image, o);
    for (const int d : {2, 4, 8}) {
      const Image small = decode(file, d);
      for (int y = 0; y < small.height(); ++y)
        for (int i = 0; i < small.width() * 3; ++i)
          ASSERT_NEAR(small.row(y)[i], image.row(std::min(y * d, 69))[i % 3], 3) << "1/" << d << " row " << y;
    }
  }
}

// 12 bits by way of coefficients, made by the library's own 12-bit transform.
TEST(JpegFeatures, TwelveBits) {
  const int w = 37, h = 21;
  JpegCoefficients c;
  c.width = w;
  c.height = h;
  c.precision = 12;
  c.components.resize(3);
  for (int i = 0; i < 3; ++i) {
    c.components[size_t(i)].id = i + 1;
    std::fill_n(c.components[size_t(i)].quant, 64, uint16_t{4});
  }
  c.components[0].h = 2;
  c.allocate();
  const std::vector<float> forward(64, 0.25f);
  const auto sample = [](size_t i, int x, int y) {
    return uint16_t(i == 0 ? 300 + 60 * x + 20 * y : 1800 + 300 * int(i));
  };
  for (size_t i = 0; i < 3; ++i) {
    JpegCoefficients::Component& k = c.components[i];
    for (int b = 0; b < k.storedWide * k.storedHigh; ++b) {
      uint16_t samples[64];
      for (int p = 0; p < 64; ++p) samples[p] = sample(i, b % k.storedWide * 8 + p % 8, b / k.storedWide * 8 + p / 8);
      zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(samples, 16, &k.values[64 * size_t(b)], forward.data());
    }
  }
  const Bytes file = writeJpegCoefficients(c);
  EXPECT_EQ(readJpegInfo(file.data(), file.size()).process, "extended sequential");
  for (const int d : {1, 2, 8}) {
    const Image image = decode(file, d);
    ASSERT_EQ(image.bitDepth(), 12);
    ASSERT_EQ(image.width(), (w + d - 1) / d);
    for (int y = 0; y < h / d; ++y)
      for (int x = 0; x < w / d; ++x) {
        const double middle = (d - 1) / 2.0, luma = 300 + 60 * (x * d + middle) + 20 * (y * d + middle);
        const double cb = 2100 - 2048, cr = 2400 - 2048;
        const double rgb[3] = {luma + 1.402 * cr, luma - 0.344136 * cb - 0.714136 * cr, luma + 1.772 * cb};
        for (int i = 0; i < 3; ++i)
          ASSERT_NEAR(image.row16(y)[3 * x + i], std::clamp(rgb[i], 0.0, 4095.0), 10) << "1/" << d;
      }
  }
}

TEST(JpegFeatures, SixteenBitTables) {
  const Bytes file = encodeJpeg(picture(24, 24, ColourModel::grey));
  JpegCoefficients c = readJpegCoefficients(file.data(), file.size());
  c.components[0].quant[63] = 300;
  for (size_t b = 0; b < 9; ++b) c.components[0].values[64 * b + 63] = int16_t(b % 2);
  const Bytes wide = writeJpegCoefficients(c);
  const JpegCoefficients back = readJpegCoefficients(wide.data(), wide.size());
  EXPECT_TRUE(std::equal(c.components[0].quant, c.components[0].quant + 64, back.components[0].quant));
  EXPECT_EQ(c.components[0].values, back.components[0].values);
  const Image ours = decode(wide), theirs = peer::read(wide, false);
  for (size_t i = 0; i < ours.sizeBytes(); ++i) ASSERT_NEAR(ours.data()[i], theirs.data()[i], 1);
}

// The height is in a DNL segment after the first scan, and 0 in the frame.
TEST(JpegFeatures, HeightFromDnl) {
  const Bytes file = encodeJpeg(picture(30, 20, ColourModel::rgb)), frame = {0xFF, 0xC0};
  Bytes later = file;
  const auto at = std::search(later.begin(), later.end(), frame.begin(), frame.end());
  std::fill_n(at + 5, 2, uint8_t{0});
  EXPECT_THROW(decode(later), Error);
  later.insert(later.end() - 2, {0xFF, 0xDC, 0, 4, 0, 20});
  zeltest::expectEqual(decode(file), decode(later));
}

TEST(JpegFeatures, WhatCannotBeEncodedIsRefused) {
  JpegEncodeOptions o;
  o.quality = 0;
  EXPECT_THROW(encodeJpeg(picture(8, 8, ColourModel::rgb), o), Error);
  EXPECT_THROW(encodeJpeg(Image(8, 8, ColourModel::grey, 12)), Error);
  EXPECT_THROW(encodeJpeg(Image(65536, 1, ColourModel::grey)), Error);
}

}  // namespace
