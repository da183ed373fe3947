// Texture functions over images of many sizes, with unreadable pages right behind source and destination.
#pragma once

#include <gtest/gtest.h>

#include "support/api.h"
#include "support/data.h"

namespace zeltest {

using Bytes = std::vector<uint8_t>;

inline size_t blocksOf(ZeliSize s) { return size_t((s.width + 3) / 4) * size_t((s.height + 3) / 4); }

template <class PerSize>
void forAllSizes(PerSize perSize) {
  for (int w = 1; w <= 21; ++w)
    for (int h = 1; h <= 21; ++h) perSize(ZeliSize{w, h});
  for (const int w : {28, 31, 32, 33, 36, 47, 48, 63, 64, 65, 68, 128, 130, 131})
    for (int h = 3; h <= 9; ++h) perSize(ZeliSize{w, h});
}

using Decoder = decltype(&zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R);
using BlockDecoder = void(const uint8_t* block, uint8_t (*rgba)[4]);

inline void checkDecoder(Decoder decode, BlockDecoder* definition, int blockBytes, ZeliSize size, const Bytes& blocks,
                         int extraStep = 0) {
  const size_t step = size_t(4 * size.width + extraStep), h = size_t(size.height);
  Guarded<uint8_t> src(blocks), dst(step * (h - 1) + 4 * size_t(size.width));
  Bytes expected = dst.copy();
  for (size_t i = 0; i < blocksOf(size); ++i) {
    const size_t across = size_t(size.width + 3) / 4, x = i % across * 4, y = i / across * 4;
    uint8_t px[16][4];
    definition(&blocks[i * size_t(blockBytes)], px);
    for (size_t p = 0; p < 16; ++p)
      if (x + p % 4 < size_t(size.width) && y + p / 4 < h)
        std::memcpy(&expected[(y + p / 4) * step + (x + p % 4) * 4], px[p], 4);
  }
  ASSERT_EQ(zelStsNoErr, decode(src.data(), dst.data(), uint32_t(step), size));
  ASSERT_TRUE(expected == dst.copy()) << size.width << " x " << size.height;
}

inline void checkDecoderOverSizes(Decoder decode, BlockDecoder* definition, int blockBytes) {
  Random rng(uint64_t(blockBytes) + 70);
  forAllSizes([&](ZeliSize s) {
    checkDecoder(decode, definition, blockBytes, s, rng.vector<uint8_t>(blocksOf(s) * size_t(blockBytes)),
                 rng.below(3) * 7);
  });
}

}  // namespace zeltest
