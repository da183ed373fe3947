// One MCU at a time: pixels to blocks and blocks to pixels.
#include "images.h"

using namespace fuzz;

namespace {

struct Unit {
  int width, height;
  size_t lumaBlocks;
};
constexpr Unit k444 = {8, 8, 1}, k422 = {16, 8, 2}, k411 = {16, 16, 4};

Planes<int16_t> blocksOf(Run& z, const Unit& u) {
  Planes<int16_t> blocks;
  for (int i = 0; i < 4; ++i) blocks.set(i, z.take<int16_t>(64 * (i == 0 || i == 3 ? u.lumaBlocks : 1)));
  return blocks;
}

template <class T>
void call(Run& z, ZelStatus (*Api::*f)(const T*, int, int16_t* const*), const Unit& u, int channels) {
  int step;
  const auto pixels = region<const T*>(z, channels * u.width, u.height, &step);
  z(f, pixels, step, blocksOf(z, u));
}
template <class T>
void call(Run& z, ZelStatus (*Api::*f)(const int16_t* const*, T*, int), const Unit& u, int channels) {
  int step;
  const auto pixels = region<T*>(z, channels * u.width, u.height, &step);
  z(f, blocksOf(z, u), pixels, step);
}

#define ALL(channels, from, to)                                              \
  chosen.offer([&] { call(z, &Api::zeli##from##444##to, k444, channels); }); \
  chosen.offer([&] { call(z, &Api::zeli##from##422##to, k422, channels); }); \
  chosen.offer([&] { call(z, &Api::zeli##from##411##to, k411, channels); })

void each(Run& z, Chosen& chosen) {
  ALL(3, RGBToYCbCr, LS_MCU_8u16s_C3P3R);
  ALL(3, BGRToYCbCr, LS_MCU_8u16s_C3P3R);
  ALL(1, BGR555ToYCbCr, LS_MCU_16u16s_C3P3R);
  ALL(1, BGR565ToYCbCr, LS_MCU_16u16s_C3P3R);
  ALL(4, CMYKToYCCK, LS_MCU_8u16s_C4P4R);
  ALL(3, SampleDown, LS_MCU_8u16s_C3P3R);
  ALL(3, YCbCr, ToRGBLS_MCU_16s8u_P3C3R);
  ALL(3, YCbCr, ToBGRLS_MCU_16s8u_P3C3R);
  ALL(1, YCbCr, ToBGR555LS_MCU_16s16u_P3C3R);
  ALL(1, YCbCr, ToBGR565LS_MCU_16s16u_P3C3R);
  ALL(4, YCCK, ToCMYKLS_MCU_16s8u_P4C4R);
  ALL(3, SampleUp, LS_MCU_16s8u_P3C3R);
  chosen.offer([&] { call(z, &Api::zeliSplit422LS_MCU_8u16s_C2P3R, k422, 2); });
  chosen.offer([&] { call(z, &Api::zeliJoin422LS_MCU_16s8u_P3C2R, k422, 2); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return runChosen(data, size, each); }
