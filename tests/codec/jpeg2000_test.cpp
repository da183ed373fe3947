// JPEG 2000 beside an independent implementation: what we write it reads, sample for sample, and the other way round.
#include "jpeg2000/jpeg2000.h"

#include <cmath>

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

// Packet headers gathered in the tile-part's header: made from a file whose headers lie between markers.
TEST(Jpeg2000, PackedPacketHeaders) {
  Jpeg2000EncodeOptions o;
  o.sop = o.eph = true;
  o.jp2 = false;
  o.layers = 2;
  const Image image = picture(70, 60, ColourModel::grey);
  const Bytes file = encodeJpeg2000(image, o);
  const auto find = [&](size_t from, int second) {
    while (from + 1 < file.size() && !(file[from] == 0xFF && file[from + 1] == second)) ++from;
    return from;
  };
  const size_t sot = find(0, 0x90), data = find(sot, 0x93) + 2;
  for (const bool main : {false, true}) {
    Bytes headers, body;
    for (size_t at = data; file[at] == 0xFF && file[at + 1] == 0x91;) {
      const size_t header = at + 6, end = find(header, 0x92) + 2, next = std::min(find(end, 0x91), file.size() - 2);
      headers = joined({headers, part(file, header, end)});
      body = joined({body, part(file, at, header), part(file, end, next)});
      at = next;
    }
    const auto high = [](size_t n) { return uint8_t(n >> 8); };
    const auto low = [](size_t n) { return uint8_t(n); };
    if (main) headers = joined({{0, 0, high(headers.size()), low(headers.size())}, headers});
    const size_t size = headers.size() + 3;
    const Bytes segment = joined({{0xFF, uint8_t(main ? 0x60 : 0x61), high(size), low(size), 0}, headers}), none;
    const size_t length = 12 + (main ? 0 : segment.size()) + 2 + body.size();  // of the tile-part
    const Bytes packed = joined({part(file, 0, sot),
                                 main ? segment : none,
                                 part(file, sot, sot + 6),
                                 {0, 0, high(length), low(length)},
                                 part(file, sot + 10, sot + 12),
                                 main ? none : segment,
                                 {0xFF, 0x93},
                                 body,
                                 {0xFF, 0xD9}});
    expectEqual(image, decoded(packed));
    ASSERT_EQ(largestReading(packed), 0);
  }
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

// A file has one palette at most. A second one with more columns than the first would be read with the first one's
// entries.
TEST(Jpeg2000, ASecondPaletteIsRefused) {
  const auto box = [](const std::string& type, const Bytes& content) {
    return joined({{0, 0, 0, uint8_t(content.size() + 8)}, {type.begin(), type.end()}, content});
  };
  Jpeg2000EncodeOptions plain;
  plain.jp2 = false;
  const Bytes codestream = encodeJpeg2000(picture(20, 20, ColourModel::grey), plain);
  const Bytes one = box("pclr", {0, 2, 1, 7, 10, 200});
  const Bytes three = box("pclr", {0, 2, 3, 7, 7, 7, 1, 2, 3, 4, 5, 6});
  const Bytes mapping = box("cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2});
  const auto file = [&](const Bytes& palettes) {
    return joined({box("jP  ", {13, 10, 0x87, 10}),
                   box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}),
                   box("jp2h", joined({palettes, mapping})),
                   {0, 0, 0, 0, 'j', 'p', '2', 'c'},
                   codestream});
  };
  EXPECT_EQ(ColourModel::rgb, decoded(file(three)).model());
  EXPECT_THROW(decoded(file(joined({one, three}))), Error);
}

TEST(Jpeg2000, ThreadsChangeNothing) {
  for (const bool lossless : {true, false}) {
    Jpeg2000EncodeOptions o;
    o.lossless = lossless;
    o.rate = lossless ? 0 : 2;
    zeltest::expectThreadsChangeNothing(picture(200, 150, ColourModel::rgb), encodeJpeg2000, o, decodeJpeg2000, 2000);
  }
}

TEST(Jpeg2000, WhatCannotBeIsRefused) {
  const Image image = picture(20, 20, ColourModel::grey);
  using Options = Jpeg2000EncodeOptions;
  const std::pair<int Options::*, int> cases[] = {{&Options::levels, 33},
                                                  {&Options::codeBlockWidth, 48},
                                                  {&Options::codeBlockWidth, 1024},
                                                  {&Options::precinct, 3},
                                                  {&Options::style, 64}};
  for (const auto& [member, value] : cases) {
    Options o;
    o.*member = value;
    EXPECT_THROW(encodeJpeg2000(image, o), Error) << value;
  }
  Options limited;
  limited.rate = 1;  // without loss
  EXPECT_THROW(encodeJpeg2000(image, limited), Error);
  Jpeg2000DecodeOptions d;
  d.reduce = 6;
  EXPECT_THROW(decoded(encodeJpeg2000(image), d), Error);
}

}  // namespace
