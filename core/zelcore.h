/* zelcore.h - the small layer under the codec primitives: memory, threads, processor features, cache size. */
#ifndef ZELCORE_H
#define ZELCORE_H

#include <stdint.h>

#if defined(__GNUC__)
#define ZELCORE_API __attribute__((visibility("default")))
#else
#define ZELCORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Feature bits of ownGetFeature. */
enum {
  zelFeatureSse41 = 0x40, /* SSE4.1: what the library needs on x86-64 */
  zelFeatureAvx2 = 0x80   /* AVX2, BMI1 and BMI2: the library runs its AVX2 variant */
};

/* At least 64-byte aligned memory, released with zelFree; null where length is below 1 or memory is short. */
ZELCORE_API void* zelMalloc(int64_t length);
ZELCORE_API void zelFree(void* ptr);

/* Threads for a parallel loop of the calling thread: OpenMP's own setting, but no more than can be started. 1 inside a
 * parallel region, unless nested ones are active, and in a child of fork() whose parent had several threads. Where the
 * setting is above that of the last call, threads are first started on trial, and then the runtime's team. */
ZELCORE_API int ownGetNumThreads(void);

/* The bits of mask that this processor has: nonzero where it has any of them. */
ZELCORE_API uint64_t ownGetFeature(uint64_t mask);

/* Size in bytes of the largest cache. 0, or a negative status: -8 for a null pointer, -2 where the system does not tell
 * (*pSizeByte is then unchanged). */
ZELCORE_API int zelGetMaxCacheSizeB(int* pSizeByte);

#ifdef __cplusplus
}
#endif

#endif /* ZELCORE_H */
