// Memory, processor features and cache size are questions to the system; for the number of threads see team.h.
#include "zelcore.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include "zelfeatures.h"
#ifdef _OPENMP
#include "team.h"
#endif

namespace {

constexpr size_t kAlignment = 64;  // a cache line, and the widest vector register

}  // namespace

void* zelMalloc(int64_t length) {
  if (length < 1) return nullptr;
  void* p = nullptr;
  return posix_memalign(&p, kAlignment, size_t(length)) == 0 ? p : nullptr;
}

void zelFree(void* ptr) { free(ptr); }

int ownGetNumThreads(void) {
#ifdef _OPENMP
  return threadsOfCaller();
#else
  return 1;
#endif
}

uint64_t ownGetFeature(uint64_t mask) {
  uint64_t features = 0;
  if (zelProcessorHasSse41()) features |= zelFeatureSse41;
  if (zelProcessorRunsAvx2Variant()) features |= zelFeatureAvx2;
  return features & mask;
}

int zelGetMaxCacheSizeB(int* pSizeByte) {
  if (!pSizeByte) return -8;
  long largest = 0;
  const int levels[] = {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL4_CACHE_SIZE};
  for (const int level : levels) {
    const long size = sysconf(level);
    if (size > largest) largest = size;
  }
  if (largest <= 0) return -2;
  *pSizeByte = largest > INT_MAX ? INT_MAX : int(largest);
  return 0;
}
