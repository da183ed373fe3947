// Sizes of the tier-1 coders' states, which are products of what the caller asks for, and their memory.
#pragma once

#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

// Sizes are counted up to here: everything above INT32_MAX is too large, and sums of a few of them do not overflow.
constexpr int64_t kTooManyBytes = int64_t(INT32_MAX) + 1;

// The product of two counts of at least 1; kTooManyBytes where it does not fit an int.
inline int64_t productOf(int64_t a, int64_t b) { return b > INT32_MAX / a ? kTooManyBytes : a * b; }

inline void* allocated(int64_t bytes) { return bytes > INT32_MAX ? nullptr : zelsMalloc_8u(int(bytes)); }

}  // namespace
}  // namespace ZEL_VARIANT
