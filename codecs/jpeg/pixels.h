// From coefficients to pixels: MCUs straight into the picture where the primitives serve the sampling, or else by way
// of a plane of samples for each component.
#pragma once

#include <memory>
#include <vector>

#include "jpeg/scan_decode.h"

namespace zelcodecs::jpeg {

// What the components of a file are.
enum class Coding { grey, ycc, rgb, cmyk, ycck };

Coding codingOf(const Reader& reader);
constexpr ColourModel modelOf(Coding c) {
  return c == Coding::grey                      ? ColourModel::grey
         : c == Coding::ycc || c == Coding::rgb ? ColourModel::rgb
                                                : ColourModel::cmyk;
}

// The quantisation steps of each component in natural order.
struct QuantSteps {
  const uint16_t* of[kMaxComponents];
};

// The primitives that turn the blocks of one MCU into pixels; null where none serves the sampling and coding. Chroma is
// replicated; with smooth the result is null where that would be seen.
struct McuToPixels {
  using Function = ZelStatus (*)(const int16_t* const*, uint8_t*, int);
  Function convert = nullptr;
  int width = 0, height = 0;  // of the MCU in pixels
};
McuToPixels mcuToPixels(const Frame& frame, Coding coding, bool smooth);

// Dequantises, transforms and converts every MCU of all components into the picture.
class DirectSink : public McuSink {
 public:
  DirectSink(const Frame& frame, const QuantSteps& quant, McuToPixels pixels, Image* image);
  void mcu(int x, int y, const int16_t* const* blocks) const override;

 private:
  const McuToPixels pixels_;
  Image* const image_;
  const uint16_t* quant_[kMaxBlocksPerFrameMcu];
  int planned_ = 0;
  int offsets_[kMaxComponents];  // of each component's first block in the MCU
  const int count_;
};

// The same for one component of 8 bits: the transform stores into the picture.
class GreySink : public McuSink {
 public:
  GreySink(const QuantSteps& quant, Image* image) : image_(image), quant_(quant.of[0]) {}
  void mcu(int x, int y, const int16_t* const* blocks) const override;

 private:
  Image* const image_;
  const uint16_t* const quant_;
};

// The samples of a component, one or two bytes each. Blocks become blockSize x blockSize samples.
struct Plane {
  int blockSize = 8;
  int width = 0, height = 0;  // of what is stored, in samples
  int bytesPerSample = 1;
  // In the picture a sample spans across / acrossOf columns and down / downOf rows.
  int across = 1, acrossOf = 1, down = 1, downOf = 1;
  int columns = 0, rows = 0;  // of samples that the picture shows
  std::unique_ptr<uint8_t[]> samples;

  size_t rowBytes() const { return size_t(width) * size_t(bytesPerSample); }
  uint8_t* row(int y) const { return samples.get() + rowBytes() * size_t(y); }
};

class Planes {
 public:
  // Planes of what each component has of a picture of 1 / scaleDenominator of the frame's size.
  Planes(const Frame& frame, Coding coding, int scaleDenominator, bool smooth, Image* image);

  const Plane& plane(int i) const { return planes_[size_t(i)]; }
  int mcuRows() const { return mcuRows_; }  // rows of the picture that an MCU makes

  // Samples to pixels, rows [from, to) of the picture.
  void convert(int from, int to) const;
  // From a row to the end, divided among threads.
  void convertRest(int from, int threads) const;

 private:
  template <class Sample>
  void convertRows(int from, int to) const;
  template <class Sample>
  const Sample* fullRow(const Plane& p, int y, Sample* scratch) const;

  const Coding coding_;
  const bool smooth_;
  Image* const image_;
  int mcuRows_;
  std::vector<Plane> planes_;
};

// Transforms blocks into planes, and rows of the picture as soon as their samples are there.
class PlaneSink : public McuSink {
 public:
  PlaneSink(const Frame& frame, const QuantSteps& quant, const Planes& planes);
  void mcu(int x, int y, const int16_t* const* blocks) const override;
  void rowDone(int row) override;
  // The rows that rowDone() has not converted.
  void finish(int threads) const { planes_.convertRest(converted_, threads); }

 private:
  using Transform = ZelStatus (*)(const int16_t*, uint8_t*, int, const uint16_t*);
  struct Target {
    uint8_t* samples;
    size_t rowBytes, blockBytes, blockRows;  // of the plane; of a block in it
    int h, v;                                // blocks in the MCU
    Transform transform;                     // null for 12 bits
    const uint16_t* quant;
    float quantFloat[64];
  };
  static Transform transformTo(int blockSize);
  static void storeDeep(const Target& t, const int16_t* block, uint8_t* to);

  const Planes& planes_;
  const int mcusHigh_;
  Target targets_[kMaxComponents];
  const int count_;
  int converted_ = 0;  // rows of the picture
};

}  // namespace zelcodecs::jpeg
