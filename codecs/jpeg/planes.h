// From coefficients to pixels: blocks are transformed into planes of samples, of which a few rows of MCUs are kept at a
// time, and rows of these become rows of the picture.
#pragma once

#include <memory>
#include <vector>

#include "common/options.h"
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

// The samples of a component, one or two bytes each. Blocks become blockSize x blockSize samples. Rows of MCUs take
// turns in the memory.
struct Plane {
  int blockSize = 8;
  int width = 0, heldRows = 0;  // of what is stored, in samples
  int bytesPerSample = 1;
  // In the picture a sample spans across / acrossOf columns and down / downOf rows.
  int across = 1, acrossOf = 1, down = 1, downOf = 1;
  int columns = 0, rows = 0;  // of samples that the picture shows
  std::unique_ptr<uint8_t[]> samples;

  size_t rowBytes() const { return size_t(width) * size_t(bytesPerSample); }
  uint8_t* row(int y) const { return samples.get() + rowBytes() * size_t(y % heldRows); }
};

// How the planes of a frame become a picture.
struct PictureOptions {
  PictureFormat format;
  Coding coding = Coding::grey;
  int scaleDenominator = 1;
  bool smooth = true;     // halved components are interpolated
  bool inverted = false;  // 0 is full ink, as Adobe's applications store it
};

class Planes {
 public:
  // Planes of what each component has of a picture of 1 / scaleDenominator of the frame's size, for so many rows of
  // MCUs at a time. They begin mid-grey: what no scan brings stays so.
  Planes(const Frame& frame, const PictureOptions& options, int mcuRowsHeld);

  const Plane& plane(int i) const { return planes_[size_t(i)]; }
  // Rows of the picture that a row of MCUs makes.
  static int mcuRows(const Frame& frame, int scaleDenominator) {
    return (frame.components.size() == 1 ? 1 : frame.vMax) * frame.dataUnit() / scaleDenominator;
  }
  // The memory for one row of MCUs.
  static uint64_t rowBytes(const Frame& frame, int bytesPerSample);

  // Samples to pixels: the rows of the picture from the given one on. Interpolation looks one row of samples beyond
  // them.
  void convert(int from, Rows to) const;

 private:
  template <class Sample>
  void convertRows(int from, Rows to) const;
  template <class Sample>
  void convertRow(const Sample* const rows[], Sample* to) const;
  template <class Sample>
  const Sample* fullRow(const Plane& p, int y, int at, Sample* scratch) const;
  bool interpolatesRows(const Plane& p) const;
  template <class Sample>
  void begin(Plane* p) const;

  const PictureOptions options_;
  int mcuRows_;
  std::vector<Plane> planes_;
};

// The quantisation steps of each component in natural order.
struct QuantSteps {
  const uint16_t* of[kMaxComponents];
};

// Dequantises and transforms MCUs of all components into planes.
class Transforms : public McuSink {
 public:
  // Only MCUs inside wanted, which counts MCUs, are transformed.
  Transforms(const Frame& frame, const QuantSteps& quant, const Planes& planes, const Region& wanted);
  void mcu(int x, int y, const int16_t* const* blocks, const int8_t* last) const override;

 private:
  using Transform = ZelStatus (*)(const int16_t*, uint8_t*, int, const uint16_t*);
  struct Target {
    uint8_t* samples;  // of the plane
    int blockSize, rowBytes;
    size_t mcuBytes, mcuRowBytes;  // from an MCU to the next one, and to the one below
    Transform transform[3];        // of blocks in the top left 2x2, in 4x4, and any others; null for 12 bits
    uint16_t quant[64];            // the reader's tables may change behind the scan
    float quantFloat[64];
  };
  // A block of an MCU.
  struct Place {
    int component;
    size_t offset;  // in the MCU's samples
  };
  static void chooseTransforms(int blockSize, Transform to[3]);
  static void storeDeep(const Target& t, const int16_t* block, uint8_t* to);

  const Region wanted_;
  Target targets_[kMaxComponents];
  const int count_;
  Place places_[kMaxBlocksPerFrameMcu];
  int blocks_ = 0, mcuRowsHeld_ = 1;
};

}  // namespace zelcodecs::jpeg
