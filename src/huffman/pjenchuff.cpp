// Encoder states, and baseline encoding of blocks (ITU-T T.81, Annex F.1.2).
#include "frame/checks.h"
#include "huffman/bit_writer.h"
#include "huffman/block.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliEncodeHuffmanState) == 1048);

constexpr int kZeroRun = 0xF0, kEndOfBlock = 0x00;

// One block to any writer. The coefficients of a zigzag walk are the set bits of a mask; runs are the gaps between
// them.
template <class Writer>
ZEL_INLINE ZelStatus encodeBlock(Writer& writer, const int16_t* src, int lastDC, const ZeliEncodeHuffmanSpec& dc,
                                 const ZeliEncodeHuffmanSpec& ac) {
  const int difference = src[0] - lastDC;
  const int dcSize = category(uint32_t(difference < 0 ? -difference : difference));
  if (const ZelStatus s = writer.code(dc.codes[dcSize], extraBits(difference), dcSize)) return s;

  int last = 0;
  for (uint64_t left = nonzeroMask(src) & ~uint64_t(1); left != 0; left &= left - 1) {
    const int k = __builtin_ctzll(left);
    int run = k - last - 1;
    last = k;
    for (; __builtin_expect(run > 15, 0); run -= 16)
      if (const ZelStatus s = writer.code(ac.codes[kZeroRun], 0, 0)) return s;
    const int value = src[kNatural.at[k]];
    const int size = category(uint32_t(value < 0 ? -value : value));
    if (const ZelStatus s = writer.code(ac.codes[uint8_t(run * 16 + size)], extraBits(value), size)) return s;
  }
  if (last != 63)
    if (const ZelStatus s = writer.code(ac.codes[kEndOfBlock], 0, 0)) return s;
  return writer.writeWholeBytes();
}

void resetState(ZeliEncodeHuffmanState* state) { __builtin_memset(state, 0, sizeof *state); }

template <Path kPath>
ZEL_INLINE BitWriter<kPath> writerFrom(const ZeliEncodeHuffmanState& state, uint8_t* dst, int length, int pos) {
  return {dst, length, pos, state.bits >> (kStateTop - state.bitCount), state.bitCount};
}

template <class Writer>
ZEL_INLINE void save(const Writer& writer, ZeliEncodeHuffmanState* state, int* pos) {
  state->bits = writer.pending() << (kStateTop - writer.count());
  state->bitCount = writer.count();
  *pos = writer.pos();
}

template <Path kPath>
ZEL_INLINE ZelStatus encodeToState(const int16_t* src, uint8_t* dst, int length, int* pos, int lastDC,
                                   const ZeliEncodeHuffmanSpec& dc, const ZeliEncodeHuffmanSpec& ac,
                                   ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<kPath>(*state, dst, length, *pos);
  const ZelStatus s = encodeBlock(writer, src, lastDC, dc, ac);
  // Where the fast path gives up, it has written nothing but whole words of bytes that the careful path writes again.
  if (kPath == Path::careful || s == zelStsNoErr) save(writer, state, pos);
  return s;
}

[[gnu::noinline]] ZelStatus encodeCarefully(const int16_t* src, uint8_t* dst, int length, int* pos, int lastDC,
                                            const ZeliEncodeHuffmanSpec& dc, const ZeliEncodeHuffmanSpec& ac,
                                            ZeliEncodeHuffmanState* state) {
  return encodeToState<Path::careful>(src, dst, length, pos, lastDC, dc, ac, state);
}

ZelStatus encodeBaseline(const int16_t* src, uint8_t* dst, int length, int* pos, int16_t* lastDC,
                         const ZeliEncodeHuffmanSpec& dc, const ZeliEncodeHuffmanSpec& ac,
                         ZeliEncodeHuffmanState* state) {
  const int predictor = *lastDC;
  *lastDC = src[0];
  if (length - *pos >= kFastPathBytes &&
      encodeToState<Path::fast>(src, dst, length, pos, predictor, dc, ac, state) == zelStsNoErr)
    return zelStsNoErr;
  return encodeCarefully(src, dst, length, pos, predictor, dc, ac, state);
}

// Seven ones complete the last byte and leave nothing to write where there is none. The state is reset in any case.
ZelStatus flush(uint8_t* dst, int length, int* pos, ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<Path::careful>(*state, dst, length, *pos);
  const ZelStatus s = writer.put(0x7F, 7);
  *pos = writer.pos();
  resetState(state);
  return s;
}

void encodeDirect(const int16_t* src, uint8_t* dst, int* bitPos, int16_t* lastDC, const ZeliEncodeHuffmanSpec& dc,
                  const ZeliEncodeHuffmanSpec& ac) {
  const int pos = *bitPos >> 3, count = *bitPos & 7;
  const uint64_t pending = count == 0 ? 0 : dst[pos] >> (8 - count);
  BitWriter<Path::unbounded> writer(dst, 0, pos, pending, count);
  encodeBlock(writer, src, *lastDC, dc, ac);
  *lastDC = src[0];
  *bitPos = writer.pos() * 8 + writer.count();
}

}  // namespace

ZelStatus zeliEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
  if (const ZelStatus s = present(pSize)) return s;
  *pSize = int(sizeof(ZeliEncodeHuffmanState));
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffmanStateInit_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState) {
  if (const ZelStatus s = present(pEncHuffState)) return s;
  resetState(pEncHuffState);
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffmanStateInitAlloc_JPEG_8u(ZeliEncodeHuffmanState** ppEncHuffState) {
  if (const ZelStatus s = present(ppEncHuffState)) return s;
  auto* state = reinterpret_cast<ZeliEncodeHuffmanState*>(zelsMalloc_8u(int(sizeof(ZeliEncodeHuffmanState))));
  if (const ZelStatus s = present(state)) return s;
  resetState(state);
  *ppEncHuffState = state;
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffmanStateFree_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState) {
  if (const ZelStatus s = present(pEncHuffState)) return s;
  zelsFree(pEncHuffState);
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos,
                                             int16_t* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                             const ZeliEncodeHuffmanSpec* pAcTable,
                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  if (const ZelStatus s =
          firstFailure(present(pDst), lengthOk(nDstLenBytes), present(pDstCurrPos), present(pEncHuffState)))
    return s;
  if (bFlush) return flush(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pLastDC), present(pDcTable), present(pAcTable))) return s;
  return encodeBaseline(pSrc, pDst, nDstLenBytes, pDstCurrPos, pLastDC, *pDcTable, *pAcTable, pEncHuffState);
}

ZelStatus zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int* pDstBitsLen,
                                                    int16_t* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                    const ZeliEncodeHuffmanSpec* pAcTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), present(pDstBitsLen), present(pLastDC),
                                       present(pDcTable), present(pAcTable)))
    return s;
  encodeDirect(pSrc, pDst, pDstBitsLen, pLastDC, *pDcTable, *pAcTable);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
