// What the formats share: bands, threads, sources and sinks, conversions, metadata.
#include <fcntl.h>
#include <lcms2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>

#include "any/any.h"
#include "any/transfer.h"
#include "common/team.h"
#include "files.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::expectEqual;
using zeltest::picture;
using zeltest::refusal;

namespace {

// ---- Bands ----------------------------------------------------------------------------------------------------------

// A decoder of bands of a given height, which leaves out what nobody wants.
class Banded : public Decoder {
 public:
  Banded(const Image& image, int bandRows, const DecodeOptions& options) : image_(image) {
    open(image.format(), bandRows, options);
  }
  int skipped = 0;

 private:
  void decodeBand(Rows to) override {
    const size_t left = size_t(wanted().x) * image_.format().pixelBytes();
    const size_t bytes = size_t(wanted().width) * image_.format().pixelBytes();
    for (int y = 0; y < to.count; ++y) std::memcpy(to.row(y) + left, image_.row(nextRow() + y) + left, bytes);
  }
  void skipBand(int rows) override { skipped += rows; }
  const Image& image_;
};

class Collecting : public Encoder {
 public:
  Collecting(const PictureFormat& format, int bandRows) : image(format), bandRows_(bandRows) {
    open(format, bandRows, {});
  }
  Image image;
  bool ended = false;

 private:
  void encodeBand(ConstRows rows) override {
    EXPECT_EQ(rows.count, std::min(bandRows_, image.height() - nextRow()));
    for (int y = 0; y < rows.count; ++y) std::memcpy(image.row(nextRow() + y), rows.row(y), image.rowBytes());
  }
  void end() override { ended = true; }
  const int bandRows_;
};

TEST(Bands, AnyHeightsInAndOut) {
  const Image image = picture(23, 41, ColourModel::rgb, 12);
  for (const int in : {1, 5, 16, 41})
    for (const int out : {1, 3, 16, 100})
      for (const int threads : {1, 2}) {
        Banded decoder(image, in, {});
        Collecting encoder(image.format(), out);
        transfer(decoder, nullptr, encoder, threads);
        expectEqual(encoder.image, image);
        EXPECT_TRUE(encoder.ended);
      }
  Banded decoder(image, 7, {});
  Image rows(23, 41, ColourModel::rgb, 12);
  for (int y = 0, n = 1; y < 41; y += n, n = std::min(n + 2, 41 - y)) decoder.read(rows.rows(y, n));
  expectEqual(rows, image);
  EXPECT_EQ(refusal([&] { decoder.read(rows.rows(0, 1)); }).kind(), ErrorKind::argument);
  Collecting encoder(image.format(), 8);
  encoder.write(image.rows(0, 40));
  EXPECT_EQ(refusal([&] { encoder.finish(); }).kind(), ErrorKind::argument);
  EXPECT_EQ(refusal([&] { encoder.write(image.rows(0, 2)); }).kind(), ErrorKind::argument);
}

TEST(Bands, Regions) {
  const Image image = picture(30, 50, ColourModel::grey);
  for (const Region& r : {Region{0, 0, 30, 50}, {3, 20, 9, 11}, {29, 49, 1, 1}, {0, 16, 30, 16}}) {
    DecodeOptions options;
    options.region = r;
    Banded decoder(image, 8, options);
    expectEqual(readAll(decoder), crop(image, r.x, r.y, r.width, r.height));
    EXPECT_EQ(decoder.skipped, r.y / 8 * 8);
  }
  for (const Region& r : {Region{0, 0, 31, 50}, {-1, 0, 3, 3}, {5, 5, 0, 3}, {30, 0, 1, 1}, {0, 2, 3, INT32_MAX}}) {
    DecodeOptions options;
    options.region = r;
    EXPECT_EQ(refusal([&] { Banded(image, 8, options); }).kind(), ErrorKind::argument);
  }
}

// ---- Threads --------------------------------------------------------------------------------------------------------

TEST(Team, ThreadsDoEveryPieceOnceAndCarryExceptionsOut) {
  for (const int threads : {1, 2, 5}) {
    Team team(threads);
    for (const int count : {0, 1, 2, 100}) {
      std::vector<std::atomic<int>> done(size_t(count) + 1);
      team.forEach(count, [&](int i) {
        team.forEach(2, [&](int) { ++done[size_t(i)]; });  // inside of a piece: by the same thread
      });
      for (int i = 0; i < count; ++i) EXPECT_EQ(done[size_t(i)], 2) << i;
    }
    std::atomic<int> begun{0};
    const auto fail = [&](int i) {
      ++begun;
      if (i >= 3) throw std::to_string(i);
    };
    try {
      team.forEach(1000, fail);
      ADD_FAILURE() << "no exception";
    } catch (const std::string& piece) {
      EXPECT_EQ(piece, "3");
    }
    EXPECT_LE(begun, 3 + threads);
  }
}

// ---- Sources and sinks ----------------------------------------------------------------------------------------------

Bytes numbered(size_t size) {
  Bytes b(size);
  for (size_t i = 0; i < size; ++i) b[i] = uint8_t(i * 7 + i / 256);
  return b;
}

void expectSource(Source& source, const Bytes& bytes, bool fromFrontToBack) {
  EXPECT_EQ(Bytes(source.peek(5).begin(), source.peek(5).end()), zeltest::part(bytes, 0, 5));
  if (!fromFrontToBack) {
    EXPECT_EQ(Bytes(source.all().begin(), source.all().end()), bytes);
    return;
  }
  Bytes got;
  for (size_t n = 1;; n = n * 3 % 70001) {
    const ByteView piece = source.next(n);
    got.insert(got.end(), piece.begin(), piece.end());
    if (piece.size < n) break;
  }
  EXPECT_EQ(got, bytes);
}

// By way of a pipe.
void expectPiped(const Bytes& bytes, bool fromFrontToBack) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::thread writer([&] {
    for (size_t at = 0; at < bytes.size();) at += size_t(write(ends[1], &bytes[at], bytes.size() - at));
    close(ends[1]);
  });
  expectSource(*fileSource("/dev/fd/" + std::to_string(ends[0])), bytes, fromFrontToBack);
  writer.join();
  close(ends[0]);
}

