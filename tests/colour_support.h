// Pixels as the colour conversions keep them, and the matrices of JFIF: exact, and in fixed point.
#pragma once

#include <algorithm>
#include <array>

#include "support/picture.h"

namespace zeltest {

using Pixel = std::array<int, 4>;  // R G B K, or Y Cb Cr K; 0 where there are fewer

enum class Storage { kPlanes, kBytes, kFields, kPairs };  // kFields: 16 bits a pixel; kPairs: bytes Y0 Cb Y1 Cr

struct Layout {
  Storage storage;
  int channels = 3;
  bool reversed = false;  // blue comes first, or is in the lowest bits
  int greenBits = 8;      // of a pixel of 16 bits, whose first channel is in bits 0 to 4 and whose green is above it
  bool inks = false;      // C = 255 - R and so on
  int planes() const { return storage == Storage::kPlanes ? channels : 1; }
  int pixelBytes() const { return storage == Storage::kPlanes ? 1 : storage == Storage::kBytes ? channels : 2; }
  // What is left of a channel of eight bits.
  Pixel kept(const Pixel& p) const {
    if (storage != Storage::kFields) return p;
    return {p[0] & 0xF8, p[1] >> (8 - greenBits) << (8 - greenBits), p[2] & 0xF8, 0};
  }
};

constexpr Layout kPlanes1 = {Storage::kPlanes, 1}, kPlanes3 = {Storage::kPlanes}, kYcck4 = {Storage::kPlanes, 4};
constexpr Layout kCmyk4 = {Storage::kPlanes, 4, false, 8, true}, kCmyk = {Storage::kBytes, 4, false, 8, true};
constexpr Layout kRgb = {Storage::kBytes}, kBgr = {Storage::kBytes, 3, true}, kYcc = kRgb, kYcc422 = {Storage::kPairs};
constexpr Layout kRgb555 = {Storage::kFields, 3, false, 5}, kBgr555 = {Storage::kFields, 3, true, 5};
constexpr Layout kRgb565 = {Storage::kFields, 3, false, 6}, kBgr565 = {Storage::kFields, 3, true, 6};

class Image {
 public:
  Image(const Layout& layout, int width, int height, int pad = 0, int slack = 0)
      : layout(layout), size{width, height}, bytes(layout.planes(), width * layout.pixelBytes(), height, pad, slack) {}

  // As an argument of the type that a function takes: an array of planes, or one pointer.
  template <class T>
  T as() {
    if constexpr (std::is_same_v<T, const uint8_t* const*>)
      return bytes.constPointers();
    else if constexpr (std::is_same_v<T, uint8_t* const*>)
      return bytes.pointers();
    else
      return reinterpret_cast<T>(bytes[0].data());
  }
  // Bits that must be 0 count as the fourth channel.
  Pixel get(int x, int y) const {
    const int n = layout.pixelBytes();
    const auto byte = [&](int i) { return int(bytes[0].get(i, y)); };
    Pixel p = {};
    for (int c = 0; c < layout.channels; ++c)
      p[size_t(c)] = layout.storage == Storage::kPlanes ? bytes[c].get(x, y) : n > 2 ? byte(n * x + c) : 0;
    if (layout.storage == Storage::kPairs)
      p = {byte(2 * x), byte(x / 2 * 4 + 1), byte(std::min(x / 2 * 4 + 3, 2 * size.width - 1))};
    if (layout.storage == Storage::kFields) {
      const int word = byte(2 * x) | byte(2 * x + 1) << 8, g = layout.greenBits;
      p = {(word & 31) << 3, (word >> 5 & ((1 << g) - 1)) << (8 - g), (word >> (5 + g) & 31) << 3, word >> (10 + g)};
    }
    if (layout.reversed) std::swap(p[0], p[2]);
    for (size_t c = 0; layout.inks && c < 3; ++c) p[c] = 255 - p[c];
    return p;
  }

  Layout layout;
  ZeliSize size;
  Picture<uint8_t> bytes;
};

// ---- The matrices ---------------------------------------------------------------------------------------------------

using Exact = std::array<double, 3>;

// ITU-T T.871: all follows from the weights of red and blue in luma.
constexpr double kRed = 0.299, kBlue = 0.114, kGreen = 1 - kRed - kBlue;
inline Exact exactYcc(double r, double g, double b) {
  const double y = kRed * r + kGreen * g + kBlue * b;
  return {y, (b - y) / (2 - 2 * kBlue) + 128, (r - y) / (2 - 2 * kRed) + 128};
}
inline Exact exactRgb(double y, double cb, double cr) {
  const double r = y + (2 - 2 * kRed) * (cr - 128), b = y + (2 - 2 * kBlue) * (cb - 128);
  return {r, (y - kRed * r - kBlue * b) / kGreen, b};
}
// Within `bound` of the exact value, or of what is kept of it.
inline bool near(const Pixel& got, const Exact& exact, int channels, const Layout& layout, double bound) {
  const Pixel kept = layout.kept({255, 255, 255, 0});
  for (size_t c = 0; c < size_t(std::min(3, channels)); ++c) {
    const double above = got[c] - std::clamp(exact[c], 0.0, 255.0);
    if (above > bound || above < -bound - (255 - kept[c])) return false;
  }
  return true;
}

constexpr int fix(double x, int bits) { return int(x * (1 << bits) + (x < 0 ? -0.5 : 0.5)); }

// The products of one row (Y, Cb, Cr) of the forward matrix; with 14 bits chroma has factors of four digits.
template <int kBits>
int weighted(int row, int r, int g, int b) {
  constexpr bool kShort = kBits == 14;
  constexpr double kChroma[] = {kShort ? 0.1687 : 0.16874, kShort ? 0.3313 : 0.33126, kShort ? 0.4187 : 0.41869,
                                kShort ? 0.0813 : 0.08131};
  if (row == 0) return fix(kRed, kBits) * r + fix(0.587, kBits) * g + fix(kBlue, kBits) * b;
  if (row == 1) return fix(0.5, kBits) * b - fix(kChroma[0], kBits) * r - fix(kChroma[1], kBits) * g;
  return fix(0.5, kBits) * r - fix(kChroma[2], kBits) * g - fix(kChroma[3], kBits) * b;
}

}  // namespace zeltest
