// Decoding: packets to code blocks, code blocks to bands, bands to samples, components to pictures.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "jpeg2000/blocks.h"
#include "jpeg2000/packet.h"
#include "jpeg2000/reader.h"
#include "common/parallel.h"

namespace zelcodecs {

using namespace jpeg2000;

namespace {

// Fraction bits of the coefficients of irreversible transforms: as many as fit 31 bits beside samples of a precision,
// gains of the transforms and some room; no more than single precision keeps.
int fractionBits(int precision) { return std::max(1, std::min(8, 22 - precision)); }

// The samples of a tile component, or its coefficients: LL at the top left, then HL, LH and HH of each resolution.
struct Plane {
  int width = 0, height = 0, fraction = 0;
  bool real = false;  // the words are of single precision
  std::vector<int32_t> at;
  int step() const { return width * 4; }
  void toReal() {
    const float scale = std::ldexp(1.0f, -fraction);
    for (int32_t& v : at) {
      const float f = float(v) * scale;
      std::memcpy(&v, &f, 4);
    }
    real = true;
  }
};

class TileDecoder {
 public:
  TileDecoder(const Grid& grid, int index, TileData* data, const Jpeg2000DecodeOptions& options, Warnings* warnings)
      : grid_(grid),
        data_(*data),
        parameters_(data->parameters),
        options_(options),
        warnings_(warnings),
        threads_(threadCount(options.threads)),
        tile_(layOut(grid, index, parameters_, (size_t{1} << 20) + 8 * data->packets.size())) {}

  void run(Jpeg2000Components* out) {
    readPackets();
    decodeBlocks();
    forEachPiece(int(planes_.size()), threads_, [&](int c) { transform(size_t(c)); });
    undoColourTransform();
    for (size_t c = 0; c < planes_.size(); ++c) store(c, &out->components[c]);
  }

 private:
  void report(const Error& e) {
    if (!options_.keepGoing) throw Error(e.kind(), inTile(e), data_.offset);
#pragma omp critical(zelcodecs_report)
    warnings_->add(inTile(e), data_.offset);
  }
  static std::string inTile(const Error& e) { return std::string(e.what()) + " in the tile that begins"; }

  void readPackets() {
    const Bytes body = {data_.packets.data(), data_.packets.size()};
    const Bytes headers = {data_.packedHeaders.data(), data_.packedHeaders.size()};
    PacketReader reader(&tile_, parameters_, body, data_.hasPackedHeaders ? &headers : nullptr);
    const int layers = options_.maxLayers ? options_.maxLayers : parameters_.style.layers;
    try {
      PacketOrder(tile_, parameters_).walk([&](const PacketId& id) {
        if (reader.atEnd()) throw Error(ErrorKind::damaged, "packets are missing");
        const int left = parameters_.components[size_t(id.component)].coding.levels - id.resolution;
        reader.read(id, id.layer < layers && left >= options_.reduce);
        return true;
      });
    } catch (const Error& e) {
      report(e);
    }
  }

  void decodeBlocks() {
    struct Item {
      size_t component;
      const Band* band;
      const CodeBlock* block;
    };
    std::vector<Item> items;
    for (size_t c = 0; c < tile_.components.size(); ++c) {
      const TileComponent& tc = tile_.components[c];
      const int shown = parameters_.components[c].coding.levels - options_.reduce;
      const Rect& area = tc.resolutions[size_t(shown)].area;
      Plane p;
      p.width = area.width();
      p.height = area.height();
      p.at.resize(size_t(p.width) * size_t(p.height));
      if (!parameters_.components[c].coding.reversible) p.fraction = fractionBits(grid_.components[c].precision);
      planes_.push_back(std::move(p));
      for (int r = 0; r <= shown; ++r)
        for (const Precinct& precinct : tc.resolutions[size_t(r)].precincts)
          for (const PrecinctBand& pb : precinct.bands)
            for (const CodeBlock& b : pb.blocks)
              if (b.passes) items.push_back({c, &tc.resolutions[size_t(r)].bands[size_t(pb.band)], &b});
    }
    int done = 0;
    forEachPiece(int(items.size()), threads_, [&](int i) {
      const Item& item = items[size_t(i)];
      try {
        decode(item.component, *item.band, *item.block);
      } catch (const Error& e) {
        report(e);
      }
      if (options_.progress && i % 64 == 0) {
#pragma omp critical(zelcodecs_progress)
        options_.progress(std::min(1.0, 64.0 * ++done / double(items.size())));
      }
    });
  }

