// TIFF beside an independent implementation: what we write it reads, sample for sample, and the other way round.
#include "tiff/tiff.h"

#include <cmath>
#include <cstring>
#include <map>
#include <tuple>

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
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk,
                                ColourModel::greyAlpha};
  const TiffCompression packed[] = {TiffCompression::none, TiffCompression::packBits, TiffCompression::lzw,
                                    TiffCompression::deflate};
  peer::tiffComplaints = 0;
  for (int run = 0; run < 500; ++run) {
    const int widths[] = {1, 3, 129, 128, 301}, heights[] = {1, 9, 1, 20, 67}, depths[] = {1, 5, 8, 12, 16};
    const int w = widths[run % 5], h = heights[run % 5], bits = depths[run / 5 % 5];
    const ColourModel model = models[run / 25 % 5];
    TiffEncodeOptions o;
    o.bigEndian = run / 125 % 2;
    o.compression = packed[run * 7 / 5 % 4];
    o.predictor = run % 3;
    o.big = run % 11 == 0;
    o.rowsPerStrip = run % 7 * 5;
    if (run % 4 == 3) o.tileWidth = o.tileHeight = 16 + run % 3 * 16;
    SCOPED_TRACE("run " + std::to_string(run));
    const auto v = samples(size_t(w * h * channelsOf(model)), bits);
    const Image image = picture(v, bits, w, model, bits), full = picture(v, bits, w, model, bits > 8 ? 16 : 8);
    const Image other = picture(samples(99, 8), 8, 11, ColourModel::grey, 8);
    const Bytes file = encodeTiffPages({&other, &image, &other}, o);
    TiffDecodeOptions d;
    expectEqual(decoded(file, d), other);
    d.page = 1;
    expectEqual(decoded(file, d), full);
    ASSERT_EQ(readTiffInfo(file.data(), file.size()).big, o.big);

    const peer::TiffPicture theirs = peer::decodeTiff(file, 1);
    expectEqual(picture(theirs.data, theirs.bits, w, model, theirs.bits), full);
    ASSERT_EQ(theirs.extra, std::vector<uint16_t>(hasOpacity(model), 2));
    ASSERT_EQ(theirs.photometric, channelsOf(model) < 3 ? 1 : model == ColourModel::cmyk ? 5 : 2);
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
  const bool alpha = k.photometric != 5 && opacity != k.extra.end(), grey = k.photometric < 2;
  const ColourModel model = k.photometric == 5 ? ColourModel::cmyk
                            : grey             ? (alpha ? ColourModel::greyAlpha : ColourModel::grey)
                                               : (alpha ? ColourModel::rgba : ColourModel::rgb);
  const int top = (1 << p.bits) - 1, bits = k.photometric == 3 ? 8 : std::max<int>(p.bits, 8),
            channels = channelsOf(model);
  std::vector<uint16_t> out;
  for (const uint16_t* in = p.data.data(); in < p.data.data() + p.data.size(); in += p.samples) {
    const int a = alpha ? in[k.colours + (opacity - k.extra.begin())] : 0;
    for (int c = 0; c < channels; ++c) {
      int v = in[k.colours == 1 ? 0 : c];
      if (alpha && c == channels - 1)
        v = a;
      else if (k.photometric == 3)
        v = p.palette[c][size_t(v)] >> 8;
      else if (k.photometric == 0)
        v = top - v;
      else if (alpha && *opacity == 1)
        v = a ? std::min(top, int(std::lround(1.0 * v * top / a))) : 0;
      out.push_back(uint16_t(k.photometric == 3 ? v : std::lround(1.0 * v * ((1 << bits) - 1) / top)));
    }
  }
  return picture(out, bits, int(p.width), model, bits);
}

