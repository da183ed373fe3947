// The argument checks of the JPEG functions, in their order, and that nothing is written where one fails.
#include "support/checks.h"

#include <array>
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

TEST_F(Checks, HuffmanCoding) {
  int* const number = as<int*>();
  int minus = -1, zero = 0;
  auto* const dec = as<ZeliDecodeHuffmanSpec*>();
  auto* const enc = as<ZeliEncodeHuffmanSpec*>();
  auto* const reading = as<ZeliDecodeHuffmanState*>();
  auto* const writing = as<ZeliEncodeHuffmanState*>();
  expectChecks(z.zeliEncodeHuffmanRawTableInit_JPEG_8u, std::tuple(number, bytes, bytes), null<0>(), null<1>(),
               null<2>());

  expectChecks(z.zeliDecodeHuffman8x8_JPEG_1u16s_C1,
               std::tuple(bytes, 9, number, words, words, number, dec, dec, reading), null<0>(), bad<1>(-1), null<2>(),
               null<3>(), null<4>(), null<5>(), null<6>(), null<7>(), null<8>());
  expectChecks(z.zeliEncodeHuffman8x8_JPEG_16s1u_C1, std::tuple(words, bytes, 9, number, words, enc, enc, writing, 0),
               null<1>(), length<2>(), null<3>(), null<7>(), null<0>(), null<4>(), null<5>(), null<6>());
  expectChecks(z.zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1,
               std::tuple(bytes, &zero, words, words, number, as<uint32_t*>(), &zero, dec, dec), null<0>(), null<1>(),
               bad<1>(&minus), null<2>(), null<3>(), null<4>(), null<5>(), null<6>(), bad<6>(&minus), null<7>(),
               null<8>());
  expectChecks(z.zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1, std::tuple(words, bytes, number, words, enc, enc),
               null<0>(), null<1>(), null<2>(), null<3>(), null<4>(), null<5>());

  expectChecks(z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1,
               std::tuple(bytes, 9, number, words, words, number, 0, dec, reading), null<0>(), length<1>(), null<2>(),
               null<3>(), null<4>(), null<5>(), bad<6>(14), null<7>(), null<8>());
  expectChecks(z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, std::tuple(bytes, 9, number, words, number, 0, reading),
               null<0>(), length<1>(), null<2>(), null<3>(), null<4>(), bad<5>(-1), null<6>());
  for (const auto f : {z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1})
    expectChecks(f, std::tuple(bytes, 9, number, words, number, 1, 63, 0, dec, reading), null<0>(), length<1>(),
                 null<2>(), null<3>(), null<4>(), bad<5>(0), bad<6>(64), bad<7>(14), null<8>(), null<9>());
  expectChecks(z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1,
               std::tuple(words, bytes, 9, number, words, 0, enc, writing, 0), null<1>(), length<2>(), null<3>(),
               null<7>(), null<0>(), null<4>(), bad<5>(14), null<6>());
  expectChecks(z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, std::tuple(words, bytes, 9, number, 0, writing, 0),
               null<1>(), length<2>(), null<3>(), null<5>(), null<0>(), bad<4>(-1));
  for (const auto f : {z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1})
    expectChecks(f, std::tuple(words, bytes, 9, number, 1, 63, 0, enc, writing, 0), null<1>(), length<2>(), null<3>(),
                 null<7>(), null<8>(), null<0>(), bad<4>(0), bad<5>(64), bad<6>(14));

  const int16_t* const* const rows = constBlocks.data();
  const std::array<const ZeliEncodeHuffmanSpec*, 4> encTables = {enc, enc, enc, nullptr};
  const std::array<const ZeliDecodeHuffmanSpec*, 4> decTables = {dec, dec, dec, nullptr};
  expectChecks(z.zeliEncodeHuffmanOne_JPEG_16s1u_C1, std::tuple(words, bytes, 9, number, enc, writing, 0), null<1>(),
               length<2>(), null<3>(), null<5>(), null<0>(), null<4>());
  expectChecks(z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1,
               std::tuple(rows, 1, 3, bytes, 9, number, encTables.data(), writing, 0), null<3>(), length<4>(),
               null<5>(), null<7>(), null<0>(), length<1>(), length<2>(), null<6>(),
               bad<0>(constBlocksWithout[2].data(), zelStsNullPtrErr), bad<2>(4, zelStsNullPtrErr));
  expectChecks(z.zeliDecodeHuffmanOne_JPEG_1u16s_C1, std::tuple(bytes, 9, number, words, number, dec, reading),
               null<0>(), length<1>(), null<2>(), null<3>(), null<4>(), null<5>(), null<6>());
  expectChecks(z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4,
               std::tuple(bytes, 9, number, blocks.data(), 1, 3, number, decTables.data(), reading), null<0>(),
               length<1>(), null<2>(), null<3>(), length<4>(), length<5>(), null<6>(), null<7>(), null<8>(),
               bad<3>(blocksWithout[2].data(), zelStsNullPtrErr), bad<5>(4, zelStsNullPtrErr));
}

TEST_F(Checks, HuffmanStatistics) {
  int32_t* const counts = as<int32_t*>();
  auto* const state = as<ZeliEncodeHuffmanState*>();
  expectChecks(z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1, std::tuple(words, counts, counts, words), null<0>(),
               null<1>(), null<2>(), null<3>());
  expectChecks(z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1, std::tuple(words, counts), null<0>(), null<1>());
  expectChecks(z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, std::tuple(words, counts, words, 0), null<0>(),
               null<1>(), null<2>(), bad<3>(14));
  for (const auto f :
       {z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1, z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1})
    expectChecks(f, std::tuple(words, counts, 1, 63, 0, state, 0), null<1>(), null<5>(), null<0>(), bad<2>(0),
                 bad<3>(64), bad<4>(-1));
}
