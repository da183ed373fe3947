// Huffman decoding of lossless differences (ITU-T T.81, Annex H.2), one or a row at a time.
//
// A difference is a code for its category, the number of bits that follow, and these bits, as with DC coefficients. The
// category 16 stands for 32768 alone, and no bits follow it (H.1.2.2); modulo 2^16 that is -32768. What the differences
// are of, the prediction, is not known here.
#include "frame/checks.h"
#include "huffman/lossless.h"
#include "huffman/source.h"

namespace ZEL_VARIANT {
namespace {

template <class Reader>
ZEL_INLINE ZelStatus decodeDifference(Reader& reader, const ZeliDecodeHuffmanSpec& table, int16_t* difference) {
  uint32_t symbol;
  if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
  if (symbol >= kCategoryWithoutBits) {
    *difference = INT16_MIN;  // 32768 modulo 2^16
    return zelStsNoErr;
  }
  int value;
  if (const ZelStatus s = reader.value(symbol, &value)) return s;
  *difference = int16_t(value);
  return zelStsNoErr;
}

// The fast path starts where the source has two bytes for each sample of a component; nearer to the end the careful
// path decides on the position, the bit count and the marker that the caller sees. A row of more components than can be
// coded is always read carefully.
ZEL_INLINE int64_t fastRowBytes(int n, int givenRows) {
  return givenRows <= kMaxComponents ? 2 * int64_t(n) : INT64_MAX;
}

// A row of kCount components, interleaved sample by sample. Where the fast path gives up there is nothing to undo: the
// careful one writes the row again from its start.
template <int kCount>
ZelStatus decodeRow(const Source& in, int16_t* const* rows, int n, int64_t fastBytes,
                    const ZeliDecodeHuffmanSpec* const* tables) {
  const auto decode = [=](auto& reader) -> ZelStatus {
    // Local copies: the compiler cannot know that a stored sample changes no pointer in the caller's arrays.
    int16_t* to[kCount];
    const ZeliDecodeHuffmanSpec* table[kCount];
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) {
      to[c] = rows[c];
      table[c] = tables[c];
    }
    for (int i = 0; i < n; ++i) {
#pragma GCC unroll 4
      for (int c = 0; c < kCount; ++c)
        if (const ZelStatus s = decodeDifference(reader, *table[c], to[c] + i)) return s;
    }
    return zelStsNoErr;
  };
  return decodeFrom(in, fastBytes, decode, [] {});
}

// The number of components as a constant, so that the loop over them unrolls and readers keep the tables in registers.
ZelStatus decodeRow(const Source& in, int16_t* const* rows, int n, int givenRows,
                    const ZeliDecodeHuffmanSpec* const* tables) {
  const int64_t fastBytes = fastRowBytes(n, givenRows);
  switch (givenRows) {
    case 1:
      return decodeRow<1>(in, rows, n, fastBytes, tables);
    case 2:
      return decodeRow<2>(in, rows, n, fastBytes, tables);
    case 3:
      return decodeRow<3>(in, rows, n, fastBytes, tables);
  }
  return decodeRow<kMaxComponents>(in, rows, n, fastBytes, tables);
}

}  // namespace

ZelStatus zeliDecodeHuffmanOne_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos, int16_t* pDst,
                                             int* pMarker, const ZeliDecodeHuffmanSpec* pDecHuffTable,
                                             ZeliDecodeHuffmanState* pDecHuffState) {
  const Source in = {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState};
  if (const ZelStatus s = firstFailure(checkSource(in), present(pDst), present(pMarker), present(pDecHuffTable),
                                       present(pDecHuffState)))
    return s;
  return decodeCarefully(in, [=](auto& reader) { return decodeDifference(reader, *pDecHuffTable, pDst); });
}

ZelStatus zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                               int16_t* const* ppDst, int nDstLen, int nDstRows, int* pMarker,
                                               const ZeliDecodeHuffmanSpec* const* ppDecHuffTable,
                                               ZeliDecodeHuffmanState* pDecHuffState) {
  const Source in = {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState};
  if (const ZelStatus s = firstFailure(checkSource(in), present(ppDst), lengthOk(nDstLen), lengthOk(nDstRows),
                                       present(pMarker), present(ppDecHuffTable), present(pDecHuffState)))
    return s;
  const int components = nDstRows < kMaxComponents ? nDstRows : kMaxComponents;
  for (int c = 0; c < components; ++c)
    if (const ZelStatus s = firstFailure(present(ppDst[c]), present(ppDecHuffTable[c]))) return s;
  return decodeRow(in, ppDst, nDstLen, nDstRows, ppDecHuffTable);
}

}  // namespace ZEL_VARIANT
