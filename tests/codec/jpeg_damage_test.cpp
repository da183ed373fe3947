// Damaged files: an error that says where, or with keep-going the picture as far as it goes.
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
      {sos + 7, 1, ErrorKind::damaged, "twice"},         {sos + 11, 1, ErrorKind::damaged, "whole blocks"},
      {sos + 6, 0x30, ErrorKind::damaged, "not there"},
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
  o.scaleDenominator = 3;
  EXPECT_EQ(errorOf(file, o).kind(), ErrorKind::argument);
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

}  // namespace
