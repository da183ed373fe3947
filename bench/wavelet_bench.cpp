// JPEG 2000 transforms. Wavelets: five levels over a plane of 2048 x 1536 samples in place, beside OpenJPEG's own
// transforms of a tile component, called in its static archive. Component transforms: beside the plain loop as g++ -O3
// builds it for x86-64, and beside a copy of the same bytes.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ratios.h"

namespace {

constexpr int kWidth = 2048, kHeight = 1536, kLevels = 5;

// The luminance of a photograph, centred on zero; mirrored where the photograph ends.
template <class T>
std::vector<T> luminance(int width, int height) {
  const bench::Photo& photo = bench::photo("dandelion");
  std::vector<T> plane(size_t(width) * size_t(height));
  const auto inside = [](int i, int n) { return i / n % 2 ? n - 1 - i % n : i % n; };
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const uint8_t* p = &photo.rgb[size_t((inside(y, photo.height) * photo.width + inside(x, photo.width)) * 3)];
      plane[size_t(y) * size_t(width) + size_t(x)] = T((p[0] + 2 * p[1] + p[2]) / 4 - 128);
    }
  return plane;
}

template <class T>
using InPlace = ZelStatus (*)(T*, int, const ZeliRect*, uint8_t*);

template <class T>
struct Plane {
  std::vector<T> samples = luminance<T>(kWidth, kHeight);
  std::vector<uint8_t> line = std::vector<uint8_t>((kWidth + 16) * sizeof(T));
  void run(InPlace<T> level, bool inverse) {
    for (int i = 0; i < kLevels; ++i) {
      const int shift = inverse ? kLevels - 1 - i : i;
      const ZeliRect r = {0, 0, kWidth >> shift, kHeight >> shift};
      level(samples.data(), kWidth * int(sizeof(T)), &r, line.data());
    }
  }
};

// What OpenJPEG 2.5's transforms read of its structures, laid out as there.
struct OpjBand {
  int32_t x0, y0, x1, y1;
  uint32_t number;
  void* precincts;
  uint32_t precinctBytes;
  int32_t bits;
  float step;
};
struct OpjResolution {
  int32_t x0, y0, x1, y1;
  uint32_t pw, ph, bandCount;
  OpjBand bands[3];
  uint32_t window[4];
};
struct OpjTileComponent {
  int32_t x0, y0, x1, y1;
  uint32_t number, resolutionCount, minimumCount;
  OpjResolution* resolutions;
  uint32_t resolutionBytes;
  int32_t* data;
  int32_t ownsData;
  size_t needed, size;
  int32_t* window;
  uint32_t windowRect[4];
  int32_t pixels;
};
struct OpjTcd {
  int32_t position;
  uint32_t counts[4];
  void* pointers[4];
  uint32_t tile;
  uint32_t isDecoder;
  void* threads;
  uint32_t window[4];
  int32_t wholeTile;
  int32_t* used;
};

extern "C" {
void* opj_thread_pool_create(int threads);
int opj_dwt_encode(OpjTcd*, OpjTileComponent*);
int opj_dwt_decode(OpjTcd*, OpjTileComponent*, uint32_t resolutions);
int opj_dwt_encode_real(OpjTcd*, OpjTileComponent*);
int opj_dwt_decode_real(OpjTcd*, OpjTileComponent*, uint32_t resolutions);
}

struct Peer {
  Plane<int32_t> plane;
  OpjResolution resolutions[kLevels + 1] = {};
  OpjTileComponent component = {};
  OpjTcd tcd = {};
  explicit Peer(bool real) {
    for (int i = 0; i <= kLevels; ++i) {
      resolutions[i].x1 = kWidth >> (kLevels - i);
      resolutions[i].y1 = kHeight >> (kLevels - i);
    }
    component.x1 = kWidth;
    component.y1 = kHeight;
    component.resolutionCount = component.minimumCount = kLevels + 1;
    component.resolutions = resolutions;
    component.data = plane.samples.data();
    tcd.wholeTile = 1;
    tcd.threads = opj_thread_pool_create(0);  // all on the calling thread
    if (real)                                 // it lifts single precision in the same memory
      for (int32_t& x : plane.samples) {
        const float f = float(x);
        std::memcpy(&x, &f, sizeof f);
      }
  }
  void run(bool real, bool inverse) {
    const bool done = inverse ? (real ? opj_dwt_decode_real : opj_dwt_decode)(&tcd, &component, kLevels + 1)
                              : (real ? opj_dwt_encode_real : opj_dwt_encode)(&tcd, &component);
    if (!done) std::abort();
  }
};

