// Resolution by resolution: the blocks are decoded into the plane around the samples of the resolution below, and one
// level of the inverse transform makes them samples of this resolution, in place.
#include "jpeg2000/tile_decoder.h"

#include <cmath>
#include <cstring>
#include <mutex>

namespace zelcodecs::jpeg2000 {
namespace {

// Fraction bits of the coefficients of irreversible transforms: as many as fit 31 bits beside samples of a precision,
// gains of the transforms and some room.
int fractionBits(int precision) { return std::max(1, std::min(8, 22 - precision)); }

// Where the coefficients of a band lie: those of an area of its resolution, and where in the plane.
struct BandWindow {
  Rect area;  // in the band
  int x, y;   // in the plane
};

// Low coefficients stand at even places of the resolution's grid, high ones at odd ones.
BandWindow bandWindow(const Rect& w, int kind) {
  const auto low = [](int v) { return ceilShift(v, 1); };
  const auto part = [&](int v, bool high) { return high ? floorShift(v, 1) : low(v); };
  const bool right = kind & 1, down = kind >> 1;
  return {{part(w.x0, right), part(w.y0, down), part(w.x1, right), part(w.y1, down)},
          right ? low(w.x1) - low(w.x0) : 0,
          down ? low(w.y1) - low(w.y0) : 0};
}

// How far from a sample the coefficients lie that it depends on (T.800 F.3.8).
constexpr int supportOf(bool reversible) { return reversible ? 2 : 4; }

}  // namespace

template <>
int16_t* TileDecoder::Component::at<int16_t>(int x, int y) {
  return words16.data() + size_t(y) * size_t(width) + size_t(x);
}
template <>
int32_t* TileDecoder::Component::at<int32_t>(int x, int y) {
  return words32.data() + size_t(y) * size_t(width) + size_t(x);
}

// ---- What is going to be decoded ------------------------------------------------------------------------------------

TileDecoder::TileDecoder(const Tile& tile, const std::map<int, Rect>& wanted, const Jpeg2000DecodeOptions& options,
                         ScratchPool<BlockScratch>* scratch)
    : tile_(tile), options_(options), scratch_(scratch) {
  for (const auto& [c, area] : wanted)
    if (!area.empty()) components_[c].wanted = area;
  checkColourTransform();
  for (auto& [c, k] : components_) setUp(c, &k);
}

// Where any of the three is wanted, all are.
void TileDecoder::checkColourTransform() {
  if (!tile_.parameters.style().colourTransform) return;
  const auto differ = [&](int c) {
    const ComponentSize &a = tile_.grid.components[0], &b = tile_.grid.components[size_t(c)];
    const CodingStyle &s = tile_.parameters.coding(0), &t = tile_.parameters.coding(c);
    return a.dx != b.dx || a.dy != b.dy || s.reversible != t.reversible || s.levels != t.levels;
  };
  if (tile_.components() < 3 || differ(1) || differ(2)) {
    notes_.push_back("a colour transform without three components that are alike is left out");
    return;
  }
  const auto any = components_.begin();
  if (any == components_.end() || any->first >= 3) return;
  const Rect area = any->second.wanted;
  for (int c = 0; c < 3; ++c) components_[c].wanted = area;
  colourTransform_ = true;
  finished_ = area.y0;
}

// What an area at one resolution depends on is a window of that resolution, somewhat larger; the low coefficients of
// this window are what is needed of the resolution below.
void TileDecoder::setUp(int c, Component* component) {
  Component& k = *component;
  k.shown = tile_.levels(c) - options_.reduce;
  if (k.shown < 0)
    throw Error(ErrorKind::argument, "a tile has " + std::to_string(tile_.levels(c)) + " resolutions to leave out");
  k.reversible = tile_.parameters.coding(c).reversible;
  k.narrow = fitsNarrow(c);
  if (colourTransform_ && c < 3) k.narrow = fitsNarrow(0) && fitsNarrow(1) && fitsNarrow(2);  // the three are alike
  if (!k.reversible) k.fraction = fractionBits(tile_.grid.components[size_t(c)].precision);
  k.windows.resize(size_t(k.shown) + 1);
  Rect needed = k.wanted;
  for (int r = k.shown; r >= 0; --r) {
    Rect& w = k.windows[size_t(r)];
    const int more = r ? supportOf(k.reversible) : 0;
    w = intersection({needed.x0 - more, needed.y0 - more, needed.x1 + more, needed.y1 + more},
                     tile_.resolutionArea(c, r));
    needed = bandWindow(w, 0).area;
    k.width = std::max(k.width, w.width());
    k.height = std::max(k.height, w.height());
  }
}

// Whether 16 bits are enough for the coefficients of a component, and for the sums of two of them that the transforms
// make.
bool TileDecoder::fitsNarrow(int c) const {
  constexpr int kMostPlanes = 13, kMostBits = 10;
  const Quantisation& q = tile_.parameters.quantisation(c);
  if (!tile_.parameters.coding(c).reversible || tile_.grid.components[size_t(c)].precision > kMostBits) return false;
  int exponent = 0;
  for (int i = 0; i < q.count; ++i) exponent = std::max<int>(exponent, q.exponent[i]);
  return q.guardBits + exponent - 1 + tile_.parameters.roiShift(c) <= kMostPlanes;
}

uint64_t TileDecoder::planeBytes() const {
  uint64_t bytes = 0;
  for (const auto& [c, k] : components_) bytes += uint64_t(k.width) * uint64_t(k.height) * (k.narrow ? 2 : 4);
  return bytes;
}

void TileDecoder::report(const Error& e) {
  const bool canGoOn = e.kind() == ErrorKind::damaged || e.kind() == ErrorKind::unsupported;
  if (!options_.keepGoing || !canGoOn) throw e;
  notes_.emplace_back(e.what());
}

// ---- Packets and blocks ---------------------------------------------------------------------------------------------

bool TileDecoder::contributes(const CodeBlock& block) const {
  if (block.firstPiece == CodedPiece::kNone) return false;  // that of a block that is not wanted
  const Component& k = components_.at(block.component);
  const Rect& w = k.windows[block.resolution];
  const Rect& area = block.resolution ? bandWindow(w, block.band + 1).area : w;
  return !intersection(block.area, area).empty();
}

void TileDecoder::decode(TileBytes bytes, Team* team, const Progress& progress) {
  if (bytes.packets.empty() && !bytes.packed) return report(Error(ErrorKind::damaged, "packets are missing"));
  PacketReader reader(tile_, std::move(bytes), options_.limits.maxMemory);
  readPackets(&reader);
  std::vector<std::vector<uint32_t>> byResolution;
  for (size_t i = 0; i < reader.blocks().size(); ++i) {
    const CodeBlock& b = reader.blocks()[i];
    if (!contributes(b)) continue;
    if (byResolution.size() <= b.resolution) byResolution.resize(size_t(b.resolution) + 1);
    byResolution[b.resolution].push_back(uint32_t(i));
  }
  if (byResolution.empty()) return;
  blank_ = false;
  allocate();
  try {
    decodeBlocks(&reader, byResolution, team, progress);
  } catch (const Error& e) {
    blank_ = true;
    report(e);
  }
}

void TileDecoder::decodeBlocks(PacketReader* reader, std::vector<std::vector<uint32_t>> byResolution, Team* team,
                               const Progress& progress) {
  size_t total = 0, done = 0;
  int highest = 0;
  for (const auto& blocks : byResolution) total += blocks.size();
  for (const auto& [c, k] : components_) highest = std::max(highest, k.shown);
  byResolution.resize(size_t(highest) + 1);
  for (int r = 0; r <= highest; ++r)
    decodeResolution(r, reader, byResolution[size_t(r)], team, [&](size_t blocks) {
      done += blocks;
      if (progress) progress(double(done) / double(total));
    });
}

void TileDecoder::readPackets(PacketReader* reader) {
  const int layers = options_.maxLayers ? options_.maxLayers : INT32_MAX;
  try {
    reader->readAll([&](const PacketId& id) {
      const auto k = components_.find(id.component);
      return id.layer < layers && k != components_.end() && id.resolution <= k->second.shown;
    });
  } catch (const Error& e) {
    report(e);
  }
}

void TileDecoder::allocate() {
  const uint64_t bytes = planeBytes(), limit = options_.limits.maxMemory;
  for (const auto& [c, k] : components_)
    if (std::max(k.width, k.height) > INT32_MAX / 8) throw Error(ErrorKind::limit, "a tile that is too wide or high");
  if (bytes > limit)
    throw Error(ErrorKind::limit, "decoding holds " + std::to_string(bytes >> 20) +
                                      " MiB of samples, above the limit of " + std::to_string(limit >> 20) +
                                      " MiB (limits.maxMemory)");
  for (auto& [c, k] : components_) {
    const size_t count = size_t(k.width) * size_t(k.height);
    if (k.narrow)
      k.words16 = ZeroedVector<int16_t>(count);
    else
      k.words32 = ZeroedVector<int32_t>(count);
  }
}

void TileDecoder::decodeResolution(int r, PacketReader* reader, const std::vector<uint32_t>& blocks, Team* team,
                                   const std::function<void(size_t)>& done) {
  std::vector<Component*> here;
  for (auto& [c, k] : components_) {
    if (r > k.shown) continue;
    k.resolution = tile_.resolution(c, r);
    makeRoom(&k, r);
    here.push_back(&k);
  }
  // Some blocks make a piece of work, and some pieces pass between two reports.
  const size_t perPiece = 4, perRound = 256;
  for (size_t first = 0; first < blocks.size(); first += perRound) {
    const size_t count = std::min(perRound, blocks.size() - first);
    std::vector<BlockState> states(count, BlockState::whole);
    std::vector<std::string> failures(count);
    team->forEach(int((count + perPiece - 1) / perPiece), [&](int piece) {
      for (size_t i = size_t(piece) * perPiece; i < std::min(count, (size_t(piece) + 1) * perPiece); ++i) try {
          states[i] = decodeInto(reader->blocks()[blocks[first + i]], *reader);
          if (states[i] == BlockState::damaged)
            throw Error(ErrorKind::damaged, "a code block that does not end as it should");
        } catch (const Error& e) {
          if (!options_.keepGoing || e.kind() == ErrorKind::internal) throw;
          failures[i] = e.what();
        }
    });
    for (size_t i = 0; i < count; ++i) {
      if (states[i] == BlockState::surplus) notes_.emplace_back("a code block has more passes than bit planes");
      if (!failures[i].empty()) notes_.push_back(failures[i]);
    }
    done(count);
  }
  if (r) team->forEach(int(here.size()), [&](int i) { transform(here[size_t(i)], r); });
}

// The samples of the resolution below become the low coefficients of this one. Where more of them has been decoded than
// this resolution's window has, they move to the top left, and the rest is cleared.
void TileDecoder::makeRoom(Component* k, int r) {
  if (r == 0) return;
  const Rect &w = k->windows[size_t(r)], &before = k->windows[size_t(r) - 1], low = bandWindow(w, 0).area;
  if (low == before) return;
  const auto move = [&](auto* words) {
    using Word = std::decay_t<decltype(*words)>;
    for (int y = 0; y < w.height(); ++y) {
      Word* const row = k->at<Word>(0, y);
      const int kept = y < low.height() ? low.width() : 0;
      if (kept) std::memmove(row, k->at<Word>(low.x0 - before.x0, low.y0 - before.y0 + y), size_t(kept) * sizeof(Word));
      if (w.width() > kept) std::memset(row + kept, 0, size_t(w.width() - kept) * sizeof(Word));
    }
  };
  if (k->narrow)
    move(k->words16.data());
  else
    move(k->words32.data());
}

// The segments of a block, where possible as they lie in the file.
BlockState TileDecoder::decodeInto(const CodeBlock& block, const PacketReader& reader) {
  const auto scratch = scratch_->lease([] { return std::make_unique<BlockScratch>(); });
  std::vector<uint8_t>& joined = scratch->joined;
  std::vector<int>& segments = scratch->segments;
  int32_t words[kMaxBlockSamples];
  joined.clear();
  segments.clear();
  Component& k = components_.at(block.component);
  const Band& band = k.resolution.bands[block.band];
  const uint8_t none = 0;
  CodedBlock coded = {{block.area.width(), block.area.height()},
                      band.kind,
                      band.planes + tile_.parameters.roiShift(block.component),
                      block.zeroPlanes,
                      0,
                      nullptr,
                      &segments};
  size_t together = 0;  // bytes that lie one behind the other from coded.data on
  bool apart = false;
  for (uint32_t i = block.firstPiece; i != CodedPiece::kNone; i = reader.piece(i).next) {
    const CodedPiece& p = reader.piece(i);
    coded.passes += p.passes;
    if (size_t(p.segment) >= segments.size()) segments.resize(size_t(p.segment) + 1);
    segments[size_t(p.segment)] += int(p.bytes);
    if (p.bytes == 0) continue;
    if (!coded.data) coded.data = p.at;
    if (!apart && p.at != coded.data + together) {
      apart = true;
      joined.assign(coded.data, coded.data + together);
    }
    if (apart) joined.insert(joined.end(), p.at, p.at + p.bytes);
    together += p.bytes;
  }
  if (apart) coded.data = joined.data();
  if (!coded.data) coded.data = &none;
  const BlockState state =
      scratch->decoder.decode(coded, tile_.parameters.coding(block.component).blockStyle, !k.reversible, words);
  place(block, words, &k);
  return state;
}

// What of a block lies in the window, as coefficients in the plane.
void TileDecoder::place(const CodeBlock& block, const int32_t* words, Component* k) const {
  const Band& band = k->resolution.bands[block.band];
  const Rect& w = k->windows[block.resolution];
  const BandWindow to = block.resolution ? bandWindow(w, band.kind) : BandWindow{w, 0, 0};
  const Rect area = intersection(block.area, to.area);
  const int halves = !k->reversible;
  // What lies above the shift belongs to the region of interest, the rest to the background (T.800 H.1).
  const int roiShift = tile_.parameters.roiShift(block.component), above = roiShift + halves;
  const auto put = [&](auto* first, const auto& value) {
    using Word = std::decay_t<decltype(*first)>;
    for (int y = area.y0; y < area.y1; ++y) {
      const int32_t* const from = words + (y - block.area.y0) * block.area.width() + (area.x0 - block.area.x0);
      Word* const row = k->at<Word>(to.x + area.x0 - to.area.x0, to.y + y - to.area.y0);
      for (int x = 0; x < area.width(); ++x) {
        const int32_t word = from[x], magnitude = value(word & INT32_MAX), sign = word >> 31;
        row[x] = Word((magnitude ^ sign) - sign);
      }
    }
  };
  const auto lowered = [=](int32_t m) { return above < 31 && m >> above ? m >> roiShift : m; };
  if (halves) {
    const float scale = float(std::ldexp(band.step, k->fraction - 1));
    const auto scaled = [=](int32_t m) { return int32_t(std::min(float(m) * scale + 0.5f, 2147483520.0f)); };
    if (roiShift)
      put(k->words32.data(), [&](int32_t m) { return scaled(lowered(m)); });
    else
      put(k->words32.data(), scaled);
  } else if (k->narrow) {
    put(k->words16.data(), lowered);
  } else {
    put(k->words32.data(), lowered);
  }
}

// ---- Transforms -----------------------------------------------------------------------------------------------------

void TileDecoder::transform(Component* k, int r) const {
  const Rect& w = k->windows[size_t(r)];
  if (w.empty()) return;
  const ZeliRect rect = {w.x0 & 1, w.y0 & 1, w.width(), w.height()};
  const auto size = k->narrow       ? zeliWTGetBufSize_B53_JPEG2K_16s_C1IR
                    : k->reversible ? zeliWTGetBufSize_B53_JPEG2K_32s_C1IR
                                    : zeliWTGetBufSize_D97_JPEG2K_32s_C1IR;
  int bytes = 0;
  require(size(&rect, &bytes));
  std::vector<uint8_t> buffer(size_t(bytes) + 1);
  if (k->narrow)
    require(zeliWTInv_B53_JPEG2K_16s_C1IR(k->words16.data(), k->width * 2, &rect, buffer.data()));
  else
    require((k->reversible ? zeliWTInv_B53_JPEG2K_32s_C1IR : zeliWTInv_D97_JPEG2K_32s_C1IR)(
        k->words32.data(), k->width * 4, &rect, buffer.data()));
}

// The wanted rows from y0 to y1. Irreversible planes become single precision.
void TileDecoder::undoColours(int y0, int y1) {
  Component& first = components_.at(0);
  const Rect& w = first.windows[size_t(first.shown)];
  const ZeliSize size = {first.wanted.width(), y1 - y0};
  int16_t* narrow[3];
  int32_t* wide[3];
  float* real[3];
  for (int i = 0; i < 3; ++i) {
    Component& k = components_.at(i);
    const int x = first.wanted.x0 - w.x0, y = y0 - w.y0;
    if (k.narrow) {
      narrow[i] = k.at<int16_t>(x, y);
      continue;
    }
    wide[i] = k.at<int32_t>(x, y);
    real[i] = reinterpret_cast<float*>(wide[i]);
    if (k.reversible) continue;
    const float scale = std::ldexp(1.0f, -k.fraction);
    for (int row = 0; row < size.height; ++row)
      for (int32_t *p = wide[i] + size_t(row) * size_t(k.width), *end = p + size.width; p < end; ++p) {
        const float f = float(*p) * scale;
        std::memcpy(p, &f, 4);
      }
  }
  if (first.narrow)
    require(zeliRCTInv_JPEG2K_16s_P3IR(narrow, first.width * 2, size));
  else if (first.reversible)
    require(zeliRCTInv_JPEG2K_32s_P3IR(wide, first.width * 4, size));
  else
    require(zeliICTInv_JPEG2K_32f_P3IR(real, first.width * 4, size));
}

void TileDecoder::finishRows(int y, Team* team) {
  if (!colourTransform_ || blank_ || y <= finished_) return;
  constexpr int kRows = 16;
  const int from = finished_, to = std::min(y, components_.at(0).wanted.y1);
  finished_ = y;
  if (to <= from) return;
  team->forEach((to - from + kRows - 1) / kRows,
                [&](int i) { undoColours(from + i * kRows, std::min(to, from + (i + 1) * kRows)); });
}

// Rounded, shifted to their range and cut to it. Samples have at most 24 bits, so that single precision holds the
// range's ends.
void TileDecoder::row(int component, int y, int x0, int count, int32_t* to) const {
  const ComponentSize& size = tile_.grid.components[size_t(component)];
  const int32_t low = -(1 << (size.precision - 1)), high = -1 - low, shift = size.isSigned ? 0 : -low;
  if (blank_) return void(std::fill_n(to, count, shift));
  const Component& k = components_.at(component);
  const Rect& w = k.windows[size_t(k.shown)];
  const size_t at = size_t(y - w.y0) * size_t(k.width) + size_t(x0 - w.x0);
  if (k.narrow) {
    const int16_t* const from = k.words16.data() + at;
    for (int x = 0; x < count; ++x) to[x] = std::max(low, std::min<int32_t>(high, from[x])) + shift;
    return;
  }
  const int32_t* const from = k.words32.data() + at;
  if (colourTransform_ && component < 3 && !k.reversible) {
    const float lowest = float(low), highest = float(high);
    for (int x = 0; x < count; ++x) {
      float f;
      std::memcpy(&f, from + x, 4);
      f = f < lowest ? lowest : f;
      f = f > highest ? highest : f;
      to[x] = int32_t(f + std::copysign(0.5f, f)) + shift;
    }
    return;
  }
  const int fraction = k.fraction;
  for (int x = 0; x < count; ++x) {
    const int32_t v = fraction ? (from[x] >> fraction) + (from[x] >> (fraction - 1) & 1) : from[x];
    to[x] = std::max(low, std::min(high, v)) + shift;
  }
}

}  // namespace zelcodecs::jpeg2000
