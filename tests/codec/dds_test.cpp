// DDS files: levels against their definition, blocks beside libsquish, damaged and rare files.
#include <squish.h>

#include <array>
#include <cmath>
#include <cstring>

#include "common/convert.h"
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
  return converted(decodeDds(file.data(), file.size(), o), ColourModel::rgba);
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
          const Bytes alone = encode(level, format), blocks = zeltest::part(alone, kHeaderEnd, alone.size());
          ASSERT_EQ(std::make_tuple(told.width, told.height, told.offset, told.bytes),
                    std::make_tuple(level.width(), level.height(), at, blocks.size()));
          ASSERT_EQ(blocks, zeltest::part(file, at, at + blocks.size()));
          expectEqual(decode(alone), decode(file, l++));
          at += blocks.size();
        }
        ASSERT_EQ(at, file.size());
        ASSERT_EQ(level.sizeBytes(), 4u);  // one pixel
      }
}

// The peer makes the colours between of widened fields, and rounds opacities between down; endpoints are the same. A
// transparent pixel anywhere makes a picture with opacity.
TEST(Dds, BlocksBesideThePeer) {
  std::mt19937 random32(5);
  constexpr int kWidth = 16, kHeight = 8, kFlags[] = {squish::kDxt1, squish::kDxt3, squish::kDxt5};
  const Image image = picture(kWidth, kHeight, ColourModel::rgb), rgba = converted(image, ColourModel::rgba);
  int opaque[3] = {};
  for (int run = 0; run < 1500; ++run) {
    const int kind = run % 3;
    const size_t unit = kind ? 16 : 8, spoilt = kHeaderEnd + unit * (random32() % 8);
    Bytes file = encode(image, kFormats[kind]), theirs(4 * kWidth * kHeight);
    if (run % 7 == 0)
      std::generate(file.begin() + kHeaderEnd, file.end(), [&] { return uint8_t(random32()); });
    else if (run % 7 == 1)
      squish::CompressImage(rgba.data(), kWidth, kHeight, &file[kHeaderEnd], kFlags[kind] | squish::kColourRangeFit);
    for (size_t i = 0; run % 7 > 1 && i < 8; ++i) {
      // Endpoints of 255 and of others; codes of all kinds, of one endpoint alone, full or none.
      const uint8_t codes[][3] = {{0, 0, 0}, {0x49, 0x92, 0x24}, {255, 255, 255}, {0xB6, 0x6D, 0xDB}};
      const bool any = run % 4 == 0 || (kind == 0 && i < 4), end = i < 2 && kind != 1;
      file[spoilt + i] = uint8_t(any || (end && random32() % 2) ? random32()
                                 : end                          ? 255
                                                                : codes[run % 5 % 4][(i + 1) % 3]);
    }
    squish::DecompressImage(theirs.data(), kWidth, kHeight, &file[kHeaderEnd], kFlags[kind]);
    const Image seen = decodeDds(file.data(), file.size()), ours = converted(seen, ColourModel::rgba);
    bool clear = false;
    for (size_t i = 0; i < theirs.size(); ++i) {
      const int a = ours.data()[i], b = theirs[i];
      const size_t x = i / 4 % kWidth, y = i / 4 / kWidth;
      const int code = file[kHeaderEnd + unit * (y / 4 * 4 + x / 4 + 1) - 4 + y % 4] >> 2 * (x % 4) & 3;
      const bool opacity = i % 4 == 3;
      clear |= opacity && b < 255;
      const int below = opacity ? kind == 2 : code > 1, above = opacity ? 0 : code > 1;
      ASSERT_TRUE(b - a >= -below && b - a <= above) << "run " << run << " sample " << i << ": " << a << ", " << b;
    }
    ASSERT_EQ(clear, seen.model() == ColourModel::rgba) << run;
    opaque[kind] += !clear;
  }
  for (const int n : opaque) EXPECT_TRUE(n > 100 && n < 400) << n;
}

// White and black come back as they were, without an opacity that nobody needs.
TEST(Dds, WhiteAndBlack) {
  for (const TextureFormat format : kFormats)
    for (const int v : {0, 255}) {
      Image flat(8, 8, ColourModel::rgb);
      std::memset(flat.data(), v, flat.sizeBytes());
      const Bytes file = encode(flat, format);
      const Image back = decodeDds(file.data(), file.size());
      ASSERT_EQ(back.model(), ColourModel::rgb);
      EXPECT_LE(difference(back, flat).largest, format == TextureFormat::ycocg ? 1 : 0);
    }
}

