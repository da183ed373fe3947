// Transforms into planes, and planes into pictures.
#include "jpeg/planes.h"

#include <algorithm>
#include <cstring>

#include "jpeg/serial.h"

namespace zelcodecs::jpeg {

// With three components the Adobe marker decides, then the JFIF marker, then component numbers that spell RGB. Lossless
// files without any of these are not converted: they mostly come from where no sample may change.
Coding codingOf(const Reader& reader) {
  const std::vector<Component>& c = reader.frame().components;
  const int adobe = reader.adobeTransform();
  switch (c.size()) {
    case 1:
      return Coding::grey;
    case 3:
      if (adobe >= 0) return adobe == 0 ? Coding::rgb : Coding::ycc;
      if (reader.jfif()) return Coding::ycc;
      if (c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B') return Coding::rgb;
      return reader.frame().process == kSOF3 ? Coding::rgb : Coding::ycc;
    case 4:
      return adobe == 2 ? Coding::ycck : Coding::cmyk;
  }
  throw Error(ErrorKind::unsupported, "a file with " + std::to_string(c.size()) + " components", reader.frame().offset);
}

// ---- Planes ---------------------------------------------------------------------------------------------------------

// For a reduced size a coarser component is reduced less, as long as that is a whole number of its samples for each
// pixel: at one half, chroma of 2x2 sampling is transformed in full, and nothing of it is lost.
Planes::Planes(const Frame& frame, const PictureOptions& options, int mcuRowsHeld)
    : options_(options), mcuRows_(mcuRows(frame, options.scaleDenominator)) {
  const int unit = frame.dataUnit(), outBlock = unit / options.scaleDenominator;
  const int mcuWidth = frame.hMax * outBlock, mcuHeight = frame.vMax * outBlock;
  const bool alone = frame.components.size() == 1;  // its factors mean nothing then
  for (const Component& c : frame.components) {
    Plane p;
    p.blockSize = outBlock;
    while (p.blockSize < unit && mcuWidth % (c.h * p.blockSize * 2) == 0 && mcuHeight % (c.v * p.blockSize * 2) == 0)
      p.blockSize *= 2;
    p.bytesPerSample = options.format.bytesPerSample();
    p.width = (alone ? c.blocksWide : c.storedWide) * p.blockSize;
    p.heldRows = (alone ? 1 : c.v) * p.blockSize * mcuRowsHeld;
    p.across = mcuWidth;
    p.acrossOf = c.h * p.blockSize;
    p.down = mcuHeight;
    p.downOf = c.v * p.blockSize;
    if (alone) p.acrossOf = p.across, p.downOf = p.down;
    p.columns = ceilDiv(options.format.width * p.acrossOf, p.across);
    p.rows = ceilDiv(options.format.height * p.downOf, p.down);
    p.samples.reset(new uint8_t[p.rowBytes() * size_t(p.heldRows)]);
    if (p.bytesPerSample == 1)
      begin<uint8_t>(&p);
    else
      begin<uint16_t>(&p);
    planes_.push_back(std::move(p));
  }
}

template <class Sample>
void Planes::begin(Plane* p) const {
  Sample* const samples = reinterpret_cast<Sample*>(p->samples.get());
  std::fill_n(samples, size_t(p->width) * size_t(p->heldRows),
              static_cast<Sample>(1 << (options_.format.bitDepth - 1)));
}

uint64_t Planes::rowBytes(const Frame& frame, int bytesPerSample) {
  uint64_t units = 0;
  for (const Component& c : frame.components) units += uint64_t(c.storedWide) * uint64_t(c.v);
  return units * uint64_t(frame.dataUnit() * frame.dataUnit() * bytesPerSample);
}

// ---- Blocks into planes ---------------------------------------------------------------------------------------------

// The one sample of a block at an eighth of the size: its mean, rounded, which the primitive for it truncates.
static ZelStatus dcAlone(const int16_t* block, uint8_t* to, int, const uint16_t* quant) {
  *to = uint8_t(std::clamp(((block[0] * int(quant[0]) + 4) >> 3) + 128, 0, 255));
  return zelStsNoErr;
}

// At full size blocks with few coefficients take less work, and give the same samples.
void Transforms::chooseTransforms(int blockSize, Transform to[3]) {
  std::fill(to, to + 3,
            blockSize == 1   ? dcAlone
            : blockSize == 2 ? zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R
            : blockSize == 4 ? zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R
                             : zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R);
  if (blockSize < 8) return;
  to[0] = zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R;
  to[1] = zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R;
}

Transforms::Transforms(const Frame& frame, const QuantSteps& quant, const Planes& planes, const Region& wanted)
    : wanted_(wanted), count_(int(frame.components.size())) {
  for (int i = 0; i < count_; ++i) {
    const Component& c = frame.components[size_t(i)];
    const Plane& p = planes.plane(i);
    Target& t = targets_[i];
    const int h = count_ > 1 ? c.h : 1, v = count_ > 1 ? c.v : 1;
    const size_t blockBytes = size_t(p.blockSize) * size_t(p.bytesPerSample);
    const size_t blockRowBytes = size_t(p.blockSize) * p.rowBytes();
    t.samples = p.samples.get();
    t.blockSize = p.blockSize;
    t.rowBytes = int(p.rowBytes());
    t.mcuBytes = size_t(h) * blockBytes;
    t.mcuRowBytes = size_t(v) * blockRowBytes;
    for (int k = 0; k < h * v; ++k)
      places_[blocks_++] = {i, size_t(k / h) * blockRowBytes + size_t(k % h) * blockBytes};
    mcuRowsHeld_ = p.heldRows / (v * p.blockSize);  // the same for all components
    std::fill(t.transform, t.transform + 3, nullptr);
    if (p.bytesPerSample == 1) chooseTransforms(p.blockSize, t.transform);
    std::copy_n(quant.of[i], 64, t.quant);
    for (int k = 0; k < 64; ++k) t.quantFloat[k] = k ? t.quant[k] : 1;
  }
}

void Transforms::mcu(int x, int y, const int16_t* const* blocks, const int8_t* last) const {
  if (y < wanted_.y || y >= wanted_.y + wanted_.height || x < wanted_.x || x >= wanted_.x + wanted_.width) return;
  const size_t held = size_t(y % mcuRowsHeld_);
  uint8_t* mcus[kMaxComponents];
  for (int i = 0; i < count_; ++i)
    mcus[i] = targets_[i].samples + held * targets_[i].mcuRowBytes + size_t(x) * targets_[i].mcuBytes;
  for (int b = 0; b < blocks_; ++b) {
    const Target& t = targets_[places_[b].component];
    uint8_t* const to = mcus[places_[b].component] + places_[b].offset;
    // Zigzag positions up to 2 lie in the top left 2x2, those up to 9 in 4x4.
    const int corner = last ? (last[b] > 2) + (last[b] > 9) : 2;
    if (const Transform transform = t.transform[corner])
      require(transform(blocks[b], to, t.rowBytes, t.quant));
    else
      storeDeep(t, blocks[b], to);
  }
}

// The transform to 12 bits truncates. Half a sample more, which is 8 / 2 in the DC coefficient, makes that rounding. It
// is no multiple of most steps, so this coefficient goes in with its step applied. Reduced sizes are means of the full
// one.
void Transforms::storeDeep(const Target& t, const int16_t* block, uint8_t* to) {
  Block biased;
  std::memcpy(biased, block, sizeof biased);
  biased[0] = int16_t(std::clamp(block[0] * int(t.quant[0]) + 4, INT16_MIN, INT16_MAX));
  const int n = t.blockSize, group = 8 / n;
  if (n == 8) {
    require(
        zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(biased, reinterpret_cast<uint16_t*>(to), int(t.rowBytes), t.quantFloat));
    return;
  }
  uint16_t full[64];
  require(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(biased, full, 16, t.quantFloat));
  for (int r = 0; r < n; ++r, to += t.rowBytes)
    for (int c = 0; c < n; ++c) {
      int sum = group * group / 2;
      for (int i = 0; i < group * group; ++i) sum += full[(r * group + i / group) * 8 + c * group + i % group];
      reinterpret_cast<uint16_t*>(to)[c] = uint16_t(sum / (group * group));
    }
}

// ---- Planes into the picture ----------------------------------------------------------------------------------------

namespace {

// The triangle filters. 8-bit samples have primitives; these are their formulas for deeper ones.
void smoothRow(const uint8_t* s, int n, uint8_t* to) { require(zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(s, n, to)); }
void smoothRow(const uint8_t* near, const uint8_t* far, int n, uint8_t* to) {
  require(zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, far, n, to));
}
void smoothRow(const uint16_t* s, int n, uint16_t* to) {
  for (int i = 0; i < n; ++i) {
    to[2 * i] = uint16_t((3 * s[i] + s[std::max(i - 1, 0)] + 1) >> 2);
    to[2 * i + 1] = uint16_t((3 * s[i] + s[std::min(i + 1, n - 1)] + 2) >> 2);
  }
}
void smoothRow(const uint16_t* near, const uint16_t* far, int n, uint16_t* to) {
  const auto c = [&](int i) { return 3 * near[i] + far[i]; };
  for (int i = 0; i < n; ++i) {
    to[2 * i] = uint16_t((3 * c(i) + c(std::max(i - 1, 0)) + 8) >> 4);
    to[2 * i + 1] = uint16_t((3 * c(i) + c(std::min(i + 1, n - 1)) + 7) >> 4);
  }
}

// Each sample two times. The compiler has to know that the rows are apart.
template <class Sample>
void twice(const Sample* __restrict s, int n, Sample* __restrict to) {
  for (int i = 0; i < n; ++i) {
    to[2 * i] = s[i];
    to[2 * i + 1] = s[i];
  }
}

// Pixel by pixel, for the depths that have no primitive: the formulas of JFIF in 14-bit fixed point.
template <class Sample>
void yccToPixels(const Sample* const rows[], int width, int top, bool ink, Sample* to) {
  const int middle = (top + 1) / 2;
  const auto clamp = [top](int v) { return static_cast<Sample>(std::clamp(v, 0, top)); };
  for (int x = 0; x < width; ++x, to += ink ? 4 : 3) {
    const int y = rows[0][x], cb = rows[1][x] - middle, cr = rows[2][x] - middle;
    const int r = y + ((22970 * cr + 8192) >> 14), b = y + ((29032 * cb + 8192) >> 14);
    const int g = y + ((-5638 * cb - 11700 * cr + 8192) >> 14);
    to[0] = clamp(ink ? top - r : r);
    to[1] = clamp(ink ? top - g : g);
    to[2] = clamp(ink ? top - b : b);
    if (ink) to[3] = rows[3][x];
  }
}

template <int count, class Sample>
void interleave(const Sample* const rows[], int width, Sample* to) {
  for (int x = 0; x < width; ++x)
    for (int i = 0; i < count; ++i) to[x * count + i] = rows[i][x];
}

}  // namespace

bool Planes::interpolatesRows(const Plane& p) const {
  return options_.smooth && p.down == 2 * p.downOf && (p.across == 2 * p.acrossOf || p.across == p.acrossOf);
}

// Row y of the picture, which lies in row `at` of a component, in its samples brought to the full width: interpolated
// where a component is halved, replicated in other ratios. The row itself where nothing is to do.
template <class Sample>
const Sample* Planes::fullRow(const Plane& p, int y, int at, Sample* scratch) const {
  const auto row = [&](int r) { return reinterpret_cast<const Sample*>(p.row(r)); };
  const bool halfColumns = p.across == 2 * p.acrossOf, allColumns = p.across == p.acrossOf;
  const Sample* const near = row(at);
  if (interpolatesRows(p)) {
    const Sample* const far = row(std::clamp(at + (y & 1 ? 1 : -1), 0, p.rows - 1));
    if (halfColumns) {
      smoothRow(near, far, p.columns, scratch);
    } else {
      const int bias = y & 1 ? 2 : 1;
      for (int x = 0; x < p.columns; ++x) scratch[x] = static_cast<Sample>((3 * near[x] + far[x] + bias) >> 2);
    }
    return scratch;
  }
  if (allColumns) return near;
  if (options_.smooth && halfColumns && p.down == p.downOf) {
    smoothRow(near, p.columns, scratch);
  } else if (halfColumns) {
    twice(near, p.columns, scratch);
  } else {
    for (int x = 0; x < options_.format.width; ++x) scratch[x] = near[x * p.acrossOf / p.across];
  }
  return scratch;
}

template <class Sample>
void Planes::convertRow(const Sample* const rows[], Sample* to) const {
  const int width = options_.format.width, top = options_.format.maxValue();
  const Coding coding = options_.coding;
  if (coding == Coding::ycc || coding == Coding::ycck) {
    const bool ink = coding == Coding::ycck;
    if constexpr (sizeof(Sample) == 1)
      inSerialPieces({width, 1}, [&](int x, int, ZeliSize size) {
        const uint8_t* from[kMaxComponents] = {};
        for (int i = 0; i < options_.format.channels(); ++i) from[i] = rows[i] + x;
        require(ink ? zeliYCCKToCMYK_JPEG_8u_P4C4R(from, width, to + 4 * x, 4 * width, size)
                    : zeliYCbCrToRGB_JPEG_8u_P3C3R(from, width, to + 3 * x, 3 * width, size));
      });
    else
      yccToPixels(rows, width, top, ink, to);
  } else if (coding == Coding::grey) {
    std::memcpy(to, rows[0], options_.format.rowBytes());
  } else if (coding == Coding::rgb) {
    interleave<3>(rows, width, to);
  } else {
    interleave<4>(rows, width, to);
  }
  if (options_.inverted)
    for (int i = 0; i < width * options_.format.channels(); ++i) to[i] = static_cast<Sample>(top - to[i]);
}

template <class Sample>
void Planes::convertRows(int from, Rows to) const {
  const size_t count = planes_.size(), pitch = size_t(options_.format.width) + 2;
  const std::unique_ptr<Sample[]> scratch(new Sample[pitch * count]);
  const Sample* rows[kMaxComponents] = {};
  int shown[kMaxComponents] = {-1, -1, -1, -1};  // the row of samples that each is made of
  for (int y = from; y < from + to.count; ++y) {
    for (size_t i = 0; i < count; ++i) {
      const Plane& p = planes_[i];
      const int at = int(int64_t{y} * p.downOf / p.down);
      if (at == shown[i] && !interpolatesRows(p)) continue;
      rows[i] = fullRow(p, y, at, scratch.get() + i * pitch);
      shown[i] = at;
    }
    convertRow(rows, reinterpret_cast<Sample*>(to.row(y - from)));
  }
}

void Planes::convert(int from, Rows to) const {
  if (options_.format.bytesPerSample() == 1)
    convertRows<uint8_t>(from, to);
  else
    convertRows<uint16_t>(from, to);
}

}  // namespace zelcodecs::jpeg
