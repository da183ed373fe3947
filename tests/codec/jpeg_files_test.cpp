// JPEG files that the peer does not write or reads another way. Damaged ones: an error that says where, or with
// keep-going the picture as far as it goes. Reduced sizes, 12 bits, 16-bit tables, DNL.
#include <cmath>

#include "peer.h"

using namespace zelcodecs;
using peer::Bytes;
using zeltest::picture;

namespace {

Image decode(const Bytes& file, const JpegDecodeOptions& options = {}) {
  return decodeJpeg(file.data(), file.size(), options);
}

Image rescued(const Bytes& file) {
  std::vector<std::string> warnings;
  JpegDecodeOptions o;
  o.keepGoing = true;
  o.warnings = &warnings;
  Image image = decode(file, o);
  EXPECT_FALSE(warnings.empty());
  return image;
}

Error errorOf(const Bytes& file, const JpegDecodeOptions& options = {}) {
  return zeltest::refusal([&] { decode(file, options); });
}

Bytes small(Sampling s, int restart) {
  JpegEncodeOptions o;
  o.sampling = s;
  o.restartInterval = restart;
  return encodeJpeg(picture(40, 24, ColourModel::rgb), o);
}

// The position of the first marker of a code.
size_t find(const Bytes& b, int code) {
  for (size_t i = 2; i + 1 < b.size(); ++i)
    if (b[i] == 0xFF && b[i + 1] == code) return i;
  throw std::runtime_error("no such marker");
}

TEST(JpegDamage, EveryTruncationIsAnErrorAndKeepGoingRescuesIt) {
  for (const int restart : {0, 2}) {
    const Bytes file = small(Sampling::s420, restart);
    const Image whole = decode(file);
    const size_t scan = find(file, 0xDA) + 14;
    size_t before = 0;
    for (size_t n = 0; n < file.size(); ++n) {
      const Bytes part = zeltest::part(file, 0, n);
      const Error e = errorOf(part);
      ASSERT_LE(e.offset(), n) << e.what();
      if (n < scan) {
        EXPECT_THROW(rescued(part), Error) << n;
        continue;
      }
      // The first pixels stay as they are, and there are more and more of them.
      const Image there = rescued(part);
      const size_t same =
          size_t(std::mismatch(whole.data(), whole.data() + whole.sizeBytes(), there.data()).first - whole.data());
      ASSERT_GE(same + 48, before) << n;  // a truncated code can be right by chance
      before = std::max(before, same);
    }
    EXPECT_EQ(before, whole.sizeBytes());  // without the end-of-image marker everything is there
  }
}

// What is destroyed loses the rest of its restart interval and no more.
TEST(JpegDamage, DecodingTakesUpAtRestartMarkers) {
  JpegEncodeOptions o;
  o.sampling = Sampling::s444;
  o.restartInterval = 4;
  const Bytes file = encodeJpeg(picture(128, 128, ColourModel::rgb), o);  // 16 x 16 MCUs, 64 intervals
  const Image whole = decode(file);
  const auto lostIn = [&](const Bytes& b) {
    const Image there = rescued(b);
    std::vector<int> mcus;
    for (int mcu = 0; mcu < 256; ++mcu) {
      const int x = mcu % 16 * 8, y = mcu / 16 * 8;
      if (difference(crop(whole, x, y, 8, 8), crop(there, x, y, 8, 8)).differing) mcus.push_back(mcu);
    }
    EXPECT_FALSE(mcus.empty());
    return mcus;
  };
  const size_t third = find(file, 0xD2), fourth = find(file, 0xD3), fifth = find(file, 0xD4);
  const auto without = [&](size_t from, size_t to) {
    return zeltest::joined({zeltest::part(file, 0, from), zeltest::part(file, to, file.size())});
  };
  // Interval 3 is between the markers: MCUs 12 to 15.
  const Bytes cut = without(third + 6, fourth);
  EXPECT_EQ(errorOf(cut).kind(), ErrorKind::damaged);
  std::vector<int> lost = lostIn(cut);
  EXPECT_GE(lost.front(), 12);
  EXPECT_LE(lost.back(), 15);
  // Intervals 3 and 4 and the markers before them are missing.
  EXPECT_EQ(lostIn(without(third, fifth)), (std::vector<int>{12, 13, 14, 15, 16, 17, 18, 19}));
  // A damaged marker: its interval cannot be told from the one before, the next marker shows that it is lost.
  Bytes unmarked = file;
  unmarked[third + 1] = 0x5A;
  lost = lostIn(unmarked);
  EXPECT_GE(lost.front(), 8);
  EXPECT_LE(lost.back(), 15);
}

TEST(JpegDamage, HeadersThatCannotBe) {
  const Bytes file = small(Sampling::s420, 0);
  const size_t sof = find(file, 0xC0), dqt = find(file, 0xDB), dht = find(file, 0xC4), sos = find(file, 0xDA);
  struct Case {
    size_t at;
    int value;
    ErrorKind kind;
    const char* text;
  };
  const Case cases[] = {
      {0, 0, ErrorKind::unsupported, "not a JPEG"},      {sof + 1, 0xC2, ErrorKind::damaged, "impossible band"},
      {sof + 1, 0xC3, ErrorKind::damaged, "predictor"},  {sof + 1, 0xC9, ErrorKind::unsupported, "arithmetic"},
      {sof + 4, 12, ErrorKind::damaged, "precision"},    {sof + 8, 0, ErrorKind::damaged, "columns"},
      {sof + 9, 2, ErrorKind::damaged, "length"},        {sof + 11, 0x52, ErrorKind::damaged, "sampling"},
      {sof + 11, 0x44, ErrorKind::damaged, "10 blocks"}, {sof + 13, 1, ErrorKind::damaged, "same number"},
      {sof + 5, 0xFF, ErrorKind::limit, "too short"},    {dqt + 4, 7, ErrorKind::damaged, "quantisation"},
      {dqt + 4, 3, ErrorKind::damaged, "not there"},     {dht + 4, 0x25, ErrorKind::damaged, "Huffman"},
      {dht + 5, 3, ErrorKind::damaged, "Huffman"},       {dht + 4, 3, ErrorKind::damaged, "not there"},
      {sos + 4, 9, ErrorKind::damaged, "length"},        {sos + 5, 9, ErrorKind::damaged, "frame does not have"},
      {sos + 7, 1, ErrorKind::damaged, "twice"},         {sos + 6, 0x30, ErrorKind::damaged, "not there"},
  };
  for (const Case& c : cases) {
    Bytes b = file;
    b[c.at] = uint8_t(c.value);
    const Error e = errorOf(b);
    EXPECT_EQ(e.kind(), c.kind) << e.what();
    EXPECT_NE(std::string(e.what()).find(c.text), std::string::npos) << e.what() << ", not: " << c.text;
    EXPECT_NE(e.offset(), Error::kNowhere) << e.what();
  }
}

TEST(JpegDamage, Limits) {
  const Bytes file = small(Sampling::s420, 0);
  JpegDecodeOptions o;
  o.limits.maxPixels = 40 * 24 - 1;
  EXPECT_EQ(errorOf(file, o).kind(), ErrorKind::limit);
  o.limits.maxPixels = 40 * 24;
  EXPECT_EQ(decode(file, o).width(), 40);
  JpegWriteOptions w;
  w.interleaved = false;
  const Bytes scans = writeJpegCoefficients(readJpegCoefficients(file.data(), file.size()), w);
  o.limits.maxScans = 2;
  EXPECT_EQ(errorOf(scans, o).kind(), ErrorKind::limit);
}

// Fill bytes before markers, bytes after the image and unknown segments belong to many files and mean nothing.
TEST(JpegDamage, HarmlessOddities) {
  const Bytes file = small(Sampling::s422, 2);
  Bytes odd = zeltest::joined({file, {1, 2, 3, 0xFF, 0xD8, 0xFF}});
  for (const int code : {0xD0, 0xD2, 0xC0, 0xDA, 0xDB}) odd.insert(odd.begin() + long(find(odd, code)), 3, 0xFF);
  odd.insert(odd.begin() + 2, {0xFF, 0xE7, 0, 4, 0xFF, 0xD9});
  zeltest::expectEqual(decode(odd), decode(file));
  const JpegInfo info = readJpegInfo(odd.data(), odd.size());
  EXPECT_TRUE(info.complete);
  EXPECT_EQ(info.trailingBytes, 6);
  EXPECT_EQ(info.restartInterval, 2);
}

Image reduced(const Bytes& file, int denominator) {
  JpegDecodeOptions o;
  o.scaleDenominator = denominator;
  o.smooth = false;
  return decode(file, o);
}

// A reduced picture is the picture averaged over squares, but for the roundings of both: 2 for grey, where at 1/8 the
// DC's truncation stands for a rounding, and those of the matrix for colours.
void expectReducedToMeans(const Bytes& file) {
  const Image full = reduced(file, 1);
  const int w = full.width(), h = full.height(), channels = full.channels();
  for (const int d : {2, 4, 8}) {
    const Image small = reduced(file, d);
    ASSERT_EQ(std::make_tuple(small.width(), small.height(), small.bitDepth()),
              std::make_tuple((w + d - 1) / d, (h + d - 1) / d, full.bitDepth()));
    for (int y = 0; y < h / d; ++y)
      for (int i = 0; i < w / d * channels; ++i) {
        int sum = 0;
        for (int k = 0; k < d * d; ++k)
          sum += full.sample(y * d + k / d, (i / channels * d + k % d) * channels + i % channels);
        ASSERT_NEAR(small.sample(y, i), double(sum) / (d * d), channels > 1 ? 4 : 2) << "1/" << d << " row " << y;
      }
  }
}

TEST(JpegFeatures, ReducedSizesAreMeans) {
  for (const auto& [w, h] : std::vector<std::pair<int, int>>{{64, 48}, {33, 17}, {1, 1}, {9, 40}})
    for (const char* factors : {"", "11", "21", "22", "12", "41"}) {
      SCOPED_TRACE(std::string(factors) + ", width " + std::to_string(w));
      const Image grey = picture(w, h, ColourModel::grey);
      Image image(w, h, *factors ? ColourModel::rgb : ColourModel::grey);
      for (int y = 0; y < h; ++y)  // of two colours, which no block of chroma has both of
        for (int i = 0; i < w * image.channels(); ++i)
          image.setSample(y, i, 60 + grey.sample(y, i / image.channels()) / 2 + (y < 32 ? 20 : -10) * (i % 3));
      peer::WriteOptions o;
      o.factors = factors;
      o.quality = 95;
      expectReducedToMeans(peer::write(image, o));
    }
}

// A file of 12 bits, by way of coefficients: 4:2:0, or of one component.
JpegCoefficients deep(int components) {
  JpegCoefficients c;
  c.width = 61;
  c.height = 64;
  c.precision = 12;
  c.components.resize(size_t(components));
  for (JpegCoefficients::Component& k : c.components) {
    k.id = 1 + int(&k - c.components.data());
    k.h = k.v = components > 1 && k.id == 1 ? 2 : 1;
    std::fill_n(k.quant, 64, uint16_t{3});
    k.quant[63] = 300;  // so that tables have words
  }
  c.allocate();
  std::mt19937 r(3);
  for (JpegCoefficients::Component& k : c.components)
    for (size_t i = 0; i < k.values.size(); ++i)
      k.values[i] = r() % 4 ? int16_t{0} : int16_t((int(r() % 201) - 100) / (i % 64 == 63 ? 100 : 1));
  return c;
}

// Colours by the matrix, reduced sizes by averaging.
TEST(JpegFeatures, TwelveBits) {
  const Bytes file = writeJpegCoefficients(deep(3));
  EXPECT_EQ(readJpegInfo(file.data(), file.size()).process, "extended sequential");
  JpegDecodeOptions o;
  o.smooth = o.convertColour = false;
  const Image ycc = decode(file, o), rgb = reduced(file, 1);
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 61; ++x) {
      const uint16_t *const p = ycc.row16(y) + 3 * x, *const q = rgb.row16(y) + 3 * x;
      const double cb = p[1] - 2048, cr = p[2] - 2048;
      const double want[3] = {p[0] + 1.402 * cr, p[0] - 0.344136 * cb - 0.714136 * cr, p[0] + 1.772 * cb};
      for (int i = 0; i < 3; ++i) ASSERT_NEAR(q[i], std::clamp(want[i], 0.0, 4095.0), 1) << x << ", " << y;
    }
  expectReducedToMeans(file);
}

