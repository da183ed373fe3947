#include "support/api.h"

namespace zeltest {

const std::vector<Variant>& variants() {
#define ZEL_EXPORT(name) &::name,
  static const std::vector<Variant> all = {{"library",
                                            true,
                                            {
#include "exports.inc"
                                            }}};
#undef ZEL_EXPORT
  return all;
}

}  // namespace zeltest
