// The fused DCT functions beside libjpeg-turbo's accurate integer DCT, block by block over a photograph's luminance.

#include <cstddef>
#include <cstdio>
#include <memory>

#include <jpeglib.h>  // after <cstdio>, which it does not include

#include "ratios.h"

// The peer's SIMD kernels, as its own dispatcher calls them.
extern "C" {
void jsimd_convsamp_avx2(JSAMPARRAY samples, JDIMENSION column, int16_t* workspace);
void jsimd_fdct_islow_avx2(int16_t* data);
void jsimd_quantize_avx2(int16_t* coefficients, int16_t* divisors, int16_t* workspace);
void jsimd_idct_islow_avx2(void* table, int16_t* block, JSAMPARRAY out, JDIMENSION column);
void jsimd_idct_4x4_sse2(void* table, int16_t* block, JSAMPARRAY out, JDIMENSION column);
void jsimd_idct_2x2_sse2(void* table, int16_t* block, JSAMPARRAY out, JDIMENSION column);
}

namespace {

constexpr uint8_t kLuminanceSteps[64] = {  // T.81, Table K.1, in zigzag order
    16, 11,  12, 14, 12, 10, 16,  14,  13,  14, 18, 17,  16,  19,  24,  40,  26, 24,  22,  22, 24, 49,
    35, 37,  29, 40, 58, 51, 61,  60,  57,  51, 56, 55,  64,  72,  92,  78,  64, 68,  87,  69, 55, 56,
    80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};

struct Plane {
  int width, height;  // whole blocks
  std::vector<uint8_t> samples;
  std::vector<uint8_t> out;
  std::vector<int16_t> blocks;
  std::vector<uint8_t*> rows, outRows;
  alignas(32) uint16_t forward[64], inverse[64];
  alignas(32) int16_t divisors[4 * 64];  // the peer's layout: reciprocal, correction, scale, shift
  int count() const { return width * height / 64; }
};

// The peer's reciprocals for its SIMD quantiser, as its documentation of the method gives them.
void peerDivisor(int16_t* table, int i, unsigned divisor) {
  if (divisor == 1) {
    table[i] = 1;
    table[64 + i] = 0;
    table[128 + i] = 1;
    table[192 + i] = -16;
    return;
  }
  int bits = 31 - __builtin_clz(divisor);
  int r = 16 + bits;
  uint32_t fq = (uint32_t(1) << r) / divisor, fr = (uint32_t(1) << r) % divisor;
  unsigned c = divisor / 2;
  if (fr == 0) {
    fq >>= 1;
    r--;
  } else if (fr <= divisor / 2) {
    c++;
  } else {
    fq++;
  }
  table[i] = int16_t(fq);
  table[64 + i] = int16_t(c);
  table[128 + i] = int16_t(1u << (16 * 2 - r));
  table[192 + i] = int16_t(r - 16);
}

std::shared_ptr<Plane> planeOf(const std::string& name, int quality) {
  const bench::Photo& photo = bench::photo(name);
  auto p = std::make_shared<Plane>();
  p->width = photo.width / 8 * 8;
  p->height = photo.height / 8 * 8;
  p->samples.resize(size_t(p->width) * size_t(p->height));
  p->out = p->samples;
  p->blocks.resize(p->samples.size() + 32);
  for (int y = 0; y < p->height; ++y)
    for (int x = 0; x < p->width; ++x) {
      const uint8_t* c = &photo.rgb[size_t(y * photo.width + x) * 3];
      p->samples[size_t(y * p->width + x)] = uint8_t((c[0] * 77 + c[1] * 150 + c[2] * 29) >> 8);
    }
  for (int y = 0; y < p->height; ++y) {
    p->rows.push_back(&p->samples[size_t(y * p->width)]);
    p->outRows.push_back(&p->out[size_t(y * p->width)]);
  }
  uint8_t raw[64];
  std::copy(kLuminanceSteps, kLuminanceSteps + 64, raw);
  const zeltest::Api& api = zeltest::variants()[0].api;
  api.zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
  api.zeliQuantFwdTableInit_JPEG_8u16u(raw, p->forward);
  api.zeliQuantInvTableInit_JPEG_8u16u(raw, p->inverse);
  for (int i = 0; i < 64; ++i) peerDivisor(p->divisors, i, unsigned(p->inverse[i]) << 3);
  // The blocks start on a 32-byte boundary for the peer's aligned loads, and hold what the decoder gets.
  int16_t* block = p->blocks.data();
  while (uintptr_t(block) % 32) ++block;
  for (int y = 0; y < p->height; y += 8)
    for (int x = 0; x < p->width; x += 8, block += 64)
      api.zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(p->rows[size_t(y)] + x, p->width, block, p->forward);
  return p;
}

int16_t* firstBlock(Plane& p) {
  int16_t* block = p.blocks.data();
  while (uintptr_t(block) % 32) ++block;
  return block;
}

// Both sides quantise to the same coefficients but for rounding: a peer set up wrongly would show.
void verifyPeer(Plane& p) {
  alignas(32) int16_t work[64], theirs[64], ours[64];
  int far = 0;
  for (int y = 0; y < p.height; y += 8) {
    jsimd_convsamp_avx2(&p.rows[size_t(y)], 8, work);
    jsimd_fdct_islow_avx2(work);
    jsimd_quantize_avx2(theirs, p.divisors, work);
    zeltest::variants()[0].api.zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(p.rows[size_t(y)] + 8, p.width, ours, p.forward);
    for (int i = 0; i < 64; ++i) far += std::abs(ours[i] - theirs[i]) > 1;
  }
  if (far) std::printf("DCT peer check FAILED: %d coefficients differ by more than 1\n", far);
}

template <class PerBlock>
bench::Work overBlocks(std::shared_ptr<Plane> p, PerBlock perBlock) {
  return [p, perBlock] {
    int16_t* block = firstBlock(*p);
    for (int y = 0; y < p->height; y += 8)
      for (int x = 0; x < p->width; x += 8, block += 64) perBlock(*p, block, x, y);
  };
}

using Inverse = decltype(&zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R);

std::vector<bench::Contender> inverseRow(std::shared_ptr<Plane> p, Inverse zeltest::Api::*function, int scale,
                                         void (*peer)(void*, int16_t*, JSAMPARRAY, JDIMENSION)) {
  auto list = bench::ours([&](const zeltest::Api& api) {
    return overBlocks(p, [f = api.*function, scale](Plane& q, const int16_t* block, int x, int y) {
      f(block, q.outRows[size_t(y / scale)] + x / scale, q.width, q.inverse);
    });
  });
  list.push_back({"libjpeg-turbo", overBlocks(p, [peer, scale](Plane& q, int16_t* block, int x, int y) {
                    peer(q.inverse, block, &q.outRows[size_t(y / scale)], JDIMENSION(x / scale));
                  })});
  return list;
}

bench::Suite suite([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const int quality : {75, 90}) {
      const auto p = planeOf(name, quality);
      verifyPeer(*p);
      const std::string where = std::string(" ") + name + " q" + std::to_string(quality);
      auto forward = bench::ours([&](const zeltest::Api& api) {
        return overBlocks(p, [f = api.zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R](Plane& q, int16_t* block, int x, int y) {
          f(q.rows[size_t(y)] + x, q.width, block, q.forward);
        });
      });
      forward.push_back({"libjpeg-turbo", overBlocks(p, [](Plane& q, int16_t* block, int x, int y) {
                           alignas(32) int16_t work[64];
                           jsimd_convsamp_avx2(&q.rows[size_t(y)], JDIMENSION(x), work);
                           jsimd_fdct_islow_avx2(work);
                           jsimd_quantize_avx2(block, q.divisors, work);
                         })});
      bench::compare("forward DCT + quantisation" + where, p->count(), "block", {1.5, 1.8}, forward);
      // A plane of its own: the forward rows write their blocks.
      const auto q = planeOf(name, quality);
      bench::compare("inverse DCT" + where, q->count(), "block", {1.6, 2.0},
                     inverseRow(q, &zeltest::Api::zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, 1, jsimd_idct_islow_avx2));
      bench::compare("inverse DCT to 4x4" + where, q->count(), "block", {1.2, 1.5},
                     inverseRow(q, &zeltest::Api::zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R, 2, jsimd_idct_4x4_sse2));
      bench::compare("inverse DCT to 2x2" + where, q->count(), "block", {1.1, 1.5},
                     inverseRow(q, &zeltest::Api::zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, 4, jsimd_idct_2x2_sse2));
    }
});

}  // namespace
