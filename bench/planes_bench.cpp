// Colour conversion and resampling of planes beside libjpeg-turbo's SIMD kernels and libyuv's, and beside memcpy of as
// many bytes as are written. Colours: planes of a photograph (memory-bound) and of a strip that stays in the cache.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include <jpeglib.h>  // after <cstdio>, which it does not include

#ifdef ZELJ_BENCH_LIBYUV
#include <libyuv/convert_argb.h>
#endif

#include "ratios.h"

// The peer's SIMD kernels, as its own dispatcher calls them.
extern "C" {
void jsimd_extrgb_ycc_convert_avx2(JDIMENSION width, JSAMPARRAY in, JSAMPIMAGE out, JDIMENSION row, int rows);
void jsimd_ycc_extrgb_convert_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION row, JSAMPARRAY out, int rows);
void jsimd_h2v1_fancy_upsample_avx2(int rows, JDIMENSION width, JSAMPARRAY in, JSAMPARRAY* out);
void jsimd_h2v2_fancy_upsample_avx2(int rows, JDIMENSION width, JSAMPARRAY in, JSAMPARRAY* out);
void jsimd_h2v1_downsample_avx2(JDIMENSION width, int maxRows, JDIMENSION rows, JDIMENSION blocks, JSAMPARRAY in,
                                JSAMPARRAY out);
void jsimd_h2v2_downsample_avx2(JDIMENSION width, int maxRows, JDIMENSION rows, JDIMENSION blocks, JSAMPARRAY in,
                                JSAMPARRAY out);
}

