// Binds every exported symbol to the best variant for the processor, once, when the library is loaded.
//
// Each public name is an indirect function: the dynamic linker calls its resolver and stores the address that it gives,
// so that a call costs what any call into a shared library costs. Resolvers run before the program's runtimes exist:
// this file is compiled without sanitizer, coverage or profiling flags, whatever the rest of the build has.
#include "zelfeatures.h"
#include "zelj.h"

namespace sse41 {
#define ZEL_EXPORT(name) decltype(::name) name;
#include "exports.inc"
#undef ZEL_EXPORT
}  // namespace sse41

namespace avx2 {
#define ZEL_EXPORT(name) decltype(::name) name;
#include "exports.inc"
#undef ZEL_EXPORT
}  // namespace avx2

// Resolvers have external names, hidden: clang does not find one that is static.
extern "C" {
#define ZEL_EXPORT(name)                                                            \
  __attribute__((visibility("hidden"))) decltype(&::name) zelResolve_##name(void) { \
    return zelProcessorRunsAvx2Variant() ? &avx2::name : &sse41::name;              \
  }                                                                                 \
  ZEL_API decltype(::name) name __attribute__((ifunc("zelResolve_" #name)));
#include "exports.inc"
#undef ZEL_EXPORT
}
