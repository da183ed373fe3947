// MCU conversions beside libjpeg-turbo's SIMD kernels for the same steps, over rows of MCUs of a photograph.
//
// Encoding: the peer converts the rows to three planes, averages chroma, and widens each 8x8 block with the level
// shift; we make one call for each MCU. Decoding: the peer replicates chroma and converts from 8-bit planes (its merged
// kernels, or its plain colour conversion for 444); we do so from 16-bit blocks, clamping included, which the peer's
// inverse DCT has done before. Both sides write their blocks to a small workspace, as before a DCT.
#include <cstddef>
#include <cstdio>
// jpeglib.h needs both.
#include <jpeglib.h>

#include <cstdlib>
#include <memory>

#include "ratios.h"

extern "C" {
void jsimd_extrgb_ycc_convert_avx2(JDIMENSION width, JSAMPARRAY in, JSAMPIMAGE out, JDIMENSION outRow, int rows);
void jsimd_h2v1_downsample_avx2(JDIMENSION width, int maxVFactor, JDIMENSION vFactor, JDIMENSION blocks, JSAMPARRAY in,
                                JSAMPARRAY out);
void jsimd_h2v2_downsample_avx2(JDIMENSION width, int maxVFactor, JDIMENSION vFactor, JDIMENSION blocks, JSAMPARRAY in,
                                JSAMPARRAY out);
void jsimd_convsamp_avx2(JSAMPARRAY samples, JDIMENSION column, int16_t* workspace);
void jsimd_ycc_extrgb_convert_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION inRow, JSAMPARRAY out, int rows);
void jsimd_h2v1_extrgb_merged_upsample_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION rowGroup, JSAMPARRAY out);
void jsimd_h2v2_extrgb_merged_upsample_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION rowGroup, JSAMPARRAY out);
}

namespace {

constexpr int kMcuRows = 2;  // in turn, from the top and the bottom: a codec keeps a row of MCUs in the cache

struct Sampling {
  const char* name;
  int logX, logY;
  decltype(&zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R) zeltest::Api::*encode;
  decltype(&zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R) zeltest::Api::*decode;
  int width() const { return 8 << logX; }
  int height() const { return 8 << logY; }
  int lumaSamples() const { return 64 << (logX + logY); }
};

const Sampling kSamplings[] = {{"444", 0, 0, &zeltest::Api::zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R,
                                &zeltest::Api::zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R},
                               {"422", 1, 0, &zeltest::Api::zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R,
                                &zeltest::Api::zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R},
                               {"411", 1, 1, &zeltest::Api::zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R,
                                &zeltest::Api::zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R}};

template <class T>
struct Aligned {  // to 64 bytes, with as much behind for the peer's whole vectors
  explicit Aligned(size_t n) : p(static_cast<T*>(std::aligned_alloc(64, (n * sizeof(T) + 191) / 64 * 64))) {}
  ~Aligned() { std::free(p); }
  Aligned(const Aligned&) = delete;
  Aligned& operator=(const Aligned&) = delete;
  T* p;
};

struct McuRow {
  McuRow(const Sampling& s, const bench::Photo& photo, int top)
      : sampling(s),
        width(photo.width / 32 * 32),
        source(size_t(width * s.height() * 3)),
        rgb(size_t(width * s.height() * 3)),
        planes(size_t(width * s.height() * 3)),
        reduced(size_t(width * s.height() * 2)),
        blocks(size_t(width * s.height() * 3)) {
    for (int y = 0; y < s.height(); ++y) {
      std::copy_n(&photo.rgb[size_t((top + y) * photo.width * 3)], width * 3, source.p + y * width * 3);
      sourceRows[y] = source.p + y * width * 3;
      rgbRows[y] = rgb.p + y * width * 3;
      for (int c = 0; c < 3; ++c) planeRows[c][y] = planes.p + (c * s.height() + y) * width;
      for (int c = 1; c < 3; ++c) reducedRows[c][y] = reduced.p + ((c - 1) * s.height() + y) * width;
      reducedRows[0][y] = planeRows[0][y];
    }
    for (int c = 0; c < 3; ++c) {
      plane[c] = planeRows[c];
      reducedPlane[c] = s.logX ? reducedRows[c] : planeRows[c];
    }
    const auto& api = zeltest::variants()[0].api;
    for (int i = 0; i < mcus(); ++i) {
      int16_t* const out[] = {luma(i), chroma(i), chroma(i) + 64};
      (api.*s.encode)(source.p + i * s.width() * 3, width * 3, out);
    }
  }
  int mcus() const { return width / sampling.width(); }
  int16_t* luma(int mcu) const { return blocks.p + mcu * (sampling.lumaSamples() + 128); }
  int16_t* chroma(int mcu) const { return luma(mcu) + sampling.lumaSamples(); }

