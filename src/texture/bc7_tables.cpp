// The published tables of the BC7 format (BPTC; Khronos Data Format Specification, section 20), and the vector
// constants that the decoder derives from them.
#include "texture/bc7_tables.h"

namespace ZEL_VARIANT {
namespace {

// Bit i: the subset of pixel i.
constexpr uint16_t kTwoSubsets[64] = {
    0xCCCC, 0x8888, 0xEEEE, 0xECC8, 0xC880, 0xFEEC, 0xFEC8, 0xEC80, 0xC800, 0xFFEC, 0xFE80, 0xE800, 0xFFE8,
    0xFF00, 0xFFF0, 0xF000, 0xF710, 0x008E, 0x7100, 0x08CE, 0x008C, 0x7310, 0x3100, 0x8CCE, 0x088C, 0x3110,
    0x6666, 0x366C, 0x17E8, 0x0FF0, 0x718E, 0x399C, 0xAAAA, 0xF0F0, 0x5A5A, 0x33CC, 0x3C3C, 0x55AA, 0x9696,
    0xA55A, 0x73CE, 0x13C8, 0x324C, 0x3BDC, 0x6996, 0xC33C, 0x9966, 0x0660, 0x0272, 0x04E4, 0x4E40, 0x2720,
    0xC936, 0x936C, 0x39C6, 0x639C, 0x9336, 0x9CC6, 0x817E, 0xE718, 0xCCF0, 0x0FCC, 0x7744, 0xEE22};
// Bits 2i and 2i + 1: the subset of pixel i.
constexpr uint32_t kThreeSubsets[64] = {
    0xAA685050, 0x6A5A5040, 0x5A5A4200, 0x5450A0A8, 0xA5A50000, 0xA0A05050, 0x5555A0A0, 0x5A5A5050,
    0xAA550000, 0xAA555500, 0xAAAA5500, 0x90909090, 0x94949494, 0xA4A4A4A4, 0xA9A59450, 0x2A0A4250,
    0xA5945040, 0x0A425054, 0xA5A5A500, 0x55A0A0A0, 0xA8A85454, 0x6A6A4040, 0xA4A45000, 0x1A1A0500,
    0x0050A4A4, 0xAAA59090, 0x14696914, 0x69691400, 0xA08585A0, 0xAA821414, 0x50A4A450, 0x6A5A0200,
    0xA9A58000, 0x5090A0A8, 0xA8A09050, 0x24242424, 0x00AA5500, 0x24924924, 0x24499224, 0x50A50A50,
    0x500AA550, 0xAAAA4444, 0x66660000, 0xA5A0A5A0, 0x50A050A0, 0x69286928, 0x44AAAA44, 0x66666600,
    0xAA444444, 0x54A854A8, 0x95809580, 0x96969600, 0xA85454A8, 0x80959580, 0xAA141414, 0x96960000,
    0xAAAA1414, 0xA05050A0, 0xA0A5A5A0, 0x96000000, 0x40804080, 0xA9A8A9A8, 0xAAAAAA44, 0x2A4A5254};

// The anchor pixel of subsets 1 and 2 by partition, a hexadecimal digit each.
constexpr char kAnchorOfTwo[] = "fffffffffffffffff282288f28228822ff6828ff28222ff66268ff22fffff22f";
constexpr char kAnchorsOfThree[2][65] = {"33ff83ff88666533338f336a588685ff8f356a8ff3f5ffff3f55585a5a8dfc33",
                                         "f883ff38fffffff8f8f3f8f83f6affa8f3faa89a6f8f3668f3ffffffffff3ff8"};

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
