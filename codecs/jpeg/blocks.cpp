#include "jpeg/blocks.h"

#include <algorithm>
#include <cstring>

#include "common/error.h"
#include "common/parallel.h"

namespace zelcodecs::jpeg {
namespace {

// The primitives that turn the pixels of one MCU into the level-shifted samples of its blocks.
using PixelsToMcu = ZelStatus (*)(const uint8_t*, int, int16_t* const*);

PixelsToMcu pixelsToMcu(ColourModel model, int h, int v) {
  const bool ink = model == ColourModel::cmyk;
  if (h == 1) return ink ? zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R : zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R;
  if (v == 1) return ink ? zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R : zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R;
  return ink ? zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R : zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R;
}

// The pixels of an MCU. One that passes the edge of the picture is copied with its last column and row repeated.
const uint8_t* mcuPixels(const Image& image, int left, int top, int wide, int high, uint8_t* edge, int* step) {
  const int channels = image.channels();
  *step = int(image.rowBytes());
  if (left + wide <= image.width() && top + high <= image.height()) return image.row(top) + left * channels;
  const int inside = std::min(wide, image.width() - left);
  for (int y = 0; y < high; ++y) {
    const uint8_t* from = image.row(std::min(top + y, image.height() - 1)) + left * channels;
    uint8_t* to = edge + y * wide * channels;
    std::memcpy(to, from, size_t(inside) * size_t(channels));
    for (int x = inside; x < wide; ++x) std::memcpy(to + x * channels, to + (inside - 1) * channels, size_t(channels));
  }
  *step = wide * channels;
  return edge;
}

class GreyBlocks : public BlockSource {
 public:
  GreyBlocks(const Image& image, const QuantTables* quant) : image_(image), quant_(quant[0]) {}
  void mcu(int x, int y, Block* blocks) const override {
    uint8_t edge[64];
    int step;
    const uint8_t* pixels = mcuPixels(image_, 8 * x, 8 * y, 8, 8, edge, &step);
    zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(pixels, step, blocks[0], quant_.forward);
  }

 private:
  const Image& image_;
  const QuantTables& quant_;
};

// Colours are converted, and chroma averaged, MCU by MCU.
class McuBlocks : public BlockSource {
 public:
  McuBlocks(const Image& image, const Frame& frame, const QuantTables* quant)
      : image_(image),
        wide_(8 * frame.hMax),
        high_(8 * frame.vMax),
        convert_(pixelsToMcu(image.model(), frame.hMax, frame.vMax)) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const Component& c = frame.components[i];
      offsets_[i] = planned_;
      for (int b = 0; b < c.h * c.v; ++b) forward_[planned_++] = quant[c.quantTable].forward;
    }
  }
  void mcu(int x, int y, Block* blocks) const override {
    uint8_t edge[16 * 16 * 4];
    int16_t* targets[kMaxComponents];
    for (int i = 0; i < image_.channels(); ++i) targets[i] = blocks[offsets_[i]];
    int step;
    const uint8_t* pixels = mcuPixels(image_, wide_ * x, high_ * y, wide_, high_, edge, &step);
    convert_(pixels, step, targets);
    for (int b = 0; b < planned_; ++b) zeliDCTQuantFwd8x8_JPEG_16s_C1I(blocks[b], forward_[b]);
  }

 private:
  const Image& image_;
  const int wide_, high_;
  const PixelsToMcu convert_;
  int offsets_[kMaxComponents];
  const uint16_t* forward_[kMaxBlocksPerMcu];
  int planned_ = 0;
};

