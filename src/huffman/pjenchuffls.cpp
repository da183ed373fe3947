// Huffman encoding of lossless differences (ITU-T T.81, Annex H.1.2.2), one or a row at a time.
//
// A difference is coded as its category, the number of its bits, and those bits. -32768, the only value of category 16,
// has no further bits. The writer's pending bits stay in the state between calls; a flush fills the last byte with
// ones.
#include "frame/checks.h"
#include "huffman/destination.h"
#include "huffman/lossless.h"

namespace ZEL_VARIANT {
namespace {

// Room for one sample of each component. The writer may hold up to 63 bits of the samples before.
constexpr int kMaxPixelBytes = roomFor(63 + kMaxComponents * (kMaxCodeLength + kMaxExtraBits));

// The table's entry is that of the category, also where no bits follow it.
template <class Writer>
ZEL_INLINE ZelStatus codeDifference(Writer& writer, int difference, const ZeliEncodeHuffmanSpec& table) {
  ExtraBits extra = extraBits(difference);
  const uint32_t* entry = table.codes + extra.size;
  if (extra.size == kCategoryWithoutBits) {
    extra.size = 0;
    extra.bits = 0;
  }
  return writer.code(entry, extra);
}

// Sample by sample, the components interleaved, while hasRoom(writer). *i is how many samples of each are done.
template <int kCount, class Writer, class HasRoom>
ZEL_INLINE ZelStatus codeRow(Writer& writer, const int16_t* const* rows, int n,
                             const ZeliEncodeHuffmanSpec* const* tables, int* i, HasRoom hasRoom) {
  for (; *i < n && hasRoom(writer); ++*i) {
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c)
      if (const ZelStatus s = codeDifference(writer, rows[c][*i], *tables[c])) return s;
  }
  return zelStsNoErr;
}

// Fast while there is room for a whole sample of each component, then careful from there: near the end of the
// destination the careful writer finds the byte that no longer fits. A symbol without a code ends the row on either
// path, and both then leave what was coded before it.
template <int kCount>
ZelStatus encodeRow(const int16_t* const* rows, int n, const ZeliEncodeHuffmanSpec* const* tables,
                    const Destination& to) {
  int i = 0;
  if (to.room() >= kMaxPixelBytes) {
    const uint8_t* const end = to.dst + to.length;
    auto writer = writerTo<Path::fast>(to);
    const ZelStatus s =
        codeRow<kCount>(writer, rows, n, tables, &i, [end](const auto& w) { return end - w.next() >= kMaxPixelBytes; });
    writer.writeWholeBytes();
    save(writer, to);
    if (s != zelStsNoErr || i == n) return s;
  }
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = codeRow<kCount>(writer, rows, n, tables, &i, [](const auto&) { return true; });
  save(writer, to);
  return s;
}

// The number of components as a constant, so that the loop over them unrolls.
ZelStatus encodeRow(const int16_t* const* rows, int n, int components, const ZeliEncodeHuffmanSpec* const* tables,
                    const Destination& to) {
  switch (components) {
    case 1:
      return encodeRow<1>(rows, n, tables, to);
    case 2:
      return encodeRow<2>(rows, n, tables, to);
    case 3:
      return encodeRow<3>(rows, n, tables, to);
  }
  return encodeRow<kMaxComponents>(rows, n, tables, to);
}

// A single difference is not worth the fast path's check for room.
ZelStatus encodeOne(int difference, const ZeliEncodeHuffmanSpec& table, const Destination& to) {
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = codeDifference(writer, difference, table);
  save(writer, to);
  return s;
}

}  // namespace

ZelStatus zeliEncodeHuffmanOne_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos,
                                             const ZeliEncodeHuffmanSpec* pEncHuffTable,
                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState};
  if (const ZelStatus s = checkDestination(to)) return s;
  if (bFlush) return flush(to);
  if (const ZelStatus s = firstFailure(present(pSrc), present(pEncHuffTable))) return s;
  return encodeOne(*pSrc, *pEncHuffTable, to);
}

ZelStatus zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(const int16_t* const* ppSrc, int nSrcLen, int nSrcRows, uint8_t* pDst,
                                               int nDstLenBytes, int* pDstCurrPos,
                                               const ZeliEncodeHuffmanSpec* const* ppEncHuffTable,
                                               ZeliEncodeHuffmanState* pEncHuffState, int bFlush) {
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos, pEncHuffState};
  if (const ZelStatus s = checkDestination(to)) return s;
  if (bFlush) return flush(to);
  if (const ZelStatus s = firstFailure(present(ppSrc), lengthOk(nSrcLen), lengthOk(nSrcRows), present(ppEncHuffTable)))
    return s;
  const int components = nSrcRows < kMaxComponents ? nSrcRows : kMaxComponents;
  for (int c = 0; c < components; ++c)
    if (const ZelStatus s = firstFailure(present(ppSrc[c]), present(ppEncHuffTable[c]))) return s;
  return encodeRow(ppSrc, nSrcLen, components, ppEncHuffTable, to);
}

}  // namespace ZEL_VARIANT
