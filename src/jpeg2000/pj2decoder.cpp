// The tier-1 decoder of code blocks (ITU-T T.800, Annex D): the progressive decoder, a machine of coding passes that is
// fed one codeword segment at a time, and decoding in one call on top of it.
//
// A state is a record followed by the words of the neighbourhoods (neighbourhood.h). Between two calls it holds where
// the machine stands: the bit plane and kind of the next pass, how many passes the caller still allows, and the
// contexts of the MQ coder, which live on from segment to segment. The registers of the MQ coder and of the raw reader
// live no longer than a segment, so they are not part of it. What is known of the samples stands in the caller's
// output, their significance in the words.
#include "frame/checks.h"
#include "jpeg2000/decoder_sources.h"
#include "jpeg2000/memory.h"

namespace ZEL_VARIANT {
namespace {

constexpr uint32_t kTag = 0x434D4150;  // "PAMC"
constexpr int kRecordBytes = 440;
constexpr int kAlignment = 32;  // of the words behind the record

enum class Pass { kPropagation, kRefinement, kCleanup };

// The six ways in which a coding pass can come next. The numbers are those of the first index of the table below.
enum PassState : int32_t { kFirstCleanup, kRefine, kPropagate, kCleanupAfterRaw, kRefineRaw, kPropagateRaw };

// What a state does and what follows it. A cleanup pass leads to the next bit plane. The first kind of cleanup leads to
// raw passes instead where that plane is below the bypass plane (T.800, Table D.9).
struct Transition {
  Pass pass;
  bool raw;
  PassState next;
  int planes;  // how far down
};
constexpr Table<Transition, 6> kTransitions = {{
    {Pass::kCleanup, false, kPropagate, 1},          // kFirstCleanup
    {Pass::kRefinement, false, kFirstCleanup, 0},    // kRefine
    {Pass::kPropagation, false, kRefine, 0},         // kPropagate
    {Pass::kCleanup, false, kPropagateRaw, 1},       // kCleanupAfterRaw
    {Pass::kRefinement, true, kCleanupAfterRaw, 0},  // kRefineRaw
    {Pass::kPropagation, true, kRefineRaw, 0},       // kPropagateRaw
}};

// What a state holds between calls, in front of its words. A caller's memory may lie anywhere, so functions work on a
// copy.
struct Record {
  uint32_t tag;
  int32_t attached;
  int32_t damaged;  // stays until the next attach
  uint32_t flags;
  int32_t* dst;
  int32_t dstStep, width, height, subband;
  int32_t curBitPlane;  // of the next pass
  int32_t bypassPlane;  // below it propagation and refinement are raw
  int32_t passCounter;  // passes that may still be decoded
  PassState nextPass;
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

// The first of the words: where the state begins is the caller's choice, so they start at the next aligned address.
uint32_t* wordsOf(ZeliDecodeCBProgrState_JPEG2K* state) {
  const uintptr_t end = reinterpret_cast<uintptr_t>(state) + kRecordBytes;
  return reinterpret_cast<uint32_t*>((end + kAlignment - 1) / kAlignment * kAlignment);
}

// The record, what aligning the words may take, and the words; above INT32_MAX where that is too much.
int64_t stateBytes(ZeliSize max) {
  return kRecordBytes + kAlignment + productOf(statePitch(max.width), stateRows(max.height));
}

// A state that is attached to nothing. Its words are left to attach.
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

// Begins a block, with the cleanup pass of its top plane. Nothing of the block before stays, but what the flags say.
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
  r.bypassPlane = flags & zeliCodeBlockBypass && sfBits >= kMqPlanes ? sfBits - kMqPlanes : 0;
  r.nextPass = kFirstCleanup;
  resetContexts(r.contexts);
  keep(r, state);
  if (!(flags & zeliDecodeKeepOutput))
    for (int y = 0; y < size.height; ++y) __builtin_memset(rowAt(dst, dstStep, y), 0, size_t(size.width) * 4);
  if (!(flags & zeliDecodeKeepSignificance))
    __builtin_memset(wordsOf(state), 0, size_t(statePitch(size.width) * (stripesOf(size.height) + 2)));
}

// One step: the passes of one codeword segment. Where a pass reports damage, plane and passes left stay as they were
// before it.
class Step {
 public:
  Step(Record* record, uint32_t* words, Segment segment) : r_(*record), segment_(segment) {
    const int64_t pitch = statePitch(r_.width) / 4;
    block_ = {{r_.dst, r_.dstStep, 0}, r_.width, r_.height, words + pitch + 1, pitch, zeroCodingTable(r_.subband)};
  }

  void run() {
    if (r_.passCounter <= 0 || r_.curBitPlane < 0) return;
    // All passes of a segment are coded alike (D.6), so what its first pass needs is right for the others.
    if (transition().raw)
      raw_.raw = RawReader(segment_);
    else
      mq_ = {MqDecoder(segment_), r_.contexts};
    if (has(zeliCodeBlockTerminateAll))
      decodePass();
    else
      decodePassesOfOneMode();
  }

 private:
  bool has(uint32_t flag) const { return (r_.flags & flag) != 0; }
  const Transition& transition() const { return kTransitions.at[r_.nextPass]; }

