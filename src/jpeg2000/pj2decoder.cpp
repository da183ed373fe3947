// The tier-1 decoder of code blocks (ITU-T T.800, Annex D): the progressive decoder, a machine of coding passes that is
// fed one codeword segment at a time, and decoding in one call on top of it.
#include "frame/checks.h"
#include "jpeg2000/decoder_passes.h"
#include "jpeg2000/memory.h"

namespace ZEL_VARIANT {
namespace {

constexpr uint32_t kTag = 0x434D4150;  // "PAMC"
constexpr int kRecordBytes = 440;
constexpr int kAlignment = 32;  // of the words behind the record

// Beside the styles:
enum Flag : uint32_t {
  kMidpointsAfterDamage = 0x10000,
  kKeepOutput = 0x20000,
  kKeepHalfBits = 0x40000,
  kKeepState = 0x80000,
  kCheckTermination = 0x100000
};

enum NextPass : int32_t { kFirstCleanup, kRefine, kPropagate, kCleanupAfterRaw, kRefineRaw, kPropagateRaw };

// What a state holds between calls. A caller's memory may lie anywhere, so functions work on a copy.
struct Record {
  uint32_t tag;
  int32_t attached, damaged;
  uint32_t flags;
  int32_t* dst;
  int32_t dstStep, width, height, subband;
  int32_t curBitPlane, bypassPlane, passCounter, nextPass;
  MqContext contexts[kContexts];
};
static_assert(sizeof(Record) <= kRecordBytes);

Record recordOf(const ZeliDecodeCBProgrState_JPEG2K* state) {
  Record r;
  __builtin_memcpy(&r, state, sizeof r);
  return r;
}
void keep(const Record& r, ZeliDecodeCBProgrState_JPEG2K* state) { __builtin_memcpy(state, &r, sizeof r); }

ZelStatus tagOk(const ZeliDecodeCBProgrState_JPEG2K* state) {
  return recordOf(state).tag == kTag ? zelStsNoErr : zelStsContextMatchErr;
}

uint32_t* wordsOf(ZeliDecodeCBProgrState_JPEG2K* state) {
  const uintptr_t end = reinterpret_cast<uintptr_t>(state) + kRecordBytes;
  return reinterpret_cast<uint32_t*>((end + kAlignment - 1) / kAlignment * kAlignment);
}

int64_t stateBytes(ZeliSize max) { return statePitch(max.width) * stateRows(max.height) + kRecordBytes + kAlignment; }

void reset(ZeliDecodeCBProgrState_JPEG2K* state) {
  Record r = {};
  r.tag = kTag;
  keep(r, state);
}

void setPassCounter(ZeliDecodeCBProgrState_JPEG2K* state, int passes) {
  Record r = recordOf(state);
  r.passCounter = passes;
  keep(r, state);
}

void attach(int32_t* dst, int dstStep, ZeliSize size, ZeliDecodeCBProgrState_JPEG2K* state, int subband, int sfBits,
            uint32_t flags) {
  Record r = {};
  r.tag = kTag;
  r.attached = 1;
  r.flags = flags;
  r.dst = dst;
  r.dstStep = dstStep;
  r.width = size.width;
  r.height = size.height;
  r.subband = subband;
  r.curBitPlane = sfBits - 1;
  r.bypassPlane = flags & kBypass && sfBits >= 4 ? sfBits - 4 : 0;
  r.nextPass = kFirstCleanup;
  resetContexts(r.contexts);
  keep(r, state);
  if (!(flags & kKeepOutput))
    for (int y = 0; y < size.height; ++y) __builtin_memset(rowAt(dst, dstStep, y), 0, size_t(size.width) * 4);
  if (!(flags & kKeepState)) {
    const int64_t rows = (int64_t(size.height) + kStripe - 1) / kStripe + 2;
    __builtin_memset(wordsOf(state), 0, size_t(statePitch(size.width) * rows));
  }
}

// One step: the passes of one codeword segment. A pass that reports damage leaves the position where it was.
class Step {
 public:
  Step(Record* record, uint32_t* words, Segment segment) : r_(*record), segment_(segment) {
    plane_ = {r_.dst,
              r_.dstStep,
              r_.width,
              r_.height,
              nullptr,
              statePitch(r_.width) / 4,
              zeroCodingTable(r_.subband),
              0,
              (r_.flags & kCausal) != 0};
    plane_.words = words + plane_.pitch + 1;
  }

  void run() {
    if (r_.passCounter <= 0 || r_.curBitPlane < 0) return;
    const bool intact = r_.flags & kTerminateAll ? singlePass() : passesOfOneMode();
    if (!intact) r_.damaged = 1;
  }

