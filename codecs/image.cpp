#include "image.h"

#include <cstring>
#include <string>
#include <utility>

#include "error.h"

namespace zelcodecs {

Image::Image(int width, int height, ColourModel model, int bitDepth)
    : width_(width), height_(height), model_(model), bitDepth_(bitDepth) {
  if (width < 1 || height < 1 || bitDepth < 1 || bitDepth > 16)
    throw Error(ErrorKind::argument, "an image must have at least one pixel and 1 to 16 bits a sample");
  rowBytes_ = size_t(width) * size_t(channels() * bytesPerSample());
  data_.reset(new uint8_t[sizeBytes()]);
}

Image Image::clone() const {
  if (empty()) return Image();
  Image copy(width_, height_, model_, bitDepth_);
  std::memcpy(copy.data(), data(), sizeBytes());
  return copy;
}

void Image::setSample(int y, int i, int value) {
  if (bitDepth_ > 8)
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

Image toGrey(const Image& image) {
  if (image.model() == ColourModel::grey) return image.clone();
  Image out(image.width(), image.height(), ColourModel::grey, image.bitDepth());
  const int channels = image.channels(), top = image.maxValue();
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) {
      int64_t c[4] = {};
      for (int i = 0; i < channels; ++i) c[i] = image.sample(y, x * channels + i);
      if (image.model() == ColourModel::cmyk)
        for (int i = 0; i < 3; ++i) c[i] = (top - c[i]) * (top - c[3]) / top;
      out.setSample(y, x, int((19595 * c[0] + 38470 * c[1] + 7471 * c[2] + 32768) >> 16));
    }
  return out;
}

namespace {

// Grey is repeated, a missing opacity full.
template <class T>
void toColourRow(const T* from, int fromChannels, int width, int opaque, T* to, int toChannels) {
  const int green = fromChannels == 1 ? 0 : 1, blue = fromChannels == 1 ? 0 : 2;
  for (int x = 0; x < width; ++x, from += fromChannels, to += toChannels) {
    to[0] = from[0];
    to[1] = from[green];
    to[2] = from[blue];
    if (toChannels == 4) to[3] = T(opaque);
  }
}

template <class T>
bool opaqueRow(const T* row, int width, int opaque) {
  int least = opaque;
  for (int x = 0; x < width; ++x) least = row[4 * x + 3] < least ? row[4 * x + 3] : least;
  return least == opaque;
}

}  // namespace

Image toColour(const Image& image, ColourModel model) {
  if (image.model() == ColourModel::cmyk || model == ColourModel::cmyk || model == ColourModel::grey)
    throw Error(ErrorKind::argument, "a picture of this colour model does not become RGB or RGBA");
  if (image.model() == model) return image.clone();
  Image out(image.width(), image.height(), model, image.bitDepth());
  for (int y = 0; y < image.height(); ++y)
    if (image.bytesPerSample() == 1)
      toColourRow(image.row(y), image.channels(), image.width(), image.maxValue(), out.row(y), out.channels());
    else
      toColourRow(image.row16(y), image.channels(), image.width(), image.maxValue(), out.row16(y), out.channels());
  return out;
}

Image withoutFullOpacity(Image image) {
  if (image.model() != ColourModel::rgba) return image;
  for (int y = 0; y < image.height(); ++y)
    if (!(image.bytesPerSample() == 1 ? opaqueRow(image.row(y), image.width(), image.maxValue())
                                      : opaqueRow(image.row16(y), image.width(), image.maxValue())))
      return image;
  return toColour(image, ColourModel::rgb);
}

}  // namespace zelcodecs
