// Progressive Huffman encoding (ITU-T T.81, Annex G.1.2), and the statistics that mirror it.
#include "frame/checks.h"
#include "huffman/encoder_state.h"
#include "huffman/progressive.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxDcCategory = 11;

// The fast path wants room for the longest block: pending bits, a run with all its correction bits, 63 codes with
// theirs and their zero runs, every byte stuffed, and the rest of the last word.
constexpr int kMaxBandBytes = 1024;
static_assert(2 * ((7 + 30 + 1024 + 63 * (16 + 15) + 4 * 16 + 63) / 8) + 8 <= kMaxBandBytes);

constexpr int kMaxDcBytes = 16;  // pending bits and a DC code with its extra bits, stored as eight bytes or stuffed

ZelStatus alOk(int al) { return valueOk(al >= 0 && al <= 13); }

// The point-transformed DC and its difference from the predictor, which becomes that value.
int dcDifference(const int16_t* src, int al, int16_t* lastDC) {
  const int value = src[0] >> al, difference = value - *lastDC;
  *lastDC = int16_t(value);
  return difference;
}

ZelStatus encodeDcFirst(const int16_t* src, uint8_t* dst, int length, int* pos, int16_t* lastDC, int al,
                        const ZeliEncodeHuffmanSpec& table, ZeliEncodeHuffmanState* state) {
  const ExtraBits extra = extraBits(dcDifference(src, al, lastDC));
  if (extra.size > kMaxDcCategory) return zelStsJPEGCodeRangeErr;
  if (length - *pos >= kMaxDcBytes) {
    auto writer = writerFrom<Path::fast>(*state, dst + *pos, nullptr);
    if (const ZelStatus s = writer.code(table.codes + extra.size, extra)) return s;
    writer.writeWholeBytes();
    *pos = int(save(writer, state) - dst);
    return zelStsNoErr;
  }
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  const ZelStatus s = writer.code(table.codes + extra.size, extra);
  *pos = int(save(writer, state) - dst);
  return s;
}

ZelStatus encodeDcRefinement(const int16_t* src, uint8_t* dst, int length, int* pos, int al,
                             ZeliEncodeHuffmanState* state) {
  const uint32_t bit = uint32_t(src[0] >> al) & 1;
  if (state->bitCount < 7) {  // it completes no byte
    state->bits |= uint64_t(bit) << (kStateTop - 1 - state->bitCount++);
    return zelStsNoErr;
  }
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  const ZelStatus s = writer.put(bit, 1);
  *pos = int(save(writer, state) - dst);
  return s;
}

// One block of an AC scan to any sink. Changes the pending run; bits are added to the state's buffer.
template <bool kRefines, class Sink>
ZEL_INLINE ZelStatus walkBand(const int16_t* src, Band band, Sink& sink, Pending* p, ZeliEncodeHuffmanState* state) {
  if constexpr (!kRefines) return encodeFirst(src, band, sink, p);
  Gathered g;
  if (const ZelStatus s = encodeRefinement(src, band, sink, p, &g)) return s;
  return keepBits(g, state->correctionBits, p) ? codeEobRun(sink, p) : zelStsNoErr;
}

void savePending(const Pending& p, ZeliEncodeHuffmanState* state) {
  state->eobRun = p.eobRun;
  state->correctionBitCount = p.bitCount;
}

template <bool kRefines>
ZelStatus encodeBand(const int16_t* src, uint8_t* dst, int length, int* pos, Band band,
                     const ZeliEncodeHuffmanSpec& table, ZeliEncodeHuffmanState* state) {
  if (length - *pos >= kMaxBandBytes) {
    Pending p = {state->eobRun, state->correctionBitCount, state->correctionBits};
    auto writer = writerFrom<Path::fast>(*state, dst + *pos, nullptr);
    CodeSink<decltype(writer)> sink = {writer, table};
    if (walkBand<kRefines>(src, band, sink, &p, state) == zelStsNoErr) {
      writer.writeWholeBytes();
      *pos = int(save(writer, state) - dst);
      savePending(p, state);
      return zelStsNoErr;
    }
  }
  Pending p = {state->eobRun, state->correctionBitCount, state->correctionBits};
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  CodeSink<decltype(writer)> sink = {writer, table};
  const ZelStatus s = walkBand<kRefines>(src, band, sink, &p, state);
  *pos = int(save(writer, state) - dst);
  savePending(p, state);
  return s;
}

