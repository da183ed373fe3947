// The other file formats, and the metrics.
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/bytes.h"
#include "common/convert.h"
#include "files.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::expectEqual;
using zeltest::picture;

namespace {

TEST(Pictures, RoundTripsAndTruncations) {
  for (const ColourModel model :
       {ColourModel::grey, ColourModel::greyAlpha, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk})
    for (const int bits : {1, 8, 12, 16}) {
      const Image image = picture(13, 7, model, bits);
      const Bytes pnm = encodeNetpbm(image);
      expectEqual(decodeNetpbm(pnm.data(), pnm.size()), image);
      for (size_t n = 0; n < pnm.size(); ++n) EXPECT_THROW(decodeNetpbm(pnm.data(), n), Error) << n;
      if (model == ColourModel::cmyk) {
        EXPECT_THROW(encodePng(image), Error);
      } else if (bits == 8 || bits == 16) {
        const Bytes png = encodePng(image);
        expectEqual(decodePng(png.data(), png.size()), image);
        for (size_t n = 0; n < png.size(); ++n) EXPECT_THROW(decodePng(png.data(), n), Error) << n;
      }
    }
}

// Rows that stand in a mapped file as they are wanted are lent and not copied; those of the last two calls stay there.
// Of a file that is too short, or for a region, none are lent.
TEST(Pictures, NetpbmRowsAreLent) {
  const Image image = picture(1000, 1500, ColourModel::rgb);
  Bytes pnm = encodeNetpbm(image);
  const auto open = [&](DecodeOptions options, const auto& use) {
    const zeltest::TemporaryFile file(pnm);
    const std::unique_ptr<Source> source = fileSource(file.path);
    use(*openNetpbm(*source, options));
  };
  open({}, [&](Decoder& decoder) {
    ConstRows before{};
    for (int y = 0; decoder.rowsLeft() > 0;) {
      const int count = std::min(293, decoder.rowsLeft());
      const ConstRows rows = decoder.borrow(count);
      ASSERT_EQ(count, rows.count);
      for (int i = 0; i < before.count; ++i) ASSERT_EQ(0, std::memcmp(before.row(i), image.row(y - 293 + i), 3000));
      for (int i = 0; i < count; ++i) ASSERT_EQ(0, std::memcmp(rows.row(i), image.row(y + i), 3000)) << y + i;
      before = rows;
      y += count;
    }
    EXPECT_EQ(0, decoder.borrow(1).count);
  });
  DecodeOptions part;
  part.region = {0, 1, 1000, 9};
  open(part, [](Decoder& decoder) { EXPECT_EQ(0, decoder.borrow(9).count); });
  pnm.pop_back();
  open({}, [](Decoder& decoder) { EXPECT_EQ(0, decoder.borrow(1).count); });
}

TEST(Pictures, PlainNetpbmAndOddMaxima) {
  const auto read = [](const std::string& s) {
    return decodeNetpbm(reinterpret_cast<const uint8_t*>(s.data()), s.size());
  };
  const Image image = read("P2 # comment\n 3 1\n100\n0 50\t100");
  ASSERT_EQ(image.bitDepth(), 7);  // 100 is scaled to 127
  EXPECT_EQ(Bytes(image.row(0), image.row(1)), (Bytes{0, 64, 127}));
  EXPECT_EQ(read("P3 1 1 65535 1 2 65535").row16(0)[2], 65535);
  const Image bits[] = {read("P1 10 1 1101 # comment\n0 0 0 0 11"), read("P4 10 1 \xD0\xFF")};
  for (const Image& b : bits) EXPECT_EQ(Bytes(b.row(0), b.row(0) + 4), (Bytes{0, 0, 1, 0}));
  for (const char* bad :
       {"P2 3 1 100 0 50 101", "P2 3 1 100 0 50", "P2 0 1 9 1", "P2 1 1 0 0", "P1 2 1 1", "P5 99999 99999 255 a",
        "P7 WIDTH 1 HEIGHT 1 DEPTH 5 MAXVAL 255 ENDHDR\nabcde", "P2 1 1 999999999999 1"})
    EXPECT_THROW(read(bad), Error) << bad;
}

TEST(Pictures, WhatACutFileLacksIsBlack) {
  const Image image = picture(40, 30, ColourModel::rgb);
  std::vector<std::string> warnings;
  DecodeOptions options;
  options.keepGoing = true;
  options.warnings = &warnings;
  const Bytes pnm = encodeNetpbm(image), png = encodePng(image);
  for (const bool isPng : {false, true}) {
    const Image h =
        (isPng ? decodePng(png.data(), png.size() / 2, options) : decodeNetpbm(pnm.data(), pnm.size() / 2, options));
    EXPECT_EQ(warnings.size(), isPng + 1u);
    EXPECT_TRUE(std::equal(h.row(0), h.row(1), image.row(0)));
    EXPECT_TRUE(std::all_of(h.row(29), h.row(29) + h.rowBytes(), [](uint8_t v) { return v == 0; }));
  }
}

// A PNG file with chunks at a place: before its end, or behind the header.
Bytes withChunks(const Bytes& png, size_t at, std::initializer_list<std::pair<std::string, Bytes>> chunks) {
  Bytes out = zeltest::part(png, 0, at);
  ByteWriter w(&out);
  for (const auto& [name, content] : chunks) {
    const Bytes named = zeltest::joined({{name.begin(), name.end()}, content});
    w.u32(uint32_t(content.size()));
    w.bytes(named);
    w.u32(uint32_t(crc32(0, named.data(), uInt(named.size()))));
  }
  return zeltest::joined({out, zeltest::part(png, at, png.size())});
}

TEST(Pictures, DepthsAndTransparentColoursOfPng) {
  for (const int bits : {4, 12}) {
    const Image image = picture(9, 5, ColourModel::grey, bits);
    const Bytes png = encodePng(image);
    expectEqual(decodePng(png.data(), png.size()), converted(image, ColourModel::grey, bits == 4 ? 8 : 16));
  }
  const Image image = picture(9, 5, ColourModel::grey);
  const uint8_t clear = uint8_t(image.sample(2, 4));
  constexpr size_t kBehindHeader = 33;
  const Bytes png = withChunks(encodePng(image), kBehindHeader,
                               {{"pHYs", {0, 0, 1, 0, 0, 0, 1, 0, 0}}, {"tRNS", {0, clear}}});  // of no unit
  const Image seen = decodePng(png.data(), png.size());
  ASSERT_EQ(seen.model(), ColourModel::greyAlpha);
  for (int x = 0; x < 9; ++x) EXPECT_EQ(seen.sample(2, 2 * x + 1), image.sample(2, x) == clear ? 0 : 255) << x;
  EXPECT_EQ(seen.metadata().pixelsPerMetreX, 0);
}

// Keywords of texts that other programs compress; one that would expand beyond all measure is left out.
TEST(Pictures, CompressedTextsOfPng) {
  const auto packed = [](const std::string& head, const std::string& text) {
    Bytes out(head.begin(), head.end()), z(compressBound(text.size()));
    uLongf n = z.size();
    compress(z.data(), &n, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    return zeltest::joined({out, zeltest::part(z, 0, n)});
  };
  const std::string xmp = "XML:com.adobe.xmp" + std::string("\0\1\0en\0\0", 7), comment("Comment\0\0", 9);
  const Image image = picture(3, 2, ColourModel::grey);
  const Bytes plain = encodePng(image);
  const Bytes file = withChunks(plain, plain.size() - 12,
                                {{"zTXt", packed(comment, std::string(1 << 20, 'a'))},
                                 {"zTXt", packed(comment, "said")},
                                 {"zTXt", {'C', 'o', 'm', 'm', 'e', 'n', 't', 0}},
                                 {"tEXt", {'x'}},
                                 {"iTXt", packed(xmp, "<xmp/>")},
                                 {"iTXt", packed(xmp, "<again/>")}});
  const Image back = decodePng(file.data(), file.size());
  expectEqual(back, image);
  EXPECT_EQ(back.metadata().comments, std::vector<std::string>{"said"});
  EXPECT_EQ(std::string(back.metadata().xmp.begin(), back.metadata().xmp.end()), "<xmp/>");
}

// Rows of interlaced pictures come in passes, for which the whole picture is held.
TEST(Pictures, InterlacedPngAndMemory) {
  Bytes file = encodePng(picture(60, 50, ColourModel::rgb));
  file[28] = 1;  // the method; the check sum of the header follows
  const uint32_t sum = uint32_t(crc32(0, &file[12], 17));
  for (size_t i = 0; i < 4; ++i) file[29 + i] = uint8_t(sum >> (24 - 8 * i));
  DecodeOptions o;
  o.limits.maxMemory = 8999;
  EXPECT_EQ(zeltest::refusal([&] { decodePng(file.data(), file.size(), o); }).kind(), ErrorKind::limit);
  o.limits.maxMemory = 9000;
  EXPECT_EQ(zeltest::refusal([&] { decodePng(file.data(), file.size(), o); }).kind(), ErrorKind::damaged);
}

TEST(Pictures, Metrics) {
  const Image a = picture(40, 30, ColourModel::rgb, 8);
  EXPECT_TRUE(std::isinf(difference(a, a).psnr));
  EXPECT_NEAR(ssim(a, a), 1, 1e-9);
  Image b = a.clone();
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x) b.row(y)[3 * x] ^= 2;  // one channel of three is off by 2 everywhere
  const Difference d = difference(a, b);
  EXPECT_NEAR(d.channelPsnr[0], 10 * std::log10(255.0 * 255 / 4), 1e-9);
  EXPECT_NEAR(d.psnr, 10 * std::log10(255.0 * 255 * 3 / 4), 1e-9);
  EXPECT_TRUE(std::isinf(d.channelPsnr[1]));
  EXPECT_EQ(d.largest, 2);
  EXPECT_EQ(d.differing, 1200u);
  EXPECT_THROW(difference(a, crop(a, 0, 0, 39, 30)), Error);

  // Flat pictures of levels p and q: every window has the means p and q and no variance.
  Image flat[2] = {Image(20, 15, ColourModel::grey), Image(20, 15, ColourModel::grey)};
  for (int i = 0; i < 2; ++i) std::fill(flat[i].data(), flat[i].data() + flat[i].sizeBytes(), i ? 120 : 100);
  const double c1 = 0.01 * 0.01 * 255 * 255;
  EXPECT_NEAR(ssim(flat[0], flat[1]), (2.0 * 100 * 120 + c1) / (100 * 100 + 120 * 120 + c1), 1e-9);

  const Image magnified = differencePicture(flat[0], flat[1], 2);
  EXPECT_EQ(magnified.row(3)[3], 128 + 40);
}

}  // namespace
