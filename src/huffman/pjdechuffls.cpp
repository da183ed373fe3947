// Huffman decoding of lossless differences (ITU-T T.81, Annex H.2), one or a row at a time.
#include "frame/checks.h"
#include "huffman/decoder_source.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxComponents = 4;

// Category 16 has no extra bits and means 32768; what is above it can only come from a corrupt table and is read alike.
template <class Reader>
ZEL_INLINE ZelStatus decodeDifference(Reader& reader, const ZeliDecodeHuffmanSpec& table, int16_t* difference) {
  uint32_t symbol;
  if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
  if (symbol >= 16) {
    *difference = INT16_MIN;
    return zelStsNoErr;
  }
  int value;
  if (const ZelStatus s = reader.value(symbol, &value)) return s;
  *difference = int16_t(value);
  return zelStsNoErr;
}

// A row that the fast path gives up is written again from its start.
template <int kCount>
ZelStatus decodeRows(const Source& in, int16_t* const* rows, int n, const ZeliDecodeHuffmanSpec* const* tables) {
  return decodeFrom(in, [=](auto& reader, auto) -> ZelStatus {
    int16_t* to[kCount];
    const ZeliDecodeHuffmanSpec* table[kCount];
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) to[c] = rows[c], table[c] = tables[c];
    for (int i = 0; i < n; ++i) {
#pragma GCC unroll 4
      for (int c = 0; c < kCount; ++c)
        if (const ZelStatus s = decodeDifference(reader, *table[c], to[c] + i)) return s;
    }
    return zelStsNoErr;
  });
}

ZelStatus decodeRow(const Source& in, int16_t* const* rows, int n, int components,
                    const ZeliDecodeHuffmanSpec* const* tables) {
  switch (components) {
    case 1:
      return decodeRows<1>(in, rows, n, tables);
    case 2:
      return decodeRows<2>(in, rows, n, tables);
    case 3:
      return decodeRows<3>(in, rows, n, tables);
  }
  return decodeRows<4>(in, rows, n, tables);
}

}  // namespace

ZelStatus zeliDecodeHuffmanOne_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos, int16_t* pDst,
                                             int* pMarker, const ZeliDecodeHuffmanSpec* pDecHuffTable,
                                             ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = firstFailure(present(pSrc), lengthOk(nSrcLenBytes), present(pSrcCurrPos), present(pDst),
                                       present(pMarker), present(pDecHuffTable), present(pDecHuffState)))
    return s;
  return decodeRow({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, &pDst, 1, 1, &pDecHuffTable);
}

ZelStatus zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                               int16_t* const* ppDst, int nDstLen, int nDstRows, int* pMarker,
                                               const ZeliDecodeHuffmanSpec* const* ppDecHuffTable,
                                               ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), lengthOk(nSrcLenBytes), present(pSrcCurrPos), present(ppDst), lengthOk(nDstLen),
                       lengthOk(nDstRows), present(pMarker), present(ppDecHuffTable), present(pDecHuffState)))
    return s;
  const int components = nDstRows < kMaxComponents ? nDstRows : kMaxComponents;
  for (int c = 0; c < components; ++c)
    if (const ZelStatus s = firstFailure(present(ppDst[c]), present(ppDecHuffTable[c]))) return s;
  return decodeRow({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, ppDst, nDstLen, components,
                   ppDecHuffTable);
}

}  // namespace ZEL_VARIANT