  void decode(size_t component, const Band& band, const CodeBlock& block) {
    const ComponentStyle& style = parameters_.components[component];
    Plane& plane = planes_[component];
    const bool halves = !style.coding.reversible;
    int32_t words[kMaxBlockSamples];
    const bool whole =
        decodeBlock(block, band.kind, band.planes + style.roiShift, style.coding.blockStyle, halves, words);
    const int width = block.area.width();
    const double scale = halves ? std::ldexp(band.step, plane.fraction - 1) : 1;
    const auto put = [&](auto value) {
      for (int y = 0; y < block.area.height(); ++y) {
        int32_t* const to = &plane.at[size_t(block.planeY + y) * size_t(plane.width) + size_t(block.planeX)];
        for (int x = 0; x < width; ++x) {
          const int32_t word = words[y * width + x];
          int32_t magnitude = word & INT32_MAX;
          // What lies above the shift belongs to the region of interest (T.800 H.1).
          if (style.roiShift && magnitude >> (style.roiShift + halves)) magnitude >>= style.roiShift;
          const int32_t v = value(magnitude);
          to[x] = word < 0 ? -v : v;
        }
      }
    };
    if (halves) {
      const float f = float(scale);
      put([f](int32_t m) { return int32_t(std::min(float(m) * f + 0.5f, 2147483520.0f)); });
    } else {
      put([](int32_t m) { return m; });
    }
    if (!whole) throw Error(ErrorKind::damaged, "a code block that does not end as it should");
  }

  void transform(size_t c) {
    const TileComponent& tc = tile_.components[c];
    const CodingStyle& style = parameters_.components[c].coding;
    Plane& plane = planes_[c];
    std::vector<uint8_t> buffer;
    for (int r = 1; r <= style.levels - options_.reduce; ++r) {
      const Rect& a = tc.resolutions[size_t(r)].area;
      if (a.empty()) continue;
      const ZeliRect rect = {a.x0 & 1, a.y0 & 1, a.width(), a.height()};
      int bytes = 0;
      (style.reversible ? zeliWTGetBufSize_B53_JPEG2K_32s_C1IR : zeliWTGetBufSize_D97_JPEG2K_32s_C1IR)(&rect, &bytes);
      buffer.resize(size_t(bytes) + 1);
      (style.reversible ? zeliWTInv_B53_JPEG2K_32s_C1IR : zeliWTInv_D97_JPEG2K_32s_C1IR)(plane.at.data(), plane.step(),
                                                                                         &rect, buffer.data());
    }
  }

  // Irreversible planes become single precision for the colour transform.
  void undoColourTransform() {
    if (!parameters_.style.colourTransform || planes_[0].at.empty()) return;
    const ZeliSize size = {planes_[0].width, planes_[0].height};
    int32_t* planes[3];
    for (size_t i = 0; i < 3; ++i) planes[i] = planes_[i].at.data();
    if (parameters_.components[0].coding.reversible) {
      zeliRCTInv_JPEG2K_32s_P3IR(planes, planes_[0].step(), size);
      return;
    }
    forEachPiece(3, threads_, [&](int i) { planes_[size_t(i)].toReal(); });
    float* floats[3];
    for (size_t i = 0; i < 3; ++i) floats[i] = reinterpret_cast<float*>(planes[i]);
    zeliICTInv_JPEG2K_32f_P3IR(floats, planes_[0].step(), size);
  }

  // The samples of a component: rounded, shifted to their range and cut to it. Samples have at most 24 bits, so that
  // single precision holds the range's ends.
  void store(size_t c, Jpeg2000Components::Component* out) const {
    const ComponentSize& size = grid_.components[c];
    const int32_t low = -(1 << (size.precision - 1)), high = -1 - low, shift = size.isSigned ? 0 : -low;
    const Plane& p = planes_[c];
    if (p.real) {
      const float lowest = float(low), highest = float(high);
      storeRows<float>(c, out, [=](float f) {
        f = f < lowest ? lowest : f;
        f = f > highest ? highest : f;
        return int32_t(f + std::copysign(0.5f, f)) + shift;
      });
    } else {
      const int fraction = p.fraction;
      storeRows<int32_t>(c, out, [=](int32_t v) {
        if (fraction) v = (v >> fraction) + (v >> (fraction - 1) & 1);
        return std::max(low, std::min(high, v)) + shift;
      });
    }
  }

