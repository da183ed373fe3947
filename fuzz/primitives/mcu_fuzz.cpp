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

int each(Run& z, int number) {
  Chosen chosen(number);
  const auto all = [&](int channels, auto f444, auto f422, auto f411) {
    chosen.offer([&] { call(z, f444, k444, channels); });
    chosen.offer([&] { call(z, f422, k422, channels); });
    chosen.offer([&] { call(z, f411, k411, channels); });
  };
  all(3, &Api::zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R, &Api::zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R,
      &Api::zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R);
  all(3, &Api::zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R, &Api::zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R,
      &Api::zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R);
  all(1, &Api::zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, &Api::zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R,
      &Api::zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R);
  all(1, &Api::zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, &Api::zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R,
      &Api::zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R);
  all(4, &Api::zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R, &Api::zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R,
      &Api::zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R);
  all(3, &Api::zeliSampleDown444LS_MCU_8u16s_C3P3R, &Api::zeliSampleDown422LS_MCU_8u16s_C3P3R,
      &Api::zeliSampleDown411LS_MCU_8u16s_C3P3R);
  all(3, &Api::zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R, &Api::zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R,
      &Api::zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R);
  all(3, &Api::zeliYCbCr444ToBGRLS_MCU_16s8u_P3C3R, &Api::zeliYCbCr422ToBGRLS_MCU_16s8u_P3C3R,
      &Api::zeliYCbCr411ToBGRLS_MCU_16s8u_P3C3R);
  all(1, &Api::zeliYCbCr444ToBGR555LS_MCU_16s16u_P3C3R, &Api::zeliYCbCr422ToBGR555LS_MCU_16s16u_P3C3R,
      &Api::zeliYCbCr411ToBGR555LS_MCU_16s16u_P3C3R);
  all(1, &Api::zeliYCbCr444ToBGR565LS_MCU_16s16u_P3C3R, &Api::zeliYCbCr422ToBGR565LS_MCU_16s16u_P3C3R,
      &Api::zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R);
  all(4, &Api::zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R, &Api::zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R,
      &Api::zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R);
  all(3, &Api::zeliSampleUp444LS_MCU_16s8u_P3C3R, &Api::zeliSampleUp422LS_MCU_16s8u_P3C3R,
      &Api::zeliSampleUp411LS_MCU_16s8u_P3C3R);
  chosen.offer([&] { call(z, &Api::zeliSplit422LS_MCU_8u16s_C2P3R, k422, 2); });
  chosen.offer([&] { call(z, &Api::zeliJoin422LS_MCU_16s8u_P3C2R, k422, 2); });
  return chosen.count();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  static const int count = each(z, -1);
  each(z, z.below(count));
  return 0;
}