 private:
  bool checksTermination() const { return (r_.flags & kCheckTermination) != 0; }

  bool singlePass() {
    const bool raw = r_.nextPass == kRefineRaw || r_.nextPass == kPropagateRaw;
    if (raw)
      raw_.raw = RawReader(segment_);
    else
      mq_ = {MqDecoder(segment_), r_.contexts};
    switch (r_.nextPass) {
      case kPropagateRaw:
        return propagateRaw(true) && moved(kRefineRaw, 0);
      case kRefineRaw:
        return refineRaw() && moved(kCleanupAfterRaw, 0);
      case kCleanupAfterRaw:
        return clean(checksTermination()) && moved(kPropagateRaw, 1);
      case kPropagate:
        return propagate(checksTermination()) && moved(kRefine, 0);
      case kRefine:
        return refine(checksTermination()) && moved(kFirstCleanup, 0);
      default:
        return clean(checksTermination()) &&
               moved(r_.curBitPlane - 1 >= r_.bypassPlane ? kPropagate : kPropagateRaw, 1);
    }
  }

  bool passesOfOneMode() {
    if (r_.nextPass == kPropagateRaw) {
      raw_.raw = RawReader(segment_);
      propagateRaw(false);
      if (--r_.passCounter > 0) {
        if (!refineRaw()) return false;
        --r_.passCounter;
      }
      r_.nextPass = kCleanupAfterRaw;
      return true;
    }
    mq_ = {MqDecoder(segment_), r_.contexts};
    if (r_.nextPass == kCleanupAfterRaw) {
      if (!clean(false)) return false;
      if (--r_.passCounter > 0) toRawPlanes();
      return true;
    }
    for (;;) {
      if (!clean(checksTermination() && r_.curBitPlane == r_.bypassPlane)) return false;
      if (--r_.passCounter <= 0) return true;
      if (r_.curBitPlane <= r_.bypassPlane) {
        toRawPlanes();
        return true;
      }
      --r_.curBitPlane;
      propagate(false);
      if (--r_.passCounter <= 0) return true;
      refine(false);
      if (--r_.passCounter <= 0) return true;
    }
  }

  bool moved(NextPass next, int planes) {
    r_.nextPass = next;
    r_.curBitPlane -= planes;
    --r_.passCounter;
    return true;
  }
  void toRawPlanes() {
    --r_.curBitPlane;
    r_.nextPass = kPropagateRaw;
  }

  const Plane& current() {
    plane_.bit = 1u << (r_.curBitPlane & 31);
    return plane_;
  }

  // The passes; each says whether its segment is intact so far.
  bool propagateRaw(bool ends) {
    (plane_.causal ? significancePropagation<true, RawSource> : significancePropagation<false, RawSource>)(current(),
                                                                                                           &raw_);
    return !ends || !raw_.raw.damagedAtEnd();
  }
  bool refineRaw() {
    magnitudeRefinement(current(), &raw_);
    return !raw_.raw.damagedAtEnd();
  }
  bool propagate(bool check) {
    (plane_.causal ? significancePropagation<true, MqSource> : significancePropagation<false, MqSource>)(current(),
                                                                                                         &mq_);
    return endOfMqPass(check);
  }
  bool refine(bool check) {
    magnitudeRefinement(current(), &mq_);
    return endOfMqPass(check);
  }
  bool clean(bool check) {
    (plane_.causal ? cleanup<true> : cleanup<false>)(current(), &mq_);
    uint32_t symbol = 0xA;
    if (r_.flags & kSegmentationSymbols) {
      symbol = 0;
      for (int i = 0; i < 4; ++i) symbol = symbol << 1 | mq_.decision(kUniform);
    }
    return endOfMqPass(check) && symbol == 0xA;
  }
  bool endOfMqPass(bool check) {
    if (r_.flags & kResetContexts) resetContexts(r_.contexts);
    return !check || !mq_.mq.damagedAtEnd();
  }

