// Argument checks. A function lists its checks in their documented order in one expression; the first that fails
//   decides: if (const ZelStatus s = firstFailure(present(pSrc), stepOk(srcStep), present(pDst), stepOk(dstStep),
//     sizeOk(roi))) return s;
// A check that must read through a pointer (a tag, a position) gets its own line after the check of that pointer.
#pragma once

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr ZelStatus present(const void* p) { return p ? zelStsNoErr : zelStsNullPtrErr; }
constexpr ZelStatus stepOk(int step) { return step >= 1 ? zelStsNoErr : zelStsStepErr; }
constexpr ZelStatus sizeOk(ZeliSize size) { return size.width >= 1 && size.height >= 1 ? zelStsNoErr : zelStsSizeErr; }
constexpr ZelStatus lengthOk(int n) { return n >= 1 ? zelStsNoErr : zelStsSizeErr; }
constexpr ZelStatus valueOk(bool inSet) { return inSet ? zelStsNoErr : zelStsBadArgErr; }

// Every pointer of an array of planes or blocks, in order. It reads the array, which an earlier line must have checked.
template <int N, class T>
constexpr ZelStatus allPresent(T* const* p) {
  for (int i = 0; i < N; ++i)
    if (!p[i]) return zelStsNullPtrErr;
  return zelStsNoErr;
}

template <class... S>
constexpr ZelStatus firstFailure(S... checks) {
  ZelStatus first = zelStsNoErr;
  (void)((first = checks, first != zelStsNoErr) || ...);
  return first;
}

}  // namespace
}  // namespace ZEL_VARIANT
