// Texture blocks both ways, and the photo core transform.
#include "images.h"

using namespace fuzz;

namespace {

ZeliSize sizeOf(Run& z) { return {1 + z.below(z.below(2) ? 6 : 40), 1 + z.below(10)}; }
size_t blocksOf(ZeliSize size) { return size_t((size.width + 3) / 4 * ((size.height + 3) / 4)); }

void decode(Run& z, ZelStatus (*Api::*f)(const uint8_t*, uint8_t*, uint32_t, ZeliSize), size_t blockBytes) {
  const ZeliSize size = sizeOf(z);
  int step;
  const auto src = z.take<uint8_t>(blockBytes * blocksOf(size));
  const auto dst = region<uint8_t*>(z, 4 * size.width, size.height, &step);
  z(f, src, dst, uint32_t(step), size);
}

void encode(Run& z, ZelStatus (*Api::*f)(const uint8_t*, uint32_t, ZeliSize, uint8_t*), size_t blockBytes,
            int channels) {
  const ZeliSize size = sizeOf(z);
  int step;
  const auto src = region<const uint8_t*>(z, channels * size.width, size.height, &step);
  z(f, src, uint32_t(step), size, z.take<uint8_t>(blockBytes * blocksOf(size)));
}

// Forward and back.
template <class... Size>
void core(Run& z, ZelStatus (*Api::*forward)(int32_t*, uint32_t, Size...),
          ZelStatus (*Api::*inverse)(int32_t*, uint32_t, Size...), ZeliSize size, Size... given) {
  int step;
  const auto samples = region<int32_t*>(z, size.width, size.height, &step);
  z(forward, samples, uint32_t(step), given...);
  z(inverse, samples, uint32_t(step), given...);
}

void each(Run& z, Chosen& chosen) {
  chosen.offer([&] { decode(z, &Api::zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, 8); });
  chosen.offer([&] { decode(z, &Api::zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, 16); });
  chosen.offer([&] { decode(z, &Api::zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, 16); });
  for (int more = 0; more < 3; ++more)  // with eight modes
    chosen.offer([&] { decode(z, &Api::zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R, 16); });
  chosen.offer([&] { encode(z, &Api::zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, 8, 4); });
  chosen.offer([&] { encode(z, &Api::zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, 16, 4); });
  chosen.offer([&] { encode(z, &Api::zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, 16, 4); });
  chosen.offer([&] { encode(z, &Api::zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, 16, 3); });
  chosen.offer([&] { core(z, &Api::zeliPCTFwd16x16_HDP_32s_C1IR, &Api::zeliPCTInv16x16_HDP_32s_C1IR, {16, 16}); });
  chosen.offer([&] { core(z, &Api::zeliPCTFwd8x16_HDP_32s_C1IR, &Api::zeliPCTInv8x16_HDP_32s_C1IR, {8, 16}); });
  chosen.offer([&] { core(z, &Api::zeliPCTFwd8x8_HDP_32s_C1IR, &Api::zeliPCTInv8x8_HDP_32s_C1IR, {8, 8}); });
  chosen.offer([&] {
    const ZeliSize size = {4 + 4 * z.below(6), 4 + 4 * z.below(6)};
    core(z, &Api::zeliPCTFwd_HDP_32s_C1IR, &Api::zeliPCTInv_HDP_32s_C1IR, size, size);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return runChosen(data, size, each); }
