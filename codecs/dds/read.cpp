// Reading of DDS files: the header, and the blocks of one level.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "dds/dds.h"
#include "dds/format.h"
#include "common/error.h"
#include "common/parallel.h"
#include "common/warnings.h"

namespace zelcodecs {
namespace dds {
namespace {

struct Format {
  const char* name;
  size_t blockBytes;
  BlockDecoder decode;
  bool multiplied = false;  // colours with the opacity
  bool ycocg = false;
};

const Format kDxt1 = {"DXT1", 8, zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R};
const Format kDxt2 = {"DXT2", 16, zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, true};
const Format kDxt3 = {"DXT3", 16, zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R};
const Format kDxt4 = {"DXT4", 16, zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, true};
const Format kDxt5 = {"DXT5", 16, zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R};
const Format kBc7 = {"BC7", 16, zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R};
const Format kYCoCg = {"YCoCg in DXT5", 16, zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, false, true};

class Header {
 public:
  Header(const uint8_t* data, size_t size) : data_(data), size_(size) {
    if (!isDds(data, size)) throw Error(ErrorKind::unsupported, "not a DDS file", 0);
    need(kHeaderEnd);
    if (word(kHeaderSize) != kHeaderBytes)
      throw Error(ErrorKind::damaged, "a DDS header of the wrong size", kHeaderSize);
    readFormat();
    const uint32_t w = word(kWidth), h = word(kHeight);
    if (w == 0 || h == 0 || w > INT32_MAX || h > INT32_MAX)
      throw Error(ErrorKind::damaged, "a texture of " + std::to_string(w) + " x " + std::to_string(h) + " pixels",
                  kHeight);
    info_.format = format_->name;
    info_.width = int(w);
    info_.height = int(h);
    listLevels();
  }

  const DdsInfo& info() const { return info_; }
  const Format& format() const { return *format_; }
  // How many levels the header names, also where the texture cannot have so many.
  uint32_t levelsNamed() const { return word(kLevelCount); }

 private:
  uint32_t word(size_t at) const {
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v |= uint32_t{data_[at + i]} << 8 * i;
    return v;
  }

  void need(size_t bytes) const {
    if (size_ < bytes) throw Error(ErrorKind::damaged, "the file ends in the header", size_);
  }

  void readFormat() {
    if (!(word(kPixelFormatFlags) & kPixelFormatHasFourCC))
      throw Error(ErrorKind::unsupported, "a texture without compression", kPixelFormatFlags);
    if (word(kCaps2) & kCaps2Volume) throw Error(ErrorKind::unsupported, "a volume texture", kCaps2);
    info_.cubeMap = word(kCaps2) & kCaps2CubeMap;
    const uint32_t name = word(kFourCC);
    if (name == fourCC("DX10")) {
      readSecondHeader();
      return;
    }
    format_ = name == fourCC("DXT1")   ? &kDxt1
              : name == fourCC("DXT2") ? &kDxt2
              : name == fourCC("DXT3") ? &kDxt3
              : name == fourCC("DXT4") ? &kDxt4
              : name == fourCC("DXT5") ? (word(kTag) == kYCoCgTag ? &kYCoCg : &kDxt5)
                                       : nullptr;
    if (!format_) throw Error(ErrorKind::unsupported, "a texture format other than DXT1 to DXT5 and BC7", kFourCC);
  }

  // Each format of blocks has three numbers: without type, of linear and of sRGB samples.
  void readSecondHeader() {
    need(kSecondHeaderEnd);
    const uint32_t number = word(kDxgiFormat);
    if (word(kDimension) != kDimensionTexture2D)
      throw Error(ErrorKind::unsupported, "a texture that is not of two dimensions", kDimension);
    format_ = number >= 70 && number <= 72   ? &kDxt1
              : number >= 73 && number <= 75 ? &kDxt3
              : number >= 76 && number <= 78 ? &kDxt5
              : number >= 97 && number <= 99 ? &kBc7
                                             : nullptr;
    if (!format_)
      throw Error(ErrorKind::unsupported,
                  "texture format number " + std::to_string(number) + " is none of BC1, BC2, BC3 and BC7", kDxgiFormat);
    info_.cubeMap = info_.cubeMap || (word(kMiscFlags) & kMiscCubeMap);
    info_.pictures = std::max<uint32_t>(1, word(kArraySize));
    begin_ = kSecondHeaderEnd;
  }

  void listLevels() {
    const uint32_t most = uint32_t(mostLevels(info_.width, info_.height));
    size_t offset = begin_;
    for (uint32_t i = 0; i < std::clamp<uint32_t>(levelsNamed(), 1, most); ++i) {
      DdsInfo::Level l = {sizeAt(info_.width, int(i)), sizeAt(info_.height, int(i)), offset, 0};
      l.bytes = bytesOf(l.width, l.height, format_->blockBytes);
      offset += l.bytes;
      info_.levels.push_back(l);
    }
  }

