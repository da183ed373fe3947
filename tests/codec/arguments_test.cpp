// What callers cannot ask for is refused before any work, as an argument or as what a format does not hold.
#include "any/any.h"
#include "common/convert.h"
#include "files.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::picture;
using zeltest::refusal;

namespace {

// Encoding with options that have been changed.
template <class Options, class Change>
Error refused(const Image& image, Bytes encode(const Image&, const Options&), const Change& change) {
  return refusal([&] {
    Options o;
    change(&o);
    encode(image, o);
  });
}

TEST(Arguments, OfPictures) {
  const Image image = picture(9, 7, ColourModel::rgb);
  const std::function<void()> bad[] = {[] { Image(0, 1, ColourModel::grey); },
                                       [] { Image(1, 1, ColourModel::grey, 17); },
                                       [&] { crop(image, 5, 0, 5, 1); },
                                       [&] { oriented(image, 9); },
                                       [&] { converted(image, ColourModel::cmyk); },
                                       [&] { converted(image, ColourModel::rgb, 17); },
                                       [&] { difference(image, picture(9, 8, ColourModel::rgb)); },
                                       [&] {
                                         DecodeOptions o;
                                         o.region = {5, 0, 5, 1};
                                         const Bytes file = encodePng(image);
                                         decodePng(file.data(), file.size(), o);
                                       }};
  for (const auto& action : bad) EXPECT_EQ(refusal(action).kind(), ErrorKind::argument) << &action - bad;
  EXPECT_TRUE(Image().clone().empty());
}

TEST(Arguments, OfJpeg) {
  using O = JpegEncodeOptions;
  const Image rgb = picture(20, 9, ColourModel::rgb);
  const auto bad = [&](const std::function<void(O*)>& change) { return refused(rgb, encodeJpeg, change).kind(); };
  EXPECT_EQ(bad([](O* o) { o->quality = 0; }), ErrorKind::argument);
  EXPECT_EQ(bad([](O* o) { o->quality = 101; }), ErrorKind::argument);
  EXPECT_EQ(bad([](O* o) { o->restartInterval = 65536; }), ErrorKind::argument);
  EXPECT_EQ(bad([](O* o) { o->restartInterval = -1; }), ErrorKind::argument);
  for (const int transform : {-1, 8})
    EXPECT_EQ(bad([&](O* o) { o->process = JpegProcess::lossless, o->pointTransform = transform; }),
              ErrorKind::argument);
  for (const char* script :
       {"", "0,1,2,3,4: 0-0, 0, 0;", "3: 0-0, 0, 0;", "0: 0-63, 0, 0;", "0: 1-64, 0, 0;", "0: 0-0, 0, 14;",
        "0: 0-0, 2, 0;", "0,1: 1-5, 0, 0;", "0: 1-5, 0, 0;", "0,1,2: 0-0, 0, 0; 0,1,2: 0-0, 0, 0;", "0: 1-", "x"})
    EXPECT_EQ(bad([&](O* o) {
                o->process = JpegProcess::progressive;
                o->script = parseScanScript(script);
                if (!*script) o->script = {JpegScan()};
              }),
              ErrorKind::argument)
        << script;
  EXPECT_EQ(refused(picture(9, 9, ColourModel::rgba), encodeJpeg, [](O*) {}).kind(), ErrorKind::unsupported);

  const Bytes file = encodeJpeg(rgb);
  const JpegCoefficients whole = readJpegCoefficients(file.data(), file.size());
  const auto broken = [&](const std::function<void(JpegCoefficients*)>& change) {
    JpegCoefficients c = whole;
    change(&c);
    return refusal([&] { writeJpegCoefficients(c); }).kind();
  };
  for (const int factor : {-1, 0, 5}) {
    EXPECT_EQ(broken([&](JpegCoefficients* c) { c->components[1].h = factor; }), ErrorKind::argument);
    EXPECT_EQ(broken([&](JpegCoefficients* c) { c->components[2].v = factor; }), ErrorKind::argument);
  }
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->components[1].id = c->components[0].id; }), ErrorKind::argument);
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->components[0].id = 256; }), ErrorKind::argument);
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->components[0].values = ZeroedVector<int16_t>(64); }),
            ErrorKind::argument);
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->components.clear(); }), ErrorKind::argument);
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->width = 65536; }), ErrorKind::argument);
  EXPECT_EQ(broken([](JpegCoefficients* c) { c->precision = 10; }), ErrorKind::argument);
  JpegDecodeOptions half;
  half.scaleDenominator = 3;
  EXPECT_EQ(refusal([&] { decodeJpeg(file.data(), file.size(), half); }).kind(), ErrorKind::argument);
}

