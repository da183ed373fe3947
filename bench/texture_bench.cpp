// Texture blocks beside libsquish, and beside memcpy of as many bytes as a decoder writes or an encoder reads; the
// photo core transform beside its plain scalar form. One photograph, four bytes a pixel.
#include <squish.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "ratios.h"

namespace {

using Api = zeltest::Api;
using Bytes = std::vector<uint8_t>;

struct Work {
  int width, height;
  Bytes rgba, ycocg, blocks, decoded, copy;
  uint32_t step() const { return uint32_t(4 * width); }
  ZeliSize size() const { return {width, height}; }
  double pixels() const { return double(width) * height; }
};

std::shared_ptr<Work> photograph() {
  const bench::Photo& photo = bench::photo("canyon");
  auto w = std::make_shared<Work>();
  w->width = photo.width, w->height = photo.height;
  const size_t n = size_t(photo.width) * size_t(photo.height);
  w->rgba.resize(4 * n);
  w->ycocg = photo.rgb;
  w->blocks.resize(n);
  w->decoded.resize(4 * n);
  w->copy.resize(4 * n);
  for (size_t i = 0; i < n; ++i) {
    const uint8_t* p = &photo.rgb[3 * i];
    std::memcpy(&w->rgba[4 * i], p, 3);
    w->rgba[4 * i + 3] = uint8_t(255 - p[1] / 2);  // an opacity with some structure
  }
  return w;
}

double meanSquare(const Bytes& a, const Bytes& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum / double(a.size());
}

bench::Contender copying(const std::shared_ptr<Work>& w) {
  return {"memcpy", [w] { std::memcpy(w->copy.data(), w->rgba.data(), w->rgba.size()); }};
}

void dxtRows(const char* name, int flag, decltype(Api::zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R) Api::*decode,
             decltype(Api::zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R) Api::*encode, bench::Target decoding,
             bench::Target encoding) {
  auto w = photograph();
  const Api& first = zeltest::variants()[0].api;
  // Both make much the same of the photograph, by their own encoders and by each other's decoders.
  squish::CompressImage(w->rgba.data(), w->width, w->height, w->blocks.data(), flag | squish::kColourRangeFit);
  (first.*decode)(w->blocks.data(), w->decoded.data(), w->step(), w->size());
  const double theirs = meanSquare(w->rgba, w->decoded);
  (first.*encode)(w->rgba.data(), w->step(), w->size(), w->blocks.data());
  squish::DecompressImage(w->decoded.data(), w->width, w->height, w->blocks.data(), flag);
  const double ours = meanSquare(w->rgba, w->decoded);
  const double limit = flag == squish::kDxt1 ? 2500 : 80;  // DXT1 drops the opacity
  if (theirs > limit || ours > limit) std::printf("%s check FAILED: mean squares %.1f and %.1f\n", name, ours, theirs);

  auto decoders = bench::ours([&](const Api& api) -> bench::Work {
    return [w, f = api.*decode] { f(w->blocks.data(), w->decoded.data(), w->step(), w->size()); };
  });
  decoders.push_back(copying(w));  // the peer comes last
  decoders.push_back({"libsquish", [w, flag] {
                        squish::DecompressImage(w->decoded.data(), w->width, w->height, w->blocks.data(), flag);
                      }});
  bench::compare(std::string(name) + " decode", w->pixels(), "pixel", decoding, decoders);

  auto e = photograph();  // the decoders' blocks stay as they are
  auto encoders = bench::ours([&](const Api& api) -> bench::Work {
    return [e, f = api.*encode] { f(e->rgba.data(), e->step(), e->size(), e->blocks.data()); };
  });
  encoders.push_back(copying(e));
  encoders.push_back({"libsquish", [e, flag] {
                        squish::CompressImage(e->rgba.data(), e->width, e->height, e->blocks.data(),
                                              flag | squish::kColourRangeFit);
                      }});
  bench::compare(std::string(name) + " encode", e->pixels(), "pixel", encoding, encoders);
}

#ifdef ZELJ_BENCH_ETCPAK
}  // namespace
// Of etcpak's ProcessDxtc.hpp: blocks row by row, of a picture whose width is in pixels.
void CompressBc1(const uint32_t* src, uint64_t* dst, uint32_t blocks, size_t width);
void CompressBc3(const uint32_t* src, uint64_t* dst, uint32_t blocks, size_t width);
namespace {

void etcpakRow(const char* name, decltype(Api::zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R) Api::*encode,
               decltype(&CompressBc1) theirs, bench::Target target) {
  auto w = photograph();
  auto contenders = bench::ours([&](const Api& api) -> bench::Work {
    return [w, f = api.*encode] { f(w->rgba.data(), w->step(), w->size(), w->blocks.data()); };
  });
  contenders.push_back({"etcpak", [w, theirs] {
                          theirs(reinterpret_cast<const uint32_t*>(w->rgba.data()),
                                 reinterpret_cast<uint64_t*>(w->blocks.data()), uint32_t(w->width * w->height / 16),
                                 size_t(w->width));
                        }});
  bench::compare(std::string(name) + " encode beside etcpak", w->pixels(), "pixel", target, contenders);
}
#endif

// No open peer decodes BC7 on its own in a Debian package: beside memcpy alone, as the peer.
void bc7Row(const char* name, std::vector<int> modes, bench::Target target) {
  auto w = photograph();
  std::mt19937 random32(7);
  for (size_t i = 0; i < w->blocks.size(); ++i) w->blocks[i] = uint8_t(random32());
  for (size_t i = 0; i < w->blocks.size(); i += 16) {
    const int mode = modes[random32() % modes.size()];
    w->blocks[i] = uint8_t((w->blocks[i] & ~((2u << mode) - 1)) | 1u << mode);
  }
  auto contenders = bench::ours([&](const Api& api) -> bench::Work {
    return [w, f = api.zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R] {
      f(w->blocks.data(), w->decoded.data(), w->step(), w->size());
    };
  });
  contenders.push_back({"copy", copying(w).work});
  bench::compare(std::string("BC7 decode, ") + name, w->pixels(), "pixel", target, contenders);
}

void ycocgRow() {
  auto w = photograph();
  auto contenders = bench::ours([&](const Api& api) -> bench::Work {
    return [w, f = api.zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R] {
      f(w->ycocg.data(), uint32_t(3 * w->width), w->size(), w->blocks.data());
    };
  });
  contenders.push_back({"copy", copying(w).work});
  bench::compare("YCoCg DXT5 encode", w->pixels(), "pixel", {0, 0}, contenders);
}

// ---- Photo core transform: the steps of ITU-T T.832 on one block after the other ------------------------------------

#define PLAIN BENCH_PLAIN("O2") void

inline void hadamard(int32_t& a, int32_t& b, int32_t& c, int32_t& d, int r) {
  a += d, b -= c;
  const int32_t t = (a - b + r) >> 1, wasC = c;
  c = t - d, d = t - wasC, a -= d, b += c;
}
inline void rotateOdd(int32_t& a, int32_t& b, int32_t& c, int32_t& d) {
  b -= c, a += d, c += (b + 1) >> 1, d = ((a + 1) >> 1) - d;
  b -= (3 * a + 4) >> 3, a += (3 * b + 4) >> 3, d -= (3 * c + 4) >> 3, c += (3 * d + 4) >> 3;
  d += b >> 1, c -= (a + 1) >> 1, b -= d, a += c;
}
inline void rotateOddOdd(int32_t& a, int32_t& b, int32_t& c, int32_t& d) {
  b = -b, c = -c, d += a, c -= b;
  const int32_t halfD = d >> 1, halfC = c >> 1;
  a -= halfD, b += halfC;
  a += (3 * b + 4) >> 3, b -= (3 * a + 3) >> 2, a += (3 * b + 3) >> 3;
  b -= halfC, a += halfD, c += b, d -= a;
}

PLAIN plainForward(int32_t* plane, int width, int height) {
  for (int y = 0; y < height; y += 4)
    for (int i = 0; i < width; i += 4) {
      int32_t x[4][4];
      for (int r = 0; r < 4; ++r) std::memcpy(x[r], plane + (y + r) * width + i, 16);
      for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c) hadamard(x[r][c], x[r][3 - c], x[3 - r][c], x[3 - r][3 - c], 0);
      hadamard(x[0][0], x[0][1], x[1][0], x[1][1], 1);
      rotateOdd(x[0][2], x[0][3], x[1][2], x[1][3]);
      rotateOdd(x[2][0], x[3][0], x[2][1], x[3][1]);
      rotateOddOdd(x[2][2], x[2][3], x[3][2], x[3][3]);
      for (int r = 0; r < 4; ++r) std::memcpy(plane + (y + r) * width + i, x[r], 16);
    }
}

