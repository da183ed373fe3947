// TIFF beside an independent implementation: what we write it reads, sample for sample, and the other way round.
#include "tiff/tiff.h"

#include <cmath>

#include "tiff_peer.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::expectEqual;
using zeltest::refusal;

namespace {

// Runs and noise, in rows that are never all zero.
std::vector<uint16_t> samples(size_t n, int bits) {
  std::mt19937 r{unsigned(n)};
  std::vector<uint16_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = uint16_t((i / 13 % 3 ? i / 11 * 4369 + 21 : r()) % (1u << bits));
  return v;
}

// The samples, of so many bits, in a picture of others.
Image picture(const std::vector<uint16_t>& v, int bits, int width, ColourModel model, int newBits) {
  const int perRow = width * channelsOf(model);
  Image image(width, int(v.size()) / perRow, model, newBits);
  for (size_t i = 0; i < v.size(); ++i) {
    const double scaled = 1.0 * v[i] * image.maxValue() / ((1 << bits) - 1);
    image.setSample(int(i) / perRow, int(i) % perRow, int(std::lround(scaled)));
  }
  return image;
}

Image decoded(const Bytes& file, const TiffDecodeOptions& options = {}) {
  return decodeTiff(file.data(), file.size(), options);
}

TEST(Tiff, WhatIsWrittenBothRead) {
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk};
  peer::tiffComplaints = 0;
  for (int run = 0; run < 400; ++run) {
    const int widths[] = {1, 3, 129, 128, 301}, heights[] = {1, 9, 1, 20, 67}, depths[] = {1, 5, 8, 12, 16};
    const int w = widths[run % 5], h = heights[run % 5], bits = depths[run / 5 % 5];
    const ColourModel model = models[run / 25 % 4];
    TiffEncodeOptions o;
    o.bigEndian = run / 100 % 2;
    o.compression = run / 200 ? TiffCompression::packBits : TiffCompression::none;
    o.rowsPerStrip = run % 7 * 5;
    SCOPED_TRACE("run " + std::to_string(run));
    const auto v = samples(size_t(w * h * channelsOf(model)), bits);
    const Image image = picture(v, bits, w, model, bits), full = picture(v, bits, w, model, bits > 8 ? 16 : 8);
    const Image other = picture(samples(99, 8), 8, 11, ColourModel::grey, 8);
    const Bytes file = encodeTiffPages({&other, &image, &other}, o);
    TiffDecodeOptions d;
    expectEqual(decoded(file, d), other);
    d.page = 1;
    expectEqual(decoded(file, d), full);

    const peer::TiffPicture theirs = peer::decodeTiff(file, 1);
    expectEqual(picture(theirs.data, theirs.bits, w, model, theirs.bits), full);
    ASSERT_EQ(theirs.extra, std::vector<uint16_t>(model == ColourModel::rgba, 2));
    ASSERT_EQ(theirs.photometric, model == ColourModel::grey ? 1 : model == ColourModel::cmyk ? 5 : 2);
    ASSERT_EQ(peer::decodeTiff(file, 2).height, 9u);
  }
  EXPECT_EQ(peer::tiffComplaints, 0);
}

struct Kind {
  uint16_t photometric;
  int colours;
  std::vector<uint16_t> extra;
  std::vector<int> bits;
};

peer::TiffPicture peerPicture(const Kind& k, int bits, uint32_t width, uint32_t rowsPerStrip) {
  peer::TiffPicture p = {width, 23, rowsPerStrip, uint16_t(bits), 1, k.photometric};
  p.extra = k.extra;
  p.samples = uint16_t(size_t(k.colours) + k.extra.size());
  p.data = samples(width * 23 * p.samples, bits);
  for (size_t c = 0; c < 3 && k.photometric == 3; ++c) p.palette[c] = samples((size_t{1} << bits) << 2 * c, 16);
  return p;
}

// What the page is to become, from the meaning of its fields.
Image expected(const peer::TiffPicture& p, const Kind& k) {
  const auto opacity = std::find_if(k.extra.begin(), k.extra.end(), [](int kind) { return kind != 0; });
  const bool rgba = k.photometric != 5 && opacity != k.extra.end();
  const ColourModel model = rgba                 ? ColourModel::rgba
                            : k.photometric == 5 ? ColourModel::cmyk
                            : k.photometric < 2  ? ColourModel::grey
                                                 : ColourModel::rgb;
  const int top = (1 << p.bits) - 1, bits = std::max<int>(p.bits, 8), scale = ((1 << bits) - 1) / top;
  std::vector<uint16_t> out;
  for (const uint16_t* in = p.data.data(); in < p.data.data() + p.data.size(); in += p.samples) {
    const int alpha = rgba ? in[k.colours + (opacity - k.extra.begin())] : 0;
    for (int c = 0; c < channelsOf(model); ++c) {
      int v = in[k.colours == 1 ? 0 : c];
      if (rgba && c == 3)
        v = alpha;
      else if (k.photometric == 3)
        v = p.palette[c][size_t(v)] >> 8;
      else if (k.photometric == 0)
        v = top - v;
      else if (rgba && *opacity == 1)
        v = alpha ? std::min(top, int(std::lround(1.0 * v * top / alpha))) : 0;
      out.push_back(uint16_t(k.photometric == 3 ? v : v * scale));
    }
  }
  return picture(out, bits, int(p.width), model, bits);
}

