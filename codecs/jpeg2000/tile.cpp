#include "jpeg2000/tile.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/error.h"

namespace zelcodecs::jpeg2000 {

// ---- Parameters -----------------------------------------------------------------------------------------------------

CodingStyle::CodingStyle() { std::fill(precincts, precincts + kMaxLevels + 1, uint8_t{0xFF}); }

Rect Grid::tileRect(int index) const {
  const int p = index % tilesAcross(), q = index / tilesAcross();
  const auto low = [](int64_t first, int64_t step, int n, int from) {
    return int(std::max<int64_t>(first + n * step, from));
  };
  const auto high = [](int64_t first, int64_t step, int n, int to) {
    return int(std::min<int64_t>(first + (n + 1) * step, to));
  };
  return {low(tile.x0, tile.width(), p, image.x0), low(tile.y0, tile.height(), q, image.y0),
          high(tile.x0, tile.width(), p, image.x1), high(tile.y0, tile.height(), q, image.y1)};
}

// Where one exponent stands for all, it falls with each level away from the coarsest (T.800 Equation E-5).
StepSize stepOf(const Quantisation& q, int resolution, int band) {
  const int i = bandIndex(resolution, band);
  if (q.kind != Quantisation::derived) return {q.exponent[i], q.mantissa[i]};
  return {q.exponent[0] - (resolution ? resolution - 1 : 0), q.mantissa[0]};
}

// ---- Tag trees ------------------------------------------------------------------------------------------------------

TagTree::TagTree(int width, int height) {
  if (width <= 0 || height <= 0) return;
  int first = 0;
  for (;;) {
    nodes_.resize(size_t(first) + size_t(width) * size_t(height));
    if (width == 1 && height == 1) break;
    const int above = first + width * height, across = (width + 1) / 2;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        nodes_[size_t(first) + size_t(y) * size_t(width) + size_t(x)].parent = above + y / 2 * across + x / 2;
    first = above;
    width = across;
    height = (height + 1) / 2;
  }
}

void TagTree::set(int leaf, int value) { nodes_[size_t(leaf)].value = value; }

void TagTree::settle() {
  std::vector<bool> touched(nodes_.size());
  for (size_t i = 0; i < nodes_.size(); ++i) {  // parents come after their children
    if (nodes_[i].parent < 0) continue;
    const size_t up = size_t(nodes_[i].parent);
    nodes_[up].value = touched[up] ? std::min(nodes_[up].value, nodes_[i].value) : nodes_[i].value;
    touched[up] = true;
  }
}

void TagTree::restart() {
  for (Node& n : nodes_) {
    n.low = 0;
    n.known = false;
  }
}

// ---- The division of a tile -----------------------------------------------------------------------------------------

namespace {

Rect scaled(const Rect& r, int dx, int dy) {
  return {ceilDiv(r.x0, dx), ceilDiv(r.y0, dy), ceilDiv(r.x1, dx), ceilDiv(r.y1, dy)};
}

Rect shifted(const Rect& r, int n, int xob, int yob) {
  const int64_t x = xob && n ? int64_t{1} << (n - 1) : 0, y = yob && n ? int64_t{1} << (n - 1) : 0;
  return {ceilShift(r.x0 - x, n), ceilShift(r.y0 - y, n), ceilShift(r.x1 - x, n), ceilShift(r.y1 - y, n)};
}

// The code blocks of a band that lie in a precinct, whose corner in the band and size are given.
void addBlocks(const Band& band, int index, const Rect& precinct, int logWidth, int logHeight, Precinct* to) {
  PrecinctBand pb;
  pb.band = index;
  const Rect r = {std::max(precinct.x0, band.area.x0), std::max(precinct.y0, band.area.y0),
                  std::min(precinct.x1, band.area.x1), std::min(precinct.y1, band.area.y1)};
  if (!r.empty()) {
    const int left = floorShift(r.x0, logWidth), top = floorShift(r.y0, logHeight);
    pb.across = ceilShift(r.x1, logWidth) - left;
    pb.down = ceilShift(r.y1, logHeight) - top;
    pb.blocks.resize(size_t(pb.across) * size_t(pb.down));
    for (int i = 0; i < pb.across * pb.down; ++i) {
      const int64_t x = left + i % pb.across, y = top + i / pb.across;
      CodeBlock& b = pb.blocks[size_t(i)];
      b.area = {int(std::max<int64_t>(x << logWidth, r.x0)), int(std::max<int64_t>(y << logHeight, r.y0)),
                int(std::min<int64_t>((x + 1) << logWidth, r.x1)), int(std::min<int64_t>((y + 1) << logHeight, r.y1))};
      b.planeX = band.planeX + b.area.x0 - band.area.x0;
      b.planeY = band.planeY + b.area.y0 - band.area.y0;
    }
    pb.inclusion = TagTree(pb.across, pb.down);
    pb.zeroPlanes = TagTree(pb.across, pb.down);
  }
  to->bands.push_back(std::move(pb));
}

void addPrecincts(Resolution* r, bool lowest, const CodingStyle& style, size_t* room) {
  const int lw = r->logPrecinctWidth, lh = r->logPrecinctHeight;
  if (r->area.empty()) return;
  const int left = floorShift(r->area.x0, lw), top = floorShift(r->area.y0, lh);
  r->across = ceilShift(r->area.x1, lw) - left;
  r->down = ceilShift(r->area.y1, lh) - top;
  // In bands a precinct covers half as much, but in the lowest resolution.
  const int half = lowest ? 0 : 1;
  const int logWidth = std::min(style.logBlockWidth, lw - half), logHeight = std::min(style.logBlockHeight, lh - half);
  const uint64_t precincts = uint64_t(r->across) * uint64_t(r->down);
  const uint64_t blocks =
      ((uint64_t(r->area.width()) >> logWidth) + 1) * ((uint64_t(r->area.height()) >> logHeight) + 1);
  if (precincts + blocks > *room) throw Error(ErrorKind::limit, "a tile with too many precincts or code blocks");
  *room -= size_t(precincts + blocks);
  r->precincts.resize(size_t(precincts));
  for (size_t i = 0; i < r->precincts.size(); ++i) {
    const int64_t x = left + int64_t(i) % r->across, y = top + int64_t(i) / r->across;
    const auto edge = [](int64_t n, int log) { return int(std::min<int64_t>(n << log, INT32_MAX)); };
    const Rect inBand = {edge(x, lw - half), edge(y, lh - half), edge(x + 1, lw - half), edge(y + 1, lh - half)};
    for (size_t b = 0; b < r->bands.size(); ++b)
      addBlocks(r->bands[b], int(b), inBand, logWidth, logHeight, &r->precincts[i]);
  }
}

}  // namespace

Tile layOut(const Grid& grid, int index, const TileParameters& parameters, size_t maxBlocks) {
  Tile tile;
  tile.area = grid.tileRect(index);
  size_t room = maxBlocks;
  for (size_t c = 0; c < grid.components.size(); ++c) {
    const ComponentStyle& style = parameters.components[c];
    const int levels = style.coding.levels;
    TileComponent tc;
    tc.dx = grid.components[c].dx;
    tc.dy = grid.components[c].dy;
    tc.area = scaled(tile.area, tc.dx, tc.dy);
    for (int r = 0; r <= levels; ++r) {
      Resolution res;
      res.area = shifted(tc.area, levels - r, 0, 0);
      res.logPrecinctWidth = style.coding.precincts[r] & 15;
      res.logPrecinctHeight = style.coding.precincts[r] >> 4;
      if (r && (res.logPrecinctWidth == 0 || res.logPrecinctHeight == 0))
        throw Error(ErrorKind::damaged, "a precinct of one sample above the lowest resolution");
      for (int kind = r ? 1 : 0; kind <= (r ? 3 : 0); ++kind) {
        Band b;
        b.kind = kind;
        b.area = shifted(tc.area, r ? levels - r + 1 : levels, kind & 1, kind >> 1);
        if (kind & 1) b.planeX = tc.resolutions.back().area.width();
        if (kind >> 1) b.planeY = tc.resolutions.back().area.height();
        const StepSize step = stepOf(style.quantisation, r, r ? kind - 1 : 0);
        b.planes = style.quantisation.guardBits + step.exponent - 1;
        if (!style.coding.reversible) {
          const int gain = kind == 0 ? 0 : kind == 3 ? 2 : 1;
          const double range = std::ldexp(1.0, grid.components[c].precision + gain - step.exponent);
          b.step = range * (1 + step.mantissa / 2048.0);
        }
        res.bands.push_back(b);
      }
      addPrecincts(&res, r == 0, style.coding, &room);
      tc.resolutions.push_back(std::move(res));
    }
    tile.components.push_back(std::move(tc));
  }
  return tile;
}

// ---- Packets --------------------------------------------------------------------------------------------------------

PacketOrder::PacketOrder(const Tile& tile, const TileParameters& parameters) {
  std::vector<ProgressionChange> changes = parameters.changes;
  if (changes.empty()) {
    changes.emplace_back();
    changes[0].progression = parameters.style.progression;
  }
  struct Keyed {
    std::array<int64_t, 5> key;
    Place place;
  };
  for (const ProgressionChange& change : changes) {
    std::vector<Keyed> all;
    const int componentEnd = std::min(change.componentEnd, int(tile.components.size()));
    for (int c = change.componentBegin; c < componentEnd; ++c) {
      const TileComponent& tc = tile.components[size_t(c)];
      const int count = int(tc.resolutions.size());
      for (int r = change.resolutionBegin; r < std::min(change.resolutionEnd, count); ++r) {
        const Resolution& res = tc.resolutions[size_t(r)];
        // Where the precinct's corner lies on the reference grid, but not before the tile.
        const auto corner = [&](int64_t first, int logSize, int d, int from) {
          return std::max<int64_t>((first << (logSize + count - 1 - r)) * d, from);
        };
        for (int p = 0; p < res.across * res.down; ++p) {
          const int64_t x = corner(floorShift(res.area.x0, res.logPrecinctWidth) + p % res.across, res.logPrecinctWidth,
                                   tc.dx, tile.area.x0);
          const int64_t y = corner(floorShift(res.area.y0, res.logPrecinctHeight) + p / res.across,
                                   res.logPrecinctHeight, tc.dy, tile.area.y0);
          Keyed k = {{}, {r, c, p}};
          switch (change.progression) {
            case Progression::lrcp:
            case Progression::rlcp:
              k.key = {r, c, p};
              break;
            case Progression::rpcl:
              k.key = {r, y, x, c, p};
              break;
            case Progression::pcrl:
              k.key = {y, x, c, r, p};
              break;
            case Progression::cprl:
              k.key = {c, y, x, r, p};
              break;
          }
          all.push_back(k);
        }
      }
    }
    std::sort(all.begin(), all.end(), [](const Keyed& a, const Keyed& b) { return a.key < b.key; });
    Sequence s = {change.progression, std::min(change.layerEnd, parameters.style.layers), {}};
    for (const Keyed& k : all) s.places.push_back(k.place);
    sequences_.push_back(std::move(s));
  }
}

}  // namespace zelcodecs::jpeg2000
