#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr DecodingTables decodingTables() {
  constexpr int32_t kCrToR = 91881, kCbToB = 116130, kCrToG = 46802, kCbToG = 22554;  // 1.402, 1.772, 0.71414, 0.34414
  constexpr int32_t kHalf = 32768;
  DecodingTables t{};
  for (int i = 0; i < 256; ++i) {
    const int32_t centred = i - 128;
    t.cr_r_tbl[i] = (kCrToR * centred + kHalf) >> 16;
    t.cb_b_tbl[i] = (kCbToB * centred + kHalf) >> 16;
    t.cr_g_tbl[i] = -kCrToG * centred;
    t.cb_g_tbl[i] = -kCbToG * centred + kHalf;
  }
  return t;
}
static_assert(decodingTables().cr_r_tbl[0] == -179 && decodingTables().cr_r_tbl[255] == 178);
static_assert(decodingTables().cb_b_tbl[0] == -227 && decodingTables().cb_b_tbl[255] == 225);

}  // namespace

constexpr DecodingTables kDecodingTables = decodingTables();

}  // namespace ZEL_VARIANT
