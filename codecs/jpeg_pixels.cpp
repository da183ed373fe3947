#include "jpeg_pixels.h"

#include <algorithm>
#include <cstring>

namespace zelcodecs::jpeg {
namespace {

const uint16_t* inverseTable(const Reader& reader, int component) {
  const Component& c = reader.frame().components[static_cast<size_t>(component)];
  const QuantTable& t = reader.quantTable(c.quantTable);
  if (!t.present)
    throw Error(ErrorKind::damaged, "a scan uses a quantisation table that is not there", reader.position());
  return t.inverse;
}

}  // namespace

// With three components the Adobe marker decides, then the JFIF marker, then component numbers that spell RGB.
Coding codingOf(const Reader& reader) {
  const std::vector<Component>& c = reader.frame().components;
  const int adobe = reader.adobeTransform();
  switch (c.size()) {
    case 1:
      return Coding::grey;
    case 3:
      if (adobe >= 0) return adobe == 0 ? Coding::rgb : Coding::ycc;
      if (!reader.jfif() && c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B') return Coding::rgb;
      return Coding::ycc;
    case 4:
      return adobe == 2 ? Coding::ycck : Coding::cmyk;
  }
  throw Error(ErrorKind::unsupported, "a file with " + std::to_string(c.size()) + " components", reader.frame().offset);
}

McuToPixels mcuToPixels(const Frame& frame, Coding coding) {
  const std::vector<Component>& c = frame.components;
  McuToPixels m;
  if (coding == Coding::grey || coding == Coding::cmyk) return m;
  if (c[1].h != 1 || c[1].v != 1 || c[2].h != 1 || c[2].v != 1) return m;
  if (c.size() == 4 && (c[3].h != c[0].h || c[3].v != c[0].v)) return m;
  const int kind = c[0].h == 1 && c[0].v == 1 ? 0 : c[0].h == 2 && c[0].v == 1 ? 1 : c[0].h == 2 && c[0].v == 2 ? 2 : 3;
  if (kind == 3 || (coding == Coding::rgb && kind != 0)) return m;
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

DirectSink::DirectSink(const Reader& reader, const Scan& scan, McuToPixels pixels, Image* image)
    : pixels_(pixels), image_(image), channels_(image->channels()), count_(scan.count) {
  for (int i = 0; i < scan.count; ++i) {
    const int component = scan.parts[i].component;
    const Component& c = reader.frame().components[static_cast<size_t>(component)];
    offsets_[component] = planned_;
    for (int b = 0; b < c.h * c.v; ++b) plan_[planned_++].inverse = inverseTable(reader, component);
  }
}

void DirectSink::mcu(int x, int y, Block* blocks) {
  for (int b = 0; b < planned_; ++b) zeliDCTQuantInv8x8_JPEG_16s_C1I(blocks[b], plan_[b].inverse);
  const int16_t* sources[kMaxComponents];
  for (int i = 0; i < count_; ++i) sources[i] = blocks[offsets_[i]];
  const int left = x * pixels_.width, top = y * pixels_.height;
  const int wide = std::min(pixels_.width, image_->width() - left),
            high = std::min(pixels_.height, image_->height() - top);
  uint8_t* to = image_->row(top) + left * channels_;
  if (wide == pixels_.width && high == pixels_.height) {
    pixels_.convert(sources, to, static_cast<int>(image_->rowBytes()));
    return;
  }
  const int step = pixels_.width * channels_;
  pixels_.convert(sources, edge_, step);
  for (int r = 0; r < high; ++r)
    std::memcpy(to + image_->rowBytes() * static_cast<size_t>(r), edge_ + r * step,
                static_cast<size_t>(wide * channels_));
}

GreySink::GreySink(const Reader& reader, Image* image) : image_(image), inverse_(inverseTable(reader, 0)) {}

void GreySink::mcu(int x, int y, Block* blocks) {
  const int wide = std::min(8, image_->width() - 8 * x), high = std::min(8, image_->height() - 8 * y);
  uint8_t* to = image_->row(8 * y) + 8 * x;
  if (wide == 8 && high == 8) {
    zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks[0], to, static_cast<int>(image_->rowBytes()), inverse_);
    return;
  }
  uint8_t edge[64];
  zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks[0], edge, 8, inverse_);
  for (int r = 0; r < high; ++r)
    std::memcpy(to + image_->rowBytes() * static_cast<size_t>(r), edge + 8 * r, static_cast<size_t>(wide));
}

// ---- By way of planes -----------------------------------------------------------------------------------------------

// For a reduced size a coarser component is reduced less, as long as that is a whole number of its samples for each
// pixel: at one half, chroma of 2x2 sampling is transformed in full, and nothing of it is lost.
Planes::Planes(const Reader& reader, int scaleDenominator) : frame_(reader.frame()), outBlock_(8 / scaleDenominator) {
  for (const Component& c : frame_.components) {
    Plane p;
    p.blockSize = outBlock_;
    while (p.blockSize < 8 && (frame_.hMax * outBlock_) % (c.h * p.blockSize * 2) == 0 &&
           (frame_.vMax * outBlock_) % (c.v * p.blockSize * 2) == 0)
      p.blockSize *= 2;
    p.bytesPerSample = frame_.precision > 8 ? 2 : 1;
    p.width = c.storedWide * p.blockSize;
    p.height = c.storedHigh * p.blockSize;
    p.samples.reset(new uint8_t[p.rowBytes() * static_cast<size_t>(p.height)]);
    planes_.push_back(std::move(p));
  }
}

void Planes::fillGrey() {
  for (const Plane& p : planes_) {
    const size_t bytes = p.rowBytes() * static_cast<size_t>(p.height);
    if (p.bytesPerSample == 1)
      std::memset(p.samples.get(), 128, bytes);
    else
      std::fill_n(reinterpret_cast<uint16_t*>(p.samples.get()), bytes / 2, uint16_t{2048});
  }
}

// The one sample of a block at an eighth of the size.
static ZelStatus dcAlone(const int16_t* block, uint8_t* to, int, const uint16_t* inverse) {
  uint8_t flat[64];
  const ZelStatus status = zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(block, flat, 8, inverse);
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

PlaneSink::PlaneSink(const Reader& reader, const Scan& scan, Planes* planes) : count_(scan.count) {
  for (int i = 0; i < count_; ++i) {
    const int component = scan.parts[i].component;
    const Component& c = reader.frame().components[static_cast<size_t>(component)];
    const Plane& p = planes->plane(component);
    Target& t = targets_[i];
    t.samples = p.samples.get();
    t.rowBytes = p.rowBytes();
    t.blockRows = static_cast<size_t>(p.blockSize);
    t.blockBytes = static_cast<size_t>(p.blockSize * p.bytesPerSample);
    t.h = scan.interleaved() ? c.h : 1;
    t.v = scan.interleaved() ? c.v : 1;
    t.transform = p.bytesPerSample == 1 ? transformTo(p.blockSize) : nullptr;
    t.inverse = inverseTable(reader, component);
    for (int k = 0; k < 64; ++k) t.inverseFloat[k] = t.inverse[k];
  }
}

void PlaneSink::mcu(int x, int y, Block* blocks) {
  for (int i = 0; i < count_; ++i) {
    const Target& t = targets_[i];
    const int step = static_cast<int>(t.rowBytes);
    uint8_t* row = t.samples + static_cast<size_t>(y * t.v) * t.blockRows * t.rowBytes +
                   static_cast<size_t>(x * t.h) * t.blockBytes;
    for (int v = 0; v < t.v; ++v, row += t.blockRows * t.rowBytes) {
      uint8_t* to = row;
      for (int h = 0; h < t.h; ++h, to += t.blockBytes, ++blocks) {
        if (t.transform)
          t.transform(*blocks, to, step, t.inverse);
        else
          storeDeep(t, *blocks, to);
      }
    }
  }
}

// 12-bit samples have no reduced transforms: the means of the full one.
void PlaneSink::storeDeep(const Target& t, const int16_t* block, uint8_t* to) {
  const int n = static_cast<int>(t.blockRows), group = 8 / n;
  if (n == 8) {
    zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, reinterpret_cast<uint16_t*>(to), static_cast<int>(t.rowBytes),
                                         t.inverseFloat);
    return;
  }
  uint16_t full[64];
  zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, full, 16, t.inverseFloat);
  for (int r = 0; r < n; ++r, to += t.rowBytes)
    for (int c = 0; c < n; ++c) {
      int sum = group * group / 2;
      for (int i = 0; i < group * group; ++i) sum += full[(r * group + i / group) * 8 + c * group + i % group];
      reinterpret_cast<uint16_t*>(to)[c] = static_cast<uint16_t>(sum / (group * group));
    }
}