// Called wrongly, the peer would not find our coefficients, or not give the samples back. Its 9/7 inverse takes high
// bands at half their size, in each direction: the factor is in its step sizes.
void verifyPeer() {
  const auto& ours = zeltest::variants()[0].api;
  Peer peer(false), real(true);
  Plane<int32_t> plane, plane97;
  const std::vector<int32_t> before = plane.samples;
  peer.run(false, false);
  plane.run(ours.zeliWTFwd_B53_JPEG2K_32s_C1IR, false);
  size_t wrong = peer.plane.samples != plane.samples;
  peer.run(false, true);
  wrong += peer.plane.samples != before;
  real.run(true, false);
  plane97.run(ours.zeliWTFwd_D97_JPEG2K_32s_C1IR, false);
  const auto at = [&](size_t i) {
    float f;
    std::memcpy(&f, &real.plane.samples[i], sizeof f);
    return f;
  };
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const size_t i = size_t(y) * kWidth + size_t(x);
      float f = at(i);
      wrong += std::abs(f - float(plane97.samples[i])) > 16;  // ours are cut to integers after each direction and level
      int level = 1;
      while (level < kLevels && x < kWidth >> level && y < kHeight >> level) ++level;
      f = f / (x < kWidth >> level ? 1 : 2) / (y < kHeight >> level ? 1 : 2);
      std::memcpy(&real.plane.samples[i], &f, sizeof f);
    }
  real.run(true, true);
  for (size_t i = 0; i < before.size(); ++i) wrong += !(std::abs(at(i) - float(before[i])) < 0.1f);
  if (wrong) std::printf("OpenJPEG wavelet peer check FAILED: %zu differences\n", wrong);
}

// A plane is transformed again and again: no contender branches on its samples, and none meets subnormal numbers, which
// would be slow, as the numbers grow.
template <class T>
void waveletRow(const std::string& name, InPlace<T> zeltest::Api::*forward, InPlace<T> zeltest::Api::*inverse,
                bool real, bench::Target target) {
  for (const bool back : {false, true}) {
    auto contenders = bench::ours([&](const zeltest::Api& api) -> bench::Work {
      auto plane = std::make_shared<Plane<T>>();
      return [plane, level = back ? api.*inverse : api.*forward, back] { plane->run(level, back); };
    });
    auto peer = std::make_shared<Peer>(real);
    contenders.push_back({"OpenJPEG", [peer, real, back] { peer->run(real, back); }});
    bench::compare(name + (back ? " inverse" : " forward"), double(kWidth) * kHeight, "sample", target, contenders);
  }
}

// ---- Component transforms -------------------------------------------------------------------------------------------

constexpr int kSide = 512;  // three planes of 16 bits fit the second cache, as a codec's strips do

template <class T>
struct Components {
  std::vector<T> plane[3] = {luminance<T>(kSide, kSide / 4), luminance<T>(kSide, kSide / 4),
                             luminance<T>(kSide, kSide / 4)};
  T* planes[3] = {plane[0].data(), plane[1].data(), plane[2].data()};
};

