// A Huffman table fitted to symbol counts, for both directions.
#pragma once

#include <gtest/gtest.h>

#include "support/api.h"
#include "support/data.h"

namespace zeltest {

struct HuffmanTable {
  int32_t counts[256] = {};
  uint8_t bits[16] = {}, values[256] = {};
  ZeliEncodeHuffmanSpec enc = {};
  ZeliDecodeHuffmanSpec dec = {};

  void fit() {
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values));
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, &enc));
    ASSERT_EQ(zelStsNoErr, zel().zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, &dec));
  }
};

// Random codes for the symbols below `symbols`, with code lengths of up to 16.
inline HuffmanTable randomHuffmanTable(Random& r, int symbols = 256) {
  HuffmanTable table;
  const int steepness = r.below(3) * 6 + 3;
  for (int i = 0; i < symbols; ++i) table.counts[i] = 1 + (1 << r.below(steepness)) * (i % 16 < 5 ? 20 : 1);
  table.fit();
  return table;
}

// Codes of sixteen ones for every symbol, which no description can give: the most bits, and every byte needs stuffing.
inline HuffmanTable onesHuffmanTable() {
  HuffmanTable table;
  for (uint32_t& code : table.enc.codes) code = 0xFFFF | 16u << 16;
  return table;
}

}  // namespace zeltest
