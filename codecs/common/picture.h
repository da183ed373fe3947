// What a picture is, and rows of one in memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zelcodecs {

// What the channels mean. In CMYK 0 is no ink and the largest value full ink. Colours are not multiplied with their
// opacity, which is the last channel.
enum class ColourModel { grey, greyAlpha, rgb, rgba, cmyk };

constexpr int channelsOf(ColourModel model) {
  switch (model) {
    case ColourModel::grey:
      return 1;
    case ColourModel::greyAlpha:
      return 2;
    case ColourModel::rgb:
      return 3;
    default:
      return 4;
  }
}
constexpr bool hasOpacity(ColourModel model) { return model == ColourModel::greyAlpha || model == ColourModel::rgba; }

// Size, model and depth. Samples are interleaved, of one byte (up to 8 bits) or two bytes in the processor's order (9
// to 16 bits), with values from 0 to 2^bitDepth - 1.
struct PictureFormat {
  int width = 0, height = 0;
  ColourModel model = ColourModel::grey;
  int bitDepth = 8;

  constexpr int channels() const { return channelsOf(model); }
  constexpr int maxValue() const { return (1 << bitDepth) - 1; }
  constexpr int bytesPerSample() const { return bitDepth > 8 ? 2 : 1; }
  constexpr size_t pixelBytes() const { return size_t(channels()) * size_t(bytesPerSample()); }
  constexpr size_t rowBytes() const { return size_t(width) * pixelBytes(); }
};
constexpr bool operator==(const PictureFormat& a, const PictureFormat& b) {
  return a.width == b.width && a.height == b.height && a.model == b.model && a.bitDepth == b.bitDepth;
}
constexpr bool operator!=(const PictureFormat& a, const PictureFormat& b) { return !(a == b); }

// A rectangle of pixels. Without width and height it stands for the whole picture.
struct Region {
  int x = 0, y = 0, width = 0, height = 0;
  constexpr bool whole() const { return width == 0 && height == 0; }
};

// count rows, each step bytes behind the one before. Rows of two bytes a sample begin at even addresses.
template <class Byte>
struct RowsOf {
  Byte* data = nullptr;
  size_t step = 0;
  int count = 0;

  Byte* row(int y) const { return data + step * size_t(y); }
  RowsOf part(int first, int rows) const { return {row(first), step, rows}; }
};
using Rows = RowsOf<uint8_t>;
using ConstRows = RowsOf<const uint8_t>;

inline ConstRows asConst(const Rows& r) { return {r.data, r.step, r.count}; }

}  // namespace zelcodecs