namespace {

// Pixels, three planes, and planes of half and double width, with room around the rows for the peer's kernels.
struct Work {
  int width, height, step;
  std::vector<uint8_t> pixels, planes, small, large, copy;
  std::vector<uint8_t*> pixelRows, planeRows[3], smallRows, largeRows;
  uint8_t* plane(int c) { return planeRows[c][0]; }
};

constexpr int kMargin = 64;

void rowsOf(std::vector<uint8_t>& bytes, size_t first, size_t step, int rows, std::vector<uint8_t*>* out) {
  for (int y = 0; y < rows; ++y) out->push_back(&bytes[first + size_t(y) * step]);
}

std::shared_ptr<Work> workOn(const std::string& name, int height) {
  const bench::Photo& photo = bench::photo(name);
  auto w = std::make_shared<Work>();
  w->width = photo.width / 32 * 32;
  w->height = std::min(height, photo.height / 2 * 2);
  w->step = w->width + 2 * kMargin;
  const size_t step = size_t(w->step), rows = size_t(w->height) + 2;
  w->pixels.resize(3 * step * rows);
  w->copy.resize(3 * step * rows);
  w->planes.resize(3 * step * rows);
  w->small.resize(step * rows);
  w->large.resize(2 * step * rows);
  rowsOf(w->pixels, kMargin, 3 * step, w->height, &w->pixelRows);
  for (int y = 0; y < w->height; ++y)
    std::memcpy(w->pixelRows[size_t(y)], &photo.rgb[size_t(y) * size_t(photo.width) * 3], size_t(w->width) * 3);
  for (size_t c = 0; c < 3; ++c) rowsOf(w->planes, c * step * rows + step + kMargin, step, w->height, &w->planeRows[c]);
  rowsOf(w->small, step + kMargin, step, w->height, &w->smallRows);
  rowsOf(w->large, kMargin, 2 * step, w->height, &w->largeRows);
  uint8_t* planes[3] = {w->plane(0), w->plane(1), w->plane(2)};
  zeltest::variants()[0].api.zeliRGBToYCbCr_JPEG_8u_C3P3R(w->pixelRows[0], 3 * w->step, planes, w->step,
                                                          {w->width, w->height});
  return w;
}

// Adds our variants, the copy and the peer.
void row(const std::string& name, double units, bench::Target target, std::vector<bench::Contender> ours,
         bench::Work copy, bench::Work peer) {
  ours.push_back({"memcpy", std::move(copy)});
  ours.push_back({"libjpeg-turbo", std::move(peer)});
  bench::compare(name, units, "pixel", target, std::move(ours));
}

void colours(const std::string& where, const std::shared_ptr<Work>& w) {
  const double pixels = double(w->width) * w->height;
  const ZeliSize size = {w->width, w->height};
  const auto copy = [w] { std::memcpy(w->copy.data(), w->pixels.data(), size_t(3 * w->width) * size_t(w->height)); };
  row("RGB to YCbCr planes, " + where, pixels, {1.4, 1.8}, bench::ours([=](const zeltest::Api& api) -> bench::Work {
        return [&api, w, size] {
          uint8_t* planes[3] = {w->plane(0), w->plane(1), w->plane(2)};
          api.zeliRGBToYCbCr_JPEG_8u_C3P3R(w->pixelRows[0], 3 * w->step, planes, w->step, size);
        };
      }),
      copy, [w] {
        JSAMPARRAY planes[3] = {w->planeRows[0].data(), w->planeRows[1].data(), w->planeRows[2].data()};
        jsimd_extrgb_ycc_convert_avx2(JDIMENSION(w->width), w->pixelRows.data(), planes, 0, w->height);
      });
  const auto toRgb = bench::ours([=](const zeltest::Api& api) -> bench::Work {
    return [&api, w, size] {
      const uint8_t* planes[3] = {w->plane(0), w->plane(1), w->plane(2)};
      api.zeliYCbCrToRGB_JPEG_8u_P3C3R(planes, w->step, w->pixelRows[0], 3 * w->step, size);
    };
  });
  row("YCbCr planes to RGB, " + where, pixels, {1.0, 1.15}, toRgb, copy, [w] {
    JSAMPARRAY planes[3] = {w->planeRows[0].data(), w->planeRows[1].data(), w->planeRows[2].data()};
    jsimd_ycc_extrgb_convert_avx2(JDIMENSION(w->width), planes, 0, w->pixelRows.data(), w->height);
  });
#ifdef ZELJ_BENCH_LIBYUV
  // Its factors have 6 fraction bits where ours have 14. With the chroma planes exchanged it gives red first.
  auto besideLibyuv = toRgb;
  besideLibyuv.push_back({"libyuv", [w] {
                            libyuv::I444ToRGB24Matrix(w->plane(0), w->step, w->plane(2), w->step, w->plane(1), w->step,
                                                      w->pixelRows[0], 3 * w->step, &libyuv::kYvuJPEGConstants,
                                                      w->width, w->height);
                          }});
  bench::compare("YCbCr planes to RGB beside libyuv, " + where, pixels, "pixel", {1.0, 1.15}, besideLibyuv);
#endif
}

// Row by row, as a decoder does it; the source plane is luminance.
void resampling(const std::string& where, const std::shared_ptr<Work>& w) {
  const double pixels = double(w->width) * w->height;
  const size_t width = size_t(w->width), height = size_t(w->height);
  for (const bool both : {false, true}) {
    const std::string kind = both ? "H2V2, " : "H2V1, ";
    const auto copyRows = [w](size_t bytes, size_t rows) {
      for (size_t y = 0; y < rows; ++y) std::memcpy(w->largeRows[y], w->planeRows[0][y], bytes);
    };
    // H2V2 makes two rows of each source row; the first half of the rows is the source.
    row(
        "triangle up-sampling " + kind + where, pixels, {both ? 1.5 : 1.75, 2},
        bench::ours([=](const zeltest::Api& api) -> bench::Work {
          return [&api, w, both, height] {
            for (size_t y = 0; y < height / (both ? 2 : 1); ++y) {
              const uint8_t* near = w->planeRows[0][y];
              if (!both) {
                api.zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(near, w->width / 2, w->largeRows[y]);
                continue;
              }
              api.zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, near - w->step, w->width / 2, w->largeRows[2 * y]);
              api.zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, near + w->step, w->width / 2, w->largeRows[2 * y + 1]);
            }
          };
        }),
        [=] { copyRows(width, height); },
        [w, both, height] {
          for (size_t y = 0; y < height; y += both ? 2 : 1) {
            JSAMPARRAY out = &w->largeRows[y];
            if (both) {
              // The kernel reads the rows around the one that it is given.
              JSAMPROW in[3] = {w->planeRows[0][y / 2] - w->step, w->planeRows[0][y / 2],
                                w->planeRows[0][y / 2] + w->step};
              jsimd_h2v2_fancy_upsample_avx2(2, JDIMENSION(w->width / 2), in + 1, &out);
            } else {
              jsimd_h2v1_fancy_upsample_avx2(1, JDIMENSION(w->width / 2), &w->planeRows[0][y], &out);
            }
          }
        });
    row(
        "box down-sampling " + kind + where, pixels, {1.2, 1.5},
        bench::ours([=](const zeltest::Api& api) -> bench::Work {
          return [&api, w, both, height] {
            for (size_t y = 0; y < height; y += both ? 2 : 1) {
              const uint8_t* from = w->planeRows[0][y];
              if (both)
                api.zeliSampleDownRowH2V2_Box_JPEG_8u_C1(from, from + w->step, w->width, w->smallRows[y / 2]);
              else
                api.zeliSampleDownRowH2V1_Box_JPEG_8u_C1(from, w->width, w->smallRows[y]);
            }
          };
        }),
        [=] { copyRows(width / 2, both ? height / 2 : height); },
        [w, both, height] {
          const JDIMENSION blocks = JDIMENSION(w->width / 16);
          for (size_t y = 0; y < height; y += both ? 2 : 1) {
            if (both)
              jsimd_h2v2_downsample_avx2(JDIMENSION(w->width), 2, 1, blocks, &w->planeRows[0][y], &w->smallRows[y / 2]);
            else
              jsimd_h2v1_downsample_avx2(JDIMENSION(w->width), 1, 1, blocks, &w->planeRows[0][y], &w->smallRows[y]);
          }
        });
  }
}

bench::Suite suite([] {
  const auto whole = workOn("canyon", 1 << 20), strip = workOn("canyon", 16);
  colours("canyon", whole);
  colours("16 rows of canyon", strip);
  resampling("16 rows of canyon", strip);
});

}  // namespace
