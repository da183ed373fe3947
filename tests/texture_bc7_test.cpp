// BC7 blocks against their definition, read bit by bit.
#include <string>

#include "texture_support.h"

namespace {

using namespace zeltest;

const uint16_t kTwo[] = {0xCCCC, 0x8888, 0xEEEE, 0xECC8, 0xC880, 0xFEEC, 0xFEC8, 0xEC80, 0xC800, 0xFFEC, 0xFE80,
                         0xE800, 0xFFE8, 0xFF00, 0xFFF0, 0xF000, 0xF710, 0x008E, 0x7100, 0x08CE, 0x008C, 0x7310,
                         0x3100, 0x8CCE, 0x088C, 0x3110, 0x6666, 0x366C, 0x17E8, 0x0FF0, 0x718E, 0x399C, 0xAAAA,
                         0xF0F0, 0x5A5A, 0x33CC, 0x3C3C, 0x55AA, 0x9696, 0xA55A, 0x73CE, 0x13C8, 0x324C, 0x3BDC,
                         0x6996, 0xC33C, 0x9966, 0x0660, 0x0272, 0x04E4, 0x4E40, 0x2720, 0xC936, 0x936C, 0x39C6,
                         0x639C, 0x9336, 0x9CC6, 0x817E, 0xE718, 0xCCF0, 0x0FCC, 0x7744, 0xEE22};
const uint32_t kThree[] = {
    0xAA685050, 0x6A5A5040, 0x5A5A4200, 0x5450A0A8, 0xA5A50000, 0xA0A05050, 0x5555A0A0, 0x5A5A5050,
    0xAA550000, 0xAA555500, 0xAAAA5500, 0x90909090, 0x94949494, 0xA4A4A4A4, 0xA9A59450, 0x2A0A4250,
    0xA5945040, 0x0A425054, 0xA5A5A500, 0x55A0A0A0, 0xA8A85454, 0x6A6A4040, 0xA4A45000, 0x1A1A0500,
    0x0050A4A4, 0xAAA59090, 0x14696914, 0x69691400, 0xA08585A0, 0xAA821414, 0x50A4A450, 0x6A5A0200,
    0xA9A58000, 0x5090A0A8, 0xA8A09050, 0x24242424, 0x00AA5500, 0x24924924, 0x24499224, 0x50A50A50,
    0x500AA550, 0xAAAA4444, 0x66660000, 0xA5A0A5A0, 0x50A050A0, 0x69286928, 0x44AAAA44, 0x66666600,
    0xAA444444, 0x54A854A8, 0x95809580, 0x96969600, 0xA85454A8, 0x80959580, 0xAA141414, 0x96960000,
    0xAAAA1414, 0xA05050A0, 0xA0A5A5A0, 0x96000000, 0x40804080, 0xA9A8A9A8, 0xAAAAAA44, 0x2A4A5254};
const std::string kAnchors[] = {"fffffffffffffffff282288f28228822ff6828ff28222ff66268ff22fffff22f",
                                "33ff83ff88666533338f336a588685ff8f356a8ff3f5ffff3f55585a5a8dfc33",
                                "f883ff38fffffff8f8f3f8f83f6affa8f3faa89a6f8f3668f3ffffffffff3ff8"};

// subsets, partition, rotation, selection, colour and alpha bits, P-bits (1 each, 2 shared), indices, alpha indices
const int kModes[8][9] = {{3, 4, 0, 0, 4, 0, 1, 3, 0}, {2, 6, 0, 0, 6, 0, 2, 3, 0}, {3, 6, 0, 0, 5, 0, 0, 2, 0},
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

void decodeBc7(const uint8_t* block, uint8_t (*out)[4]) {
  std::memset(out, 0, 64);
  if (!block[0]) return;
  Bits in{block};
  int mode = 0;
  while (!in.take(1)) ++mode;
  const int* const m = kModes[mode];
  const int subsets = m[0], partition = in.take(m[1]), rotation = in.take(m[2]), selection = in.take(m[3]);
  int e[4][6] = {}, index[2][16];
  for (int c = 0; c < 4; ++c)
    for (int k = 0; k < 2 * subsets; ++k) e[c][k] = in.take(m[c < 3 ? 4 : 5]);
  for (int k = 0; k < 2 * subsets; ++k) {
    static int p;
    if (m[6] == 1 || (m[6] == 2 && k % 2 == 0)) p = in.take(1);
    for (int c = 0; c < 4; ++c) {
      int n = m[c < 3 ? 4 : 5], &v = e[c][k];
      if (n == 0)
        v = 255, n = 8;
      else if (m[6])
        v = 2 * v + p, ++n;
      if (n < 8) v = v << (8 - n) | v >> (2 * n - 8);
    }
  }
  const auto isAnchor = [&](int i) {
    const auto at = [&](int list) { return int(std::stoul(kAnchors[list].substr(size_t(partition), 1), nullptr, 16)); };
    return i == 0 || (subsets == 2 && i == at(0)) || (subsets == 3 && (i == at(1) || i == at(2)));
  };
  for (int i = 0; i < 16; ++i) index[0][i] = in.take(m[7] - isAnchor(i));
  for (int i = 0; i < 16; ++i) index[1][i] = m[8] ? in.take(m[8] - (i == 0)) : index[0][i];
  const int widths[] = {m[7], m[8] ? m[8] : m[7]};
  for (int i = 0; i < 16; ++i) {
    const int s = subsets == 1 ? 0 : subsets == 2 ? kTwo[partition] >> i & 1 : int(kThree[partition] >> 2 * i & 3);
    for (int c = 0; c < 4; ++c) {
      const int set = (c == 3) ^ selection, w = kWeights[widths[set] - 2][index[set][i]];
      out[i][c] = uint8_t(((64 - w) * e[c][2 * s] + w * e[c][2 * s + 1] + 32) >> 6);
    }
    if (rotation) std::swap(out[i][3], out[i][rotation - 1]);
  }
}

}  // namespace

TEST(Bc7, DecodesImagesOfAllSizes) {
  checkDecoderOverSizes(zel().zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R, decodeBc7, 16);
}

// Each mode, the reserved one included, with every value of the bits that choose partition, rotation and selection.
TEST(Bc7, DecodesAllModesAndPartitions) {
  Random rng(71);
  for (int mode = 0; mode <= 8; ++mode) {
    const int header = mode < 8 ? kModes[mode][1] + kModes[mode][2] + kModes[mode][3] : 0;
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
      checkDecoder(zel().zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R, decodeBc7, 16, {32, 32}, blocks, 0, false);
    }
  }
}