TEST(Tiff, ReadsFilesOfThePeer) {
  const std::vector<Kind> kinds = {
      {0, 1, {}, {1, 2, 4, 8, 16}}, {1, 1, {}, {1, 2, 4, 8, 16}}, {3, 1, {}, {1, 2, 4, 8}}, {2, 3, {}, {4, 8, 16}},
      {2, 3, {1}, {8, 16}},         {2, 3, {2}, {8, 16}},         {2, 3, {0}, {8}},         {2, 3, {0, 1}, {8, 16}},
      {1, 1, {2}, {8, 16}},         {5, 4, {}, {8, 16}},          {5, 4, {2}, {8}}};
  for (const Kind& k : kinds)
    for (const int bits : k.bits)
      for (int form = 0; form < 48; ++form) {
        SCOPED_TRACE(std::to_string(k.photometric) + "/" + std::to_string(bits) + "/" + std::to_string(form));
        const uint32_t rows[] = {1, 7, 23};
        peer::TiffPicture p = peerPicture(k, bits, form % 5 ? 141 : 3, rows[form / 16]);
        p.compression = form & 1 ? 32773 : 1;
        p.planar = form & 2 ? 2 : 1;
        p.fillOrder = form & 4 ? 2 : 1;
        const peer::TiffPicture another = peerPicture(kinds[1], 8, 9, 4);
        const Bytes file = peer::encodeTiff({another, p, another}, form & 8 ? "wb" : "wl");
        std::vector<std::string> warnings;
        TiffDecodeOptions o;
        o.page = 1;
        o.warnings = &warnings;
        expectEqual(decoded(file, o), expected(p, k));
        ASSERT_EQ(warnings.size(), k.photometric == 5 ? k.extra.size() : k.extra.size() && !k.extra[0]);
        ASSERT_EQ(readTiffInfo(file.data(), file.size()).pages.at(1).strips,
                  (22 / p.rowsPerStrip + 1) * (p.planar == 2 ? p.samples : 1));
      }
}

TEST(Tiff, NamesTheFieldThatItDoesNotSupport) {
  peer::TiffPicture p = peerPicture({1, 1, {}, {}}, 8, 20, 23);
  const Bytes big = peer::encodeTiff({p}, "wl8");
  EXPECT_TRUE(isTiff(big.data(), big.size()));
  EXPECT_EQ(refusal([&] { decoded(big); }).kind(), ErrorKind::unsupported);
  p.compression = 5;
  const Bytes lzw = peer::encodeTiff({p}, "wl");
  const Error e = refusal([&] { decoded(lzw); });
  EXPECT_NE(std::string(e.what()).find("LZW"), std::string::npos);
  ASSERT_LT(e.offset(), lzw.size() - 12);
  EXPECT_EQ(lzw[e.offset()] | lzw[e.offset() + 1] << 8, TIFFTAG_COMPRESSION);
}

TEST(Tiff, CutShortAtEveryByte) {
  const Image image = zeltest::picture(20, 11, ColourModel::rgb, 16);
  for (const TiffCompression compression : {TiffCompression::none, TiffCompression::packBits}) {
    TiffEncodeOptions o;
    o.compression = compression;
    o.rowsPerStrip = 3;
    o.bigEndian = true;
    const Bytes file = encodeTiff(image, o);
    int most = 0;
    for (size_t n = 0; n < file.size() - 1; ++n) {  // the last byte may be one that fills up
      const Bytes part = zeltest::part(file, 0, n);
      ASSERT_LE(refusal([&] { decoded(part); }).offset(), file.size()) << n;
      std::vector<std::string> warnings;
      TiffDecodeOptions going;
      going.keepGoing = true;
      going.warnings = &warnings;
      int rows = 0;
      try {
        const Image there = decoded(part, going);
        ASSERT_FALSE(warnings.empty()) << n;
        for (int y = 0; y < 11; ++y) {
          const bool equal = std::equal(there.row(y), there.row(y + 1), image.row(y));
          ASSERT_TRUE(equal || std::count(there.row(y), there.row(y + 1), 0) == 120) << n << ' ' << y;
          rows += equal;
        }
      } catch (const Error&) {
      }
      ASSERT_GE(rows, most) << n;
      most = rows;
    }
    EXPECT_EQ(most, 10);
  }
}

TEST(Tiff, MemoryAndTimeStayWithinBounds) {
  const Image image = zeltest::picture(20, 11, ColourModel::grey);
  Bytes file = encodeTiffPages({&image, &image});
  const size_t link = 10 + 12 * size_t{file[8]};  // to the second page
  Bytes circle = file;
  std::copy_n(circle.begin() + 4, 4, circle.begin() + long(link));
  expectEqual(decoded(circle), image);
  EXPECT_EQ(refusal([&] { readTiffInfo(circle.data(), circle.size()); }).offset(), link);
  // A height of more rows than PackBits can make of the file, and of more than a damaged file may lack.
  size_t height = 10;
  while ((file[height] | file[height + 1] << 8) != TIFFTAG_IMAGELENGTH) height += 12;
  for (const bool keepGoing : {false, true}) {
    file[height + (keepGoing ? 10 : 9)] = 0x80;
    TiffDecodeOptions o;
    o.keepGoing = keepGoing;
    EXPECT_EQ(refusal([&] { decoded(file, o); }).offset(), height);
  }
}

TEST(Tiff, ThreadsChangeNothing) {
  TiffEncodeOptions o;
  o.rowsPerStrip = 2;
  zeltest::expectThreadsChangeNothing(zeltest::picture(300, 211, ColourModel::cmyk, 16), encodeTiff, o, decodeTiff,
                                      3000);
}

}  // namespace
