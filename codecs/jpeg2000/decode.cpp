// Reading: a file's tiles, row by row of them, become rows of the picture.
#include <cstring>

#include "common/image.h"
#include "jpeg2000/codestream.h"
#include "jpeg2000/picture.h"

namespace zelcodecs {

using namespace jpeg2000;

namespace {

const Jpeg2000DecodeOptions& checked(const Jpeg2000DecodeOptions& options) {
  if (options.reduce < 0 || options.maxLayers < 0)
    throw Error(ErrorKind::argument, "a number of resolutions or layers below 0");
  return options;
}

// A file whose headers have been read.
struct OpenFile {
  OpenFile(ByteView file, const Jpeg2000DecodeOptions& options, Warnings* warnings)
      : boxes(readBoxes(file, warnings)),
        codestream({file.data + boxes.codestream, boxes.codestreamBytes}, boxes.codestream, options.limits) {
    checkReduce(options.reduce);
    codestream.findTileParts(options.keepGoing, warnings);
  }
  void checkReduce(int reduce) const {
    if (codestream.styles().coding->levels < reduce)
      throw Error(ErrorKind::argument,
                  "the file has " + std::to_string(codestream.styles().coding->levels) + " resolutions to leave out");
  }
  Boxes boxes;
  Codestream codestream;
};

// A tile with all that its decoder refers to.
class OpenTile {
 public:
  OpenTile(const Codestream& codestream, int index, const Jpeg2000DecodeOptions& options)
      : options_(options),
        index_(index),
        there_(codestream.hasTile(index)),
        offset_(there_ ? codestream.tileOffset(index) : Error::kNowhere) {
    if (there_) note([&] { data_ = codestream.tile(index); });
    const bool own = data_.ownStyles && !failed_;
    tile_ = std::make_unique<Tile>(codestream.grid(), index,
                                   TileParameters(&codestream.styles(), own ? &data_.styles : nullptr));
  }

  const Tile& tile() const { return *tile_; }
  TileDecoder* decoder() { return decoder_.get(); }
  const std::vector<std::string>& notes() const { return notes_; }

  // Decodes what is wanted of components. With keepGoing a tile that is damaged, or missing, is blank at worst.
  void decode(const std::map<int, Rect>& wanted, Team* team, ScratchPool<BlockScratch>* scratch,
              const Progress& progress) {
    bool any = false;
    for (const auto& [c, area] : wanted) any |= !area.empty();
    decoder_ = std::make_unique<TileDecoder>(*tile_, wanted, options_, scratch);
    if (!any || failed_) return;
    note([&] {
      if (!there_) throw Error(ErrorKind::damaged, "tile " + std::to_string(index_) + " is missing");
      decoder_->decode(std::move(data_.bytes), team, progress);
    });
    for (const std::string& n : decoder_->notes()) notes_.push_back(inTile(n));
  }

 private:
  std::string inTile(const std::string& what) const {
    return there_ ? what + " in the tile that begins at byte " + std::to_string(offset_) : what;
  }
  // Does the work. Damage is noted where decoding shall go on.
  template <class Work>
  void note(const Work& work) {
    try {
      work();
    } catch (const Error& e) {
      const bool damage = e.kind() == ErrorKind::damaged || e.kind() == ErrorKind::unsupported;
      if (!damage) throw;
      if (!options_.keepGoing)
        throw Error(e.kind(), there_ ? std::string(e.what()) + " in the tile that begins" : e.what(),
                    there_ ? offset_ : 0);
      notes_.push_back(inTile(e.what()));
      failed_ = true;
    }
  }