Bytes plainFile(uint32_t flags, uint32_t bits, const std::array<uint32_t, 4>& masks, int width, int height) {
  Bytes file = encode(Image(4, 4, ColourModel::rgb), TextureFormat::dxt1);
  file.resize(kHeaderEnd);
  put(&file, 12, uint32_t(height));
  put(&file, 16, uint32_t(width));
  put(&file, 80, flags);
  put(&file, 88, bits);
  for (size_t i = 0; i < 4; ++i) put(&file, 92 + 4 * i, masks[i]);
  std::mt19937 random32(bits + masks[0]);
  for (size_t i = 0; i < size_t(width) * size_t(height) * bits / 8; ++i) file.push_back(uint8_t(random32()));
  return file;
}

// Every field, scaled to the depth of the picture, by its definition.
TEST(Dds, WithoutCompression) {
  struct Kind {
    uint32_t flags, bits;
    std::array<uint32_t, 4> masks;
    ColourModel model;
    uint32_t number;  // in the second header
  };
  const Kind kinds[] = {{0x41, 32, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, ColourModel::rgba, 87},
                        {0x40, 32, {0xFF0000, 0xFF00, 0xFF, 0}, ColourModel::rgb, 93},
                        {0x41, 32, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}, ColourModel::rgba, 29},
                        {0x40, 24, {0xFF0000, 0xFF00, 0xFF, 0}, ColourModel::rgb, 0},
                        {0x40, 16, {0xF800, 0x7E0, 0x1F, 0}, ColourModel::rgb, 85},
                        {0x41, 16, {0x7C00, 0x3E0, 0x1F, 0x8000}, ColourModel::rgba, 86},
                        {0x41, 16, {0xF00, 0xF0, 0xF, 0xF000}, ColourModel::rgba, 115},
                        {0x20000, 8, {0xFF, 0, 0, 0}, ColourModel::grey, 61},
                        {0x20001, 16, {0xFF, 0, 0, 0xFF00}, ColourModel::greyAlpha, 0},
                        {0x20000, 16, {0xFFFF, 0, 0, 0}, ColourModel::grey, 56},
                        {0x41, 32, {0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000}, ColourModel::rgba, 24}};
  for (const Kind& k : kinds) {
    const Bytes file = plainFile(k.flags, k.bits, k.masks, 37, 11);
    const Image image = decodeDds(file.data(), file.size());
    ASSERT_EQ(image.model(), k.model);
    const size_t bytes = k.bits / 8;
    for (size_t i = 0; i < 37 * 11; ++i) {
      uint32_t pixel = 0;
      for (size_t b = 0; b < bytes; ++b) pixel |= uint32_t{file[kHeaderEnd + i * bytes + b]} << 8 * b;
      const int n = image.channels();
      for (int c = 0; c < n; ++c) {
        const uint32_t mask = k.masks[c == n - 1 && hasOpacity(k.model) ? 3 : size_t(c)];
        const double part = double((pixel & mask) >> __builtin_ctz(mask)) / double(mask >> __builtin_ctz(mask));
        ASSERT_EQ(image.sample(int(i / 37), int(i % 37) * n + c), std::lround(part * image.maxValue()))
            << k.bits << ' ' << i;
      }
    }
    if (!k.number) continue;
    Bytes second = withSecondHeader(file, k.number);
    put(&second, 80, 4);
    expectEqual(decodeDds(second.data(), second.size()), image);
  }
  // 16 bits a channel, and two channels, which are red and green.
  Bytes wide = withSecondHeader(plainFile(0x41, 32, {1, 2, 4, 8}, 8, 4), 11);
  put(&wide, 80, 4);
  put(&wide, 16, 4);
  const Image rgba = decodeDds(wide.data(), wide.size());
  EXPECT_EQ(rgba.bitDepth(), 16);
  EXPECT_EQ(0, std::memcmp(rgba.data(), &wide[kHeaderEnd + 20], rgba.sizeBytes()));
  put(&wide, kHeaderEnd, 35);
  put(&wide, 16, 8);
  const Image rg = decodeDds(wide.data(), wide.size());
  EXPECT_EQ(std::make_tuple(rg.model(), rg.sample(0, 3), rg.sample(0, 2)),
            std::make_tuple(ColourModel::rgb, rgba.sample(0, 2), 0));
}

