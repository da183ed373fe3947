// Writing of DDS files: blocks of the picture go out as its rows come, those of the lower levels at the end.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "common/error.h"
#include "common/warnings.h"
#include "dds/dds.h"
#include "dds/format.h"
#include "dds/pyramid.h"

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

// ---- Pixels as the blocks' encoders take them -----------------------------------------------------------------------

// Four pixels of RGB become RGBA. Sixteen bytes are read, so that there must be more than five pixels.
constexpr int kReadPixels = 5;
void fourPixels(const uint8_t* from, uint8_t* to) {
  using Sixteen = uint8_t __attribute__((vector_size(16)));
  Sixteen rgb;
  std::memcpy(&rgb, from, sizeof rgb);
  const Sixteen full = Sixteen{} - 1;
  const Sixteen rgba = __builtin_shufflevector(rgb, full, 0, 1, 2, 16, 3, 4, 5, 16, 6, 7, 8, 16, 9, 10, 11, 16);
  std::memcpy(to, &rgba, sizeof rgba);
}

// Grey is repeated, a missing opacity full.
void toChannels(const uint8_t* from, int fromChannels, int width, uint8_t* to, int toChannels) {
  if (fromChannels == toChannels) {
    std::memcpy(to, from, size_t(width) * size_t(toChannels));
    return;
  }
  if (fromChannels == 3)  // to RGBA
    for (; width > kReadPixels; width -= 4, from += 12, to += 16) fourPixels(from, to);
  const int colours = fromChannels < 3 ? 1 : 3;
  for (int x = 0; x < width; ++x, from += fromChannels, to += toChannels) {
    for (int c = 0; c < 3; ++c) to[c] = from[colours == 1 ? 0 : c];
    if (toChannels == 4) to[3] = fromChannels % 2 == 0 ? from[fromChannels - 1] : 255;
  }
}

// Luma, orange and green chroma, these two around 128.
void toYCoCg(uint8_t* p, int width) {
  const auto chroma = [](int v) { return uint8_t(std::min(255, (v + 2) / 4)); };
  for (int x = 0; x < width; ++x, p += 3) {
    const int r = p[0], g = p[1], b = p[2];
    p[0] = uint8_t((r + 2 * g + b + 2) / 4);
    p[1] = chroma(2 * r - 2 * b + 512);
    p[2] = chroma(2 * g - r - b + 512);
  }
}

// The encoders keep the upper bits of endpoints. Read back, these are widened to the full range, so that a value of red
// or blue would be up to 7 too large or too small. Moved up by 1 where it is dark, down by up to 2 where it is bright,
// it meets the widened values better: by 0.2 to 0.5 dB in photographs. (Twice as much would round to the nearest, but
// does less, as the ends of a block's box are drawn in already.) Black and white stay what they are. Opacities of 4
// bits, where they are asked for, are read as 17 times their number, and are rounded to the nearest.
void meetWidened(uint8_t* pixels, int width, bool fourBits) {
  for (int x = 0; x < width; ++x, pixels += 4) {
    uint32_t p;
    std::memcpy(&p, pixels, 4);
    p = p - (p >> 6 & 0x00030003) + 0x00010001;
    if (fourBits) p = (p & 0xFFFFFF) | ((p >> 24) + 8) * 241 >> 12 << 28;  // 241 / 4096: a seventeenth
    std::memcpy(pixels, &p, 4);
  }
}

// ---- The file -------------------------------------------------------------------------------------------------------

Bytes header(const PictureFormat& picture, const Coder& coder, TextureFormat format, int levels) {
  Bytes out(kHeaderEnd);
  const auto put = [&](Word at, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) out[at + i] = uint8_t(v >> 8 * i);
  };
  put(kMagic, fourCC("DDS "));
  put(kHeaderSize, kHeaderBytes);
  put(kFlags, kHasCaps | kHasHeight | kHasWidth | kHasPixelFormat | kHasLinearSize | (levels > 1 ? kHasLevelCount : 0));
  put(kHeight, uint32_t(picture.height));
  put(kWidth, uint32_t(picture.width));
  put(kLinearSize, uint32_t(bytesOf(picture.width, picture.height, coder.blockBytes)));
  put(kLevelCount, uint32_t(levels));
  if (format == TextureFormat::ycocg) put(kTag, kYCoCgTag);
  put(kPixelFormatSize, kPixelFormatBytes);
  put(kPixelFormatFlags, kPixelFormatHasFourCC);
  put(kFourCC, coder.name);
  put(kCaps, kCapsTexture | (levels > 1 ? kCapsComplex | kCapsMipMap : 0));
  return out;
}

