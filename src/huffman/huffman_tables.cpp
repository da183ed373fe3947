// Huffman table records from table descriptions (ITU-T T.81, Annexes C and F.2.2.3), and descriptions from symbol
// counts (Annex K.2).
#include "frame/checks.h"
#include "huffman/code_list.h"
#include "huffman/records.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliDecodeHuffmanSpec) == 1644 && sizeof(ZeliEncodeHuffmanSpec) == 1024);

constexpr uint16_t kNoCodes = 0xFFFF;

// MINCODE, MAXCODE and VALPTR of T.81, F.2.2.3, and a lookup by eight bits for the codes that are no longer. Longer
// codes are not checked for overflow: such a description builds, and its impossible codes never match.
ZelStatus buildDecoder(const uint8_t* bits, const uint8_t* values, ZeliDecodeHuffmanSpec* spec) {
  __builtin_memset(spec, 0, sizeof *spec);
  CodeList list;
  if (!assignCodes(bits, &list)) return zelStsJPEGHuffTableErr;
  int k = 0;
  for (int length = 1; length <= kMaxCodeLength; ++length) {
    const int n = bits[length - 1];
    if (n == 0) {
      spec->lastCode[length] = kNoCodes;
      continue;
    }
    spec->firstIndex[length] = uint16_t(k);
    spec->firstCode[length] = uint16_t(list.code[k]);
    for (int i = 0; i < n; ++i, ++k) spec->values[k] = values[k];
    spec->lastCode[length] = uint16_t(list.code[k - 1]);
  }
  spec->lastCode[kMaxCodeLength + 1] = kNoCodes;

  // Every byte that starts with a code of up to 8 bits leads to its symbol.
  for (k = 0; k < list.count && list.length[k] <= 8; ++k) {
    const int free = 8 - list.length[k];
    for (uint32_t i = list.code[k] << free; i < (list.code[k] + 1) << free; ++i) {
      if (i >= 256) return zelStsJPEGHuffTableErr;
      spec->lookup[i] = values[k] | uint32_t(list.length[k]) << 16;
    }
  }
  return zelStsNoErr;
}

// EHUFCO and EHUFSI of T.81, Annex C, in one word for each symbol. Where a symbol occurs twice its last code holds.
ZelStatus buildEncoder(const uint8_t* bits, const uint8_t* values, ZeliEncodeHuffmanSpec* spec) {
  __builtin_memset(spec, 0, sizeof *spec);
  CodeList list;
  if (!assignCodes(bits, &list)) return zelStsJPEGHuffTableErr;
  // The code after the last of its length must still be one of that length: the code of ones is reserved (T.81, C.2).
  for (int k = 0; k < list.count; ++k)
    if (list.code[k] + 1 >= 1u << list.length[k]) return zelStsJPEGHuffTableErr;
  for (int k = 0; k < list.count; ++k) spec->codes[values[k]] = list.code[k] | uint32_t(list.length[k]) << 16;
  return zelStsNoErr;
}

// T.81, Annex K.2. Symbol 256 is the reserved one: its count of 1 gives it one of the longest codes, and as it comes
// last among these, that is the code of ones. Its code is taken out again at the end.
constexpr int kSymbols = 257;
constexpr int kMaxSize = 32;               // of a code before lengths are limited
constexpr int64_t kMaxCount = 1000000000;  // larger counts, of a symbol or a tree, are never merged
constexpr int kNone = -1;

// The symbol with the smallest nonzero count, the last of them; `except` is passed over.
int leastFrequent(const int64_t* counts, int except) {
  int least = kNone;
  int64_t smallest = kMaxCount;
  for (int i = 0; i < kSymbols; ++i)
    if (counts[i] != 0 && counts[i] <= smallest && i != except) {
      smallest = counts[i];
      least = i;
    }
  return least;
}

// Figure K.1: merge the two rarest trees until one is left. A tree is a chain of its symbols.
void codeSizes(int64_t* counts, int* sizes) {
  int next[kSymbols];
  for (int i = 0; i < kSymbols; ++i) {
    sizes[i] = 0;
    next[i] = kNone;
  }
  for (;;) {
    int i = leastFrequent(counts, kNone);
    if (i == kNone) return;
    int j = leastFrequent(counts, i);
    if (j == kNone) return;
    counts[i] += counts[j];
    counts[j] = 0;
    for (++sizes[i]; next[i] != kNone; ++sizes[i]) i = next[i];
    next[i] = j;
    for (++sizes[j]; next[j] != kNone; ++sizes[j]) j = next[j];
  }
}

