#include "support/core_hooks.h"

// The real core under other names, called where no hook is set.
#define zelMalloc realZelMalloc
#define zelFree realZelFree
#define ownGetNumThreads realGetNumThreads
#define ownGetFeature realGetFeature
#define zelGetMaxCacheSizeB realGetMaxCacheSizeB
#include "../../core/zelcore.cpp"
#undef zelMalloc
#undef zelFree
#undef ownGetNumThreads
#undef ownGetFeature
#undef zelGetMaxCacheSizeB

namespace zeltest {

CoreHooks* hooks() {
  static CoreHooks h;
  return &h;
}

}  // namespace zeltest

using zeltest::hooks;

extern "C" {

void* zelMalloc(int64_t length) {
  if (hooks()->allocationsUntilFailure >= 0 && hooks()->allocationsUntilFailure-- == 0) return nullptr;
  void* p = realZelMalloc(length);
  if (p) ++hooks()->liveAllocations;
  return p;
}

void zelFree(void* ptr) {
  if (ptr) --hooks()->liveAllocations;
  realZelFree(ptr);
}

int ownGetNumThreads(void) {
  ++hooks()->threadQueries;
  return hooks()->threads > 0 ? hooks()->threads.load() : realGetNumThreads();
}

uint64_t ownGetFeature(uint64_t mask) {
  return hooks()->features >= 0 ? uint64_t(hooks()->features) & mask : realGetFeature(mask);
}

int zelGetMaxCacheSizeB(int* pSizeByte) {
  if (hooks()->cacheBytes < 0) return -2;
  if (hooks()->cacheBytes == 0) return realGetMaxCacheSizeB(pSizeByte);
  *pSizeByte = hooks()->cacheBytes;
  return 0;
}
}
