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

// Code and extra bits of every difference that a byte holds, for rows that are long enough to repay the table. Most
// differences of a photograph are so small.
struct SmallDifferences {
  static constexpr int kGroup = 3;  // differences that are written at once
  static constexpr int kNone = 64;  // more bits than are written at once

  uint32_t bits[256];    // by the difference + 128
  uint8_t lengths[256];  // kNone where there is no code
};

[[gnu::noinline]] void makeSmallDifferences(const ZeliEncodeHuffmanSpec& table, SmallDifferences* small) {
  for (int i = 0; i < 256; ++i) {
    const ExtraBits extra = extraBits(i - 128);
    const uint32_t entry = table.codes[extra.size], length = (entry >> 16) + uint32_t(extra.size);
    small->bits[i] = (entry & 0xFFFF) << extra.size | uint32_t(extra.bits);
    small->lengths[i] =
        uint8_t(entry >> 16 == 0 || length > SmallDifferences::kNone ? SmallDifferences::kNone : length);
  }
}

// Up to kGroup differences to a writer with room for them. False, with nothing written, where one of them is not small
// or all together are too long.
template <int kCount>
ZEL_INLINE bool codeSmall(BitWriter<Path::fast>& writer, const int (&differences)[kCount],
                          const SmallDifferences& small) {
  uint32_t outside = 0;
#pragma GCC unroll 3
  for (int i = 0; i < kCount; ++i) outside |= uint32_t(differences[i] + 128);
  if (__builtin_expect(outside > 255, 0)) return false;
  uint64_t bits = 0, length = 0;
#pragma GCC unroll 3
  for (int i = 0; i < kCount; ++i) {
    const uint64_t one = small.lengths[differences[i] + 128];
    bits = bits << (one % SmallDifferences::kNone) | small.bits[differences[i] + 128];
    length += one;
  }
  if (__builtin_expect(length >= SmallDifferences::kNone, 0)) return false;
  writer.gathered(bits, length);
  return true;
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

// The same of a row whose components share a table, in groups of small differences: all components of a sample, or of
// one component the samples that make a group.
template <int kCount, class HasRoom>
ZEL_INLINE ZelStatus codeLongRow(BitWriter<Path::fast>& writer, const int16_t* const* rows, int n,
                                 const ZeliEncodeHuffmanSpec& table, const SmallDifferences& small, int* i,
                                 HasRoom hasRoom) {
  constexpr int kSamples = kCount == 1 ? 3 : 1, kAll = kSamples * kCount, kGroup = kAll == 4 ? 2 : kAll;
  static_assert(kGroup <= SmallDifferences::kGroup && kAll <= kMaxComponents);
  for (; *i + kSamples <= n && hasRoom(writer); *i += kSamples) {
#pragma GCC unroll 2
    for (int first = 0; first < kAll; first += kGroup) {
      int differences[kGroup];
#pragma GCC unroll 3
      for (int k = 0; k < kGroup; ++k) differences[k] = rows[(first + k) % kCount][*i + (first + k) / kCount];
      if (codeSmall(writer, differences, small)) continue;
      for (int k = 0; k < kGroup; ++k)
        if (const ZelStatus s = codeDifference(writer, differences[k], table)) return s;
    }
  }
  return zelStsNoErr;
}

constexpr int kLongRow = 1000;  // differences that repay a table of the small ones

// Fast while there is room for a whole sample of each component, then careful from there: near the end of the
// destination the careful writer finds the byte that no longer fits. A symbol without a code ends the row on either
// path, and both then leave what was coded before it.
template <int kCount>
ZelStatus encodeRow(const int16_t* const* rows, int n, const ZeliEncodeHuffmanSpec* const* tables,
                    const Destination& to) {
  int i = 0;
  if (to.room() >= kMaxPixelBytes) {
    // Local copies: the compiler cannot know that a stored byte changes no pointer in the caller's arrays.
    const int16_t* row[kCount];
    const ZeliEncodeHuffmanSpec* table[kCount];
    bool oneTable = true;
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) {
      row[c] = rows[c];
      table[c] = tables[c];
      oneTable &= table[c] == table[0];
    }
    const uint8_t* const end = to.dst + to.length;
    const auto hasRoom = [end](const auto& w) { return end - w.next() >= kMaxPixelBytes; };
    auto writer = writerTo<Path::fast>(to);
    ZelStatus s = zelStsNoErr;
    if (oneTable && n >= kLongRow / kCount) {
      SmallDifferences small;
      makeSmallDifferences(*table[0], &small);
      s = codeLongRow<kCount>(writer, row, n, *table[0], small, &i, hasRoom);
    }
    if (s == zelStsNoErr) s = codeRow<kCount>(writer, row, n, table, &i, hasRoom);
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
