// A Huffman table fitted to counts, for both directions.
#pragma once

#include <gtest/gtest.h>

#include "support/api.h"

namespace zeltest {

struct FittedTable {
  int32_t counts[256] = {};
  uint8_t bits[16] = {}, values[256] = {};
  ZeliEncodeHuffmanSpec enc;
  ZeliDecodeHuffmanSpec dec;
  void fit() {
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values));
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, &enc));
    ASSERT_EQ(zelStsNoErr, zel().zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, &dec));
  }
};

}  // namespace zeltest
