// Encoding: tiles to bands, bands to code blocks, and the packets that a rate or a quality allows.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/error.h"
#include "jpeg2000/blocks.h"
#include "jpeg2000/packet.h"
#include "jpeg2000/rate.h"
#include "common/parallel.h"

namespace zelcodecs {

using namespace jpeg2000;

namespace {

constexpr int kGuardBits = 2;

int exactLog2(int n) {
  int log = 0;
  while (1 << log < n) ++log;
  return 1 << log == n ? log : -1;
}

void require(bool ok, const char* what) {
  if (!ok) throw Error(ErrorKind::argument, what);
}

// What the encoder knows before it looks at a sample.
struct Plan {
  Grid grid;
  TileParameters parameters;
  bool precincts = false;
  double weights[4] = {1, 1, 1, 1};  // of the components' squared errors in the picture
};

Plan planFor(const Image& image, const Jpeg2000EncodeOptions& o) {
  require(o.levels >= 0 && o.levels <= kMaxLevels, "a transform has 0 to 32 levels");
  require(o.layers >= 1 && o.layers <= 1000, "a file has 1 to 1000 layers here");
  require(o.rate >= 0 && o.psnr >= 0 && (o.rate == 0 || o.psnr == 0), "a rate or a quality, not both, and not below 0");
  require(!o.lossless || (o.rate == 0 && o.psnr == 0), "a lossless file has the rate that it needs");
  require(o.style >= 0 && o.style < 64, "an unknown code-block style");
  require(o.progression == Progression::lrcp || o.progression == Progression::rpcl ||
              o.progression == Progression::rlcp || o.progression == Progression::pcrl ||
              o.progression == Progression::cprl,
          "an unknown progression order");
  const int logWidth = exactLog2(o.codeBlockWidth), logHeight = exactLog2(o.codeBlockHeight);
  require(logWidth >= 2 && logHeight >= 2 && logWidth <= 10 && logHeight <= 10 && logWidth + logHeight <= 12,
          "code blocks are 4 to 1024 samples wide and high, powers of two, and have up to 4096 samples");
  const int logPrecinct = o.precinct ? exactLog2(o.precinct) : 15;
  require(logPrecinct >= 1 && logPrecinct <= 15, "precincts are 2 to 32768 samples wide, a power of two");
  require(o.tileWidth >= 0 && o.tileHeight >= 0, "tiles have a size");

  Plan plan;
  Grid& g = plan.grid;
  g.image = {0, 0, image.width(), image.height()};
  g.tile = {0, 0, o.tileWidth ? std::min(o.tileWidth, image.width()) : image.width(),
            o.tileHeight ? std::min(o.tileHeight, image.height()) : image.height()};
  require(int64_t{g.tilesAcross()} * g.tilesDown() <= 65535, "more than 65535 tiles");
  g.components.assign(size_t(image.channels()), ComponentSize{});
  for (ComponentSize& c : g.components) c.precision = image.bitDepth();

  TileParameters& p = plan.parameters;
  p.style.progression = o.progression;
  p.style.layers = o.layers;
  p.style.colourTransform = image.model() == ColourModel::rgb;
  p.style.sop = o.sop;
  p.style.eph = o.eph;
  ComponentStyle c;
  c.coding.levels = o.levels;
  c.coding.logBlockWidth = logWidth;
  c.coding.logBlockHeight = logHeight;
  c.coding.blockStyle = o.style;
  c.coding.reversible = o.lossless;
  plan.precincts = o.precinct != 0;
  if (plan.precincts) std::fill(c.coding.precincts, c.coding.precincts + kMaxLevels + 1, uint8_t(logPrecinct * 0x11));

  // Steps that give each band the same error in the picture, fine enough for the quality that is asked for.
  const double most = image.maxValue(), finest = std::max(o.psnr, 50.0) + 10;
  const double base = std::sqrt(12.0) * most * std::pow(10.0, -finest / 20);
  Quantisation& q = c.quantisation;
  q.kind = o.lossless ? Quantisation::none : Quantisation::expounded;
  q.guardBits = kGuardBits;
  q.count = 3 * o.levels + 1;
  for (int r = 0; r <= o.levels; ++r)
    for (int b = 0; b < (r ? 3 : 1); ++b) {
      const int kind = r ? b + 1 : 0, gain = kind == 0 ? 0 : kind == 3 ? 2 : 1, range = image.bitDepth() + gain;
      int exponent = range, mantissa = 0;
      if (!o.lossless) {
        const int level = r ? o.levels - r + 1 : o.levels;
        const double step = base / (basisNorm(level, kind & 1, false) * basisNorm(level, kind >> 1, false));
        const int whole = int(std::floor(std::log2(step)));
        exponent = std::clamp(range - whole, 0, 31);
        mantissa = std::clamp(int((std::ldexp(step, -whole) - 1) * 2048), 0, 2047);
      }
      q.exponent[bandIndex(r, b)] = exponent;
      q.mantissa[bandIndex(r, b)] = mantissa;
    }
  p.components.assign(g.components.size(), c);
  if (p.style.colourTransform) {
    // The sums of the squares of the inverse transforms' columns.
    constexpr double reversible[3] = {3, 0.6875, 0.6875}, irreversible[3] = {3, 3.2584, 2.4756};
    std::copy(o.lossless ? reversible : irreversible, (o.lossless ? reversible : irreversible) + 3, plan.weights);
  }
  return plan;
}

// ---- Samples to code blocks -----------------------------------------------------------------------------------------

class TileEncoder {
 public:
  TileEncoder(const Image& image, const Plan& plan, int index, int threads)
      : image_(image),
        plan_(plan),
        threads_(threads),
        reversible_(plan.parameters.components[0].coding.reversible),
        tile_(layOut(plan.grid, index, plan.parameters, size_t{1} << 24)) {}

