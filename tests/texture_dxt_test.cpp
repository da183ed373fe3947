// DXT blocks against their definitions: decoders, and encoders from RGBA and YCoCg.
#include <algorithm>

#include "support/checks.h"
#include "texture_support.h"

namespace {

using namespace zeltest;
using Pixel = uint8_t[4];

int word(const uint8_t* p) { return p[0] | p[1] << 8; }
void put(uint8_t* p, uint64_t bits, size_t bytes) { std::memcpy(p, &bits, bytes); }

void decodeColours(const uint8_t* p, Pixel* out, bool dxt1) {
  const int ends[] = {word(p), word(p + 2)};
  const bool three = dxt1 && ends[0] <= ends[1];
  int e[4][4] = {};
  for (int k = 0; k < 2; ++k) {
    const int c[] = {ends[k] >> 11 << 3, (ends[k] >> 5 & 63) << 2, (ends[k] & 31) << 3};
    std::copy_n(c, 3, e[k]);
  }
  for (int c = 0; c < 3; ++c) {
    e[2][c] = three ? (e[0][c] + e[1][c]) / 2 : (2 * e[0][c] + e[1][c]) / 3;
    e[3][c] = three ? 0 : (e[0][c] + 2 * e[1][c]) / 3;
  }
  for (int k = 0; k < 4; ++k) e[k][3] = three && k == 3 ? 0 : 255;
  for (int i = 0; i < 16; ++i) std::copy_n(e[p[4 + i / 4] >> 2 * (i % 4) & 3], 4, out[i]);
}

void decodeDxt1(const uint8_t* p, Pixel* out) { decodeColours(p, out, true); }

void decodeDxt3(const uint8_t* p, Pixel* out) {
  decodeColours(p + 8, out, false);
  for (int i = 0; i < 16; ++i) out[i][3] = uint8_t((p[i / 2] >> 4 * (i % 2) & 15) * 16);
}

void decodeDxt5(const uint8_t* p, Pixel* out) {
  decodeColours(p + 8, out, false);
  int a[8] = {p[0], p[1]};
  for (int k = 2; k < 8; ++k)
    a[k] = p[0] > p[1] ? ((8 - k) * p[0] + (k - 1) * p[1] + 3) / 7
           : k < 6     ? ((6 - k) * p[0] + (k - 1) * p[1] + 2) / 5
                       : 255 * (k - 6);
  uint64_t bits = 0;
  std::memcpy(&bits, p + 2, 6);
  for (int i = 0; i < 16; ++i) out[i][3] = uint8_t(a[bits >> 3 * i & 7]);
}

uint8_t ruleIndex(const int* d) {
  const bool low = d[0] > d[3] && d[2] > d[3], high = (d[1] > d[2] && d[0] > d[2]) || (d[0] > d[3] && d[1] > d[3]);
  return uint8_t(low + 2 * high);
}

// e[0], e[1]: endpoints, from channel `first` to the one before `last`.
uint32_t encodeIndices(const Pixel* px, int e[4][3], int first, int last) {
  uint32_t bits = 0;
  for (int c = first; c < last; ++c) {
    e[2][c] = (2 * e[0][c] + e[1][c]) / 3;
    e[3][c] = (e[0][c] + 2 * e[1][c]) / 3;
  }
  for (int i = 0; i < 16; ++i) {
    int d[4] = {};
    for (int k = 0; k < 4; ++k)
      for (int c = first; c < last; ++c) d[k] += std::abs(px[i][c] - e[k][c]);
    bits |= uint32_t(ruleIndex(d)) << 2 * i;
  }
  return bits;
}

struct Range {
  int low = 255, high = 0;
  Range(const Pixel* px, int c) {
    for (int i = 0; i < 16; ++i) {
      low = std::min<int>(low, px[i][c]);
      high = std::max<int>(high, px[i][c]);
    }
  }
  Range inset() const {
    Range r = *this;
    r.low += (high - low) >> 4;
    r.high -= (high - low) >> 4;
    return r;
  }
};

void encodeRgb(const Pixel* px, uint8_t* out) {
  int e[4][3];
  for (int c = 0; c < 3; ++c) {
    const Range r = Range(px, c).inset();
    e[0][c] = r.high;
    e[1][c] = r.low;
  }
  for (int k = 0; k < 2; ++k) {
    const int f[] = {e[k][0] >> 3, e[k][1] >> 2, e[k][2] >> 3};
    put(out + 2 * k, uint64_t(f[0] << 11 | f[1] << 5 | f[2]), 2);
    e[k][0] = f[0] * 8 + (f[0] >> 2);
    e[k][1] = f[1] * 4 + (f[1] >> 4);
    e[k][2] = f[2] * 8 + (f[2] >> 2);
  }
  put(out + 4, encodeIndices(px, e, 0, 3), 4);
}

void encodeAlpha(const Pixel* px, int channel, Range r, uint8_t* out) {
  uint64_t bits = uint64_t(r.high | r.low << 8);
  for (int i = 0; i < 16; ++i) {
    const int bias = (r.high - r.low) / 14;
    int n = px[i][channel] <= r.low + bias;
    for (int k = 2; k <= 7; ++k) n += px[i][channel] <= ((8 - k) * r.high + (k - 1) * r.low) / 7 + bias;
    const int j = (n + 1) % 8;
    bits |= uint64_t(j < 2 ? j ^ 1 : j) << (16 + 3 * i);
  }
  put(out, bits, 8);
}

void encodeDxt3(const Pixel* px, uint8_t* out) {
  for (int i = 0; i < 8; ++i) out[i] = uint8_t(px[2 * i][3] >> 4 | (px[2 * i + 1][3] & 0xF0));
  encodeRgb(px, out + 8);
}

void encodeDxt5(const Pixel* px, uint8_t* out) {
  encodeAlpha(px, 3, Range(px, 3).inset(), out);
  encodeRgb(px, out + 8);
}

void encodeYCoCg(const Pixel* source, uint8_t* out) {
  encodeAlpha(source, 0, Range(source, 0), out);
  Pixel px[16];
  std::memcpy(px, source, sizeof px);
  int m = 0, e[4][3];
  for (int c = 1; c < 3; ++c) m = std::max({m, std::abs(Range(px, c).low - 128), std::abs(Range(px, c).high - 128)});
  const int s = m < 32 ? 4 : m < 64 ? 2 : 1;
  for (int c = 1; c < 3; ++c) {
    for (Pixel& p : px) p[c] = uint8_t((p[c] - 128) * s + 128);
    const Range r(px, c);
    const int inset = r.high - r.low - 7, keep = c == 1 ? 0xF8 : 0xFC, down = c == 1 ? 5 : 6;
    e[0][c] = std::min((16 * r.high - inset) >> 4, 255);
    e[1][c] = std::max((16 * r.low + inset) >> 4, 0);
    for (int k = 0; k < 2; ++k) e[k][c] = (e[k][c] & keep) + (e[k][c] >> down);
  }
  int differ = 0;
  for (const Pixel& p : px) {
    const int midCo = (e[0][1] + e[1][1] + 1) >> 1, midCg = (e[0][2] + e[1][2] + 1) >> 1;
    differ += (p[1] >= midCo) != (p[2] >= midCg);
  }
  if (differ > 8) std::swap(e[0][2], e[1][2]);
  for (int k = 0; k < 2; ++k) put(out + 8 + 2 * k, uint64_t(e[k][1] >> 3 << 11 | e[k][2] >> 2 << 5 | (s - 1)), 2);
  put(out + 12, encodeIndices(px, e, 1, 3), 4);
}

struct Format {
  Decoder decode;
  BlockDecoder* decodeDefinition;
  decltype(&zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R) encode;
  void (*encodeDefinition)(const Pixel*, uint8_t*);
  int blockBytes, pixelBytes;
};

std::vector<Format> formats() {
  const Api& z = zel();
  return {{z.zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, decodeDxt1, z.zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R,
           encodeRgb, 8, 4},
          {z.zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, decodeDxt3, z.zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R,
           encodeDxt3, 16, 4},
          {z.zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, decodeDxt5, z.zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R,
           encodeDxt5, 16, 4},
          {nullptr, nullptr, z.zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, encodeYCoCg, 16, 3}};
}

void checkEncoder(const Format& f, ZeliSize size, const Bytes& image, size_t step) {
  Guarded<uint8_t> src(image), dst(blocksOf(size) * size_t(f.blockBytes));
  Bytes expected(dst.size());
  for (size_t i = 0; i < blocksOf(size); ++i) {
    const int across = (size.width + 3) / 4, x = int(i) % across * 4, y = int(i) / across * 4;
    Pixel px[16] = {};
    for (int p = 0; p < 16; ++p)
      std::memcpy(px[p],
                  &image[size_t(std::min(y + p / 4, size.height - 1)) * step +
                         size_t(std::min(x + p % 4, size.width - 1) * f.pixelBytes)],
                  size_t(f.pixelBytes));
    f.encodeDefinition(px, &expected[i * size_t(f.blockBytes)]);
  }
  ASSERT_EQ(zelStsNoErr, f.encode(src.data(), uint32_t(step), size, dst.data()));
  ASSERT_TRUE(expected == dst.copy()) << f.blockBytes << " " << f.pixelBytes << " " << size.width << " x "
                                      << size.height;
}

}  // namespace