  Record& r_;
  Segment segment_;
  Plane plane_;
  MqSource mq_;
  RawSource raw_;
};

ZelStatus step(const uint8_t* src, int length, ZeliDecodeCBProgrState_JPEG2K* state) {
  Record r = recordOf(state);
  if (!r.attached) return zelStsJPEG2KNotAttachedErr;
  if (r.damaged) return zelStsJPEG2KDamagedCBErr;
  Step(&r, wordsOf(state), {src, length}).run();
  keep(r, state);
  return r.damaged ? zelStsJPEG2KDamagedCBErr : zelStsNoErr;
}

ZelStatus getStateSize(ZeliSize max, int* bytes) {
  if (const ZelStatus s = firstFailure(sizeOk(max), present(bytes))) return s;
  *bytes = int(stateBytes(max));
  return zelStsNoErr;
}

// Magnitudes to the middle of the interval of a plane, where anything is left of them at and above it.
void toMidpoints(int32_t* dst, int dstStep, ZeliSize size, int plane) {
  const uint32_t bit = 1u << (plane & 31), known = ~(bit - 1) & 0x7FFFFFFF;
  for (int y = 0; y < size.height; ++y) {
    int32_t* const row = rowAt(dst, dstStep, y);
    for (int x = 0; x < size.width; ++x) {
      const uint32_t v = uint32_t(loadOne(row + x));
      storeOne(row + x, v & known ? int32_t((v & (known | 0x80000000)) | bit) : 0);
    }
  }
}

}  // namespace

ZelStatus zeliDecodeCBProgrGetStateSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pStateSize) {
  return getStateSize(codeBlockMaxSize, pStateSize);
}

ZelStatus zeliDecodeCBProgrInit_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (const ZelStatus s = present(pState)) return s;
  reset(pState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrInitAlloc_JPEG2K(ZeliDecodeCBProgrState_JPEG2K** ppState, ZeliSize codeBlockMaxSize) {
  if (const ZelStatus s = firstFailure(present(ppState), sizeOk(codeBlockMaxSize))) return s;
  *ppState = static_cast<ZeliDecodeCBProgrState_JPEG2K*>(allocated(stateBytes(codeBlockMaxSize)));
  if (!*ppState) return zelStsMemAllocErr;
  reset(*ppState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrFree_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = tagOk(pState)) return s;
  zelsFree(pState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(int32_t* pDst, int dstStep, ZeliSize codeBlockSize,
                                                 ZeliDecodeCBProgrState_JPEG2K* pState, int subband, int sfBits,
                                                 int codeStyleFlags) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pDst), stepOk(dstStep), sizeOk(codeBlockSize))) return s;
  attach(pDst, dstStep, codeBlockSize, pState, subband, sfBits, uint32_t(codeStyleFlags));
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrSetPassCounter_JPEG2K(int nOfPasses, ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = tagOk(pState)) return s;
  setPassCounter(pState, nOfPasses);
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrGetPassCounter_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState, int* pNOfPasses) {
  if (const ZelStatus s = firstFailure(present(pState), present(pNOfPasses))) return s;
  if (const ZelStatus s = tagOk(pState)) return s;
  *pNOfPasses = recordOf(pState).passCounter;
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState, int* pBitPlaneNum) {
  if (const ZelStatus s = present(pState)) return s;
  if (const ZelStatus s = firstFailure(tagOk(pState), present(pBitPlaneNum))) return s;
  *pBitPlaneNum = recordOf(pState).curBitPlane;
  return zelStsNoErr;
}

ZelStatus zeliDecodeCBProgrStep_JPEG2K(const uint8_t* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pState))) return s;
  if (const ZelStatus s = tagOk(pState)) return s;
  return step(pSrc, srcLen, pState);
}

ZelStatus zeliDecodeGetBufSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pSize) {
  return getStateSize(codeBlockMaxSize, pSize);
}

ZelStatus zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* pSrc, int32_t* pDst, int dstStep, ZeliSize codeBlockSize,
                                               int subband, int sfBits, int nOfPasses, const int* pTermLen,
                                               int nOfTermPasses, int codeStyleFlags, int* pNOfResolvedBitPlanes,
                                               ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pState), sizeOk(codeBlockSize), present(pTermLen),
                                       present(pDst), stepOk(dstStep)))
    return s;
  attach(pDst, dstStep, codeBlockSize, pState, subband, sfBits, uint32_t(codeStyleFlags));
  setPassCounter(pState, nOfPasses);
  if (nOfTermPasses < 1) return zelStsNoErr;
  ZelStatus status = zelStsNoErr;
  for (int i = 0; i < nOfTermPasses && status == zelStsNoErr; pSrc += pTermLen[i++])
    status = step(pSrc, pTermLen[i], pState);
  const int plane = recordOf(pState).curBitPlane;
  if (status == zelStsJPEG2KDamagedCBErr) {
    if (pNOfResolvedBitPlanes) *pNOfResolvedBitPlanes = plane;
    if (uint32_t(codeStyleFlags) & kMidpointsAfterDamage) toMidpoints(pDst, dstStep, codeBlockSize, plane);
  }
  if (!(uint32_t(codeStyleFlags) & kKeepHalfBits) && plane >= 1)
    zeliAndC_32s_C1IR(int32_t(~0u << (plane & 31)), pDst, dstStep, codeBlockSize);
  return status;
}

}  // namespace ZEL_VARIANT
