// Progressive Huffman decoding (ITU-T T.81, Annex G.2). Each scan adds its bits to what earlier scans left in a block.
#include "frame/checks.h"
#include "huffman/block.h"
#include "huffman/decoder_source.h"

namespace ZEL_VARIANT {
namespace {

// A spectral band and its successive-approximation bit.
struct Band {
  int ss, se, al;
};

ZelStatus alOk(int al) { return valueOk(al >= 0 && al <= 13); }
ZelStatus bandOk(Band b) {
  return firstFailure(valueOk(b.ss >= 1 && b.ss <= 63), valueOk(b.se >= b.ss && b.se <= 63), alOk(b.al));
}

ZelStatus decodeDcFirst(const Source& in, int16_t* dst, int16_t* lastDC, int al, const ZeliDecodeHuffmanSpec& table) {
  return decodeFrom(in, [&](auto& reader, auto) -> ZelStatus {
    uint32_t symbol;
    int difference;
    if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
    if (const ZelStatus s = reader.value(symbol & 15, &difference)) return s;
    *lastDC = int16_t(*lastDC + difference);
    dst[0] = int16_t(uint32_t(*lastDC) << al);
    return zelStsNoErr;
  });
}

ZelStatus decodeDcRefinement(const Source& in, int16_t* dst, int al) {
  return decodeFrom(in, [&](auto& reader, auto) -> ZelStatus {
    uint32_t bit;
    if (const ZelStatus s = reader.bits(1, &bit)) return s;
    dst[0] = int16_t(dst[0] | int(bit << al));
    return zelStsNoErr;
  });
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

// The same coefficients on the careful path overwrite those of a fast one that gave up.
ZelStatus decodeFirst(const Source& in, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table) {
  int* eobRun = &in.state->eobRun;
  if (*eobRun > 0) {
    --*eobRun;
    return zelStsNoErr;
  }
  return decodeFrom(in, [&](auto& reader, auto) -> ZelStatus {
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
  });
}

// One correction bit for a coefficient that is significant already: it moves away from zero, unless it has the bit.
template <class Reader>
ZEL_INLINE ZelStatus correct(Reader& reader, int16_t* coefficient, int al) {
  uint32_t bit;
  if (const ZelStatus s = reader.bits(1, &bit)) return s;
  const int value = *coefficient, magnitude = value < 0 ? -value : value;
  if (bit && !(magnitude >> al & 1)) *coefficient = int16_t(value < 0 ? value - (1 << al) : value + (1 << al));
  return zelStsNoErr;
}

// From *k on: passes `zeros` zero coefficients (Figure G.7), correcting the others on the way, and stops at the zero
// after them or behind the band.
template <class Reader>
ZEL_INLINE ZelStatus passZeros(Reader& reader, int16_t* dst, Band band, int zeros, int* k) {
  for (; *k <= band.se; ++*k) {
    int16_t* coefficient = dst + kNatural.at[*k];
    if (*coefficient != 0) {
      if (const ZelStatus s = correct(reader, coefficient, band.al)) return s;
    } else if (zeros-- == 0) {
      return zelStsNoErr;
    }
  }
  return zelStsNoErr;
}

template <class Reader>
ZEL_INLINE ZelStatus refineBlock(Reader& reader, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table,
                                 int* eobRun) {
  int k = band.ss;
  while (*eobRun == 0 && k <= band.se) {
    uint32_t symbol, sign = 0;
    if (const ZelStatus s = reader.symbol(table, &symbol)) return s;
    const int run = int(symbol >> 4) & 15;
    const bool isNew = (symbol & 15) != 0;
    if (isNew) {
      if (const ZelStatus s = reader.bits(1, &sign)) return s;
    } else if (run < 15) {
      if (const ZelStatus s = eobRunOf(reader, run, eobRun)) return s;
      break;
    }
    if (const ZelStatus s = passZeros(reader, dst, band, run, &k)) return s;
    if (isNew) {
      if (k > band.se) return zelStsJPEGCodeRangeErr;  // the run leaves the band
      dst[kNatural.at[k]] = int16_t(sign ? 1 << band.al : -(1 << band.al));
    }
    ++k;
  }
  if (*eobRun > 0) {
    if (const ZelStatus s = passZeros(reader, dst, band, 64, &k)) return s;
    --*eobRun;
  }
  return zelStsNoErr;
}

// A block is corrected in place, so the fast path works on a copy of it.
ZelStatus decodeRefinement(const Source& in, int16_t* dst, Band band, const ZeliDecodeHuffmanSpec& table) {
  return decodeFrom(in, [&](auto& reader, auto path) -> ZelStatus {
    constexpr bool kCareful = decltype(path)::kCareful;
    int eobRun = in.state->eobRun;
    int16_t work[64];
    int16_t* block = kCareful ? dst : work;
    if (!kCareful) __builtin_memcpy(work, dst, sizeof work);
    const ZelStatus s = refineBlock(reader, block, band, table, &eobRun);
    if (!kCareful && s != zelStsNoErr) return s;
    if (!kCareful) __builtin_memcpy(dst, work, sizeof work);
    in.state->eobRun = eobRun;
    return s;
  });
}

ZelStatus checkSource(const uint8_t* pSrc, int nSrcLenBytes, const int* pSrcCurrPos, const int16_t* pDst) {
  return firstFailure(present(pSrc), lengthOk(nSrcLenBytes), present(pSrcCurrPos), present(pDst));
}

template <ZelStatus (*kDecode)(const Source&, int16_t*, Band, const ZeliDecodeHuffmanSpec&)>
ZelStatus decodeAc(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos, int16_t* pDst, int* pMarker, Band band,
                   const ZeliDecodeHuffmanSpec* pAcTable, ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = firstFailure(checkSource(pSrc, nSrcLenBytes, pSrcCurrPos, pDst), present(pMarker),
                                       bandOk(band), present(pAcTable), present(pDecHuffState)))
    return s;
  return kDecode({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, pDst, band, *pAcTable);
}

}  // namespace

ZelStatus zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int16_t* pLastDC, int* pMarker, int Al,
                                                     const ZeliDecodeHuffmanSpec* pDcTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = firstFailure(checkSource(pSrc, nSrcLenBytes, pSrcCurrPos, pDst), present(pLastDC),
                                       present(pMarker), alOk(Al), present(pDcTable), present(pDecHuffState)))
    return s;
  return decodeDcFirst({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, pDst, pLastDC, Al, *pDcTable);
}

ZelStatus zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Al,
                                                      ZeliDecodeHuffmanState* pDecHuffState) {
  if (const ZelStatus s = firstFailure(checkSource(pSrc, nSrcLenBytes, pSrcCurrPos, pDst), present(pMarker), alOk(Al),
                                       present(pDecHuffState)))
    return s;
  return decodeDcRefinement({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker, pDecHuffState}, pDst, Al);
}

ZelStatus zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                     const ZeliDecodeHuffmanSpec* pAcTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState) {
  return decodeAc<decodeFirst>(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pMarker, {Ss, Se, Al}, pAcTable, pDecHuffState);
}

ZelStatus zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                      const ZeliDecodeHuffmanSpec* pAcTable,
                                                      ZeliDecodeHuffmanState* pDecHuffState) {
  return decodeAc<decodeRefinement>(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pMarker, {Ss, Se, Al}, pAcTable,
                                    pDecHuffState);
}

}  // namespace ZEL_VARIANT