// Figure K.3: a pair of codes that is too long becomes one a bit shorter, the prefix of the other and of a shorter
// code.
void limitLengths(int* bits) {
  for (int i = kMaxSize; i > kMaxCodeLength; --i)
    while (bits[i] > 0) {
      int j = i - 2;
      while (j > 0 && bits[j] == 0) --j;
      bits[i] -= 2;
      bits[i - 1] += 1;
      bits[j + 1] += 2;
      bits[j] -= 1;
    }
}

// Nothing is written where a code comes out too long even for Figure K.3. The symbols are listed by the size that they
// had before lengths were limited: the order among those that became equal does not change the coded size.
ZelStatus describeOptimal(const int32_t* statistics, uint8_t* listBits, uint8_t* listVals) {
  int64_t counts[kSymbols];
  for (int i = 0; i < kSymbols - 1; ++i) counts[i] = statistics[i];
  counts[kSymbols - 1] = 1;
  int sizes[kSymbols];
  codeSizes(counts, sizes);

  int bits[kMaxSize + 1] = {};
  for (const int size : sizes) {
    if (size > kMaxSize) return zelStsJPEGHuffTableErr;
    if (size > 0) ++bits[size];
  }
  limitLengths(bits);
  int longest = kMaxCodeLength;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest > 0) --bits[longest];  // the reserved code

  for (int i = 0; i < kMaxCodeLength; ++i) listBits[i] = uint8_t(bits[i + 1]);
  for (int size = 1; size <= kMaxSize; ++size)  // Figure K.4
    for (int symbol = 0; symbol < kSymbols - 1; ++symbol)
      if (sizes[symbol] == size) *listVals++ = uint8_t(symbol);
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) { return sizeOfRecord<ZeliDecodeHuffmanSpec>(pSize); }

ZelStatus zeliDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                            ZeliDecodeHuffmanSpec* pDecHuffSpec) {
  if (const ZelStatus s = firstFailure(present(pListBits), present(pListVals), present(pDecHuffSpec))) return s;
  return buildDecoder(pListBits, pListVals, pDecHuffSpec);
}

ZelStatus zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                 ZeliDecodeHuffmanSpec** ppDecHuffSpec) {
  if (const ZelStatus s = firstFailure(present(pListBits), present(pListVals), present(ppDecHuffSpec))) return s;
  if (const ZelStatus s = allocateRecord(ppDecHuffSpec)) return s;
  return buildDecoder(pListBits, pListVals, *ppDecHuffSpec);
}

ZelStatus zeliDecodeHuffmanSpecFree_JPEG_8u(ZeliDecodeHuffmanSpec* pDecHuffSpec) { return freeRecord(pDecHuffSpec); }

ZelStatus zeliEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) { return sizeOfRecord<ZeliEncodeHuffmanSpec>(pSize); }

ZelStatus zeliEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                            ZeliEncodeHuffmanSpec* pEncHuffSpec) {
  if (const ZelStatus s = firstFailure(present(pListBits), present(pListVals), present(pEncHuffSpec))) return s;
  return buildEncoder(pListBits, pListVals, pEncHuffSpec);
}

ZelStatus zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                 ZeliEncodeHuffmanSpec** ppEncHuffSpec) {
  if (const ZelStatus s = firstFailure(present(pListBits), present(pListVals), present(ppEncHuffSpec))) return s;
  if (const ZelStatus s = allocateRecord(ppEncHuffSpec)) return s;
  return buildEncoder(pListBits, pListVals, *ppEncHuffSpec);
}

ZelStatus zeliEncodeHuffmanSpecFree_JPEG_8u(ZeliEncodeHuffmanSpec* pEncHuffSpec) { return freeRecord(pEncHuffSpec); }

ZelStatus zeliEncodeHuffmanRawTableInit_JPEG_8u(const int32_t* pStatistics, uint8_t* pListBits, uint8_t* pListVals) {
  if (const ZelStatus s = firstFailure(present(pStatistics), present(pListBits), present(pListVals))) return s;
  return describeOptimal(pStatistics, pListBits, pListVals);
}

}  // namespace ZEL_VARIANT
