// Damaged files: an error that says where, or with keep-going the picture as far as it goes.
#include <gtest/gtest.h>

#include "error.h"
#include "peer.h"

using namespace zelcodecs;
using peer::Bytes;

namespace {

Image decode(const Bytes& file, bool keepGoing = false, std::vector<std::string>* warnings = nullptr) {
  JpegDecodeOptions o;
  o.keepGoing = keepGoing;
  o.warnings = warnings;
  return decodeJpeg(file.data(), file.size(), o);
}

// The error that a file gives.
Error errorOf(const Bytes& file, const JpegDecodeOptions& options = {}) {
  try {
    decodeJpeg(file.data(), file.size(), options);
  } catch (const Error& e) {
    return e;
  }
  return Error(ErrorKind::argument, "none");
}

Bytes small(Sampling s, int restart) {
  JpegEncodeOptions o;
  o.sampling = s;
  o.restartInterval = restart;
  return encodeJpeg(peer::picture(40, 24, ColourModel::rgb), o);
}

// The position of the n-th marker of a code, counted from 0.
size_t find(const Bytes& b, int code, int n = 0) {
  for (size_t i = 2; i + 1 < b.size(); ++i)
    if (b[i] == 0xFF && b[i + 1] == code && n-- == 0) return i;
  throw std::runtime_error("no such marker");
}

TEST(JpegDamage, EveryTruncationIsAnErrorAndKeepGoingRescuesIt) {
  for (const int restart : {0, 2}) {
    const Bytes file = small(Sampling::s420, restart);
    const Image whole = decode(file);
    const size_t scan = find(file, 0xDA) + 14;
    size_t before = 0;
    for (size_t n = 0; n < file.size(); ++n) {
      const Bytes part(file.begin(), file.begin() + long(n));
      const Error e = errorOf(part);
      ASSERT_NE(e.kind(), ErrorKind::argument) << n << " bytes decode";
      ASSERT_LE(e.offset(), n) << e.what();
      ASSERT_NE(std::string(e.what()).find(" at byte "), std::string::npos) << e.what();
      if (n < scan) {
        EXPECT_THROW(decode(part, true), Error) << n;
        continue;
      }
      std::vector<std::string> warnings;
      const Image rescued = decode(part, true, &warnings);
      ASSERT_FALSE(warnings.empty()) << n;
      // The first pixels stay as they are, and there are more and more of them.
      size_t same = 0;
      while (same < whole.sizeBytes() && whole.data()[same] == rescued.data()[same]) ++same;
      ASSERT_GE(same + 48, before) << n;  // a truncated code can be right by chance
      before = std::max(before, same);
    }
    EXPECT_EQ(before, whole.sizeBytes());  // without the end-of-image marker everything is there
  }
}

// One MCU in the middle is destroyed: the rest of its restart interval is lost and no more.
TEST(JpegDamage, DecodingTakesUpAtRestartMarkers) {
  JpegEncodeOptions o;
  o.sampling = Sampling::s444;
  o.restartInterval = 4;
  const Bytes file = encodeJpeg(peer::picture(128, 128, ColourModel::rgb), o);  // 16 x 16 MCUs, 64 intervals
  const Image whole = decode(file);
  const auto damagedMcus = [&](const Bytes& b) {
    std::vector<std::string> warnings;
    const Image rescued = decode(b, true, &warnings);
    EXPECT_FALSE(warnings.empty());
    std::vector<int> mcus;
    for (int mcu = 0; mcu < 256; ++mcu) {
      bool same = true;
      for (int r = 0; r < 8; ++r) {
        const size_t at = size_t(mcu % 16 * 24);
        same &= std::equal(whole.row(mcu / 16 * 8 + r) + at, whole.row(mcu / 16 * 8 + r) + at + 24,
                           rescued.row(mcu / 16 * 8 + r) + at);
      }
      if (!same) mcus.push_back(mcu);
    }
    return mcus;
  };
  const size_t third = find(file, 0xD2), fourth = find(file, 0xD3);  // interval 3 is between them: MCUs 12 to 15
  Bytes cut = file;
  cut.erase(cut.begin() + long(third) + 6, cut.begin() + long(fourth));
  EXPECT_EQ(errorOf(cut).kind(), ErrorKind::damaged);
  std::vector<int> lost = damagedMcus(cut);
  ASSERT_FALSE(lost.empty());
  EXPECT_GE(lost.front(), 12);
  EXPECT_LE(lost.back(), 15);

  // Two whole intervals and the markers before them are missing: 3 and 4, MCUs 12 to 19.
  cut = file;
  cut.erase(cut.begin() + long(third), cut.begin() + long(find(file, 0xD4)));
  lost = damagedMcus(cut);
  ASSERT_EQ(lost.size(), 8u);
  EXPECT_EQ(lost.front(), 12);
  EXPECT_EQ(lost.back(), 19);

  // A damaged marker: its interval cannot be told from the one before, the next marker shows that it is lost.
  cut = file;
  cut[third + 1] = 0x5A;
  lost = damagedMcus(cut);
  EXPECT_FALSE(lost.empty());
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
  EXPECT_EQ(decodeJpeg(file.data(), file.size(), o).width(), 40);
  // A scan for each component is three of them.
  const JpegCoefficients c = readJpegCoefficients(file.data(), file.size());
  JpegWriteOptions w;
  w.interleaved = false;
  const Bytes scans = writeJpegCoefficients(c, w);
  o.limits.maxScans = 2;
  EXPECT_EQ(errorOf(scans, o).kind(), ErrorKind::limit);
  o.scaleDenominator = 3;
  EXPECT_EQ(errorOf(file, o).kind(), ErrorKind::argument);
}

// Fill bytes before markers, bytes after the image and unknown segments belong to many files and mean nothing.
TEST(JpegDamage, HarmlessOddities) {
  const Bytes file = small(Sampling::s422, 2);
  const Image whole = decode(file);
  Bytes odd = file;
  odd.insert(odd.end(), {1, 2, 3, 0xFF, 0xD8, 0xFF});
  for (const int code : {0xD0, 0xD2, 0xC0, 0xDA, 0xDB}) {
    const size_t at = find(odd, code);
    odd.insert(odd.begin() + long(at), 3, 0xFF);
  }
  odd.insert(odd.begin() + 2, {0xFF, 0xE7, 0, 4, 0xFF, 0xD9});
  const Image same = decode(odd);
  EXPECT_TRUE(std::equal(whole.data(), whole.data() + whole.sizeBytes(), same.data()));
  const JpegInfo info = readJpegInfo(odd.data(), odd.size());
  EXPECT_TRUE(info.complete);
  EXPECT_EQ(info.trailingBytes, 6);
  EXPECT_EQ(info.restartInterval, 2);
}

}  // namespace