  // Decodes the next pass and moves on to the one after it; false where the pass is damaged.
  bool decodePass() {
    const Transition& now = transition();
    const bool intact = now.raw ? decodeRaw(now.pass) : decodeMq(now.pass);
    if (!intact) {
      r_.damaged = 1;
      return false;
    }
    --r_.passCounter;
    r_.curBitPlane -= now.planes;
    r_.nextPass = now.next;
    if (now.next == kPropagate && r_.curBitPlane < r_.bypassPlane) r_.nextPass = kPropagateRaw;
    return true;
  }

  // Without termination of every pass a segment lasts until the coding mode changes, and to the last plane. A step may
  // stop before that, where no more passes are allowed; a later step then starts with a new segment. It cannot know
  // what passes that one has, and goes on with a cleanup pass, of the plane that was current at the end.
  void decodePassesOfOneMode() {
    const bool raw = transition().raw;
    for (;;) {
      const PassState now = r_.nextPass;
      const int plane = r_.curBitPlane;
      if (!decodePass()) return;
      if (r_.passCounter <= 0) {
        const bool cleanedUp = kTransitions.at[now].pass == Pass::kCleanup;
        r_.nextPass = cleanedUp ? now : raw ? kCleanupAfterRaw : kFirstCleanup;
        r_.curBitPlane = plane;
        return;
      }
      if (transition().raw != raw) return;
    }
  }

  // Whether the current pass is the last of its segment as far as that is known for checks. An MQ segment of many
  // passes is looked at only where the raw ones begin, or at plane 0; those between raw passes are not.
  bool endsSegment(Pass pass) const {
    if (has(zeliCodeBlockTerminateAll)) return true;
    if (transition().raw) return pass == Pass::kRefinement;
    return pass == Pass::kCleanup && r_.curBitPlane == r_.bypassPlane;
  }

  // The passes, each with the check of its segment's end where it has one; false where that finds damage. Cleanup
  // passes are never raw. A raw segment is checked in any case, as its filling costs nothing to look at; an MQ segment
  // only if the caller knows that it was terminated predictably.
  bool decodeRaw(Pass pass) {
    block_.samples.bit = currentBit();
    if (pass == Pass::kRefinement)
      magnitudeRefinement(block_, &raw_);
    else if (has(zeliCodeBlockVerticallyCausal))
      significancePropagation<true>(block_, &raw_);
    else
      significancePropagation<false>(block_, &raw_);
    return !endsSegment(pass) || !raw_.raw.damagedAtEnd();
  }

  bool decodeMq(Pass pass) {
    const bool causal = has(zeliCodeBlockVerticallyCausal);
    block_.samples.bit = currentBit();
    if (pass == Pass::kRefinement)
      magnitudeRefinement(block_, &mq_);
    else if (pass == Pass::kPropagation)
      (causal ? significancePropagation<true, MqSource> : significancePropagation<false, MqSource>)(block_, &mq_);
    else
      (causal ? cleanup<true, MqSource> : cleanup<false, MqSource>)(block_, &mq_);
    // The symbol is coded in the contexts of the pass, so it comes before they are reset.
    const bool symbolOk = pass != Pass::kCleanup || segmentationSymbolOk();
    if (has(zeliCodeBlockResetContexts)) resetContexts(r_.contexts);
    const bool checksEnd = has(zeliDecodeCheckTermination) && endsSegment(pass);
    return symbolOk && !(checksEnd && mq_.mq.damagedAtEnd());
  }

  // D.5: four decisions, 1, 0, 1, 0. All are decoded even if the first is wrong; they are part of the pass.
  bool segmentationSymbolOk() {
    if (!has(zeliCodeBlockSegmentationSymbols)) return true;
    uint32_t symbol = 0;
    for (int i = 0; i < 4; ++i) symbol = symbol << 1 | mq_.decision(kUniform);
    return symbol == 0b1010;
  }

  // A caller may attach more planes than a word has; those passes decode something, and nothing overflows.
  uint32_t currentBit() const { return 1u << (r_.curBitPlane & 31); }

  Record& r_;
  Segment segment_;
  Block<DecodedSamples> block_;
  MqSource mq_;
  RawSource raw_;
};

// One segment. Damage stays until the next attach: what follows a damaged pass could only be decoded wrongly.
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
  const int64_t size = stateBytes(max);
  if (size > INT32_MAX) return zelStsSizeErr;
  *bytes = int(size);
  return zelStsNoErr;
}

// What lies below a plane is unknown: magnitudes go to the middle of their interval there, where anything is left of
// them at and above the plane, and otherwise to 0 without a sign.
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
  for (int i = 0; i < nOfTermPasses && status == zelStsNoErr; ++i) {
    status = step(pSrc, pTermLen[i], pState);
    pSrc += pTermLen[i];
  }
  // The plane of the next pass, or of the one that is damaged: below it nothing is known for sure.
  const int plane = recordOf(pState).curBitPlane;
  if (status == zelStsJPEG2KDamagedCBErr) {
    if (pNOfResolvedBitPlanes) *pNOfResolvedBitPlanes = plane;
    if (uint32_t(codeStyleFlags) & zeliDecodeMidpointsAfterDamage) toMidpoints(pDst, dstStep, codeBlockSize, plane);
  }
  if (!(uint32_t(codeStyleFlags) & zeliDecodeKeepHalfBits) && plane >= 1)
    zeliAndC_32s_C1IR(int32_t(~0u << (plane & 31)), pDst, dstStep, codeBlockSize);
  return status;
}

}  // namespace ZEL_VARIANT
