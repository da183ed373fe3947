// Decoder states, and baseline decoding of blocks (ITU-T T.81, Annex F.2.2).
#include "frame/checks.h"
#include "huffman/bit_reader.h"
#include "huffman/block.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliDecodeHuffmanState) == 24);

// One block from any reader. The predictor changes as soon as the DC difference is known; on an error the coefficients
// decoded so far stay. *accounted: AC positions that coefficients and runs have covered.
template <class Reader>
ZEL_INLINE ZelStatus decodeBlock(Reader& reader, int16_t* dst, int16_t* lastDC, const ZeliDecodeHuffmanSpec& dc,
                                 const ZeliDecodeHuffmanSpec& ac, int* accounted) {
  clearBlock(dst);
  uint32_t symbol;
  int value;
  if (const ZelStatus s = reader.symbol(dc, &symbol)) return s;
  if (const ZelStatus s = reader.value(int(symbol & 15), &value)) return s;
  *lastDC = dst[0] = int16_t(*lastDC + value);

  int k = 1;
  while (k < 64) {
    if (const ZelStatus s = reader.symbol(ac, &symbol)) return s;
    const int run = int(symbol >> 4), size = int(symbol & 15);
    if (size == 0) {
      if (run != 15) break;
      k += 16;
      continue;
    }
    k += run;
    if (const ZelStatus s = reader.value(size, &value)) return s;
    if (k >= kZigzagEnd) return zelStsErr;
    dst[kNatural.at[k++]] = int16_t(value);
  }
  *accounted = k - 1;
  return zelStsNoErr;
}

template <Path kPath>
ZEL_INLINE ZelStatus decodeFromState(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC,
                                     int* marker, const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac,
                                     ZeliDecodeHuffmanState* state) {
  BitReader<kPath> reader(src, length, *pos, state->bits, state->bitCount, *marker);
  int16_t predictor = *lastDC;
  const ZelStatus s = decodeBlock(reader, dst, &predictor, dc, ac, &state->lastPosition);
  if (kPath == Path::fast && s != zelStsNoErr) return s;
  reader.save(&state->bits, &state->bitCount, pos);
  *lastDC = predictor;
  if (kPath == Path::careful) *marker = reader.marker();
  return s;
}

[[gnu::noinline]] ZelStatus decodeCarefully(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC,
                                            int* marker, const ZeliDecodeHuffmanSpec& dc,
                                            const ZeliDecodeHuffmanSpec& ac, ZeliDecodeHuffmanState* state) {
  return decodeFromState<Path::careful>(src, length, pos, dst, lastDC, marker, dc, ac, state);
}

ZelStatus decodeBaseline(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC, int* marker,
                         const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac,
                         ZeliDecodeHuffmanState* state) {
  if (*marker == 0 && length - *pos >= kFastPathBytes &&
      decodeFromState<Path::fast>(src, length, pos, dst, lastDC, marker, dc, ac, state) == zelStsNoErr)
    return zelStsNoErr;
  return decodeCarefully(src, length, pos, dst, lastDC, marker, dc, ac, state);
}

// No length: the data end with a marker, before which the careful reader stops by itself, having read no byte beyond.
ZelStatus decodeDirect(const uint8_t* src, int* bitPos, int16_t* dst, int16_t* lastDC, int* marker, uint32_t* bits,
                       int* count, const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac) {
  typedef BitReader<Path::careful> Reader;
  Reader reader(src, INT32_MAX, *bitPos >> 3, *bits, *count < kStateBits ? *count : kStateBits, *marker);
  int accounted;
  const ZelStatus s = decodeBlock(reader, dst, lastDC, dc, ac, &accounted);
  int pos;
  reader.save(bits, count, &pos);
  *bitPos = pos << 3;
  *marker = reader.marker();
  if (reader.missing() == Reader::kCode) return zelStsNoErr;
  return reader.missing() == Reader::kValue ? zelStsJPEGOutOfBufErr : s;
}

void resetState(ZeliDecodeHuffmanState* state) { __builtin_memset(state, 0, sizeof *state); }

}  // namespace

ZelStatus zeliDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
  if (const ZelStatus s = present(pSize)) return s;
  *pSize = int(sizeof(ZeliDecodeHuffmanState));
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffmanStateInit_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = present(pDecHuffState)) return s;
  resetState(pDecHuffState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffmanStateInitAlloc_JPEG_8u(ZeliDecodeHuffmanState** ppDecHuffState) {
  if (const ZelStatus s = present(ppDecHuffState)) return s;
  auto* state = reinterpret_cast<ZeliDecodeHuffmanState*>(zelsMalloc_8u(int(sizeof(ZeliDecodeHuffmanState))));
  if (const ZelStatus s = present(state)) return s;
  resetState(state);
  *ppDecHuffState = state;
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffmanStateFree_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = present(pDecHuffState)) return s;
  zelsFree(pDecHuffState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos, int16_t* pDst,
                                             int16_t* pLastDC, int* pMarker, const ZeliDecodeHuffmanSpec* pDcTable,
                                             const ZeliDecodeHuffmanSpec* pAcTable,
                                             ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), valueOk(nSrcLenBytes >= 0), present(pSrcCurrPos), present(pDst), present(pLastDC),
                       present(pMarker), present(pDcTable), present(pAcTable), present(pDecHuffState)))
    return s;
  return decodeBaseline(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, *pDcTable, *pAcTable, pDecHuffState);
}

ZelStatus zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* pSrc, int* pSrcBitsLen, int16_t* pDst,
                                                    int16_t* pLastDC, int* pMarker, uint32_t* pPrefetchedBits,
                                                    int* pNumValidPrefetchedBits, const ZeliDecodeHuffmanSpec* pDcTable,
                                                    const ZeliDecodeHuffmanSpec* pAcTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pSrcBitsLen))) return s;
  if (const ZelStatus s = firstFailure(valueOk(*pSrcBitsLen >= 0), present(pDst), present(pLastDC), present(pMarker),
                                       present(pPrefetchedBits), present(pNumValidPrefetchedBits)))
    return s;
  if (const ZelStatus s = firstFailure(valueOk(*pNumValidPrefetchedBits >= 0), present(pDcTable), present(pAcTable)))
    return s;
  return decodeDirect(pSrc, pSrcBitsLen, pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits, *pDcTable,
                      *pAcTable);
}

}  // namespace ZEL_VARIANT