  const Jpeg2000DecodeOptions& options_;
  const int index_;
  const bool there_;
  const size_t offset_;
  bool failed_ = false;
  Codestream::TileData data_;
  std::unique_ptr<Tile> tile_;
  std::unique_ptr<TileDecoder> decoder_;
  std::vector<std::string> notes_;
};

// ---- Pictures -------------------------------------------------------------------------------------------------------

// A band is a row of tiles, each of which goes into the caller's rows when it has been decoded. Where there is one row
// of tiles, these are held, and bands are cut from them.
class Jpeg2000Decoder : public Decoder {
 public:
  Jpeg2000Decoder(Source& source, const Jpeg2000DecodeOptions& options)
      : source_(source),
        options_(checked(options)),
        warnings_(options.warnings),
        file_(source.all(), options_, &warnings_),
        picture_(file_.codestream.grid(), file_.boxes, file_.codestream.styles().tile->colourTransform, options.reduce,
                 &warnings_),
        team_(options.threads) {
    metadata_ = file_.boxes.metadata;
    metadata_.comments = file_.codestream.comments();
    open(picture_.format(), chooseBand(), options);
    setDoneBefore(grid().tilesDown() == 1 ? kDecoded : 0);
    options_.warnings = nullptr;  // what is odd from here on is told by tiles
  }

 private:
  static constexpr double kDecoded = 0.95;  // of the work, when tiles are ready to be cut into bands

  const Grid& grid() const { return file_.codestream.grid(); }
  Rect pixelsOf(int tile) const { return picture_.pixelsOf(grid().tileRect(tile)); }
  Rect wantedPixels() const {
    const Region& r = wanted();
    return {r.x, r.y, r.x + r.width, r.y + r.height};
  }

  // Rows of tiles may differ in height: the first one is cut off by the image's edge, and halving rounds. Then bands
  // are low, and a row of tiles waits in memory. Only the last one may be lower than the others.
  int chooseBand() {
    constexpr size_t kBandBytes = size_t{256} << 10;
    const int low = std::max<int>(8, int(kBandBytes / picture_.format().rowBytes()));
    if (grid().tilesDown() == 1) return low;
    const int height = pixelsOf(0).height();
    aligned_ = height > 0;
    for (int q = 0; q < grid().tilesDown() && aligned_; ++q) {
      const Rect row = pixelsOf(q * grid().tilesAcross());
      aligned_ = row.y0 == q * height && row.height() <= height;
    }
    return aligned_ ? height : std::min(low, 64);
  }

  void decodeBand(Rows to) override {
    if (grid().tilesDown() == 1) return cutBand(to);
    if (aligned_) return decodeTileRow(nextRow() / bandRows(), to);
    const size_t bytes = picture_.format().rowBytes();
    for (int y = nextRow(), end = y + to.count; y < end; ++y) {
      while (y >= rowEnd_) waitForTileRow();
      std::memcpy(to.row(y - nextRow()), waiting_.data() + size_t(y - rowBegin_) * bytes, bytes);
    }
  }
  void skipBand(int) override {}

  // The next row of tiles that has pixels in or below the next band.
  void waitForTileRow() {
    const Rect r = pixelsOf(tileRow_ * grid().tilesAcross());
    rowBegin_ = r.y0;
    rowEnd_ = r.y1;
    const bool isWanted = r.y1 > nextRow();
    if (isWanted) {
      const size_t bytes = picture_.format().rowBytes(), all = bytes * size_t(r.height());
      checkMemory(all);
      if (waiting_.size() < all) waiting_.resize(all);
      decodeTileRow(tileRow_, {waiting_.data(), bytes, r.height()});
    }
    ++tileRow_;
  }

  void checkMemory(uint64_t bytes) const {
    if (bytes > options_.limits.maxMemory)
      throw Error(ErrorKind::limit, "a row of tiles takes more than the limit of " +
                                        std::to_string(options_.limits.maxMemory >> 20) + " MiB (limits.maxMemory)");
  }

