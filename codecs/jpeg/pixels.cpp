#include "jpeg/pixels.h"

#include <algorithm>
#include <climits>
#include <cstring>

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

McuToPixels mcuToPixels(const Frame& frame, Coding coding, bool smooth) {
  const std::vector<Component>& c = frame.components;
  McuToPixels m;
  if (coding == Coding::grey || coding == Coding::cmyk) return m;
  if (c[1].h != 1 || c[1].v != 1 || c[2].h != 1 || c[2].v != 1) return m;
  if (c.size() == 4 && (c[3].h != c[0].h || c[3].v != c[0].v)) return m;
  const int kind = c[0].h == 1 && c[0].v == 1 ? 0 : c[0].h == 2 && c[0].v == 1 ? 1 : c[0].h == 2 && c[0].v == 2 ? 2 : 3;
  if (kind == 3 || (kind != 0 && (smooth || coding == Coding::rgb))) return m;
  static const McuToPixels::Function ycc[] = {zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R, zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R,
                                              zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R};
  static const McuToPixels::Function ycck[] = {zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R, zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R,
                                               zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R};
  m.width = 8 * c[0].h;
  m.height = 8 * c[0].v;
  m.convert = coding == Coding::rgb   ? zeliSampleUp444LS_MCU_16s8u_P3C3R
              : coding == Coding::ycc ? ycc[kind]
                                      : ycck[kind];
  return m;
}

// ---- Straight into the picture --------------------------------------------------------------------------------------

DirectSink::DirectSink(const Frame& frame, const QuantSteps& quant, McuToPixels pixels, Image* image)
    : pixels_(pixels), image_(image), count_(int(frame.components.size())) {
  for (int i = 0; i < count_; ++i) {
    const Component& c = frame.components[size_t(i)];
    offsets_[i] = planned_;
    for (int b = 0; b < c.h * c.v; ++b) quant_[planned_++] = quant.of[i];
  }
}

void DirectSink::mcu(int x, int y, const int16_t* const* blocks) const {
  alignas(32) Block samples[kMaxBlocksPerFrameMcu];
  for (int b = 0; b < planned_; ++b) zeliDCTQuantInv8x8_JPEG_16s_C1(blocks[b], samples[b], quant_[b]);
  const int16_t* sources[kMaxComponents];
  for (int i = 0; i < count_; ++i) sources[i] = samples[offsets_[i]];
  const int left = x * pixels_.width, top = y * pixels_.height, channels = image_->channels();
  const int wide = std::min(pixels_.width, image_->width() - left),
            high = std::min(pixels_.height, image_->height() - top);
  uint8_t* to = image_->row(top) + left * channels;
  if (wide == pixels_.width && high == pixels_.height) {
    pixels_.convert(sources, to, int(image_->rowBytes()));
    return;
  }
  uint8_t edge[16 * 16 * 4];
  const int step = pixels_.width * channels;
  pixels_.convert(sources, edge, step);
  for (int r = 0; r < high; ++r)
    std::memcpy(to + image_->rowBytes() * size_t(r), edge + r * step, size_t(wide) * size_t(channels));
}

void GreySink::mcu(int x, int y, const int16_t* const* blocks) const {
  const int wide = std::min(8, image_->width() - 8 * x), high = std::min(8, image_->height() - 8 * y);
  uint8_t* to = image_->row(8 * y) + 8 * x;
  if (wide == 8 && high == 8) {
    zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks[0], to, int(image_->rowBytes()), quant_);
    return;
  }
  uint8_t edge[64];
  zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks[0], edge, 8, quant_);
  for (int r = 0; r < high; ++r) std::memcpy(to + image_->rowBytes() * size_t(r), edge + 8 * r, size_t(wide));
}

// ---- Blocks into planes ---------------------------------------------------------------------------------------------