// Which sample of a component each column of the picture takes.
struct Planes::Map {
  int num, den;  // samples of the component for so many of the picture
  std::vector<int> at;
};

Planes::Map Planes::columns(int component, int outWidth) const {
  const size_t i = static_cast<size_t>(component);
  Map m{frame_.components[i].h * planes_[i].blockSize, frame_.hMax * outBlock_, {}};
  for (int x = 0; x < outWidth; ++x) m.at.push_back(x * m.num / m.den);
  return m;
}

int Planes::rowOf(int component, int y) const {
  const size_t i = static_cast<size_t>(component);
  return y * frame_.components[i].v * planes_[i].blockSize / (frame_.vMax * outBlock_);
}

// Row by row: each component replicated to the full width, where it is not of that width, and one call for the colours.
void Planes::convert(Coding coding, Image* image, const Progress& progress) const {
  if (coding == Coding::grey) return convertGrey(image);
  if (frame_.precision > 8) return convertScalar<uint16_t>(coding, image);
  if (coding == Coding::rgb || coding == Coding::cmyk) return convertScalar<uint8_t>(coding, image);

  const size_t count = planes_.size(), width = static_cast<size_t>(image->width());
  std::vector<Map> maps;
  std::vector<std::vector<uint8_t>> wide(count);
  const uint8_t* rows[kMaxComponents] = {};
  const uint8_t* sources[kMaxComponents] = {};  // of what is in wide: several rows of the picture can share one
  for (size_t i = 0; i < count; ++i) {
    maps.push_back(columns(static_cast<int>(i), image->width()));
    wide[i].resize(width + 1);
  }
  const int step = static_cast<int>(image->rowBytes());
  for (int y = 0; y < image->height(); ++y) {
    if (progress && y % 128 == 0) progress(static_cast<double>(y) / image->height());
    for (size_t i = 0; i < count; ++i) {
      const Map& m = maps[i];
      const uint8_t* from = planes_[i].row(rowOf(static_cast<int>(i), y));
      rows[i] = m.num == m.den ? from : wide[i].data();
      if (m.num == m.den || sources[i] == from) continue;
      sources[i] = from;
      uint8_t* to = wide[i].data();
      if (2 * m.num == m.den) {
        for (size_t x = 0; x < width; x += 2) to[x] = to[x + 1] = from[x / 2];
      } else {
        for (size_t x = 0; x < width; ++x) to[x] = from[m.at[x]];
      }
    }
    if (coding == Coding::ycc)
      zeliYCbCrToRGB_JPEG_8u_P3C3R(rows, step, image->row(y), step, {image->width(), 1});
    else
      zeliYCCKToCMYK_JPEG_8u_P4C4R(rows, step, image->row(y), step, {image->width(), 1});
  }
}

