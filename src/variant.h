// What every source of a variant starts from: the public header, and each exported function declared inside the
// variant's namespace with the public signature. A definition that strays from the public header becomes an overload,
// and the declared function stays undefined at link time.
//
// Where there is one variant alone, nothing is to be bound: its functions are the exported ones, as two declarations of
// a name with C linkage are of one function, whatever namespaces they stand in.
#pragma once

#include "zelj.h"

#ifndef ZEL_VARIANT
#error "compile the sources of src/ with ZEL_VARIANT set to the variant's name"
#endif

namespace ZEL_VARIANT {
#ifdef ZEL_SOLE_VARIANT
#define ZEL_EXPORT(name) extern "C" ZEL_API decltype(::name) name;
#else
#define ZEL_EXPORT(name) decltype(::name) name;
#endif
#include "exports.inc"
#undef ZEL_EXPORT
}  // namespace ZEL_VARIANT