// For a reduced size a coarser component is reduced less, as long as that is a whole number of its samples for each
// pixel: at one half, chroma of 2x2 sampling is transformed in full, and nothing of it is lost.
Planes::Planes(const Frame& frame, Coding coding, int scaleDenominator, bool smooth, Image* image)
    : coding_(coding), smooth_(smooth), image_(image) {
  const int unit = frame.dataUnit(), outBlock = unit / scaleDenominator, mcuWidth = frame.hMax * outBlock;
  mcuRows_ = frame.vMax * outBlock;
  const bool alone = frame.components.size() == 1;  // its factors mean nothing then
  for (const Component& c : frame.components) {
    Plane p;
    p.blockSize = outBlock;
    while (p.blockSize < unit && mcuWidth % (c.h * p.blockSize * 2) == 0 && mcuRows_ % (c.v * p.blockSize * 2) == 0)
      p.blockSize *= 2;
    p.bytesPerSample = image->bytesPerSample();
    p.width = (alone ? c.blocksWide : c.storedWide) * p.blockSize;
    p.height = (alone ? c.blocksHigh : c.storedHigh) * p.blockSize;
    p.across = mcuWidth;
    p.acrossOf = c.h * p.blockSize;
    p.down = mcuRows_;
    p.downOf = c.v * p.blockSize;
    if (alone) p.acrossOf = p.across, p.downOf = p.down;
    p.columns = ceilDiv(image->width() * p.acrossOf, p.across);
    p.rows = ceilDiv(image->height() * p.downOf, p.down);
    p.samples.reset(new uint8_t[p.rowBytes() * size_t(p.height)]);
    planes_.push_back(std::move(p));
  }
  if (alone) mcuRows_ = outBlock;
}

// The one sample of a block at an eighth of the size.
static ZelStatus dcAlone(const int16_t* block, uint8_t* to, int, const uint16_t* quant) {
  uint8_t flat[64];
  const ZelStatus status = zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(block, flat, 8, quant);
  *to = flat[0];
  return status;
}

PlaneSink::Transform PlaneSink::transformTo(int blockSize) {
  switch (blockSize) {
    case 1:
      return dcAlone;
    case 2:
      return zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R;
    case 4:
      return zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R;
  }
  return zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R;
}

PlaneSink::PlaneSink(const Frame& frame, const QuantSteps& quant, const Planes& planes)
    : planes_(planes),
      mcusHigh_(frame.components.size() == 1 ? frame.components[0].blocksHigh : frame.mcusHigh),
      count_(int(frame.components.size())) {
  for (int i = 0; i < count_; ++i) {
    const Component& c = frame.components[size_t(i)];
    const Plane& p = planes.plane(i);
    Target& t = targets_[i];
    t.samples = p.samples.get();
    t.rowBytes = p.rowBytes();
    t.blockRows = size_t(p.blockSize);
    t.blockBytes = size_t(p.blockSize) * size_t(p.bytesPerSample);
    t.h = count_ > 1 ? c.h : 1;
    t.v = count_ > 1 ? c.v : 1;
    t.transform = p.bytesPerSample == 1 ? transformTo(p.blockSize) : nullptr;
    t.quant = quant.of[i];
    for (int k = 0; k < 64; ++k) t.quantFloat[k] = t.quant[k];
  }
}

void PlaneSink::mcu(int x, int y, const int16_t* const* blocks) const {
  for (int i = 0; i < count_; ++i) {
    const Target& t = targets_[i];
    const int step = int(t.rowBytes);
    uint8_t* row = t.samples + size_t(y * t.v) * t.blockRows * t.rowBytes + size_t(x * t.h) * t.blockBytes;
    for (int v = 0; v < t.v; ++v, row += t.blockRows * t.rowBytes) {
      uint8_t* to = row;
      for (int h = 0; h < t.h; ++h, to += t.blockBytes, ++blocks) {
        if (t.transform)
          t.transform(*blocks, to, step, t.quant);
        else
          storeDeep(t, *blocks, to);
      }
    }
  }
}

// The last row waits for the one below it, which interpolation may need.
void PlaneSink::rowDone(int row) {
  const int to = row + 1 == mcusHigh_ ? INT_MAX : (row + 1) * planes_.mcuRows() - 1;
  planes_.convert(converted_, to);
  converted_ = to;
}

// 12-bit samples have no reduced transforms: the means of the full one.
void PlaneSink::storeDeep(const Target& t, const int16_t* block, uint8_t* to) {
  const int n = int(t.blockRows), group = 8 / n;
  if (n == 8) {
    zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, reinterpret_cast<uint16_t*>(to), int(t.rowBytes), t.quantFloat);
    return;
  }
  uint16_t full[64];
  zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, full, 16, t.quantFloat);
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
void smoothRow(const uint8_t* s, int n, uint8_t* to) { zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(s, n, to); }
void smoothRow(const uint8_t* near, const uint8_t* far, int n, uint8_t* to) {
  zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, far, n, to);
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

