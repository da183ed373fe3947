// Blocks and rows of JPEG: quantisation and its tables, DCT, lossless prediction.
#include "images.h"

using namespace fuzz;

namespace {

// Functions on one block, by the shape of their arguments. `side` is how many rows of how many samples there are.
template <class S, class D, class Q>
void block(Run& z, ZelStatus (*Api::*f)(const S*, D*, const Q*), int) {
  const auto src = z.take<S>(64), dst = z.take<D>(64);
  z(f, src, dst, z.take<Q>(64));
}
void block(Run& z, ZelStatus (*Api::*f)(int16_t*, const uint16_t*), int) {
  const auto samples = z.take<int16_t>(64);
  z(f, samples, z.take<uint16_t>(64));
}
template <class S, class Q>
void block(Run& z, ZelStatus (*Api::*f)(const S*, int, int16_t*, const Q*), int side) {
  int step;
  const auto src = region<const S*>(z, side, side, &step);
  const auto dst = z.take<int16_t>(64);
  z(f, src, step, dst, z.take<Q>(64));
}
template <class D, class Q>
void block(Run& z, ZelStatus (*Api::*f)(const int16_t*, D*, int, const Q*), int side) {
  int step;
  const auto dst = region<D*>(z, side, side, &step);
  const auto src = z.take<int16_t>(64);
  z(f, src, dst, step, z.take<Q>(64));
}

void clip(Run& z) {
  int step;
  const auto dst = region<uint8_t*>(z, 8, 8, &step);
  const auto src = z.take<int16_t>(64);
  const int dc = z.between(-300, 300), low = z.byte(), high = z.byte();
  z(&Api::zeliDCT8x8InvLSClip_16s8u_C1R, src, dst, step, int16_t(dc), uint8_t(low), uint8_t(high));
}

void tables(Run& z) {
  const auto raw = z.take<uint8_t>(64);
  const auto made = z.take<uint16_t>(64);
  z(&Api::zeliQuantFwdRawTableInit_JPEG_8u, raw, z.between(-1, 110));
  z(&Api::zeliQuantFwdTableInit_JPEG_8u16u, raw, made);
  z(&Api::zeliQuantInvTableInit_JPEG_8u16u, raw, made);
}

// Differences and back.
void prediction(Run& z) {
  const int width = 1 + z.below(z.below(2) ? 6 : 100), predictor = z.below(10), p = z.below(18), pt = z.below(18);
  const auto row = z.take<int16_t>(size_t(width)), above = z.take<int16_t>(size_t(width));
  const auto differences = z.take<int16_t>(size_t(width)), back = z.take<int16_t>(size_t(width));
  const ZelStatus s = z(&Api::zeliDiffPredRow_JPEG_16s_C1, row, above, differences, width, predictor);
  z.expect((s == zelStsNoErr) == (predictor >= 1 && predictor <= 7));
  z(&Api::zeliReconstructPredRow_JPEG_16s_C1, differences, above, back, width, predictor);
  z(&Api::zeliDiffPredFirstRow_JPEG_16s_C1, row, differences, width, p, pt);
  z(&Api::zeliReconstructPredFirstRow_JPEG_16s_C1, differences, back, width, p, pt);
}

void each(Run& z, Chosen& chosen) {
  const auto fn = [&](int side, auto... f) { (chosen.offer([&] { block(z, f, side); }), ...); };
  fn(8, &Api::zeliQuantFwd8x8_JPEG_16s_C1I, &Api::zeliQuantInv8x8_JPEG_16s_C1I, &Api::zeliDCTQuantFwd8x8_JPEG_16s_C1,
     &Api::zeliDCTQuantFwd8x8_JPEG_16s_C1I, &Api::zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R,
     &Api::zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R, &Api::zeliDCTQuantInv8x8_JPEG_16s_C1,
     &Api::zeliDCTQuantInv8x8_JPEG_16s_C1I, &Api::zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R,
     &Api::zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R, &Api::zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R,
     &Api::zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, &Api::zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R);
  fn(2, &Api::zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R);
  fn(4, &Api::zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R);
  chosen.offer([&] { clip(z); });
  chosen.offer([&] { tables(z); });
  chosen.offer([&] { prediction(z); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return runChosen(data, size, each); }
