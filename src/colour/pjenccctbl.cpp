#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr EncodingTables encodingTables() {
  // FIX of 0.299, 0.587, 0.114, 0.16874, 0.33126, 0.5, 0.41869, 0.08131
  constexpr int32_t kWeights[8] = {19595, 38470, 7471, -11059, -21709, 32768, -27439, -5329};
  constexpr int32_t kOffsets[8] = {0, 0, 32768, 0, 0, (128 << 16) + 32767, 0, 0};
  EncodingTables t{};
  for (int row = 0; row < 8; ++row)
    for (int i = 0; i < 256; ++i) t.cc_table[row][i] = kWeights[row] * i + kOffsets[row];
  return t;
}

}  // namespace

constexpr EncodingTables kEncodingTables = encodingTables();

}  // namespace ZEL_VARIANT
