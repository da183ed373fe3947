// JPEG 2000 beside an independent implementation: what we write it reads, sample for sample, and the other way round.
#include "jpeg2000/jpeg2000.h"

#include <lcms2.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <random>

#include "common/bytes.h"
#include "files.h"
#include "opj_peer.h"

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::expectEqual;
using zeltest::joined;
using zeltest::part;
using zeltest::picture;

namespace {

Image decoded(const Bytes& file, const Jpeg2000DecodeOptions& options = {}) {
  return decodeJpeg2000(file.data(), file.size(), options);
}

Jpeg2000Components componentsOf(const Bytes& file, const Jpeg2000DecodeOptions& options = {}) {
  return decodeJpeg2000Components(file.data(), file.size(), options);
}

// The largest difference between two decoders' components.
int largest(const Jpeg2000Components& a, const Jpeg2000Components& b) {
  if (a.components.size() != b.components.size()) return INT32_MAX;
  int most = 0;
  for (size_t c = 0; c < a.components.size(); ++c) {
    const auto &p = a.components[c], &q = b.components[c];
    const auto form = [](const auto& k) { return std::tie(k.width, k.height, k.precision, k.isSigned); };
    if (form(p) != form(q)) return INT32_MAX;
    for (size_t i = 0; i < p.samples.size(); ++i) most = std::max(most, std::abs(p.samples[i] - q.samples[i]));
  }
  return most;
}

int largestReading(const Bytes& file, int reduce = 0) {
  Jpeg2000DecodeOptions o;
  o.reduce = reduce;
  return largest(componentsOf(file, o), peer::decode(file, reduce));
}

TEST(Jpeg2000, EveryStyleWithoutLossBothWays) {
  const Image image = picture(131, 97, ColourModel::rgb);
  Jpeg2000EncodeOptions o;
  const Jpeg2000Components components = componentsOf(encodeJpeg2000(image, o));
  for (int style = 0; style < 64; ++style) {
    SCOPED_TRACE("style " + std::to_string(style));
    o.style = style;
    o.codeBlockWidth = style % 3 ? 64 : 16;
    o.codeBlockHeight = style % 5 ? 32 : 8;
    const Bytes ours = encodeJpeg2000(image, o);
    expectEqual(image, decoded(ours));
    ASSERT_EQ(largest(components, peer::decode(ours)), 0) << "read by the peer";
    const Bytes theirs = peer::encode(components, [&](opj_cparameters_t* p) {
      p->mode = style;
      p->cblockw_init = style % 2 ? 64 : 32;
      p->cblockh_init = style % 7 ? 64 : 4;
    });
    ASSERT_EQ(largest(components, componentsOf(theirs)), 0) << "of the peer";
  }
}

TEST(Jpeg2000, SizesDepthsTilesAndOrders) {
  int run = 0;
  for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {1, 9}, {17, 1}, {64, 64}, {101, 67}})
    for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
      for (const int bits : {1, 5, 8, 12, 16}) {
        SCOPED_TRACE("run " + std::to_string(++run));
        Jpeg2000EncodeOptions o;
        o.levels = run % 7;
        o.progression = static_cast<Progression>(run % 5);
        o.layers = 1 + run % 3;
        o.precinct = run % 4 == 0 ? 32 : 0;
        o.tileWidth = run % 3 == 0 ? 33 : 0;
        o.tileHeight = run % 3 == 0 ? 40 : 0;
        o.sop = run & 1;
        o.eph = run & 2;
        o.jp2 = run & 4;
        const Image image = picture(w, h, model, bits);
        const Bytes file = encodeJpeg2000(image, o);
        if (model != ColourModel::cmyk || o.jp2) expectEqual(image, decoded(file));
        ASSERT_EQ(largestReading(file), 0);
        ASSERT_EQ(largestReading(file, o.levels > 1 && w > 1 && h > 1 ? 2 : 0), 0);
        o.lossless = false;
        ASSERT_LE(largestReading(encodeJpeg2000(image, o)), bits < 16 ? 1 : 8);
      }
}

