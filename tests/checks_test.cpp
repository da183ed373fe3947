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
