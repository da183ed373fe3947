// Colours, sampling and transforms of the encoder.
#include "jpeg/blocks.h"

#include <algorithm>
#include <cstring>

#include "common/error.h"
#include "jpeg/serial.h"

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

// The pixels of a band as they are coded: CMYK inverted, as Adobe's applications store ink and readers expect it behind
// their marker.
class BandPixels {
 public:
  explicit BandPixels(const PictureFormat& format, int rows) : format_(format) {
    if (format.model == ColourModel::cmyk) inverted_.reset(new uint8_t[format.rowBytes() * size_t(rows)]);
  }

  void take(ConstRows band, Team* team) {
    band_ = band;
    if (!inverted_) return;
    const Rows to = {inverted_.get(), format_.rowBytes(), band.count};
    team->forEach(ceilDiv(band.count, kPieceRows), [&](int i) {
      for (int y = i * kPieceRows; y < std::min(band.count, (i + 1) * kPieceRows); ++y)
        std::transform(band.row(y), band.row(y) + format_.rowBytes(), to.row(y), [](uint8_t v) { return uint8_t(~v); });
    });
    band_ = asConst(to);
  }

  const ConstRows& rows() const { return band_; }
  int step() const { return int(band_.step); }

  // The pixels of an MCU. One that passes the edge of the picture is copied with its last column and row repeated.
  const uint8_t* mcu(int left, int top, int wide, int high, uint8_t* edge, int* step) const {
    const int channels = format_.channels();
    *step = int(band_.step);
    if (left + wide <= format_.width && top + high <= band_.count) return band_.row(top) + left * channels;
    const int inside = std::min(wide, format_.width - left);
    for (int y = 0; y < high; ++y) {
      const uint8_t* from = band_.row(std::min(top + y, band_.count - 1)) + left * channels;
      uint8_t* to = edge + y * wide * channels;
      std::memcpy(to, from, size_t(inside) * size_t(channels));
      for (int x = inside; x < wide; ++x)
        std::memcpy(to + x * channels, to + (inside - 1) * channels, size_t(channels));
    }
    *step = wide * channels;
    return edge;
  }

 private:
  static constexpr int kPieceRows = 8;
  const PictureFormat format_;
  ConstRows band_;
  std::unique_ptr<uint8_t[]> inverted_;
};

class GreyBlocks : public BlockMaker {
 public:
  GreyBlocks(const PictureFormat& format, const QuantTables* quant) : pixels_(format, 0), quant_(quant[0]) {}
  void begin(ConstRows band, Team* team) override { pixels_.take(band, team); }
  void mcu(int x, int y, int16_t* const* blocks) const override {
    uint8_t edge[64];
    int step;
    const uint8_t* pixels = pixels_.mcu(8 * x, 8 * y, 8, 8, edge, &step);
    require(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(pixels, step, blocks[0], quant_.forward));
  }

 private:
  BandPixels pixels_;
  const QuantTables& quant_;
};

// Colours are converted, and chroma averaged, MCU by MCU.
class McuBlocks : public BlockMaker {
 public:
  McuBlocks(const PictureFormat& format, const Frame& frame, const QuantTables* quant, int bandRows)
      : pixels_(format, bandRows * 8 * frame.vMax),
        wide_(8 * frame.hMax),
        high_(8 * frame.vMax),
        convert_(pixelsToMcu(format.model, frame.hMax, frame.vMax)) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const Component& c = frame.components[i];
      offsets_[i] = planned_;
      for (int b = 0; b < c.h * c.v; ++b) forward_[planned_++] = quant[c.quantTable].forward;
    }
  }
  void begin(ConstRows band, Team* team) override { pixels_.take(band, team); }
  void mcu(int x, int y, int16_t* const* blocks) const override {
    uint8_t edge[16 * 16 * 4];
    alignas(32) Block samples[kMaxBlocksPerMcu];
    int16_t* targets[kMaxComponents];
    for (int i = 0; i < kMaxComponents; ++i) targets[i] = samples[offsets_[i]];
    int step;
    const uint8_t* pixels = pixels_.mcu(wide_ * x, high_ * y, wide_, high_, edge, &step);
    require(convert_(pixels, step, targets));
    for (int b = 0; b < planned_; ++b) require(zeliDCTQuantFwd8x8_JPEG_16s_C1(samples[b], blocks[b], forward_[b]));
  }

 private:
  BandPixels pixels_;
  const int wide_, high_;
  const PixelsToMcu convert_;
  int offsets_[kMaxComponents] = {};
  const uint16_t* forward_[kMaxBlocksPerMcu];
  int planned_ = 0;
};