// 12-bit samples are rounded to the nearest: against the inverse transform in double precision.
TEST(JpegFeatures, TwelveBitsAreRounded) {
  const JpegCoefficients c = deep(1);
  const Bytes file = writeJpegCoefficients(c);
  const Image image = decode(file);
  EXPECT_EQ(readJpegCoefficients(file.data(), file.size()).components[0].values, c.components[0].values);
  double sum = 0;
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 61; ++x) {
      const int16_t* const block = &c.components[0].values[64 * size_t(y / 8 * 8 + x / 8)];
      double exact = 2048;
      for (int k = 0; k < 64; ++k) {
        const auto wave = [](int f, int at) {
          return (f ? 0.5 : std::sqrt(0.125)) * std::cos((2 * at + 1) * f * 3.14159265358979 / 16);
        };
        exact += c.components[0].quant[k] * block[k] * wave(k % 8, x % 8) * wave(k / 8, y % 8);
      }
      const double error = image.row16(y)[x] - std::clamp(exact, 0.0, 4095.0);
      ASSERT_LE(std::abs(error), 0.501) << x << ", " << y;
      sum += error;
    }
  EXPECT_NEAR(sum / (61 * 64), 0, 0.02);
}

// Samples beyond 0 to 255 are clamped before they become colours: graphics of full contrast, coarsely quantised.
TEST(JpegFeatures, SaturatedGraphics) {
  Image image(96, 80, ColourModel::rgb);
  for (int y = 0; y < 80; ++y)
    for (int i = 0; i < 288; ++i) image.row(y)[i] = (i / 3 / 5 + y / 3 + i % 3 * (i / 3 / 11)) % 2 ? 255 : 0;
  for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
    for (const bool smooth : {true, false}) {
      JpegEncodeOptions e;
      e.sampling = s;
      e.quality = 10;
      const Bytes file = encodeJpeg(image, e);
      JpegDecodeOptions o;
      o.smooth = smooth;
      EXPECT_LE(difference(decode(file, o), peer::read(file, smooth)).largest, 3) << int(s) << smooth;
    }
}