TEST(Files, SourcesGiveTheSameBytes) {
  const Bytes bytes = numbered(5000000);
  const zeltest::TemporaryFile file(bytes);
  for (const bool ordered : {false, true}) {
    expectSource(*fileSource(file.path), bytes, ordered);
    expectSource(*memorySource(bytes.data(), bytes.size()), bytes, ordered);
    expectPiped(bytes, ordered);
  }
  for (const char* missing : {"/nowhere/at/all", "/"})
    EXPECT_EQ(refusal([&] { fileSource(missing); }).kind(), ErrorKind::file);
}

TEST(Files, WhatStoodThereStaysUntilTheNewFileIsWhole) {
  const std::string path = testing::TempDir() + "zeljsink" + std::to_string(getpid()), link = path + "link";
  const Bytes before = {1, 2, 3}, after = numbered(300000);
  std::ofstream(path, std::ios::binary) << "\1\2\3";
  chmod(path.c_str(), 0640);
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  {
    const std::unique_ptr<Sink> sink = fileSink(link);
    sink->write(after);
  }
  EXPECT_EQ(zeltest::fileBytes(path), before);
  const std::unique_ptr<Sink> sink = fileSink(link);
  sink->write(after.data(), 100);
  sink->write(after.data() + 100, after.size() - 100);
  EXPECT_EQ(sink->position(), after.size());
  const uint8_t patch[] = {9, 9};
  ASSERT_TRUE(sink->canPatch());
  sink->patch(99, patch, 2);
  EXPECT_EQ(zeltest::fileBytes(path), before);
  sink->commit();
  Bytes patched = after;
  patched[99] = patched[100] = 9;
  EXPECT_EQ(zeltest::fileBytes(path), patched);
  struct stat about;
  ASSERT_EQ(lstat(link.c_str(), &about), 0);
  EXPECT_TRUE(S_ISLNK(about.st_mode));
  ASSERT_EQ(stat(path.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 07777, 0640u);
  unlink(link.c_str());
  unlink(path.c_str());
  EXPECT_EQ(refusal([&] { fileSink("/nowhere/at/all"); }).kind(), ErrorKind::file);
  const std::unique_ptr<Sink> full = fileSink("/dev/full");
  EXPECT_EQ(refusal([&] { full->write(after); }).kind(), ErrorKind::file);
}

// ---- Conversions ----------------------------------------------------------------------------------------------------

TEST(Conversions, ModelsAndDepths) {
  const Image rgb = picture(19, 6, ColourModel::rgb);
  const Image grey = converted(rgb, ColourModel::grey), rgba = converted(rgb, ColourModel::rgba);
  for (int i = 0; i < 19; ++i) {
    const uint8_t *const in = rgb.row(4) + 3 * i, *const out = rgba.row(4) + 4 * i;
    EXPECT_NEAR(grey.row(4)[i], 0.299 * in[0] + 0.587 * in[1] + 0.114 * in[2], 0.501);
    EXPECT_EQ(Bytes(out, out + 4), (Bytes{in[0], in[1], in[2], 255}));
  }
  expectEqual(converted(converted(rgb, ColourModel::rgb, 16), ColourModel::rgb, 8), rgb);
  const Image clear = converted(picture(19, 6, ColourModel::grey, 16), ColourModel::greyAlpha);
  EXPECT_EQ(clear.sample(2, 7), 65535);
  expectEqual(converted(converted(clear, ColourModel::rgba), ColourModel::greyAlpha), clear);
  for (const int bits : {1, 4, 12, 16}) {
    const Image deep = picture(19, 6, ColourModel::grey, bits);
    const Image eight = converted(deep, ColourModel::grey, 8);
    for (int x = 0; x < 19; ++x)
      EXPECT_EQ(eight.sample(2, x), int(deep.sample(2, x) * 255.0 / deep.maxValue() + 0.5)) << bits;
  }
  Image ink(2, 1, ColourModel::cmyk);
  const uint8_t inks[] = {0, 255, 51, 0, 102, 0, 255, 51};
  std::copy(inks, inks + 8, ink.data());
  const Image seen = converted(ink, ColourModel::rgb, 8);
  EXPECT_EQ(Bytes(seen.data(), seen.data() + 6), (Bytes{255, 0, 204, 122, 204, 0}));
  EXPECT_EQ(refusal([&] { converted(rgb, ColourModel::cmyk, 8); }).kind(), ErrorKind::argument);
}

// A profile in which all inks give the same grey of 50 % lightness.
Bytes greyPressProfile() {
  const cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.4);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, cmsSigCmykData);
  cmsSetPCS(profile, cmsSigLabData);
  std::vector<cmsUInt16Number> nodes;
  for (int i = 0; i < 16; ++i) nodes.insert(nodes.end(), {0x7F80, 0x8000, 0x8000});  // L = 50, a = b = 0
  cmsPipeline* const table = cmsPipelineAlloc(nullptr, 4, 3);
  cmsPipelineInsertStage(table, cmsAT_BEGIN, cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nodes.data()));
  EXPECT_TRUE(cmsWriteTag(profile, cmsSigAToB0Tag, table));
  cmsPipelineFree(table);
  cmsUInt32Number size = 0;
  EXPECT_TRUE(cmsSaveProfileToMem(profile, nullptr, &size));
  Bytes out(size);
  EXPECT_TRUE(cmsSaveProfileToMem(profile, out.data(), &size));
  cmsCloseProfile(profile);
  return out;
}

