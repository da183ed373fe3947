// The argument checks of the JPEG functions, in their order, and that nothing is written where one fails.
#include "support/checks.h"

#include <array>
#include <climits>
#include <cstring>

#include "support/api.h"

namespace {
using namespace zeltest;

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