TEST(Tiff, ReadsFilesOfThePeer) {
  const std::vector<Kind> kinds = {{0, 1, {}, {1, 2, 4, 8, 16}},
                                   {1, 1, {}, {1, 2, 3, 4, 6, 8, 9, 12, 16}},
                                   {3, 1, {}, {1, 2, 4, 8, 16}},
                                   {2, 3, {}, {4, 5, 8, 10, 12, 14, 16}},
                                   {2, 3, {1}, {8, 12, 16}},
                                   {2, 3, {2}, {8, 16}},
                                   {2, 3, {0}, {8}},
                                   {2, 3, {0, 1}, {8, 16}},
                                   {1, 1, {2}, {8, 16}},
                                   {1, 1, {1}, {8}},
                                   {5, 4, {}, {8, 16}},
                                   {5, 4, {2}, {8}}};
  const uint16_t packed[] = {1, 32773, 5, 8, 32946};
  std::mt19937 random32(1);
  const auto any = [&](unsigned n) { return random32() % n; };
  for (const Kind& k : kinds)
    for (const int bits : k.bits)
      for (int form = 0; form < 30; ++form) {
        SCOPED_TRACE(std::to_string(k.photometric) + "/" + std::to_string(bits) + "/" + std::to_string(form));
        const uint32_t rows[] = {1, 7, 23};
        peer::TiffPicture p = peerPicture(k, bits, form % 5 ? 141 : 3, rows[any(3)]);
        p.compression = packed[any(5)];
        p.planar = uint16_t(1 + any(2));
        p.fillOrder = uint16_t(1 + any(2));
        p.tile = any(3) ? 0 : uint32_t(16 + 16 * any(2));
        if ((p.compression == 5 || p.compression == 8) && bits % 8 == 0) p.predictor = uint16_t(1 + any(2));
        const peer::TiffPicture another = peerPicture(kinds[1], 8, 9, 4);
        const char* const modes[] = {"wb", "wl", "wb8", "wl8"};
        const Bytes file = peer::encodeTiff({another, p, another}, modes[any(4)]);
        std::vector<std::string> warnings;
        TiffDecodeOptions o;
        o.page = 1;
        o.warnings = &warnings;
        expectEqual(decoded(file, o), expected(p, k));
        ASSERT_EQ(warnings.size(), k.photometric == 5 ? k.extra.size() : k.extra.size() && !k.extra[0]);
        const TiffPage page = readTiffInfo(file.data(), file.size()).pages.at(1);
        const uint32_t across = p.tile ? (p.width - 1) / p.tile + 1 : 1;
        ASSERT_EQ(p.tile ? page.tiles : page.strips,
                  across * (22 / (p.tile ? p.tile : p.rowsPerStrip) + 1) * (p.planar == 2 ? p.samples : 1));
        ASSERT_EQ(page.predictor, p.predictor);
      }
}

// The peer decodes JPEG data with a library of its own; colours may differ by the rounding of transforms.
TEST(Tiff, JpegInStripsAndTiles) {
  for (const Kind& k : {Kind{1, 1, {}, {}}, Kind{2, 3, {}, {}}, Kind{6, 3, {}, {}}, Kind{5, 4, {}, {}}})
    for (const uint32_t tile : {0u, 16u, 48u})
      for (const uint16_t planar : {uint16_t{1}, uint16_t{2}}) {
        if (k.photometric == 6 && planar == 2) continue;
        SCOPED_TRACE(std::to_string(k.photometric) + "/" + std::to_string(tile) + "/" + std::to_string(planar));
        peer::TiffPicture p = peerPicture(k, 8, 141, 16);
        const Image smooth = zeltest::picture(141, 23,
                                              k.colours == 1   ? ColourModel::grey
                                              : k.colours == 3 ? ColourModel::rgb
                                                               : ColourModel::cmyk);
        for (size_t i = 0; i < p.data.size(); ++i) p.data[i] = smooth.data()[i];
        p.compression = COMPRESSION_JPEG;
        p.planar = planar;
        p.tile = tile;
        const Bytes file = peer::encodeTiff({p}, "wl");
        const Image ours = decoded(file);
        const Image theirs =
            planar == 2 ? smooth.clone() : picture(peer::decodeTiff(file, 0).data, 8, 141, smooth.model(), 8);
        const Difference d = difference(ours, theirs);
        EXPECT_LE(d.largest, planar == 2 ? 60 : 3);
        EXPECT_GT(d.psnr, planar == 2 ? 30 : 48);
      }
  // A strip of 3 MB, and rows of it.
  peer::TiffPicture p = {1030, 1001, 1001, 8, 3, PHOTOMETRIC_YCBCR, COMPRESSION_JPEG};
  const Image smooth = zeltest::picture(1030, 1001, ColourModel::rgb);
  p.data.assign(smooth.data(), smooth.data() + smooth.sizeBytes());
  const Bytes file = peer::encodeTiff({p}, "wl");
  const Image ours = decoded(file);
  EXPECT_LE(difference(ours, picture(peer::decodeTiff(file, 0).data, 8, 1030, ColourModel::rgb, 8)).largest, 3);
  TiffDecodeOptions o;
  o.region = {500, 300, 20, 400};
  expectEqual(decoded(file, o), crop(ours, 500, 300, 20, 400));
}