TEST(Conversions, InkByItsProfile) {
  for (const int bits : {8, 16}) {
    Image ink = picture(9, 3, ColourModel::cmyk, bits);
    ink.metadata().icc = greyPressProfile();
    Converter converter(ink.format(), ColourModel::rgb, 8, ink.metadata());
    EXPECT_TRUE(converter.kept(ink.metadata()).icc.empty());
    const Image seen = converted(ink, ColourModel::rgb, 8);
    for (size_t i = 0; i < seen.sizeBytes(); ++i) ASSERT_NEAR(seen.data()[i], 119, 1);  // sRGB of L = 50
    ink.metadata().icc = {1, 2, 3};  // what is no profile leaves the plain rule
    const Image plain = converted(ink, ColourModel::rgb, 8);
    ink.metadata().icc.clear();
    expectEqual(plain, converted(ink, ColourModel::rgb, 8));
  }
}

TEST(Conversions, OpacityNeedsABackground) {
  Image clear(3, 2, ColourModel::rgba);
  std::fill(clear.data(), clear.data() + clear.sizeBytes(), uint8_t{255});
  EXPECT_EQ(converted(clear, ColourModel::rgb).row(1)[5], 255);
  const uint8_t half[] = {100, 200, 0, 51};
  std::copy(half, half + 4, clear.row(1) + 4);
  const Error e = refusal([&] { converted(clear, ColourModel::rgb, 8); });
  EXPECT_NE(std::string(e.what()).find("column 1 of row 1"), std::string::npos) << e.what();
  ConvertOptions options;
  options.background = {255, 0, 10};
  const Image mixed = converted(clear, ColourModel::rgb, 8, options);
  EXPECT_EQ(Bytes(mixed.row(1) + 3, mixed.row(1) + 6), (Bytes{224, 40, 8}));
  options.ignoreOpacity = true;
  const Image stored = converted(clear, ColourModel::rgb, 8, options);
  EXPECT_EQ(Bytes(stored.row(1) + 3, stored.row(1) + 6), (Bytes{100, 200, 0}));
}