// The end of an AC scan or restart interval: the pending run, its correction bits, and ones to the end of the byte. A
// run that cannot be coded is left in the state, and reported; everything else is reset. A full destination outweighs
// that.
ZelStatus flushBand(uint8_t* dst, int length, int* pos, const ZeliEncodeHuffmanSpec& table,
                    ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  CodeSink<decltype(writer)> sink = {writer, table};
  Pending p = {state->eobRun, state->correctionBitCount, state->correctionBits};
  const ZelStatus run = codeEobRun(sink, &p);
  const bool uncodable = run == zelStsJPEGCodeRangeErr || run == zelStsJPEGHuffTableErr;
  ZelStatus rest = uncodable ? sink.buffered(p) : run;
  if (rest == zelStsNoErr) rest = writer.put(0x7F, 7);
  *pos = int(writer.next() - dst);
  resetState(state);
  if (rest != zelStsNoErr) return rest;
  if (uncodable) state->eobRun = p.eobRun;
  return run;
}

template <bool kRefines>
ZelStatus countBand(const int16_t* src, int32_t* counts, Band band, ZeliEncodeHuffmanState* state) {
  Pending p = {state->eobRun, state->correctionBitCount, state->correctionBits};
  CountSink sink = {counts};
  const ZelStatus s = walkBand<kRefines>(src, band, sink, &p, state);
  savePending(p, state);
  return s;
}

ZelStatus flushCounts(int32_t* counts, ZeliEncodeHuffmanState* state) {
  Pending p = {state->eobRun, state->correctionBitCount, state->correctionBits};
  CountSink sink = {counts};
  const ZelStatus s = codeEobRun(sink, &p);
  resetState(state);
  return s;
}

template <bool kRefines>
ZelStatus encodeAc(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos, Band band,
                   const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  if (const ZelStatus s = firstFailure(present(pDst), lengthOk(nDstLenBytes), present(pDstCurrPos), present(pAcTable),
                                       present(pEncHuffState)))
    return s;
  if (bFlush) return flushBand(pDst, nDstLenBytes, pDstCurrPos, *pAcTable, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), bandOk(band))) return s;
  return encodeBand<kRefines>(pSrc, pDst, nDstLenBytes, pDstCurrPos, band, *pAcTable, pEncHuffState);
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
  if (const ZelStatus s =
          firstFailure(present(pDst), lengthOk(nDstLenBytes), present(pDstCurrPos), present(pEncHuffState)))
    return s;
  if (bFlush) return flush(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pLastDC), alOk(Al), present(pDcTable))) return s;
  return encodeDcFirst(pSrc, pDst, nDstLenBytes, pDstCurrPos, pLastDC, Al, *pDcTable, pEncHuffState);
}

ZelStatus zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                      int* pDstCurrPos, int Al, ZeliEncodeHuffmanState* pEncHuffState,
                                                      int bFlush) {
  if (const ZelStatus s =
          firstFailure(present(pDst), lengthOk(nDstLenBytes), present(pDstCurrPos), present(pEncHuffState)))
    return s;
  if (bFlush) return flush(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), alOk(Al))) return s;
  return encodeDcRefinement(pSrc, pDst, nDstLenBytes, pDstCurrPos, Al, pEncHuffState);
}

ZelStatus zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, int Ss, int Se, int Al,
                                                     const ZeliEncodeHuffmanSpec* pAcTable,
                                                     ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return encodeAc<false>(pSrc, pDst, nDstLenBytes, pDstCurrPos, {Ss, Se, Al}, pAcTable, pEncHuffState, bFlush);
}

ZelStatus zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                      int* pDstCurrPos, int Ss, int Se, int Al,
                                                      const ZeliEncodeHuffmanSpec* pAcTable,
                                                      ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  return encodeAc<true>(pSrc, pDst, nDstLenBytes, pDstCurrPos, {Ss, Se, Al}, pAcTable, pEncHuffState, bFlush);
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