// A file of one directory, in which fields have been changed: each is a tag, a type and values.
using Field = std::tuple<int, int, std::vector<uint32_t>>;
Bytes withFields(std::initializer_list<Field> changed, const Bytes& strip = Bytes(800, 77)) {
  std::map<int, Field> fields;
  for (const Field& f : std::initializer_list<Field>{{256, 3, {20}},
                                                     {257, 3, {10}},
                                                     {258, 3, {8}},
                                                     {259, 3, {1}},
                                                     {262, 3, {1}},
                                                     {273, 4, {8}},
                                                     {278, 3, {10}},
                                                     {279, 4, {uint32_t(strip.size())}}})
    fields[std::get<0>(f)] = f;
  for (const Field& f : changed) fields[std::get<0>(f)] = f;
  Bytes file = zeltest::joined({{'I', 'I', 42, 0, 0, 0, 0, 0}, strip});
  ByteWriter w(&file, false);
  std::map<int, uint32_t> behind;  // where values are that do not fit an entry
  for (const auto& [tag, f] : fields) {
    if (std::get<2>(f).size() * (std::get<1>(f) == 3 ? 2 : 4) <= 4) continue;
    behind[tag] = uint32_t(file.size());
    for (const uint32_t v : std::get<2>(f)) std::get<1>(f) == 3 ? w.u16(v) : w.u32(v);
  }
  w.patch32(4, uint32_t(file.size()));
  w.u16(uint32_t(fields.size()));
  for (const auto& [tag, f] : fields) {
    const auto& [number, type, values] = f;
    w.u16(uint32_t(tag));
    w.u16(uint32_t(type));
    w.u32(uint32_t(values.size() / (type == 5 ? 2 : 1)));
    w.u32(behind.count(tag) ? behind[tag] : values[0] | (values.size() > 1 ? values[1] << 16 : 0));
  }
  w.u32(0);
  return file;
}

// A palette beside an opacity: indices and opacities are all 77.
TEST(Tiff, PalettesWithOpacity) {
  std::vector<uint32_t> colours(768);
  for (size_t i = 0; i < 768; ++i) colours[i] = uint32_t(257 * (i * 7 % 256));
  for (const uint32_t kind : {1u, 2u}) {  // multiplied with it, or not
    const Image seen =
        decoded(withFields({{262, 3, {3}}, {277, 3, {2}}, {258, 3, {8, 8}}, {338, 3, {kind}}, {320, 3, colours}}));
    ASSERT_EQ(seen.model(), ColourModel::rgba);
    for (int c = 0; c < 3; ++c) {
      const int stored = (77 + 256 * c) * 7 % 256;
      EXPECT_EQ(seen.sample(5, 8 + c), kind == 2 ? stored : std::min(255, (stored * 255 + 38) / 77));
    }
    EXPECT_EQ(seen.sample(5, 11), 77);
  }
}