// Signed values are unsigned ones 128 higher, but for the least of the range, which is -127.
TEST(Dds, SignedValues) {
  std::mt19937 random32(9);
  for (const uint32_t number : {80u, 83u}) {
    const Bytes header = zeltest::part(encode(Image(64, 64, ColourModel::rgb), TextureFormat::dxt1), 0, kHeaderEnd);
    Bytes unsign = withSecondHeader(header, number), sign = withSecondHeader(header, number + 1);
    for (size_t i = 0; i < 4096; ++i) {
      const bool end = i % 8 < 2;
      unsign.push_back(uint8_t(end ? 1 + random32() % 255 : random32()));
      sign.push_back(uint8_t(unsign.back() ^ (end ? 128 : 0)));
    }
    const Image a = decodeDds(unsign.data(), unsign.size()), b = decodeDds(sign.data(), sign.size());
    ASSERT_EQ(a.model(), number == 80 ? ColourModel::grey : ColourModel::rgb);
    for (size_t i = 0; i < a.sizeBytes(); ++i)
      ASSERT_EQ(b.data()[i], a.data()[i] == 0 && (number == 80 || i % 3 < 2) ? 1 : a.data()[i]) << i;
  }
}

// Faces of elements, each with all levels, and bands and regions of one of them.
TEST(Dds, FacesElementsAndRegions) {
  for (const uint32_t number : {71u, 80u, 83u, 98u, 28u}) {
    const size_t unit = number == 71 || number == 80 ? 8 : 16;
    const size_t face = number == 28 ? (67 * 45 + 33 * 22) * 4 : (17 * 12 + 9 * 6) * unit;
    Bytes file = withSecondHeader(
        zeltest::part(encode(picture(67, 45, ColourModel::rgb), TextureFormat::dxt1), 0, kHeaderEnd), number, 3, 4, 2);
    put(&file, 28, 2);
    std::mt19937 random32(number);
    for (size_t i = 0; i < 12 * face; ++i) file.push_back(uint8_t(random32()));
    EXPECT_EQ(readDdsInfo(file.data(), file.size()).pictureBytes, face);
    for (const auto& [element, level] : {std::pair{0, 0}, {1, 0}, {1, 1}}) {
      DdsDecodeOptions o;
      o.face = 4;
      o.element = element;
      o.level = level;
      const size_t from = kHeaderEnd + 20 + size_t(6 * element + 4) * face;
      const Bytes alone = zeltest::joined(
          {withSecondHeader(zeltest::part(file, 0, kHeaderEnd), number), zeltest::part(file, from, from + face)});
      const Image whole = decodeDds(file.data(), file.size(), o);
      DdsDecodeOptions first;
      first.level = level;
      expectEqual(whole, decodeDds(alone.data(), alone.size(), first));
      o.region = {9, 7, 11, 13};
      expectEqual(decodeDds(file.data(), file.size(), o), crop(whole, 9, 7, 11, 13));
    }
    for (const auto& [f, element] : {std::pair{6, 0}, {-1, 0}, {0, 2}}) {
      DdsDecodeOptions o;
      o.face = f;
      o.element = element;
      EXPECT_THROW(decodeDds(file.data(), file.size(), o), Error);
    }
  }
}

// Rows that come one by one make the same file, and so do several threads.
TEST(Dds, BandsAndThreadsChangeNothing) {
  const Image image = picture(333, 517, ColourModel::greyAlpha);
  for (const TextureFormat format : kFormats) {
    DdsEncodeOptions o;
    o.format = format;
    o.levels = 0;
    EXPECT_EQ(zeltest::writtenInBands(image, [&](Sink& s) { return createDds(s, image.format(), o); }),
              encode(converted(image, ColourModel::rgba), format, 0));
    zeltest::expectThreadsChangeNothing(picture(333, 517, ColourModel::rgb), encodeDds, o, decodeDds, kHeaderEnd);
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
                                                     {second, 128, 95},            // BC6H
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
    const bool opaque = format == TextureFormat::ycocg;
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
        const uint8_t black[4] = {0, 0, 0, uint8_t(opaque ? 255 : 0)}, *const expected =
                                                                           there ? whole.data() + 4 * i : black;
        ASSERT_EQ(0, std::memcmp(rescued.data() + 4 * i, expected, 4)) << n << " bytes, pixel " << i;
      }
    }
    Bytes vast(file.begin(), file.begin() + kHeaderEnd + 16);
    put(&vast, 12, 16000);
    put(&vast, 16, 16000);
    EXPECT_THROW(decode(vast, 0, true), Error);
  }
}

}  // namespace