void coreRows() {
  constexpr int kWidth = 512, kHeight = 256;  // half a megabyte
  std::vector<int32_t> plane(kWidth * kHeight);
  std::mt19937 random32(8);
  for (int32_t& v : plane) v = int32_t(random32() % 511) - 255;
  std::vector<int32_t> ours = plane, theirs = plane;
  const uint32_t step = kWidth * 4;
  const ZeliSize size = {kWidth, kHeight};
  zeltest::variants()[0].api.zeliPCTFwd_HDP_32s_C1IR(ours.data(), step, size);
  plainForward(theirs.data(), kWidth, kHeight);
  if (ours != theirs) std::printf("core transform check FAILED\n");
  for (const bool back : {false, true}) {
    auto contenders = bench::ours([&](const Api& api) -> bench::Work {
      auto data = std::make_shared<std::vector<int32_t>>(plane);
      return [data, size, f = back ? api.zeliPCTInv_HDP_32s_C1IR : api.zeliPCTFwd_HDP_32s_C1IR] {
        f(data->data(), step, size);
      };
    });
    auto data = std::make_shared<std::vector<int32_t>>(plane);
    // The inverse has as many steps as the forward transform: one plain form stands for both.
    contenders.push_back({"plain -O2", [data] { plainForward(data->data(), kWidth, kHeight); }});
    bench::compare(back ? "photo core transform, inverse" : "photo core transform, forward", kWidth * kHeight, "sample",
                   {2, 5}, contenders);
  }
}

bench::Suite suite([] {
  dxtRows("DXT1", squish::kDxt1, &Api::zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R,
          &Api::zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, {10, 20}, {30, 60});
  dxtRows("DXT3", squish::kDxt3, &Api::zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R,
          &Api::zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, {0, 0}, {0, 0});
  dxtRows("DXT5", squish::kDxt5, &Api::zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R,
          &Api::zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, {7.5, 15}, {30, 60});
#ifdef ZELJ_BENCH_ETCPAK
  etcpakRow("DXT1", &Api::zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, CompressBc1, {1.0, 1.3});
  etcpakRow("DXT5", &Api::zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, CompressBc3, {1.2, 1.8});
#endif
  ycocgRow();
  bc7Row("all modes", {0, 1, 2, 3, 4, 5, 6, 7}, {0.035, 0.07});
  bc7Row("modes 1 and 6", {1, 6}, {0.07, 0.15});
  coreRows();
});

}  // namespace
