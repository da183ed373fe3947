// What the encoder's and the decoder's quantisation tables share.
#pragma once

#include "variant.h"

namespace ZEL_VARIANT {

// The steps of a raw table, widened and in natural order.
[[gnu::visibility("hidden")]] ZelStatus naturalSteps(const uint8_t* pQuantRawTable, uint16_t* pTable);

}  // namespace ZEL_VARIANT
