// The functions under test, as a table made from the list of exports. The suite is written against zel() and runs once
// for each variant (--variant=sse41, avx2), and once on the shared library as a program sees it (--variant=library).
#pragma once

#include <vector>

#include "zelj.h"

namespace zeltest {

struct Api {
#define ZEL_EXPORT(name) decltype(&::name) name;
#include "exports.inc"
#undef ZEL_EXPORT
};

struct Variant {
  const char* name;
  bool supported;  // by this processor
  Api api;
};

const std::vector<Variant>& variants();  // those that this program is linked with
const Variant& current();
inline const Api& zel() { return current().api; }

}  // namespace zeltest

using zeltest::zel;