  void run(const Progress& progress) {
    loadSamples();
    forEachPiece(int(planes_.size()), threads_, [&](int c) { transform(size_t(c)); });
    encodeBlocks(progress);
    planes_.clear();
  }
  Tile* tile() { return &tile_; }
  std::vector<BlockCurve>& curves() { return curves_; }
  // The squared differences of a picture that keeps nothing.
  double distortion() const { return distortion_; }

 private:
  int width() const { return tile_.area.width(); }
  int step() const { return width() * 4; }
  // Fraction bits of coefficients that are not integers.
  int fraction() const { return reversible_ ? 0 : std::max(1, std::min(8, 22 - image_.bitDepth())); }

  void loadSamples() {
    const int channels = image_.channels(), shift = 1 << (image_.bitDepth() - 1);
    const size_t count = size_t(width()) * size_t(tile_.area.height());
    planes_.assign(size_t(channels), std::vector<int32_t>(count));
    forEachPiece(tile_.area.height(), threads_, [&](int y) {
      const auto split = [&](const auto* from) {
        for (int c = 0; c < channels; ++c) {
          int32_t* to = &planes_[size_t(c)][size_t(y) * size_t(width())];
          for (int x = 0; x < width(); ++x) to[x] = from[x * channels + c] - shift;
        }
      };
      const int row = tile_.area.y0 + y;
      if (image_.bytesPerSample() == 1)
        split(image_.row(row) + tile_.area.x0 * channels);
      else
        split(image_.row16(row) + tile_.area.x0 * channels);
    });
    const ZeliSize size = {width(), tile_.area.height()};
    int32_t* planes[3] = {};
    const bool colour = plan_.parameters.style.colourTransform;
    for (size_t i = 0; i < 3 && colour; ++i) planes[i] = planes_[i].data();
    if (colour && reversible_) zeliRCTFwd_JPEG2K_32s_P3IR(planes, step(), size);
    if (reversible_) return;
    if (colour) {
      // Integers to single precision and back with fraction bits, in place.
      float* floats[3];
      for (size_t i = 0; i < 3; ++i) floats[i] = reinterpret_cast<float*>(planes[i]);
      forEachPiece(3, threads_, [&](int i) {
        for (int32_t& v : planes_[size_t(i)]) {
          const float f = float(v);
          std::memcpy(&v, &f, 4);
        }
      });
      zeliICTFwd_JPEG2K_32f_P3IR(floats, step(), size);
      const float scale = float(1 << fraction());
      forEachPiece(3, threads_, [&](int i) {
        for (int32_t& v : planes_[size_t(i)]) {
          float f;
          std::memcpy(&f, &v, 4);
          f *= scale;
          v = int32_t(f < 0 ? f - 0.5f : f + 0.5f);
        }
      });
    } else {
      for (std::vector<int32_t>& p : planes_)
        for (int32_t& v : p) v *= 1 << fraction();
    }
  }

