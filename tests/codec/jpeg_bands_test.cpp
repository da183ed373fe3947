// JPEG files in bands, with what travels beside the pixels: any heights and regions give what whole pictures give.
#include "peer.h"

using namespace zelcodecs;
using peer::Bytes;
using zeltest::picture;
using zeltest::readInBands;

namespace {

void expectBandsAndRegions(const Bytes& file) {
  for (const int scale : {1, 2, 8})
    for (const bool smooth : {true, false})
      for (const int threads : {1, 3}) {
        JpegDecodeOptions o;
        o.smooth = smooth;
        o.threads = threads;
        if (readJpegInfo(file.data(), file.size()).process != "lossless") o.scaleDenominator = scale;
        const Image whole = decodeJpeg(file.data(), file.size(), o);
        zeltest::expectEqual(whole, readInBands(file, o, openJpeg));
        const int w = whole.width(), h = whole.height();
        for (const Region& r :
             {Region{0, 0, w, h / 2}, Region{w / 3, h / 2 / 32 * 32, w / 2, h / 4}, Region{w - 1, h - 1, 1, 1}}) {
          o.region = r;
          zeltest::expectEqual(crop(whole, r.x, r.y, r.width, r.height), readInBands(file, o, openJpeg));
        }
      }
}

TEST(JpegBands, AnyHeightsAndRegionsGiveTheSamePicture) {
  for (const char* factors : {"11", "21", "12", "22", "41", "24", "22 21 12"})
    for (int variation = 0; variation < 4; ++variation) {
      SCOPED_TRACE(std::string(factors) + ", " + std::to_string(variation));
      peer::WriteOptions o;
      o.factors = factors;
      o.restart = variation == 1 ? 9 : 0;
      if (variation == 2) o.script = parseScanScript("0; 1; 2");
      if (variation == 3) o.script = defaultScanScript(3, true);
      expectBandsAndRegions(peer::write(picture(437, 187, ColourModel::rgb), o));
    }
}

TEST(JpegBands, RowsWrittenInAnyHeightsGiveTheSameFile) {
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (int kind = 0; kind < 12; ++kind) {
      SCOPED_TRACE("kind " + std::to_string(kind));
      JpegEncodeOptions o;
      o.process = kind % 4 == 3   ? JpegProcess::lossless
                  : kind % 4 == 2 ? JpegProcess::progressive
                                  : JpegProcess::baseline;
      o.chromaByPlane = kind % 4 == 1;
      o.restartRows = kind / 4;
      o.threads = 1 + kind % 3;
      const Image image = picture(437, 187, model);
      const Bytes file = zeltest::writtenInBands(
          image, [&](Sink& sink) { return createJpeg(sink, image.format(), image.metadata(), o); });
      ASSERT_EQ(file, encodeJpeg(image, o));
      if (o.process == JpegProcess::lossless) expectBandsAndRegions(file);
    }
}

// What lies above a region is not looked at where restart markers tell where the region begins, what lies below never.
TEST(JpegBands, DamageOutsideTheRegionIsNotSeen) {
  JpegEncodeOptions e;
  e.restartRows = 1;
  const Image image = picture(400, 400, ColourModel::rgb);
  const Bytes file = encodeJpeg(image, e);
  // Without some bytes of the fourth interval and of the last one.
  const Bytes marker = {0xFF, 0xD2};
  Bytes damaged = file;
  damaged.erase(damaged.end() - 60, damaged.end() - 20);
  const auto at = std::search(damaged.begin(), damaged.end(), marker.begin(), marker.end());
  damaged.erase(at + 20, at + 60);
  EXPECT_THROW(decodeJpeg(damaged.data(), damaged.size()), Error);
  JpegDecodeOptions o;
  o.region = {0, 160, 400, 80};
  for (const int threads : {1, 4}) {
    o.threads = threads;
    zeltest::expectEqual(readInBands(file, o, openJpeg), readInBands(damaged, o, openJpeg));
  }
}

// ---- Metadata -------------------------------------------------------------------------------------------------------

TEST(JpegMetadata, TravelsBothWays) {
  std::vector<std::string> warnings;
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const JpegProcess process : {JpegProcess::baseline, JpegProcess::progressive, JpegProcess::lossless}) {
      Image image = picture(24, 17, model);
      image.metadata() = zeltest::everyMetadata();
      image.metadata().comments[1] = std::string("second\0part", 11);
      JpegEncodeOptions e;
      e.process = process;
      e.warnings = &warnings;
      const Bytes file = encodeJpeg(image, e);
      Metadata expected = image.metadata();
      const JpegInfo info = readJpegInfo(file.data(), file.size());
      if (!info.jfif) expected.pixelsPerMetreX = expected.pixelsPerMetreY = 0;
      EXPECT_EQ(info.jfif,
                model == ColourModel::grey || (model == ColourModel::rgb && process != JpegProcess::lossless));
      EXPECT_EQ(info.iccBytes, expected.icc.size());
      EXPECT_EQ(info.orientation, 6);
      JpegDecodeOptions d;
      d.warnings = &warnings;
      zeltest::expectSameMetadata(decodeJpeg(file.data(), file.size(), d).metadata(), expected, 20);
      if (process != JpegProcess::lossless) {
        EXPECT_EQ(peer::read(file, false).width(), 24);
      }
    }
  EXPECT_EQ(warnings, std::vector<std::string>());

