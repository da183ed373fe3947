#include "support/api.h"
#include "zelfeatures.h"

#ifdef ZEL_SOLE_VARIANT
#include "support/api_of_variant.inc"
#define TEXT_OF(name) #name
#define NAME_OF(macro) TEXT_OF(macro)
#else
#define ZEL_VARIANT sse41
#include "support/api_of_variant.inc"
#undef ZEL_VARIANT
#define ZEL_VARIANT avx2
#include "support/api_of_variant.inc"
#undef ZEL_VARIANT
#endif

namespace zeltest {

const std::vector<Variant>& variants() {
#ifdef ZEL_SOLE_VARIANT
  static const std::vector<Variant> all = {{NAME_OF(ZEL_VARIANT), true, ZEL_VARIANT::api}};
#else
  static const std::vector<Variant> all = {{"sse41", zelProcessorHasSse41(), sse41::api},
                                           {"avx2", zelProcessorRunsAvx2Variant(), avx2::api}};
#endif
  return all;
}

}  // namespace zeltest
