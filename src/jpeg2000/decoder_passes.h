// The coding passes of one bit plane, decoded (ITU-T T.800, Annex D.3): stripes of four rows, columns from left to
// right, each column from top to bottom.
#pragma once

#include "frame/rows.h"
#include "jpeg2000/mq_decoder.h"
#include "jpeg2000/refinement.h"

namespace ZEL_VARIANT {
namespace {

// The block that a pass works on.
struct Plane {
  int32_t* dst;
  int dstStep;
  int width, height;
  uint32_t* words;  // of the first column of the first stripe
  int64_t pitch;    // in words
  const uint8_t* zeroCoding;
  uint32_t bit;  // of the bit plane
  bool causal;
};

// Sources of decisions. The compressed one codes signs as differences from their prediction.
struct MqSource {
  MqDecoder mq;
  MqContext* contexts;
  static constexpr bool kRaw = false;
  ZEL_INLINE uint32_t decision(uint32_t context) { return mq.decode(contexts, context); }
  ZEL_INLINE uint32_t significance(const uint8_t* table, uint32_t f, int place) {
    return mq.decode(contexts, zeroCodingContext(table, f, place));
  }
  ZEL_INLINE uint32_t sign(uint32_t f, const uint32_t* word, int place) {
    const uint32_t entry = signCodingEntry(f, word, place);
    return mq.decode(contexts, entry >> 1) ^ (entry & 1);
  }
  ZEL_INLINE uint32_t refinement(uint32_t context) { return mq.decode(contexts, context); }
};

struct RawSource {
  RawReader raw;
  static constexpr bool kRaw = true;
  ZEL_INLINE uint32_t significance(const uint8_t*, uint32_t, int) { return raw.bit(); }
  ZEL_INLINE uint32_t sign(uint32_t, const uint32_t*, int) { return raw.bit(); }
  ZEL_INLINE uint32_t refinement(uint32_t) { return raw.bit(); }
};

struct StripeRows {
  int32_t* first;
  int64_t step;
  ZEL_INLINE int32_t* at(int x, int row) const {
    return reinterpret_cast<int32_t*>(reinterpret_cast<char*>(first + x) + row * step);
  }
};

ZEL_INLINE StripeRows stripeOf(const Plane& p, int y) { return {rowAt(p.dst, p.dstStep, y), p.dstStep}; }
ZEL_INLINE uint32_t* wordsOf(const Plane& p, int y) { return p.words + y / kStripe * p.pitch; }
ZEL_INLINE uint32_t placesFrom(const Plane& p, int y) { return p.height - y >= kStripe ? kOwn : rowsOf(p.height - y); }

// A sample found significant: its sign follows, its magnitude is the middle of the plane's interval.
template <bool kIsCausal, class Source>
ZEL_INLINE uint32_t significant(Source& source, const Plane& p, StripeRows rows, uint32_t* word, uint32_t f, int x,
                                int place) {
  const uint32_t sign = source.sign(f, word, place);
  storeOne(rows.at(x, rowOf(place)), int32_t(sign << 31 | p.bit | p.bit >> 1));
  return f | becomeSignificant<kIsCausal>(word, p.pitch, place, sign);
}

template <bool kIsCausal, class Source>
[[gnu::noinline]] void significancePropagation(const Plane& p, Source* state) {
  Source source = *state;
  for (int y = 0; y < p.height; y += kStripe) {
    const StripeRows rows = stripeOf(p, y);
    const uint32_t places = placesFrom(p, y);
    uint32_t* word = wordsOf(p, y);
    for (int x = 0; x < p.width; ++x, ++word) {
      uint32_t f = *word;
      if (f == 0) continue;
      uint32_t pending = withNeighbours(f) & ~f & places;
      if (pending == 0) continue;
      do {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        f |= 1u << (place + kVisitedOf);
        if (source.significance(p.zeroCoding, f, place)) {
          f = significant<kIsCausal>(source, p, rows, word, f, x, place);
          pending |= 8u << place & ~f & places;
        }
      } while (pending);
      *word = f;
    }
  }
  *state = source;
}

template <class Source>
[[gnu::noinline]] void magnitudeRefinement(const Plane& p, Source* state) {
  Source source = *state;
  const uint32_t keep = ~(2 * p.bit - 1), bit = p.bit, half = bit >> 1;
  for (int y = 0; y < p.height; y += kStripe) {
    const StripeRows rows = stripeOf(p, y);
    for (int x = 0; x < p.width; x += u32v::N) {
      const RefinedColumns columns = refinedColumns(wordsOf(p, y) + x);
      uint8_t contexts[4 * u32v::N];
      if constexpr (!Source::kRaw) store(contexts, columns.contexts);
      for (uint32_t pending = columns.mask(); pending != 0; pending &= pending - 1) {
        const int i = __builtin_ctz(pending);
        const uint32_t b = source.refinement(contexts[i]);
        int32_t* const sample = rows.at(x + i / 4, i % 4);
        storeOne(sample, int32_t((uint32_t(loadOne(sample)) & keep) | (bit & (0 - b)) | half));
      }
    }
  }
  *state = source;
}

template <bool kIsCausal>
[[gnu::noinline]] void cleanup(const Plane& p, MqSource* state) {
  MqSource source = *state;
  for (int y = 0; y < p.height; y += kStripe) {
    const StripeRows rows = stripeOf(p, y);
    const uint32_t places = placesFrom(p, y);
    uint32_t* word = wordsOf(p, y);
    for (int x = 0; x < p.width; ++x, ++word) {
      uint32_t f = *word;
      uint32_t pending = ~f & ~(f >> kVisitedOf) & places;
      if (f == 0 && places == kOwn) {  // the run mode
        if (!source.mq.decodeSkewed(source.contexts, kRunLength)) continue;
        const uint32_t high = source.decision(kUniform);
        const int place = int(4 + 6 * high + 3 * source.decision(kUniform));
        f = significant<kIsCausal>(source, p, rows, word, f, x, place);
        pending &= ~0u << place << 1;
      }
      while (pending) {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        if (source.significance(p.zeroCoding, f, place)) f = significant<kIsCausal>(source, p, rows, word, f, x, place);
      }
      *word = f & ~kVisited;
    }
  }
  *state = source;
}

}  // namespace
}  // namespace ZEL_VARIANT
