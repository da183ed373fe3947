#include "variant.h"
#include "zelcore.h"

namespace ZEL_VARIANT {
namespace {

constexpr ZelLibraryVersion versionNamed(const char* name) {
  return {6, 1, 137, 823, {'y', '8', 0, 0}, name, "6.1 build 137.56", "Mar 17 2010"};
}

constexpr ZelLibraryVersion s_libVer = versionNamed("libzeljy8.so.6.1");
constexpr ZelLibraryVersion s_libVer_t = versionNamed("libzeljy8.so.6.1+");

}  // namespace

const ZelLibraryVersion* zeljGetLibVersion(void) { return ownGetFeature(zelFeatureAvx2) ? &s_libVer_t : &s_libVer; }

}  // namespace ZEL_VARIANT
