// Colour conversion of planes against its definition, pixel by pixel: which form applies depends on the place in the
// row.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;

uint8_t clamp8(int x) { return uint8_t(x < 0 ? 0 : x > 255 ? 255 : x); }
using Pixel = std::array<uint8_t, 4>;  // R G B -, C M Y K, or Y Cb Cr K

int fix(double x) { return int(std::floor(x * 65536 + 0.5)); }

Pixel decodeTables(int y, int cb, int cr) {
  const int g = -fix(0.34414) * (cb - 128) + 32768 - fix(0.71414) * (cr - 128);
  return {clamp8(y + ((fix(1.402) * (cr - 128) + 32768) >> 16)), clamp8(y + (g >> 16)),
          clamp8(y + ((fix(1.772) * (cb - 128) + 32768) >> 16)), 0};
}
Pixel decodePlanar(int y, int cb, int cr) {
  return {clamp8(y + ((22970 * cr - 2932015) >> 14)), clamp8(y - ((5638 * cb + 11700 * cr - 2211182) >> 14)),
          clamp8(y + ((29032 * cb - 3708561) >> 14)), 0};
}
Pixel decodeInterleaved(int y, int cb, int cr) {
  return {clamp8(y + ((22970 * cr - 2932015) >> 14)), clamp8(y + ((-5638 * cb - 11700 * cr + 2227566) >> 14)),
          clamp8(y + ((29032 * cb - 3707961) >> 14)), 0};
}
Pixel decode422(int y, int cb, int cr) {
  const auto m = [](int c, int K) { return (c * 128 * K) >> 16; };
  return {clamp8(y + (m(cr, 22970) >> 5) - 179), clamp8(y + ((m(cb, -5638) + m(cr, -11700)) >> 5) + 135),
          clamp8(y + (m(cb, 29032) >> 5) - 226), 0};
}
Pixel encodeTables(int r, int g, int b) {
  const int half = fix(0.5), centre = (128 << 16) + 32767;
  return {uint8_t((fix(0.299) * r + fix(0.587) * g + fix(0.114) * b + 32768) >> 16),
          uint8_t((-fix(0.16874) * r - fix(0.33126) * g + half * b + centre) >> 16),
          uint8_t((half * r + centre - fix(0.41869) * g - fix(0.08131) * b) >> 16), 0};
}
Pixel encodePlanar(int r, int g, int b) {
  const int y = (19595 * r + 38470 * g + 7471 * b + 32768) >> 16;
  return {uint8_t(y), clamp8(((b - y) * 18491 + 128 * 32768 + 16384) >> 15),
          clamp8(((r - y) * 23373 + 128 * 32768 + 16384) >> 15), 0};
}
Pixel encode14(int r, int g, int b) {
  return {clamp8((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
          clamp8((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
          clamp8((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14), 0};
}
Pixel encode15(int r, int g, int b) {
  return {clamp8((9798 * r + 19235 * g + 3736 * b + 16266) >> 15),
          clamp8((-5529 * r - 10855 * g + 16384 * b + 4210688) >> 15),
          clamp8((16384 * r - 13720 * g - 2664 * b + 4210704) >> 15), 0};
}

// A picture in guarded memory, as planes or interleaved, of samples of one or two bytes.
struct Picture {
  Picture(int planes, int channels, int bytes, int width, int height, int pad)
      : width(width), height(height), channels(channels), step(width * channels * bytes + pad) {
    for (int i = 0; i < planes; ++i) {
      memory.emplace_back(std::make_unique<Guarded<uint8_t>>(size_t(step * (height - 1) + width * channels * bytes)));
      plane.push_back(memory.back()->data());
    }
  }
  void randomise(Random& rng) {
    for (auto& m : memory) rng.fill(m->data(), m->size());
  }
  int at(int x, int y, int c) const {
    return plane.size() > 1 ? plane[size_t(c)][y * step + x] : plane[0][y * step + x * channels + c];
  }
  int at16(int x, int y) const {
    uint16_t v;
    std::memcpy(&v, plane[0] + y * step + 2 * x, 2);
    return v;
  }
  bool intact() const {  // the bytes between rows
    for (const auto& m : memory) {
      for (int y = 0; y + 1 < height; ++y)
        for (int i = rowBytes(); i < step; ++i)
          if ((*m)[size_t(y * step + i)] != m->kPattern) return false;
      if (!m->intact()) return false;
    }
    return true;
  }
  int rowBytes() const { return int(memory[0]->size()) - step * (height - 1); }
  uint16_t* words() { return reinterpret_cast<uint16_t*>(plane[0]); }
  int width, height, channels, step;
  std::vector<std::unique_ptr<Guarded<uint8_t>>> memory;
  std::vector<uint8_t*> plane;
};

constexpr int kSizes[][2] = {{128, 64}, {8193, 1}, {97, 91}};

template <class Run>
void forEachSize(Run run) {
  for (int width = 1; width <= 70; ++width) run(width, 1 + width % 3, width % 5);
  if (zeltest::hooks()) zeltest::hooks()->threads = 3;
  for (const auto& size : kSizes) run(size[0], size[1], 3);
  if (zeltest::hooks()) zeltest::hooks()->reset();
}

Pixel complement(Pixel p) { return {uint8_t(255 - p[0]), uint8_t(255 - p[1]), uint8_t(255 - p[2]), p[3]}; }

}  // namespace

TEST(PlaneColour, DecodingInThreadsToo) {
  Random rng(1);
  forEachSize([&](int width, int height, int pad) {
    const ZeliSize roi = {width, height};
    Picture src(4, 1, 1, width, height, pad);
    src.randomise(rng);
    const auto expected = [&](int x, int y, bool interleaved) {
      const int Y = src.at(x, y, 0), cb = src.at(x, y, 1), cr = src.at(x, y, 2);
      if (x >= width / 4 * 4) return decodeTables(Y, cb, cr);
      return interleaved ? decodeInterleaved(Y, cb, cr) : decodePlanar(Y, cb, cr);
    };
    const uint8_t* const* planes = src.plane.data();
    const auto compare = [&](const char* name, const Picture& dst, int channels, auto want) {
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          for (int c = 0; c < channels; ++c)
            ASSERT_EQ(want(x, y)[size_t(c)], dst.at(x, y, c))
                << name << " " << width << "x" << height << " at " << x << "," << y;
      ASSERT_TRUE(dst.intact()) << name;
    };
    Picture rgb(3, 1, 1, width, height, pad + 1);
    ASSERT_EQ(zelStsNoErr, zel().zeliYCbCrToRGB_JPEG_8u_P3R(planes, src.step, rgb.plane.data(), rgb.step, roi));
    compare("P3R", rgb, 3, [&](int x, int y) { return expected(x, y, false); });
    for (const bool red : {true, false}) {
      Picture c3(1, 3, 1, width, height, pad);
      ASSERT_EQ(zelStsNoErr, (red ? zel().zeliYCbCrToRGB_JPEG_8u_P3C3R : zel().zeliYCbCrToBGR_JPEG_8u_P3C3R)(
                                 planes, src.step, c3.plane[0], c3.step, roi));
      compare("P3C3R", c3, 3, [&](int x, int y) {
        const Pixel p = expected(x, y, true);
        return red ? p : Pixel{p[2], p[1], p[0], 0};
      });
      for (const int green : {5, 6}) {
        Picture packed(1, 1, 2, width, height, pad);
        const auto function =
            green == 5 ? (red ? zel().zeliYCbCrToRGB555_JPEG_8u16u_P3C3R : zel().zeliYCbCrToBGR555_JPEG_8u16u_P3C3R)
                       : (red ? zel().zeliYCbCrToRGB565_JPEG_8u16u_P3C3R : zel().zeliYCbCrToBGR565_JPEG_8u16u_P3C3R);
        if (packed.step % 2) continue;  // 16-bit rows are aligned to their samples here
        ASSERT_EQ(zelStsNoErr, function(planes, src.step, packed.words(), packed.step, roi));
        for (int y = 0; y < height; ++y)
          for (int x = 0; x < width; ++x) {
            const Pixel p = expected(x, y, false);
            const int low = red ? p[0] : p[2], high = red ? p[2] : p[0];
            ASSERT_EQ(low >> 3 | (p[1] >> (8 - green)) << 5 | (high >> 3) << (5 + green), packed.at16(x, y));
          }
        ASSERT_TRUE(packed.intact());
      }
    }
    const auto cmyk = [&](int x, int y) {
      Pixel p = complement(expected(x, y, false));
      p[3] = uint8_t(src.at(x, y, 3));
      return p;
    };
    Picture p4(4, 1, 1, width, height, pad), c4(1, 4, 1, width, height, pad);
    ASSERT_EQ(zelStsNoErr, zel().zeliYCCKToCMYK_JPEG_8u_P4R(planes, src.step, p4.plane.data(), p4.step, roi));
    compare("P4R", p4, 4, cmyk);
    ASSERT_EQ(zelStsNoErr, zel().zeliYCCKToCMYK_JPEG_8u_P4C4R(planes, src.step, c4.plane[0], c4.step, roi));
    compare("P4C4R", c4, 4, cmyk);

    Picture pairs(1, 2, 1, width, height, pad), c3(1, 3, 1, width, height, pad);
    pairs.randomise(rng);
    ASSERT_EQ(zelStsNoErr,
              zel().zeliYCbCr422ToRGB_JPEG_8u_C2C3R(pairs.plane[0], pairs.step, c3.plane[0], c3.step, roi));
    ASSERT_TRUE(c3.intact());
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width / 2 * 2; ++x) {  // what an unpaired last pixel receives is open
        const int Y = pairs.at(x, y, 0), cb = pairs.at(x / 2 * 2, y, 1), cr = pairs.at(x / 2 * 2 + 1, y, 1);
        const Pixel want = x < width / 8 * 8 ? decode422(Y, cb, cr) : decodeTables(Y, cb, cr);
        for (int c = 0; c < 3; ++c) ASSERT_EQ(want[size_t(c)], c3.at(x, y, c)) << "422 " << width << " at " << x;
      }
  });
}

TEST(PlaneColour, EncodingInThreadsToo) {
  Random rng(2);
  forEachSize([&](int width, int height, int pad) {
    const ZeliSize roi = {width, height};
    Picture ycc(4, 1, 1, width, height, pad), y1(1, 1, 1, width, height, pad);
    const auto compare = [&](const char* name, int planes, auto want) {
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          for (int c = 0; c < planes; ++c)
            ASSERT_EQ(want(x, y)[size_t(c)], ycc.at(x, y, c))
                << name << " " << width << "x" << height << " at " << x << "," << y;
      ASSERT_TRUE(ycc.intact()) << name;
    };
    Picture p4(4, 1, 1, width, height, pad + 2), c3(1, 3, 1, width, height, pad), c4(1, 4, 1, width, height, pad);
    p4.randomise(rng), c3.randomise(rng), c4.randomise(rng);
    const uint8_t* const* planes = p4.plane.data();
    const auto planar = [&](int x, int r, int g, int b) {
      return x < width / 4 * 4 ? encodePlanar(r, g, b) : encodeTables(r, g, b);
    };
    ASSERT_EQ(zelStsNoErr, zel().zeliRGBToYCbCr_JPEG_8u_P3R(planes, p4.step, ycc.plane.data(), ycc.step, roi));
    compare("P3R", 3, [&](int x, int y) { return planar(x, p4.at(x, y, 0), p4.at(x, y, 1), p4.at(x, y, 2)); });
    ASSERT_EQ(zelStsNoErr, zel().zeliCMYKToYCCK_JPEG_8u_P4R(planes, p4.step, ycc.plane.data(), ycc.step, roi));
    compare("P4R", 4, [&](int x, int y) {
      Pixel p = planar(x, 255 - p4.at(x, y, 0), 255 - p4.at(x, y, 1), 255 - p4.at(x, y, 2));
      p[3] = uint8_t(p4.at(x, y, 3));
      return p;
    });
    ASSERT_EQ(zelStsNoErr, zel().zeliCMYKToYCCK_JPEG_8u_C4P4R(c4.plane[0], c4.step, ycc.plane.data(), ycc.step, roi));
    compare("C4P4R", 4, [&](int x, int y) {
      Pixel p = encode14(255 - c4.at(x, y, 0), 255 - c4.at(x, y, 1), 255 - c4.at(x, y, 2));
      p[3] = uint8_t(c4.at(x, y, 3));
      return p;
    });
    ASSERT_EQ(zelStsNoErr, zel().zeliRGBToY_JPEG_8u_P3C1R(planes, p4.step, y1.plane[0], y1.step, roi));
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const int r = p4.at(x, y, 0), g = p4.at(x, y, 1), b = p4.at(x, y, 2);
        volatile float sum = 0.299f * float(r);  // volatile: no fused multiply-add, no wider precision
        volatile float term = 0.587f * float(g);
        sum = sum + term;
        term = 0.114f * float(b);
        sum = sum + term;
        const int want = x < width / 4 * 4 ? int(std::nearbyintf(sum)) : encodeTables(r, g, b)[0];
        ASSERT_EQ(want, y1.at(x, y, 0)) << "P3C1R " << width << " at " << x;
      }
    for (const bool red : {true, false}) {
      const auto rgbAt = [&](int x, int y) {
        return std::array<int, 3>{c3.at(x, y, red ? 0 : 2), c3.at(x, y, 1), c3.at(x, y, red ? 2 : 0)};
      };
      ASSERT_EQ(zelStsNoErr, (red ? zel().zeliRGBToYCbCr_JPEG_8u_C3P3R : zel().zeliBGRToYCbCr_JPEG_8u_C3P3R)(
                                 c3.plane[0], c3.step, ycc.plane.data(), ycc.step, roi));
      compare("C3P3R", 3, [&](int x, int y) {
        const auto [r, g, b] = rgbAt(x, y);
        return x < width / 8 * 8 ? encode15(r, g, b) : encode14(r, g, b);
      });
      ASSERT_EQ(zelStsNoErr, (red ? zel().zeliRGBToY_JPEG_8u_C3C1R : zel().zeliBGRToY_JPEG_8u_C3C1R)(
                                 c3.plane[0], c3.step, y1.plane[0], y1.step, roi));
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          const auto [r, g, b] = rgbAt(x, y);
          ASSERT_EQ(encode15(r, g, b)[0], y1.at(x, y, 0)) << "C3C1R " << width << " at " << x;
        }
      for (const int green : {5, 6}) {
        Picture packed(1, 1, 2, width, height, pad * 2);
        packed.randomise(rng);
        const auto function =
            green == 5 ? (red ? zel().zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R : zel().zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R)
                       : (red ? zel().zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R : zel().zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R);
        ASSERT_EQ(zelStsNoErr, function(packed.words(), packed.step, ycc.plane.data(), ycc.step, roi));
        compare("packed", 3, [&](int x, int y) {
          const int v = packed.at16(x, y), low = (v & 31) << 3, high = ((v >> (5 + green)) & 31) << 3;
          const int g = ((v >> 5) & ((1 << green) - 1)) << (8 - green);
          return encode14(red ? low : high, g, red ? high : low);
        });
      }
    }
    ASSERT_TRUE(y1.intact());
  });
}
