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

// The trees that may still be merged, as a heap: in[k] is before in[2 k + 1] and in[2 k + 2]. A tree's key is its
// count, then how far its symbol is from the last one: of equal counts the last symbol comes first.
struct Trees {
  int64_t in[kSymbols];
  int n = 0;

  void add(int64_t count, int symbol) {
    if (count == 0 || count > kMaxCount) return;
    const int64_t key = count * 512 + (kSymbols - 1 - symbol);
    int at = n++;
    for (; at > 0 && in[(at - 1) / 2] > key; at = (at - 1) / 2) in[at] = in[(at - 1) / 2];
    in[at] = key;
  }
  // The symbol of the first tree, which is taken off; kNone if there is none.
  int take() {
    if (n == 0) return kNone;
    const int symbol = kSymbols - 1 - int(in[0] & 511);
    const int64_t key = in[--n];
    int at = 0;
    for (int child; (child = 2 * at + 1) < n; at = child) {
      if (child + 1 < n && in[child + 1] < in[child]) ++child;
      if (in[child] >= key) break;
      in[at] = in[child];
    }
    in[at] = key;
    return symbol;
  }
};

// Figure K.1: merge the two rarest trees until one is left. A tree is a chain of its symbols.
void codeSizes(int64_t* counts, int* sizes) {
  int next[kSymbols];
  Trees trees;
  for (int i = 0; i < kSymbols; ++i) {
    sizes[i] = 0;
    next[i] = kNone;
    trees.add(counts[i], i);
  }
  for (;;) {
    int i = trees.take(), j = trees.take();
    if (j == kNone) return;
    counts[i] += counts[j];
    trees.add(counts[i], i);
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
  int place[kMaxSize + 1] = {};  // in the list, of the first symbol of a size; the reserved one is not in it
  for (int size = 1; size < kMaxSize; ++size)
    place[size + 1] = place[size] + bits[size] - int(size == sizes[kSymbols - 1]);
  limitLengths(bits);
  int longest = kMaxCodeLength;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest > 0) --bits[longest];  // the reserved code

  for (int i = 0; i < kMaxCodeLength; ++i) listBits[i] = uint8_t(bits[i + 1]);
  for (int symbol = 0; symbol < kSymbols - 1; ++symbol)  // Figure K.4
    if (sizes[symbol] > 0) listVals[place[sizes[symbol]]++] = uint8_t(symbol);
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
