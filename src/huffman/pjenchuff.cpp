// Encoder states, and baseline encoding of blocks (ITU-T T.81, Annex F.1.2).
//
// Each block is written on the fast path where the longest block fits, and else, or where a symbol has no code, on the
// careful one, which gives the statuses.
#include "frame/checks.h"
#include "huffman/destination.h"
#include "huffman/records.h"

namespace ZEL_VARIANT {
namespace {

// The longest block: a DC code with 16 extra bits (differences of 16-bit values reach that far), 63 AC codes with
// theirs. Runs and the end of block only ever stand in for coefficients.
constexpr int kMaxBlockBits = kMaxCodeLength + 16 + 63 * (kMaxCodeLength + kMaxExtraBits);
constexpr int kMaxBlockBytes = roomFor(kMaxPendingBits + kMaxBlockBits);

// One block to any writer (F.1.2.1 and F.1.2.2). The coefficients of a zigzag walk are the set bits of a mask; runs are
// the gaps between them.
template <class Writer>
class BlockWalk {
 public:
  ZEL_INLINE BlockWalk(Writer& writer, const int16_t* src, const ZeliEncodeHuffmanSpec& ac)
      : writer_(writer), src_(src), ac_(ac), left_(zigzagBytes(src, bytes_) & ~uint64_t(1)) {}

  bool done() const { return left_ == 0; }
  int64_t last() const { return last_; }

  // The next coefficient and the run before it. Drained writers have room for two. A coefficient that its byte shows
  // saturated is read again in full.
  ZEL_INLINE ZelStatus next() {
    const int64_t k = __builtin_ctzll(left_);
    left_ &= left_ - 1;
    int64_t step = k - last_;
    last_ = k;
    for (; __builtin_expect(step > 16, 0); step -= 16) {
      if (const ZelStatus s = writer_.append(ac_.codes + kZeroRun, {0, 0})) return s;
      writer_.drain();
    }
    const SmallExtraBits small = kSmallExtraBits.at[bytes_[k]];
    const uint32_t* codes = ac_.codes + 16 * (step - 1);  // of this run of zeros, by category
    if (__builtin_expect(small.size == 0, 0)) {
      const ExtraBits extra = extraBits(src_[kNatural.at[k]]);
      if (extra.size > kMaxExtraBits) return zelStsJPEGHuffTableErr;  // -32768 has no symbol
      writer_.drain();
      return writer_.append(codes + extra.size, extra);
    }
    return writer_.append(codes + small.size, {small.bits, small.size});
  }

 private:
  Writer& writer_;
  const int16_t* const src_;
  const ZeliEncodeHuffmanSpec& ac_;
  uint8_t bytes_[64];
  uint64_t left_;
  int64_t last_ = 0;
};

template <class Writer>
ZEL_INLINE ZelStatus encodeBlock(Writer& writer, const int16_t* src, int lastDC, const ZeliEncodeHuffmanSpec& dc,
                                 const ZeliEncodeHuffmanSpec& ac) {
  BlockWalk<Writer> walk(writer, src, ac);
  const ExtraBits difference = extraBits(src[0] - lastDC);
  if (const ZelStatus s = writer.append(dc.codes + difference.size, difference)) return s;
  writer.drain();
  while (!walk.done()) {
    if (const ZelStatus s = walk.next()) return s;
    if (walk.done()) break;
    if (const ZelStatus s = walk.next()) return s;
    writer.drain();
  }
  return walk.last() == 63 ? zelStsNoErr : writer.append(ac.codes + kEndOfBlock, {0, 0});
}

// False where a symbol has no code: nothing that the caller sees has changed then but bytes after the position, which
// the careful path writes again.
ZEL_INLINE bool encodeFast(const int16_t* src, int lastDC, const ZeliEncodeHuffmanSpec& dc,
                           const ZeliEncodeHuffmanSpec& ac, const Destination& to) {
  auto writer = writerTo<Path::fast, BlockWriter>(to);
  if (encodeBlock(writer, src, lastDC, dc, ac) != zelStsNoErr) return false;
  writer.finish();
  save(writer, to);
  return true;
}

// Not inline, so that the fast path has the registers to itself.
[[gnu::noinline]] ZelStatus encodeCarefully(const int16_t* src, int lastDC, const ZeliEncodeHuffmanSpec& dc,
                                            const ZeliEncodeHuffmanSpec& ac, Destination to) {
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = encodeBlock(writer, src, lastDC, dc, ac);
  save(writer, to);
  return s;
}

// The predictor changes whatever becomes of the block.
ZelStatus encodeBaseline(const int16_t* src, int16_t* lastDC, const ZeliEncodeHuffmanSpec& dc,
                         const ZeliEncodeHuffmanSpec& ac, const Destination& to) {
  const int predictor = *lastDC;
  *lastDC = src[0];
  if (to.room() >= kMaxBlockBytes && encodeFast(src, predictor, dc, ac, to)) return zelStsNoErr;
  return encodeCarefully(src, predictor, dc, ac, to);
}

// No destination length: the caller vouches for the room and for a code for every symbol. The bits that precede the
// position within its byte are taken from the destination and written again.

void encodeDirect(const int16_t* src, uint8_t* dst, int* bitPos, int16_t* lastDC, const ZeliEncodeHuffmanSpec& dc,
                  const ZeliEncodeHuffmanSpec& ac) {
  uint8_t* next = dst + (*bitPos >> 3);
  const int count = *bitPos & 7;
  const uint64_t pending = count == 0 ? 0 : *next >> (8 - count);
  BlockWriter<Path::unbounded> writer(next, nullptr, pending, count);
  encodeBlock(writer, src, *lastDC, dc, ac);
  writer.finish();
  *lastDC = src[0];
  *bitPos = int(writer.next() - dst) * 8 + writer.count();
}

}  // namespace

ZelStatus zeliEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) { return sizeOfRecord<ZeliEncodeHuffmanState>(pSize); }

ZelStatus zeliEncodeHuffmanStateInit_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState) {
  if (const ZelStatus s = present(pEncHuffState)) return s;
  resetState(pEncHuffState);
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffmanStateInitAlloc_JPEG_8u(ZeliEncodeHuffmanState** ppEncHuffState) {
  if (const ZelStatus s = present(ppEncHuffState)) return s;
  if (const ZelStatus s = allocateRecord(ppEncHuffState)) return s;
  resetState(*ppEncHuffState);
  return zelStsNoErr;
}

ZelStatus zeliEncodeHuffmanStateFree_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState) {
  return freeRecord(pEncHuffState);
}

ZelStatus zeliEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos,
                                             int16_t* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                             const ZeliEncodeHuffmanSpec* pAcTable,
                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState};
  if (const ZelStatus s = checkDestination(to)) return s;
  if (bFlush) return flush(to);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pLastDC), present(pDcTable), present(pAcTable))) return s;
  return encodeBaseline(pSrc, pLastDC, *pDcTable, *pAcTable, to);
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
