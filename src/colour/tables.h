// Colour tables for the last pixels of rows: the matrices of matrix.h in 16-bit fixed point, one byte value at a time.
#pragma once

#include "frame/support.h"

namespace ZEL_VARIANT {

struct DecodingTables {   // pjdeccctbl
  int32_t cr_r_tbl[256];  // what Cr adds to red
  int32_t cb_b_tbl[256];  // what Cb adds to blue
  int32_t cr_g_tbl[256];  // what Cr adds to green, times 65536
  int32_t cb_g_tbl[256];  // what Cb adds to green, times 65536 and with the rounding of the sum
};
// Y is the sum of rows 0 to 2 for R, G and B, Cb that of rows 3 to 5, Cr that of rows 5 to 7; all times 65536. Row 2
// carries the rounding of Y, and row 5 the centre and the rounding of chroma.
struct EncodingTables {  // pjenccctbl
  int32_t cc_table[8][256];
};

[[gnu::visibility("hidden")]] extern const DecodingTables kDecodingTables;
[[gnu::visibility("hidden")]] extern const EncodingTables kEncodingTables;

}  // namespace ZEL_VARIANT
