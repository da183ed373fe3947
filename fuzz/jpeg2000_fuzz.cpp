// Any bytes through the JPEG 2000 decoder, with and without keep-going, at a size that the bytes choose, and a part of
// the picture.
#include <algorithm>

#include "common/bytes.h"
#include "fuzz.h"
#include "jpeg2000/jpeg2000.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const unsigned choice = choiceOf(data, size);
  Jpeg2000DecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  options.maxLayers = int(choice & 1);
  try {
    const Jpeg2000Info info = readJpeg2000Info(data, size, options.limits);
    options.reduce = int(choice >> 1 & 3) % (info.levels + 1);
  } catch (const Error&) {
  }
  if (choice & 8 && options.reduce == 0) options.region = {int(choice >> 4 & 15), int(choice >> 8 & 15), 16, 8};
  decodeBothWays(decodeJpeg2000, data, size, options);
  return 0;
}

// ---- Files that encodeJpeg2000 does not write, made from those that it does ----
// The codestreams have SOP and EPH around each packet header, so that packets can be found without decoding them.

using Bytes = std::vector<uint8_t>;

static unsigned u16At(const Bytes& b, size_t i) { return unsigned(b[i] << 8 | b[i + 1]); }
static Bytes segment(unsigned marker, const Bytes& body) {
  Bytes s;
  ByteWriter w(&s);
  w.u16(uint16_t(marker));
  w.u16(uint16_t(body.size() + 2));
  w.bytes(body);
  return s;
}
static Bytes box(const char* type, const Bytes& body, bool longLength = false) {
  Bytes b;
  ByteWriter w(&b);
  w.u32(longLength ? 1 : uint32_t(body.size() + 8));
  w.bytes(Bytes(type, type + 4));
  if (longLength) w.u64(body.size() + 16);
  w.bytes(body);
  return b;
}
template <class... Parts>
static Bytes joined(const Parts&... parts) {
  Bytes all;
  (all.insert(all.end(), parts.begin(), parts.end()), ...);
  return all;
}

struct Codestream {
  struct Packet {
    Bytes sop, header, body;  // the header with EPH
  };
  Bytes mainHeader;  // from SOC on
  std::vector<std::vector<Packet>> tiles;
};

static Bytes bodyOf(const Bytes& header, unsigned marker) {
  size_t at = 2;
  while (u16At(header, at) != marker) at += 2 + u16At(header, at + 2);
  return {header.begin() + long(at + 4), header.begin() + long(at + 2 + u16At(header, at + 2))};
}

static Codestream parsed(const Bytes& file) {
  const auto at = [&](size_t i) { return file.begin() + long(i); };
  const auto next = [&](size_t from, unsigned marker, size_t end) {
    while (from < end && u16At(file, from) != marker) ++from;
    return from;
  };
  Codestream c;
  size_t tile = 2;
  while (u16At(file, tile) != 0xFF90) tile += 2 + u16At(file, tile + 2);
  c.mainHeader.assign(file.begin(), at(tile));
  while (u16At(file, tile) == 0xFF90) {
    const size_t end = tile + (u16At(file, tile + 6) << 16 | u16At(file, tile + 8));
    c.tiles.emplace_back();
    for (size_t p = next(tile, 0xFF91, end); p < end;) {
      const size_t body = next(p + 6, 0xFF92, end) + 2, after = next(body, 0xFF91, end);
      c.tiles.back().push_back({{at(p), at(p + 6)}, {at(p + 6), at(body)}, {at(body), at(after)}});
      p = after;
    }
    tile = end;
  }
  return c;
}

enum class Headers { inPlace, ofTileParts, ofAll };  // packet headers where they were, in PPT, in PPM

// The codestream with other segments in its main header, its tiles in so many tile parts, one part of each in turn.
static Bytes written(const Codestream& c, const Bytes& segments, Headers headers, size_t parts) {
  Bytes body, packed;
  for (size_t part = 0; part < parts; ++part)
    for (size_t t = 0; t < c.tiles.size(); ++t) {
      const auto& packets = c.tiles[t];
      Bytes data, moved, ppt;
      for (size_t p = packets.size() * part / parts; p < packets.size() * (part + 1) / parts; ++p) {
        moved = joined(moved, packets[p].header);
        data = joined(data, packets[p].sop, headers == Headers::inPlace ? packets[p].header : Bytes(), packets[p].body);
      }
      if (headers == Headers::ofTileParts) ppt = segment(0xFF61, joined(Bytes{0}, moved));
      ByteWriter(&packed).u32(uint32_t(moved.size()));
      packed = joined(packed, moved);
      Bytes sot;
      ByteWriter w(&sot);
      w.u16(uint16_t(t));
      w.u32(uint32_t(12 + ppt.size() + 2 + data.size()));
      w.u16(uint16_t(part << 8 | parts));
      body = joined(body, segment(0xFF90, sot), ppt, Bytes{0xFF, 0x93}, data);
    }
  const Bytes ppm = headers == Headers::ofAll ? segment(0xFF60, joined(Bytes{0}, packed)) : Bytes();
  return joined(c.mainHeader, segments, ppm, body, Bytes{0xFF, 0xD9});
}

