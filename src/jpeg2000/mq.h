// What the two directions of the MQ coder share (ITU-T T.800, Annex C): the contexts and their numbers, and the
// probability states in the form in which a coder meets them.
#pragma once

#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {

constexpr int kContexts = 19;
constexpr int kProbabilityStates = 47;

// A context is one word: the Qe of its state in the upper half; below it the index of the state times two, plus the
// more probable symbol. So a coder's usual step reads one word and nothing else.
using MqContext = uint32_t;

struct MqEstimate {
  uint32_t qe, nextMps, nextLps, exchange;
};

#pragma GCC visibility push(hidden)
extern const Table<MqEstimate, kProbabilityStates> owniEstimator_JPEG2K;  // T.800, Table C.2
extern const Table<int32_t, kContexts> owniInitialCtxIndexes_JPEG2K;      // T.800, Table D.7
extern const Table<int32_t, kContexts> owniInitialMPS_JPEG2K;
extern const Table<MqContext, 4 * kProbabilityStates> kMqNext;  // by low byte of a context * 2 + LPS
extern const Table<MqContext, kContexts> kMqInitial;
#pragma GCC visibility pop

namespace {

enum Context : uint32_t {
  kUniform = 0,
  kRunLength = 1,
  kZeroCoding = 2,   // 2..10
  kSignCoding = 11,  // 11..15
  kRefinement = 16   // 16..18
};

// Code-block styles, with the same bits for both directions (T.800, Table A.19, has other ones).
enum Style : uint32_t { kCausal = 1, kBypass = 2, kTerminateAll = 4, kResetContexts = 8, kSegmentationSymbols = 16 };

ZEL_INLINE uint32_t qeOf(MqContext s) { return s >> 16; }
ZEL_INLINE int shiftOf(MqContext s) { return s >> 8 & 0xFF; }
ZEL_INLINE MqContext nextOf(MqContext s, uint32_t lps) { return kMqNext.at[2 * (s & 0xFF) + lps]; }

inline void resetContexts(MqContext* contexts) { __builtin_memcpy(contexts, kMqInitial.at, sizeof kMqInitial.at); }

// How far a to the left brings its bit 15 to be set, 1 <= a < 2^16.
ZEL_INLINE int renormShift(uint32_t a) { return __builtin_clz(a) - 16; }

}  // namespace
}  // namespace ZEL_VARIANT
