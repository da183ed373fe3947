// The fields of a DDS file: the magic number and a header of 32-bit words, low bytes first; behind it, where the pixel
// format says "DX10", a second header; then for each element of an array, and each face of a cube map, the levels, each
// as blocks or pixels without gaps.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zelj.h"

namespace zelcodecs::dds {

constexpr uint32_t fourCC(const char (&s)[5]) {
  return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
         uint32_t(uint8_t(s[3])) << 24;
}

constexpr size_t kHeaderEnd = 128, kSecondHeaderEnd = 148;
constexpr int64_t kPixelsByDefault = 1 << 22;  // from which on threads are used without being asked for
constexpr uint32_t kHeaderBytes = 124, kPixelFormatBytes = 32;

// Positions of words in the file.
enum Word : size_t {
  kMagic = 0,
  kHeaderSize = 4,
  kFlags = 8,
  kHeight = 12,
  kWidth = 16,
  kLinearSize = 20,
  kDepth = 24,
  kLevelCount = 28,
  kTag = 32,  // the first of eleven reserved words
  kPixelFormatSize = 76,
  kPixelFormatFlags = 80,
  kFourCC = 84,
  kBitCount = 88,
  kRedMask = 92,
  kGreenMask = 96,
  kBlueMask = 100,
  kAlphaMask = 104,
  kCaps = 108,
  kCaps2 = 112,
  kDxgiFormat = 128,
  kDimension = 132,
  kMiscFlags = 136,
  kArraySize = 140,
};

constexpr uint32_t kHasCaps = 1, kHasHeight = 2, kHasWidth = 4, kHasPixelFormat = 0x1000, kHasLevelCount = 0x20000,
                   kHasLinearSize = 0x80000;
constexpr uint32_t kPixelFormatHasAlpha = 1, kPixelFormatHasFourCC = 4, kPixelFormatIsRgb = 0x40,
                   kPixelFormatIsLuminance = 0x20000;
constexpr uint32_t kCapsComplex = 8, kCapsTexture = 0x1000, kCapsMipMap = 0x400000;
constexpr uint32_t kCaps2CubeMap = 0x200, kCaps2Faces = 0xFC00, kCaps2Volume = 0x200000;
constexpr uint32_t kDimensionTexture2D = 3, kMiscCubeMap = 4;

constexpr uint32_t kYCoCgTag = fourCC("YCG2");

using BlockDecoder = decltype(&zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R);
using BlockEncoder = decltype(&zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R);

constexpr size_t blocksOver(int pixels) { return (size_t(pixels) + 3) / 4; }
constexpr size_t bytesOf(int width, int height, size_t blockBytes) {
  return blocksOver(width) * blocksOver(height) * blockBytes;
}

// Levels down to one pixel.
constexpr int mostLevels(int width, int height) {
  int n = 1;
  for (int longer = width > height ? width : height; longer > 1; longer /= 2) ++n;
  return n;
}
constexpr int sizeAt(int size, int level) { return size >> level > 1 ? size >> level : 1; }

}  // namespace zelcodecs::dds