  void transform(size_t c) {
    const TileComponent& tc = tile_.components[c];
    std::vector<uint8_t> buffer;
    for (size_t r = tc.resolutions.size() - 1; r > 0; --r) {
      const Rect& a = tc.resolutions[r].area;
      const ZeliRect rect = {a.x0 & 1, a.y0 & 1, a.width(), a.height()};
      int bytes = 0;
      (reversible_ ? zeliWTGetBufSize_B53_JPEG2K_32s_C1IR : zeliWTGetBufSize_D97_JPEG2K_32s_C1IR)(&rect, &bytes);
      buffer.resize(size_t(bytes) + 1);
      (reversible_ ? zeliWTFwd_B53_JPEG2K_32s_C1IR : zeliWTFwd_D97_JPEG2K_32s_C1IR)(planes_[c].data(), step(), &rect,
                                                                                    buffer.data());
    }
  }

  void encodeBlocks(const Progress& progress) {
    struct Item {
      size_t component;
      int level;  // of the transform, 1 the finest
      const Band* band;
      CodeBlock* block;
      std::vector<double> distortions;
      double left = 0;  // after all passes
    };
    std::vector<Item> items;
    for (size_t c = 0; c < tile_.components.size(); ++c) {
      TileComponent& tc = tile_.components[c];
      const int levels = int(tc.resolutions.size()) - 1;
      for (int r = 0; r <= levels; ++r) {
        Resolution& res = tc.resolutions[size_t(r)];
        for (Precinct& precinct : res.precincts)
          for (PrecinctBand& pb : precinct.bands)
            for (CodeBlock& b : pb.blocks)
              items.push_back({c, r ? levels - r + 1 : levels, &res.bands[size_t(pb.band)], &b, {}, 0});
      }
    }
    const CodingStyle& style = plan_.parameters.components[0].coding;
    int done = 0;
    forEachPiece(int(items.size()), threads_, [&](int i) {
      Item& item = items[size_t(i)];
      static thread_local std::unique_ptr<BlockEncoder> encoder;
      static thread_local int encoderWidth = 0, encoderHeight = 0;
      const int blockWidth = 1 << style.logBlockWidth, blockHeight = 1 << style.logBlockHeight;
      if (encoderWidth != blockWidth || encoderHeight != blockHeight) {
        encoder = std::make_unique<BlockEncoder>(blockWidth, blockHeight);
        encoderWidth = blockWidth;
        encoderHeight = blockHeight;
      }
      int32_t words[kMaxBlockSamples];
      const Band& band = *item.band;
      const double left = quantise(planes_[item.component], band, *item.block, words);
      encoder->encode(words, band.planes, band.kind, style.blockStyle, reversible_, item.block, &item.distortions);
      const double norm =
          basisNorm(item.level, band.kind & 1, reversible_) * basisNorm(item.level, band.kind >> 1, reversible_);
      const double weight = norm * norm * plan_.weights[item.component];
      for (double& d : item.distortions) d *= band.step * band.step * weight;
      item.left = left * weight;
      if (progress && i % 64 == 0) {
#pragma omp critical(zelcodecs_progress)
        progress(std::min(1.0, 64.0 * ++done / double(items.size())));
      }
    });
    for (Item& item : items) {
      curves_.emplace_back(item.block, item.distortions);
      distortion_ += item.left + (item.distortions.empty() ? 0 : item.distortions.back());
    }
  }

