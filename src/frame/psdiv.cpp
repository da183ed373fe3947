#include <math.h>

#include "frame/checks.h"
#include "frame/support.h"
#include "frame/vec.h"
#include "zelcore.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kThreadedElements = 2048;

uint16_t quotient(float val, uint16_t d) {
  if (d == 0) return val == 0 ? 0 : 65535;
  return uint16_t(lrintf(val / float(d)));
}

// Eight quotients. A zero divisor gives infinity, which the conversion and the saturating pack would lose: it is
// replaced.
u16x8 quotients(f32x4 val, u16x8 d, u16x8 atZero) {
  const i32x4 low = as<i32x4>(unpackLow128(d, zero<u16x8>()));
  const i32x4 high = as<i32x4>(unpackHigh128(d, zero<u16x8>()));
  const u16x8 q = packU16(roundToInt(f32x4{val.v / toFloat(low).v}), roundToInt(f32x4{val.v / toFloat(high).v}));
  return select(d == zero<u16x8>(), atZero, q);
}

// True where a divisor is zero. pSrc and pDst may be equal.
bool divideRun(const uint16_t* pSrc, uint16_t val, uint16_t* pDst, int len) {
  const f32x4 wideVal = splat<f32x4>(float(val));
  const u16x8 atZero = splat<u16x8>(quotient(val, 0));
  u16x8 zeros = zero<u16x8>();
  int i = 0;
  for (; i + u16x8::N <= len; i += u16x8::N) {
    const u16x8 d = load<u16x8>(pSrc + i);
    zeros = zeros | (d == zero<u16x8>());
    store(pDst + i, quotients(wideVal, d, atZero));
  }
  bool anyZero = !isZero(zeros);
  for (; i < len; ++i) {
    anyZero = anyZero || pSrc[i] == 0;
    pDst[i] = quotient(val, pSrc[i]);
  }
  return anyZero;
}

ZelStatus divide(const uint16_t* pSrc, uint16_t val, uint16_t* pDst, int len) {
  bool anyZero = false;
  const int threads = len < kThreadedElements ? 1 : ownGetNumThreads();
  if (threads < 2) {
    anyZero = divideRun(pSrc, val, pDst, len);
  } else {
    const int middle = len / 2;
#pragma omp parallel for num_threads(2) schedule(static) reduction(|| : anyZero)
    for (int half = 0; half < 2; ++half) {
      const int begin = half == 0 ? 0 : middle;
      const int end = half == 0 ? middle : len;
      anyZero = divideRun(pSrc + begin, val, pDst + begin, end - begin) || anyZero;
    }
  }
  return anyZero ? zelStsDivByZeroWrn : zelStsNoErr;
}

}  // namespace

ZelStatus zelsDivCRev_16u(const uint16_t* pSrc, uint16_t val, uint16_t* pDst, int len) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(len))) return s;
  return divide(pSrc, val, pDst, len);
}

ZelStatus zelsDivCRev_16u_I(uint16_t val, uint16_t* pSrcDst, int len) {
  if (const ZelStatus s = firstFailure(present(pSrcDst), lengthOk(len))) return s;
  return divide(pSrcDst, val, pSrcDst, len);
}

}  // namespace ZEL_VARIANT