  // Tiles are decoded side by side, or the blocks of one tile: as many tiles at once as memory allows.
  void decodeTileRow(int q, Rows to) {
    const int across = grid().tilesAcross(), group = tilesAtOnce(q);
    for (int p = 0; p < across; p += group) {
      const int count = std::min(group, across - p);
      std::vector<std::unique_ptr<OpenTile>> tiles(size_t{unsigned(count)});
      team_.forEach(count, [&](int i) {
        const int index = q * across + p + i;
        const Rect all = pixelsOf(index), pixels = intersection(all, wantedPixels());
        if (pixels.empty()) return;
        auto& t = tiles[size_t(i)] = std::make_unique<OpenTile>(file_.codestream, index, options_);
        t->decode(picture_.wanted(t->tile(), pixels), &team_, &scratch_, nullptr);
        const Rows rows = {to.row(pixels.y0 - all.y0) + size_t(pixels.x0) * picture_.format().pixelBytes(), to.step,
                           pixels.height()};
        picture_.paint(t->tile(), t->decoder(), pixels, rows, &team_);
      });
      for (const auto& t : tiles) tell(t.get());
    }
    source_.release(file_.codestream.beginOfTilesFrom((q + 1) * across));
  }

  int tilesAtOnce(int q) const {
    const Rect r = grid().tileRect(q * grid().tilesAcross());
    const uint64_t bytes =
        uint64_t(r.width()) * uint64_t(r.height()) * 4 * std::min<size_t>(4, grid().components.size()) + 1;
    const uint64_t room = options_.limits.maxMemory / 2 / bytes;
    return int(std::clamp<uint64_t>(room, 1, uint64_t(team_.threads())));
  }

  // All tiles of the only row, as far as they are wanted, and of them rows.
  void cutBand(Rows to) {
    if (tiles_.empty()) decodeOnlyRow();
    const Rect band = intersection({0, nextRow(), whole().width, nextRow() + to.count}, wantedPixels());
    for (const auto& t : tiles_) {
      const Rect pixels = intersection(picture_.pixelsOf(t->tile().area), band);
      if (pixels.empty()) continue;
      const Rows rows = {to.row(pixels.y0 - nextRow()) + size_t(pixels.x0) * picture_.format().pixelBytes(), to.step,
                         pixels.height()};
      picture_.paint(t->tile(), t->decoder(), pixels, rows, &team_);
    }
  }

  void decodeOnlyRow() {
    const int across = grid().tilesAcross();
    for (int p = 0; p < across; ++p) {
      auto t = std::make_unique<OpenTile>(file_.codestream, p, options_);
      const Rect pixels = intersection(picture_.pixelsOf(t->tile().area), wantedPixels());
      if (pixels.empty()) continue;
      t->decode(picture_.wanted(t->tile(), pixels), &team_, &scratch_,
                [&](double part) { report(kDecoded * (p + part) / across); });
      if (!t->decoder()->blank()) options_.limits.maxMemory -= t->decoder()->planeBytes();  // held from here on
      tell(t.get());
      tiles_.push_back(std::move(t));
    }
    source_.release(file_.codestream.beginOfTilesFrom(across));
  }

  void tell(const OpenTile* tile) {
    if (!tile) return;
    for (const std::string& n : tile->notes()) warnings_.add(n);
  }

  Source& source_;
  Jpeg2000DecodeOptions options_;
  Warnings warnings_;
  const OpenFile file_;
  const Picture picture_;
  Team team_;
  ScratchPool<BlockScratch> scratch_;
  bool aligned_ = false;                          // rows of tiles are bands
  std::vector<std::unique_ptr<OpenTile>> tiles_;  // of the only row
  // Of rows of tiles that are not bands: the next one, and the one that waits.
  int tileRow_ = 0, rowBegin_ = 0, rowEnd_ = 0;
  std::vector<uint8_t> waiting_;
};

}  // namespace

std::unique_ptr<Decoder> openJpeg2000(Source& source, const Jpeg2000DecodeOptions& options) {
  return std::make_unique<Jpeg2000Decoder>(source, options);
}

Image decodeJpeg2000(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openJpeg2000(*source, options));
}

