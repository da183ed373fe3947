// What the two halves of the tier-1 encoder share: modelling, which logs the decisions of a block, and emission, which
// codes the log and hands out bytes.
#pragma once

#include "jpeg2000/mq_encoder.h"
#include "jpeg2000/neighbourhood.h"

namespace ZEL_VARIANT {

#pragma GCC visibility push(hidden)

// Finds the planes of a block and logs its passes; the result is the number of planes.
int modelBlock(const int32_t* src, int srcStep, ZeliSize size, ZeliEncodeState_JPEG2K* state, int subband,
               int magnBits);

// Codes on and writes up to room bytes; the result is how many.
int emitBytes(ZeliEncodeState_JPEG2K* state, uint8_t* dst, int room);

#pragma GCC visibility pop

namespace {

constexpr uint32_t kEncoderTag = 0x4C4D5344;  // "DSML"
constexpr int kMaxPasses = 110;
constexpr int kLogBytesPerColumn = 1090;  // of four rows

constexpr uint32_t kLossless = 32;  // a flag beside the styles

// The log and the way through it. Decisions of MQ passes are logged as context * 2 + bit, those of raw passes as bits.
struct Coder {
  uint8_t *mqLog, *rawLog;
  const uint8_t *mqNext, *rawNext;  // the decisions to be coded next
  MqContext contexts[kContexts];
  MqEncoder mq;
  RawWriter raw;
  ByteQueue queue;
  int32_t open;           // whether a segment has been begun
  int32_t handedOut;      // bytes of the block that the caller has
  int32_t passes, pass;   // in all; to be emitted next
  int32_t decisionsDone;  // of that pass
  int32_t passStart;      // bytes of the block before that pass
  int32_t termMode;
  uint32_t flags;
  int32_t decisions[kMaxPasses];
  int32_t bytes[kMaxPasses];
  int32_t isRaw[kMaxPasses];
  int32_t rate[kMaxPasses];  // cumulative
  uint8_t reserved[168];
};
static_assert(sizeof(Coder) == 2112);

struct Encoder {
  uint32_t tag;
  int32_t reserved[5];
  Coder* coder;
  uint32_t* words;  // significance, see neighbourhood.h
  int32_t distortion[kMaxPasses - 1];
  int32_t exponent[kMaxPasses - 1];  // what a pass takes away is distortion * 2^exponent
  int32_t reserved2[6];
};
static_assert(sizeof(Encoder) == 936);

inline Encoder* encoderOf(ZeliEncodeState_JPEG2K* state) { return reinterpret_cast<Encoder*>(state); }
inline const Encoder* encoderOf(const ZeliEncodeState_JPEG2K* state) { return reinterpret_cast<const Encoder*>(state); }

// Whether a codeword segment ends with a pass.
inline bool endsSegment(const Coder& c, int pass) {
  return c.flags & kTerminateAll || pass + 1 == c.passes || c.isRaw[pass] != c.isRaw[pass + 1];
}

}  // namespace
}  // namespace ZEL_VARIANT
