// Decoder states, and baseline decoding of blocks (ITU-T T.81, Annex F.2.2).
//
// Each block is tried on the fast path first, where bytes enough are left and no marker has ended the data. What makes
// that path give up (a marker, the end of the source, a code that does not exist, a run out of the block) makes the
// careful path decode the same block again, from what the caller's variables still hold.
#include "frame/checks.h"
#include "huffman/bit_reader.h"
#include "huffman/block.h"
#include "huffman/records.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliDecodeHuffmanState) == 24);

constexpr uint64_t kEnd = 128;  // what an end of block adds to the zigzag index, which is less

// One AC symbol and what follows it (Figure F.14 and the loop of F.13). *k is the zigzag index that its run starts
// from, and then the one behind its coefficient. A symbol without a size is a run of sixteen zeros (0xF0) or, whatever
// its run is, the end of the block. A run of up to eight past the last coefficient lands on it, as the table of
// positions goes on; a longer one is an error, which the fast path tells at the end: up to there it writes to the last
// coefficient, and the block is decoded again.
template <bool kRefill, Path kPath>
ZEL_INLINE ZelStatus decodeCoefficient(BitReader<kPath>& reader, int16_t* dst, const ZeliDecodeHuffmanSpec& ac,
                                       uint64_t* k) {
  uint32_t symbol;
  int value;
  if (const ZelStatus s = kRefill ? reader.symbolAndMore(ac, &symbol) : reader.symbol(ac, &symbol)) return s;
  const uint32_t run = symbol >> 4, size = symbol & 15;
  if (__builtin_expect(size == 0, 0)) {
    *k += run == 15 ? 16 : kEnd;
    return zelStsNoErr;
  }
  if (const ZelStatus s = reader.nonzeroValue(size, &value)) return s;
  const uint64_t at = *k + run;
  if (kPath == Path::careful && at >= kZigzagEnd) return zelStsErr;
  dst[kNatural.at[at]] = int16_t(value);
  *k = at + 1;
  return zelStsNoErr;
}

// One block from any reader (Figures F.13 and F.14). The predictor changes as soon as the DC difference is known; on an
// error the coefficients decoded so far stay. *accounted: AC positions that coefficients and runs have covered.
template <Path kPath>
ZEL_INLINE ZelStatus decodeBlock(BitReader<kPath>& reader, int16_t* dst, int16_t* lastDC,
                                 const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac, int* accounted) {
  clearBlock(dst);
  uint32_t symbol;
  int value;
  if (const ZelStatus s = reader.symbolAndMore(dc, &symbol)) return s;
  if (const ZelStatus s = reader.value(symbol & 15, &value)) return s;
  *lastDC = dst[0] = int16_t(*lastDC + value);

  // A refill lasts for two coefficients.
  uint64_t k = 1;
  for (;;) {
    if (const ZelStatus s = decodeCoefficient<false>(reader, dst, ac, &k)) return s;
    if (k >= 64) break;
    if (const ZelStatus s = decodeCoefficient<true>(reader, dst, ac, &k)) return s;
    if (k >= 64) break;
  }
  k %= kEnd;
  if (kPath == Path::fast && k > kZigzagEnd) return zelStsErr;
  *accounted = int(k) - 1;
  return zelStsNoErr;
}

// False where the careful path has to decide something: nothing but the block has changed then.
ZEL_INLINE bool decodeFast(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC,
                           const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac,
                           ZeliDecodeHuffmanState* state) {
  BitReader<Path::fast> reader(src, length, *pos, state->bits, state->bitCount, 0);
  int16_t predictor = *lastDC;
  if (decodeBlock(reader, dst, &predictor, dc, ac, &state->lastPosition) != zelStsNoErr) return false;
  reader.save(&state->bits, &state->bitCount, pos);
  *lastDC = predictor;
  return true;
}

// Not inline, so that the fast path has the registers to itself.
[[gnu::noinline]] ZelStatus decodeCarefully(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC,
                                            int* marker, const ZeliDecodeHuffmanSpec& dc,
                                            const ZeliDecodeHuffmanSpec& ac, ZeliDecodeHuffmanState* state) {
  BitReader<Path::careful> reader(src, length, *pos, state->bits, state->bitCount, *marker);
  const ZelStatus s = decodeBlock(reader, dst, lastDC, dc, ac, &state->lastPosition);
  reader.save(&state->bits, &state->bitCount, pos);
  *marker = reader.marker();
  return s;
}

// The fast path reads eight bytes at a time, so it starts only where no marker has been met and bytes enough are left.
ZelStatus decodeBaseline(const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* lastDC, int* marker,
                         const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac,
                         ZeliDecodeHuffmanState* state) {
  if (*marker == 0 && length - *pos >= kFastPathBytes && decodeFast(src, length, pos, dst, lastDC, dc, ac, state))
    return zelStsNoErr;
  return decodeCarefully(src, length, pos, dst, lastDC, marker, dc, ac, state);
}

// No length: the data end with a marker, before which the careful reader stops by itself, having read no byte beyond.
// Where bits are missing then, a code that was to come ends the block without an error, as after the last block.
ZelStatus decodeDirect(const uint8_t* src, int* bitPos, int16_t* dst, int16_t* lastDC, int* marker, uint32_t* bits,
                       int* count, const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac) {
  // The caller's count may exceed what the buffer can hold; so many bits are taken as there.
  using Reader = BitReader<Path::careful>;
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

ZelStatus zeliDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) { return sizeOfRecord<ZeliDecodeHuffmanState>(pSize); }

ZelStatus zeliDecodeHuffmanStateInit_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = present(pDecHuffState)) return s;
  resetState(pDecHuffState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffmanStateInitAlloc_JPEG_8u(ZeliDecodeHuffmanState** ppDecHuffState) {
  if (const ZelStatus s = present(ppDecHuffState)) return s;
  if (const ZelStatus s = allocateRecord(ppDecHuffState)) return s;
  resetState(*ppDecHuffState);
  return zelStsNoErr;
}

ZelStatus zeliDecodeHuffmanStateFree_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState) {
  return freeRecord(pDecHuffState);
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
