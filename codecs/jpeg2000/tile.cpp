// The arithmetic of T.800 Annex B.
#include "jpeg2000/tile.h"

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

// ---- The division of a tile -----------------------------------------------------------------------------------------

Rect scaled(const Rect& r, int dx, int dy) {
  return {ceilDiv(r.x0, dx), ceilDiv(r.y0, dy), ceilDiv(r.x1, dx), ceilDiv(r.y1, dy)};
}

Rect reduced(const Rect& r, int n) {
  return {ceilShift(r.x0, n), ceilShift(r.y0, n), ceilShift(r.x1, n), ceilShift(r.y1, n)};
}

namespace {

// A band after so many levels (T.800 Equation B-15).
Rect bandArea(const Rect& r, int level, int kind) {
  const int64_t half = level ? int64_t{1} << (level - 1) : 0, x = kind & 1 ? half : 0, y = kind >> 1 ? half : 0;
  return {ceilShift(r.x0 - x, level), ceilShift(r.y0 - y, level), ceilShift(r.x1 - x, level),
          ceilShift(r.y1 - y, level)};
}

}  // namespace

Rect Tile::componentArea(int c) const {
  const ComponentSize& size = grid.components[size_t(c)];
  return scaled(area, size.dx, size.dy);
}

Rect Tile::resolutionArea(int c, int r) const { return reduced(componentArea(c), levels(c) - r); }

Resolution Tile::resolution(int c, int r) const {
  const CodingStyle& style = parameters.coding(c);
  const Quantisation& quantisation = parameters.quantisation(c);
  const Rect component = componentArea(c);
  if (quantisation.kind != Quantisation::derived && quantisation.count <= bandIndex(r, r ? 2 : 0))
    throw Error(ErrorKind::damaged, "fewer quantisation steps than bands");
  if (quantisation.kind == Quantisation::none && !style.reversible)
    throw Error(ErrorKind::damaged, "an irreversible transform without quantisation steps");
  Resolution res;
  res.area = reduced(component, style.levels - r);
  res.bandCount = r ? 3 : 1;
  for (int i = 0; i < res.bandCount; ++i) {
    Band& b = res.bands[i];
    b.kind = r ? i + 1 : 0;
    b.area = bandArea(component, r ? style.levels - r + 1 : style.levels, b.kind);
    const StepSize step = stepOf(quantisation, r, i);
    b.planes = quantisation.guardBits + step.exponent - 1;
    if (style.reversible) continue;
    const int gain = b.kind == 0 ? 0 : b.kind == 3 ? 2 : 1;
    b.step = std::ldexp(1 + step.mantissa / 2048.0, grid.components[size_t(c)].precision + gain - step.exponent);
  }
  // In bands a precinct covers half as much, but in the lowest resolution.
  const int half = r ? 1 : 0;
  res.logPrecinctWidth = style.precincts[r] & 15;
  res.logPrecinctHeight = style.precincts[r] >> 4;
  if (res.logPrecinctWidth < half || res.logPrecinctHeight < half)
    throw Error(ErrorKind::damaged, "a precinct of one sample above the lowest resolution");
  res.logBlockWidth = std::min(style.logBlockWidth, res.logPrecinctWidth - half);
  res.logBlockHeight = std::min(style.logBlockHeight, res.logPrecinctHeight - half);
  if (res.area.empty()) return res;
  res.across = ceilShift(res.area.x1, res.logPrecinctWidth) - floorShift(res.area.x0, res.logPrecinctWidth);
  res.down = ceilShift(res.area.y1, res.logPrecinctHeight) - floorShift(res.area.y0, res.logPrecinctHeight);
  return res;
}

BlockGrid Resolution::blocksOf(int precinct, int band) const {
  const int half = bandCount == 1 ? 0 : 1, lw = logPrecinctWidth - half, lh = logPrecinctHeight - half;
  const int64_t x = floorShift(area.x0, logPrecinctWidth) + precinct % across;
  const int64_t y = floorShift(area.y0, logPrecinctHeight) + precinct / across;
  const auto edge = [](int64_t n, int log) { return int(std::min<int64_t>(n << log, INT32_MAX)); };
  BlockGrid g;
  g.bounds = intersection(bands[band].area, {edge(x, lw), edge(y, lh), edge(x + 1, lw), edge(y + 1, lh)});
  g.logWidth = logBlockWidth;
  g.logHeight = logBlockHeight;
  if (g.bounds.empty()) return g;
  g.left = floorShift(g.bounds.x0, logBlockWidth);
  g.top = floorShift(g.bounds.y0, logBlockHeight);
  g.across = ceilShift(g.bounds.x1, logBlockWidth) - g.left;
  g.down = ceilShift(g.bounds.y1, logBlockHeight) - g.top;
  return g;
}

}  // namespace zelcodecs::jpeg2000
