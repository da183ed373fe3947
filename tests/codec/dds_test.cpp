// DDS files: levels against their definition, blocks beside libsquish, damaged and rare files.
#include <squish.h>

#include <cmath>
#include <cstring>

#include "dds/dds.h"
#include "files.h"
#include "zelj.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::expectEqual;
using zeltest::picture;

namespace {

constexpr size_t kFourCC = 84, kReserved = 32, kCaps2 = 112, kHeaderEnd = 128;
const TextureFormat kFormats[] = {TextureFormat::dxt1, TextureFormat::dxt3, TextureFormat::dxt5, TextureFormat::ycocg};

Bytes encode(const Image& image, TextureFormat format, int levels = 1) {
  DdsEncodeOptions o;
  o.format = format;
  o.levels = levels;
  return encodeDds(image, o);
}

Image decode(const Bytes& file, int level = 0, bool keepGoing = false, std::vector<std::string>* warnings = nullptr) {
  DdsDecodeOptions o;
  o.level = level;
  o.keepGoing = keepGoing;
  o.warnings = warnings;
  return toColour(decodeDds(file.data(), file.size(), o), ColourModel::rgba);
}

void put(Bytes* file, size_t at, uint32_t v) {
  for (size_t i = 0; i < 4; ++i) (*file)[at + i] = uint8_t(v >> 8 * i);
}
void rename(Bytes* file, const char* fourCC) { std::memcpy(file->data() + kFourCC, fourCC, 4); }

Bytes withSecondHeader(Bytes file, uint32_t format, uint32_t dimension = 3, uint32_t misc = 0, uint32_t pictures = 1) {
  rename(&file, "DX10");
  file.insert(file.begin() + kHeaderEnd, 20, 0);
  const uint32_t words[] = {format, dimension, misc, pictures};
  for (size_t i = 0; i < 4; ++i) put(&file, kHeaderEnd + 4 * i, words[i]);
  return file;
}

// The mean over the source samples that lie under a sample of the next level, each by its share.
double mean(const Image& from, const Image& to, int x, int y, int channel) {
  const auto covered = [](int s, int i, int size, int half) {
    const double begin = double(i) * size / half, end = double(i + 1) * size / half;
    return std::max(0.0, std::min(end, s + 1.0) - std::max(begin, double(s)));
  };
  double sum = 0, weights = 0;
  for (int v = 0; v < from.height(); ++v)
    for (int u = 0; u < from.width(); ++u) {
      const double share = covered(u, x, from.width(), to.width()) * covered(v, y, from.height(), to.height());
      sum += share * from.sample(v, 4 * u + channel);
      weights += share;
    }
  return sum / weights;
}

TEST(Dds, LevelsAndBlocksOfAllSizes) {
  for (int w = 1; w <= 9; ++w)
    for (int h = 1; h <= 9; ++h)
      for (const TextureFormat format : {TextureFormat::dxt1, TextureFormat::dxt5}) {
        const bool dxt1 = format == TextureFormat::dxt1;
        const auto pack =
            dxt1 ? zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R : zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R;
        const auto unpack =
            dxt1 ? zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R : zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R;
        Image level = picture(w, h, ColourModel::rgba);
        const Bytes file = encode(level, format, 0);
        size_t at = kHeaderEnd;
        int l = 0;
        for (const DdsInfo::Level& told : readDdsInfo(file.data(), file.size()).levels) {
          SCOPED_TRACE(std::to_string(w) + " x " + std::to_string(h) + " level " + std::to_string(l));
          if (l > 0) {
            const Image before = std::move(level);
            level = Image(std::max(1, before.width() / 2), std::max(1, before.height() / 2), ColourModel::rgba);
            for (int i = 0; i < level.width() * level.height() * 4; ++i) {
              const int x = i / 4 % level.width(), y = i / 4 / level.width();
              level.data()[i] = uint8_t(std::floor(mean(before, level, x, y, i % 4) + 0.5 + 1e-9));
            }
          }
          Bytes blocks(size_t((level.width() + 3) / 4 * ((level.height() + 3) / 4)) * (dxt1 ? 8 : 16));
          ASSERT_EQ(std::make_tuple(told.width, told.height, told.offset, told.bytes),
                    std::make_tuple(level.width(), level.height(), at, blocks.size()));
          const ZeliSize size = {level.width(), level.height()};
          const uint32_t step = uint32_t(level.rowBytes());
          pack(level.data(), step, size, blocks.data());
          ASSERT_EQ(blocks, zeltest::part(file, at, at + blocks.size()));
          at += blocks.size();
          Image back(level.width(), level.height(), ColourModel::rgba);
          unpack(blocks.data(), back.data(), step, size);
          expectEqual(back, decode(file, l++));
        }
        ASSERT_EQ(at, file.size());
        ASSERT_EQ(level.sizeBytes(), 4u);  // one pixel
      }
}

// Ours fills the low bits of fields with zeros, the peer with the top ones; it rounds opacities between down.
TEST(Dds, BlocksBesideThePeer) {
  std::mt19937 random32(5);
  const int w = 64, h = 60;
  const int flags[] = {squish::kDxt1, squish::kDxt3, squish::kDxt5};
  const Image image = picture(w, h, ColourModel::rgba);
  for (int round = 0; round < 12; ++round)
    for (const int kind : {0, 1, 2}) {
      Bytes file = encode(image, kFormats[kind]), theirs(4 * w * h);
      if (round > 1)  // any blocks
        std::generate(file.begin() + kHeaderEnd, file.end(), [&] { return uint8_t(random32()); });
      else if (round == 1)
        squish::CompressImage(image.data(), w, h, &file[kHeaderEnd], flags[kind] | squish::kColourRangeFit);
      squish::DecompressImage(theirs.data(), w, h, &file[kHeaderEnd], flags[kind]);
      const Image ours = decode(file);
      for (size_t i = 0; i < theirs.size(); ++i) {
        const int a = ours.data()[i], b = theirs[i];
        const bool opacity = i % 4 == 3;
        const int least = opacity && kind == 2 ? -1 : 0;
        const int most = !opacity ? (i % 4 == 1 ? 4 : 8) : kind == 1 ? 15 : 0;
        ASSERT_GE(b - a, least) << "format " << kind << " sample " << i << ": " << a << ", " << b;
        ASSERT_LE(b - a, most) << "format " << kind << " sample " << i << ": " << a << ", " << b;
        ASSERT_TRUE(!opacity || kind != 1 || b == a / 16 * 17) << i;
      }
    }
}

TEST(Dds, KindsOfHeaders) {
  const Image image = picture(13, 10, ColourModel::rgba);
  for (const uint32_t number : {70u, 72u, 74u, 78u}) {
    const Bytes plain = encode(image, kFormats[number < 73 ? 0 : number < 76 ? 1 : 2]);
    expectEqual(decode(plain), decode(withSecondHeader(plain, number)));
  }
  std::vector<std::string> warnings;
  const Bytes dxt5 = encode(image, TextureFormat::dxt5);
  decode(withSecondHeader(dxt5, 77, 3, 4, 2), 0, false, &warnings);
  EXPECT_EQ(warnings.size(), 2u);  // a cube map, an array
  Bytes other = dxt5;
  put(&other, kCaps2, 0x200);
  put(&other, 28, 9);  // more levels than there can be
  decode(other, 0, false, &warnings);
  EXPECT_EQ(warnings.size(), 4u);
  EXPECT_EQ(readDdsInfo(other.data(), other.size()).levels.size(), 4u);

  // Colours multiplied with the opacity are divided by it.
  for (const int kind : {1, 2}) {
    Bytes file = encode(image, kFormats[kind]);
    const Image multiplied = decode(file);
    rename(&file, kind == 1 ? "DXT2" : "DXT4");
    const Image divided = decode(file);
    for (size_t i = 0; i < divided.sizeBytes(); i += 4)
      for (size_t c = 0; c < 3; ++c) {
        const int a = multiplied.data()[i + 3];
        const int v = a ? std::min(255, int(std::lround(multiplied.data()[i + c] * 255.0 / a))) : 0;
        ASSERT_EQ(divided.data()[i + c], v) << i;
        ASSERT_EQ(divided.data()[i + 3], a) << i;
      }
  }
  const Bytes second = withSecondHeader(dxt5, 77);
  const std::tuple<Bytes, size_t, uint32_t> bad[] = {{dxt5, kFourCC, 0x30315844},  // "DX10" without a second header
                                                     {dxt5, 80, 0x40},             // no blocks
                                                     {dxt5, 4, 100},               // the header's size
                                                     {dxt5, 16, 0},                // the width
                                                     {dxt5, 12, 0x80000000},       // the height
                                                     {dxt5, kCaps2, 0x200000},     // a volume
                                                     {second, 128, 80},            // BC4
                                                     {second, 132, 4}};            // three dimensions
  for (auto [file, at, v] : bad) {
    put(&file, at, v);
    EXPECT_THROW(decode(file), Error) << at;
  }
  EXPECT_THROW(decode(dxt5, 1), Error);
  EXPECT_THROW(encode(Image(4, 4, ColourModel::cmyk), TextureFormat::dxt1), Error);
  EXPECT_THROW(encode(Image(4, 4, ColourModel::grey, 16), TextureFormat::dxt1), Error);
  EXPECT_THROW(encode(image, TextureFormat::dxt1, 5), Error);
}

// Luma stays within what a step of eight values loses, and greys stay grey but for the rounding of chroma.
TEST(Dds, YCoCgComesBack) {
  for (const int range : {3, 40, 255}) {  // of each channel about the grey: scales 4, 2 and 1
    Image image(40, 40, ColourModel::rgb);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 40; ++x) {
        const int luma = 64 + 3 * y, tint = std::min(range, 60 + x) * (x / 4 % 2 ? 1 : -1);
        image.row(y)[3 * x] = uint8_t(std::clamp(luma + tint, 0, 255));
        image.row(y)[3 * x + 1] = uint8_t(luma);
        image.row(y)[3 * x + 2] = uint8_t(std::clamp(luma - tint, 0, 255));
      }
    Bytes file = encode(image, TextureFormat::ycocg);
    const Image back = decode(file);
    for (int y = 0; y < 40; ++y)
      for (int i = 0; i < 120; ++i)
        ASSERT_NEAR(image.row(y)[i], back.row(y)[i / 3 * 4 + i % 3], range == 255 ? 11 : 6) << y << ", " << i;
    put(&file, kReserved, 0);  // without the tag: plain DXT5 with the luma as opacity
    EXPECT_NEAR(decode(file).row(20)[4 * 20 + 3], back.row(20)[4 * 20 + 1], 12);
  }
}

