// Encoder states, and baseline encoding of blocks (ITU-T T.81, Annex F.1.2).
#include "frame/checks.h"
#include "huffman/encoder_state.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kZeroRun = 0xF0, kEndOfBlock = 0x00;

// One block to any writer. The coefficients of a zigzag walk are the set bits of a mask; runs are the gaps between
// them.
template <class Writer>
ZEL_INLINE ZelStatus encodeBlock(Writer& writer, const int16_t* src, int lastDC, const ZeliEncodeHuffmanSpec& dc,
                                 const ZeliEncodeHuffmanSpec& ac) {
  uint8_t bytes[64];
  uint64_t left = zigzagBytes(src, bytes) & ~uint64_t(1);
  const ExtraBits difference = extraBits(src[0] - lastDC);
  if (const ZelStatus s = writer.code(dc.codes + difference.size, difference)) return s;

  int64_t last = 0;
  for (; left != 0; left &= left - 1) {
    const int64_t k = __builtin_ctzll(left);
    int64_t step = k - last;
    last = k;
    for (; __builtin_expect(step > 16, 0); step -= 16)
      if (const ZelStatus s = writer.code(ac.codes + kZeroRun)) return s;
    const SmallExtraBits small = kSmallExtraBits.at[bytes[k]];
    ExtraBits extra{small.bits, small.size};
    if (__builtin_expect(small.size == 0, 0)) {
      extra = extraBits(src[kNatural.at[k]]);
      if (extra.size > 15) return zelStsJPEGHuffTableErr;  // -32768
    }
    const uint32_t* codes = ac.codes + 16 * step;  // of a run of `step` zeros, by category
    if (const ZelStatus s = writer.code(codes - 16 + extra.size, extra)) return s;
  }
  return last == 63 ? zelStsNoErr : writer.code(ac.codes + kEndOfBlock);
}

// The position reached; null where a symbol has no code. What was written then is whole words of bytes that the careful
// path writes again. A function of its own, for its registers.
ZEL_INLINE uint8_t* encodeFast(const int16_t* src, uint8_t* next, const ZeliEncodeHuffmanSpec& dc,
                               const ZeliEncodeHuffmanSpec& ac, ZeliEncodeHuffmanState* state, int lastDC) {
  auto writer = writerFrom<Path::fast>(*state, next, nullptr);
  if (encodeBlock(writer, src, lastDC, dc, ac) != zelStsNoErr) return nullptr;
  writer.writeWholeBytes();
  return save(writer, state);
}

[[gnu::noinline]] ZelStatus encodeCarefully(const int16_t* src, uint8_t* dst, int length, int* pos, int lastDC,
                                            const ZeliEncodeHuffmanSpec& dc, const ZeliEncodeHuffmanSpec& ac,
                                            ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  const ZelStatus s = encodeBlock(writer, src, lastDC, dc, ac);
  *pos = int(save(writer, state) - dst);
  return s;
}

ZelStatus encodeBaseline(const int16_t* src, uint8_t* dst, int length, int* pos, int16_t* lastDC,
                         const ZeliEncodeHuffmanSpec& dc, const ZeliEncodeHuffmanSpec& ac,
                         ZeliEncodeHuffmanState* state) {
  const int predictor = *lastDC;
  *lastDC = src[0];
  if (length - *pos >= kMaxBlockBytes)
    if (const uint8_t* next = encodeFast(src, dst + *pos, dc, ac, state, predictor)) {
      *pos = int(next - dst);
      return zelStsNoErr;
    }
  return encodeCarefully(src, dst, length, pos, predictor, dc, ac, state);
}

void encodeDirect(const int16_t* src, uint8_t* dst, int* bitPos, int16_t* lastDC, const ZeliEncodeHuffmanSpec& dc,
                  const ZeliEncodeHuffmanSpec& ac) {
  uint8_t* next = dst + (*bitPos >> 3);
  const int count = *bitPos & 7;
  const uint64_t pending = count == 0 ? 0 : *next >> (8 - count);
  BitWriter<Path::unbounded> writer(next, nullptr, pending, count);
  encodeBlock(writer, src, *lastDC, dc, ac);
  writer.writeWholeBytes();
  *lastDC = src[0];
  *bitPos = int(writer.next() - dst) * 8 + writer.count();
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