static void addCodestreams(std::vector<Bytes>* files) {
  Jpeg2000EncodeOptions o;
  o.jp2 = false;
  o.sop = o.eph = true;
  o.levels = 2;
  o.layers = 2;
  o.codeBlockWidth = o.codeBlockHeight = 16;
  for (int run = 0; run < 8; ++run) {
    o.progression = run % 2 ? Progression::rlcp : Progression::lrcp;
    o.lossless = run & 2;
    o.tileWidth = o.tileHeight = run & 4 ? 20 : 0;
    const Codestream c = parsed(encodeJpeg2000(zeltest::picture(45, 37, ColourModel::rgb), o));
    const Bytes cod = bodyOf(c.mainHeader, 0xFF52), qcd = bodyOf(c.mainHeader, 0xFF5C);
    // The parameters again, for one component; a region of interest; order changes that come to the same order.
    const Bytes coc = segment(0xFF53, joined(Bytes{1, uint8_t(cod[0] & 1)}, Bytes(cod.begin() + 5, cod.end())));
    const Bytes qcc = segment(0xFF5D, joined(Bytes{2}, qcd)),
                rgn = segment(0xFF5E, {uint8_t(run % 3), 0, uint8_t(run)});
    const Bytes poc = segment(0xFF5F, run % 2 ? Bytes{0, 0, 0, 2, 1, 3, 1, 1, 0, 0, 2, 3, 3, 1}
                                              : Bytes{0, 0, 0, 1, 3, 3, 0, 0, 0, 0, 2, 3, 3, 0});
    files->push_back(written(c, joined(coc, qcc), Headers::inPlace, 1 + size_t(run) % 3));
    files->push_back(written(c, joined(rgn, poc), Headers::ofTileParts, 2));
    files->push_back(written(c, joined(poc, coc, rgn), Headers::ofAll, 1 + size_t(run) % 2));
  }
}

// JP2 files around a codestream of one or three components: palettes, mapping, definitions, depths, other colours.
static void addJp2(std::vector<Bytes>* files) {
  Jpeg2000EncodeOptions o;
  o.jp2 = false;
  o.levels = 1;
  const auto file = [&](ColourModel model, int bits, uint8_t colour, const Bytes& boxes, bool longLength) {
    const Bytes code = encodeJpeg2000(zeltest::picture(45, 37, model, bits), o);
    const uint8_t components = model == ColourModel::grey ? 1 : 3;
    const Bytes header =
        joined(box("ihdr", {0, 0, 0, 37, 0, 0, 0, 45, 0, components, 255, 7, 0, 0}),
               box("bpcc", Bytes(components, uint8_t(bits - 1))), box("colr", {1, 0, 0, 0, 0, 0, colour}), boxes);
    files->push_back(joined(box("jP  ", {13, 10, 0x87, 10}),
                            box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}), box("jp2h", header),
                            box("jp2c", code, longLength)));
  };
  for (const uint8_t columns : {uint8_t{3}, uint8_t{4}})
    for (const int bits : {4, 8}) {
      Bytes palette = {uint8_t(1 << bits >> 8), uint8_t(1 << bits), columns}, mapping;
      for (int c = 0; c < columns; ++c) palette.push_back(c == 1 && bits == 4 ? 11 : 7);
      for (int i = 0; i < 1 << bits; ++i)
        for (int c = 0; c < columns; ++c) {
          if (c == 1 && bits == 4) palette.push_back(uint8_t(i));
          palette.push_back(uint8_t(i * 31 + c * 77));
        }
      for (uint8_t c = 0; c < columns; ++c)
        mapping = joined(mapping, Bytes{0, 0, 1, uint8_t(columns == 3 ? 2 - c : c)});
      const Bytes opacity = {0, 4, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 3, 0, 3, 0, 1, 0, 0};
      file(ColourModel::grey, bits, 16,
           joined(box("pclr", palette), box("cmap", mapping), columns == 4 ? box("cdef", opacity) : Bytes()),
           bits == 4);
    }
  const Bytes reversed = {0, 3, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1};
  file(ColourModel::rgb, 8, 16, box("cdef", reversed), true);
  file(ColourModel::rgb, 8, 18, {}, false);  // sYCC
  file(ColourModel::grey, 12, 17, {}, true);
}

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  for (int run = 0; run < 32; ++run) {
    Jpeg2000EncodeOptions o;
    o.lossless = run % 2;
    o.rate = run % 4 == 0 ? 1.5 : 0;
    o.layers = 1 + run % 3;
    o.levels = run % 4;
    o.style = run * 11 % 64;
    o.codeBlockWidth = 16 << run % 2;
    o.codeBlockHeight = 16;
    o.precinct = run % 5 == 0 ? 32 : 0;
    o.tileWidth = o.tileHeight = run % 3 == 0 ? 30 : 0;
    o.progression = static_cast<Progression>(run % 5);
    o.sop = run % 3 == 1;
    o.eph = run % 4 == 1;
    const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk, ColourModel::greyAlpha,
                                  ColourModel::rgba};
    const ColourModel model = models[run % 5];
    // A codestream alone leaves more than three components, and opacity, to a guess that is warned of.
    o.jp2 = run % 2 || (model != ColourModel::grey && model != ColourModel::rgb);
    Image image = zeltest::picture(45, 37, model, run % 7 == 0 ? 12 : 8);
    image.metadata().orientation = 1 + run % 8;
    image.metadata().comments.assign(size_t(run % 2), "a comment");
    image.metadata().pixelsPerMetreX = image.metadata().pixelsPerMetreY = run % 3 * 1000;
    files.push_back(encodeJpeg2000(image, o));
  }
  addCodestreams(&files);
  addJp2(&files);
  return files;
}