TEST(Dds, CutShortAtEveryByte) {
  for (const TextureFormat format : kFormats) {
    const Bytes file = encode(picture(11, 21, ColourModel::rgba), format, 0);
    const DdsInfo info = readDdsInfo(file.data(), file.size());
    const Image whole = decode(file);
    for (size_t n = 0; n < file.size(); ++n) {
      const Bytes part = zeltest::part(file, 0, n);
      const bool complete = n >= info.levels[1].offset;
      if (complete)
        expectEqual(decode(part), whole);
      else
        ASSERT_THROW(decode(part), Error);
      ASSERT_THROW(decode(part, int(info.levels.size()) - 1), Error);
      std::vector<std::string> warnings;
      if (n < kHeaderEnd) {
        ASSERT_THROW(decode(part, 0, true), Error);
        continue;
      }
      const Image rescued = decode(part, 0, true, &warnings);
      ASSERT_EQ(warnings.empty(), complete);
      const size_t blocks = (n - kHeaderEnd) / (format == TextureFormat::dxt1 ? 8 : 16);
      for (size_t i = 0; i < 11 * 21; ++i) {
        const bool there = i / 11 / 4 * 3 + i % 11 / 4 < blocks;
        const uint8_t black[4] = {}, *const expected = there ? whole.data() + 4 * i : black;
        ASSERT_EQ(0, std::memcmp(rescued.data() + 4 * i, expected, 4)) << n << " bytes, pixel " << i;
      }
    }
    Bytes vast(file.begin(), file.begin() + kHeaderEnd + 16);
    put(&vast, 12, 16000);
    put(&vast, 16, 16000);
    EXPECT_THROW(decode(vast, 0, true), Error);
  }
}

TEST(Dds, ThreadsChangeNothing) {
  for (const TextureFormat format : kFormats) {
    DdsEncodeOptions o;
    o.format = format;
    o.levels = 0;
    zeltest::expectThreadsChangeNothing(picture(333, 517, ColourModel::rgb), encodeDds, o, decodeDds, kHeaderEnd);
  }
}

}  // namespace
