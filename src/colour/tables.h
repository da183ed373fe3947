// Colour tables for row tails: the conversion matrices of JFIF in 16-bit fixed point, one byte value at a time.
#pragma once

#include "frame/support.h"

namespace ZEL_VARIANT {

// FIX(x) = floor(x * 65536 + 0.5)
struct DecodingTables {   // pjdeccctbl
  int32_t cr_r_tbl[256];  // what Cr adds to red
  int32_t cb_b_tbl[256];  // what Cb adds to blue
  int32_t cr_g_tbl[256];  // what Cr and Cb add to green, times 65536; the latter with the rounding
  int32_t cb_g_tbl[256];
};
// Rows: 0.299 R, 0.587 G, 0.114 B (with rounding) for Y; -0.16874 R, -0.33126 G and 0.5 with centre and rounding for
// Cb; the latter, -0.41869 G and -0.08131 B for Cr. All times 65536.
struct EncodingTables {
  int32_t cc_table[8][256];
};  // pjenccctbl

[[gnu::visibility("hidden")]] extern const DecodingTables kDecodingTables;
[[gnu::visibility("hidden")]] extern const EncodingTables kEncodingTables;

}  // namespace ZEL_VARIANT
