// Writing: rows of the picture become tiles, and tiles the packets that a rate or a quality allows.
#include <cmath>
#include <cstring>

#include "jpeg2000/boxes.h"
#include "jpeg2000/tile_encoder.h"

namespace zelcodecs {

using namespace jpeg2000;

namespace {

// ---- The plan -------------------------------------------------------------------------------------------------------

int exactLog2(int n) {
  int log = 0;
  while (1 << log < n) ++log;
  return 1 << log == n ? log : -1;
}

void demand(bool ok, const char* what) {
  if (!ok) throw Error(ErrorKind::argument, what);
}

void checkOptions(const Jpeg2000EncodeOptions& o) {
  demand(o.levels >= 0 && o.levels <= kMaxLevels, "a transform has 0 to 32 levels");
  demand(o.layers >= 1 && o.layers <= 1000, "a file has 1 to 1000 layers here");
  demand(o.rate >= 0 && o.psnr >= 0 && (o.rate == 0 || o.psnr == 0), "a rate or a quality, not both, and not below 0");
  demand(!o.lossless || (o.rate == 0 && o.psnr == 0), "a lossless file has the rate that it needs");
  demand(o.style >= 0 && o.style < 64, "an unknown code-block style");
  demand(int(o.progression) >= 0 && int(o.progression) <= int(Progression::cprl), "an unknown progression order");
  const int logWidth = exactLog2(o.codeBlockWidth), logHeight = exactLog2(o.codeBlockHeight);
  demand(logWidth >= 2 && logHeight >= 2 && logWidth <= 10 && logHeight <= 10 && logWidth + logHeight <= 12,
         "code blocks are 4 to 1024 samples wide and high, powers of two, and have up to 4096 samples");
  const int logPrecinct = o.precinct ? exactLog2(o.precinct) : 15;
  demand(logPrecinct >= 1 && logPrecinct <= 15, "precincts are 2 to 32768 samples wide, a power of two");
  demand(o.tileWidth >= 0 && o.tileHeight >= 0, "tiles have a size");
}

// Steps that give each band the same error in the picture, fine enough for the quality that is asked for.
Quantisation quantisationFor(const PictureFormat& format, const Jpeg2000EncodeOptions& o) {
  const double most = format.maxValue(), finest = std::max(o.psnr, 50.0) + 10;
  const double base = std::sqrt(12.0) * most * std::pow(10.0, -finest / 20);
  Quantisation q;
  q.kind = o.lossless ? Quantisation::none : Quantisation::expounded;
  q.guardBits = kGuardBits;
  q.count = uint8_t(3 * o.levels + 1);
  for (int r = 0; r <= o.levels; ++r)
    for (int b = 0; b < (r ? 3 : 1); ++b) {
      const int kind = r ? b + 1 : 0, gain = kind == 0 ? 0 : kind == 3 ? 2 : 1, range = format.bitDepth + gain;
      int exponent = range, mantissa = 0;
      if (!o.lossless) {
        const int level = r ? o.levels - r + 1 : o.levels;
        const double step = base / (basisNorm(level, kind & 1, false) * basisNorm(level, kind >> 1, false));
        const int whole = int(std::floor(std::log2(step)));
        exponent = std::clamp(range - whole, 0, 31);
        mantissa = std::clamp(int((std::ldexp(step, -whole) - 1) * 2048), 0, 2047);
      }
      q.exponent[bandIndex(r, b)] = uint8_t(exponent);
      q.mantissa[bandIndex(r, b)] = uint16_t(mantissa);
    }
  return q;
}

Plan planFor(const PictureFormat& format, const Jpeg2000EncodeOptions& o) {
  checkOptions(o);
  Plan plan;
  plan.format = format;
  plan.rateControl = o.rate > 0 || o.psnr > 0 || o.layers > 1;
  Grid& g = plan.grid;
  g.image = {0, 0, format.width, format.height};
  g.tile = {0, 0, o.tileWidth ? std::min(o.tileWidth, format.width) : format.width,
            o.tileHeight ? std::min(o.tileHeight, format.height) : format.height};
  demand(int64_t{g.tilesAcross()} * g.tilesDown() <= 65535, "more than 65535 tiles");
  g.components.assign(size_t(format.channels()), ComponentSize{});
  for (ComponentSize& c : g.components) c.precision = format.bitDepth;
  TileStyle style;
  style.progression = o.progression;
  style.layers = o.layers;
  style.colourTransform = format.model == ColourModel::rgb || format.model == ColourModel::rgba;
  style.sop = o.sop;
  style.eph = o.eph;
  plan.styles.tile = style;
  CodingStyle coding;
  coding.levels = o.levels;
  coding.logBlockWidth = exactLog2(o.codeBlockWidth);
  coding.logBlockHeight = exactLog2(o.codeBlockHeight);
  coding.blockStyle = o.style;
  coding.reversible = o.lossless;
  plan.precincts = o.precinct != 0;
  if (plan.precincts)
    std::fill(coding.precincts, coding.precincts + kMaxLevels + 1, uint8_t(exactLog2(o.precinct) * 0x11));
  plan.styles.coding = coding;
  plan.styles.quantisation = quantisationFor(format, o);
  if (style.colourTransform) {
    // The sums of the squares of the inverse transforms' columns.
    constexpr double reversible[3] = {3, 0.6875, 0.6875}, irreversible[3] = {3, 3.2584, 2.4756};
    std::copy(o.lossless ? reversible : irreversible, (o.lossless ? reversible : irreversible) + 3, plan.weights);
  }
  return plan;
}

// ---- The main header ------------------------------------------------------------------------------------------------

void writeSize(const Plan& plan, ByteWriter* w) {
  const Grid& g = plan.grid;
  w->u16(kSIZ);
  w->u16(38 + 3 * uint32_t(g.components.size()));
  w->u16(0);  // Part 1
  for (int v : {g.image.x1, g.image.y1, g.image.x0, g.image.y0, g.tile.width(), g.tile.height(), g.tile.x0, g.tile.y0})
    w->u32(uint32_t(v));
  w->u16(uint32_t(g.components.size()));
  for (const ComponentSize& s : g.components) {
    w->u8(uint32_t(s.precision - 1));
    w->u8(uint32_t(s.dx));
    w->u8(uint32_t(s.dy));
  }
}

void writeStyles(const Plan& plan, ByteWriter* w) {
  const TileStyle& t = *plan.styles.tile;
  const CodingStyle& c = *plan.styles.coding;
  w->u16(kCOD);
  w->u16(uint32_t(12 + (plan.precincts ? c.levels + 1 : 0)));
  w->u8((plan.precincts ? 1 : 0) | (t.sop ? 2 : 0) | (t.eph ? 4 : 0));
  w->u8(uint32_t(t.progression));
  w->u16(uint32_t(t.layers));
  w->u8(t.colourTransform);
  w->u8(uint32_t(c.levels));
  w->u8(uint32_t(c.logBlockWidth - 2));
  w->u8(uint32_t(c.logBlockHeight - 2));
  w->u8(uint32_t(c.blockStyle));
  w->u8(c.reversible);
  for (int r = 0; r <= c.levels && plan.precincts; ++r) w->u8(c.precincts[r]);
  const Quantisation& q = *plan.styles.quantisation;
  w->u16(kQCD);
  w->u16(3 + q.count * (q.kind == Quantisation::none ? 1u : 2u));
  w->u8(uint32_t(q.guardBits << 5 | q.kind));
  for (int i = 0; i < q.count; ++i) {
    if (q.kind == Quantisation::none)
      w->u8(uint32_t(q.exponent[i] << 3));
    else
      w->u16(uint32_t(q.exponent[i] << 11 | q.mantissa[i]));
  }
}

void writeComments(const std::vector<std::string>& comments, Warnings* warnings, ByteWriter* w) {
  constexpr size_t kMost = 65535 - 4;
  for (const std::string& c : comments) {
    if (c.size() > kMost) warnings->add("a comment is cut off after 65531 bytes");
    const size_t length = std::min(c.size(), kMost);
    w->u16(kCOM);
    w->u16(uint32_t(length + 4));
    w->u16(1);  // text
    w->bytes(reinterpret_cast<const uint8_t*>(c.data()), length);
  }
}

// ---- The file -------------------------------------------------------------------------------------------------------

// A band is a row of tiles; where there is one row of tiles, bands are a part of it that the cache holds. Without rate
// control each tile is written when it has been coded, otherwise all coded blocks wait for the end.
class Jpeg2000Encoder : public Encoder {
 public:
  Jpeg2000Encoder(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                  const Jpeg2000EncodeOptions& options)
      : sink_(sink), options_(options), plan_(planFor(format, options)), team_(options.threads) {
    constexpr int kBandBytes = 256 << 10;
    const int low = std::max(16, kBandBytes / int(std::min<size_t>(format.rowBytes(), kBandBytes)));
    open(format, plan_.grid.tilesDown() == 1 ? low : plan_.grid.tile.height(), options);
    if (plan_.rateControl || plan_.grid.tilesDown() == 1) setDoneByRows(plan_.grid.tilesDown() == 1 ? 0.05 : 0.9);
    writeHeaders(metadata);
  }

