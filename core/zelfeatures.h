/* zelfeatures.h - the one question to the processor, asked by the load-time binding and by the core layer. */
#pragma once

/* Whether the processor has every feature that the flags of the avx2 variant enable. Always inlined: resolvers run
 * before anything that they could call. */
__attribute__((always_inline)) static inline bool zelProcessorRunsAvx2Variant() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}
