// From decoded coefficients to pixels: MCUs straight into the picture where the primitives serve the sampling, or else
// by way of a plane of samples for each component.
#ifndef ZELCODECS_JPEG_PIXELS_H
#define ZELCODECS_JPEG_PIXELS_H

#include <memory>
#include <vector>

#include "jpeg_scan_decode.h"

namespace zelcodecs::jpeg {

// What the components of a file are.
enum class Coding { grey, ycc, rgb, cmyk, ycck };

Coding codingOf(const Reader& reader);
constexpr ColourModel modelOf(Coding c) {
  return c == Coding::grey                      ? ColourModel::grey
         : c == Coding::ycc || c == Coding::rgb ? ColourModel::rgb
                                                : ColourModel::cmyk;
}

// The primitives that turn the blocks of one MCU into pixels; null where none serves the sampling and coding.
struct McuToPixels {
  using Function = ZelStatus (*)(const int16_t* const*, uint8_t*, int);
  Function convert = nullptr;
  int width = 0, height = 0;  // of the MCU in pixels
};
McuToPixels mcuToPixels(const Frame& frame, Coding coding);

// Dequantises, transforms and converts every MCU of a scan of all components into the picture.
class DirectSink : public McuSink {
 public:
  DirectSink(const Reader& reader, const Scan& scan, McuToPixels pixels, Image* image);
  void mcu(int x, int y, Block* blocks) override;

 private:
  const McuToPixels pixels_;
  Image* const image_;
  const int channels_;
  struct BlockPlan {
    const uint16_t* inverse;
  } plan_[kMaxBlocksPerMcu];
  int planned_ = 0;
  int offsets_[kMaxComponents];  // of each component's first block in the MCU
  int count_ = 0;
  uint8_t edge_[16 * 16 * 4];
};

// The same for one component of 8 bits: the transform stores into the picture.
class GreySink : public McuSink {
 public:
  GreySink(const Reader& reader, Image* image);
  void mcu(int x, int y, Block* blocks) override;

 private:
  Image* const image_;
  const uint16_t* const inverse_;
};

// The samples of a component, one or two bytes each. Blocks become size x size samples.
struct Plane {
  int blockSize = 8;
  int width = 0, height = 0;  // of what is stored, in samples
  std::unique_ptr<uint8_t[]> samples;
  int bytesPerSample = 1;
  size_t rowBytes() const { return static_cast<size_t>(width) * static_cast<size_t>(bytesPerSample); }
  uint8_t* row(int y) const { return samples.get() + rowBytes() * static_cast<size_t>(y); }
};

class Planes {
 public:
  Planes(const Reader& reader, int scaleDenominator);
  // Mid-grey everywhere, for files that may not bring every component.
  void fillGrey();
  // Replicates samples to the full size and converts them.
  void convert(Coding coding, Image* image, const Progress& progress) const;

  Plane& plane(int i) { return planes_[static_cast<size_t>(i)]; }

 private:
  struct Map;
  Map columns(int component, int outWidth) const;
  int rowOf(int component, int y) const;
  template <class Sample>
  void convertScalar(Coding coding, Image* image) const;
  void convertGrey(Image* image) const;

  const Frame& frame_;
  int outBlock_;  // samples that a block of the finest component spans in the picture, in each direction
  std::vector<Plane> planes_;
};

// Transforms the blocks of any scan into planes.
class PlaneSink : public McuSink {
 public:
  PlaneSink(const Reader& reader, const Scan& scan, Planes* planes);
  void mcu(int x, int y, Block* blocks) override;

 private:
  using Transform = ZelStatus (*)(const int16_t*, uint8_t*, int, const uint16_t*);
  struct Target {
    uint8_t* samples;
    size_t rowBytes, blockBytes, blockRows;  // of the plane; of a block in it
    int h, v;                                // blocks in the MCU
    Transform transform;                     // null for 12 bits
    const uint16_t* inverse;
    float inverseFloat[64];
  };
  static Transform transformTo(int blockSize);
  static void storeDeep(const Target& t, const int16_t* block, uint8_t* to);
  Target targets_[kMaxComponents];
  int count_;
};

}  // namespace zelcodecs::jpeg

#endif
