// Progressive Huffman encoding (ITU-T T.81, Annex G.1.2), and the statistics that mirror it.
//
// An AC scan holds two things back from block to block, both in the state: the end-of-band run, the number of blocks so
// far that ended without another coefficient, and the correction bits of these blocks, which follow the code of the
// run. They are written when a block has something to code, when the run or the buffer is full, and at the flush. The
// walk over a block is written once (progressive.h) and goes to a sink: one writes codes, the other counts symbols.
#include "frame/checks.h"
#include "huffman/destination.h"
#include "huffman/progressive.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxDcCategory = 11;
constexpr int kMaxDcBytes = roomFor(kMaxPendingBits + kMaxCodeLength + kMaxDcCategory);

// The most that one block may write: a pending run with a full buffer of correction bits, 63 coefficients with their
// extra bits or one correction bit each, and the three runs of sixteen zeros that fit between them.
constexpr int kMaxEobRunBits = kMaxCodeLength + kMaxEobCategory + kCorrectionBufferSize;
constexpr int kMaxBandBits = kMaxEobRunBits + 63 * (kMaxCodeLength + kMaxAcCategory) + 3 * kMaxCodeLength;
constexpr int kMaxBandBytes = roomFor(kMaxPendingBits + kMaxBandBits);

// The point-transformed DC and its difference from the predictor, which becomes that value.
int dcDifference(const int16_t* src, int al, int16_t* lastDC) {
  const int value = src[0] >> al, difference = value - *lastDC;
  *lastDC = int16_t(value);
  return difference;
}

ZelStatus encodeDcFirst(const int16_t* src, int16_t* lastDC, int al, const ZeliEncodeHuffmanSpec& table,
                        const Destination& to) {
  const ExtraBits extra = extraBits(dcDifference(src, al, lastDC));
  // Samples of 8 bits give categories of at most 11 (Table F.1). The predictor has changed all the same.
  if (extra.size > kMaxDcCategory) return zelStsJPEGCodeRangeErr;
  if (to.room() >= kMaxDcBytes) {
    auto writer = writerTo<Path::fast>(to);
    if (const ZelStatus s = writer.code(table.codes + extra.size, extra)) return s;
    writer.writeWholeBytes();
    save(writer, to);
    return zelStsNoErr;
  }
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = writer.code(table.codes + extra.size, extra);
  save(writer, to);
  return s;
}

// One bit. Seven times in eight it completes no byte and joins the pending ones.
ZelStatus encodeDcRefinement(const int16_t* src, int al, const Destination& to) {
  const uint32_t bit = uint32_t(src[0] >> al) & 1;
  ZeliEncodeHuffmanState* state = to.state;
  if (state->bitCount < kMaxPendingBits) {
    const uint64_t place = uint64_t(1) << (kStateTop - 1 - state->bitCount++);
    state->bits = (state->bits & -(2 * place)) | (bit ? place : 0);  // what stands below the pending bits is no data
    return zelStsNoErr;
  }
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = writer.put(bit, 1);
  save(writer, to);
  return s;
}

ZEL_INLINE Pending pendingOf(const ZeliEncodeHuffmanState& state) {
  return {state.eobRun, state.correctionBitCount, state.correctionBits};
}
ZEL_INLINE void savePending(const Pending& p, ZeliEncodeHuffmanState* state) {
  state->eobRun = p.eobRun;
  state->correctionBitCount = p.bitCount;
}

// One block of an AC scan to any sink. Changes the pending run; correction bits are added to the state's buffer, behind
// those that its count covers.
template <bool kRefines, class Sink>
ZEL_INLINE ZelStatus walkBand(const int16_t* src, Band band, Sink& sink, Pending* p, ZeliEncodeHuffmanState* state) {
  if constexpr (!kRefines) return encodeFirst(src, band, sink, p);
  Gathered g;
  if (const ZelStatus s = encodeRefinement(src, band, sink, p, &g)) return s;
  return keepBits(g, sink, state->correctionBits, p);
}

// One block on either path. The careful one saves what was coded before an error, the fast one then saves nothing.
template <Path kPath, bool kRefines>
ZEL_INLINE ZelStatus encodeBandOn(const int16_t* src, Band band, const ZeliEncodeHuffmanSpec& table,
                                  const Destination& to) {
  Pending p = pendingOf(*to.state);
  auto writer = writerTo<kPath>(to);
  CodeSink<decltype(writer)> sink = {writer, table};
  const ZelStatus s = walkBand<kRefines>(src, band, sink, &p, to.state);
  if constexpr (kPath == Path::fast) {
    if (s != zelStsNoErr) return s;
    writer.writeWholeBytes();
  }
  save(writer, to);
  savePending(p, to.state);
  return s;
}

// The fast path asks for room for the worst block; what it refuses (a symbol without a code) the careful path does
// again.
template <bool kRefines>
ZelStatus encodeBand(const int16_t* src, Band band, const ZeliEncodeHuffmanSpec& table, const Destination& to) {
  if (to.room() >= kMaxBandBytes && encodeBandOn<Path::fast, kRefines>(src, band, table, to) == zelStsNoErr)
    return zelStsNoErr;
  return encodeBandOn<Path::careful, kRefines>(src, band, table, to);
}

