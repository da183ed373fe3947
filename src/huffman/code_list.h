// The codes of a table description in code order (ITU-T T.81, Annex C: Generate_size_table and Generate_code_table).
#pragma once

#include <stdint.h>

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxCodeLength = 16;
constexpr int kMaxCodes = 256;

struct CodeList {
  int count;
  int length[kMaxCodes];
  uint32_t code[kMaxCodes];  // wider than 16 bits, so that an overflowing description shows
};

// False where the counts add up to more than 256.
inline bool assignCodes(const uint8_t* bits, CodeList* list) {
  uint32_t code = 0;
  list->count = 0;
  for (int length = 1; length <= kMaxCodeLength; ++length, code <<= 1)
    for (int i = 0; i < bits[length - 1]; ++i) {
      if (list->count == kMaxCodes) return false;
      list->length[list->count] = length;
      list->code[list->count++] = code++;
    }
  return true;
}

}  // namespace
}  // namespace ZEL_VARIANT
