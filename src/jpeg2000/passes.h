// The three coding passes of a bit plane (ITU-T T.800, Annex D.3), once for both directions: stripes of four rows,
// columns from left to right, each column from top to bottom.
//
// The walk finds which samples a pass visits, and in which contexts; what is decided about them is a matter of a type
// Decisions. A decoder's reads decisions from a codeword segment and stores samples; an encoder's finds them in the
// samples and logs them. Either has
//
//   Samples                 what a block's samples are to it; Samples::stripe(y) is a stripe of them, from row y on,
// and
//                           column(x) of that a column
//   significance(column, zeroCoding, f, place)   whether a sample becomes significant, in the context that follows
//                                                from its column's word f
//   sign(column, f, word, place)                 the sign of one that does
//   firstOfRun(column)                           the place of the first sample of a column that becomes significant,
//                                                or kNoPlace where none does (T.800, D.3.4)
//   refine(stripe, x, columns)                   the next bit of all samples that are refined in u32v::N columns
//
// A pass works on a copy of its Decisions, which the compiler keeps in registers, and stores it at the end.
#pragma once

#include "frame/vec.h"
#include "jpeg2000/neighbourhood.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kNoPlace = 0;  // of no sample: those begin at kFirstPlace

// With the selective bypass (D.6) the first four planes, ten passes, are coded arithmetically.
constexpr int kMqPlanes = 4;

// A code block and where its parts lie.
template <class Samples>
struct Block {
  Samples samples;
  int width, height;
  uint32_t* words;            // of the first column of the first stripe
  int64_t pitch;              // of the rows of words, in words
  const uint8_t* zeroCoding;  // the table of the sub-band
};

template <class Samples>
ZEL_INLINE uint32_t* wordsOf(const Block<Samples>& b, int y) {
  return b.words + y / kStripe * b.pitch;
}

// The places of the samples that the stripe from row y on has in the block.
template <class Samples>
ZEL_INLINE uint32_t samplesFrom(const Block<Samples>& b, int y) {
  return b.height - y >= kStripe ? kSamples : samplesOf(b.height - y);
}

// A sample that becomes significant: its sign follows, and its neighbours learn of it. The result is its column.
template <bool kIsCausal, class Decisions, class Column>
ZEL_INLINE uint32_t significant(Decisions& decisions, int64_t pitch, const Column& column, uint32_t* word, uint32_t f,
                                int place) {
  const uint32_t sign = decisions.sign(column, f, word, place);
  return f | becomeSignificant<kIsCausal>(word, pitch, place, sign);
}

// D.3.1: insignificant samples with a significant neighbour.
template <bool kIsCausal, class Decisions>
[[gnu::noinline]] void significancePropagation(const Block<typename Decisions::Samples>& b, Decisions* state) {
  Decisions decisions = *state;
  for (int y = 0; y < b.height; y += kStripe) {
    const auto stripe = b.samples.stripe(y);
    const uint32_t samples = samplesFrom(b, y);
    uint32_t* word = wordsOf(b, y);
    for (int x = 0; x < b.width; ++x, ++word) {
      uint32_t f = *word;
      if (f == 0) continue;
      uint32_t pending = withNeighbours(f) & ~f & samples;
      if (pending == 0) continue;
      const auto column = stripe.column(x);
      do {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        f |= 1u << (place + kVisitedOf);
        if (decisions.significance(column, b.zeroCoding, f, place)) {
          f = significant<kIsCausal>(decisions, b.pitch, column, word, f, place);
          pending |= 1u << place << kRow & ~f & samples;  // the sample below has a significant neighbour now
        }
      } while (pending);
      *word = f;
    }
  }
  *state = decisions;
}

// The samples of u32v::N columns that a refinement pass visits.
struct RefinedColumns {
  u32v samples;   // at their places
  u32v contexts;  // of all samples, refined or not: a byte each, by columns

  // A bit for each sample, by columns: bit 4 i + row for column i.
  ZEL_INLINE uint32_t mask() const { return byteMask(toBytes(samples) << 7); }

  // Fields of up to three bits at the places of the samples, one to each byte.
  ZEL_INLINE static u32v toBytes(u32v f) {
    const u32v low = splat<u32v>(7);
    return (f >> placeOf(0) & low) | (f << (8 - placeOf(1)) & low << 8) | (f << (16 - placeOf(2)) & low << 16) |
           (f << (24 - placeOf(3)) & low << 24);
  }
};

// Finds the samples to be refined and marks them as refined before. It touches words up to the next multiple of u32v::N
// columns: guards, which have no samples and stay as they are.
ZEL_INLINE RefinedColumns refinedColumns(uint32_t* words) {
  const u32v own = splat<u32v>(kSamples), f = load<u32v>(words);
  const u32v refined = f & ~(f >> kVisitedOf) & own;
  store(words, f | refined << kRefinedOf);
  // Table D.4: the third context from the second refinement on; before it the second beside anything significant.
  const u32v again = f >> kRefinedOf & own;
  const u32v beside = besideSignificance(f & splat<u32v>(kSignificance)) & ~again & own;
  return {refined, RefinedColumns::toBytes(beside | again << 1) + splat<u32v>(kRefinement * 0x01010101)};
}

// D.3.3: samples that were significant before this bit plane. Nothing becomes significant in this pass, so what it
// visits, and in which contexts, is known for many columns at a time.
template <class Decisions>
[[gnu::noinline]] void magnitudeRefinement(const Block<typename Decisions::Samples>& b, Decisions* state) {
  Decisions decisions = *state;
  for (int y = 0; y < b.height; y += kStripe) {
    const auto stripe = b.samples.stripe(y);
    uint32_t* const words = wordsOf(b, y);
    for (int x = 0; x < b.width; x += u32v::N) decisions.refine(stripe, x, refinedColumns(words + x));
  }
  *state = decisions;
}

// D.3.4: everything that the other passes have left, and visited samples become unvisited.
template <bool kIsCausal, class Decisions>
[[gnu::noinline]] void cleanup(const Block<typename Decisions::Samples>& b, Decisions* state) {
  Decisions decisions = *state;
  for (int y = 0; y < b.height; y += kStripe) {
    const auto stripe = b.samples.stripe(y);
    const uint32_t samples = samplesFrom(b, y);
    uint32_t* word = wordsOf(b, y);
    for (int x = 0; x < b.width; ++x, ++word) {
      const auto column = stripe.column(x);
      uint32_t f = *word;
      uint32_t pending = ~f & ~(f >> kVisitedOf) & samples;
      if (f == 0 && samples == kSamples) {  // the run mode: four samples with nothing significant in or around them
        const int place = decisions.firstOfRun(column);
        if (place == kNoPlace) continue;
        f = significant<kIsCausal>(decisions, b.pitch, column, word, f, place);
        pending &= ~0u << place << 1;
      }
      while (pending) {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        if (decisions.significance(column, b.zeroCoding, f, place))
          f = significant<kIsCausal>(decisions, b.pitch, column, word, f, place);
      }
      *word = f & ~kVisited;
    }
  }
  *state = decisions;
}

}  // namespace
}  // namespace ZEL_VARIANT
