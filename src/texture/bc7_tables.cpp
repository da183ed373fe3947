// The published tables of the BC7 format (BPTC; Khronos Data Format Specification, section 20), and the vector
// constants that the decoder derives from them.
#include "texture/bc7_tables.h"

namespace ZEL_VARIANT {
namespace {

#include "texture/bc7_published.inc"

constexpr int pixelOf(char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; }

struct Layout {
  int subsets, partitionBits, otherBits;  // other: rotation and index selection
  int colourBits, alphaBits;
  enum PBits { kNone, kEach, kShared } pBits;  // of endpoints; one for both of a subset
  int indexBits;
};
constexpr Layout kLayouts[8] = {{3, 4, 0, 4, 0, Layout::kEach, 3}, {2, 6, 0, 6, 0, Layout::kShared, 3},
                                {3, 6, 0, 5, 0, Layout::kNone, 2}, {2, 6, 0, 7, 0, Layout::kEach, 2},
                                {1, 0, 3, 5, 6, Layout::kNone, 2}, {1, 0, 2, 7, 8, Layout::kNone, 2},
                                {1, 0, 0, 7, 7, Layout::kEach, 4}, {2, 6, 0, 5, 5, Layout::kEach, 2}};

// The word whose bytes order makes of the block holds n bits from bit `at` on; align moves them to its top.
template <class Order, class Align>
constexpr void setField(Order& order, Align& align, int word, int at, int n) {
  order[2 * word] = uint8_t(at / 8);
  order[2 * word + 1] = uint8_t(lesser(at / 8 + 1, 15));
  align[word] = uint16_t(1 << (16 - n - at % 8));
}

constexpr Bc7Mode makeMode(int m) {
  Bc7Mode mode{};
  for (uint8_t& b : mode.order) b = 0x80;
  for (uint8_t& b : mode.pOrder) b = 0x80;
  mode.partitionBase = kBc7NoPartition;
  mode.indexByte = 8;
  if (m == 8) return mode;  // reserved: all endpoints and alphas are 0

  const Layout& l = kLayouts[m];
  const int ends = 2 * l.subsets, pEach = l.pBits == Layout::kNone ? 0 : 1;
  if (l.subsets > 1) mode.partitionBase = uint8_t(l.subsets == 2 ? 0 : 64);
  mode.partitionMask = uint8_t((1 << l.partitionBits) - 1);
  mode.headerBits = uint8_t(m + 1);
  int at = m + 1 + l.partitionBits + l.otherBits;
  for (int c = 0; c < (l.alphaBits ? 4 : 3); ++c) {
    const int n = c < 3 ? l.colourBits : l.alphaBits;
    for (int e = 0; e < ends; ++e, at += n) {
      const int word = 8 * c + e;
      setField(mode.order, mode.align, word, at, n);
      mode.field[word] = uint16_t(0xFFFF << (16 - n));
      mode.repeat[word] = uint16_t(1 << (16 - n - pEach));
    }
  }
  if (pEach) {
    for (int e = 0; e < ends; ++e) {
      setField(mode.pOrder, mode.pAlign, e, at + (l.pBits == Layout::kEach ? e : e / 2), 1);
      mode.pPlace[e] = uint16_t(1 << (16 - l.colourBits));
    }
    at += l.pBits == Layout::kEach ? ends : l.subsets;
  }
  for (uint16_t& w : mode.opaque) w = l.alphaBits ? 0 : 0xFF00;
  mode.indexByte = uint8_t(at < 64 ? 6 : 8);
  mode.indexShift = uint8_t(at - 8 * mode.indexByte);
  mode.indexSet = uint8_t(l.indexBits - 2);
  mode.separateAlpha = m == 4 || m == 5;
  at += 16 * l.indexBits - l.subsets;
  mode.alphaIndexShift = uint8_t(mode.separateAlpha ? at - 64 : 0);
  mode.alphaIndexSet = m == 4 ? 1 : 0;
  return mode;
}

constexpr Bc7Indices makeIndices(int bits) {
  Bc7Indices x{};
  for (int i = 0; i < 16; ++i) setField(x.order, x.align, i, bits * i, bits);
  const int largest = (1 << bits) - 1;
  for (int i = 0; i < 8; ++i) {
    x.field[i] = uint16_t(0xFFFF << (16 - bits));
    x.bytePair[i] = uint16_t(255 << bits);
    x.complement[i] = uint16_t(largest);
  }
  for (int i = 0; i <= largest; ++i) x.weight[i] = uint8_t((64 * i + largest / 2) / largest);
  x.firstAnchor = ~uint64_t(0) << (bits - 1);
  return x;
}

constexpr Bc7Tables makeTables() {
  Bc7Tables t{};
  for (int m = 0; m <= 8; ++m) t.mode[m] = makeMode(m);
  for (int bits = 2; bits <= 4; ++bits) t.indices[bits - 2] = makeIndices(bits);
  for (int p = 0; p <= kBc7NoPartition; ++p) {
    const int shape = p % 64, kind = p / 64;  // 0: two subsets, 1: three, 2: one
    for (int i = 0; i < 32; ++i) {
      const int pixel = i / 2;
      const uint32_t subset = kind == 0   ? kTwoSubsets[shape] >> pixel & 1u
                              : kind == 1 ? kThreeSubsets[shape] >> 2 * pixel & 3
                                          : 0;
      t.ends[p][i] = uint8_t(2 * subset + (i & 1));
    }
    for (int bits = 2; bits <= 4; ++bits) {
      uint8_t* const above = t.aboveAnchor[bits - 2][p];
      above[0] = above[1] = kBc7NoAnchor;
      if (kind == 0) above[0] = uint8_t(bits * (pixelOf(kAnchorOfTwo[shape]) + 1) - 2);
      if (kind == 1) {
        const int a = pixelOf(kAnchorsOfThree[0][shape]), b = pixelOf(kAnchorsOfThree[1][shape]);
        above[0] = uint8_t(bits * (lesser(a, b) + 1) - 2);
        above[1] = uint8_t(bits * (a + b - lesser(a, b) + 1) - 2);
      }
    }
  }
  for (int r = 0; r < 4; ++r)
    for (int i = 0; i < 16; ++i) {
      const int channel = i % 4, other = r - 1;
      const int from = r == 0 ? channel : channel == 3 ? other : channel == other ? 3 : channel;
      t.rotation[r][i] = uint8_t(i - channel + from);
    }
  return t;
}

constexpr Bc7Tables kTables = makeTables();
// First bits of the format's own table: of the P-bits of mode 1, of the indices of modes 0, 4 and 6, of the alpha
// indices.
static_assert(kTables.mode[1].pOrder[0] == 80 / 8 && kTables.mode[0].indexShift == 83 - 64 &&
              kTables.mode[4].indexByte == 6 && kTables.mode[4].indexShift == 50 - 48 &&
              kTables.mode[6].indexShift == 65 - 64 && kTables.mode[4].alphaIndexShift == 81 - 64 &&
              kTables.mode[5].alphaIndexShift == 97 - 64);
static_assert(kTables.indices[1].weight[4] == 37 && kTables.indices[2].weight[7] == 30);

}  // namespace

const Bc7Tables kBc7 = kTables;

}  // namespace ZEL_VARIANT
