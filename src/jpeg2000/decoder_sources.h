// Where a decoder's coding passes get their decisions from: a segment of the MQ coder or of raw bits. What is found out
// about a sample goes to the output at once: its bits so far, and below them a half bit, so that its magnitude stands
// in the middle of the interval that is known of it.
#pragma once

#include "frame/rows.h"
#include "jpeg2000/mq_decoder.h"
#include "jpeg2000/passes.h"

namespace ZEL_VARIANT {
namespace {

// The output at a bit plane.
struct DecodedSamples {
  int32_t* dst;
  int dstStep;
  uint32_t bit;  // of the plane

  struct Column {
    int32_t* top;
    int64_t step;
    uint32_t bit;
    ZEL_INLINE int32_t* at(int row) const {
      return reinterpret_cast<int32_t*>(reinterpret_cast<char*>(top) + row * step);
    }
    // A sample that has become significant: its magnitude is in [bit, 2 * bit), of which this is the middle.
    ZEL_INLINE void store(int place, uint32_t sign) const {
      storeOne(at(rowOf(place)), int32_t(sign << 31 | bit | bit >> 1));
    }
    // The bits above the plane stay, its own is b, and the half bit moves down from it.
    ZEL_INLINE void refine(int row, uint32_t b) const {
      const uint32_t known = ~(2 * bit - 1);
      int32_t* const sample = at(row);
      storeOne(sample, int32_t((uint32_t(loadOne(sample)) & known) | (bit & (0 - b)) | bit >> 1));
    }
  };
  struct Stripe {
    int32_t* first;
    int64_t step;
    uint32_t bit;
    ZEL_INLINE Column column(int x) const { return {first + x, step, bit}; }
  };
  ZEL_INLINE Stripe stripe(int y) const { return {rowAt(dst, dstStep, y), dstStep, bit}; }
};

// Decisions of the MQ coder. The decoder's registers are part of it, so that they are in the copy that a pass works on;
// the contexts are the block's.
struct MqSource {
  using Samples = DecodedSamples;
  using Column = Samples::Column;
  MqDecoder mq;
  MqContext* contexts;

  ZEL_INLINE uint32_t decision(uint32_t context) { return mq.decode(contexts, context); }

  ZEL_INLINE uint32_t significance(const Column&, const uint8_t* zeroCoding, uint32_t f, int place) {
    return decision(zeroCodingContext(zeroCoding, f, place));
  }
  // What is coded is the difference of the sign from its prediction.
  ZEL_INLINE uint32_t sign(const Column& column, uint32_t f, const uint32_t* word, int place) {
    const uint32_t entry = signCodingEntry(f, word, place);
    const uint32_t sign = decision(entry >> 1) ^ (entry & 1);
    column.store(place, sign);
    return sign;
  }
  // One decision whether there is any, mostly that there is none; then the row in two bits, the higher one first.
  ZEL_INLINE int firstOfRun(const Column&) {
    if (!mq.decodeSkewed(contexts, kRunLength)) return kNoPlace;
    const uint32_t high = decision(kUniform), low = decision(kUniform);
    return kFirstPlace + kRow * int(2 * high + low);
  }
  // Contexts of all samples are known, and what remains is a walk over the bits of those that are refined. The address
  // of a sample is formed after its decision, which needs all registers.
  ZEL_INLINE void refine(const Samples::Stripe& stripe, int x, const RefinedColumns& columns) {
    uint8_t contextOf[kStripe * u32v::N];
    store(contextOf, columns.contexts);
    for (uint32_t pending = columns.mask(); pending != 0; pending &= pending - 1) {
      const int i = __builtin_ctz(pending);
      const uint32_t b = decision(contextOf[i]);
      stripe.column(x + i / kStripe).refine(i % kStripe, b);
    }
  }
};

// Raw bits of significance propagation and refinement (D.6): they have no contexts, and a sign is the bit itself.
struct RawSource {
  using Samples = DecodedSamples;
  using Column = Samples::Column;
  RawReader raw;

  ZEL_INLINE uint32_t significance(const Column&, const uint8_t*, uint32_t, int) { return raw.bit(); }
  ZEL_INLINE uint32_t sign(const Column& column, uint32_t, const uint32_t*, int place) {
    const uint32_t sign = raw.bit();
    column.store(place, sign);
    return sign;
  }
  ZEL_INLINE void refine(const Samples::Stripe& stripe, int x, const RefinedColumns& columns) {
    for (uint32_t pending = columns.mask(); pending != 0; pending &= pending - 1) {
      const int i = __builtin_ctz(pending);
      const uint32_t b = raw.bit();
      stripe.column(x + i / kStripe).refine(i % kStripe, b);
    }
  }
};

}  // namespace
}  // namespace ZEL_VARIANT