  void peerEncode(int16_t* work) {
    const Sampling& s = sampling;
    jsimd_extrgb_ycc_convert_avx2(JDIMENSION(width), sourceRows, plane, 0, s.height());
    const JDIMENSION chromaBlocks = JDIMENSION(width / s.width());
    for (int c = 1; c < 3; ++c) {
      if (s.logY)
        jsimd_h2v2_downsample_avx2(JDIMENSION(width), 16, 8, chromaBlocks, plane[c], reducedPlane[c]);
      else if (s.logX)
        jsimd_h2v1_downsample_avx2(JDIMENSION(width), 8, 8, chromaBlocks, plane[c], reducedPlane[c]);
    }
    for (int i = 0; i < mcus(); ++i) {
      for (int y = 0; y < s.height(); y += 8)
        for (int x = 0; x < s.width(); x += 8)
          jsimd_convsamp_avx2(plane[0] + y, JDIMENSION(i * s.width() + x), work + (y / 8 << s.logX | x / 8) * 64);
      for (int c = 1; c < 3; ++c)
        jsimd_convsamp_avx2(reducedPlane[c], JDIMENSION(8 * i), work + s.lumaSamples() + 64 * (c - 1));
    }
  }
  void peerDecode() {
    const Sampling& s = sampling;
    if (s.logY)
      for (int y = 0; y < 8; ++y)
        jsimd_h2v2_extrgb_merged_upsample_avx2(JDIMENSION(width), reducedPlane, JDIMENSION(y), rgbRows + 2 * y);
    else if (s.logX)
      for (int y = 0; y < 8; ++y)
        jsimd_h2v1_extrgb_merged_upsample_avx2(JDIMENSION(width), reducedPlane, JDIMENSION(y), rgbRows + y);
    else
      jsimd_ycc_extrgb_convert_avx2(JDIMENSION(width), plane, 0, rgbRows, 8);
  }
  void encode(decltype(&zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R) function, int16_t* work) {
    int16_t* const out[] = {work, work + sampling.lumaSamples(), work + sampling.lumaSamples() + 64};
    for (int i = 0; i < mcus(); ++i) function(source.p + i * sampling.width() * 3, width * 3, out);
  }
  void decode(decltype(&zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R) function) {
    for (int i = 0; i < mcus(); ++i) {
      const int16_t* const in[] = {luma(i), chroma(i), chroma(i) + 64};
      function(in, rgb.p + i * sampling.width() * 3, width * 3);
    }
  }

  Sampling sampling;
  int width;
  Aligned<uint8_t> source, rgb, planes, reduced;
  Aligned<int16_t> blocks;
  JSAMPROW sourceRows[16], rgbRows[16], planeRows[3][16], reducedRows[3][16];
  JSAMPARRAY plane[3], reducedPlane[3];
};

// Both sides agree but for rounding: a peer called wrongly would show.
void verifyPeer(McuRow& row) {
  const Sampling& s = row.sampling;
  Aligned<int16_t> theirs(512), ours(512);
  row.peerEncode(theirs.p);
  row.encode(zeltest::variants()[0].api.*s.encode, ours.p);
  int far = 0;
  for (int i = 0; i < s.lumaSamples() + 128; ++i) far += std::abs(ours.p[i] - theirs.p[i]) > 1;
  row.peerDecode();
  const std::vector<uint8_t> pixels(row.rgb.p, row.rgb.p + row.width * s.height() * 3);
  row.decode(zeltest::variants()[0].api.*s.decode);
  for (size_t i = 0; i < pixels.size(); ++i)
    far += std::abs(pixels[i] - row.rgb.p[i]) > 3;  // chroma off by 1: times 1.8
  if (far) std::printf("MCU %s peer check FAILED: %d values differ by more than rounding\n", s.name, far);
}

using McuRowSet = std::vector<std::unique_ptr<McuRow>>;

template <class PerRow>
bench::Work overRows(std::shared_ptr<McuRowSet> rows, PerRow perRow) {
  return [rows, perRow, work = std::make_shared<Aligned<int16_t>>(512)] {
    for (auto& row : *rows) perRow(*row, work->p);
  };
}

bench::Suite suite([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const Sampling& s : kSamplings) {
      const bench::Photo& photo = bench::photo(name);
      const auto rows = std::make_shared<McuRowSet>();
      for (int i = 0; i < kMcuRows; ++i)
        rows->emplace_back(new McuRow(s, photo, (photo.height - s.height()) * i / (kMcuRows - 1)));
      for (auto& row : *rows) verifyPeer(*row);
      const int mcus = kMcuRows * rows->front()->mcus();
      const std::string where = std::string(" ") + s.name + " " + name;

      auto encoding = bench::ours([&](const zeltest::Api& api) {
        return overRows(rows, [f = api.*s.encode](McuRow& row, int16_t* work) { row.encode(f, work); });
      });
      encoding.push_back({"libjpeg-turbo", overRows(rows, [](McuRow& row, int16_t* work) { row.peerEncode(work); })});
      bench::compare("RGB to MCU" + where, mcus, "MCU", {1.0, 1.5}, encoding);

      // Planes of their own would be the same: the encoding rows write what they held.
      auto decoding = bench::ours([&](const zeltest::Api& api) {
        return overRows(rows, [f = api.*s.decode](McuRow& row, int16_t*) { row.decode(f); });
      });
      decoding.push_back({"libjpeg-turbo", overRows(rows, [](McuRow& row, int16_t*) { row.peerDecode(); })});
      bench::compare("MCU to RGB" + where, mcus, "MCU", {1.0, 1.5}, decoding);
    }
});

}  // namespace