// What only the peer writes: origins that are not zero, subsampled and signed components, layers, changes of the
// progression, regions of interest, tile-parts.
TEST(Jpeg2000, WhatThePeerWrites) {
  for (int run = 0; run < 40; ++run) {
    Jpeg2000Components in;
    in.x0 = run % 4 * 5;
    in.y0 = run % 3 * 7;
    in.x1 = in.x0 + 90 + run;
    in.y1 = in.y0 + 75 + run % 5;
    const bool halved = run % 4 == 1, isSigned = run % 5 == 2;
    const int count = run % 3 == 2 ? 1 : 3, precision = run % 7 == 3 ? 12 : run % 7 == 5 ? 16 : 8;
    for (int c = 0; c < count; ++c) {
      const int d = halved && c ? 2 : 1;
      const int width = (in.x1 + d - 1) / d - (in.x0 + d - 1) / d, height = (in.y1 + d - 1) / d - (in.y0 + d - 1) / d;
      const Image plane = picture(width, height, ColourModel::grey, precision);
      in.components.push_back({width, height, d, d, precision, isSigned, {}});
      for (int i = 0; i < width * height; ++i)
        in.components.back().samples.push_back(plane.sample(i / width, i % width) - (isSigned << precision) / 2);
    }
    const Bytes file = peer::encode(in, [&](opj_cparameters_t* p) {
      p->irreversible = run % 2;
      p->tcp_mct = count == 3 && !halved;
      p->numresolution = 1 + run % 6;
      p->prog_order = static_cast<OPJ_PROG_ORDER>(run % 5);
      p->image_offset_x0 = in.x0;
      p->image_offset_y0 = in.y0;
      p->subsampling_dx = p->subsampling_dy = 1;
      p->csty = (run % 3 == 0 ? 2 | 4 : 0) | (run % 5 == 4);
      p->res_spec = 2;
      p->prcw_init[0] = p->prch_init[0] = 32;
      p->prcw_init[1] = p->prch_init[1] = 16;
      p->tile_size_on = run % 4 == 3;
      p->cp_tdx = 37;
      p->cp_tdy = 50;
      p->roi_compno = run % 6 ? -1 : 0;
      p->roi_shift = 5;
      p->tp_on = run % 8 == 7;
      p->tp_flag = 'R';
      if (run % 3 == 1) {
        p->tcp_numlayers = 3;
        const float rates[] = {20, 8, 1};
        std::copy_n(rates, 3, p->tcp_rates);
      }
      if (run % 5 == 3 && run % 4 != 3 && count == 3) {  // the lowest resolution, then the others in another order
        p->numpocs = 2;
        p->POC[0] = {};
        p->POC[0].tile = 1;
        p->POC[0].resno1 = 1;
        p->POC[0].compno1 = 3;
        p->POC[0].layno1 = static_cast<OPJ_UINT32>(p->tcp_numlayers);
        p->POC[0].prg1 = OPJ_RLCP;
        p->POC[1] = p->POC[0];
        p->POC[1].resno1 = static_cast<OPJ_UINT32>(p->numresolution);
        p->POC[1].resno0 = 1;
        p->POC[1].prg1 = OPJ_CPRL;
      }
    });
    const Jpeg2000Components back = componentsOf(file);
    ASSERT_LE(largest(back, peer::decode(file)), run % 2 == 0 ? 0 : precision < 16 ? 1 : 8) << "run " << run;
    ASSERT_TRUE(run % 2 || run % 3 == 1 || largest(in, back) == 0) << "run " << run;
  }
}

// Codestreams with parameters of components, regions of interest, changes of the progression, tile-parts and packed
// packet headers, from which the fuzz target starts. The peer refuses packed headers that several tile-parts bring.
TEST(Jpeg2000, SeedsAsThePeerReadsThem) {
  int compared = 0;
  for (const auto& entry : std::filesystem::directory_iterator(ZELJ_SEEDS "/jpeg2000_fuzz")) {
    const std::string path = entry.path().string();
    const auto named = [&](const char* word) { return path.find(word) != std::string::npos; };
    if (!named(".j2k") || (named("-pp") && named("2parts"))) continue;
    EXPECT_LE(largestReading(zeltest::fileBytes(path)), named("lossless") ? 0 : 1) << path;
    ++compared;
  }
  EXPECT_GT(compared, 20);
}

