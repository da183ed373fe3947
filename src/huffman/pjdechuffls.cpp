// Huffman decoding of lossless differences (ITU-T T.81, Annex H.2), one or a row at a time.
//
// A difference is a code for its category, the number of bits that follow, and these bits, as with DC coefficients. The
// category 16 stands for 32768 alone, and no bits follow it (H.1.2.2); modulo 2^16 that is -32768. What the differences
// are of, the prediction, is not known here.
#include "frame/checks.h"
#include "huffman/difference_pairs.h"
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

// n differences of one table by twos, in the order of the stream. In each round go as many look-ups as a refill lasts
// for; a difference that is too long for them ends it and is read by itself.
ZEL_INLINE ZelStatus decodePairs(BitReader<Path::fast>& reader, const ZeliDecodeHuffmanSpec& table,
                                 const DifferencePairs& pairs, int16_t* to, int n) {
  constexpr int kLookups = kRefilledBits / DifferencePairs::kBits;
  const int16_t* const end = to + n;
  while (end - to >= 2 * kLookups) {
    if (!reader.refill()) return zelStsJPEGOutOfBufErr;
    uint32_t done = 0;  // the sum of the steps
    uint32_t step = 0;
#pragma GCC unroll 8
    for (int i = 0; i < kLookups; ++i) {
      const uint32_t next = reader.peek(DifferencePairs::kBits);
      step = pairs.steps[next];
      __builtin_memcpy(to + (done >> DifferencePairs::kCountShift), &pairs.values[next], 4);
      if (__builtin_expect(step == 0, 0)) break;
      reader.moveOn(step);
      done += step;
    }
    reader.account(done & lowBits(DifferencePairs::kCountShift));
    to += done >> DifferencePairs::kCountShift;
    if (__builtin_expect(step == 0, 0))
      if (const ZelStatus s = decodeDifference(reader, table, to++)) return s;
  }
  for (; to < end; ++to)
    if (const ZelStatus s = decodeDifference(reader, table, to)) return s;
  return zelStsNoErr;
}

// Eight samples of each of three components. Of the lanes that hold a component each vector has other ones, as eight is
// no multiple of three: blends bring them together, a shuffle brings them into order.
ZEL_INLINE void separate3(const i16x8 (&v)[3], int16_t* const* rows, int at) {
  const u8x16 order[3] = {{{0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11}},
                          {{2, 3, 8, 9, 14, 15, 4, 5, 10, 11, 0, 1, 6, 7, 12, 13}},
                          {{4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15}}};
  const i16x8 together[3] = {blend16x128<0x24>(blend16x128<0x92>(v[0], v[1]), v[2]),
                             blend16x128<0x49>(blend16x128<0x24>(v[0], v[1]), v[2]),
                             blend16x128<0x92>(blend16x128<0x49>(v[0], v[1]), v[2])};
#pragma GCC unroll 3
  for (int c = 0; c < 3; ++c) store(rows[c] + at, as<i16x8>(shuffle128(as<u8x16>(together[c]), order[c])));
}

// kCount components, sample by sample, to rows of their own.
template <int kCount>
ZEL_INLINE void separate(const int16_t* from, int n, int16_t* const* rows, int at) {
  int i = 0;
  for (; i + i16x8::N <= n; i += i16x8::N, from += kCount * i16x8::N) {
    i16x8 v[kCount];
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) v[c] = load<i16x8>(from + c * i16x8::N);
    if constexpr (kCount == 1) {
      store(rows[0] + at + i, v[0]);
    } else if constexpr (kCount == 2) {
      const EvenOdd<i16x8> both = deinterleave(v[0], v[1]);
      store(rows[0] + at + i, both.even);
      store(rows[1] + at + i, both.odd);
    } else if constexpr (kCount == 3) {
      separate3(v, rows, at + i);
    } else {
      const EvenOdd<i16x8> low = deinterleave(v[0], v[1]), high = deinterleave(v[2], v[3]);
      const EvenOdd<i16x8> even = deinterleave(low.even, high.even), odd = deinterleave(low.odd, high.odd);
      store(rows[0] + at + i, even.even);
      store(rows[1] + at + i, odd.even);
      store(rows[2] + at + i, even.odd);
      store(rows[3] + at + i, odd.odd);
    }
  }
  for (; i < n; ++i)
    for (int c = 0; c < kCount; ++c) rows[c][at + i] = *from++;
}

// A row of components that share a table, in parts that are decoded as one sequence and then taken apart. Pairs store
// ahead of what is decoded, so that the caller's rows get only parts that are whole.
template <int kCount>
ZEL_INLINE ZelStatus decodeByPairs(BitReader<Path::fast>& reader, int16_t* const* rows, int n,
                                   const ZeliDecodeHuffmanSpec& table) {
  DifferencePairs pairs;
  makePairs(table, &pairs);
  constexpr int kPart = 1024 / kCount / i16x8::N * i16x8::N;
  int16_t part[kPart * kCount];
  for (int i = 0; i < n; i += kPart) {
    const int count = n - i < kPart ? n - i : kPart;
    if (const ZelStatus s = decodePairs(reader, table, pairs, part, kCount * count)) return s;
    separate<kCount>(part, count, rows, i);
  }
  return zelStsNoErr;
}

// Rows of so many differences repay what the pairs take to make.
constexpr int kPairedDifferences = 2000;

// A row of kCount components, interleaved sample by sample, from any reader.
template <int kCount, Path kPath>
ZEL_INLINE ZelStatus decodeSamples(BitReader<kPath>& reader, int16_t* const* rows, int n,
                                   const ZeliDecodeHuffmanSpec* const* tables) {
  // Local copies: the compiler cannot know that a stored sample changes no pointer in the caller's arrays.
  int16_t* to[kCount];
  const ZeliDecodeHuffmanSpec* table[kCount];
  bool oneTable = true;
#pragma GCC unroll 4
  for (int c = 0; c < kCount; ++c) {
    to[c] = rows[c];
    table[c] = tables[c];
    oneTable &= table[c] == table[0];
  }
  if constexpr (kPath == Path::fast) {
    if (oneTable && n >= kPairedDifferences / kCount) return decodeByPairs<kCount>(reader, to, n, *table[0]);
  }
  for (int i = 0; i < n; ++i) {
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c)
      if (const ZelStatus s = decodeDifference(reader, *table[c], to[c] + i)) return s;
  }
  return zelStsNoErr;
}

// Where the fast path gives up there is nothing to undo: the careful one writes the row again from its start.
template <int kCount>
ZelStatus decodeRow(const Source& in, int16_t* const* rows, int n, int64_t fastBytes,
                    const ZeliDecodeHuffmanSpec* const* tables) {
  const auto decode = [=](auto& reader) { return decodeSamples<kCount>(reader, rows, n, tables); };
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
