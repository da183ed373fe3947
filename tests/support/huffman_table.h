// A Huffman table fitted to symbol counts, for both directions.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "support/api.h"
#include "support/data.h"

namespace zeltest {

struct HuffmanTable {
  ZeliEncodeHuffmanSpec enc = {};
  ZeliDecodeHuffmanSpec dec = {};
};

// Codes for the symbols whose counts, of 256, are not 0.
inline HuffmanTable fittedTable(const int32_t* counts) {
  HuffmanTable table;
  uint8_t bits[16], values[256];
  EXPECT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values));
  EXPECT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, &table.enc));
  EXPECT_EQ(zelStsNoErr, zel().zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, &table.dec));
  return table;
}

// Random codes for the symbols below `symbols`, with code lengths of up to 16.
inline HuffmanTable randomHuffmanTable(Random& r, int symbols = 256) {
  int32_t counts[256] = {};
  const int steepness = r.below(3) * 6 + 3;
  for (int i = 0; i < symbols; ++i) counts[i] = 1 + (1 << r.below(steepness)) * (i % 16 < 5 ? 20 : 1);
  return fittedTable(counts);
}

// Codes of sixteen ones for every symbol, which no description can give: the most bits, and every byte needs stuffing.
inline HuffmanTable onesHuffmanTable() {
  HuffmanTable table;
  for (uint32_t& code : table.enc.codes) code = 0xFFFF | 16u << 16;
  return table;
}

}  // namespace zeltest