// Colours are converted, and chroma averaged, in planes of bytes for the whole picture.
class PlaneBlocks : public BlockSource {
 public:
  PlaneBlocks(const Image& image, const Frame& frame, const QuantTables* quant, bool ycc, int threads) {
    const int width = 8 * frame.hMax * frame.mcusWide, height = 8 * frame.vMax * frame.mcusHigh;
    for (const Component& c : frame.components) {
      Plane p;
      p.step = width;
      p.h = c.h;
      p.v = c.v;
      p.forward = quant[c.quantTable].forward;
      p.samples.resize(size_t(width) * size_t(height));
      planes_.push_back(std::move(p));
    }
    convert(image, ycc);
    for (Plane& p : planes_) {
      extend(&p, image.width(), image.height(), height);
      if (p.h < frame.hMax) halve(&p, height, p.v < frame.vMax, threads);
    }
  }
  void mcu(int x, int y, Block* blocks) const override {
    for (const Plane& p : planes_)
      for (int b = 0; b < p.h * p.v; ++b, ++blocks) {
        const size_t column = 8 * size_t(x * p.h + b % p.h), row = 8 * size_t(y * p.v + b / p.h);
        zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&p.samples[row * size_t(p.step) + column], p.step, *blocks, p.forward);
      }
  }

 private:
  struct Plane {
    int step, h, v;
    const uint16_t* forward;
    std::vector<uint8_t> samples;
    uint8_t* row(int y) { return &samples[size_t(y) * size_t(step)]; }
  };

  void convert(const Image& image, bool ycc) {
    uint8_t* to[kMaxComponents] = {};
    for (size_t i = 0; i < planes_.size(); ++i) to[i] = planes_[i].row(0);
    const int from = int(image.rowBytes()), step = planes_[0].step;
    const ZeliSize size = {image.width(), image.height()};
    if (ycc && planes_.size() == 3)
      zeliRGBToYCbCr_JPEG_8u_C3P3R(image.data(), from, to, step, size);
    else if (ycc)
      zeliCMYKToYCCK_JPEG_8u_C4P4R(image.data(), from, to, step, size);
    else
      for (int y = 0; y < size.height; ++y)
        for (size_t i = 0; i < planes_.size(); ++i)
          for (int x = 0; x < size.width; ++x) planes_[i].row(y)[x] = image.row(y)[size_t(x) * planes_.size() + i];
  }

  // Repeats the last column and row to the end of the last MCU.
  static void extend(Plane* p, int width, int height, int storedHeight) {
    for (int y = 0; y < height; ++y) std::fill(p->row(y) + width, p->row(y) + p->step, p->row(y)[width - 1]);
    for (int y = height; y < storedHeight; ++y) std::memcpy(p->row(y), p->row(height - 1), size_t(p->step));
  }

  static void halve(Plane* p, int height, bool rowsToo, int threads) {
    Plane full;
    full.step = p->step;
    full.samples.swap(p->samples);
    p->step /= 2;
    const int rows = rowsToo ? height / 2 : height;
    p->samples.resize(size_t(p->step) * size_t(rows));
    forEachPiece(rows, threads, [&](int y) {
      if (rowsToo)
        zeliSampleDownRowH2V2_Box_JPEG_8u_C1(full.row(2 * y), full.row(2 * y + 1), full.step, p->row(y));
      else
        zeliSampleDownRowH2V1_Box_JPEG_8u_C1(full.row(y), full.step, p->row(y));
    });
  }

  std::vector<Plane> planes_;
};

}  // namespace

QuantTables::QuantTables(const uint8_t* standard, int quality) {
  if (quality < 1 || quality > 100) throw Error(ErrorKind::argument, "a quality is 1 to 100");
  uint8_t raw[64];
  std::memcpy(raw, standard, 64);
  zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
  zeliQuantFwdTableInit_JPEG_8u16u(raw, forward);
  zeliQuantInvTableInit_JPEG_8u16u(raw, inverse);
}

Layout layoutFor(const Image& image, const JpegEncodeOptions& options) {
  Layout layout;
  const bool ink = image.model() == ColourModel::cmyk;
  const bool chroma = image.model() == ColourModel::rgb || (ink && options.ycck);
  if (ink) layout.adobeTransform = options.ycck ? 2 : 0;
  for (int i = 0; i < image.channels(); ++i) {
    const bool halved = chroma && (i == 1 || i == 2);
    Component c;
    c.id = i + 1;
    c.h = chroma && !halved && options.sampling != Sampling::s444 ? 2 : 1;
    c.v = chroma && !halved && options.sampling == Sampling::s420 ? 2 : 1;
    c.quantTable = halved ? 1 : 0;
    layout.components.push_back(c);
  }
  return layout;
}

std::unique_ptr<BlockSource> blockSource(const Image& image, const Frame& frame, const QuantTables* quant,
                                         const JpegEncodeOptions& options, int threads) {
  if (image.model() == ColourModel::grey) return std::make_unique<GreyBlocks>(image, quant);
  const bool ycc = image.model() == ColourModel::rgb || options.ycck;
  if (!ycc || options.chromaByPlane) return std::make_unique<PlaneBlocks>(image, frame, quant, ycc, threads);
  return std::make_unique<McuBlocks>(image, frame, quant);
}

}  // namespace zelcodecs::jpeg
