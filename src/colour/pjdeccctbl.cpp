#include "colour/matrix.h"
#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr DecodingTables decodingTables() {
  constexpr int32_t kHalf = 1 << 15;
  DecodingTables t{};
  for (int i = 0; i < 256; ++i) {
    const int32_t chroma = i - kCentre;
    t.cr_r_tbl[i] = (fixedPoint(1.402, 16) * chroma + kHalf) >> 16;
    t.cb_b_tbl[i] = (fixedPoint(1.772, 16) * chroma + kHalf) >> 16;
    t.cr_g_tbl[i] = -fixedPoint(0.71414, 16) * chroma;
    t.cb_g_tbl[i] = -fixedPoint(0.34414, 16) * chroma + kHalf;
  }
  return t;
}
static_assert(decodingTables().cr_r_tbl[0] == -179 && decodingTables().cr_r_tbl[255] == 178);
static_assert(decodingTables().cb_b_tbl[0] == -227 && decodingTables().cb_b_tbl[255] == 225);

}  // namespace

constexpr DecodingTables kDecodingTables = decodingTables();

}  // namespace ZEL_VARIANT