TEST(Jpeg2000, RatesAndQualitiesAreKept) {
  const Image image = picture(300, 200, ColourModel::rgb);
  double before = 0;
  for (const double rate : {0.5, 1.0, 3.0}) {
    Jpeg2000EncodeOptions o;
    o.lossless = false;
    o.rate = rate;
    o.layers = 3;
    const Bytes file = encodeJpeg2000(image, o);
    const double bits = 8 * double(file.size()) / (300 * 200);
    EXPECT_LE(bits, rate) << bits;
    EXPECT_GT(bits, 0.97 * rate) << bits;
    const double psnr = difference(image, decoded(file)).psnr;
    EXPECT_GT(psnr, before + 2);
    before = psnr;
    // A layer fewer is half the rate: worse, but a picture.
    Jpeg2000DecodeOptions d;
    d.maxLayers = 2;
    const double fewer = difference(image, decoded(file, d)).psnr;
    EXPECT_LT(fewer, psnr);
    EXPECT_GT(fewer, psnr - 12);
    // Our rate control beside the peer's at the same size.
    const Bytes theirs = peer::encode(componentsOf(encodeJpeg2000(image)), [&](opj_cparameters_t* p) {
      p->irreversible = 1;
      p->tcp_rates[0] = float(24 / bits);
    });
    EXPECT_GT(psnr, difference(image, decoded(theirs)).psnr - 0.3) << rate;
  }
  for (const double psnr : {30.0, 38.0, 45.0}) {
    Jpeg2000EncodeOptions o;
    o.lossless = false;
    o.psnr = psnr;
    EXPECT_NEAR(difference(image, decoded(encodeJpeg2000(image, o))).psnr, psnr, 0.6);
  }
}

TEST(Jpeg2000, DamageIsToldOrPassedOver) {
  const Image image = picture(120, 100, ColourModel::rgb);
  Jpeg2000EncodeOptions o;
  o.style = kSegmentation | kPredictable | kTerminate;
  o.codeBlockWidth = o.codeBlockHeight = 16;
  o.jp2 = false;
  const Bytes file = encodeJpeg2000(image, o);
  Jpeg2000DecodeOptions keep;
  keep.keepGoing = true;
  std::vector<std::string> warnings;
  keep.warnings = &warnings;
  double best = HUGE_VAL;
  EXPECT_EQ(difference(image, decoded(part(file, 0, file.size() - 2), keep)).differing, 0u);  // the end marker alone
  EXPECT_EQ(warnings.size(), 1u);
  for (size_t n = file.size() - 3; n > file.size() / 4; n -= file.size() / 16) {
    const Bytes early = part(file, 0, n);
    EXPECT_NE(zeltest::refusal([&] { decoded(early); }).offset(), Error::kNowhere) << n;
    warnings.clear();
    const double psnr = difference(image, decoded(early, keep)).psnr;
    EXPECT_FALSE(warnings.empty());
    EXPECT_LE(psnr, best + 1e-9);
    best = psnr;
    EXPECT_GT(psnr, 8);
  }
  int told = 0;
  for (size_t at = file.size() / 2; at < file.size() / 2 + 40; ++at) {
    Bytes bad = file;
    bad[at] ^= 0x24;
    try {
      decoded(bad);
    } catch (const Error&) {
      ++told;
    }
  }
  EXPECT_GT(told, 30);
}

Bytes box(const std::string& type, const Bytes& content) {
  return joined({{0, 0, 0, uint8_t(content.size() + 8)}, {type.begin(), type.end()}, content});
}

// A JP2 file of header boxes and the codestream of a picture without loss.
Bytes jp2Of(const Image& image, const Bytes& header) {
  Jpeg2000EncodeOptions plain;
  plain.jp2 = false;
  return joined({box("jP  ", {13, 10, 0x87, 10}),
                 box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}),
                 box("jp2h", header),
                 {0, 0, 0, 0, 'j', 'p', '2', 'c'},
                 encodeJpeg2000(image, plain)});
}