  // The block's coefficients as the coder wants them, with what lies below the lowest plane as a fraction. Gives the
  // squared errors that a decoder of all planes is left with.
  double quantise(const std::vector<int32_t>& plane, const Band& band, const CodeBlock& block, int32_t* words) const {
    const int below = 31 - band.planes, w = block.area.width();
    const float scale = float(std::ldexp(1 / band.step, below - fraction()));
    const int32_t unit = 1 << below;
    double left = 0;
    for (int y = 0; y < block.area.height(); ++y) {
      const int32_t* from = &plane[size_t(block.planeY + y) * size_t(width()) + size_t(block.planeX)];
      int32_t* to = words + y * w;
      if (reversible_) {
        for (int x = 0; x < w; ++x) {
          const int32_t m = (from[x] < 0 ? -from[x] : from[x]) << below;
          to[x] = from[x] < 0 ? m | INT32_MIN : m;
        }
        continue;
      }
      float row = 0;
      for (int x = 0; x < w; ++x) {
        const float magnitude = float(from[x] < 0 ? -from[x] : from[x]);
        const int32_t m = int32_t(std::min(magnitude * scale, 2147483520.0f));
        to[x] = from[x] < 0 ? m | INT32_MIN : m;
        const float error = float(m < unit ? m : (m & (unit - 1)) - unit / 2);
        row += error * error;
      }
      left += double(row);
    }
    return left * std::ldexp(band.step * band.step, -2 * below);
  }

  const Image& image_;
  const Plan& plan_;
  const int threads_;
  const bool reversible_;
  Tile tile_;
  std::vector<std::vector<int32_t>> planes_;
  std::vector<BlockCurve> curves_;
  double distortion_ = 0;
};

// ---- The file -------------------------------------------------------------------------------------------------------

class Writer {
 public:
  explicit Writer(std::vector<uint8_t>* out) : out_(out) {}
  void byte(int v) { out_->push_back(uint8_t(v)); }
  void word(int v) {
    byte(v >> 8);
    byte(v);
  }
  void dword(uint32_t v) {
    word(int(v >> 16));
    word(int(v & 0xFFFF));
  }
  void text(const char* s) {
    while (*s) byte(*s++);
  }
  void patch(size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) (*out_)[at + size_t(i)] = uint8_t(v >> (24 - 8 * i));
  }
  size_t at() const { return out_->size(); }

 private:
  std::vector<uint8_t>* out_;
};

void writeMainHeader(const Plan& plan, Writer* w) {
  const Grid& g = plan.grid;
  const TileParameters& p = plan.parameters;
  const ComponentStyle& c = p.components[0];
  w->word(kSOC);
  w->word(kSIZ);
  w->word(38 + 3 * int(g.components.size()));
  w->word(0);  // Part 1
  for (int v : {g.image.x1, g.image.y1, g.image.x0, g.image.y0, g.tile.width(), g.tile.height(), g.tile.x0, g.tile.y0})
    w->dword(uint32_t(v));
  w->word(int(g.components.size()));
  for (const ComponentSize& s : g.components) {
    w->byte((s.precision - 1) | (s.isSigned ? 0x80 : 0));
    w->byte(s.dx);
    w->byte(s.dy);
  }
  w->word(kCOD);
  w->word(12 + (plan.precincts ? c.coding.levels + 1 : 0));
  w->byte((plan.precincts ? 1 : 0) | (p.style.sop ? 2 : 0) | (p.style.eph ? 4 : 0));
  w->byte(int(p.style.progression));
  w->word(p.style.layers);
  w->byte(p.style.colourTransform);
  w->byte(c.coding.levels);
  w->byte(c.coding.logBlockWidth - 2);
  w->byte(c.coding.logBlockHeight - 2);
  w->byte(c.coding.blockStyle);
  w->byte(c.coding.reversible);
  for (int r = 0; r <= c.coding.levels && plan.precincts; ++r) w->byte(c.coding.precincts[r]);
  const Quantisation& q = c.quantisation;
  w->word(kQCD);
  w->word(3 + q.count * (q.kind == Quantisation::none ? 1 : 2));
  w->byte(q.guardBits << 5 | q.kind);
  for (int i = 0; i < q.count; ++i) {
    if (q.kind == Quantisation::none)
      w->byte(q.exponent[i] << 3);
    else
      w->word(q.exponent[i] << 11 | q.mantissa[i]);
  }
}

// The packets of a tile through a layer; lengths alone are wanted while layers are shared out.
void writePackets(TileEncoder* tile, const TileParameters& p, int layers, std::vector<uint8_t>* out) {
  restartPackets(tile->tile());
  int sequence = 0;
  PacketOrder(*tile->tile(), p).walk([&](const PacketId& id) {
    if (id.layer < layers) writePacket(id, p, tile->tile(), sequence++ & 0xFFFF, out);
    return true;
  });
}

size_t writeBoxes(const Image& image, Writer* w) {
  w->dword(12);
  w->text("jP  ");
  w->dword(0x0D0A870A);
  w->dword(20);
  w->text("ftypjp2 ");
  w->dword(0);
  w->text("jp2 ");
  w->dword(8 + 22 + 15);
  w->text("jp2h");
  w->dword(22);
  w->text("ihdr");
  w->dword(uint32_t(image.height()));
  w->dword(uint32_t(image.width()));
  w->word(image.channels());
  w->byte(image.bitDepth() - 1);
  w->byte(7);  // the only compression there is
  w->byte(0);  // the colour space is known
  w->byte(0);
  w->dword(15);
  w->text("colr");
  w->byte(1);
  w->byte(0);
  w->byte(0);
  w->dword(image.model() == ColourModel::grey ? 17 : image.model() == ColourModel::rgb ? 16 : 12);
  const size_t length = w->at();
  w->dword(0);
  w->text("jp2c");
  return length;
}

}  // namespace