#define PLAIN BENCH_PLAIN("O3") void
PLAIN plainRct(int32_t* a, int32_t* b, int32_t* c, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const int32_t y = (a[i] + 2 * b[i] + c[i]) >> 2, cb = c[i] - b[i], cr = a[i] - b[i];
    a[i] = y;
    b[i] = cb;
    c[i] = cr;
  }
}
PLAIN plainRct(int16_t* a, int16_t* b, int16_t* c, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const int y = (a[i] + 2 * b[i] + c[i]) >> 2, cb = c[i] - b[i], cr = a[i] - b[i];
    a[i] = int16_t(y), b[i] = int16_t(cb), c[i] = int16_t(cr);
  }
}
PLAIN plainIct(float* a, float* b, float* c, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const float y = 0.299f * a[i] + 0.587f * b[i] + 0.114f * c[i];
    const float cb = -0.16875f * a[i] - 0.33126f * b[i] + 0.5f * c[i];
    const float cr = 0.5f * a[i] - 0.41869f * b[i] - 0.08131f * c[i];
    a[i] = y;
    b[i] = cb;
    c[i] = cr;
  }
}
PLAIN plainIct(int32_t* a, int32_t* b, int32_t* c, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const int32_t y = (4899 * a[i] + 9617 * b[i] + 1868 * c[i] + 8192) >> 14;
    const int32_t cb = (-2765 * a[i] - 5427 * b[i] + 8192 * c[i] + 8192) >> 14;
    const int32_t cr = (8192 * a[i] - 6860 * b[i] - 1332 * c[i] + 8192) >> 14;
    a[i] = y;
    b[i] = cb;
    c[i] = cr;
  }
}
PLAIN plainIct(int16_t* a, int16_t* b, int16_t* c, size_t n) {
  const auto sat = [](int x) { return int16_t(x < -32768 ? -32768 : x > 32767 ? 32767 : x); };
  for (size_t i = 0; i < n; ++i) {
    const int s = 4899 * a[i] + 9617 * b[i] + 1868 * c[i] - 8192;
    const int16_t dB = int16_t((c[i] * 16384 - s) >> 14), dR = int16_t((a[i] * 16384 - s) >> 14);
    a[i] = sat((s + 16384) >> 14);
    b[i] = sat((9246 * dB + 8192) >> 14);
    c[i] = sat((11686 * dR + 8192) >> 14);
  }
}

template <class T>
void componentRow(const std::string& name, ZelStatus (*zeltest::Api::*transform)(T* const*, int, ZeliSize),
                  void (*plain)(T*, T*, T*, size_t)) {
  constexpr size_t n = size_t(kSide) * kSide / 4;
  auto ours = bench::ours([&](const zeltest::Api& api) -> bench::Work {
    auto c = std::make_shared<Components<T>>();
    return [c, f = api.*transform] { f(c->planes, kSide * int(sizeof(T)), {kSide, kSide / 4}); };
  });
  auto copying = ours;
  auto c = std::make_shared<Components<T>>(), copy = std::make_shared<Components<T>>();
  ours.push_back({"plain -O3", [c, plain] { plain(c->planes[0], c->planes[1], c->planes[2], n); }});
  bench::compare(name, double(n), "pixel", {1.0, 1.5}, ours);
  copying.push_back({"memcpy", [c, copy] {
                       for (int i = 0; i < 3; ++i) std::memcpy(copy->planes[i], c->planes[i], n * sizeof(T));
                     }});
  bench::compare(name + " beside a copy", double(n), "pixel", {0, 0}, copying);
}

bench::Suite suite([] {
  verifyPeer();
  using Api = zeltest::Api;
  waveletRow<int32_t>("5/3 32s", &Api::zeliWTFwd_B53_JPEG2K_32s_C1IR, &Api::zeliWTInv_B53_JPEG2K_32s_C1IR, false,
                      {1, 2});
  waveletRow<int16_t>("5/3 16s", &Api::zeliWTFwd_B53_JPEG2K_16s_C1IR, &Api::zeliWTInv_B53_JPEG2K_16s_C1IR, false,
                      {1.5, 3});
  waveletRow<int32_t>("9/7 32s", &Api::zeliWTFwd_D97_JPEG2K_32s_C1IR, &Api::zeliWTInv_D97_JPEG2K_32s_C1IR, true,
                      {1, 2});
  waveletRow<int16_t>("9/7 16s", &Api::zeliWTFwd_D97_JPEG2K_16s_C1IR, &Api::zeliWTInv_D97_JPEG2K_16s_C1IR, true,
                      {1, 2});
  componentRow<int16_t>("RCT 16s", &Api::zeliRCTFwd_JPEG2K_16s_P3IR, plainRct);
  componentRow<int32_t>("RCT 32s", &Api::zeliRCTFwd_JPEG2K_32s_P3IR, plainRct);
  componentRow<float>("ICT 32f", &Api::zeliICTFwd_JPEG2K_32f_P3IR, plainIct);
  componentRow<int32_t>("ICT 32s", &Api::zeliICTFwd_JPEG2K_32s_P3IR, plainIct);
  componentRow<int16_t>("ICT 16s", &Api::zeliICTFwd_JPEG2K_16s_P3IR, plainIct);
});

}  // namespace
