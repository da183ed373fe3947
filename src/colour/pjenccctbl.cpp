#include "colour/matrix.h"
#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr EncodingTables encodingTables() {
  constexpr ForwardMatrix m = kForward16;
  static_assert(m.cb.b == m.cr.r, "one table for both");
  constexpr int32_t kWeights[8] = {m.y.r, m.y.g, m.y.b, m.cb.r, m.cb.g, m.cb.b, m.cr.g, m.cr.b};
  constexpr int32_t kHalf = 1 << 15;
  constexpr int32_t kOffsets[8] = {0, 0, kHalf, 0, 0, (kCentre << 16) + kHalf - 1, 0, 0};
  EncodingTables t{};
  for (int row = 0; row < 8; ++row)
    for (int i = 0; i < 256; ++i) t.cc_table[row][i] = kWeights[row] * i + kOffsets[row];
  return t;
}

}  // namespace

constexpr EncodingTables kEncodingTables = encodingTables();

}  // namespace ZEL_VARIANT