// Pixel by pixel, for the kinds of file that have no primitive: the formulas of JFIF in 14-bit fixed point.
template <class Sample>
void convertRow(Coding coding, const Sample* const rows[], int count, int width, int top, Sample* to) {
  const int middle = (top + 1) / 2;
  const auto clamp = [top](int v) { return static_cast<Sample>(std::clamp(v, 0, top)); };
  if (coding != Coding::ycc && coding != Coding::ycck) {
    for (int x = 0; x < width; ++x)
      for (int i = 0; i < count; ++i) *to++ = rows[i][x];
    return;
  }
  const bool ink = coding == Coding::ycck;
  for (int x = 0; x < width; ++x, to += count) {
    const int y = rows[0][x], cb = rows[1][x] - middle, cr = rows[2][x] - middle;
    const int r = y + ((22970 * cr + 8192) >> 14), b = y + ((29032 * cb + 8192) >> 14);
    const int g = y + ((-5638 * cb - 11700 * cr + 8192) >> 14);
    to[0] = clamp(ink ? top - r : r);
    to[1] = clamp(ink ? top - g : g);
    to[2] = clamp(ink ? top - b : b);
    if (ink) to[3] = rows[3][x];
  }
}

}  // namespace

// Row y of the picture in samples of a component, brought to the full width: interpolated where a component is halved,
// replicated in other ratios. The row itself where nothing is to do.
template <class Sample>
const Sample* Planes::fullRow(const Plane& p, int y, Sample* scratch) const {
  const auto row = [&](int r) { return reinterpret_cast<const Sample*>(p.row(r)); };
  const bool halfColumns = p.across == 2 * p.acrossOf, halfRows = p.down == 2 * p.downOf;
  const bool allColumns = p.across == p.acrossOf, allRows = p.down == p.downOf;
  const int at = y * p.downOf / p.down;
  const Sample* const near = row(at);
  if (smooth_ && halfRows && (halfColumns || allColumns)) {
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
  if (smooth_ && halfColumns && allRows) {
    smoothRow(near, p.columns, scratch);
  } else if (halfColumns) {
    for (int x = 0; x < p.columns; ++x) scratch[2 * x] = scratch[2 * x + 1] = near[x];
  } else {
    for (int x = 0; x < image_->width(); ++x) scratch[x] = near[x * p.acrossOf / p.across];
  }
  return scratch;
}

template <class Sample>
void Planes::convertRows(int from, int to) const {
  const size_t count = planes_.size(), pitch = size_t(image_->width()) + 2;
  const std::unique_ptr<Sample[]> scratch(new Sample[pitch * count]);
  const int step = int(image_->rowBytes());
  for (int y = from; y < to; ++y) {
    const Sample* rows[kMaxComponents] = {};
    for (size_t i = 0; i < count; ++i) rows[i] = fullRow(planes_[i], y, scratch.get() + i * pitch);
    Sample* const out = reinterpret_cast<Sample*>(image_->row(y));
    if constexpr (sizeof(Sample) == 1) {
      const ZeliSize line = {image_->width(), 1};
      if (coding_ == Coding::ycc) {
        zeliYCbCrToRGB_JPEG_8u_P3C3R(rows, step, out, step, line);
        continue;
      }
      if (coding_ == Coding::ycck) {
        zeliYCCKToCMYK_JPEG_8u_P4C4R(rows, step, out, step, line);
        continue;
      }
    }
    convertRow(coding_, rows, int(count), image_->width(), image_->maxValue(), out);
  }
}

void Planes::convert(int from, int to) const {
  to = std::min(to, image_->height());
  if (image_->bytesPerSample() == 1)
    convertRows<uint8_t>(from, to);
  else
    convertRows<uint16_t>(from, to);
}

void Planes::convertRest(int from, int threads) const {
  constexpr int kRows = 16;
  if (from >= image_->height()) return;
  const int pieces = ceilDiv(image_->height() - from, kRows);
#pragma omp parallel for num_threads(threads)
  for (int i = 0; i < pieces; ++i) convert(from + i * kRows, from + (i + 1) * kRows);
}

}  // namespace zelcodecs::jpeg