TEST(Arguments, OfJpeg2000) {
  using O = Jpeg2000EncodeOptions;
  const Image rgb = picture(20, 9, ColourModel::rgb);
  const std::function<void(O*)> changes[] = {[](O* o) { o->levels = 33; },
                                             [](O* o) { o->levels = -1; },
                                             [](O* o) { o->layers = 0; },
                                             [](O* o) { o->lossless = false, o->rate = o->psnr = 1; },
                                             [](O* o) { o->rate = 1; },
                                             [](O* o) { o->progression = Progression(5); },
                                             [](O* o) { o->codeBlockWidth = 2; },
                                             [](O* o) { o->codeBlockHeight = 128; },
                                             [](O* o) { o->codeBlockWidth = 48; },
                                             [](O* o) { o->precinct = 1 << 16; },
                                             [](O* o) { o->tileWidth = -1; },
                                             [](O* o) { o->style = 64; }};
  for (const auto& change : changes)
    EXPECT_EQ(refused(rgb, encodeJpeg2000, change).kind(), ErrorKind::argument) << &change - changes;
  const Bytes file = encodeJpeg2000(rgb);
  for (const int reduce : {-1, 6}) {
    Jpeg2000DecodeOptions o;
    o.reduce = reduce;
    EXPECT_EQ(refusal([&] { decodeJpeg2000(file.data(), file.size(), o); }).kind(), ErrorKind::argument);
  }
}

TEST(Arguments, OfTheOthers) {
  using O = TiffEncodeOptions;
  const Image rgb = picture(20, 9, ColourModel::rgb);
  const std::function<void(O*)> changes[] = {
      [](O* o) { o->rowsPerStrip = -1; }, [](O* o) { o->dotsPerInch = 0; },
      [](O* o) { o->level = 13; },        [](O* o) { o->compression = TiffCompression(7); },
      [](O* o) { o->tileWidth = 16; },    [](O* o) { o->tileWidth = o->tileHeight = 40; }};
  for (const auto& change : changes)
    EXPECT_EQ(refused(rgb, encodeTiff, change).kind(), ErrorKind::argument) << &change - changes;
  EXPECT_EQ(refusal([] { encodeTiffPages({}); }).kind(), ErrorKind::argument);
  EXPECT_EQ(refusal([] { encodeTiffPages({nullptr}); }).kind(), ErrorKind::argument);
  const Bytes tiff = encodeTiff(rgb), dds = encodeDds(rgb);
  for (const int page : {-1, 1}) {
    TiffDecodeOptions o;
    o.page = page;
    EXPECT_EQ(refusal([&] { decodeTiff(tiff.data(), tiff.size(), o); }).kind(), ErrorKind::argument);
    DdsDecodeOptions d;
    (page < 0 ? d.level : d.element) = page;
    EXPECT_EQ(refusal([&] { decodeDds(dds.data(), dds.size(), d); }).kind(), ErrorKind::argument);
  }
  EXPECT_EQ(refused(rgb, encodePng, [](PngEncodeOptions* o) { o->level = 10; }).kind(), ErrorKind::argument);
  EXPECT_EQ(refusal([&] { encodePng(picture(2, 2, ColourModel::cmyk)); }).kind(), ErrorKind::unsupported);
}

// A sink that fails in the middle, and a callback that throws: their exceptions come out of every encoder as they are.
TEST(Arguments, ExceptionsOfCallersComeOut) {
  struct Full : Sink {
    uint64_t written = 0;
    void write(const uint8_t*, size_t size) override {
      written += size;
      if (written > 3000) throw std::string("full");
    }
    uint64_t position() const override { return written; }
    bool canPatch() const override { return true; }
    void patch(uint64_t, const uint8_t*, size_t) override {}
    void commit() override {}
  };
  const Image image = picture(330, 210, ColourModel::rgb);
  for (const Format format : {Format::jpeg, Format::jpeg2000, Format::dds, Format::tiff, Format::png, Format::netpbm})
    for (const bool cancelled : {false, true})
      for (const int threads : {1, 3}) {
        SCOPED_TRACE(std::string(nameOf(format)) + (cancelled ? " cancelled" : " full"));
        AnyEncodeOptions e;
        e.common.threads = threads;
        e.tiff.compression = TiffCompression::lzw;
        Full full;
        if (!cancelled) {
          EXPECT_THROW(writeAll(*createAny(full, format, image.format(), {}, e), image), std::string);
          continue;
        }
        const Progress cancel = [](double part) {
          if (part > 0.3) throw std::string("cancelled");
        };
        Bytes file;
        const auto sink = memorySink(&file);
        writeAll(*createAny(*sink, format, image.format(), {}, e), image);
        e.common.progress = cancel;
        Bytes other;
        const auto otherSink = memorySink(&other);
        EXPECT_THROW(writeAll(*createAny(*otherSink, format, image.format(), {}, e), image), std::string);
        AnyDecodeOptions d;
        d.common.threads = threads;
        d.common.progress = cancel;
        const auto source = memorySource(file.data(), file.size());
        EXPECT_THROW(readAll(*openAny(*source, format, d)), std::string);
      }
}

}  // namespace
