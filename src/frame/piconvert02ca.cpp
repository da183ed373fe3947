#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr int64_t kCachedTrafficBytes = 0x80000;  // below this the cache size is not even asked for

void widenRow(const uint8_t* src, uint16_t* dst, int64_t n) {
  int64_t i = 0;
  for (; i + u16v::N <= n; i += u16v::N) store(dst + i, loadWiden<u16v>(src + i));
  for (; i < n; ++i) storeOne(dst + i, uint16_t(src[i]));
}

// The same with stores that bypass the cache; these need a destination on a vector boundary.
void widenRowPastCache(const uint8_t* src, uint16_t* dst, int64_t n) {
  if (uintptr_t(dst) % sizeof(uint16_t) != 0) return widenRow(src, dst, n);
  int64_t i = 0;
  for (; i < n && uintptr_t(dst + i) % 16 != 0; ++i) storeOne(dst + i, uint16_t(src[i]));
  for (; i + u16x8::N <= n; i += u16x8::N) storePastCache(dst + i, loadWiden<u16x8>(src + i));
  for (; i < n; ++i) storeOne(dst + i, uint16_t(src[i]));
}

bool exceedsCache(int64_t traffic) {
  int cacheBytes = 0;
  return traffic > kCachedTrafficBytes && zelGetMaxCacheSizeB(&cacheBytes) == 0 && traffic >= cacheBytes;
}

}  // namespace

ZelStatus zeliConvert_8u16u_C1R(const uint8_t* pSrc, int srcStep, uint16_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), sizeOk(roiSize), stepOk(srcStep), stepOk(dstStep)))
    return s;
  int64_t width = roiSize.width;
  int height = roiSize.height;
  const bool pastCache = exceedsCache(width * 3 * height);
  if (srcStep == width && dstStep == int64_t(srcStep) * 2) {  // contiguous rows are one row
    width *= height;
    height = 1;
  }
  for (int r = 0; r < height; ++r) {
    const uint8_t* src = rowAt(pSrc, srcStep, r);
    uint16_t* dst = rowAt(pDst, dstStep, r);
    if (pastCache)
      widenRowPastCache(src, dst, width);
    else
      widenRow(src, dst, width);
  }
  if (pastCache) fenceStores();
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
