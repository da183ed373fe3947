// Optimal Huffman tables against those that libjpeg fits to the same coefficients.
#ifdef ZELJ_HAVE_JPEG
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "support/api.h"
#include "support/data.h"

// The peer's header needs size_t and FILE.
#include <jpeglib.h>

// A grey image of noise, its strength growing to the right, so that every code length comes up.
TEST(HuffmanTables, EqualThoseOfAPeer) {
  zeltest::Random r(7);
  for (const int quality : {20, 75, 95}) {
    jpeg_error_mgr errors;
    jpeg_compress_struct c;
    c.err = jpeg_std_error(&errors);
    jpeg_create_compress(&c);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &bytes, &size);
    c.image_width = c.image_height = 256;
    c.input_components = 1;
    c.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, quality, TRUE);
    c.optimize_coding = TRUE;
    jpeg_start_compress(&c, TRUE);
    for (int y = 0; y < 256; ++y) {
      JSAMPLE samples[256];
      for (int x = 0; x < 256; ++x) samples[x] = JSAMPLE(128 + r.between(-x / 2, x / 2));
      JSAMPROW row = samples;
      jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);

    jpeg_decompress_struct d;
    d.err = &errors;
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, bytes, size);
    jpeg_read_header(&d, TRUE);
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
    int32_t counts[2][256] = {};
    const auto bits = [](int v) { return v == 0 ? 0 : 32 - __builtin_clz(unsigned(std::abs(v))); };
    int zigzag[64];
    for (int i = 0, k = 0; i < 15; ++i)
      for (int j = 0; j <= i; ++j)
        if (const int row = i % 2 ? j : i - j; row < 8 && i - row < 8) zigzag[k++] = 8 * row + i - row;
    for (JDIMENSION y = 0, predictor = 0; y < 32; ++y) {
      JBLOCKROW row = d.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d), arrays[0], y, 1, FALSE)[0];
      for (int x = 0; x < 32; ++x) {
        ++counts[0][bits(row[x][0] - int(predictor))];
        predictor = JDIMENSION(row[x][0]);
        int run = 0;
        for (int k = 1; k < 64; ++k) {
          const int v = row[x][zigzag[k]];
          if (v == 0 && ++run) continue;
          for (; run > 15; run -= 16) ++counts[1][0xF0];
          ++counts[1][run * 16 + bits(v)];
          run = 0;
        }
        counts[1][0] += run > 0;
      }
    }
    for (int i = 0; i < 2; ++i) {
      const JHUFF_TBL& want = *(i ? d.ac_huff_tbl_ptrs : d.dc_huff_tbl_ptrs)[0];
      uint8_t listBits[16], listVals[256] = {};
      ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts[i], listBits, listVals));
      EXPECT_EQ(std::vector<uint8_t>(want.bits + 1, want.bits + 17), std::vector<uint8_t>(listBits, listBits + 16));
      int n = 0;
      for (const uint8_t length : listBits) n += length;
      EXPECT_EQ(std::vector<uint8_t>(want.huffval, want.huffval + n), std::vector<uint8_t>(listVals, listVals + n));
    }
    jpeg_destroy_decompress(&d);
    std::free(bytes);
  }
}
#endif
