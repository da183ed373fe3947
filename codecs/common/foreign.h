// Memory that a library writes which is not built by us.
#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#define ZELCODECS_MEMORY_SANITIZER
#endif
#endif

namespace zelcodecs {

// Tells the memory sanitizer, which does not see such stores, that these bytes hold values.
inline void writtenByOthers([[maybe_unused]] const void* p, [[maybe_unused]] size_t size) {
#ifdef ZELCODECS_MEMORY_SANITIZER
  __msan_unpoison(p, size);
#endif
}

}  // namespace zelcodecs