class DdsEncoder : public Encoder {
 public:
  DdsEncoder(Sink& sink, const PictureFormat& format, const DdsEncodeOptions& options)
      : sink_(sink),
        texture_(options.format),
        coder_(coderFor(options.format)),
        team_(threadsFor(format, options.threads, kPixelsByDefault)) {
    if (format.width < 1 || format.height < 1) throw Error(ErrorKind::argument, "no picture");
    if (format.model == ColourModel::cmyk || format.bitDepth != 8)
      throw Error(ErrorKind::unsupported, "textures are made of grey, RGB and RGBA pictures of 8 bits a sample");
    const int most = mostLevels(format.width, format.height), levels = options.levels ? options.levels : most;
    if (levels < 1 || levels > most)
      throw Error(ErrorKind::argument, "a picture of this size has 1 to " + std::to_string(most) + " mip levels");
    channels_ = texture_ == TextureFormat::ycocg ? 3 : 4;
    if (int64_t{format.width} * channels_ > UINT32_MAX) throw Error(ErrorKind::limit, "rows of more than 2^32 bytes");
    code_ = [this](ConstRows rows, int width, uint8_t* to) { codeRows(rows, width, to); };
    top_ = std::make_unique<Level>(format.width, format.height, format.channels(), levels - 1, coder_.blockBytes, team_,
                                   code_);
    const size_t rows =
        (team_.threads() == 1 ? kBand : kBandOfThreads * size_t(team_.threads())) / format.rowBytes() / 4 * 4;
    open(format, int(std::clamp<size_t>(rows, 4, 4096)), options);
    uint64_t bytes = kHeaderEnd;
    for (int l = 0; l < levels; ++l)
      bytes += bytesOf(std::max(1, format.width >> l), std::max(1, format.height >> l), coder_.blockBytes);
    sink_.expect(bytes);
    sink_.write(header(format, coder_, texture_, levels));
  }

 private:
  static constexpr size_t kBand = size_t{128} << 10, kBandOfThreads = size_t{1} << 20;

  void codeRows(ConstRows rows, int width, uint8_t* to) const {
    const bool chroma = texture_ == TextureFormat::ycocg;
    const size_t rowBytes = size_t(width) * size_t(channels_);
    const std::unique_ptr<uint8_t[]> changed(new uint8_t[rowBytes * size_t(rows.count)]);
    for (int y = 0; y < rows.count; ++y) {
      uint8_t* const row = &changed[rowBytes * size_t(y)];
      toChannels(rows.row(y), format().channels(), width, row, channels_);
      if (chroma)
        toYCoCg(row, width);
      else
        meetWidened(row, width, texture_ == TextureFormat::dxt3);
    }
    require(coder_.encode(changed.get(), uint32_t(rowBytes), {width, rows.count}, to));
  }

  void encodeBand(ConstRows rows) override {
    top_->take(rows);
    sink_.write(top_->takeBlocks());
  }

  void end() override {
    for (Level* level = top_->below(); level; level = level->below()) sink_.write(level->takeBlocks());
  }

  Sink& sink_;
  const TextureFormat texture_;
  const Coder coder_;
  Team team_;
  int channels_;
  CodeRows code_;
  std::unique_ptr<Level> top_;
};

}  // namespace
}  // namespace dds

std::unique_ptr<Encoder> createDds(Sink& sink, const PictureFormat& format, const DdsEncodeOptions& options) {
  return std::make_unique<dds::DdsEncoder>(sink, format, options);
}

std::vector<uint8_t> encodeDds(const Image& image, const DdsEncodeOptions& options) {
  Warnings warnings(options.warnings);
  if (!image.metadata().empty()) warnings.add("a DDS file keeps no metadata");
  std::vector<uint8_t> file;
  const std::unique_ptr<Sink> sink = memorySink(&file);
  const std::unique_ptr<Encoder> encoder = createDds(*sink, image.format(), options);
  writeAll(*encoder, image);
  return file;
}

}  // namespace zelcodecs
