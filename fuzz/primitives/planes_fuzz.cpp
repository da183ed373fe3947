// Functions on planes: level shift, colour conversion, component transforms, resampling.
#include "images.h"

using namespace fuzz;

namespace {

ZeliSize sizeOf(Run& z) { return {1 + z.below(z.below(2) ? 6 : 70), 1 + z.below(4)}; }

// From a source to a destination, or in place; the numbers are elements of a pixel in each plane.
template <class S, class D>
void convert(Run& z, ZelStatus (*Api::*f)(S, int, D, int, ZeliSize), int from, int to) {
  const ZeliSize size = sizeOf(z);
  int srcStep, dstStep;
  const auto src = region<S>(z, from * size.width, size.height, &srcStep);
  const auto dst = region<D>(z, to * size.width, size.height, &dstStep);
  z(f, src, srcStep, dst, dstStep, size);
}
template <class P>
void convert(Run& z, ZelStatus (*Api::*f)(P, int, ZeliSize)) {
  const ZeliSize size = sizeOf(z);
  int step;
  const auto planes = region<P>(z, size.width, size.height, &step);
  z(f, planes, step, size);
}

void pairsToRgb(Run& z) {  // its steps are not checked, and an odd row ends with Cb
  const ZeliSize size = sizeOf(z);
  int srcStep, dstStep;
  const auto src = region<const uint8_t*>(z, 2 * size.width, size.height, &srcStep);
  const auto dst = region<uint8_t*>(z, 3 * size.width, size.height, &dstStep);
  z(&Api::zeliYCbCr422ToRGB_JPEG_8u_C2C3R, src, Kept{srcStep}, dst, Kept{dstStep}, size);
}

using Resample = ZelStatus (*)(const uint8_t*, int, ZeliSize, uint8_t*, int, ZeliSize);
void down(Run& z, Resample Api::*f, int rowsOf) {
  const ZeliSize dstSize = sizeOf(z), srcSize = {2 * dstSize.width, rowsOf * dstSize.height};
  int srcStep, dstStep;
  const auto src = region<const uint8_t*>(z, srcSize.width, srcSize.height, &srcStep);
  const auto dst = region<uint8_t*>(z, dstSize.width, dstSize.height, &dstStep);
  z(f, src, srcStep, srcSize, dst, dstStep, dstSize);
}
// One column more on the left, one on the right where the width is even; for two directions rows alike.
void up(Run& z, Resample Api::*f, int border) {
  const ZeliSize dstSize = sizeOf(z);
  const ZeliSize srcSize = {(dstSize.width + 1) / 2, border ? (dstSize.height + 1) / 2 : dstSize.height};
  const int width = srcSize.width + 1 + (dstSize.width % 2 == 0);
  const int height = srcSize.height + border + (border && dstSize.height % 2 == 0);
  int srcStep, dstStep;
  const auto src = region<const uint8_t*>(z, width, height, &srcStep);
  const auto dst = region<uint8_t*>(z, dstSize.width, dstSize.height, &dstStep);
  z(f, src.from(size_t(border * srcStep + 1)), srcStep, srcSize, dst, dstStep, dstSize);
}

template <class... P>
void row(Run& z, ZelStatus (*Api::*f)(P...), int srcPart, int dstPart) {  // parts of the width, times two
  const int width = 1 + z.below(z.below(2) ? 6 : 100);
  const size_t n = size_t(width + (srcPart == 1 && width % 2));
  const auto src = z.take<uint8_t>(n), second = z.take<uint8_t>(n);
  const auto dst = z.take<uint8_t>(size_t((width * dstPart + 1) / 2));
  if constexpr (sizeof...(P) == 3) {
    z(f, src, width, dst);
  } else {
    z(f, src, second, width, dst);
  }
}

void each(Run& z, Chosen& chosen) {
  const auto fn = [&](int from, int to, auto... f) { (chosen.offer([&] { convert(z, f, from, to); }), ...); };
  const auto inPlace = [&](auto... f) { (chosen.offer([&] { convert(z, f); }), ...); };
  fn(1, 1, &Api::zeliSub128_JPEG_8u16s_C1R, &Api::zeliAdd128_JPEG_16s8u_C1R, &Api::zeliRGBToYCbCr_JPEG_8u_P3R,
     &Api::zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R, &Api::zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R,
     &Api::zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R, &Api::zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R,
     &Api::zeliCMYKToYCCK_JPEG_8u_P4R, &Api::zeliRGBToY_JPEG_8u_P3C1R, &Api::zeliYCbCrToRGB_JPEG_8u_P3R,
     &Api::zeliYCbCrToRGB555_JPEG_8u16u_P3C3R, &Api::zeliYCbCrToBGR555_JPEG_8u16u_P3C3R,
     &Api::zeliYCbCrToRGB565_JPEG_8u16u_P3C3R, &Api::zeliYCbCrToBGR565_JPEG_8u16u_P3C3R,
     &Api::zeliYCCKToCMYK_JPEG_8u_P4R);
  fn(3, 1, &Api::zeliRGBToYCbCr_JPEG_8u_C3P3R, &Api::zeliBGRToYCbCr_JPEG_8u_C3P3R, &Api::zeliRGBToY_JPEG_8u_C3C1R,
     &Api::zeliBGRToY_JPEG_8u_C3C1R, &Api::zeliRCTFwd_JPEG2K_16s_C3P3R, &Api::zeliRCTFwd_JPEG2K_32s_C3P3R,
     &Api::zeliICTFwd_JPEG2K_32f_C3P3R);
  fn(4, 1, &Api::zeliCMYKToYCCK_JPEG_8u_C4P4R);
  fn(1, 3, &Api::zeliYCbCrToRGB_JPEG_8u_P3C3R, &Api::zeliYCbCrToBGR_JPEG_8u_P3C3R, &Api::zeliRCTInv_JPEG2K_16s_P3C3R,
     &Api::zeliRCTInv_JPEG2K_32s_P3C3R, &Api::zeliICTInv_JPEG2K_32f_P3C3R);
  fn(1, 4, &Api::zeliYCCKToCMYK_JPEG_8u_P4C4R);
  inPlace(&Api::zeliRCTFwd_JPEG2K_16s_P3IR, &Api::zeliRCTInv_JPEG2K_16s_P3IR, &Api::zeliRCTFwd_JPEG2K_32s_P3IR,
          &Api::zeliRCTInv_JPEG2K_32s_P3IR, &Api::zeliICTFwd_JPEG2K_32f_P3IR, &Api::zeliICTInv_JPEG2K_32f_P3IR,
          &Api::zeliICTFwd_JPEG2K_16s_P3IR, &Api::zeliICTInv_JPEG2K_16s_P3IR, &Api::zeliICTFwd_JPEG2K_32s_P3IR,
          &Api::zeliICTInv_JPEG2K_32s_P3IR);
  chosen.offer([&] { pairsToRgb(z); });
  chosen.offer([&] { down(z, &Api::zeliSampleDownH2V1_JPEG_8u_C1R, 1); });
  chosen.offer([&] { down(z, &Api::zeliSampleDownH2V2_JPEG_8u_C1R, 2); });
  chosen.offer([&] { up(z, &Api::zeliSampleUpH2V1_JPEG_8u_C1R, 0); });
  chosen.offer([&] { up(z, &Api::zeliSampleUpH2V2_JPEG_8u_C1R, 1); });
  chosen.offer([&] { row(z, &Api::zeliSampleDownRowH2V1_Box_JPEG_8u_C1, 1, 1); });
  chosen.offer([&] { row(z, &Api::zeliSampleDownRowH2V2_Box_JPEG_8u_C1, 1, 1); });
  chosen.offer([&] { row(z, &Api::zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1, 2, 4); });
  chosen.offer([&] { row(z, &Api::zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1, 2, 4); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return runChosen(data, size, each); }
