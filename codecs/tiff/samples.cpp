// Depths, planes, predictors and meanings of samples.
#include "tiff/samples.h"

#include <algorithm>
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

template <class T>
void takeDifferences(T* row, size_t n, size_t step) {
  for (size_t i = n; i-- > step;) row[i] = T(row[i] - row[i - step]);
}

template void sumDifferences(uint8_t*, size_t, size_t);
template void sumDifferences(uint16_t*, size_t, size_t);
template void takeDifferences(uint8_t*, size_t, size_t);
template void takeDifferences(uint16_t*, size_t, size_t);

RowConverter::RowConverter(const Layout& layout, const Meaning& meaning)
    : layout_(layout),
      meaning_(meaning),
      asItIs_(layout.planes == 1 && (layout.bits == 8 || layout.bits == 16) && meaning.palette.empty() &&
              !meaning.inverted && !layout.units() && !meaning.associated &&
              layout.samples == channelsOf(meaning.model)) {
  if (asItIs_) return;
  samples_.reset(new uint16_t[layout.rowSamples * size_t(layout.planes)]());
  if (layout.bits >= 8) return;
  const int top = (1 << layout.bits) - 1;
  for (int v = 0; v <= top; ++v) scaled_.push_back(uint8_t(meaning.palette.empty() ? (v * 255 + top / 2) / top : v));
}

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

// ITU-R BT.601 with luma of 0 to 255 and chroma around 128, in 16 bits of fraction; chroma of a unit is that of its pixels.
void RowConverter::unitsToPixels(const uint8_t* units, int rowOfUnits, int count, uint8_t* out) const {
  const int subX = layout_.subX, lumas = subX * layout_.subY;
  const auto clamped = [](int v) { return uint8_t(std::clamp((v + 32768) >> 16, 0, 255)); };
  for (int x = 0; x < count; ++x, out += 3) {
    const uint8_t* const unit = units + size_t(x / subX) * size_t(lumas + 2);
    const int y = unit[rowOfUnits * subX + x % subX] * 65536, cb = unit[lumas] - 128, cr = unit[lumas + 1] - 128;
    out[0] = clamped(y + 91881 * cr);
    out[1] = clamped(y - 22554 * cb - 46802 * cr);
    out[2] = clamped(y + 116130 * cb);
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
