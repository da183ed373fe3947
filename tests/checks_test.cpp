// The argument checks of the JPEG functions, in their order, and that nothing is written where one fails.
#include "support/checks.h"

#include <array>
#include <climits>
#include <cstring>

#include "support/api.h"

namespace {
using zeltest::bad;
using zeltest::Checks;
using zeltest::expectChecks;
using zeltest::length;
using zeltest::null;
using zeltest::size;
using zeltest::step;

}  // namespace

TEST_F(Checks, Quantisation) {
  expectChecks(z.zeliQuantFwdRawTableInit_JPEG_8u, std::tuple(bytes, 1), null<0>(), bad<1>(INT_MIN));
  expectChecks(z.zeliQuantFwdRawTableInit_JPEG_8u, std::tuple(bytes, 1), null<0>(), bad<1>(0));
  for (const auto f : {z.zeliQuantFwdTableInit_JPEG_8u16u, z.zeliQuantInvTableInit_JPEG_8u16u})
    expectChecks(f, std::tuple(bytes, table), null<0>(), null<1>());
  for (const auto f : {z.zeliQuantFwd8x8_JPEG_16s_C1I, z.zeliQuantInv8x8_JPEG_16s_C1I,
                       z.zeliDCTQuantFwd8x8_JPEG_16s_C1I, z.zeliDCTQuantInv8x8_JPEG_16s_C1I})
    expectChecks(f, std::tuple(words, table), null<0>(), null<1>());
}

TEST_F(Checks, Dct) {
  for (const auto f : {z.zeliDCTQuantFwd8x8_JPEG_16s_C1, z.zeliDCTQuantInv8x8_JPEG_16s_C1})
    expectChecks(f, std::tuple(words, words, table), null<0>(), null<1>(), null<2>());
  expectChecks(z.zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R, std::tuple(bytes, 8, words, table), null<0>(), null<2>(),
               step<1>(-1), null<3>());
  expectChecks(z.zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R, std::tuple(table, 16, words, as<float*>()), null<0>(), null<2>(),
               step<1>(), null<3>());
  expectChecks(z.zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R, std::tuple(words, table, 16, as<float*>()), null<0>(), null<1>(),
               step<2>(-8), null<3>());
  for (const auto f : {z.zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R,
                       z.zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R,
                       z.zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R})
    expectChecks(f, std::tuple(words, bytes, 8, table), null<0>(), null<1>(), step<2>(), null<3>());
  expectChecks(z.zeliDCT8x8InvLSClip_16s8u_C1R, std::tuple(words, bytes, 8, int16_t(0), uint8_t(0), uint8_t(255)),
               null<0>(), null<1>(), step<2>());
}

TEST_F(Checks, LevelShiftAndPrediction) {
  for (const ZeliSize s : {ZeliSize{0, 1}, ZeliSize{1, 0}, ZeliSize{-1, -1}}) {
    const auto badSize = size<4>(s.width, s.height);
    expectChecks(z.zeliSub128_JPEG_8u16s_C1R, std::tuple(bytes, 8, words, 8, one), null<0>(), step<1>(), null<2>(),
                 step<3>(-4), badSize);
    expectChecks(z.zeliAdd128_JPEG_16s8u_C1R, std::tuple(words, 8, bytes, 8, one), null<0>(), step<1>(-4), null<2>(),
                 step<3>(), badSize);
  }
  for (const int predictor : {0, 8, -1})
    for (const auto f : {z.zeliDiffPredRow_JPEG_16s_C1, z.zeliReconstructPredRow_JPEG_16s_C1})
      expectChecks(f, std::tuple(words, words, words, 1, 1), null<0>(), null<1>(), null<2>(), length<3>(),
                   bad<4>(predictor));
  for (const int precision : {1, 17})
    for (const auto f : {z.zeliDiffPredFirstRow_JPEG_16s_C1, z.zeliReconstructPredFirstRow_JPEG_16s_C1})
      expectChecks(f, std::tuple(words, words, 1, 8, 0), null<0>(), null<1>(), length<2>(), bad<3>(precision),
                   bad<4>(-1));
}

TEST_F(Checks, Resampling) {
  for (const ZeliSize s : {ZeliSize{0, 1}, ZeliSize{1, 0}})
    for (const auto f : {z.zeliSampleDownH2V1_JPEG_8u_C1R, z.zeliSampleDownH2V2_JPEG_8u_C1R,
                         z.zeliSampleUpH2V1_JPEG_8u_C1R, z.zeliSampleUpH2V2_JPEG_8u_C1R})
      expectChecks(f, std::tuple(bytes, 8, one, bytes, 8, one), null<0>(), step<1>(), size<2>(s.width, s.height),
                   null<3>(), step<4>(), size<5>(s.width, s.height));
  for (const auto f : {z.zeliSampleDownRowH2V1_Box_JPEG_8u_C1, z.zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1})
    expectChecks(f, std::tuple(bytes, 1, bytes), null<0>(), null<2>(), length<1>());
  for (const auto f : {z.zeliSampleDownRowH2V2_Box_JPEG_8u_C1, z.zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1})
    expectChecks(f, std::tuple(bytes, bytes, 1, bytes), null<0>(), null<1>(), null<3>(), length<2>(-1));
}

