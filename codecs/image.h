// Pictures in memory: interleaved samples of one byte (up to 8 bits) or two bytes (9 to 16 bits), rows without gaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace zelcodecs {

// What the channels mean. In CMYK 0 is no ink and the largest value full ink. RGBA has colours that are not multiplied
// with their opacity.
enum class ColourModel { grey, rgb, rgba, cmyk };

constexpr int channelsOf(ColourModel model) {
  return model == ColourModel::grey ? 1 : model == ColourModel::rgb ? 3 : 4;
}

// Bounds on what a reader accepts, against files made to exhaust the machine.
struct Limits {
  uint64_t maxPixels = uint64_t{1} << 28;
  int maxScans = 100;
};

// Called now and then during long work with the part done, 0 to 1.
using Progress = std::function<void(double)>;

class Image {
 public:
  Image() = default;
  // The samples are not initialised. bitDepth is 1 to 16.
  Image(int width, int height, ColourModel model, int bitDepth = 8);
  Image(Image&&) = default;
  Image& operator=(Image&&) = default;
  Image clone() const;

  int width() const { return width_; }
  int height() const { return height_; }
  ColourModel model() const { return model_; }
  int channels() const { return channelsOf(model_); }
  int bitDepth() const { return bitDepth_; }
  int maxValue() const { return (1 << bitDepth_) - 1; }
  int bytesPerSample() const { return bitDepth_ > 8 ? 2 : 1; }
  size_t rowBytes() const { return rowBytes_; }
  size_t sizeBytes() const { return rowBytes_ * size_t(height_); }
  bool empty() const { return width_ == 0; }

  uint8_t* data() { return data_.get(); }
  const uint8_t* data() const { return data_.get(); }
  uint8_t* row(int y) { return data_.get() + rowBytes_ * size_t(y); }
  const uint8_t* row(int y) const { return data_.get() + rowBytes_ * size_t(y); }
  // Rows of pictures with two bytes a sample; operator new aligns the samples, and every row is a whole number of them.
  uint16_t* row16(int y) { return reinterpret_cast<uint16_t*>(row(y)); }
  const uint16_t* row16(int y) const { return reinterpret_cast<const uint16_t*>(row(y)); }

  // Sample number i of row y, whatever its width; for code where speed does not matter.
  int sample(int y, int i) const { return bitDepth_ > 8 ? row16(y)[i] : row(y)[i]; }
  void setSample(int y, int i, int value);

 private:
  int width_ = 0;
  int height_ = 0;
  ColourModel model_ = ColourModel::grey;
  int bitDepth_ = 8;
  size_t rowBytes_ = 0;
  std::unique_ptr<uint8_t[]> data_;
};

// Throws a limit error where a picture of this size must not be read.
void checkSize(uint64_t width, uint64_t height, const Limits& limits, size_t offset);

// The rectangle with its top left corner at (x, y), which must lie inside the picture.
Image crop(const Image& image, int x, int y, int width, int height);

// The luminance of ITU-R BT.601, with the bit depth kept; CMYK is seen as ink on white paper, and opacity does not
// count.
Image toGrey(const Image& image);

// A grey, RGB or RGBA picture with the channels of another of these models: grey becomes three equal channels, an
// opacity that is missing full, one that is too much is left out.
Image toColour(const Image& image, ColourModel model);

// An RGBA picture whose pixels are all opaque becomes RGB; any other stays what it is.
Image withoutFullOpacity(Image image);

}  // namespace zelcodecs
