// Progressive Huffman decoding (ITU-T T.81, Annex G.2). Each scan adds its bits to what earlier scans left in a block.
//
// A first scan of a band (successive approximation high = 0) stores coefficients shifted up by Al, the number of low
// bits that later scans bring. A refinement brings one bit more of each: for coefficients that are significant already
// a correction bit, for others a new coefficient of magnitude 1 (shifted by Al) where a run of zeros leads to it.
//
// The end-of-band run in the state counts the blocks that end without another coefficient, this one and those after it;
// it outlives the call, as the bit buffer does. Every function tries the fast reader where the source has bytes enough,
// and lets the careful one decide whatever is unusual; decodeFrom() holds that rule for all of them.
#include "frame/checks.h"
#include "huffman/band.h"
#include "huffman/block.h"
#include "huffman/source.h"

namespace ZEL_VARIANT {
namespace {

constexpr auto kNothingToUndo = [] {};

// Figure F.13 with the point transform: differences are coded of DC values that have lost their Al low bits, so the
// predictor holds such a value too, and only the stored coefficient is shifted up.
ZelStatus decodeDcFirst(const Source& in, int16_t* dst, int16_t* lastDC, int al, const ZeliDecodeHuffmanSpec& table) {
  const auto decode = [&](auto& reader) -> ZelStatus {
    uint32_t symbol;
    int difference;
    if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
    if (const ZelStatus s = reader.value(symbol & 15, &difference)) return s;
    *lastDC = int16_t(*lastDC + difference);
    dst[0] = int16_t(uint32_t(*lastDC) << al);
    return zelStsNoErr;
  };
  return decodeFrom(in, kFastPathBytes, decode, kNothingToUndo);
}

// Mostly the state has the one bit that a block needs. What stands above its bit count is spent, and no data.
ZelStatus decodeDcRefinement(const Source& in, int16_t* dst, int al) {
  if (ZeliDecodeHuffmanState* s = in.state; s->bitCount > 0) {
    --s->bitCount;
    dst[0] = int16_t(dst[0] | int(s->bits >> s->bitCount & 1) << al);
    s->bits &= lowBits(s->bitCount);
    return zelStsNoErr;
  }
  const auto decode = [&](auto& reader) -> ZelStatus {
    uint32_t bit;
    if (const ZelStatus s = reader.bits(1, &bit)) return s;
    dst[0] = int16_t(dst[0] | int(bit << al));
    return zelStsNoErr;
  };
  return decodeFrom(in, kFastPathBytes, decode, kNothingToUndo);
}

// The length of an end-of-band run whose symbol is category << 4 (Table G.1), this block included.
template <class Reader>
ZEL_INLINE ZelStatus eobRunOf(Reader& reader, int category, int* run) {
  uint32_t low = 0;
  if (category > 0)
    if (const ZelStatus s = reader.bits(category, &low)) return s;
  *run = (1 << category) + int(low);
  return zelStsNoErr;
}

// A block of a first scan (G.2.2). There is nothing to undo where the fast path gives up: the careful one stores the
// same coefficients again.
ZelStatus decodeFirst(const Source& in, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table) {
  int* eobRun = &in.state->eobRun;
  if (*eobRun > 0) {
    --*eobRun;
    return zelStsNoErr;
  }
  const auto decode = [&](auto& reader) -> ZelStatus {
    // A symbol is a run of zeros in its high half and the size of the coefficient behind them in its low half. Without
    // a size, 15 is sixteen zeros and anything less the category of an end-of-band run.
    for (int k = band.ss; k <= band.se; ++k) {
      uint32_t symbol;
      if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
      const int run = int(symbol >> 4) & 15;
      const uint32_t size = symbol & 15;
      if (size == 0) {
        if (run < 15) {
          int blocks;
          if (const ZelStatus s = eobRunOf(reader, run, &blocks)) return s;
          *eobRun = blocks - 1;
          return zelStsNoErr;
        }
        k += 15;
        continue;
      }
      int value;
      k += run;
      if (const ZelStatus s = reader.nonzeroValue(size, &value)) return s;
      if (k > band.se) return zelStsJPEGCodeRangeErr;  // the run leaves the band
      dst[kNatural.at[k]] = int16_t(uint32_t(value) << band.al);
    }
    return zelStsNoErr;
  };
  return decodeFrom(in, kFastPathBytes, decode, kNothingToUndo);
}

// ---- Refinement of AC bands: coefficients as sets of zigzag indexes, bit k for index k ------------------------------

constexpr int kBitsAtOnce = 32;  // that the fast reader gives in one call

// The number of set bits. The variant without the instruction adds neighbours in ever wider fields.
ZEL_INLINE int countOf(uint64_t x) {
#if defined(__POPCNT__) || defined(__aarch64__)
  return __builtin_popcountll(x);
#else
  x -= x >> 1 & 0x5555555555555555;
  x = (x & 0x3333333333333333) + (x >> 2 & 0x3333333333333333);
  return int(((x + (x >> 4)) & 0x0F0F0F0F0F0F0F0F) * kEveryByte >> 56);
#endif
}

// The place of the set bit of x that has n set bits below it, or `otherwise` where x has no more than n.
ZEL_INLINE int placeOf(uint64_t x, int n, int otherwise) {
#ifdef __BMI2__
  x = deposited(uint64_t(1) << n, x);
#else
  for (; n > 0; --n) x &= x - 1;
#endif
  return x != 0 ? __builtin_ctzll(x) : otherwise;
}

// One correction bit for each of these coefficients, which are significant already (G.1.2.3): where it is set, the
// magnitude grows by 2^Al, unless it has that bit, as it may in a damaged stream.
template <class Reader>
ZEL_INLINE ZelStatus correct(Reader& reader, int16_t* dst, int al, uint64_t places) {
  while (places != 0) {
    // The careful path takes bit by bit: those before the one that is missing count.
    int n = 1;
    if constexpr (!Reader::kCareful) {
      n = countOf(places);
      if (n > kBitsAtOnce) n = kBitsAtOnce;
    }
    uint32_t bits;
    if (const ZelStatus s = reader.bits(n, &bits)) return s;
    for (bits <<= 32 - n; n > 0; --n, bits <<= 1, places &= places - 1) {
      int16_t* coefficient = dst + kNatural.at[__builtin_ctzll(places)];
      const int value = *coefficient;
      const int sign = value >> 31;  // -1 or 0: (x ^ sign) - sign is x with that sign
      const int magnitude = (value ^ sign) - sign;
      const int step = int(bits >> 31 & ~uint32_t(magnitude >> al)) << al;
      *coefficient = int16_t(value + (step ^ sign) - sign);
    }
  }
  return zelStsNoErr;
}

// Figures G.7 and G.8, but with the band as sets: a run passes so many zeros, and what is not zero on the way is
// corrected all at once. A new coefficient's sign comes before the corrections that its run passes.
// significant: the coefficients that were not zero before the scan.
template <class Reader>
ZEL_INLINE ZelStatus refineBlock(Reader& reader, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table,
                                 uint64_t significant, int* eobRun) {
  uint64_t left = indexesOf(band);  // the part not yet passed
  while (*eobRun == 0 && left != 0) {
    uint32_t symbol, sign = 0;
    if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
    // A size here is 1, the new coefficient's, whose sign follows at once; 0 as in a first scan.
    const int run = int(symbol >> 4) & 15;
    const bool isNew = (symbol & 15) != 0;
    if (isNew) {
      if (const ZelStatus s = reader.bits(1, &sign)) return s;
    } else if (run < 15) {
      if (const ZelStatus s = eobRunOf(reader, run, eobRun)) return s;
      break;
    }
    const int k = placeOf(left & ~significant, run, 64);  // 64: behind the band
    const uint64_t beyond = k < 64 ? ~uint64_t(1) << k : 0;
    if (const ZelStatus s = correct(reader, dst, band.al, left & significant & ~beyond)) return s;
    left &= beyond;
    if (!isNew) continue;
    if (k == 64) return zelStsJPEGCodeRangeErr;  // the run leaves the band
    dst[kNatural.at[k]] = int16_t(sign ? 1 << band.al : -(1 << band.al));
  }
  // A block that the end-of-band run covers has no new coefficients, but its significant ones are still corrected.
  if (*eobRun > 0) {
    if (const ZelStatus s = correct(reader, dst, band.al, left & significant)) return s;
    --*eobRun;
  }
  return zelStsNoErr;
}

// A block is corrected in place, so it is put back as it was where the fast path gives up. Most blocks of a long run
// have nothing to correct.
ZelStatus decodeRefinement(const Source& in, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table) {
  uint8_t bytes[64];
  const uint64_t significant = zigzagBytes(dst, bytes);
  const int eobRunBefore = in.state->eobRun;
  if (eobRunBefore > 0 && (significant & indexesOf(band)) == 0) {
    --in.state->eobRun;
    return zelStsNoErr;
  }
  int16_t before[64];
  for (int i = 0; i < 64; i += i16v::N) store(before + i, load<i16v>(dst + i));
  const auto decode = [&](auto& reader) -> ZelStatus {
    int eobRun = eobRunBefore;
    const ZelStatus s = refineBlock(reader, dst, band, table, significant, &eobRun);
    in.state->eobRun = eobRun;
    return s;
  };
  const auto undo = [&] {
    for (int i = 0; i < 64; i += i16v::N) store(dst + i, load<i16v>(before + i));
  };
  return decodeFrom(in, kFastPathBytes, decode, undo);
}

template <ZelStatus (*kDecode)(const Source&, int16_t*, Band, const ZeliDecodeHuffmanSpec&)>
ZelStatus decodeAc(const Source& in, int16_t* pDst, Band band, const ZeliDecodeHuffmanSpec* pAcTable) {
  if (const ZelStatus s = firstFailure(checkSource(in), present(pDst), present(in.marker), bandOk(band),
                                       present(pAcTable), present(in.state)))
    return s;
  return kDecode(in, pDst, band, *pAcTable);
}

}  // namespace

ZelStatus zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int16_t* pLastDC, int* pMarker, int Al,
                                                     const ZeliDecodeHuffmanSpec* pDcTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState) {
  const Source in = {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState};
  if (const ZelStatus s = firstFailure(checkSource(in), present(pDst), present(pLastDC), present(pMarker), alOk(Al),
                                       present(pDcTable), present(pDecHuffState)))
    return s;
  return decodeDcFirst(in, pDst, pLastDC, Al, *pDcTable);
}

ZelStatus zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Al,
                                                      ZeliDecodeHuffmanState* pDecHuffState) {
  const Source in = {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState};
  if (const ZelStatus s =
          firstFailure(checkSource(in), present(pDst), present(pMarker), alOk(Al), present(pDecHuffState)))
    return s;
  return decodeDcRefinement(in, pDst, Al);
}

ZelStatus zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                     const ZeliDecodeHuffmanSpec* pAcTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState) {
  return decodeAc<decodeFirst>({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, pDst, {Ss, Se, Al}, pAcTable);
}

ZelStatus zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                      const ZeliDecodeHuffmanSpec* pAcTable,
                                                      ZeliDecodeHuffmanState* pDecHuffState) {
  return decodeAc<decodeRefinement>({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, pDst, {Ss, Se, Al},
                                    pAcTable);
}

}  // namespace ZEL_VARIANT
