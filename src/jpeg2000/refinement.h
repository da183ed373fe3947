// Magnitude refinement changes no significance: what it visits, and in which contexts, is known before it begins, for
// as many columns at a time as a vector has words.
#pragma once

#include "frame/vec.h"
#include "jpeg2000/neighbourhood.h"

namespace ZEL_VARIANT {
namespace {

ZEL_INLINE u32v lanes(uint32_t x) { return splat<u32v>(x); }

// Fields of up to three bits at the places of the samples, one to each byte.
ZEL_INLINE u32v toBytes(u32v f) {
  return (f >> 4 & lanes(7)) | (f << 1 & lanes(7u << 8)) | (f << 6 & lanes(7u << 16)) | (f << 11 & lanes(7u << 24));
}

struct RefinedColumns {
  u32v refined;   // at the places of the samples
  u32v contexts;  // of all samples, a byte each, by columns

  // A bit for each sample, by columns.
  ZEL_INLINE uint32_t mask() const { return byteMask(toBytes(refined) << 7); }
};

// Marks the samples that are refined as refined before. It touches words up to the next multiple of u32v::N columns:
// guards, which it leaves as they are.
ZEL_INLINE RefinedColumns refinedColumns(uint32_t* words) {
  const u32v own = lanes(kOwn), f = load<u32v>(words), refined = f & ~(f >> kVisitedOf) & own;
  store(words, f | refined << kRefinedOf);
  const u32v significance = f & lanes(0x3FFFF);
  const u32v sides = significance << 1 | significance >> 1, rows = sides | significance;
  const u32v later = f >> kRefinedOf & own, near = (sides | rows << 3 | rows >> 3) & ~later & own;
  return {refined, toBytes(near | later << 1) + lanes(kRefinement * 0x01010101)};
}

}  // namespace
}  // namespace ZEL_VARIANT