// ---- Components -----------------------------------------------------------------------------------------------------

namespace {

Jpeg2000Components emptyComponents(const Grid& grid, int reduce) {
  Jpeg2000Components out;
  out.x0 = grid.image.x0;
  out.y0 = grid.image.y0;
  out.x1 = grid.image.x1;
  out.y1 = grid.image.y1;
  for (const ComponentSize& c : grid.components) {
    const Rect area = reduced(scaled(grid.image, c.dx, c.dy), reduce);
    out.components.push_back({area.width(), area.height(), c.dx, c.dy, c.precision, c.isSigned, {}});
    out.components.back().samples.resize(size_t(area.width()) * size_t(area.height()));
  }
  return out;
}

}  // namespace

Jpeg2000Components decodeJpeg2000Components(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options) {
  Warnings warnings(options.warnings);
  const OpenFile file({data, size}, checked(options), &warnings);
  const Grid& grid = file.codestream.grid();
  Team team(options.threads);
  ScratchPool<BlockScratch> scratch;
  Jpeg2000Components out = emptyComponents(grid, options.reduce);
  for (int i = 0; i < file.codestream.tileCount(); ++i) {
    OpenTile t(file.codestream, i, options);
    std::map<int, Rect> wanted;
    for (int c = 0; c < t.tile().components(); ++c) wanted[c] = reduced(t.tile().componentArea(c), options.reduce);
    t.decode(wanted, &team, &scratch, nullptr);
    for (const std::string& n : t.notes()) warnings.add(n);
    t.decoder()->finishRows(INT32_MAX, &team);
    for (int c = 0; c < t.tile().components(); ++c) {
      Jpeg2000Components::Component& k = out.components[size_t(c)];
      const Rect& area = wanted[c];
      const Rect all = reduced(scaled(grid.image, k.dx, k.dy), options.reduce);
      for (int y = area.y0; y < area.y1 && !area.empty(); ++y)
        t.decoder()->row(c, y, area.x0, area.width(),
                         &k.samples[size_t(y - all.y0) * size_t(k.width) + size_t(area.x0 - all.x0)]);
    }
  }
  return out;
}

// ---- What a file says about itself ----------------------------------------------------------------------------------

Jpeg2000Info readJpeg2000Info(const uint8_t* data, size_t size, const Limits& limits) {
  Warnings warnings(nullptr);
  const Boxes boxes = readBoxes({data, size}, &warnings);
  const Codestream codestream({data + boxes.codestream, boxes.codestreamBytes}, boxes.codestream, limits);
  const Grid& grid = codestream.grid();
  const TileStyle& style = *codestream.styles().tile;
  const CodingStyle& coding = *codestream.styles().coding;
  Jpeg2000Info info;
  info.jp2 = boxes.present;
  info.width = grid.image.width();
  info.height = grid.image.height();
  info.tilesAcross = grid.tilesAcross();
  info.tilesDown = grid.tilesDown();
  for (const ComponentSize& c : grid.components) info.components.push_back({c.dx, c.dy, c.precision, c.isSigned});
  info.reversible = coding.reversible;
  info.colourTransform = style.colourTransform;
  info.levels = coding.levels;
  info.layers = style.layers;
  info.codeBlockWidth = 1 << coding.logBlockWidth;
  info.codeBlockHeight = 1 << coding.logBlockHeight;
  info.style = coding.blockStyle;
  info.progression = style.progression;
  info.colourSpace = boxes.colourSpace;
  info.paletteColumns = boxes.palette.columns;
  info.comments = codestream.comments();
  return info;
}

bool isJpeg2000(const uint8_t* data, size_t size) {
  static const uint8_t box[8] = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
  return size >= 12 && (std::memcmp(data, box, 8) == 0 || (data[0] == 0xFF && data[1] == 0x4F));
}

}  // namespace zelcodecs
