// Rows of 16-bit samples as two planes of bytes, high bytes first, and back.
#include "frame/checks.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr ZelStatus samplesOk(int n) { return n >= 1 ? zelStsNoErr : zelStsStepErr; }

void joinRow(const uint8_t* high, const uint8_t* low, uint16_t* dst, int n) {
  int i = 0;
  for (; i + u8v::N <= n; i += u8v::N)
    storeInterleaved(reinterpret_cast<uint8_t*>(dst + i), load<u8v>(low + i), load<u8v>(high + i));
  for (; i + u16v::N <= n; i += u16v::N)
    store(dst + i, as<u16v>(loadWiden<i16v>(high + i) << 8 | loadWiden<i16v>(low + i)));
  for (; i < n; ++i) storeOne(dst + i, uint16_t(high[i] << 8 | low[i]));
}

void splitRow(const uint16_t* src, uint8_t* high, uint8_t* low, int n) {
  const u16v mask = splat<u16v>(255);
  int i = 0;
  for (; i + u8v::N <= n; i += u8v::N) {
    const u16v a = load<u16v>(src + i), b = load<u16v>(src + i + u16v::N);
    store(high + i, packU8(as<i16v>(a >> 8), as<i16v>(b >> 8)));
    store(low + i, packU8(as<i16v>(a & mask), as<i16v>(b & mask)));
  }
  for (; i < n; ++i) {
    const uint16_t x = loadOne(src + i);
    high[i] = uint8_t(x >> 8);
    low[i] = uint8_t(x);
  }
}

}  // namespace

ZelStatus zeliJoinRow_TIFF_8u16u_C1(const uint8_t* const pSrc[2], uint16_t* pDst, int len) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), samplesOk(len))) return s;
  joinRow(pSrc[0], pSrc[1], pDst, len);
  return zelStsNoErr;
}

ZelStatus zeliSplitRow_TIFF_16u8u_C1(const uint16_t* pSrc, uint8_t* const pDst[2], int len) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), samplesOk(len))) return s;
  splitRow(pSrc, pDst[0], pDst[1], len);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
