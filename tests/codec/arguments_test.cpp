// What callers cannot ask for is refused before any work, as an argument or as what a format does not hold.
#include "any/any.h"
#include "common/convert.h"
#include "files.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::picture;
using zeltest::refusal;

namespace {

// Encoding with options that one of the changes has spoilt.
template <class Options>
void expectRefused(const Image& image, Bytes encode(const Image&, const Options&),
                   std::initializer_list<std::function<void(std::common_type_t<Options>*)>> changes) {
  for (const auto& change : changes) {
    const Error e = refusal([&] {
      Options o;
      change(&o);
      encode(image, o);
    });
    EXPECT_EQ(e.kind(), ErrorKind::argument) << &change - changes.begin() << ": " << e.what();
  }
}

TEST(Arguments, OfPictures) {
  const Image image = picture(9, 7, ColourModel::rgb);
  const std::function<void()> bad[] = {[] { Image(0, 1, ColourModel::grey); },
                                       [] { Image(1, 1, ColourModel::grey, 17); },
                                       [&] { crop(image, 5, 0, 5, 1); },
                                       [&] { oriented(image, 9); },
                                       [&] { converted(image, ColourModel::cmyk); },
                                       [&] { converted(image, ColourModel::rgb, 17); },
                                       [&] { difference(image, picture(9, 8, ColourModel::rgb)); }};
  for (const auto& action : bad) EXPECT_EQ(refusal(action).kind(), ErrorKind::argument) << &action - bad;
}

TEST(Arguments, OfJpeg) {
  using O = JpegEncodeOptions;
  const Image rgb = picture(20, 9, ColourModel::rgb);
  const auto lossless = [](O* o) { o->process = JpegProcess::lossless; };
  expectRefused(rgb, encodeJpeg,
                {[](O* o) { o->quality = 0; }, [](O* o) { o->quality = 101; }, [](O* o) { o->restartInterval = 65536; },
                 [](O* o) { o->restartInterval = -1; }, [&](O* o) { lossless(o), o->pointTransform = -1; },
                 [&](O* o) { lossless(o), o->pointTransform = 8; }, [&](O* o) { lossless(o), o->predictor = 0; },
                 [&](O* o) { lossless(o), o->predictor = 8; },
                 [&](O* o) { lossless(o), o->restartInterval = 30; },  // one and a half rows
                 [&](O* o) { lossless(o), o->restartRows = 4000; }});
  EXPECT_TRUE(parseScanScript("").empty());
  for (const char* script :
       {"", "0;1", "0,1,2: 0-0,0,0; 0: 1-63", "0,1,2: 0-5,0,0", "0,1,2: 0-0,0,1; 0,1: 1-63,0,0",
        "0: 1-63,0,0; 0,1,2: 0-0,0,0", "0,1,2: 0-0,0,2; 0: 0-0,2,0", "0,1,2: 0-0,0,0; 0,1,2: 0-0,0,0", "0,1,2: 0-0,1,0",
        "0,1,2: 0-0,0,14", "0,1,3: 0-0,0,0", "1,0,2: 0-0,0,0", "0,1,2: 0-0,0,0 0", "0,1,2: 0-0,0,999", "x",
        "0,1,2,3,4: 0-0,0,0", "0,1,2: 0-0,0,0; 0: 1-64,0,0", "0: 1-"}) {
    SCOPED_TRACE(script);
    expectRefused(rgb, encodeJpeg, {[&](O* o) {
                    o->process = JpegProcess::progressive;
                    o->script = parseScanScript(script);
                    if (!*script) o->script = {JpegScan()};
                  }});
  }
  for (const ColourModel model : {ColourModel::greyAlpha, ColourModel::rgba})
    EXPECT_EQ(refusal([&] { encodeJpeg(picture(9, 9, model)); }).kind(), ErrorKind::unsupported);
  EXPECT_THROW(encodeJpeg(Image(8, 8, ColourModel::grey, 12)), Error);
  EXPECT_THROW(encodeJpeg(Image(65536, 1, ColourModel::grey)), Error);
  const Bytes file = encodeJpeg(rgb);
  JpegDecodeOptions third;
  third.scaleDenominator = 3;
  EXPECT_EQ(refusal([&] { decodeJpeg(file.data(), file.size(), third); }).kind(), ErrorKind::argument);
}

TEST(Arguments, OfJpegCoefficients) {
  using C = JpegCoefficients;
  const Bytes file = encodeJpeg(picture(20, 9, ColourModel::rgb));
  const C whole = readJpegCoefficients(file.data(), file.size());
  const std::function<void(C*)> changes[] = {
      [](C* c) { c->components[1].h = -1; }, [](C* c) { c->components[1].h = 0; },
      [](C* c) { c->components[1].h = 5; },  [](C* c) { c->components[2].v = -1; },
      [](C* c) { c->components[2].v = 0; },  [](C* c) { c->components[2].v = 5; },
      [](C* c) { c->components[1].id = 1; }, [](C* c) { c->components[0].id = 256; },
      [](C* c) { c->components.clear(); },   [](C* c) { c->components[0].values = ZeroedVector<int16_t>(64); },
      [](C* c) { c->width = 65536; },        [](C* c) { c->components[0].storedHigh = 1; },
      [](C* c) { c->width += 100; },         [](C* c) { c->precision = 10; }};
  for (const auto& change : changes) {
    C c = whole;
    change(&c);
    EXPECT_EQ(refusal([&] { writeJpegCoefficients(c); }).kind(), ErrorKind::argument) << &change - changes;
    if (&change - changes < 6) {
      EXPECT_THROW(c.allocate(), Error) << &change - changes;
    }
  }
}

TEST(Arguments, OfJpeg2000) {
  using O = Jpeg2000EncodeOptions;
  const Image rgb = picture(20, 9, ColourModel::rgb);
  expectRefused(rgb, encodeJpeg2000,
                {[](O* o) { o->levels = 33; }, [](O* o) { o->levels = -1; }, [](O* o) { o->layers = 0; },
                 [](O* o) { o->lossless = false, o->rate = o->psnr = 1; }, [](O* o) { o->rate = 1; },
                 [](O* o) { o->progression = Progression(5); }, [](O* o) { o->codeBlockWidth = 2; },
                 [](O* o) { o->codeBlockHeight = 128; }, [](O* o) { o->codeBlockWidth = 48; },
                 [](O* o) { o->codeBlockWidth = 1024; }, [](O* o) { o->precinct = 1 << 16; },
                 [](O* o) { o->precinct = 3; }, [](O* o) { o->tileWidth = -1; }, [](O* o) { o->style = 64; }});
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
  expectRefused(rgb, encodeTiff,
                {[](O* o) { o->rowsPerStrip = -1; }, [](O* o) { o->dotsPerInch = 0; }, [](O* o) { o->level = 13; },
                 [](O* o) { o->compression = TiffCompression(7); }, [](O* o) { o->tileWidth = 16; },
                 [](O* o) { o->tileWidth = o->tileHeight = 40; }});
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
  expectRefused(rgb, encodePng, {[](PngEncodeOptions* o) { o->level = 10; }});
  EXPECT_EQ(refusal([&] { encodePng(picture(2, 2, ColourModel::cmyk)); }).kind(), ErrorKind::unsupported);
}

}  // namespace