 private:
  // Of what a codestream alone does not keep.
  void warnOfBoxes(const Metadata& m, Warnings* warnings) const {
    if (!m.icc.empty() || !m.exif.empty() || !m.xmp.empty() || m.pixelsPerMetreX != 0 || m.orientation != 1)
      warnings->add("a codestream without boxes keeps no profile, EXIF, XMP, resolution or orientation");
    if (hasOpacity(format().model)) warnings->add("a codestream without boxes does not say which channel is opacity");
  }

  void writeHeaders(const Metadata& metadata) {
    Warnings warnings(options_.warnings);
    if (options_.jp2)
      boxLength_ = writeBoxes(format(), metadata, &warnings, &sink_);
    else
      warnOfBoxes(metadata, &warnings);
    std::vector<uint8_t> out;
    ByteWriter w(&out);
    w.u16(kSOC);
    writeSize(plan_, &w);
    writeStyles(plan_, &w);
    writeComments(metadata.comments, &warnings, &w);
    sink_.write(out);
  }

  void encodeBand(ConstRows rows) override {
    const int across = plan_.grid.tilesAcross();
    if (plan_.grid.tilesDown() == 1) {
      for (int p = 0; p < across && waiting_.size() < size_t(across); ++p)
        waiting_.push_back(std::make_unique<TileEncoder>(plan_, p));
      for (const auto& t : waiting_) t->load(rows, nextRow(), &team_);
      return;
    }
    const int first = nextRow() / plan_.grid.tile.height() * across, group = team_.threads();
    for (int p = 0; p < across; p += group) {
      const int count = std::min(group, across - p);
      std::vector<std::unique_ptr<TileEncoder>> tiles(size_t{unsigned(count)});
      team_.forEach(count, [&](int i) {
        auto& t = tiles[size_t(i)] = std::make_unique<TileEncoder>(plan_, first + p + i);
        t->load(rows, nextRow(), &team_);
        t->encode(&team_, &encoders_, nullptr);
      });
      for (auto& t : tiles) take(std::move(t));
    }
  }