// The end of an AC scan or restart interval: the pending run, every correction bit that is still buffered, and ones to
// the end of the byte. Bits may be buffered without a run: a destination that was full has cut them off from its code.
// A run that cannot be coded is reported and stays in the state; everything else is reset. A full destination outweighs
// that status.
ZelStatus flushBand(const ZeliEncodeHuffmanSpec& table, const Destination& to) {
  auto writer = writerTo<Path::careful>(to);
  CodeSink<decltype(writer)> sink = {writer, table};
  Pending p = pendingOf(*to.state);
  const ZelStatus run = codeEobRun(sink, &p);
  ZelStatus rest = run == zelStsJPEGOutOfBufErr ? run : sink.buffered(p);  // none are left where the run was coded
  if (rest == zelStsNoErr) rest = writer.put(0x7F, 7);
  *to.pos = int(writer.next() - to.dst);
  resetState(to.state);
  if (rest != zelStsNoErr) return rest;
  to.state->eobRun = p.eobRun;
  return run;
}

// The same walk, counting what encodeBand() would code, with a state of its own kind of call.
template <bool kRefines>
ZelStatus countBand(const int16_t* src, int32_t* counts, Band band, ZeliEncodeHuffmanState* state) {
  Pending p = pendingOf(*state);
  CountSink sink = {counts};
  const ZelStatus s = walkBand<kRefines>(src, band, sink, &p, state);
  savePending(p, state);
  return s;
}

// Counts the symbol of a pending run and starts anew.
ZelStatus flushCounts(int32_t* counts, ZeliEncodeHuffmanState* state) {
  Pending p = pendingOf(*state);
  CountSink sink = {counts};
  const ZelStatus s = codeEobRun(sink, &p);
  resetState(state);
  return s;
}

// What both exported encoders of AC scans check, in the documented order: a flush needs neither block nor band.
template <bool kRefines>
ZelStatus encodeAc(const int16_t* pSrc, const Destination& to, Band band, const ZeliEncodeHuffmanSpec* pAcTable,
                   int bFlush) {
  if (const ZelStatus s =
          firstFailure(present(to.dst), lengthOk(to.length), present(to.pos), present(pAcTable), present(to.state)))
    return s;
  if (bFlush) return flushBand(*pAcTable, to);
  if (const ZelStatus s = firstFailure(present(pSrc), bandOk(band))) return s;
  return encodeBand<kRefines>(pSrc, band, *pAcTable, to);
}

template <bool kRefines>
ZelStatus countAc(const int16_t* pSrc, int32_t* pAcStatistics, Band band, ZeliEncodeHuffmanState* pEncHuffState,
                  int bFlush) {
  if (const ZelStatus s = firstFailure(present(pAcStatistics), present(pEncHuffState))) return s;
  if (bFlush) return flushCounts(pAcStatistics, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), bandOk(band))) return s;
  return countBand<kRefines>(pSrc, pAcStatistics, band, pEncHuffState);
}

}  // namespace

ZelStatus zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, int16_t* pLastDC, int Al,
                                                     const ZeliEncodeHuffmanSpec* pDcTable,
                                                     ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState};
  if (const ZelStatus s = checkDestination(to)) return s;
  if (bFlush) return flush(to);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pLastDC), alOk(Al), present(pDcTable))) return s;
  return encodeDcFirst(pSrc, pLastDC, Al, *pDcTable, to);
}

ZelStatus zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                      int* pDstCurrPos, int Al, ZeliEncodeHuffmanState* pEncHuffState,
                                                      int bFlush) {
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState};
  if (const ZelStatus s = checkDestination(to)) return s;
  if (bFlush) return flush(to);
  if (const ZelStatus s = firstFailure(present(pSrc), alOk(Al))) return s;
  return encodeDcRefinement(pSrc, Al, to);
}

ZelStatus zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, int Ss, int Se, int Al,
                                                     const ZeliEncodeHuffmanSpec* pAcTable,
                                                     ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return encodeAc<false>(pSrc, {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState}, {Ss, Se, Al}, pAcTable, bFlush);
}

ZelStatus zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                      int* pDstCurrPos, int Ss, int Se, int Al,
                                                      const ZeliEncodeHuffmanSpec* pAcTable,
                                                      ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return encodeAc<true>(pSrc, {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState}, {Ss, Se, Al}, pAcTable, bFlush);
}

ZelStatus zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const int16_t* pSrc, int32_t* pDcStatistics, int16_t* pLastDC,
                                                          int Al) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDcStatistics), present(pLastDC), alOk(Al))) return s;
  const ExtraBits extra = extraBits(dcDifference(pSrc, Al, pLastDC));
  if (extra.size > kMaxDcCategory) return zelStsJPEGCodeRangeErr;
  return CountSink{pDcStatistics}.symbol(int(extra.size));
}

ZelStatus zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* pSrc, int32_t* pAcStatistics, int Ss, int Se,
                                                          int Al, ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return countAc<false>(pSrc, pAcStatistics, {Ss, Se, Al}, pEncHuffState, bFlush);
}

ZelStatus zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* pSrc, int32_t* pAcStatistics, int Ss, int Se,
                                                           int Al, ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return countAc<true>(pSrc, pAcStatistics, {Ss, Se, Al}, pEncHuffState, bFlush);
}

}  // namespace ZEL_VARIANT