// Colours are converted, and chroma averaged, in planes of bytes for the whole band.
class PlaneBlocks : public BlockMaker {
 public:
  PlaneBlocks(const PictureFormat& format, const Frame& frame, const QuantTables* quant, bool ycc, int bandRows)
      : format_(format),
        ycc_(ycc),
        mcuRows_(8 * frame.vMax),
        fullStep_(8 * frame.hMax * frame.mcusWide),
        pixels_(format, bandRows * mcuRows_) {
    const size_t full = size_t(fullStep_) * size_t(bandRows * mcuRows_);
    for (const Component& c : frame.components) {
      Plane p;
      p.h = c.h;
      p.v = c.v;
      p.forward = quant[c.quantTable].forward;
      p.halfColumns = c.h < frame.hMax;
      p.halfRows = c.v < frame.vMax;
      p.full.reset(new uint8_t[full]);
      p.step = p.halfColumns ? fullStep_ / 2 : fullStep_;
      if (p.halfColumns) p.half.reset(new uint8_t[full / 2]);
      planes_.push_back(std::move(p));
    }
  }
  void begin(ConstRows band, Team* team) override {
    pixels_.take(band, team);
    team->forEach(ceilDiv(band.count, mcuRows_), [this](int i) {
      convert(i * mcuRows_);
      extend(i * mcuRows_);
      for (Plane& p : planes_)
        if (p.halfColumns) halve(&p, i * mcuRows_);
    });
  }
  void mcu(int x, int y, int16_t* const* blocks) const override {
    for (const Plane& p : planes_)
      for (int b = 0; b < p.h * p.v; ++b, ++blocks) {
        const size_t column = 8 * size_t(x * p.h + b % p.h), row = 8 * size_t(y * p.v + b / p.h);
        const uint8_t* const samples = (p.halfColumns ? p.half : p.full).get() + row * size_t(p.step) + column;
        require(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, p.step, *blocks, p.forward));
      }
  }

 private:
  struct Plane {
    int h, v, step;
    bool halfColumns, halfRows;
    const uint16_t* forward;
    std::unique_ptr<uint8_t[]> full, half;
  };
  uint8_t* fullRow(const Plane& p, int y) const { return p.full.get() + size_t(y) * size_t(fullStep_); }
  int rowsFrom(int top) const { return std::min(mcuRows_, pixels_.rows().count - top); }

  // The rows of an MCU.
  void convert(int top) const {
    const ConstRows rows = pixels_.rows().part(top, rowsFrom(top));
    inSerialPieces({format_.width, rows.count}, [&](int x, int y, ZeliSize size) {
      uint8_t* to[kMaxComponents] = {};
      for (size_t i = 0; i < planes_.size(); ++i) to[i] = fullRow(planes_[i], top + y) + x;
      const uint8_t* const from = rows.row(y) + size_t(x) * planes_.size();
      if (ycc_ && planes_.size() == 3)
        require(zeliRGBToYCbCr_JPEG_8u_C3P3R(from, pixels_.step(), to, fullStep_, size));
      else if (ycc_)
        require(zeliCMYKToYCCK_JPEG_8u_C4P4R(from, pixels_.step(), to, fullStep_, size));
      else
        divide(from, to, size);
    });
  }

  // Channels that are coded as they are.
  void divide(const uint8_t* from, uint8_t* const* to, ZeliSize size) const {
    for (int y = 0; y < size.height; ++y, from += pixels_.step())
      for (size_t i = 0; i < planes_.size(); ++i)
        for (int x = 0; x < size.width; ++x)
          to[i][size_t(y) * size_t(fullStep_) + size_t(x)] = from[size_t(x) * planes_.size() + i];
  }

  // Repeats the last column and row to the end of the MCUs.
  void extend(int top) const {
    const int last = top + rowsFrom(top) - 1;
    for (const Plane& p : planes_) {
      for (int y = top; y <= last; ++y)
        std::fill(fullRow(p, y) + format_.width, fullRow(p, y) + fullStep_, fullRow(p, y)[format_.width - 1]);
      for (int y = last + 1; y < top + mcuRows_; ++y) std::memcpy(fullRow(p, y), fullRow(p, last), size_t(fullStep_));
    }
  }

  void halve(Plane* p, int top) const {
    const int rows = p->halfRows ? 2 : 1;
    for (int y = top; y < top + mcuRows_; y += rows) {
      uint8_t* const to = p->half.get() + size_t(y / rows) * size_t(p->step);
      if (p->halfRows)
        require(zeliSampleDownRowH2V2_Box_JPEG_8u_C1(fullRow(*p, y), fullRow(*p, y + 1), fullStep_, to));
      else
        require(zeliSampleDownRowH2V1_Box_JPEG_8u_C1(fullRow(*p, y), fullStep_, to));
    }
  }

  const PictureFormat format_;
  const bool ycc_;
  const int mcuRows_, fullStep_;
  BandPixels pixels_;
  std::vector<Plane> planes_;
};

}  // namespace

QuantTables::QuantTables(const uint8_t* standard, int quality) {
  if (quality < 1 || quality > 100) throw Error(ErrorKind::argument, "a quality is 1 to 100");
  uint8_t raw[64];
  std::memcpy(raw, standard, 64);
  require(zeliQuantFwdRawTableInit_JPEG_8u(raw, quality));
  require(zeliQuantFwdTableInit_JPEG_8u16u(raw, forward));
  require(zeliQuantInvTableInit_JPEG_8u16u(raw, inverse));
}

Layout layoutFor(ColourModel model, const JpegEncodeOptions& options) {
  Layout layout;
  const bool ink = model == ColourModel::cmyk;
  const bool chroma = model == ColourModel::rgb || (ink && options.ycck);
  if (ink) layout.adobeTransform = options.ycck ? 2 : 0;
  for (int i = 0; i < channelsOf(model); ++i) {
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

std::unique_ptr<BlockMaker> blockMaker(const PictureFormat& format, const Frame& frame, const QuantTables* quant,
                                       const JpegEncodeOptions& options, int bandRows) {
  if (format.model == ColourModel::grey) return std::make_unique<GreyBlocks>(format, quant);
  const bool ycc = format.model == ColourModel::rgb || options.ycck;
  if (!ycc || options.chromaByPlane) return std::make_unique<PlaneBlocks>(format, frame, quant, ycc, bandRows);
  return std::make_unique<McuBlocks>(format, frame, quant, bandRows);
}

}  // namespace zelcodecs::jpeg