  // A tile that has been coded.
  void take(std::unique_ptr<TileEncoder> tile) {
    if (plan_.rateControl)
      coded_.push_back(std::move(tile));
    else
      writeTile(tile.get());
  }

  void end() override {
    for (size_t p = 0; p < waiting_.size(); ++p) {
      waiting_[p]->encode(&team_, &encoders_,
                          [&](double part) { report(0.05 + 0.9 * (double(p) + part) / double(waiting_.size())); });
      take(std::move(waiting_[p]));
    }
    if (plan_.rateControl) shareRate();
    for (const auto& t : coded_) writeTile(t.get());
    const uint8_t endMarker[2] = {kEOC >> 8, kEOC & 255};
    sink_.write(endMarker, 2);
    patchLength();
  }

  // A box whose length does not fit stays one that reaches to the end of the file.
  void patchLength() {
    const uint64_t length = sink_.position() - boxLength_;
    if (!options_.jp2 || !sink_.canPatch() || length > UINT32_MAX) return;
    std::vector<uint8_t> bytes;
    ByteWriter(&bytes).u32(uint32_t(length));
    sink_.patch(boxLength_, bytes.data(), bytes.size());
  }

  void writeTile(TileEncoder* tile) {
    std::vector<uint8_t> out;
    ByteWriter w(&out);
    w.u16(kSOT);
    w.u16(10);
    w.u16(tileNumber_++);
    w.u32(0);
    w.u8(0);
    w.u8(1);
    w.u16(kSOD);
    writePackets(tile->tile(), options_.layers, tile->blocks(), &out);
    if (out.size() > UINT32_MAX) throw Error(ErrorKind::limit, "a tile above 4 GB; use smaller tiles");
    w.patch32(6, uint32_t(out.size()));
    sink_.write(out);
  }