  // An orientation has a place of its own only in EXIF.
  Image image = picture(8, 8, ColourModel::rgb);
  image.metadata().orientation = 8;
  const Bytes file = encodeJpeg(image);
  EXPECT_EQ(decodeJpeg(file.data(), file.size()).metadata().orientation, 8);
}

TEST(JpegMetadata, WhatDoesNotFitIsAWarning) {
  std::vector<std::string> warnings;
  JpegEncodeOptions e;
  e.warnings = &warnings;
  Image image = picture(24, 17, ColourModel::cmyk);
  image.metadata().exif.resize(65530);
  image.metadata().xmp.resize(65530);
  image.metadata().comments = {std::string(65534, 'x')};
  image.metadata().icc.resize(255 * 65519 + 1);
  const Bytes file = encodeJpeg(image, e);
  EXPECT_EQ(warnings.size(), 4u);
  EXPECT_TRUE(decodeJpeg(file.data(), file.size()).metadata().empty());
  image.metadata() = {};
  image.metadata().pixelsPerMetreX = image.metadata().pixelsPerMetreY = 1000;  // behind Adobe's marker
  encodeJpeg(image, e);
  EXPECT_EQ(warnings.size(), 5u);
}

// The parts of a profile in another order are the profile; with one missing there is none, and a warning.
TEST(JpegMetadata, PartsOfAProfile) {
  Image image = picture(8, 8, ColourModel::rgb);
  image.metadata().icc = zeltest::everyMetadata().icc;
  const Bytes file = encodeJpeg(image);
  const size_t part = 4 + 14 + 65519, begin = 2 + 18;
  const Bytes head = zeltest::part(file, 0, begin), first = zeltest::part(file, begin, begin + part),
              second = zeltest::part(file, begin + part, begin + 2 * part),
              rest = zeltest::part(file, begin + 2 * part, file.size());
  std::vector<std::string> warnings;
  JpegDecodeOptions o;
  o.warnings = &warnings;
  const auto profileOf = [&](const Bytes& b) { return decodeJpeg(b.data(), b.size(), o).metadata().icc; };
  EXPECT_EQ(profileOf(zeltest::joined({head, second, first, rest})), image.metadata().icc);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(profileOf(zeltest::joined({head, second, rest})), Bytes());
  EXPECT_EQ(warnings.size(), 1u);
}

}  // namespace
