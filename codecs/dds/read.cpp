// Reading of DDS files: the header, and the blocks or pixels of one level.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

#include "common/bytes.h"
#include "common/team.h"
#include "common/warnings.h"
#include "dds/dds.h"
#include "dds/texels.h"

namespace zelcodecs {
namespace dds {
namespace {

class Header {
 public:
  explicit Header(ByteView file) : in_(file, false) {
    if (!isDds(file.data, file.size)) throw Error(ErrorKind::unsupported, "not a DDS file", 0);
    need(kHeaderEnd);
    if (word(kHeaderSize) != kHeaderBytes)
      throw Error(ErrorKind::damaged, "a DDS header of the wrong size", kHeaderSize);
    readFormat();
    const uint32_t w = word(kWidth), h = word(kHeight);
    if (w == 0 || h == 0 || w > INT32_MAX || h > INT32_MAX)
      throw Error(ErrorKind::damaged, "a texture of " + std::to_string(w) + " x " + std::to_string(h) + " pixels",
                  kHeight);
    // Below, sizes in bytes are 64-bit numbers.
    if (uint64_t{w} * h > uint64_t{1} << 56)
      throw Error(ErrorKind::limit, "a texture of more than 2^56 pixels", kHeight);
    info_.format = texels_.name;
    info_.width = int(w);
    info_.height = int(h);
    listLevels();
  }

  const DdsInfo& info() const { return info_; }
  const Texels& texels() const { return texels_; }
  // How many levels the header names, also where the texture cannot have so many.
  uint32_t levelsNamed() const { return word(kLevelCount); }

 private:
  uint32_t word(size_t at) const { return in_.u32(at); }
  void need(size_t bytes) const {
    const size_t size = in_.bytes().size;
    if (size < bytes) throw Error(ErrorKind::damaged, "the file ends in the header", size);
  }

  void readFormat() {
    if (word(kCaps2) & kCaps2Volume) throw Error(ErrorKind::unsupported, "a volume texture", kCaps2);
    info_.cubeMap = word(kCaps2) & kCaps2CubeMap;
    if (info_.cubeMap) info_.faces = __builtin_popcount(word(kCaps2) & kCaps2Faces);
    const uint32_t name = word(kFourCC), flags = word(kPixelFormatFlags);
    if (!(flags & kPixelFormatHasFourCC))
      texels_ =
          texelsOfMasks(flags, word(kBitCount), {word(kRedMask), word(kGreenMask), word(kBlueMask), word(kAlphaMask)});
    else if (name == fourCC("DX10"))
      readSecondHeader();
    else
      texels_ = texelsOfName(name, word(kTag));
    if (info_.cubeMap && info_.faces == 0) info_.faces = 6;  // old files do not say which
  }

  void readSecondHeader() {
    need(kSecondHeaderEnd);
    if (word(kDimension) != kDimensionTexture2D)
      throw Error(ErrorKind::unsupported, "a texture that is not of two dimensions", kDimension);
    texels_ = texelsOfNumber(word(kDxgiFormat));
    info_.secondHeader = true;
    info_.cubeMap = info_.cubeMap || (word(kMiscFlags) & kMiscCubeMap);
    info_.faces = info_.cubeMap ? 6 : 1;
    info_.pictures = std::max<uint32_t>(1, word(kArraySize));
    begin_ = kSecondHeaderEnd;
  }

  void listLevels() {
    const uint32_t most = uint32_t(mostLevels(info_.width, info_.height));
    size_t offset = begin_;
    for (uint32_t i = 0; i < std::clamp<uint32_t>(levelsNamed(), 1, most); ++i) {
      DdsInfo::Level l = {sizeAt(info_.width, int(i)), sizeAt(info_.height, int(i)), offset, 0};
      l.bytes = texels_.bytes(l.width, l.height);
      offset += l.bytes;
      info_.levels.push_back(l);
    }
    info_.pictureBytes = offset - begin_;
  }

  ByteReader in_;
  size_t begin_ = kHeaderEnd;
  Texels texels_;
  DdsInfo info_;
};

class DdsDecoder : public Decoder {
 public:
  DdsDecoder(Source& source, const DdsDecodeOptions& options) : source_(source) {
    const ByteView file = source.all();
    const Header header(file);
    Warnings warnings(options.warnings);
    check(header, options, &warnings);
    const DdsInfo& info = header.info();
    const DdsInfo::Level& level = info.levels[size_t(options.level)];
    checkSize(uint64_t(level.width), uint64_t(level.height), options.limits, kHeight);
    texels_ = header.texels();

    // Of a picture that lies beyond the end of the file nothing is there.
    const uint64_t number = uint64_t{unsigned(options.element)} * unsigned(info.faces) + unsigned(options.face);
    uint64_t offset = file.size;
    if (number < file.size / info.pictureBytes + 1) offset = level.offset + number * info.pictureBytes;
    const size_t there = offset < file.size ? std::min<size_t>(level.bytes, file.size - offset) : 0;
    if (there < level.bytes) checkMissing(options, file.size, level, &warnings);
    offset_ = there ? size_t(offset) : 0;
    data_ = {file.data + offset_, there};
    PictureFormat format = {level.width, level.height, texels_.model, texels_.depth};
    team_ = std::make_unique<Team>(threadsFor(format, options.threads, kPixelsByDefault));
    chooseModel(there == level.bytes);
    format.model = texels_.model;
    open(format, chooseBand(format), options);
  }

 private:
  static constexpr size_t kBand = size_t{64} << 10, kBandOfThreads = size_t{512} << 10;