// The height is in a DNL segment after the first scan, and 0 in the frame.
TEST(JpegFeatures, HeightFromDnl) {
  const Bytes file = encodeJpeg(picture(30, 20, ColourModel::rgb));
  Bytes later = file;
  std::fill_n(later.begin() + long(find(file, 0xC0)) + 5, 2, uint8_t{0});
  EXPECT_THROW(decode(later), Error);
  later.insert(later.end() - 2, {0xFF, 0xDC, 0, 4, 0, 20});
  zeltest::expectEqual(decode(file), decode(later));
}

// Two real encoders leave the selection of a sequential scan zero, or fill it with what they like.
TEST(JpegFeatures, SequentialScansThatClaimLess) {
  const Bytes file = small(Sampling::s420, 0);
  const size_t sos = find(file, 0xDA);
  for (const size_t at : {sos + 11, sos + 12, sos + 13}) {
    Bytes odd = file;
    odd[at] = uint8_t(odd[at] ? 0 : 1);
    std::vector<std::string> warnings;
    JpegDecodeOptions o;
    o.warnings = &warnings;
    zeltest::expectEqual(decode(odd, o), decode(file));
    EXPECT_EQ(warnings.size(), 1u);
  }
}

// A lossless file with a scan for each component, made of three files of one. What no scan brings is mid-grey.
TEST(JpegFeatures, LosslessScansApart) {
  JpegEncodeOptions e;
  e.process = JpegProcess::lossless;
  std::vector<Image> channels;
  Bytes file;
  for (int c = 0; c < 3; ++c) {
    channels.push_back(picture(50 + c, 40, ColourModel::grey));
    channels.back() = crop(channels.back(), c, 0, 50, 40);
    const Bytes one = encodeJpeg(channels.back(), e);
    const size_t sof = find(one, 0xC3), sos = find(one, 0xDA);
    if (c == 0) {
      file = zeltest::joined({{0xFF, 0xD8, 0xFF, 0xC3, 0, 17},
                              zeltest::part(one, sof + 4, sof + 9),
                              {3, 'R', 0x11, 0, 'G', 0x11, 0, 'B', 0x11, 0},
                              zeltest::part(one, find(one, 0xC4), sos)});
    }
    Bytes scan = zeltest::part(one, sos, one.size() - 2);
    scan[5] = uint8_t("RGB"[c]);
    file.insert(file.end(), scan.begin(), scan.end());
    const Bytes cut = zeltest::joined({file, {0xFF, 0xD9}});
    const Image image = c == 2 ? decode(cut) : rescued(cut);
    for (int y = 0; y < 40; ++y)
      for (int i = 0; i < 150; ++i)
        ASSERT_EQ(image.row(y)[i], i % 3 <= c ? channels[size_t(i % 3)].row(y)[i / 3] : 128) << i << ", " << y;
  }
}

