// Whole pictures, and what is done with them sample by sample.
#include "common/image.h"

#include <cstring>
#include <string>
#include <utility>

#include "common/error.h"

namespace zelcodecs {

Image::Image(int width, int height, ColourModel model, int bitDepth) : format_{width, height, model, bitDepth} {
  if (width < 1 || height < 1 || bitDepth < 1 || bitDepth > 16)
    throw Error(ErrorKind::argument, "an image must have at least one pixel and 1 to 16 bits a sample");
  data_.reset(new uint8_t[sizeBytes()]);
}

Image Image::clone() const {
  if (empty()) return Image();
  Image copy(format_);
  std::memcpy(copy.data(), data(), sizeBytes());
  copy.metadata_ = metadata_;
  return copy;
}

void Image::setSample(int y, int i, int value) {
  if (bitDepth() > 8)
    row16(y)[i] = uint16_t(value);
  else
    row(y)[i] = uint8_t(value);
}

void checkSize(uint64_t width, uint64_t height, const Limits& limits, size_t offset) {
  if (width > INT32_MAX || height > INT32_MAX || width * height > limits.maxPixels)
    throw Error(ErrorKind::limit,
                "the picture of " + std::to_string(width) + " x " + std::to_string(height) +
                    " pixels is above the limit of " + std::to_string(limits.maxPixels) + " pixels,",
                offset);
}

Image crop(const Image& image, int x, int y, int width, int height) {
  if (x < 0 || y < 0 || width > image.width() - x || height > image.height() - y)
    throw Error(ErrorKind::argument, "the rectangle to cut out is not inside the picture");
  Image out(width, height, image.model(), image.bitDepth());
  const size_t left = size_t(x) * size_t(image.channels() * image.bytesPerSample());
  for (int r = 0; r < height; ++r) std::memcpy(out.row(r), image.row(y + r) + left, out.rowBytes());
  return out;
}

Image oriented(const Image& image, int orientation) {
  if (orientation < 1 || orientation > 8) throw Error(ErrorKind::argument, "an orientation is 1 to 8");
  const bool turned = orientation >= 5;
  // In the upright picture x runs along the stored rows, or down the columns where it is turned, from their end where
  // the orientation says so; likewise y.
  const bool xFromEnd = orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7;
  const bool yFromEnd = orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8;
  PictureFormat f = image.format();
  if (turned) std::swap(f.width, f.height);
  Image out(f);
  out.metadata() = image.metadata();
  const size_t pixel = f.pixelBytes();
  for (int y = 0; y < f.height; ++y) {
    uint8_t* to = out.row(y);
    const int v = yFromEnd ? f.height - 1 - y : y;
    for (int x = 0; x < f.width; ++x, to += pixel) {
      const int u = xFromEnd ? f.width - 1 - x : x;
      std::memcpy(to, image.row(turned ? u : v) + size_t(turned ? v : u) * pixel, pixel);
    }
  }
  return out;
}

}  // namespace zelcodecs
