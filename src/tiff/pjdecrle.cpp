// PackBits decoding of a row (TIFF 6.0, section 9).
#include "frame/checks.h"
#include "tiff/runs.h"

namespace ZEL_VARIANT {
namespace {

// src and position stand for the buffer's length and the place in it; a run is taken whole or not at all.
ZelStatus unpackRow(const uint8_t* src, int* position, int srcLen, uint8_t* dst, int dstLen) {
  int at = *position, done = 0;
  ZelStatus status = zelStsNoErr;
  while (done < dstLen) {
    status = zelStsTIFFOutOfBufErr;
    if (at >= srcLen) break;
    const int8_t header = int8_t(src[at++]);
    if (header >= 0) {
      const int n = header + 1;
      if (n > srcLen - at || n > dstLen - done) break;
      copyRun(dst + done, src + at, n);
      at += n;
      done += n;
    } else if (header != kNoOperation) {
      const int n = 1 - header;
      if (at >= srcLen || n > dstLen - done) break;
      fillRun(dst + done, src[at], n);
      ++at;
      done += n;
    }
    status = zelStsNoErr;
  }
  *position = at;
  return status;
}

}  // namespace

ZelStatus zeliUnpackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int* pSrcCurrPos, int srcLen, uint8_t* pDst, int dstLen) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pSrcCurrPos), present(pDst), lengthOk(srcLen), lengthOk(dstLen)))
    return s;
  return unpackRow(pSrc, pSrcCurrPos, srcLen, pDst, dstLen);
}

}  // namespace ZEL_VARIANT
