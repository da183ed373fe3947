// Where the encoder's coding passes get their decisions from, and where they leave them: from the bits of a plane and
// the signs, which have been gathered in the layout of the neighbourhood words, to a log, one byte for each decision.
// Decisions of MQ passes are logged as context * 2 + bit, those of raw passes as bits.
#pragma once

#include "jpeg2000/passes.h"

namespace ZEL_VARIANT {
namespace {

// One word for a column of a stripe, at the places of its samples; the rows of words stand side by side with those of
// the neighbourhood, but without guards.
struct SampleBits {
  uint32_t* bits;  // of the plane
  uint32_t* signs;
  int64_t pitch;

  struct Column {
    uint32_t bits;
    const uint32_t* signs;
  };
  struct Stripe {
    const uint32_t *bits, *signs;
    ZEL_INLINE Column column(int x) const { return {bits[x], signs + x}; }
  };
  ZEL_INLINE Stripe stripe(int y) const { return {bits + y / kStripe * pitch, signs + y / kStripe * pitch}; }
};

// For each pattern of eight bits: the numbers of those that are set, one after the other, and how many there are. As
// the order of a shuffle it moves the bytes that are wanted to the front.
struct Compaction {
  uint8_t order[256][8];
  uint8_t count[256];
};
constexpr Compaction compactions() {
  Compaction t = {};
  for (int m = 0; m < 256; ++m)
    for (int i = 0; i < 8; ++i)
      if (m >> i & 1) t.order[m][t.count[m]++] = uint8_t(i);
  return t;
}
constexpr Compaction kCompaction = compactions();

// Appends those of 4 * u32v::N entries, a byte each, whose bit is set in the mask. Eight bytes are stored at a time, so
// up to seven beyond the end of the log are written; the log has slack for them.
ZEL_INLINE uint8_t* append(u32v entries, uint32_t mask, uint8_t* next) {
  constexpr int kEights = kStripe * u32v::N / 8;
  uint64_t eights[kEights];
  store(eights, entries);
#pragma GCC unroll 4
  for (int i = 0; i < kEights; ++i) {
    const uint32_t m = mask >> (8 * i) & 0xFF;
    storeLow8(next, shuffle128(loadLow8(eights + i), loadLow8(kCompaction.order[m])));
    next += kCompaction.count[m];
  }
  return next;
}

// The log of MQ passes. Contexts follow from significance alone, so they are known without coding anything; which state
// a context is in by then is a matter of emission.
struct MqLog {
  using Samples = SampleBits;
  using Column = Samples::Column;
  uint8_t* next;

  ZEL_INLINE void decision(uint32_t context, uint32_t bit) { *next++ = uint8_t(context << 1 | bit); }

  ZEL_INLINE uint32_t significance(const Column& column, const uint8_t* zeroCoding, uint32_t f, int place) {
    const uint32_t bit = column.bits >> place & 1;
    decision(zeroCodingContext(zeroCoding, f, place), bit);
    return bit;
  }
  // What is coded is the difference of the sign from its prediction.
  ZEL_INLINE uint32_t sign(const Column& column, uint32_t f, const uint32_t* word, int place) {
    const uint32_t sign = *column.signs >> place & 1;
    *next++ = uint8_t(signCodingEntry(f, word, place) ^ sign);
    return sign;
  }
  // The lowest bit set of a column is its first sample that becomes significant. One decision whether there is any;
  // then its row in two bits, the higher one first.
  ZEL_INLINE int firstOfRun(const Column& column) {
    decision(kRunLength, column.bits != 0);
    if (column.bits == 0) return kNoPlace;
    const int place = __builtin_ctz(column.bits);
    const uint32_t row = uint32_t(rowOf(place));
    decision(kUniform, row >> 1);
    decision(kUniform, row & 1);
    return place;
  }
  // Entries of all samples of the columns at once, and then those that are refined, in their order.
  ZEL_INLINE void refine(const Samples::Stripe& stripe, int x, const RefinedColumns& columns) {
    if (isZero(columns.samples)) return;
    const u32v bits = RefinedColumns::toBytes(load<u32v>(stripe.bits + x));
    next = append(columns.contexts << 1 | bits, columns.mask(), next);
  }
};

// The log of raw passes (D.6): bits without contexts, and a sign is the bit itself.
struct RawLog {
  using Samples = SampleBits;
  using Column = Samples::Column;
  uint8_t* next;

  ZEL_INLINE uint32_t significance(const Column& column, const uint8_t*, uint32_t, int place) {
    const uint32_t bit = column.bits >> place & 1;
    *next++ = uint8_t(bit);
    return bit;
  }
  ZEL_INLINE uint32_t sign(const Column& column, uint32_t, const uint32_t*, int place) {
    const uint32_t sign = *column.signs >> place & 1;
    *next++ = uint8_t(sign);
    return sign;
  }
  ZEL_INLINE void refine(const Samples::Stripe& stripe, int x, const RefinedColumns& columns) {
    if (isZero(columns.samples)) return;
    next = append(RefinedColumns::toBytes(load<u32v>(stripe.bits + x)), columns.mask(), next);
  }
};

}  // namespace
}  // namespace ZEL_VARIANT
