// Depths, planes, predictors and meanings of samples.
#include "tiff/samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zelcodecs::tiff {
namespace {

// Samples of any number of bits, the first in the highest ones. Bits beyond the last byte of the row are not looked at.
template <class T, class Put>
void unpackBits(const uint8_t* row, int bits, size_t n, const Put& put) {
  const uint32_t mask = (1u << bits) - 1;
  uint32_t held = 0;
  int count = 0;
  for (size_t i = 0; i < n; ++i) {
    for (; count < bits; count += 8) held = held << 8 | *row++;
    count -= bits;
    put(i, T(held >> count & mask));
  }
}

// A colour that was multiplied with the opacity. Where that is none, nothing is known of the colour.
template <class T>
T divided(T colour, T alpha, int max) {
  if (alpha == 0) return 0;
  return T(std::min<int64_t>(max, (int64_t{colour} * max + alpha / 2) / alpha));
}

}  // namespace

// For 16-bit samples of big-endian files.
void swapBytes(uint16_t* samples, size_t n) {
  for (size_t i = 0; i < n; ++i) samples[i] = uint16_t(samples[i] << 8 | samples[i] >> 8);
}

// With the number of samples known to the compiler, the sums stay in registers.
template <size_t kStep, class T>
static void sumStep(T* row, size_t n) {
  T sum[kStep] = {};
  size_t i = 0;
  for (; i + kStep <= n; i += kStep)
    for (size_t c = 0; c < kStep; ++c) row[i + c] = sum[c] = T(sum[c] + row[i + c]);
}

// The horizontal predictor (TIFF 6.0, section 14): each sample was coded as its difference from the one `step` before
// it, which is the same channel of the pixel on the left. Sums wrap round as the differences did.
template <class T>
void sumDifferences(T* row, size_t n, size_t step) {
  switch (step) {
    case 1:
      return sumStep<1>(row, n);
    case 2:
      return sumStep<2>(row, n);
    case 3:
      return sumStep<3>(row, n);
    case 4:
      return sumStep<4>(row, n);
  }
  for (size_t i = step; i < n; ++i) row[i] = T(row[i] + row[i - step]);
}

// From the right, so that each sample still has its neighbour beside it.
template <class T>
void takeDifferences(T* row, size_t n, size_t step) {
  for (size_t i = n; i-- > step;) row[i] = T(row[i] - row[i - step]);
}

template void sumDifferences(uint8_t*, size_t, size_t);
template void sumDifferences(uint16_t*, size_t, size_t);
template void takeDifferences(uint8_t*, size_t, size_t);
template void takeDifferences(uint16_t*, size_t, size_t);

// Most files hold pixels just as the picture has them, and their rows are unpacked to where they belong. All others go
// through samples_: of 8 bits at least, channels side by side, in the order of the file.
RowConverter::RowConverter(const Layout& layout, const Meaning& meaning)
    : layout_(layout),
      meaning_(meaning),
      asItIs_(layout.planes == 1 && (layout.bits == 8 || layout.bits == 16) && meaning.palette.empty() &&
              !meaning.inverted && !layout.units() && !meaning.associated &&
              layout.samples == channelsOf(meaning.model)) {
  if (layout.units()) prepareLevels();
  if (asItIs_ || layout.units()) return;
  samples_.reset(new uint16_t[layout.rowSamples * size_t(layout.planes)]());
  if (layout.bits >= 8) return;
  // Samples of 1 to 7 bits are looked up: scaled to 0..255, or, as they are, for a palette.
  const int top = (1 << layout.bits) - 1;
  for (int v = 0; v <= top; ++v) scaled_.push_back(uint8_t(meaning.palette.empty() ? (v * 255 + top / 2) / top : v));
}

// The order of bytes comes first: differences are of samples, not of bytes.
void RowConverter::sumUp(uint8_t* row) const {
  auto* const wide = reinterpret_cast<uint16_t*>(row);
  if (layout_.swapped) swapBytes(wide, layout_.rowSamples);
  if (layout_.predictor != kDifferences) return;
  const size_t step = size_t(layout_.samples / layout_.planes);
  if (layout_.bits == 16)
    sumDifferences(wide, layout_.rowSamples, step);
  else
    sumDifferences(row, layout_.rowSamples, step);
}

