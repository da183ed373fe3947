// The tier-1 encoder of code blocks (ITU-T T.800, Annex D): its state, and what callers ask of it.
//
// Loading a block does the modelling at once (pj2encoder_model.cpp): all coding passes run, their decisions go into
// logs, and each pass gets the rate that it will have and the distortion that it takes away. The bytes are made later,
// as far as the caller has room for them (pj2encoder_emit.cpp): the emitter replays the logs through the MQ coder or
// the raw one. So rates and distortions can be asked for before, between and after the calls that store bytes.
#include "frame/checks.h"
#include "jpeg2000/encoder_state.h"
#include "jpeg2000/memory.h"

namespace ZEL_VARIANT {
namespace {

// A state begins with a tag that no other record has, so that a pointer to something else is found out.
ZelStatus tagOk(const ZeliEncodeState_JPEG2K* state) {
  return encoderOf(state)->tag == kEncoderTag ? zelStsNoErr : zelStsContextMatchErr;
}
ZelStatus indexOk(int index, int count) {
  return index >= 0 && index < count ? zelStsNoErr : zelStsJPEG2KBadPassNumberErr;
}

// Frees what there is: a state may be half made.
void release(Encoder* e) {
  if (e->coder) {
    zelsFree(e->coder->mqLog);
    zelsFree(e->coder->rawLog);
  }
  zelsFree(e->coder);
  zelsFree(e->words);
  zelsFree(e);
}

// Null where an allocation fails. The five buffers are allocated on their own, and each must not exceed an int.
Encoder* makeEncoder(ZeliSize max) {
  auto* const e = static_cast<Encoder*>(allocated(sizeof(Encoder)));
  if (!e) return nullptr;
  __builtin_memset(e, 0, sizeof *e);
  const int64_t logBytes = productOf(productOf(max.width, stripesOf(max.height)), kLogBytesPerColumn);
  e->coder = static_cast<Coder*>(allocated(sizeof(Coder)));
  if (e->coder) {
    __builtin_memset(e->coder, 0, sizeof *e->coder);
    e->coder->mqLog = static_cast<uint8_t*>(allocated(logBytes));
    e->coder->rawLog = static_cast<uint8_t*>(allocated(logBytes));
    e->words = static_cast<uint32_t*>(allocated(productOf(statePitch(max.width), stateRows(max.height))));
  }
  if (e->coder && e->coder->mqLog && e->coder->rawLog && e->words) return e;
  release(e);
  return nullptr;
}

// Makes a coder ready for a block: no pass, both logs empty, contexts and registers at their beginning.
void resetCoder(Coder* c, int termMode, uint32_t flags) {
  resetContexts(c->contexts);
  c->mq.init();
  c->raw.init();
  c->queue.size = 0;
  c->mqNext = c->mqLog;
  c->rawNext = c->rawLog;
  c->open = c->handedOut = c->passes = c->pass = c->decisionsDone = c->passStart = 0;
  c->termMode = termMode;
  c->flags = flags;
  __builtin_memset(c->rate, 0, sizeof c->rate);
  __builtin_memset(c->bytes, 0, sizeof c->bytes);
}

// Codeword segments of the block; and the bytes of one: those that its passes have added.
int segmentsOf(const Coder& c) {
  int n = 0;
  for (int k = 0; k < c.passes; ++k) n += endsSegment(c, k);
  return n;
}

int segmentBytes(const Coder& c, int segment) {
  int bytes = 0, current = 0;
  for (int k = 0; k < c.passes; ++k) {
    if (current == segment) bytes += c.bytes[k];
    current += endsSegment(c, k);
  }
  return bytes;
}

// Exact for the exponents that occur, of either sign.
double powerOfTwo(int n) { return n >= 0 ? double(uint64_t(1) << n) : 1.0 / double(uint64_t(1) << -n); }

// Sums of passes are in fixed point, to the unit of their plane; see encoder_planes.h.
double distortionThrough(const Encoder& e, int pass) {
  double sum = 0;
  for (int k = 0; k <= pass; ++k) sum += e.distortion[k] * powerOfTwo(e.exponent[k]);
  return sum;
}

}  // namespace

ZelStatus zeliEncodeInitAlloc_JPEG2K(ZeliEncodeState_JPEG2K** ppState, ZeliSize codeBlockMaxSize) {
  if (const ZelStatus s = firstFailure(present(ppState), sizeOk(codeBlockMaxSize))) return s;
  Encoder* const e = makeEncoder(codeBlockMaxSize);
  *ppState = reinterpret_cast<ZeliEncodeState_JPEG2K*>(e);
  if (!e) return zelStsMemAllocErr;
  e->tag = kEncoderTag;
  return zelStsNoErr;
}

ZelStatus zeliEncodeFree_JPEG2K(ZeliEncodeState_JPEG2K* pState) {
  if (const ZelStatus s = present(pState)) return s;
  release(encoderOf(pState));
  return zelStsNoErr;
}

ZelStatus zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, ZeliSize codeBlockSize,
                                                 ZeliEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                 int termMode, int /* reserved */, int codeStyleFlags, int* pSfBits,
                                                 int* pNOfPasses, int* pNOfTermPasses) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pSfBits), present(pNOfPasses), present(pNOfTermPasses),
                                       sizeOk(codeBlockSize), present(pSrc), stepOk(srcStep)))
    return s;
  Encoder* const e = encoderOf(pState);
  resetCoder(e->coder, termMode, uint32_t(codeStyleFlags));
  *pSfBits = modelBlock(pSrc, srcStep, codeBlockSize, pState, subband, magnBits);
  *pNOfPasses = e->coder->passes;
  *pNOfTermPasses = segmentsOf(*e->coder);
  return zelStsNoErr;
}

ZelStatus zeliEncodeStoreBits_JPEG2K_1u(uint8_t* pDst, int* pDstLen, ZeliEncodeState_JPEG2K* pState,
                                        int* pIsNotFinished) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pDst), present(pDstLen), present(pIsNotFinished)))
    return s;
  if (const ZelStatus s = lengthOk(*pDstLen)) return s;
  Coder* const c = encoderOf(pState)->coder;
  *pDstLen = emitBytes(pState, pDst, *pDstLen);
  *pIsNotFinished = c->pass < c->passes || c->queue.size > 0;
  return zelStsNoErr;
}

ZelStatus zeliEncodeGetRate_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, int* pRate) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pRate))) return s;
  const Coder& c = *encoderOf(pState)->coder;
  if (const ZelStatus s = indexOk(passNum, c.passes)) return s;
  *pRate = c.rate[passNum];
  return zelStsNoErr;
}

ZelStatus zeliEncodeGetDist_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, double* pDist) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pDist))) return s;
  const Encoder& e = *encoderOf(pState);
  if (const ZelStatus s = indexOk(passNum, e.coder->passes)) return s;
  *pDist = distortionThrough(e, passNum);
  return zelStsNoErr;
}

ZelStatus zeliEncodeGetTermPassLen_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int termPassNum, int* pLen) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pLen))) return s;
  const Coder& c = *encoderOf(pState)->coder;
  if (const ZelStatus s = indexOk(termPassNum, segmentsOf(c))) return s;
  *pLen = segmentBytes(c, termPassNum);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