TEST(Tiff, NamesWhatItDoesNotRead) {
  EXPECT_EQ(decoded(withFields({})).sample(3, 3), 77);
  const Field rgb = {262, 3, {2}}, ycc = {262, 3, {6}}, three = {277, 3, {3}}, depths = {258, 3, {8, 8, 8}};
  const auto unsupported = ErrorKind::unsupported, damaged = ErrorKind::damaged, limit = ErrorKind::limit;
  const std::tuple<Bytes, ErrorKind, const char*> kinds[] = {
      {withFields({{259, 3, {4}}}), unsupported, "CCITT group 4"},
      {withFields({{259, 3, {6}}}), unsupported, "old style"},
      {withFields({{339, 3, {3}}, {258, 3, {32}}}), unsupported, "floating-point samples of 32 bits"},
      {withFields({{339, 3, {5}}}), unsupported, "complex"},
      {withFields({{258, 3, {32}}}), unsupported, "32 bits"},
      {withFields({{258, 3, {0}}}), damaged, "0 bits"},
      {withFields({rgb, three, {258, 3, {8, 8}}}), damaged, "fewer values"},
      {withFields({rgb, three, {258, 3, {5, 6, 5}}}), unsupported, "different numbers of bits"},
      {withFields({{259, 3, {7}}, {258, 3, {12}}}), unsupported, "JPEG data of 12 bits"},
      {withFields({{284, 3, {3}}}), unsupported, "planar configuration 3"},
      {withFields({{266, 3, {3}}}), unsupported, "fill order 3"},
      {withFields({{259, 3, {5}}, {317, 3, {3}}}), unsupported, "floating-point predictor"},
      {withFields({{259, 3, {5}}, {317, 3, {2}}, {258, 3, {4}}}), unsupported, "differences of samples of 4 bits"},
      {withFields({ycc, three, depths, {284, 3, {2}}}), unsupported, "YCbCr of other"},
      {withFields({ycc, three, depths, {259, 3, {5}}, {317, 3, {2}}}), unsupported, "YCbCr of other"},
      {withFields({ycc, three, depths, {530, 3, {1, 3}}}), damaged, "chroma of another size"},
      {withFields({ycc, three, depths, {529, 5, {1, 2, 1, 4, 1, 4}}}), unsupported, "other coefficients"},
      {withFields({ycc, three, depths, {532, 5, {9, 1, 9, 1, 0, 1, 255, 1, 0, 1, 255, 1}}}), damaged,
       "above its black"},
      {withFields({ycc, three, depths, {259, 3, {7}}, {284, 3, {2}}}), unsupported, "YCbCr in planes"},
      {withFields({{262, 3, {5}}, {277, 3, {4}}, {258, 3, {8, 8, 8, 8}}, {332, 3, {2}}}), unsupported, "inks"},
      {withFields({{262, 3, {3}}, {259, 3, {7}}}), unsupported, "JPEG data with a palette"},
      {withFields({{262, 3, {3}}, {320, 3, {1, 2, 3}}}), damaged, "too short"},
      {withFields({rgb}), damaged, "fewer samples than colours"},
      {withFields({{262, 3, {4}}}), unsupported, "mask"},
      {withFields({{262, 3, {8}}}), unsupported, "CIE L*a*b*"},
      {withFields({{262, 3, {77}}}), unsupported, "interpretation 77"},
      {withFields({{256, 3, {0}}}), damaged, "without pixels"},
      {withFields({{277, 3, {0}}}), damaged, "without samples"},
      {withFields({{278, 3, {0}}}), damaged, "without rows"},
      {withFields({{322, 3, {0}}, {323, 3, {16}}}), damaged, "tiles without pixels"},
      {withFields({{256, 4, {65536}}, {257, 4, {65536}}, {322, 3, {1}}, {323, 3, {1}}}), limit, "2^31 strips"},
      {withFields({{256, 4, {4000000}}, {257, 4, {4000000}}}), limit, "above the limit"},
      {withFields({{256, 4, {4}}, {322, 4, {0x80000000}}, {323, 4, {16}}}), limit, "2^31 rows or columns"},
      {withFields({{256, 4, {0x10000000}}, {257, 3, {1}}}), limit, "memory"},
      {withFields({{257, 4, {100000}}}), damaged, "too short"}};
  for (const auto& [file, kind, words] : kinds) {
    const Error e = refusal([&, &bytes = file] { decoded(bytes); });
    EXPECT_EQ(e.kind(), kind) << words << ": " << e.what();
    EXPECT_NE(std::string(e.what()).find(words), std::string::npos) << words << ": " << e.what();
    EXPECT_LE(e.offset(), file.size()) << words;
  }
}

