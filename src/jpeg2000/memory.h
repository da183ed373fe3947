// Memory of the tier-1 coders' states, whose sizes are products of what the caller asks for.
#pragma once

#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

inline void* allocated(int64_t bytes) { return bytes > INT32_MAX ? nullptr : zelsMalloc_8u(int(bytes)); }

}  // namespace
}  // namespace ZEL_VARIANT