std::vector<uint8_t> encodeJpeg2000(const Image& image, const Jpeg2000EncodeOptions& options) {
  if (image.model() == ColourModel::rgba)
    throw Error(ErrorKind::unsupported, "transparency is not written to JPEG 2000 files");
  const Plan plan = planFor(image, options);
  const int threads = threadCount(options.threads);
  std::vector<std::unique_ptr<TileEncoder>> tiles;
  const int count = plan.grid.tilesAcross() * plan.grid.tilesDown();
  std::vector<BlockCurve> curves;
  double distortion = 0;
  for (int i = 0; i < count; ++i) {
    tiles.push_back(std::make_unique<TileEncoder>(image, plan, i, threads));
    Progress part;
    if (options.progress) part = [&, i](double p) { options.progress(0.9 * (i + p) / count); };
    tiles.back()->run(part);
    for (BlockCurve& c : tiles.back()->curves()) curves.push_back(std::move(c));
    tiles.back()->curves().clear();
    distortion += tiles.back()->distortion();
  }

  std::vector<uint8_t> out;
  Writer w(&out);
  const size_t boxLength = options.jp2 ? writeBoxes(image, &w) : 0;
  writeMainHeader(plan, &w);
  const size_t around = out.size() + 14 * tiles.size() + 2;  // everything but packets

  const double pixels = double(image.width()) * image.height();
  std::vector<LayerGoal> goals(size_t(options.layers));
  double last = options.rate * pixels / 8;
  if (options.rate == 0 && options.psnr == 0 && options.layers > 1) {
    last = double(around);
    for (const BlockCurve& c : curves) last += double(c.block()->data.size());
  }
  for (size_t l = 0; l < goals.size(); ++l) {
    const int left = options.layers - 1 - int(l);
    if (options.psnr > 0)
      goals[l].distortion =
          pixels * image.channels() *
          std::max(1e-3, std::pow(image.maxValue(), 2) * std::pow(10, -(options.psnr - 3 * left) / 10) - 1 / 12.0);
    else if (left || options.rate > 0)
      goals[l].bytes = std::ldexp(last, -left);
  }
  std::vector<uint8_t> scratch;
  shareOut(curves, goals, distortion, [&](int layer) {
    size_t size = around;
    for (const auto& t : tiles) {
      scratch.clear();
      writePackets(t.get(), plan.parameters, layer + 1, &scratch);
      size += scratch.size();
    }
    return size;
  });

  for (size_t i = 0; i < tiles.size(); ++i) {
    const size_t start = w.at();
    w.word(kSOT);
    w.word(10);
    w.word(int(i));
    w.dword(0);
    w.byte(0);
    w.byte(1);
    w.word(kSOD);
    writePackets(tiles[i].get(), plan.parameters, options.layers, &out);
    if (w.at() - start > UINT32_MAX) throw Error(ErrorKind::limit, "a tile above 4 GB; use smaller tiles");
    w.patch(start + 6, uint32_t(w.at() - start));
  }
  w.word(kEOC);
  if (options.jp2) w.patch(boxLength, uint32_t(std::min<size_t>(w.at() - boxLength, UINT32_MAX)));
  if (options.progress) options.progress(1);
  return out;
}

}  // namespace zelcodecs