// A row of one plane, or of all channels (then the planes are one and nothing is spread), to samples `step` apart.
template <class T>
void RowConverter::spread(const uint8_t* row, T* out) const {
  const size_t step = size_t(layout_.planes), n = layout_.rowSamples;
  if (layout_.bits == 8 * int(sizeof(T))) {
    const auto* const in = reinterpret_cast<const T*>(row);
    for (size_t i = 0; i < n; ++i) out[i * step] = in[i];
  } else if (layout_.bits < 8) {
    unpackBits<uint8_t>(row, layout_.bits, n, [&](size_t i, uint8_t v) { out[i * step] = scaled_[v]; });
  } else {
    unpackBits<T>(row, layout_.bits, n, [&](size_t i, T v) { out[i * step] = v; });
  }
}

void RowConverter::takePlane(const uint8_t* row, int plane) {
  if (layout_.bits > 8)
    spread(row, samples_.get() + plane);
  else
    spread(row, samples8() + plane);
}

// Pixels of a palette: the first sample is the index, and another one may be the opacity (8-bit files only).
template <class T>
void RowConverter::lookUp(const T* in, size_t count, uint8_t* out) const {
  const int channels = channelsOf(meaning_.model);
  for (size_t x = 0; x < count; ++x, in += layout_.samples, out += channels) {
    std::memcpy(out, &meaning_.palette[size_t{in[0]} * 3], 3);
    if (meaning_.alpha < 0) continue;
    out[3] = uint8_t(in[meaning_.alpha]);
    for (int c = 0; c < 3 && meaning_.associated; ++c) out[c] = divided<uint8_t>(out[c], out[3], 255);
  }
}

// Channels that the picture has are taken from those of the file, which may have more of them. White-is-zero pictures
// are turned over: for full ranges that is the complement.
template <class T>
void RowConverter::convert(const T* in, size_t count, T* out) const {
  const int channels = channelsOf(meaning_.model), colours = meaning_.colours;
  const int max = (1 << meaning_.depth) - 1;
  const T flip = T(meaning_.inverted ? max : 0);
  for (size_t x = 0; x < count; ++x, in += layout_.samples, out += channels) {
    for (int c = 0; c < colours; ++c) out[c] = in[c] ^ flip;
    if (meaning_.alpha < 0) continue;
    const T alpha = in[meaning_.alpha];
    out[colours] = alpha;
    for (int c = 0; c < colours && meaning_.associated; ++c) out[c] = divided(out[c], alpha, max);
  }
}

// What 256 codes of luma and chroma stand for, by ReferenceBlackWhite (TIFF 6.0, section 20): the code of black and
// that of white of each component, chroma from its middle on. In 16 bits of fraction, bounded so that sums stay in 32
// bits.
void RowConverter::prepareLevels() {
  const double* const level = layout_.levels;
  const auto table = [&](double least, double most, int range, std::vector<int>* out) {
    for (int v = 0; v < 256; ++v)
      out->push_back(int(std::lround(std::clamp((v - least) * range / (most - least), -512.0, 512.0) * 65536)));
  };
  table(level[0], level[1], 255, &luma_);
  table(level[2], level[3], 127, &cb_);
  table(level[4], level[5], 127, &cr_);
}

// ITU-R BT.601; chroma of a unit is that of all of its pixels.
void RowConverter::unitsToPixels(const uint8_t* units, int rowOfUnits, int count, uint8_t* out) const {
  const int subX = layout_.subX, lumas = subX * layout_.subY;
  // The tables hold units of 1/65536.
  const auto rounded = [](double v) { return uint8_t(std::clamp((int(v) + 32768) >> 16, 0, 255)); };
  for (int x = 0; x < count; ++x, out += 3) {
    const uint8_t* const unit = units + size_t(x / subX) * size_t(lumas + 2);
    const int y = luma_[unit[rowOfUnits * subX + x % subX]], cb = cb_[unit[lumas]], cr = cr_[unit[lumas + 1]];
    out[0] = rounded(y + 1.402 * cr);
    out[1] = rounded(y - 0.344136 * cb - 0.714136 * cr);
    out[2] = rounded(y + 1.772 * cb);
  }
}

void RowConverter::toPixels(size_t count, uint8_t* out) const {
  if (!meaning_.palette.empty())
    layout_.bits > 8 ? lookUp(samples_.get(), count, out) : lookUp(samples8(), count, out);
  else if (layout_.bits > 8)
    convert(samples_.get(), count, reinterpret_cast<uint16_t*>(out));
  else
    convert(samples8(), count, out);
}

}  // namespace zelcodecs::tiff