  const uint8_t* data_;
  size_t size_;
  size_t begin_ = kHeaderEnd;
  const Format* format_ = nullptr;
  DdsInfo info_;
};

// ---- Pixels ---------------------------------------------------------------------------------------------------------

uint8_t clamped(float v) { return uint8_t(std::max(0.0f, std::min(255.0f, v + 0.5f))); }

// Decoded fields end in zeros: 248 and 252 stand for 255 of a field of 5 and of 6 bits.
constexpr float kFull5 = 255.0f / 248, kFull6 = 255.0f / 252;

// Chroma was scaled by one more than the blue field, which has no other use.
void fromYCoCg(uint8_t* p, int n) {
  for (; n > 0; --n, p += 4) {
    const float scale = 1.0f / float((p[2] >> 3) + 1), y = p[3];
    const float co = (float(p[0]) * kFull5 - 128) * scale, cg = (float(p[1]) * kFull6 - 128) * scale;
    p[0] = clamped(y + co - cg);
    p[1] = clamped(y + cg);
    p[2] = clamped(y - co - cg);
    p[3] = 255;
  }
}

void divideByOpacity(uint8_t* p, int n) {
  for (; n > 0; --n, p += 4)
    for (int c = 0; c < 3; ++c) p[c] = p[3] ? uint8_t(std::min(255, (p[c] * 255 + p[3] / 2) / p[3])) : 0;
}

// The rows from y on that a piece has, from so many blocks of the level as there are.
void decodePiece(const Format& format, const uint8_t* blocks, size_t count, int y, Image* image) {
  const size_t across = blocksOver(image->width()), first = blocksOver(y) * across;
  const int rows = std::min(kRowsOfPiece, image->height() - y);
  const auto decode = [&](size_t from, int atRow, ZeliSize size) {
    if (size.width < 1 || size.height < 1) return;
    if (format.decode(blocks + from * format.blockBytes, image->row(atRow), uint32_t(image->rowBytes()), size) !=
        zelStsNoErr)
      throw Error(ErrorKind::argument, "a level without pixels");
    for (int r = 0; r < size.height; ++r) {
      if (format.ycocg) fromYCoCg(image->row(atRow + r), size.width);
      if (format.multiplied) divideByOpacity(image->row(atRow + r), size.width);
    }
  };
  const size_t there = count > first ? count - first : 0;
  const int whole = int(std::min<size_t>(there / across * 4, size_t(rows)));
  decode(first, y, {image->width(), whole});
  if (whole == rows) return;
  const int pixels = int(std::min<size_t>(there % across * 4, size_t(image->width())));
  decode(first + there / across * across, y + whole, {pixels, std::min(4, rows - whole)});
}

}  // namespace
}  // namespace dds

Image decodeDds(const uint8_t* data, size_t size, const DdsDecodeOptions& options) {
  using namespace dds;
  const Header header(data, size);
  const DdsInfo& info = header.info();
  Warnings warnings(options.warnings);
  if (header.levelsNamed() > info.levels.size())
    warnings.add("more mip levels than such a texture can have", kLevelCount);
  if (info.cubeMap) warnings.add("of a cube map only the first face is decoded", kCaps2);
  if (info.pictures > 1) warnings.add("of an array of textures only the first is decoded", kArraySize);
  if (options.level < 0 || size_t(options.level) >= info.levels.size())
    throw Error(ErrorKind::argument, "the file has mip levels 0 to " + std::to_string(info.levels.size() - 1));

  const DdsInfo::Level& level = info.levels[size_t(options.level)];
  checkSize(uint64_t(level.width), uint64_t(level.height), options.limits, kHeight);
  const size_t there = level.offset < size ? std::min(level.bytes, size - level.offset) : 0;
  if (there < level.bytes) {
    const Error cut(ErrorKind::damaged, "the file ends before the blocks of level " + std::to_string(options.level),
                    size);
    if (!options.keepGoing) throw cut;
    // A few bytes must not ask for any amount of memory.
    if (level.bytes > 256 * size + (1 << 18)) throw Error(ErrorKind::limit, cut.what());
    warnings.add(cut);
  }
  Image image(level.width, level.height, ColourModel::rgba);
  if (there < level.bytes) std::memset(image.data(), 0, image.sizeBytes());
  const Format& format = header.format();
  const int pieces = (level.height - 1) / kRowsOfPiece + 1;
  forEachPiece(pieces, threadCount(options.threads), [&](int i) {
    decodePiece(format, data + (there ? level.offset : 0), there / format.blockBytes, i * kRowsOfPiece, &image);
  });
  if (options.progress) options.progress(1);
  return image;
}

DdsInfo readDdsInfo(const uint8_t* data, size_t size) { return dds::Header(data, size).info(); }

bool isDds(const uint8_t* data, size_t size) { return size >= 4 && std::memcmp(data, "DDS ", 4) == 0; }

}  // namespace zelcodecs