// A progressive file that ends after some of its scans: the same picture whatever lay in memory, any number of threads.
TEST(JpegDamage, MissingScansLeaveMidGrey) {
  JpegEncodeOptions e;
  e.process = JpegProcess::progressive;
  e.script = parseScanScript("0: 0-0,0,0; 1: 0-0,0,0; 2: 0-0,0,0; 0: 1-63,0,0");
  const Bytes file = encodeJpeg(picture(300, 250, ColourModel::rgb), e);
  const JpegInfo::Scan first = readJpegInfo(file.data(), file.size()).scans[0];
  const Bytes cut = zeltest::part(file, 0, first.offset + first.bytes);
  JpegDecodeOptions o;
  o.keepGoing = true;
  o.convertColour = false;
  for (const int threads : {1, 4}) {
    o.threads = threads;
    const Image image = decode(cut, o);
    for (int y = 0; y < 250; ++y)
      for (int x = 0; x < 300; ++x) ASSERT_TRUE(image.row(y)[3 * x + 1] == 128 && image.row(y)[3 * x + 2] == 128);
    zeltest::expectEqual(image, decode(cut, o));
  }
  o.keepGoing = false;
  o.limits.maxMemory = 300 * 250;
  EXPECT_EQ(errorOf(file, o).kind(), ErrorKind::limit);
}

}  // namespace