// What has gone into it cannot be changed.
struct Pipe : Sink {
  Bytes bytes;
  void write(const uint8_t* data, size_t size) override { bytes.insert(bytes.end(), data, data + size); }
  uint64_t position() const override { return bytes.size(); }
  bool canPatch() const override { return false; }
  void patch(uint64_t, const uint8_t*, size_t) override { ADD_FAILURE() << "a pipe is changed"; }
  void commit() override {}
};

// Strips of 3 MB are read in pieces of bands; tiles and regions beside them give the same pixels.
TEST(Tiff, BandsAndRegions) {
  const Image image = zeltest::picture(1030, 1001, ColourModel::rgb);
  for (const TiffCompression compression :
       {TiffCompression::none, TiffCompression::packBits, TiffCompression::lzw, TiffCompression::deflate})
    for (const int form : {0, 1, 2}) {
      TiffEncodeOptions o;
      o.compression = compression;
      o.rowsPerStrip = form == 0 ? 1001 : form == 1 ? 600 : 0;
      if (form == 2) o.tileWidth = 64, o.tileHeight = 128;
      const Bytes file = encodeTiff(image, o);
      expectEqual(decoded(file), image);
      EXPECT_EQ(zeltest::writtenInBands(image, [&](Sink& s) { return createTiff(s, image.format(), {}, o); }), file);
      Pipe pipe;
      writeAll(*createTiff(pipe, image.format(), {}, o), image);
      EXPECT_EQ(pipe.bytes, file);
      for (const Region& r : {Region{300, 777, 2, 100}, Region{1029, 0, 1, 1001}, Region{0, 3, 1030, 997}}) {
        TiffDecodeOptions d;
        d.region = r;
        expectEqual(decoded(file, d), crop(image, r.x, r.y, r.width, r.height));
      }
    }
}