  static void check(const Header& header, const DdsDecodeOptions& options, Warnings* warnings) {
    const DdsInfo& info = header.info();
    if (header.levelsNamed() > info.levels.size())
      warnings->add("more mip levels than such a texture can have", kLevelCount);
    if (options.level < 0 || size_t(options.level) >= info.levels.size())
      throw Error(ErrorKind::argument, "the file has mip levels 0 to " + std::to_string(info.levels.size() - 1));
    if (options.face < 0 || options.face >= info.faces)
      throw Error(ErrorKind::argument, "the file has cube faces 0 to " + std::to_string(info.faces - 1));
    if (options.element < 0 || uint32_t(options.element) >= info.pictures)
      throw Error(ErrorKind::argument, "the file has elements 0 to " + std::to_string(info.pictures - 1));
    if (info.cubeMap) warnings->add("of a cube map only face " + std::to_string(options.face) + " is decoded", kCaps2);
    if (info.pictures > 1)
      warnings->add("of an array of textures only element " + std::to_string(options.element) + " is decoded",
                    kArraySize);
  }

  static void checkMissing(const DdsDecodeOptions& options, size_t size, const DdsInfo::Level& level,
                           Warnings* warnings) {
    const Error cut(ErrorKind::damaged, "the file ends before the end of level " + std::to_string(options.level), size);
    if (!options.keepGoing) throw cut;
    // A few bytes must not ask for any amount of memory.
    if (level.bytes > 256 * size + (1 << 18)) throw Error(ErrorKind::limit, cut.what());
    warnings->add(cut);
  }

  // What is missing is transparent black. The blocks are looked through round by round, so that a large file does not
  // stay in memory for it.
  void chooseModel(bool complete) {
    if (texels_.kind != Texels::Kind::colourBlocks || !complete) return;
    constexpr size_t kPiece = size_t{1} << 13, kRound = size_t{1} << 18;  // blocks
    const size_t blocks = data_.size / texels_.unitBytes;
    for (size_t from = 0; from < blocks; from += kRound) {
      const size_t end = std::min(blocks, from + kRound);
      std::atomic<bool> opaque{true};
      team_->forEach(int((end - from - 1) / kPiece + 1), [&](int i) {
        const size_t at = from + size_t(i) * kPiece;
        if (opaque && !areOpaque(texels_, data_.data + at * texels_.unitBytes, std::min(kPiece, end - at)))
          opaque = false;
      });
      if (!opaque) return;
      source_.release(offset_ + from * texels_.unitBytes);
    }
    texels_.model = ColourModel::rgb;
  }

  int chooseBand(const PictureFormat& format) const {
    const size_t rows = (team_->threads() == 1 ? kBand : kBandOfThreads) / format.rowBytes() / 4 * 4;
    return int(std::clamp<size_t>(rows, 4, size_t{1} << 16));
  }

  void decodeBand(Rows to) override {
    const int rowsOfUnit = texels_.blocks() ? 4 : 1;
    const int units = (to.count - 1) / rowsOfUnit + 1;
    // Pictures of a few rows are done before a thread has started.
    const int wanted = to.step * size_t(to.count) < kBand ? 1 : 4 * team_->threads();
    const int perPiece = (units - 1) / wanted + 1, pieces = (units - 1) / perPiece + 1;
    team_->forEach(pieces, [&](int i) {
      for (int u = i * perPiece; u < std::min(units, (i + 1) * perPiece); ++u) {
        const int y = u * rowsOfUnit;
        decodeUnit(nextRow() / rowsOfUnit + u, to.part(y, std::min(rowsOfUnit, to.count - y)));
      }
    });
    source_.release(offset_ + size_t(nextRow() / rowsOfUnit) * texels_.rowBytes(whole().width));
  }
  void skipBand(int) override {}

  // The columns that are wanted of a row of blocks or pixels, or as many of them as are there.
  void decodeUnit(int number, Rows to) const {
    const size_t rowBytes = texels_.rowBytes(whole().width), at = size_t(number) * rowBytes;
    const size_t there = data_.size > at ? std::min(rowBytes, data_.size - at) : 0;
    const int perUnit = texels_.blocks() ? 4 : 1;
    const int first = wanted().x / perUnit * perUnit;
    const int end =
        int(std::min<size_t>(size_t(wanted().x + wanted().width), there / texels_.unitBytes * size_t(perUnit)));
    const size_t begin = size_t(first) * whole().pixelBytes();
    const size_t filled = end > first ? size_t(end) * whole().pixelBytes() : begin;
    for (int y = 0; y < to.count && there < rowBytes; ++y)
      std::memset(to.row(y) + filled, 0, whole().rowBytes() - filled);
    if (end <= first) return;
    toSamples(texels_, data_.data + at + size_t(first / perUnit) * texels_.unitBytes, end - first,
              {to.data + begin, to.step, to.count});
  }

  Source& source_;
  std::unique_ptr<Team> team_;
  Texels texels_;
  ByteView data_;  // of the level, as far as it is there
  size_t offset_ = 0;
};

}  // namespace
}  // namespace dds

std::unique_ptr<Decoder> openDds(Source& source, const DdsDecodeOptions& options) {
  return std::make_unique<dds::DdsDecoder>(source, options);
}

Image decodeDds(const uint8_t* data, size_t size, const DdsDecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openDds(*source, options));
}

DdsInfo readDdsInfo(const uint8_t* data, size_t size) { return dds::Header({data, size}).info(); }

bool isDds(const uint8_t* data, size_t size) { return size >= 4 && std::memcmp(data, "DDS ", 4) == 0; }

}  // namespace zelcodecs
