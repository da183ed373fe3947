#include "transform/dct_fixed.h"

namespace ZEL_VARIANT {

#define EIGHT(x) \
  { x, x, x, x, x, x, x, x }
#define TWICE(...) \
  { __VA_ARGS__, __VA_ARGS__ }

constexpr DctConstants kDct = {EIGHT(13036),  EIGHT(27146), EIGHT(-21746), EIGHT(23170),
                               EIGHT(-19195), EIGHT(1),     EIGHT(128)};

constexpr DctRowConstants kDctRow = {TWICE(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1),
                                     EIGHT(1 << 19),
                                     TWICE(16382, 16382, 16382, 16382, 16382, 16382, 16382, 16382),
                                     TWICE(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15),
                                     TWICE(0, 1, 2, 3, 10, 11, 8, 9, 4, 5, 6, 7, 14, 15, 12, 13),
                                     TWICE(2, 3, 6, 7, 10, 11, 14, 15, 0, 1, 128, 128, 128, 128, 128, 128),
                                     TWICE(0, 4, 8, 12, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128)};

}  // namespace ZEL_VARIANT
