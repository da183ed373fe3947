// BC7 blocks against their definition, read bit by bit.
#include "texture_support.h"

namespace {

using namespace zeltest;

#include "texture/bc7_published.inc"

// pBits: 1 for each endpoint, 2 one for both of a subset.
struct Mode {
  int subsets, partitionBits, rotationBits, selectionBits, colourBits, alphaBits, pBits, indexBits, alphaIndexBits;
};
const Mode kModes[8] = {{3, 4, 0, 0, 4, 0, 1, 3, 0}, {2, 6, 0, 0, 6, 0, 2, 3, 0}, {3, 6, 0, 0, 5, 0, 0, 2, 0},
                        {2, 6, 0, 0, 7, 0, 1, 2, 0}, {1, 0, 2, 1, 5, 6, 0, 2, 3}, {1, 0, 2, 0, 7, 8, 0, 2, 2},
                        {1, 0, 0, 0, 7, 7, 1, 4, 0}, {2, 6, 0, 0, 5, 5, 1, 2, 0}};
const int kWeights[3][16] = {
    {0, 21, 43, 64}, {0, 9, 18, 27, 37, 46, 55, 64}, {0, 4, 9, 13, 17, 21, 26, 30, 34, 38, 43, 47, 51, 55, 60, 64}};

struct Bits {
  const uint8_t* p;
  int at = 0;
  int take(int n) {
    int v = 0;
    for (int i = 0; i < n; ++i, ++at) v |= (p[at / 8] >> at % 8 & 1) << i;
    return v;
  }
};

// A component of n bits to 8 bits: its top bits repeated below it.
int widenedField(int value, int n) { return n < 8 ? value << (8 - n) | value >> (2 * n - 8) : value; }

int hexDigit(char c) { return c <= '9' ? c - '0' : c - 'a' + 10; }

bool isAnchor(int subsets, int partition, int pixel) {
  if (pixel == 0) return true;
  if (subsets == 2) return pixel == hexDigit(kAnchorOfTwo[partition]);
  return subsets == 3 &&
         (pixel == hexDigit(kAnchorsOfThree[0][partition]) || pixel == hexDigit(kAnchorsOfThree[1][partition]));
}

int subsetOf(int subsets, int partition, int pixel) {
  if (subsets == 1) return 0;
  return subsets == 2 ? kTwoSubsets[partition] >> pixel & 1 : int(kThreeSubsets[partition] >> 2 * pixel & 3);
}

void decodeBc7(const uint8_t* block, uint8_t (*out)[4]) {
  std::memset(out, 0, 64);
  if (block[0] == 0) return;
  Bits in{block};
  int mode = 0;
  while (in.take(1) == 0) ++mode;
  const auto [subsets, partitionBits, rotationBits, selectionBits, colourBits, alphaBits, pBits, indexBits,
              alphaIndexBits] = kModes[mode];
  const int partition = in.take(partitionBits);
  const int rotation = in.take(rotationBits);
  const int selection = in.take(selectionBits);
  int ends[4][6] = {};
  for (int c = 0; c < 4; ++c)
    for (int k = 0; k < 2 * subsets; ++k) ends[c][k] = in.take(c < 3 ? colourBits : alphaBits);
  int p = 0;
  for (int k = 0; k < 2 * subsets; ++k) {
    if (pBits == 1 || (pBits == 2 && k % 2 == 0)) p = in.take(1);
    for (int c = 0; c < 4; ++c) {
      const int n = c < 3 ? colourBits : alphaBits;
      ends[c][k] = n == 0 ? 255 : pBits ? widenedField(2 * ends[c][k] + p, n + 1) : widenedField(ends[c][k], n);
    }
  }
  int index[2][16];
  for (int i = 0; i < 16; ++i) index[0][i] = in.take(indexBits - isAnchor(subsets, partition, i));
  for (int i = 0; i < 16; ++i) index[1][i] = alphaIndexBits ? in.take(alphaIndexBits - (i == 0)) : index[0][i];
  const int widths[] = {indexBits, alphaIndexBits ? alphaIndexBits : indexBits};
  for (int i = 0; i < 16; ++i) {
    const int s = subsetOf(subsets, partition, i);
    for (int c = 0; c < 4; ++c) {
      const int set = (c == 3) ^ selection;
      const int w = kWeights[widths[set] - 2][index[set][i]];
      out[i][c] = uint8_t(((64 - w) * ends[c][2 * s] + w * ends[c][2 * s + 1] + 32) >> 6);
    }
    if (rotation) std::swap(out[i][3], out[i][rotation - 1]);
  }
}

}  // namespace

// The sum that the published tables have, partition by partition: decoder and reference read the same copy of them.
TEST(Bc7, TablesAreThePublishedOnes) {
  uint64_t hash = 0xCBF29CE484222325;  // FNV-1a over subsets and anchors, pixel by pixel
  const auto add = [&](int value) { hash = (hash ^ uint64_t(value)) * 0x100000001B3; };
  for (const int subsets : {2, 3})
    for (int partition = 0; partition < 64; ++partition)
      for (int pixel = 0; pixel < 16; ++pixel) {
        add(subsetOf(subsets, partition, pixel));
        add(isAnchor(subsets, partition, pixel));
      }
  EXPECT_EQ(0x1315FAF6830B2E37u, hash);
}

TEST(Bc7, DecodesImagesOfAllSizes) {
  checkDecoderOverSizes(zel().zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R, decodeBc7, 16);
}

// Each mode, the reserved one included, with every value of the bits that choose partition, rotation and selection.
TEST(Bc7, DecodesAllModesAndPartitions) {
  Random rng(71);
  for (int mode = 0; mode <= 8; ++mode) {
    const Mode m = kModes[mode % 8];
    const int header = mode < 8 ? m.partitionBits + m.rotationBits + m.selectionBits : 0;
    for (int round = 0; round < rounds(20); ++round) {
      Bytes blocks;
      for (int value = 0; value < 64; ++value) {
        Bytes b = rng.vector<uint8_t>(16);
        const uint32_t start = (mode < 8 ? 1u << mode : 0) | uint32_t(value & ((1 << header) - 1)) << (mode + 1);
        const uint32_t known = mode < 8 ? (2u << (mode + header)) - 1 : 0xFF;
        uint32_t low;
        std::memcpy(&low, b.data(), 4);
        low = (low & ~known) | start;
        std::memcpy(b.data(), &low, 4);
        blocks.insert(blocks.end(), b.begin(), b.end());
      }
      checkDecoder(zel().zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R, decodeBc7, 16, {32, 32}, blocks);
    }
  }
}