// A file has one palette at most. A second one with more columns than the first would be read with the first one's
// entries.
TEST(Jpeg2000, ASecondPaletteIsRefused) {
  const Image grey = picture(20, 20, ColourModel::grey);
  const Bytes one = box("pclr", {0, 2, 1, 7, 10, 200});
  const Bytes three = box("pclr", {0, 2, 3, 7, 7, 7, 1, 2, 3, 4, 5, 6});
  const Bytes mapping = box("cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2});
  EXPECT_EQ(ColourModel::rgb, decoded(jp2Of(grey, joined({three, mapping}))).model());
  EXPECT_THROW(decoded(jp2Of(grey, joined({one, three, mapping}))), Error);
  const Bytes deep = box("pclr", joined({{0, 1, 3, 127, 127, 127}, Bytes(48, 0)}));
  EXPECT_THROW(decoded(jp2Of(grey, joined({deep, mapping}))), Error);
}

// CIELab beside Little CMS: with the usual ranges and with others, which the box then gives.
TEST(Jpeg2000, LabBecomesRgb) {
  const cmsHPROFILE lab = cmsCreateLab4Profile(nullptr), screen = cmsCreate_sRGBProfile();
  const cmsHTRANSFORM transform =
      cmsCreateTransform(lab, TYPE_Lab_DBL, screen, TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
  const Image image = picture(61, 20, ColourModel::rgb);
  const Bytes space = {1, 0, 0, 0, 0, 0, 14};
  Bytes numbers;  // range and offset of each channel, then the illuminant
  for (const uint8_t n : Bytes{90, 0, 200, 140, 255, 128}) numbers = joined({numbers, {0, 0, 0, n}});
  numbers = joined({numbers, {0, 'D', '5', '0'}});
  for (const bool given : {false, true}) {
    const Image seen = decoded(jp2Of(image, box("colr", given ? joined({space, numbers}) : space)));
    for (int y = 0; y < 20; ++y)
      for (int x = 0; x < 61; ++x) {
        const uint8_t *const p = image.row(y) + 3 * x, *const q = seen.row(y) + 3 * x;
        const cmsCIELab colour = {p[0] * (given ? 90 : 100) / 255.0,
                                  given ? (p[1] - 140) * 200 / 255.0 : (p[1] - 128) * 170 / 255.0,
                                  given ? p[2] - 128 : (p[2] - 96) * 200 / 255.0};
        uint8_t want[3];
        cmsDoTransform(transform, &colour, want, 1);
        for (int i = 0; i < 3; ++i) ASSERT_NEAR(q[i], want[i], 1) << given << ' ' << x << ' ' << y << ' ' << i;
      }
  }
  cmsDeleteTransform(transform);
  cmsCloseProfile(lab);
  cmsCloseProfile(screen);
}

TEST(Jpeg2000, ColoursAreFreedOfTheirOpacity) {
  Image image(3, 1, ColourModel::greyAlpha);
  const uint8_t stored[] = {50, 100, 100, 100, 7, 0};
  std::copy(stored, stored + 6, image.data());
  const Bytes grey = box("colr", {1, 0, 0, 0, 0, 0, 17});
  for (const uint8_t type : Bytes{1, 2}) {
    const Image seen =
        decoded(jp2Of(image, joined({grey, box("cdef", {0, 2, 0, 0, 0, 0, 0, 1, 0, 1, 0, type, 0, 0})})));
    EXPECT_EQ(Bytes(seen.data(), seen.data() + 6),
              type == 1 ? Bytes(stored, stored + 6) : (Bytes{128, 100, 255, 100, 0, 0}));
  }
}

// The profile of inks goes into a box that other readers pass over; they find the enumerated space behind it.
TEST(Jpeg2000, InkKeepsItsProfile) {
  Image ink = picture(16, 9, ColourModel::cmyk);
  ink.metadata().icc = Bytes(200, 1);
  std::memcpy(&ink.metadata().icc[16], "CMYK", 4);
  const Bytes file = encodeJpeg2000(ink, {});
  const Image back = decoded(file);
  expectEqual(ink, back);
  EXPECT_EQ(back.metadata().icc, ink.metadata().icc);
  EXPECT_EQ(largest(componentsOf(file), peer::decode(file)), 0);
}

TEST(Jpeg2000, RowsAndRegionsAreThoseOfTheWhole) {
  const Image image = picture(211, 173, ColourModel::rgb);
  for (int run = 0; run < 24; ++run) {
    SCOPED_TRACE("run " + std::to_string(run));
    Jpeg2000EncodeOptions e;
    e.lossless = run % 2;
    e.levels = run % 6;
    e.tileWidth = run % 3 ? 64 : 0;
    e.tileHeight = run % 3 == 2 ? 48 : 0;
    e.codeBlockWidth = e.codeBlockHeight = 8;
    e.precinct = run % 4 == 3 ? 32 : 0;
    e.layers = 1 + run % 2;
    Bytes file = zeltest::writtenInBands(image, [&](Sink& s) { return createJpeg2000(s, image.format(), {}, e); });
    ASSERT_TRUE(file == encodeJpeg2000(image, e));
    if (run % 4 == 1) {  // rows of tiles that are not of one height; or two, of which the first is the lower
      Jpeg2000Components in = componentsOf(file);
      const int down = run % 8 == 5 ? 90 : 0;
      in.y0 += down;
      in.y1 += down;
      file = peer::encode(in, [&](opj_cparameters_t* p) {
        p->image_offset_y0 = in.y0;
        p->cp_tx0 = p->cp_ty0 = 0;
        p->tile_size_on = 1;
        p->cp_tdx = 50;
        p->cp_tdy = down ? 140 : 37;
      });
    }
    Jpeg2000DecodeOptions d;
    d.reduce = std::min(e.levels, run % 4);
    const Image whole = decoded(file, d);
    expectEqual(whole, zeltest::readInBands(file, d, openJpeg2000));
    std::mt19937 random(static_cast<unsigned>(run));
    for (int k = 0; k < 6; ++k) {
      Region& r = d.region;
      r.x = int(random() % unsigned(whole.width()));
      r.y = int(random() % unsigned(whole.height()));
      r.width = 1 + int(random() % unsigned(whole.width() - r.x));
      r.height = 1 + int(random() % unsigned(whole.height() - r.y));
      expectEqual(crop(whole, r.x, r.y, r.width, r.height), zeltest::readInBands(file, d, openJpeg2000));
    }
  }
}

TEST(Jpeg2000, OpacityAndMetadataTravel) {
  for (const ColourModel model : {ColourModel::greyAlpha, ColourModel::rgba, ColourModel::rgb})
    for (const bool lossless : {true, false}) {
      Image image = picture(60, 50, model);
      image.metadata() = zeltest::everyMetadata();
      if (model == ColourModel::greyAlpha) std::copy_n("GRAY", 4, image.metadata().icc.begin() + 16);
      Jpeg2000EncodeOptions o;
      o.lossless = lossless;
      std::vector<std::string> warnings;
      o.warnings = &warnings;
      const Bytes file = encodeJpeg2000(image, o);
      EXPECT_TRUE(warnings.empty());
      const Image back = decoded(file);
      ASSERT_EQ(back.model(), model);
      EXPECT_GT(difference(image, back).psnr, lossless ? 1000 : 40);
      EXPECT_LE(largestReading(file), lossless ? 0 : 1);
      zeltest::expectSameMetadata(back.metadata(), image.metadata());
      o.jp2 = false;
      EXPECT_EQ(decoded(encodeJpeg2000(image, o)).model(), model);  // taken for opacity, though nothing says so
      EXPECT_EQ(warnings.size(), hasOpacity(model) ? 2u : 1u);
    }
}

// Codestreams by hand: a size of one tile, components, a style with its precincts, further segments.
Bytes codestream(int side, int tileSide, int components, int d, const Bytes& style, const Bytes& more) {
  Bytes file;
  ByteWriter w(&file);
  for (const int v : {0xFF4F, 0xFF51, 38 + 3 * components, 0}) w.u16(uint32_t(v));
  for (const int v : {side, side, 0, 0, tileSide, tileSide, 0, 0}) w.u32(uint32_t(v));
  w.u16(uint32_t(components));
  for (int i = 0; i < components; ++i) w.bytes({7, uint8_t(d), uint8_t(d)});
  w.u16(0xFF52);
  w.u16(uint32_t(style.size() + 2));
  return joined({file, style, {0xFF, 0x5C, 0, 4, 0x40, 0x40}, more});
}
Bytes u16(size_t v) { return {uint8_t(v >> 8), uint8_t(v)}; }
Bytes tilePart(size_t tile, const Bytes& data) {
  const size_t length = 14 + data.size();
  return joined({{0xFF, 0x90, 0, 10}, u16(tile), u16(length >> 16), u16(length), {0, 1, 0xFF, 0x93}, data});
}

// What a header claims costs nothing: little memory may be held, and little time is taken.
TEST(Jpeg2000, ClaimsCostNothing) {
  const Bytes plain = {0, 0, 0, 1, 0, 0, 4, 4, 0, 1}, fine = {1, 0, 0, 1, 0, 0, 4, 4, 0, 1, 0};
  const Bytes end = {0xFF, 0xD9};
  const Bytes blank = joined({codestream(16383, 16383, 3, 1, plain, tilePart(0, {0, 0, 0})), end});
  Bytes orders, quantisations, tiles;  // the same precincts again and again; steps for 16384 components; tiles
  for (int i = 0; i < 9000; ++i) orders = joined({orders, {0, 0, 0, 1, 33, 255, 0}});
  for (int i = 0; i < 3000; ++i) quantisations = joined({quantisations, {0xFF, 0x5C, 0, 4, 0x40, 0x40}});
  for (size_t i = 0; i < 484; ++i) tiles = joined({tiles, tilePart(i, {})});
  const Bytes changes = joined({{0xFF, 0x5F}, u16(orders.size() + 2), orders});
  // A coded block in the smallest blocks of one precinct.
  const Bytes small = {1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0xFF};
  const Bytes files[] = {blank,
                         codestream(16383, 16383, 4, 1, plain, tilePart(0, {})),
                         codestream(720, 720, 1, 1, fine, joined({changes, tilePart(0, {0, 0, 0, 0})})),
                         codestream(1, 1, 16384, 255, plain, joined({quantisations, tilePart(0, {})})),
                         codestream(15840, 720, 1, 1, fine, tiles),
                         codestream(16000, 16000, 1, 1, small, tilePart(0, Bytes(1000, 0xC0)))};
  for (const Bytes& file : files)
    for (const bool keepGoing : {false, true}) {
      SCOPED_TRACE(&file - files);
      Jpeg2000DecodeOptions o;
      o.keepGoing = keepGoing;
      o.threads = 1;
      o.limits.maxMemory = 64 << 20;
      o.region = {0, 0, 1, 1};
      const std::clock_t start = std::clock();  // of the processor: other programs do not count
      bool done = false;
      try {
        for (o.region.y = 0; o.region.y < 2 && !done; o.region = {})  // a corner, then all rows, which are not held
          if (const auto source = memorySource(file.data(), file.size()); true) {
            const auto decoder = openJpeg2000(*source, o);
            Bytes rows(decoder->format().rowBytes() * 64);
            for (int n; (n = std::min(64, decoder->rowsLeft())) > 0;)
              decoder->read({rows.data(), decoder->format().rowBytes(), n});
            done = o.region.whole();
          }
      } catch (const Error& e) {
        EXPECT_TRUE(!keepGoing || e.kind() == ErrorKind::limit) << e.what();
      }
      EXPECT_TRUE(done || &file != files);
      const double taken = double(std::clock() - start) / CLOCKS_PER_SEC;
      EXPECT_LT(taken, 10);  // some tenths of a second without sanitizers on an idle machine
    }
  // Packets that have come already are named again without end, while bytes are left.
  const Bytes again = codestream(90, 90, 1, 1, fine, joined({changes, tilePart(0, Bytes(8200, 0)), end}));
  EXPECT_EQ(zeltest::refusal([&] { decoded(again); }).kind(), ErrorKind::damaged);
  // Samples are counted before memory is taken, and the message names the limit.
  Jpeg2000DecodeOptions o;
  o.limits.maxMemory = 100000;
  const Bytes file = encodeJpeg2000(picture(300, 200, ColourModel::rgb));
  const Error refused = zeltest::refusal([&] { decoded(file, o); });
  EXPECT_EQ(refused.kind(), ErrorKind::limit);
  EXPECT_NE(std::string(refused.what()).find("maxMemory"), std::string::npos);
}

// What breaks a rule but can be understood is decoded with a warning; what cannot is refused.
TEST(Jpeg2000, OddFilesAsPeersReadThem) {
  Jpeg2000EncodeOptions e;
  e.jp2 = false;
  const Image image = picture(33, 40, ColourModel::grey);
  const Bytes file = encodeJpeg2000(image, e);
  std::vector<std::string> warnings;
  Jpeg2000DecodeOptions o;
  o.warnings = &warnings;
  const size_t size = 8, cod = 45, qcd = cod + 14;
  ASSERT_TRUE(file[cod + 1] == 0x52 && file[qcd + 1] == 0x5C);
  Bytes odd = file;
  odd[cod + 8] = 1;  // a colour transform of one component
  expectEqual(image, decoded(odd, o));
  EXPECT_EQ(warnings.size(), 1u);
  odd = file;
  for (size_t i = 0; i < 16; ++i) odd[qcd + 5 + i] = uint8_t(odd[qcd + 5 + i] - 8);  // one bit plane fewer in each band
  warnings.clear();
  EXPECT_NO_THROW(decoded(odd, o));
  EXPECT_FALSE(warnings.empty());
  odd = file;  // the second tile is one column wide, where no sample stands: it need not be there
  odd[size + 3] = 66;
  odd[size + 19] = 65;
  odd[43] = 2;
  warnings.clear();
  expectEqual(image, decoded(odd, o));
  EXPECT_TRUE(warnings.empty());
  odd = joined({part(file, 0, cod), {0xFF, 0x5E, 0, 5, 0, 0, 200}, part(file, cod, file.size())});
  EXPECT_EQ(zeltest::refusal([&] { decoded(odd); }).kind(), ErrorKind::damaged);  // raised by 200 planes
}

// Components without boxes: luma and coarser chroma, and distances of which one is not a multiple of the other.
TEST(Jpeg2000, ComponentsOfSeveralDistances) {
  Jpeg2000Components in;
  in.x1 = 60;
  in.y1 = 12;
  const auto add = [&](int d, auto value) {
    const int width = (60 + d - 1) / d, height = (12 + d - 1) / d;
    in.components.push_back({width, height, d, d, 8, false, {}});
    for (int i = 0; i < width * height; ++i) in.components.back().samples.push_back(value(i % width));
  };
  const auto coded = [&] {
    return peer::encode(in, [](opj_cparameters_t* p) {
      p->tcp_mct = 0;
      p->numresolution = 2;
    });
  };
  for (const int sample : {100, 128, 200}) add(sample == 100 ? 1 : 2, [=](int) { return sample; });
  std::vector<std::string> warnings;
  Jpeg2000DecodeOptions o;
  o.warnings = &warnings;
  Image rgb = decoded(coded(), o);
  EXPECT_EQ(warnings.size(), 1u);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(rgb.sample(7, 3 * 20 + i), std::vector<int>({201, 49, 100})[size_t(i)], 1);
  in.components.clear();
  for (const int d : {3, 2, 2}) add(d, [](int x) { return 5 * x; });
  rgb = decoded(coded());
  ASSERT_EQ(rgb.width(), 30);
  for (int x = 0; x < 30; ++x) {
    EXPECT_EQ(rgb.sample(3, 3 * x), 5 * (2 * x / 3));
    EXPECT_EQ(rgb.sample(3, 3 * x + 1), 5 * x);
  }
}

// Raw segments that the peer ends one byte early, where ones would follow.
TEST(Jpeg2000, RawSegmentsWithoutTheirLastByte) {
  std::mt19937 random(1);
  for (int run = 0; run < 8; ++run) {
    Jpeg2000Components in;
    in.x1 = in.y1 = 150;
    in.components.push_back({150, 150, 1, 1, 12, false, {}});
    for (int i = 0; i < 150 * 150; ++i)
      in.components[0].samples.push_back(int(random() & (run % 2 ? 0x3FF : 0xFF)) | 0x70);
    const Bytes file = peer::encode(in, [&](opj_cparameters_t* p) {
      p->mode = run % 4 < 2 ? 1 : 5;
      p->cblockw_init = p->cblockh_init = run < 4 ? 16 : 32;
    });
    ASSERT_EQ(largest(in, componentsOf(file)), 0) << "run " << run;
  }
}

TEST(Jpeg2000, ThreadsChangeNothing) {
  const Image image = picture(200, 150, ColourModel::rgb);
  Jpeg2000EncodeOptions o;
  zeltest::expectThreadsChangeNothing(image, encodeJpeg2000, o, decodeJpeg2000, 2000);
  o.lossless = false;
  o.rate = 2;
  zeltest::expectThreadsChangeNothing(image, encodeJpeg2000, o, decodeJpeg2000, 2000);
}

}  // namespace
