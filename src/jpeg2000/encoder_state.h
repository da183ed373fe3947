// What the two halves of the tier-1 encoder share: modelling, which logs the decisions of all passes of a block, and
// emission, which codes the log and hands out bytes. They are apart because the second may stop wherever the caller's
// buffer is full, and need not run at all for passes that nobody wants.
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

// The room in a log for a column of a stripe. In each of 31 planes a sample takes one decision, and once its sign; a
// column three for a run; and a block four for the segmentation symbol, which count for its only column here.
constexpr int kLogBytesPerColumn = 1090;
static_assert(31 * (kStripe + 3 + 4) + kStripe < kLogBytesPerColumn);

// The log of a block and the way through it. MQ and raw passes have a log each, with a byte for each decision.
struct Coder {
  uint8_t *mqLog, *rawLog;
  const uint8_t *mqNext, *rawNext;  // the decisions to be coded next
  MqContext contexts[kContexts];
  MqEncoder mq;
  RawWriter raw;
  ByteQueue queue;
  int32_t open;           // whether decisions of the current segment have been coded
  int32_t handedOut;      // bytes of the block that the caller has
  int32_t passes;         // in all
  int32_t pass;           // to be emitted next
  int32_t decisionsDone;  // of that pass
  int32_t passStart;      // bytes of the block before that pass
  int32_t termMode;
  uint32_t flags;
  // By passes:
  int32_t decisions[kMaxPasses];
  int32_t bytes[kMaxPasses];
  int32_t isRaw[kMaxPasses];
  int32_t rate[kMaxPasses];  // bytes of the block after which a decoder has all it needs through this pass
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

// Whether a codeword segment ends with a pass: where each is one, at the end, and where the coding mode changes.
inline bool endsSegment(const Coder& c, int pass) {
  return c.flags & zeliCodeBlockTerminateAll || pass + 1 == c.passes || c.isRaw[pass] != c.isRaw[pass + 1];
}

}  // namespace
}  // namespace ZEL_VARIANT
