// A tile divided into what packets carry: components, resolutions, precincts, code blocks (T.800 Annex B).
#pragma once

#include <memory>

#include "jpeg2000/format.h"

namespace zelcodecs::jpeg2000 {

// A tree of minima over a grid, coded bit by bit as far as a threshold asks (T.800 B.10.2). Reader and writer share it:
// the writer sets the leaves, the reader finds them.
class TagTree {
 public:
  TagTree() = default;
  TagTree(int width, int height);

  // Writer: the value of a leaf, before the first is coded.
  void set(int leaf, int value);
  void settle();  // fills the inner nodes

  // Codes what a reader needs to know whether the leaf's value is below the threshold. put(bit) writes.
  template <class Put>
  void code(int leaf, int threshold, const Put& put) {
    int path[32], low = 0;
    for (int n = pathTo(leaf, path) - 1; n >= 0; --n) {
      Node& node = nodes_[size_t(path[n])];
      if (node.low < low) node.low = low;
      for (; node.low < threshold; ++node.low) {
        if (node.low >= node.value) {
          if (!node.known) put(1);
          node.known = true;
          break;
        }
        put(0);
      }
      low = node.low;
    }
  }
  // Reads as much; whether the leaf's value is below the threshold. get() gives a bit.
  template <class Get>
  bool decode(int leaf, int threshold, const Get& get) {
    int path[32], low = 0;
    for (int n = pathTo(leaf, path) - 1; n >= 0; --n) {
      Node& node = nodes_[size_t(path[n])];
      if (node.low < low) node.low = low;
      while (node.low < threshold && !node.known) {
        if (get())
          node.known = true;
        else
          ++node.low;
      }
      low = node.low;
    }
    const Node& node = nodes_[size_t(leaf)];
    return node.known && node.low < threshold;
  }
  // A leaf's value, once decode() has found it.
  int value(int leaf) const { return nodes_[size_t(leaf)].low; }
  void restart();  // forgets what has been coded, not the values

 private:
  struct Node {
    int parent = -1;
    int value = 0, low = 0;
    bool known = false;
  };
  int pathTo(int leaf, int* path) const {
    int n = 0;
    for (int at = leaf; at >= 0; at = nodes_[size_t(at)].parent) path[n++] = at;
    return n;
  }
  std::vector<Node> nodes_;
};

struct CodeBlock {
  Rect area;  // in the band
  // Where its coefficients lie in the plane of the tile component.
  int planeX = 0, planeY = 0;

  // Of what the packets brought or will bring.
  int zeroPlanes = 0;
  int passes = 0;
  int lengthBits = 3;  // Lblock
  bool included = false;
  int openSegment = 0, openPasses = 0;  // the segment that the next pass belongs to, and its passes so far
  std::vector<uint8_t> data;
  std::vector<int> segments;       // lengths of the codeword segments in data
  std::vector<int> segmentPasses;  // passes in each
  // Writer: how many passes each layer brings in all, and the bytes after each pass.
  std::vector<int> layerPasses;
  std::vector<int> rates;
};

// The part of a band that lies in a precinct.
struct PrecinctBand {
  int band = 0;  // 0 LL or HL, 1 LH, 2 HH, for resolutions from 1 on
  int across = 0, down = 0;
  std::vector<CodeBlock> blocks;
  TagTree inclusion, zeroPlanes;
};

struct Precinct {
  std::vector<PrecinctBand> bands;
  int nextLayer = 0;
};

struct Band {
  Rect area;
  int kind = 0;  // 0 LL, 1 HL, 2 LH, 3 HH
  int planeX = 0, planeY = 0;
  int planes = 0;   // magnitude bit planes, without those of a region of interest
  double step = 1;  // quantisation step; 1 in reversible coding
};

struct Resolution {
  Rect area;
  int logPrecinctWidth = 15, logPrecinctHeight = 15;
  int across = 0, down = 0;  // precincts
  std::vector<Band> bands;
  std::vector<Precinct> precincts;
};

struct TileComponent {
  Rect area;
  int dx = 1, dy = 1;
  std::vector<Resolution> resolutions;
};

struct Tile {
  Rect area;
  std::vector<TileComponent> components;
};

// Throws where there would be more code blocks than limit.
Tile layOut(const Grid& grid, int index, const TileParameters& parameters, size_t maxBlocks);

// A packet's place.
struct PacketId {
  int layer, resolution, component, precinct;
};

// The packets of a tile in their order (T.800 B.12). Where progressions change, packets of layers that an earlier one
// has passed come again: the caller knows by Precinct::nextLayer.
class PacketOrder {
 public:
  PacketOrder(const Tile& tile, const TileParameters& parameters);
  // Calls visit(id) for each; it returns false to end the walk.
  template <class Visit>
  void walk(const Visit& visit) const {
    for (const Sequence& s : sequences_)
      if (!walk(s, visit)) return;
  }

 private:
  struct Place {
    int resolution, component, precinct;
  };
  struct Sequence {
    Progression progression;
    int layers;
    std::vector<Place> places;  // in their order, sorted by resolution where layers come before it
  };
  template <class Visit>
  static bool walk(const Sequence& s, const Visit& visit) {
    const auto call = [&](int layer, const Place& p) {
      return visit(PacketId{layer, p.resolution, p.component, p.precinct});
    };
    if (s.progression == Progression::lrcp) {
      for (int l = 0; l < s.layers; ++l)
        for (const Place& p : s.places)
          if (!call(l, p)) return false;
    } else if (s.progression == Progression::rlcp) {
      for (size_t begin = 0, end = 0; begin < s.places.size(); begin = end) {
        while (end < s.places.size() && s.places[end].resolution == s.places[begin].resolution) ++end;
        for (int l = 0; l < s.layers; ++l)
          for (size_t i = begin; i < end; ++i)
            if (!call(l, s.places[i])) return false;
      }
    } else {
      for (const Place& p : s.places)
        for (int l = 0; l < s.layers; ++l)
          if (!call(l, p)) return false;
    }
    return true;
  }
  std::vector<Sequence> sequences_;
};

}  // namespace zelcodecs::jpeg2000
