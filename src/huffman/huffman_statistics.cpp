// Symbol counts of baseline blocks and of lossless differences, for optimal tables (ITU-T T.81, Annex K.2). They mirror
// the encoders symbol for symbol.
#include "frame/checks.h"
#include "huffman/block.h"

namespace ZEL_VARIANT {
namespace {

// The largest categories (T.81, Tables F.1 and F.2): 12-bit samples have 15 and 14.
constexpr int kMaxDcCategory = 15;
constexpr int kMaxAcCategory = 14;

// Counters wrap around where a caller counts too much.
ZEL_INLINE void count(int32_t* counts, int symbol) { counts[symbol] = int32_t(uint32_t(counts[symbol]) + 1); }
ZEL_INLINE int categoryOf(int value) { return category(uint32_t(value < 0 ? -value : value)); }

// The symbols of F.1.2.1 and F.1.2.2. What was counted before an error stays, and so does the new predictor.
ZelStatus countBlock(const int16_t* src, int32_t* dcCounts, int32_t* acCounts, int16_t* lastDC) {
  const int dcCategory = categoryOf(src[0] - *lastDC);
  *lastDC = src[0];
  if (dcCategory > kMaxDcCategory) return zelStsJPEGCodeRangeErr;
  count(dcCounts, dcCategory);

  uint8_t bytes[64];
  int last = 0;
  for (uint64_t left = zigzagBytes(src, bytes) & ~uint64_t(1); left != 0; left &= left - 1) {
    const int k = __builtin_ctzll(left);
    int run = k - last - 1;
    last = k;
    for (; run > 15; run -= 16) count(acCounts, kZeroRun);
    const int size = categoryOf(src[kNatural.at[k]]);
    if (size > kMaxAcCategory) return zelStsJPEGCodeRangeErr;
    count(acCounts, run * 16 + size);
  }
  if (last != 63) count(acCounts, kEndOfBlock);
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliGetHuffmanStatistics8x8_JPEG_16s_C1(const int16_t* pSrc, int32_t* pDcStatistics, int32_t* pAcStatistics,
                                                  int16_t* pLastDC) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDcStatistics), present(pAcStatistics), present(pLastDC)))
    return s;
  return countBlock(pSrc, pDcStatistics, pAcStatistics, pLastDC);
}

// 16-bit differences have categories of at most 16, so that none is out of range.
ZelStatus zeliGetHuffmanStatisticsOne_JPEG_16s_C1(const int16_t* pSrc, int32_t* pStatistics) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pStatistics))) return s;
  count(pStatistics, categoryOf(*pSrc));
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