// Luma of each pixel and chroma of units; the peer makes colours of them too, in whole pages.
TEST(Tiff, YCbCrInUnits) {
  for (const auto& [across, down] : {std::pair{1, 1}, {2, 1}, {2, 2}, {4, 2}})
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW}) {
      SCOPED_TRACE(std::to_string(across) + " x " + std::to_string(down));
      constexpr uint32_t kWidth = 37, kHeight = 22;
      const zeltest::TemporaryFile file;
      peer::Tiff t = peer::openTiff(file, "w");
      peer::TiffPicture p = peerPicture({6, 3, {}, {}}, 8, kWidth, 8);
      p.height = kHeight;
      p.compression = uint16_t(compression);
      peer::setFields(t.get(), p);
      TIFFSetField(t.get(), TIFFTAG_YCBCRSUBSAMPLING, across, down);
      const float studio[] = {16, 235, 128, 240, 128, 240};
      if (down == 1) TIFFSetField(t.get(), TIFFTAG_REFERENCEBLACKWHITE, studio);
      std::mt19937 random32(1);
      for (uint32_t strip = 0; strip < TIFFNumberOfStrips(t.get()); ++strip) {
        std::vector<uint8_t> data(size_t(TIFFVStripSize(t.get(), std::min(8u, kHeight - 8 * strip))));
        for (uint8_t& v : data) v = uint8_t(random32());
        TIFFWriteEncodedStrip(t.get(), strip, data.data(), tmsize_t(data.size()));
      }
      t.reset();
      const Image ours = decoded(zeltest::fileBytes(file.path));
      std::vector<uint32_t> theirs(kWidth * kHeight);
      t = peer::openTiff(file, "r");
      ASSERT_TRUE(TIFFReadRGBAImageOriented(t.get(), kWidth, kHeight, theirs.data(), ORIENTATION_TOPLEFT, 1));
      for (uint32_t i = 0; i < kWidth * kHeight; ++i)
        for (uint32_t c = 0; c < 3; ++c)
          ASSERT_NEAR(ours.data()[3 * i + c], theirs[i] >> 8 * c & 255, down == 1 ? 3 : 1) << i;  // it rounds twice
      TiffDecodeOptions o;
      o.region = {3, 5, 20, 9};
      expectEqual(decoded(zeltest::fileBytes(file.path), o), crop(ours, 3, 5, 20, 9));
    }
}

// What other writers of their time did: LZW with low bits first and codes that grow late, PackBits runs that go on in
// the next row, Deflate strips with more rows than the page has.
TEST(Tiff, OddFiles) {
  const auto file = [](uint32_t compression, uint32_t rows, const Bytes& strip) {
    return withFields({{256, 3, {100}}, {257, 3, {rows}}, {259, 3, {compression}}, {278, 3, {1000}}}, strip);
  };
  Image image = zeltest::picture(100, 60, ColourModel::grey);
  // Codes that are never found again in the table: literals, whose width grows with the reader's table.
  Bytes lzw;
  uint32_t held = 0;
  int bits = 0, width = 9, next = 258;
  const auto put = [&](uint32_t code) {
    held |= code << bits;
    for (bits += width; bits >= 8; bits -= 8, held >>= 8) lzw.push_back(uint8_t(held));
  };
  put(256);
  for (size_t i = 0; i < image.sizeBytes(); ++i) {
    put(image.data()[i]);
    if (i > 0 && ++next == 1 << width && width < 12) ++width;
    if (next < 4000) continue;
    put(256);
    width = 9;
    next = 257;
  }
  put(257);
  lzw.insert(lzw.end(), {uint8_t(held), 0});
  expectEqual(decoded(file(5, 60, lzw)), image);

  Bytes runs;
  for (int y = 0; y < 60; ++y) std::memset(image.row(y), y, 100);
  for (int i = 0; i < 60; ++i)
    runs.insert(runs.end(), {uint8_t(257 - 75), uint8_t(i), 24, uint8_t(i)}), runs.insert(runs.end(), 24, uint8_t(i));
  expectEqual(decoded(file(32773, 60, runs)), image);
  Image shifted(100, 60, ColourModel::grey);
  for (size_t i = 0; i < 6000; ++i) shifted.data()[i] = uint8_t(i / 120);
  Bytes crossing;
  for (int i = 0; i < 50; ++i) crossing.insert(crossing.end(), {uint8_t(257 - 120), uint8_t(i)});
  expectEqual(decoded(file(32773, 60, crossing)), shifted);

  TiffEncodeOptions o;
  o.compression = TiffCompression::deflate;
  o.rowsPerStrip = 60;
  o.predictor = false;
  const Bytes whole = encodeTiff(image, o);
  expectEqual(decoded(file(8, 31, zeltest::part(whole, 8, whole.size()))), crop(image, 0, 0, 100, 31));
}

