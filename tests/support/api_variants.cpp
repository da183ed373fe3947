#include "zelfeatures.h"
#include "support/api.h"

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

namespace zeltest {

const std::vector<Variant>& variants() {
#define ZEL_EXPORT(name) &sse41::name,
  static const Api sse41Api = {
#include "exports.inc"
  };
#undef ZEL_EXPORT
#define ZEL_EXPORT(name) &avx2::name,
  static const Api avx2Api = {
#include "exports.inc"
  };
#undef ZEL_EXPORT
  static const std::vector<Variant> all = {{"sse41", __builtin_cpu_supports("sse4.1") != 0, sse41Api},
                                           {"avx2", zelProcessorRunsAvx2Variant(), avx2Api}};
  return all;
}

}  // namespace zeltest