  // What the layers are to reach. around: the bytes of everything but packets.
  std::vector<LayerGoal> goalsOf(const std::vector<BlockCurve>& curves, double around) const {
    const double pixels = double(format().width) * format().height;
    std::vector<LayerGoal> goals(size_t{unsigned(options_.layers)});
    double last = options_.rate * pixels / 8;
    if (options_.rate == 0 && options_.psnr == 0) {
      last = around;
      for (const BlockCurve& c : curves) last += double(c.block()->data.size());
    }
    for (size_t l = 0; l < goals.size(); ++l) {
      const int left = options_.layers - 1 - int(l);
      if (options_.psnr > 0)
        goals[l].distortion =
            pixels * format().channels() *
            std::max(1e-3,
                     std::pow(format().maxValue(), 2) * std::pow(10, -(options_.psnr - 3 * left) / 10) - 1 / 12.0);
      else if (left || options_.rate > 0)
        goals[l].bytes = std::ldexp(last, -left);
    }
    return goals;
  }

  // Decides how many passes of each block the layers get.
  void shareRate() {
    std::vector<BlockCurve> curves;
    double distortion = 0;
    for (const auto& t : coded_) {
      for (BlockCurve& c : t->curves()) curves.push_back(std::move(c));
      t->curves() = {};
      distortion += t->distortion();
    }
    constexpr size_t kTileHeader = 14, kEnd = 2;
    const size_t around = size_t(sink_.position()) + kTileHeader * coded_.size() + kEnd;
    std::vector<uint8_t> scratch;
    shareOut(curves, goalsOf(curves, double(around)), distortion, [&](int layer) {
      size_t size = around;
      for (const auto& t : coded_) {
        scratch.clear();
        writePackets(t->tile(), layer + 1, t->blocks(), &scratch);
        size += scratch.size();
      }
      return size;
    });
  }

  Sink& sink_;
  const Jpeg2000EncodeOptions options_;
  const Plan plan_;
  Team team_;
  ScratchPool<BlockEncoder> encoders_;
  uint64_t boxLength_ = 0;  // where the length of the codestream's box stands
  uint32_t tileNumber_ = 0;
  std::vector<std::unique_ptr<TileEncoder>> waiting_;  // of the only row of tiles, for their rows
  std::vector<std::unique_ptr<TileEncoder>> coded_;    // for the end
};

}  // namespace

std::unique_ptr<Encoder> createJpeg2000(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                        const Jpeg2000EncodeOptions& options) {
  return std::make_unique<Jpeg2000Encoder>(sink, format, metadata, options);
}

std::vector<uint8_t> encodeJpeg2000(const Image& image, const Jpeg2000EncodeOptions& options) {
  std::vector<uint8_t> out;
  const std::unique_ptr<Sink> sink = memorySink(&out);
  writeAll(*createJpeg2000(*sink, image.format(), image.metadata(), options), image);
  return out;
}

}  // namespace zelcodecs
