// Writing of DDS files: mip levels by a box filter, each then coded in strips of block rows.
#include <algorithm>
#include <string>
#include <utility>

#include "dds/dds.h"
#include "dds/format.h"
#include "common/error.h"
#include "common/parallel.h"

namespace zelcodecs {
namespace dds {
namespace {

using Bytes = std::vector<uint8_t>;

struct Coder {
  uint32_t name;
  size_t blockBytes;
  BlockEncoder encode;
};

Coder coderFor(TextureFormat format) {
  switch (format) {
    case TextureFormat::dxt1:
      return {fourCC("DXT1"), 8, zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R};
    case TextureFormat::dxt3:
      return {fourCC("DXT3"), 16, zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R};
    case TextureFormat::dxt5:
      return {fourCC("DXT5"), 16, zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R};
    case TextureFormat::ycocg:
      return {fourCC("DXT5"), 16, zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R};
  }
  throw Error(ErrorKind::argument, "an unknown texture format");
}

// The two or three samples in a row that a sample of half the size covers, and their shares. A size of 1 stays.
struct Cover {
  int size, half;
  int count() const { return size == 1 ? 1 : 2 + size % 2; }
  int64_t weight(int i, int tap) const {
    if (size % 2 == 0 || size == 1) return 1;
    return tap == 0 ? half - i : tap == 1 ? half : i + 1;
  }
  int64_t sum() const { return size % 2 || size == 1 ? size : 2; }
};

Image halved(const Image& image, int threads) {
  const Cover across = {image.width(), std::max(1, image.width() / 2)};
  const Cover down = {image.height(), std::max(1, image.height() / 2)};
  const int channels = image.channels();
  const int64_t whole = across.sum() * down.sum();
  Image out(across.half, down.half, image.model());
  forEachPiece(out.height(), threads, [&](int y) {
    for (int x = 0; x < out.width(); ++x)
      for (int c = 0; c < channels; ++c) {
        int64_t sum = whole / 2;
        for (int v = 0; v < down.count(); ++v) {
          const uint8_t* p = image.row(2 * y + v) + ptrdiff_t(2 * x) * channels + c;
          int64_t row = 0;
          for (int u = 0; u < across.count(); ++u) row += across.weight(x, u) * p[u * channels];
          sum += down.weight(y, v) * row;
        }
        out.row(y)[x * channels + c] = uint8_t(sum / whole);
      }
  });
  return out;
}

// Luma, orange and green chroma, these two around 128.
void toYCoCg(Image* image, int threads) {
  const auto chroma = [](int v) { return uint8_t(std::min(255, (v + 2) / 4)); };
  forEachPiece(image->height(), threads, [&](int y) {
    uint8_t* p = image->row(y);
    for (int x = 0; x < image->width(); ++x, p += 3) {
      const int r = p[0], g = p[1], b = p[2];
      p[0] = uint8_t((r + 2 * g + b + 2) / 4);
      p[1] = chroma(2 * r - 2 * b + 512);
      p[2] = chroma(2 * g - r - b + 512);
    }
  });
}

void encodeBlocks(const Image& image, const Coder& coder, int threads, uint8_t* to) {
  const uint32_t step = uint32_t(image.rowBytes());
  forEachPiece((image.height() - 1) / kRowsOfPiece + 1, threads, [&](int i) {
    const int y = i * kRowsOfPiece;
    const ZeliSize size = {image.width(), std::min(kRowsOfPiece, image.height() - y)};
    if (coder.encode(image.row(y), step, size, to + bytesOf(image.width(), y, coder.blockBytes)) != zelStsNoErr)
      throw Error(ErrorKind::argument, "a level without pixels");
  });
}

Bytes header(const Image& image, const Coder& coder, TextureFormat format, int levels) {
  Bytes out(kHeaderEnd);
  const auto put = [&](Word at, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) out[at + i] = uint8_t(v >> 8 * i);
  };
  put(kMagic, fourCC("DDS "));
  put(kHeaderSize, kHeaderBytes);
  put(kFlags, kHasCaps | kHasHeight | kHasWidth | kHasPixelFormat | kHasLinearSize | (levels > 1 ? kHasLevelCount : 0));
  put(kHeight, uint32_t(image.height()));
  put(kWidth, uint32_t(image.width()));
  put(kLinearSize, uint32_t(bytesOf(image.width(), image.height(), coder.blockBytes)));
  put(kLevelCount, uint32_t(levels));
  if (format == TextureFormat::ycocg) put(kTag, kYCoCgTag);
  put(kPixelFormatSize, kPixelFormatBytes);
  put(kPixelFormatFlags, kPixelFormatHasFourCC);
  put(kFourCC, coder.name);
  put(kCaps, kCapsTexture | (levels > 1 ? kCapsComplex | kCapsMipMap : 0));
  return out;
}

}  // namespace
}  // namespace dds

std::vector<uint8_t> encodeDds(const Image& image, const DdsEncodeOptions& options) {
  using namespace dds;
  if (image.empty()) throw Error(ErrorKind::argument, "no picture");
  if (image.model() == ColourModel::cmyk || image.bitDepth() != 8)
    throw Error(ErrorKind::unsupported, "textures are made of grey, RGB and RGBA pictures of 8 bits a sample");
  const int most = mostLevels(image.width(), image.height()), levels = options.levels ? options.levels : most;
  if (levels < 1 || levels > most)
    throw Error(ErrorKind::argument, "a picture of this size has 1 to " + std::to_string(most) + " mip levels");
  const Coder coder = coderFor(options.format);
  const int threads = threadCount(options.threads);
  const bool chroma = options.format == TextureFormat::ycocg;

  std::vector<uint8_t> file = header(image, coder, options.format, levels);
  Image level = toColour(image, chroma ? ColourModel::rgb : ColourModel::rgba);
  if (level.rowBytes() > UINT32_MAX) throw Error(ErrorKind::limit, "rows of more than 2^32 bytes");
  for (int i = 0; i < levels; ++i) {
    if (i > 0) level = halved(level, threads);
    const size_t at = file.size();
    file.resize(at + bytesOf(level.width(), level.height(), coder.blockBytes));
    if (chroma) {
      Image converted = level.clone();
      toYCoCg(&converted, threads);
      encodeBlocks(converted, coder, threads, file.data() + at);
    } else {
      encodeBlocks(level, coder, threads, file.data() + at);
    }
    if (options.progress) options.progress((i + 1.0) / levels);
  }
  return file;
}

}  // namespace zelcodecs