void Planes::convertGrey(Image* image) const {
  for (int y = 0; y < image->height(); ++y) std::memcpy(image->row(y), planes_[0].row(y), image->rowBytes());
}

// Pixel by pixel, for the kinds of file that have no primitive: the formulas of JFIF in 14-bit fixed point.
template <class Sample>
void Planes::convertScalar(Coding coding, Image* image) const {
  const int count = static_cast<int>(planes_.size());
  const int top = image->maxValue(), middle = (top + 1) / 2;
  std::vector<Map> maps;
  for (int i = 0; i < count; ++i) maps.push_back(columns(i, image->width()));
  const auto clamp = [top](int v) { return static_cast<Sample>(std::clamp(v, 0, top)); };
  for (int y = 0; y < image->height(); ++y) {
    const Sample* rows[kMaxComponents] = {};
    for (int i = 0; i < count; ++i)
      rows[i] = reinterpret_cast<const Sample*>(planes_[static_cast<size_t>(i)].row(rowOf(i, y)));
    Sample* to = reinterpret_cast<Sample*>(image->row(y));
    for (int x = 0; x < image->width(); ++x, to += count) {
      int v[kMaxComponents] = {};
      for (int i = 0; i < count; ++i) v[i] = rows[i][maps[static_cast<size_t>(i)].at[static_cast<size_t>(x)]];
      if (coding == Coding::ycc || coding == Coding::ycck) {
        const int cb = v[1] - middle, cr = v[2] - middle;
        const int r = v[0] + ((22970 * cr + 8192) >> 14), b = v[0] + ((29032 * cb + 8192) >> 14);
        const int g = v[0] + ((-5638 * cb - 11700 * cr + 8192) >> 14);
        const bool ink = coding == Coding::ycck;
        v[0] = ink ? top - r : r;
        v[1] = ink ? top - g : g;
        v[2] = ink ? top - b : b;
      }
      for (int i = 0; i < count; ++i) to[i] = clamp(v[i]);
    }
  }
}

}  // namespace zelcodecs::jpeg
