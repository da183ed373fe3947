// The parameters of a JPEG 2000 codestream (T.800 Annex A), shared by reader and writer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "jpeg2000/jpeg2000.h"

namespace zelcodecs::jpeg2000 {

enum MarkerCode : int {
  kSOC = 0xFF4F,
  kCAP = 0xFF50,
  kSIZ = 0xFF51,
  kCOD = 0xFF52,
  kCOC = 0xFF53,
  kTLM = 0xFF55,
  kPLM = 0xFF57,
  kPLT = 0xFF58,
  kQCD = 0xFF5C,
  kQCC = 0xFF5D,
  kRGN = 0xFF5E,
  kPOC = 0xFF5F,
  kPPM = 0xFF60,
  kPPT = 0xFF61,
  kCRG = 0xFF63,
  kCOM = 0xFF64,
  kSOT = 0xFF90,
  kSOP = 0xFF91,
  kEPH = 0xFF92,
  kSOD = 0xFF93,
  kEOC = 0xFFD9
};

constexpr int kMaxLevels = 32;
constexpr int kMaxBands = 3 * kMaxLevels + 1;

constexpr int ceilDiv(int64_t a, int64_t b) { return int((a + b - 1) / b); }
constexpr int ceilShift(int64_t a, int n) { return int((a + (int64_t{1} << n) - 1) >> n); }
constexpr int floorShift(int64_t a, int n) { return int(a >> n); }

struct Rect {
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  int width() const { return x1 - x0; }
  int height() const { return y1 - y0; }
  bool empty() const { return x1 <= x0 || y1 <= y0; }
};
inline Rect intersection(const Rect& a, const Rect& b) {
  return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}
inline bool operator==(const Rect& a, const Rect& b) {
  return a.x0 == b.x0 && a.y0 == b.y0 && a.x1 == b.x1 && a.y1 == b.y1;
}

struct ComponentSize {
  int precision = 8;
  bool isSigned = false;
  int dx = 1, dy = 1;
};

// SIZ.
struct Grid {
  Rect image;
  Rect tile;  // the first tile, which gives the others their places
  std::vector<ComponentSize> components;
  int tilesAcross() const { return ceilDiv(int64_t{image.x1} - tile.x0, tile.width()); }
  int tilesDown() const { return ceilDiv(int64_t{image.y1} - tile.y0, tile.height()); }
  Rect tileRect(int index) const;
};

// COD and COC, for one component of a tile.
struct CodingStyle {
  int levels = 5;
  int logBlockWidth = 6, logBlockHeight = 6;
  int blockStyle = 0;
  bool reversible = true;
  uint8_t precincts[kMaxLevels + 1];  // log2 of the width in the low 4 bits, of the height in the high ones
  CodingStyle();
};

// What COD says of a tile as a whole.
struct TileStyle {
  Progression progression = Progression::lrcp;
  int layers = 1;
  bool colourTransform = false;
  bool sop = false, eph = false;
};

// QCD and QCC.
struct Quantisation {
  enum Kind : uint8_t { none, derived, expounded } kind = none;
  uint8_t guardBits = 2;
  uint8_t count = 0;
  uint8_t exponent[kMaxBands] = {};
  uint16_t mantissa[kMaxBands] = {};
};

// A part of a tile's packets in an order of its own (POC).
struct ProgressionChange {
  int resolutionBegin = 0, resolutionEnd = kMaxLevels + 1;
  int componentBegin = 0, componentEnd = 16384;
  int layerEnd = 65535;
  Progression progression = Progression::lrcp;
};

// What one header says of how tiles are coded: the main header, or that of a tile. Only what is said is held, so that a
// header costs memory by its bytes, whatever the number of components and tiles.
struct HeaderStyles {
  std::optional<TileStyle> tile;              // COD
  std::optional<CodingStyle> coding;          // COD
  std::optional<Quantisation> quantisation;   // QCD
  std::map<int, CodingStyle> codings;         // COC, by component
  std::map<int, Quantisation> quantisations;  // QCC
  std::map<int, int> shifts;                  // RGN: the planes by which a region of interest is raised
  std::vector<ProgressionChange> changes;     // POC
};

// How a tile is coded. What its own header says goes before the main header, and within each what is said of one
// component before what is said of all (T.800 A.6.1 to A.6.5).
class TileParameters {
 public:
  TileParameters() = default;
  // tile: null where the tile's header says nothing.
  explicit TileParameters(const HeaderStyles* main, const HeaderStyles* tile = nullptr) : main_(main), tile_(tile) {}

  const TileStyle& style() const { return tile_ && tile_->tile ? *tile_->tile : *main_->tile; }
  const CodingStyle& coding(int component) const {
    return *find(component, &HeaderStyles::codings, &HeaderStyles::coding);
  }
  const Quantisation& quantisation(int component) const {
    return *find(component, &HeaderStyles::quantisations, &HeaderStyles::quantisation);
  }
  int roiShift(int component) const {
    for (const HeaderStyles* h : {tile_, main_})
      if (h && !h->shifts.empty())
        if (const auto at = h->shifts.find(component); at != h->shifts.end()) return at->second;
    return 0;
  }
  const std::vector<ProgressionChange>& changes() const {
    return tile_ && !tile_->changes.empty() ? tile_->changes : main_->changes;
  }

 private:
  template <class T>
  const T* find(int component, std::map<int, T> HeaderStyles::*each, std::optional<T> HeaderStyles::*all) const {
    for (const HeaderStyles* h : {tile_, main_}) {
      if (!h) continue;
      if (!(h->*each).empty())
        if (const auto at = (h->*each).find(component); at != (h->*each).end()) return &at->second;
      if (h->*all) return &*(h->*all);
    }
    return nullptr;  // not for a main header that has been read whole: it has both
  }
  const HeaderStyles* main_ = nullptr;
  const HeaderStyles* tile_ = nullptr;
};

// Which quantisation entry belongs to a band: LL, then HL (0), LH (1), HH (2) of each resolution from 1 on.
constexpr int bandIndex(int resolution, int band) { return resolution == 0 ? 0 : 3 * (resolution - 1) + band + 1; }

// The exponent and the mantissa of a band (T.800 E.1.1).
struct StepSize {
  int exponent, mantissa;
};
StepSize stepOf(const Quantisation& q, int resolution, int band);

}  // namespace zelcodecs::jpeg2000
