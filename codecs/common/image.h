// Pictures in memory: rows without gaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/metadata.h"
#include "common/options.h"
#include "common/picture.h"

namespace zelcodecs {

class Image {
 public:
  Image() = default;
  // The samples are not initialised. bitDepth is 1 to 16.
  Image(int width, int height, ColourModel model, int bitDepth = 8);
  explicit Image(const PictureFormat& f) : Image(f.width, f.height, f.model, f.bitDepth) {}
  Image(Image&&) = default;
  Image& operator=(Image&&) = default;
  Image clone() const;

  const PictureFormat& format() const { return format_; }
  int width() const { return format_.width; }
  int height() const { return format_.height; }
  ColourModel model() const { return format_.model; }
  int channels() const { return format_.channels(); }
  int bitDepth() const { return format_.bitDepth; }
  int maxValue() const { return format_.maxValue(); }
  int bytesPerSample() const { return format_.bytesPerSample(); }
  size_t rowBytes() const { return format_.rowBytes(); }
  size_t sizeBytes() const { return rowBytes() * size_t(height()); }
  bool empty() const { return width() == 0; }

  uint8_t* data() { return data_.get(); }
  const uint8_t* data() const { return data_.get(); }
  uint8_t* row(int y) { return data_.get() + rowBytes() * size_t(y); }
  const uint8_t* row(int y) const { return data_.get() + rowBytes() * size_t(y); }
  Rows rows(int y, int count) { return {row(y), rowBytes(), count}; }
  ConstRows rows(int y, int count) const { return {row(y), rowBytes(), count}; }
  // Rows of pictures with two bytes a sample; operator new aligns the samples, and every row is a whole number of them.
  uint16_t* row16(int y) { return reinterpret_cast<uint16_t*>(row(y)); }
  const uint16_t* row16(int y) const { return reinterpret_cast<const uint16_t*>(row(y)); }

  // Sample number i of row y, whatever its width; for code where speed does not matter.
  int sample(int y, int i) const { return bitDepth() > 8 ? row16(y)[i] : row(y)[i]; }
  void setSample(int y, int i, int value);

  Metadata& metadata() { return metadata_; }
  const Metadata& metadata() const { return metadata_; }

 private:
  PictureFormat format_;
  std::unique_ptr<uint8_t[]> data_;
  Metadata metadata_;
};

// Throws a limit error where a picture of this size must not be read.
void checkSize(uint64_t width, uint64_t height, const Limits& limits, size_t offset);

// The rectangle with its top left corner at (x, y), which must lie inside the picture.
Image crop(const Image& image, int x, int y, int width, int height);

// The picture turned and mirrored as an orientation of 1 to 8 asks for (TIFF 6.0, section 8): what is stored as the
// first row and the first column goes to the edges that the value names. Turns by 90 degrees exchange width and height.
Image oriented(const Image& image, int orientation);

}  // namespace zelcodecs
