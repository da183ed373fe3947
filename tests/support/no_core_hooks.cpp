#include "support/core_hooks.h"

namespace zeltest {

CoreHooks* hooks() { return nullptr; }

}  // namespace zeltest