TEST(Conversions, Orientations) {
  // Where the stored corner A B / C D of a 3 x 2 picture goes.
  Image stored(3, 2, ColourModel::grey);
  for (int i = 0; i < 6; ++i) stored.data()[i] = uint8_t(i);
  const std::vector<Bytes> upright = {{0, 1, 2, 3, 4, 5}, {2, 1, 0, 5, 4, 3}, {5, 4, 3, 2, 1, 0}, {3, 4, 5, 0, 1, 2},
                                      {0, 3, 1, 4, 2, 5}, {3, 0, 4, 1, 5, 2}, {5, 2, 4, 1, 3, 0}, {2, 5, 1, 4, 0, 3}};
  for (int o = 1; o <= 8; ++o) {
    const Image image = oriented(stored, o);
    EXPECT_EQ(image.width(), o < 5 ? 3 : 2);
    EXPECT_EQ(Bytes(image.data(), image.data() + 6), upright[size_t(o - 1)]) << o;
  }
}

// ---- Metadata -------------------------------------------------------------------------------------------------------

Bytes exifWith(int orientation, bool bigEndian) {
  const uint8_t o = uint8_t(orientation);
  return bigEndian ? Bytes{'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, o, 0, 0, 0, 0, 0, 0}
                   : Bytes{'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 1, 3, 0, 1, 0, 0, 0, o, 0, 0, 0, 0, 0, 0, 0};
}

TEST(MetadataTest, OrientationInExif) {
  for (const bool bigEndian : {false, true}) {
    Bytes exif = exifWith(6, bigEndian);
    EXPECT_EQ(exifOrientation(exif), 6);
    setExifOrientation(&exif, 1);
    EXPECT_EQ(exif, exifWith(1, bigEndian));
    for (size_t n = 0; n < exif.size() - 4; ++n) exifOrientation(zeltest::part(exif, 0, n));
    EXPECT_EQ(exifOrientation(zeltest::part(exif, 0, 19)), 0);
  }
}

TEST(MetadataTest, PngKeepsAllOfIt) {
  Image image = picture(5, 4, ColourModel::rgb);
  image.metadata() = zeltest::everyMetadata();
  image.metadata().icc.clear();  // libpng takes no profile that is none
  const Bytes png = encodePng(image);
  const Image back = decodePng(png.data(), png.size());
  expectEqual(back, image);
  zeltest::expectSameMetadata(back.metadata(), image.metadata());
  std::vector<std::string> warnings;
  EncodeOptions options;
  options.warnings = &warnings;
  encodeNetpbm(image, options);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0], "left out, as Netpbm cannot hold it: EXIF, XMP, comments, resolution, orientation");
}

// ---- Formats --------------------------------------------------------------------------------------------------------

TEST(Formats, ByContentAndByEnding) {
  EXPECT_EQ(endingOf("a.b/c.JPeG"), "jpeg");
  EXPECT_EQ(endingOf("a.b/c"), "");
  EXPECT_EQ(formatOfEnding("jpc"), Format::jpeg2000);
  EXPECT_EQ(formatOfEnding("bmp"), std::nullopt);
  const Image image = picture(9, 9, ColourModel::grey);
  for (const Format f : {Format::jpeg, Format::jpeg2000, Format::dds, Format::tiff, Format::png, Format::netpbm}) {
    const Bytes file = zeltest::encodedAny(image, f);
    const std::unique_ptr<Source> source = memorySource(file.data(), file.size());
    EXPECT_EQ(formatOf(source->peek(kBytesForFormat)), f) << nameOf(f);
    const std::unique_ptr<Decoder> decoder = openAny(*source, f);
    EXPECT_EQ(decoder->format().width, 9) << nameOf(f);
    for (size_t n = 0; n < kBytesForFormat; ++n)
      EXPECT_TRUE(n < 12 || formatOf({file.data(), n}) == f) << nameOf(f) << " " << n;
  }
  const Bytes gif = {'G', 'I', 'F', '8', '9', 'a'}, nul = {'P', 0, 1}, none;
  for (const Bytes& b : {gif, nul, none})
    EXPECT_EQ(refusal([&] { formatOf({b.data(), b.size()}); }).kind(), ErrorKind::unsupported);
}

}  // namespace