  template <class Word, class Finish>
  void storeRows(size_t c, Jpeg2000Components::Component* out, const Finish& finish) const {
    const ComponentSize& size = grid_.components[c];
    const TileComponent& tc = tile_.components[c];
    const Rect& area = tc.resolutions[size_t(parameters_.components[c].coding.levels - options_.reduce)].area;
    const int left = ceilShift(ceilDiv(grid_.image.x0, size.dx), options_.reduce);
    const int top = ceilShift(ceilDiv(grid_.image.y0, size.dy), options_.reduce);
    const Plane& p = planes_[c];
    const int width = p.width;
    if (p.at.empty()) return;
    std::vector<Word> line(size_t(width), Word{});
    for (int y = 0; y < p.height; ++y) {
      std::memcpy(line.data(), p.at.data() + size_t(y) * line.size(), line.size() * sizeof(Word));
      int32_t* to = out->samples.data() + (size_t(area.y0 - top + y) * size_t(out->width) + size_t(area.x0 - left));
      for (int x = 0; x < width; ++x) to[x] = finish(line[size_t(x)]);
    }
  }

  const Grid& grid_;
  TileData& data_;
  const TileParameters& parameters_;
  const Jpeg2000DecodeOptions& options_;
  Warnings* warnings_;
  const int threads_;
  Tile tile_;
  std::vector<Plane> planes_;
};

// The components, with what the boxes say of them.
Jpeg2000Components decodeAll(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options, Boxes* boxes) {
  if (options.reduce < 0 || options.maxLayers < 0)
    throw Error(ErrorKind::argument, "a number of resolutions or layers below 0");
  Warnings warnings(options.warnings);
  *boxes = readBoxes(data, size);
  Reader reader(data + boxes->codestream, boxes->codestreamBytes, boxes->codestream, options.limits, options.keepGoing,
                &warnings);
  reader.readTiles();
  const Grid& grid = reader.grid();
  Jpeg2000Components out;
  out.x0 = grid.image.x0;
  out.y0 = grid.image.y0;
  out.x1 = grid.image.x1;
  out.y1 = grid.image.y1;
  for (const ComponentSize& c : grid.components) {
    Jpeg2000Components::Component k;
    const auto extent = [&](int from, int to, int d) {
      return ceilShift(ceilDiv(to, d), options.reduce) - ceilShift(ceilDiv(from, d), options.reduce);
    };
    k.width = extent(grid.image.x0, grid.image.x1, c.dx);
    k.height = extent(grid.image.y0, grid.image.y1, c.dy);
    k.dx = c.dx;
    k.dy = c.dy;
    k.precision = c.precision;
    k.isSigned = c.isSigned;
    // What no tile brings is mid-grey.
    k.samples.assign(size_t(k.width) * size_t(k.height), c.isSigned ? 0 : 1 << (c.precision - 1));
    out.components.push_back(std::move(k));
  }
  bool any = false;
  for (int i = 0; i < reader.tileCount(); ++i) {
    TileData& tile = reader.tile(i);
    if (!tile.present) {
      const Error missing(ErrorKind::damaged, "tile " + std::to_string(i) + " is missing", boxes->codestream);
      if (!options.keepGoing) throw missing;
      warnings.add(missing);
      continue;
    }
    for (const ComponentStyle& c : tile.parameters.components)
      if (c.coding.levels < options.reduce)
        throw Error(ErrorKind::argument,
                    "the file has " + std::to_string(c.coding.levels) + " resolutions to leave out");
    any = true;
    try {
      TileDecoder(grid, i, &tile, options, &warnings).run(&out);
    } catch (const Error& e) {
      if (!options.keepGoing || e.kind() == ErrorKind::argument) throw;
      warnings.add(e);
    }
  }
  if (!any) throw Error(ErrorKind::damaged, "a codestream without tiles", boxes->codestream);
  if (options.progress) options.progress(1);
  return out;
}

// ---- Pictures -------------------------------------------------------------------------------------------------------

// One channel of the picture: a component, perhaps by way of a palette.
struct Channel {
  const Jpeg2000Components::Component* component;
  int column = -1;  // of the palette
  int precision;
  int offset = 0;  // raises signed samples
};

std::vector<Channel> channelsOf(const Jpeg2000Components& in, const Boxes& boxes) {
  std::vector<Channel> channels;
  const auto add = [&](int component, int column) {
    if (component < 0 || size_t(component) >= in.components.size())
      throw Error(ErrorKind::damaged, "a channel of a component that does not exist", 0);
    const Jpeg2000Components::Component& c = in.components[size_t(component)];
    Channel k = {&c, column, c.precision, c.isSigned ? 1 << (c.precision - 1) : 0};
    if (column >= 0) {
      if (column >= boxes.palette.columns) throw Error(ErrorKind::damaged, "a palette column that does not exist", 0);
      k.precision = boxes.palette.depths[size_t(column)];
      k.offset = 0;
    }
    channels.push_back(k);
  };
  if (boxes.palette.columns && !boxes.mappings.empty()) {
    for (const Boxes::Mapping& m : boxes.mappings) add(m.component, m.type == 1 ? m.column : -1);
  } else {
    for (size_t i = 0; i < in.components.size(); ++i) add(int(i), -1);
  }
  // Colours in the order of their associations; opacity is left out.
  if (boxes.channels.empty()) return channels;
  std::vector<std::pair<int, Channel>> colours;
  for (const Boxes::Channel& c : boxes.channels)
    if (c.type == 0 && c.index < int(channels.size())) colours.emplace_back(c.association, channels[size_t(c.index)]);
  if (colours.empty()) return channels;
  std::stable_sort(colours.begin(), colours.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  channels.clear();
  for (const auto& c : colours) channels.push_back(c.second);
  return channels;
}

// Whether the channels' samples are the picture's as they stand.
bool areSamplesOf(const std::vector<Channel>& channels, const Image& image) {
  for (int i = 0; i < image.channels(); ++i) {
    const Channel& c = channels[size_t(i)];
    if (c.column >= 0 || c.offset || c.precision != image.bitDepth() || c.component->width != image.width() ||
        c.component->height != image.height())
      return false;
  }
  return true;
}

template <int count, class T>
void interleaveRow(const int32_t* const (&from)[4], int width, T* to) {
  for (int x = 0; x < width; ++x)
    for (int c = 0; c < count; ++c) to[x * count + c] = T(from[c][x]);
}

template <class T>
void interleaveRow(const int32_t* const (&from)[4], int count, int width, T* to) {
  if (count == 1) return interleaveRow<1>(from, width, to);
  if (count == 3) return interleaveRow<3>(from, width, to);
  interleaveRow<4>(from, width, to);
}

void interleave(const std::vector<Channel>& channels, int threads, Image* image) {
  forEachPiece(image->height(), threads, [&](int y) {
    const int32_t* from[4] = {};
    for (int c = 0; c < image->channels(); ++c)
      from[c] = channels[size_t(c)].component->samples.data() + size_t(y) * size_t(image->width());
    if (image->bytesPerSample() == 1)
      interleaveRow(from, image->channels(), image->width(), image->row(y));
    else
      interleaveRow(from, image->channels(), image->width(), image->row16(y));
  });
}

}  // namespace

Jpeg2000Components decodeJpeg2000Components(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options) {
  Boxes boxes;
  return decodeAll(data, size, options, &boxes);
}

Image decodeJpeg2000(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options) {
  constexpr int kCmyk = 12, kSycc = 18;
  Boxes boxes;
  const Jpeg2000Components in = decodeAll(data, size, options, &boxes);
  const std::vector<Channel> channels = channelsOf(in, boxes);
  const ColourModel model = channels.size() < 3                                  ? ColourModel::grey
                            : channels.size() >= 4 && boxes.colourSpace == kCmyk ? ColourModel::cmyk
                                                                                 : ColourModel::rgb;
  const int count = channelsOf(model);
  int bits = 1;
  for (int c = 0; c < count; ++c) bits = std::max(bits, std::min(16, channels[size_t(c)].precision));
  // The picture has the samples of the finest component.
  int width = 1, height = 1;
  for (int c = 0; c < count; ++c) {
    width = std::max(width, channels[size_t(c)].component->width);
    height = std::max(height, channels[size_t(c)].component->height);
  }
  Image image(width, height, model, bits);
  const bool direct = areSamplesOf(channels, image);
  if (direct) interleave(channels, threadCount(options.threads), &image);
  for (int c = 0; c < count && !direct; ++c) {
    const Channel& k = channels[size_t(c)];
    const Jpeg2000Components::Component& from = *k.component;
    if (from.samples.empty()) throw Error(ErrorKind::damaged, "a component without samples", 0);
    const int entries = k.column >= 0 ? int(boxes.palette.entries.size()) / boxes.palette.columns : 0;
    const int up = bits - k.precision, across = (width + from.width - 1) / from.width;
    const auto row = [&](int y, auto* to) {
      const int32_t* s =
          &from.samples[size_t(std::min(from.height - 1, y / ((height + from.height - 1) / from.height))) *
                        size_t(from.width)];
      for (int x = 0; x < width; ++x) {
        int v = s[across == 1 ? x : std::min(from.width - 1, x / across)];
        if (k.column >= 0)
          v = boxes.palette
                  .entries[size_t(std::clamp(v, 0, entries - 1)) * size_t(boxes.palette.columns) + size_t(k.column)];
        v += k.offset;
        v = up >= 0 ? v << up | (up && k.precision >= up ? v >> (k.precision - up) : 0) : v >> -up;
        to[x * count + c] = static_cast<std::decay_t<decltype(*to)>>(std::clamp(v, 0, image.maxValue()));
      }
    };
    for (int y = 0; y < height; ++y) {
      if (image.bytesPerSample() == 1)
        row(y, image.row(y));
      else
        row(y, image.row16(y));
    }
  }
  if (boxes.colourSpace == kSycc && model == ColourModel::rgb) {
    const int middle = (image.maxValue() + 1) / 2;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const int luma = image.sample(y, 3 * x), cb = image.sample(y, 3 * x + 1) - middle,
                  cr = image.sample(y, 3 * x + 2) - middle;
        const double rgb[3] = {luma + 1.402 * cr, luma - 0.344136 * cb - 0.714136 * cr, luma + 1.772 * cb};
        for (int i = 0; i < 3; ++i)
          image.setSample(y, 3 * x + i, int(std::clamp(std::lround(rgb[i]), 0L, long(image.maxValue()))));
      }
  }
  return image;
}

Jpeg2000Info readJpeg2000Info(const uint8_t* data, size_t size, const Limits& limits) {
  Warnings warnings(nullptr);
  const Boxes boxes = readBoxes(data, size);
  Reader reader(data + boxes.codestream, boxes.codestreamBytes, boxes.codestream, limits, true, &warnings);
  const Grid& grid = reader.grid();
  const TileParameters& p = reader.parameters();
  Jpeg2000Info info;
  info.jp2 = boxes.present;
  info.width = grid.image.width();
  info.height = grid.image.height();
  info.tilesAcross = grid.tilesAcross();
  info.tilesDown = grid.tilesDown();
  for (const ComponentSize& c : grid.components) info.components.push_back({c.dx, c.dy, c.precision, c.isSigned});
  const CodingStyle& c = p.components[0].coding;
  info.reversible = c.reversible;
  info.colourTransform = p.style.colourTransform;
  info.levels = c.levels;
  info.layers = p.style.layers;
  info.codeBlockWidth = 1 << c.logBlockWidth;
  info.codeBlockHeight = 1 << c.logBlockHeight;
  info.style = c.blockStyle;
  info.progression = p.style.progression;
  info.comments = reader.comments();
  return info;
}

bool isJpeg2000(const uint8_t* data, size_t size) {
  static const uint8_t box[8] = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
  return size >= 12 && (std::memcmp(data, box, 8) == 0 || (data[0] == 0xFF && data[1] == 0x4F));
}

}  // namespace zelcodecs
