// Rows go into planes as they come, with their colours transformed; the wavelet works in place when all are there, and
// blocks are coded from the planes.
#include "jpeg2000/tile_encoder.h"

#include <cmath>
#include <cstring>
#include <memory>

namespace zelcodecs::jpeg2000 {
namespace {

constexpr int kRows = 16;            // that one thread takes at once
constexpr int kMostNarrowBits = 10;  // of samples whose coefficients fit 16 bits, with sums of two of them

}  // namespace

struct TileEncoder::Item {
  size_t component;
  int level;  // of the transform, 1 the finest
  Band band;
  Rect area;           // of the block, in the band
  int planeX, planeY;  // in the plane
  EncodedBlock* block;
  std::vector<double> distortions;
  double left = 0;  // after all passes
};

TileEncoder::TileEncoder(const Plan& plan, int index)
    : plan_(plan),
      tile_(plan.grid, index, TileParameters(&plan.styles)),
      reversible_(plan.styles.coding->reversible),
      narrow_(reversible_ && plan.format.bitDepth <= kMostNarrowBits),
      fraction_(reversible_ ? 0 : std::max(1, std::min(8, 22 - plan.format.bitDepth))) {
  for (int c = 0; c < channels(); ++c)
    if (narrow_)
      planes16_.emplace_back(size_t(width()) * size_t(height()));
    else
      planes32_.emplace_back(size_t(width()) * size_t(height()));
}

// ---- Samples --------------------------------------------------------------------------------------------------------

namespace {

template <int channels, class Sample, class Word>
void split(const Sample* from, int width, int shift, Word* const (&to)[4]) {
  for (int x = 0; x < width; ++x)
    for (int c = 0; c < channels; ++c) to[c][x] = Word(from[x * channels + c] - shift);
}

template <class Sample, class Word>
void split(const Sample* from, int channels, int width, int shift, Word* const (&to)[4]) {
  switch (channels) {
    case 1:
      return split<1>(from, width, shift, to);
    case 2:
      return split<2>(from, width, shift, to);
    case 3:
      return split<3>(from, width, shift, to);
    default:
      return split<4>(from, width, shift, to);
  }
}

}  // namespace

template <class Word>
void TileEncoder::loadRow(const uint8_t* from, int y, Planes<Word>* planes) const {
  Word* to[4] = {};
  for (size_t c = 0; c < planes->size(); ++c) to[c] = (*planes)[c].data() + size_t(y) * size_t(width());
  const int shift = 1 << (plan_.format.bitDepth - 1);
  if (plan_.format.bytesPerSample() == 1)
    split(from, channels(), width(), shift, to);
  else
    split(reinterpret_cast<const uint16_t*>(from), channels(), width(), shift, to);
}

void TileEncoder::load(ConstRows rows, int y, Team* team) {
  const int first = std::max(y, tile_.area.y0), end = std::min(y + rows.count, tile_.area.y1);
  const size_t left = size_t(tile_.area.x0) * plan_.format.pixelBytes();
  team->forEach((end - first + kRows - 1) / kRows, [&](int i) {
    const int from = first + i * kRows, to = std::min(end, from + kRows);
    for (int row = from; row < to; ++row)
      if (narrow_)
        loadRow(rows.row(row - y) + left, row - tile_.area.y0, &planes16_);
      else
        loadRow(rows.row(row - y) + left, row - tile_.area.y0, &planes32_);
    transformColours(from - tile_.area.y0, to - tile_.area.y0);
  });
}

namespace {

// Integers to single precision and back with fraction bits, in place.
void toReal(int32_t* p, size_t count) {
  for (int32_t* const end = p + count; p < end; ++p) {
    const float f = float(*p);
    std::memcpy(p, &f, 4);
  }
}

void toFixed(int32_t* p, size_t count, int fraction) {
  const float scale = float(1 << fraction);
  for (int32_t* const end = p + count; p < end; ++p) {
    float f;
    std::memcpy(&f, p, 4);
    f *= scale;
    *p = int32_t(f < 0 ? f - 0.5f : f + 0.5f);
  }
}

}  // namespace

// Of rows of the planes. What is not transformed gets its fraction bits all the same.
void TileEncoder::transformColours(int y0, int y1) {
  const size_t first = size_t(y0) * size_t(width()), count = size_t(y1 - y0) * size_t(width());
  const ZeliSize size = {width(), y1 - y0};
  const bool colour = plan_.styles.tile->colourTransform;
  if (colour && narrow_) {
    int16_t* planes[3];
    for (size_t i = 0; i < 3; ++i) planes[i] = planes16_[i].data() + first;
    require(zeliRCTFwd_JPEG2K_16s_P3IR(planes, width() * 2, size));
  }
  if (narrow_) return;
  int32_t* planes[3];
  float* real[3];
  for (size_t i = 0; i < 3 && colour; ++i) {
    planes[i] = planes32_[i].data() + first;
    real[i] = reinterpret_cast<float*>(planes[i]);
    if (!reversible_) toReal(planes[i], count);
  }
  if (colour && reversible_) require(zeliRCTFwd_JPEG2K_32s_P3IR(planes, width() * 4, size));
  if (reversible_) return;
  if (colour) require(zeliICTFwd_JPEG2K_32f_P3IR(real, width() * 4, size));
  for (size_t i = 0; i < planes32_.size(); ++i) {
    int32_t* const p = planes32_[i].data() + first;
    if (colour && i < 3)
      toFixed(p, count, fraction_);
    else
      for (size_t x = 0; x < count; ++x) p[x] *= 1 << fraction_;
  }
}

// ---- Bands ----------------------------------------------------------------------------------------------------------

void TileEncoder::transform(size_t c) {
  std::vector<uint8_t> buffer;
  for (int r = tile_.levels(int(c)); r > 0; --r) {
    const Rect a = tile_.resolutionArea(int(c), r);
    const ZeliRect rect = {a.x0 & 1, a.y0 & 1, a.width(), a.height()};
    int bytes = 0;
    require((narrow_       ? zeliWTGetBufSize_B53_JPEG2K_16s_C1IR
             : reversible_ ? zeliWTGetBufSize_B53_JPEG2K_32s_C1IR
                           : zeliWTGetBufSize_D97_JPEG2K_32s_C1IR)(&rect, &bytes));
    buffer.resize(size_t(bytes) + 1);
    if (narrow_)
      require(zeliWTFwd_B53_JPEG2K_16s_C1IR(planes16_[c].data(), width() * 2, &rect, buffer.data()));
    else
      require((reversible_ ? zeliWTFwd_B53_JPEG2K_32s_C1IR : zeliWTFwd_D97_JPEG2K_32s_C1IR)(
          planes32_[c].data(), width() * 4, &rect, buffer.data()));
  }
}

// The blocks of a component with their places: LL at the top left of the plane, then HL, LH and HH of each resolution.
std::vector<TileEncoder::Item> TileEncoder::itemsOf(size_t c) {
  std::vector<Item> items;
  const int levels = tile_.levels(int(c));
  for (int r = 0; r <= levels; ++r) {
    const Resolution res = tile_.resolution(int(c), r);
    const Rect below = r ? tile_.resolutionArea(int(c), r - 1) : Rect{};
    for (EncodedTile::Precinct& precinct : blocks_.components[c][size_t(r)])
      for (size_t b = 0; b < precinct.size(); ++b)
        for (size_t i = 0; i < precinct[b].blocks.size(); ++i) {
          const BlockGrid& grid = precinct[b].grid;
          const Band& band = res.bands[b];
          const Rect area = grid.block(int(i) % grid.across, int(i) / grid.across);
          items.push_back({c,
                           r ? levels - r + 1 : levels,
                           band,
                           area,
                           area.x0 - band.area.x0 + (band.kind & 1 ? below.width() : 0),
                           area.y0 - band.area.y0 + (band.kind >> 1 ? below.height() : 0),
                           &precinct[b].blocks[i],
                           {}});
        }
  }
  return items;
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

// A component's plane goes when its blocks are coded.
void TileEncoder::encode(Team* team, ScratchPool<BlockEncoder>* encoders, const Progress& progress) {
  team->forEach(channels(), [&](int c) { transform(size_t(c)); });
  blocks_ = blocksOf(tile_);
  constexpr size_t kPerRound = 256, kPerPiece = 4;
  const CodingStyle& style = *plan_.styles.coding;
  for (size_t c = 0; c < size_t(channels()); ++c) {
    std::vector<Item> items = itemsOf(c);
    for (size_t first = 0; first < items.size(); first += kPerRound) {
      const size_t count = std::min(kPerRound, items.size() - first);
      team->forEach(int((count + kPerPiece - 1) / kPerPiece), [&](int piece) {
        const auto encoder = encoders->lease(
            [&] { return std::make_unique<BlockEncoder>(1 << style.logBlockWidth, 1 << style.logBlockHeight); });
        for (size_t i = size_t(piece) * kPerPiece; i < std::min(count, (size_t(piece) + 1) * kPerPiece); ++i)
          encodeItem(&items[first + i], encoder.get());
      });
      if (progress) progress((double(c) + double(first + count) / double(items.size())) / channels());
    }
    for (Item& item : items) {
      if (!plan_.rateControl) break;
      curves_.emplace_back(item.block, item.distortions);
      distortion_ += item.left + (item.distortions.empty() ? 0 : item.distortions.back());
    }
    if (narrow_)
      planes16_[c] = ZeroedVector<int16_t>();
    else
      planes32_[c] = ZeroedVector<int32_t>();
  }
}

void TileEncoder::encodeItem(Item* item, BlockEncoder* encoder) {
  int32_t words[kMaxBlockSamples];
  const Band& band = item->band;
  const double left = quantise(item->component, band, item->area, item->planeX, item->planeY, words);
  encoder->encode(words, {item->area.width(), item->area.height()}, band.planes, band.kind,
                  plan_.styles.coding->blockStyle, reversible_, item->block,
                  plan_.rateControl ? &item->distortions : nullptr);
  if (!plan_.rateControl) {  // one layer of all passes
    item->block->layerPasses.assign(1, item->block->passes);
    return;
  }
  const double norm =
      basisNorm(item->level, band.kind & 1, reversible_) * basisNorm(item->level, band.kind >> 1, reversible_);
  const double weight = norm * norm * plan_.weights[item->component];
  for (double& d : item->distortions) d *= band.step * band.step * weight;
  item->left = left * weight;
}

namespace {

// The smaller of a number that is not negative and the largest below 2^31. Such numbers are in the order of their bits,
// and integers are compared many at once where floats would be one by one.
float atMost2To31(float x) {
  constexpr int32_t kLargest = 0x4EFFFFFF;  // 2147483520
  int32_t bits;
  std::memcpy(&bits, &x, sizeof x);
  bits = bits < kLargest ? bits : kLargest;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

// Eight sums side by side, so that no addition waits for the one before.
double sumOfSquares(const float* v, int n) {
  constexpr int kSums = 8;
  float sums[kSums] = {};
  int i = 0;
  for (; i + kSums <= n; i += kSums)
    for (int k = 0; k < kSums; ++k) sums[k] += v[i + k] * v[i + k];
  for (; i < n; ++i) sums[0] += v[i] * v[i];
  double all = 0;
  for (const float s : sums) all += double(s);
  return all;
}

}  // namespace

// The block's coefficients as the coder wants them, with what lies below the lowest plane as a fraction. Gives the
// squared errors that a decoder of all planes is left with.
double TileEncoder::quantise(size_t c, const Band& band, const Rect& area, int planeX, int planeY,
                             int32_t* words) const {
  const int below = 31 - band.planes, w = area.width();
  const size_t first = size_t(planeY) * size_t(width()) + size_t(planeX);
  const auto integers = [&](const auto* from) {
    for (int y = 0; y < area.height(); ++y, from += width())
      for (int x = 0; x < w; ++x) {
        const int32_t v = from[x], sign = v >> 31;
        words[y * w + x] = int32_t(uint32_t((v ^ sign) - sign) << below) | (sign & INT32_MIN);
      }
    return 0.0;
  };
  if (narrow_) return integers(planes16_[c].data() + first);
  if (reversible_) return integers(planes32_[c].data() + first);
  const float scale = float(std::ldexp(1 / band.step, below - fraction_));
  const int32_t unit = 1 << below;
  double left = 0;
  for (int y = 0; y < area.height(); ++y) {
    const int32_t* from = planes32_[c].data() + first + size_t(y) * size_t(width());
    float errors[kMaxBlockSamples];
    for (int x = 0; x < w; ++x) {
      const int32_t v = from[x], sign = v >> 31;
      const int32_t m = int32_t(atMost2To31(float((v ^ sign) - sign) * scale));
      words[y * w + x] = m | (sign & INT32_MIN);
      errors[x] = float((m & (unit - 1)) - (-int32_t(m >= unit) & unit / 2));
    }
    left += sumOfSquares(errors, w);
  }
  return left * std::ldexp(band.step * band.step, -2 * below);
}

}  // namespace zelcodecs::jpeg2000
