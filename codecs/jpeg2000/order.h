// The packets of a tile in their order (T.800 B.12). They are walked as they come; nothing is stored for them.
#pragma once

#include "common/error.h"
#include "jpeg2000/tile.h"

namespace zelcodecs::jpeg2000 {

// A packet's place.
struct PacketId {
  int layer, resolution, component, precinct;
};

// Where progressions change, packets that an earlier one has passed come again: the caller knows them.
class PacketWalk {
 public:
  // steps: how many places may be looked at. A file of few bytes may claim very many packets, or name the same ones
  // again and again.
  explicit PacketWalk(const Tile& tile, uint64_t steps = UINT64_MAX) : tile_(tile), stepsLeft_(steps) {}

  // Calls visit(id) for each packet, until it returns false. Throws Error(damaged) where the steps run out.
  template <class Visit>
  void run(const Visit& visit) {
    const std::vector<ProgressionChange>& changes = tile_.parameters.changes();
    if (changes.empty()) {
      ProgressionChange all;
      all.progression = tile_.parameters.style().progression;
      sequence(all, visit);
    }
    for (const ProgressionChange& change : changes)
      if (!sequence(change, visit)) return;
  }

 private:
  // The precincts of a resolution along one direction: where they begin on the reference grid.
  struct Axis {
    int64_t first, size;  // number of the first one; distance on the reference grid
    int count;
    int64_t from;  // where the tile begins

    int64_t corner(int i) const { return i ? (first + i) * size : std::max(first * size, from); }
    // The precinct that begins at a place, or -1.
    int at(int64_t place) const {
      if (place == corner(0)) return 0;
      const int64_t i = place / size - first;
      return place % size == 0 && i > 0 && i < count ? int(i) : -1;
    }
    // The next place behind one where a precinct begins, or INT64_MAX.
    int64_t next(int64_t place) const {
      if (place < corner(0)) return corner(0);
      const int64_t i = place / size - first + 1;
      return i < count ? corner(int(i)) : INT64_MAX;
    }
  };
  struct Grid {
    int component, resolution, row;  // row: that of the present place
    Axis x, y;
  };

  void step() {
    if (stepsLeft_-- == 0) throw Error(ErrorKind::damaged, "far more packets are claimed than there can be");
  }

  // The end of the resolutions that any of the components has.
  int resolutionEndOf(const ProgressionChange& s, int componentEnd) {
    int end = 0;
    for (int c = s.componentBegin; c < componentEnd; ++c) {
      step();
      end = std::max(end, tile_.levels(c) + 1);
    }
    return std::min(end, s.resolutionEnd);
  }

  template <class Visit>
  bool sequence(const ProgressionChange& s, const Visit& visit) {
    const int layers = std::min(s.layerEnd, tile_.parameters.style().layers);
    const int componentEnd = std::min(s.componentEnd, tile_.components());
    const int resolutionEnd = resolutionEndOf(s, componentEnd);
    const auto layerOf = [&](int l, int r) {  // one layer of a resolution, of all components
      for (int c = s.componentBegin; c < componentEnd; ++c) {
        step();
        if (r > tile_.levels(c)) continue;
        const int64_t count = tile_.resolution(c, r).precincts();
        for (int64_t p = 0; p < count; ++p) {
          step();
          if (!visit(PacketId{l, r, c, int(p)})) return false;
        }
      }
      return true;
    };
    switch (s.progression) {
      case Progression::lrcp:
        for (int l = 0; l < layers; ++l)
          for (int r = s.resolutionBegin; r < resolutionEnd; ++r)
            if (!layerOf(l, r)) return false;
        return true;
      case Progression::rlcp:
        for (int r = s.resolutionBegin; r < resolutionEnd; ++r)
          for (int l = 0; l < layers; ++l)
            if (!layerOf(l, r)) return false;
        return true;
      case Progression::rpcl:
        for (int r = s.resolutionBegin; r < resolutionEnd; ++r)
          if (!byPosition({r, r + 1, s.componentBegin, componentEnd}, layers, visit)) return false;
        return true;
      case Progression::pcrl:
        return byPosition({s.resolutionBegin, resolutionEnd, s.componentBegin, componentEnd}, layers, visit);
      case Progression::cprl:
        for (int c = s.componentBegin; c < componentEnd; ++c)
          if (!byPosition({s.resolutionBegin, resolutionEnd, c, c + 1}, layers, visit)) return false;
        return true;
    }
    return true;
  }

  struct Scope {
    int resolutionBegin, resolutionEnd, componentBegin, componentEnd;
  };

  std::vector<Grid> gridsOf(const Scope& s) {
    std::vector<Grid> grids;
    for (int c = s.componentBegin; c < s.componentEnd; ++c)
      for (int r = s.resolutionBegin; r < std::min(s.resolutionEnd, tile_.levels(c) + 1); ++r) {
        step();
        const Resolution res = tile_.resolution(c, r);
        if (res.precincts() == 0) continue;
        const ComponentSize& size = tile_.grid.components[size_t(c)];
        const auto axis = [&](int low, int log, int d, int count, int from) {
          return Axis{floorShift(low, log), int64_t{d} << (log + tile_.levels(c) - r), count, from};
        };
        grids.push_back({c, r, 0, axis(res.area.x0, res.logPrecinctWidth, size.dx, res.across, tile_.area.x0),
                         axis(res.area.y0, res.logPrecinctHeight, size.dy, res.down, tile_.area.y0)});
      }
    return grids;
  }

  // Precincts by the places where they begin, rows of places first; those of one place by component and resolution, in
  // which order the grids stand.
  template <class Visit>
  bool byPosition(const Scope& scope, int layers, const Visit& visit) {
    std::vector<Grid> grids = gridsOf(scope);
    std::vector<const Grid*> here;  // those that have precincts in the present row of places
    for (int64_t y = tile_.area.y0, nextY; y != INT64_MAX; y = nextY) {
      here.clear();
      nextY = INT64_MAX;
      for (Grid& g : grids) {
        step();
        g.row = g.y.at(y);
        if (g.row >= 0) here.push_back(&g);
        nextY = std::min(nextY, g.y.next(y));
      }
      for (int64_t x = tile_.area.x0, nextX; x != INT64_MAX && !here.empty(); x = nextX) {
        nextX = INT64_MAX;
        for (const Grid* g : here) {
          step();
          nextX = std::min(nextX, g->x.next(x));
          const int column = g->x.at(x);
          if (column < 0) continue;
          for (int l = 0; l < layers; ++l)
            if (!visit(PacketId{l, g->resolution, g->component, g->row * g->x.count + column})) return false;
        }
      }
    }
    return true;
  }

  const Tile& tile_;
  uint64_t stepsLeft_;
};

}  // namespace zelcodecs::jpeg2000