TEST(Dxt, DecodesImagesOfAllSizes) {
  for (const Format& f : formats())
    if (f.decode) checkDecoderOverSizes(f.decode, f.decodeDefinition, f.blockBytes);
}

// All pairs of each field's values, and of alphas; all index words follow from randomness.
TEST(Dxt, DecodesAllEndpoints) {
  Random rng(72);
  const ZeliSize size = {1024, 1024};
  for (const Format& f : formats()) {
    if (!f.decode) continue;
    Bytes blocks(65536 * size_t(f.blockBytes));
    for (uint8_t& b : blocks) b = uint8_t(rng.next());
    for (size_t i = 0; i < 65536; ++i) {
      uint8_t* const p = &blocks[i * size_t(f.blockBytes)];
      if (f.blockBytes == 16) p[0] = uint8_t(i), p[1] = uint8_t(i >> 8);
      const unsigned x = i & 63, y = i >> 6 & 63, mix = unsigned(i >> 12);  // 6-bit pairs, mixed over the fields
      const unsigned ends[] = {(x & 31) << 11 | y << 5 | ((x + mix) & 31), (y & 31) << 11 | x << 5 | ((y ^ mix) & 31)};
      for (size_t k = 0; k < 2; ++k) put(p + f.blockBytes - 8 + 2 * k, ends[k], 2);
    }
    checkDecoder(f.decode, f.decodeDefinition, f.blockBytes, size, blocks);
  }
}

