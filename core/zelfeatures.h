/* zelfeatures.h - the questions to the processor, asked by the load-time binding and by the core layer. */
#pragma once

/* Whether the processor has every feature that the flags of the avx2 variant enable; none has that is not
 * an x86-64, and a portable build has no such variant. Always inlined: resolvers run before anything that they could
 * call. */
__attribute__((always_inline)) static inline bool zelProcessorRunsAvx2Variant() {
#if defined(__x86_64__) && !defined(ZEL_PORTABLE)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
#else
  return false;
#endif
}

__attribute__((always_inline)) static inline bool zelProcessorHasSse41() {
#ifdef __x86_64__
  __builtin_cpu_init();
  return __builtin_cpu_supports("sse4.1") != 0;
#else
  return false;
#endif
}
