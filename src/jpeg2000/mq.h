// What the two directions of the MQ coder share (ITU-T T.800, Annex C): the contexts and their numbers, and the
// probability states in the form in which a coder meets them.
#pragma once

#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {

constexpr int kContexts = 19;
constexpr int kProbabilityStates = 47;

// The adaptive state of a context, I(CX) and MPS(CX) of T.800, with all that a coder's usual step needs in one word:
//
//   bit 0        the more probable symbol
//   bits 1..7    the index of the probability state, a row of Table C.2
//   bits 8..15   the shift that brings bit 15 of Qe to be set: the renormalisation after the sub-interval of length Qe
//   bits 16..31  Qe of that row
using MqContext = uint32_t;

// A row of T.800, Table C.2.
struct MqEstimate {
  uint32_t qe, nextMps, nextLps, exchange;
};

#pragma GCC visibility push(hidden)
extern const Table<MqEstimate, kProbabilityStates> owniEstimator_JPEG2K;
extern const Table<int32_t, kContexts> owniInitialCtxIndexes_JPEG2K;  // T.800, Table D.7
extern const Table<int32_t, kContexts> owniInitialMPS_JPEG2K;
extern const Table<MqContext, 4 * kProbabilityStates> kMqNext;  // what follows a context, see nextOf
extern const Table<MqContext, kContexts> kMqInitial;
#pragma GCC visibility pop

namespace {

// The contexts of the tier-1 coder. The order is free: T.800 numbers them within each coding operation only.
enum Context : uint32_t {
  kUniform = 0,      // the place in a run of four, and segmentation symbols
  kRunLength = 1,    // whether a column of four stays insignificant
  kZeroCoding = 2,   // 2..10: significance, by the significance of the eight neighbours (Table D.1)
  kSignCoding = 11,  // 11..15: the sign, by the signs of the four neighbours (Table D.3)
  kRefinement = 16   // 16..18: magnitude refinement (Table D.4)
};

ZEL_INLINE uint32_t qeOf(MqContext s) { return s >> 16; }
ZEL_INLINE int shiftOf(MqContext s) { return s >> 8 & 0xFF; }
ZEL_INLINE MqContext nextOf(MqContext s, uint32_t lps) { return kMqNext.at[2 * (s & 0xFF) + lps]; }

// What fills the last byte of a raw segment, in its low bits (D.4.2).
constexpr uint32_t kRawFill = 0x55;

inline void resetContexts(MqContext* contexts) { __builtin_memcpy(contexts, kMqInitial.at, sizeof kMqInitial.at); }

}  // namespace
}  // namespace ZEL_VARIANT