TEST(Tiff, MetadataTravels) {
  Image image = zeltest::picture(20, 11, ColourModel::rgb);
  image.metadata() = zeltest::everyMetadata();
  // EXIF of the peer, in the other byte order than the file that it goes to and comes from.
  {
    const zeltest::TemporaryFile file;
    peer::Tiff t = peer::openTiff(file, "wb");
    peer::setFields(t.get(), peerPicture({1, 1, {}, {}}, 8, 20, 23));
    TIFFSetField(t.get(), TIFFTAG_MAKE, "maker");
    TIFFSetField(t.get(), TIFFTAG_EXIFIFD, uint64_t{0});  // the place for it
    std::vector<uint8_t> row(20);
    for (uint32_t y = 0; y < 23; ++y) TIFFWriteScanline(t.get(), row.data(), y);
    TIFFWriteDirectory(t.get());
    TIFFCreateEXIFDirectory(t.get());
    TIFFSetField(t.get(), EXIFTAG_FNUMBER, 2.8);
    TIFFSetField(t.get(), EXIFTAG_DATETIMEORIGINAL, "2024:02:29 12:00:00");
    uint64_t at = 0;
    TIFFWriteCustomDirectory(t.get(), &at);
    TIFFSetDirectory(t.get(), 0);
    TIFFSetField(t.get(), TIFFTAG_EXIFIFD, at);
    TIFFWriteDirectory(t.get());
    t.reset();
    image.metadata().exif = decoded(zeltest::fileBytes(file.path)).metadata().exif;
    ASSERT_GT(image.metadata().exif.size(), 80u);
  }
  for (const bool big : {false, true}) {
    TiffEncodeOptions o;
    o.big = big;
    std::vector<std::string> warnings;
    o.warnings = &warnings;
    const Bytes file = encodeTiff(image, o);
    EXPECT_TRUE(warnings.empty());
    Metadata expected = image.metadata();
    const Metadata back = decoded(file).metadata();
    EXPECT_EQ(exifOrientation(back.exif), 6);
    expected.exif = back.exif;  // in this file's byte order; the peer looks at it
    expected.comments = {expected.comments[0] + "\n" + expected.comments[1]};
    zeltest::expectSameMetadata(back, expected, 0.01);
    const TiffPage page = readTiffInfo(file.data(), file.size()).pages.at(0);
    EXPECT_EQ(std::make_tuple(page.iccBytes, page.xmpBytes, page.exif), std::make_tuple(150000u, 4u, true));

    // The peer finds all of it, also in what was read and written again.
    Image again = decoded(file);
    for (const Bytes& f : {file, encodeTiff(again)}) {
      const zeltest::TemporaryFile written(f);
      peer::tiffComplaints = 0;
      const peer::Tiff t = peer::openTiff(written, "r");
      uint32_t n = 0;
      uint64_t exif = 0;
      void* data = nullptr;
      char* text = nullptr;
      float v = 0;
      ASSERT_TRUE(TIFFGetField(t.get(), TIFFTAG_ICCPROFILE, &n, &data));
      EXPECT_EQ(n, 150000u);
      ASSERT_TRUE(TIFFGetField(t.get(), TIFFTAG_MAKE, &text));
      EXPECT_STREQ(text, "maker");
      ASSERT_TRUE(TIFFGetField(t.get(), TIFFTAG_XRESOLUTION, &v));
      EXPECT_FLOAT_EQ(v, 300);
      ASSERT_TRUE(TIFFGetField(t.get(), TIFFTAG_EXIFIFD, &exif));
      ASSERT_TRUE(TIFFReadEXIFDirectory(t.get(), exif));
      ASSERT_TRUE(TIFFGetField(t.get(), EXIFTAG_DATETIMEORIGINAL, &text));
      EXPECT_STREQ(text, "2024:02:29 12:00:00");
      ASSERT_TRUE(TIFFGetField(t.get(), EXIFTAG_FNUMBER, &v));
      EXPECT_FLOAT_EQ(v, 2.8f);
      EXPECT_EQ(peer::tiffComplaints, 0);
    }
  }
  image.metadata().exif.resize(30);
  std::vector<std::string> warnings;
  TiffEncodeOptions o;
  o.warnings = &warnings;
  expectEqual(decoded(encodeTiff(image, o)), image);
  EXPECT_EQ(warnings.size(), 1u);
}

