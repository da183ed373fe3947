// Huffman encoding of lossless differences (ITU-T T.81, Annex H.1.2.2 and Table H.2), one or a row at a time.
//
// A difference is coded as a DC difference is, but for -32768: category 16 has no extra bits.
#include "frame/checks.h"
#include "huffman/encoder_state.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxComponents = 4;
constexpr int kMaxPixelBytes = 80;  // a sample adds at most 31 bits, so each of four may spill a word of stuffed bytes
static_assert(kMaxComponents * 16 + 16 <= kMaxPixelBytes);

template <class Writer>
ZEL_INLINE ZelStatus codeDifference(Writer& writer, int difference, const ZeliEncodeHuffmanSpec& table) {
  ExtraBits extra = extraBits(difference);
  const uint32_t* entry = table.codes + extra.size;
  if (extra.size == 16) extra.size = 0, extra.bits = 0;
  return writer.code(entry, extra);
}

// Sample by sample, interleaved. *i is how many samples of each component are done; *c the component that failed.
template <class Writer, class HasRoom>
ZEL_INLINE ZelStatus codeRow(Writer& writer, const int16_t* const* rows, int n, int components,
                             const ZeliEncodeHuffmanSpec* const* tables, int* i, HasRoom hasRoom) {
  for (; *i < n && hasRoom(writer); ++*i)
    for (int c = 0; c < components; ++c)
      if (const ZelStatus s = codeDifference(writer, rows[c][*i], *tables[c])) return s;
  return zelStsNoErr;
}

// Fast while there is room for whole pixels, then careful from there.
ZelStatus encodeRow(const int16_t* const* rows, int n, int components, uint8_t* dst, int length, int* pos,
                    const ZeliEncodeHuffmanSpec* const* tables, ZeliEncodeHuffmanState* state) {
  uint8_t* const end = dst + length;
  int i = 0;
  ZelStatus s = zelStsNoErr;
  if (length - *pos >= kMaxPixelBytes) {
    auto writer = writerFrom<Path::fast>(*state, dst + *pos, nullptr);
    s = codeRow(writer, rows, n, components, tables, &i,
                [end](const auto& w) { return end - w.next() >= kMaxPixelBytes; });
    writer.writeWholeBytes();
    *pos = int(save(writer, state) - dst);
  }
  if (s != zelStsNoErr || i == n) return s;
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, end);
  s = codeRow(writer, rows, n, components, tables, &i, [](const auto&) { return true; });
  *pos = int(save(writer, state) - dst);
  return s;
}

ZelStatus encodeOne(int difference, uint8_t* dst, int length, int* pos, const ZeliEncodeHuffmanSpec& table,
                    ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  const ZelStatus s = codeDifference(writer, difference, table);
  *pos = int(save(writer, state) - dst);
  return s;
}

ZelStatus checkDestination(const uint8_t* pDst, int nDstLenBytes, const int* pDstCurrPos,
                           const ZeliEncodeHuffmanState* pEncHuffState) {
  return firstFailure(present(pDst), lengthOk(nDstLenBytes), present(pDstCurrPos), present(pEncHuffState));
}

}  // namespace

ZelStatus zeliEncodeHuffmanOne_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos,
                                             const ZeliEncodeHuffmanSpec* pEncHuffTable,
                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  if (const ZelStatus s = checkDestination(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState)) return s;
  if (bFlush) return flush(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pEncHuffTable))) return s;
  return encodeOne(*pSrc, pDst, nDstLenBytes, pDstCurrPos, *pEncHuffTable, pEncHuffState);
}

ZelStatus zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(const int16_t* const* ppSrc, int nSrcLen, int nSrcRows, uint8_t* pDst,
                                               int nDstLenBytes, int* pDstCurrPos,
                                               const ZeliEncodeHuffmanSpec* const* ppEncHuffTable,
                                               ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  if (const ZelStatus s = checkDestination(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState)) return s;
  if (bFlush) return flush(pDst, nDstLenBytes, pDstCurrPos, pEncHuffState);
  if (const ZelStatus s = firstFailure(present(ppSrc), lengthOk(nSrcLen), lengthOk(nSrcRows), present(ppEncHuffTable)))
    return s;
  const int components = nSrcRows < kMaxComponents ? nSrcRows : kMaxComponents;
  for (int c = 0; c < components; ++c)
    if (const ZelStatus s = firstFailure(present(ppSrc[c]), present(ppEncHuffTable[c]))) return s;
  return encodeRow(ppSrc, nSrcLen, components, pDst, nDstLenBytes, pDstCurrPos, ppEncHuffTable, pEncHuffState);
}

}  // namespace ZEL_VARIANT