TEST_F(Checks, PlaneColours) {
  // Arrays of N planes are checked plane by plane.
  const auto fromPlanes = [&](int n, auto... functions) {
    for (int i = 0; i < n; ++i) {
      const auto missing = bad<0>(sourcesWithout[i].data(), zelStsNullPtrErr);
      (expectChecks(functions, std::tuple(sources.data(), 8, nullptr, 8, one), null<0>(), missing, null<2>()), ...);
    }
  };
  const auto toPlanes = [&](int n, auto src, auto... functions) {
    for (int i = 0; i < n; ++i) {
      const auto missing = bad<2>(planesWithout[i].data(), zelStsNullPtrErr);
      (expectChecks(functions, std::tuple(src, 8, planes.data(), 8, one), null<0>(), null<2>(), missing, step<1>(),
                    step<3>(), size<4>(1, 0)),
       ...);
    }
  };
  const auto toPixels = [&](auto dst, auto... functions) {
    (expectChecks(functions, std::tuple(sources.data(), 8, dst, 8, one), null<0>(), null<2>(), step<1>(-1), step<3>(),
                  size<4>(0, 1)),
     ...);
  };
  toPlanes(3, sources.data(), z.zeliYCbCrToRGB_JPEG_8u_P3R, z.zeliRGBToYCbCr_JPEG_8u_P3R);
  toPlanes(4, sources.data(), z.zeliYCCKToCMYK_JPEG_8u_P4R, z.zeliCMYKToYCCK_JPEG_8u_P4R);
  toPlanes(3, bytes, z.zeliRGBToYCbCr_JPEG_8u_C3P3R, z.zeliBGRToYCbCr_JPEG_8u_C3P3R);
  toPlanes(4, bytes, z.zeliCMYKToYCCK_JPEG_8u_C4P4R);
  toPlanes(3, table, z.zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R, z.zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R,
           z.zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R, z.zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R);
  fromPlanes(3, z.zeliYCbCrToRGB_JPEG_8u_P3R, z.zeliRGBToYCbCr_JPEG_8u_P3R, z.zeliYCbCrToRGB_JPEG_8u_P3C3R,
             z.zeliYCbCrToBGR_JPEG_8u_P3C3R, z.zeliRGBToY_JPEG_8u_P3C1R, z.zeliYCbCrToRGB565_JPEG_8u16u_P3C3R);
  fromPlanes(4, z.zeliYCCKToCMYK_JPEG_8u_P4R, z.zeliCMYKToYCCK_JPEG_8u_P4R, z.zeliYCCKToCMYK_JPEG_8u_P4C4R);
  toPixels(bytes, z.zeliYCbCrToRGB_JPEG_8u_P3C3R, z.zeliYCbCrToBGR_JPEG_8u_P3C3R, z.zeliYCCKToCMYK_JPEG_8u_P4C4R,
           z.zeliRGBToY_JPEG_8u_P3C1R);
  toPixels(table, z.zeliYCbCrToRGB555_JPEG_8u16u_P3C3R, z.zeliYCbCrToBGR555_JPEG_8u16u_P3C3R,
           z.zeliYCbCrToRGB565_JPEG_8u16u_P3C3R, z.zeliYCbCrToBGR565_JPEG_8u16u_P3C3R);
  for (const auto f : {z.zeliRGBToY_JPEG_8u_C3C1R, z.zeliBGRToY_JPEG_8u_C3C1R})
    expectChecks(f, std::tuple(bytes, 8, bytes, 8, one), null<0>(), null<2>(), step<1>(), step<3>(), size<4>(1, 0));
  expectChecks(z.zeliYCbCr422ToRGB_JPEG_8u_C2C3R, std::tuple(bytes, 0, bytes, 0, one), null<0>(), null<2>(),
               size<4>(0, 1));  // steps are distances of any sign here
}

TEST_F(Checks, McuConversion) {
  const auto encoders = [&](int components, auto src, auto... functions) {
    for (int i = 0; i < components; ++i)
      (expectChecks(functions, std::tuple(src, 99, blocks.data()), null<0>(), null<2>(), step<1>(),
                    bad<2>(blocksWithout[i].data(), zelStsNullPtrErr)),
       ...);
  };
  const auto decoders = [&](int components, auto dst, auto... functions) {
    for (int i = 0; i < components; ++i)
      (expectChecks(functions, std::tuple(constBlocks.data(), dst, 99), null<0>(), null<1>(),
                    bad<0>(constBlocksWithout[i].data(), zelStsNullPtrErr), step<2>(-99)),
       ...);
  };
#define SIZES(before, after) z.before##444##after, z.before##422##after, z.before##411##after
  encoders(3, bytes, SIZES(zeliRGBToYCbCr, LS_MCU_8u16s_C3P3R), SIZES(zeliBGRToYCbCr, LS_MCU_8u16s_C3P3R),
           SIZES(zeliSampleDown, LS_MCU_8u16s_C3P3R), z.zeliSplit422LS_MCU_8u16s_C2P3R);
  encoders(4, bytes, SIZES(zeliCMYKToYCCK, LS_MCU_8u16s_C4P4R));
  encoders(3, table, SIZES(zeliBGR555ToYCbCr, LS_MCU_16u16s_C3P3R), SIZES(zeliBGR565ToYCbCr, LS_MCU_16u16s_C3P3R));
  decoders(3, bytes, SIZES(zeliYCbCr, ToRGBLS_MCU_16s8u_P3C3R), SIZES(zeliYCbCr, ToBGRLS_MCU_16s8u_P3C3R),
           SIZES(zeliSampleUp, LS_MCU_16s8u_P3C3R), z.zeliJoin422LS_MCU_16s8u_P3C2R);
  decoders(4, bytes, SIZES(zeliYCCK, ToCMYKLS_MCU_16s8u_P4C4R));
  decoders(3, table, SIZES(zeliYCbCr, ToBGR555LS_MCU_16s16u_P3C3R), SIZES(zeliYCbCr, ToBGR565LS_MCU_16s16u_P3C3R));
#undef SIZES
}