TEST(Dxt, EncodesImagesOfAllSizes) {
  Random rng(73);
  for (const Format& f : formats())
    forAllSizes([&](ZeliSize s) {
      const size_t row = size_t(s.width * f.pixelBytes), step = row + size_t(rng.below(3) * 5);
      checkEncoder(f, s, rng.vector<uint8_t>(step * size_t(s.height - 1) + row), step);
    });
}

// Channels in ranges from nothing to everything, each with its own, so that distances tie; gradients; two colours.
TEST(Dxt, EncodesNarrowAndStructuredBlocks) {
  Random rng(74);
  for (const Format& f : formats())
    for (int round = 0; round < rounds(40); ++round) {
      const size_t n = size_t(f.pixelBytes), step = 256 * n;
      Bytes image(step * 64);
      for (size_t by = 0; by < 16; ++by)
        for (size_t bx = 0; bx < 64; ++bx)
          for (size_t c = 0; c < n; ++c) {
            const int kind = rng.below(4), range = kind == 1 ? rng.below(256) : rng.below(24),
                      base = rng.below(256 - range);
            for (size_t p = 0; p < 16; ++p) {
              const int v = kind == 2 ? range * int(p) / 15 : kind == 3 ? range * rng.below(2) : rng.below(range + 1);
              image[(4 * by + p / 4) * step + (4 * bx + p % 4) * n + c] = uint8_t(base + v);
            }
          }
      checkEncoder(f, {256, 64}, image, step);
    }
}

TEST(Dxt, RowsFarApart) {
  constexpr uint32_t kFar = 0x80000004;
  FarRows<uint8_t> far(3, kFar);
  Random rng(75);
  for (const Format& f : formats()) {
    if (!f.decode) continue;
    const Bytes blocks = rng.vector<uint8_t>(size_t(f.blockBytes));
    Pixel px[16];
    f.decodeDefinition(blocks.data(), px);
    ASSERT_EQ(zelStsNoErr, f.decode(blocks.data(), far.row(0), kFar, {4, 3}));
    for (int r = 0; r < 3; ++r) ASSERT_EQ(0, std::memcmp(far.row(r), px + 4 * r, 16));
    Bytes near(48), a(size_t(f.blockBytes)), b(a);
    std::memcpy(near.data(), px, 48);
    ASSERT_EQ(zelStsNoErr, f.encode(near.data(), 16, {4, 3}, a.data()));
    ASSERT_EQ(zelStsNoErr, f.encode(far.row(0), kFar, {4, 3}, b.data()));
    ASSERT_EQ(a, b);
  }
}

TEST_F(Checks, Textures) {
  for (const ZeliSize s : {ZeliSize{0, 4}, ZeliSize{4, 0}, ZeliSize{-1, 4}}) {
    for (const auto f : {z.zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, z.zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R,
                         z.zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, z.zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R})
      check(f, null<0, 1>(), bad<2>(0u, zelStsStepErr), size<3>(s.width, s.height));
    for (const Format& f : formats())
      check(f.encode, null<0, 3>(), bad<1>(0u, zelStsStepErr), size<2>(s.width, s.height));
  }
}