// A file of big-endian order whose directory stands before the strips, so that it can be cut short.
constexpr uint32_t kShortType = 3, kRationalType = 5;
Bytes directoryFirst(const Bytes& f) {
  const ByteReader in({f.data(), f.size()});
  const uint32_t at = in.u32(4), shift = uint32_t(f.size()) - at;
  Bytes out =
      zeltest::joined({zeltest::part(f, 0, 4), {0, 0, 0, 8}, zeltest::part(f, at, f.size()), zeltest::part(f, 8, at)});
  ByteWriter patch(&out);
  const auto moved = [&](uint32_t place) { return place - at + 8; };
  for (uint32_t e = at + 2; e < at + 2 + 12 * in.u16(at); e += 12) {
    const uint32_t type = in.u16(e + 2), count = in.u32(e + 4);
    const bool elsewhere = count * (type == kRationalType ? 8 : type == kShortType ? 2 : 4) > 4;
    const uint32_t values = elsewhere ? in.u32(e + 8) : e + 8;
    if (elsewhere) patch.patch32(moved(e + 8), moved(values));
    for (uint32_t i = 0; in.u16(e) == TIFFTAG_STRIPOFFSETS && i < count; ++i)
      patch.patch32(moved(values + 4 * i), in.u32(values + 4 * i) + shift);
  }
  return out;
}

TEST(Tiff, CutShortAtEveryByte) {
  const Image image = zeltest::picture(20, 11, ColourModel::rgb, 16);
  for (const TiffCompression compression :
       {TiffCompression::none, TiffCompression::packBits, TiffCompression::lzw, TiffCompression::deflate}) {
    TiffEncodeOptions o;
    o.compression = compression;
    o.rowsPerStrip = 3;
    o.bigEndian = true;
    const Bytes file = directoryFirst(encodeTiff(image, o));
    int most = 0;
    // The last bytes may be one that fills up, or an end of the data that nothing follows.
    const size_t spare = compression == TiffCompression::deflate ? 6 : compression == TiffCompression::lzw ? 3 : 1;
    for (size_t n = 0; n < file.size() - spare; ++n) {
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
  const size_t first = littleEndian32(&file[4]), link = first + 2 + 12 * size_t{file[first]};  // to the second page
  Bytes circle = file;
  std::copy_n(circle.begin() + 4, 4, circle.begin() + long(link));
  expectEqual(decoded(circle), image);
  EXPECT_EQ(refusal([&] { readTiffInfo(circle.data(), circle.size()); }).offset(), link);
  // A height of more rows than PackBits can make of the file, and of more than a damaged file may lack.
  size_t height = first + 2;
  while ((file[height] | file[height + 1] << 8) != TIFFTAG_IMAGELENGTH) height += 12;
  for (const bool keepGoing : {false, true}) {
    file[height + (keepGoing ? 10 : 9)] = 0x80;
    TiffDecodeOptions o;
    o.keepGoing = keepGoing;
    EXPECT_EQ(refusal([&] { decoded(file, o); }).offset(), height);
  }
}

TEST(Tiff, ThreadsChangeNothing) {
  for (const TiffCompression compression : {TiffCompression::packBits, TiffCompression::lzw, TiffCompression::deflate})
    for (const int tile : {0, 64}) {
      TiffEncodeOptions o;
      o.compression = compression;
      o.rowsPerStrip = tile ? 0 : 2;
      o.tileWidth = o.tileHeight = tile;
      zeltest::expectThreadsChangeNothing(zeltest::picture(300, 211, ColourModel::cmyk, 16), encodeTiff, o, decodeTiff,
                                          3000);
    }
}

}  // namespace
