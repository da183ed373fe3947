// Large arrays that begin as zeros. They come from the heap, which knows whether the system has zeroed the memory
// already, and gives what one picture has left to the next one as it is: to fault in new pages costs more than to clear
// old ones. Where pages are new all the same, they are large ones if the system has them.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

namespace zelcodecs {

template <class T>
struct ZeroedAllocator {
  using value_type = T;
  ZeroedAllocator() = default;
  template <class U>
  ZeroedAllocator(const ZeroedAllocator<U>&) {}  // NOLINT(google-explicit-constructor): allocators convert

  T* allocate(size_t n) {
    void* const p = std::calloc(n, sizeof(T));
    if (!p) throw std::bad_alloc();
    adviseLargePages(p, n * sizeof(T));
    return static_cast<T*>(p);
  }
  void deallocate(T* p, size_t) { std::free(p); }
  // Elements without a value are zero as they are.
  template <class U>
  void construct(U*) {}
  template <class U, class... A>
  void construct(U* p, A&&... a) {
    ::new (static_cast<void*>(p)) U(std::forward<A>(a)...);
  }
  friend bool operator==(const ZeroedAllocator&, const ZeroedAllocator&) { return true; }
  friend bool operator!=(const ZeroedAllocator&, const ZeroedAllocator&) { return false; }

 private:
  static void adviseLargePages(void* p, size_t bytes) {
    constexpr uintptr_t kPage = 4096, kLarge = uintptr_t{4} << 20;
    const uintptr_t first = (reinterpret_cast<uintptr_t>(p) + kPage - 1) / kPage * kPage;
    if (bytes >= kLarge) madvise(reinterpret_cast<void*>(first), (bytes - kPage) / kPage * kPage, MADV_HUGEPAGE);
  }
};

// To be made with its size: elements that are added where others have been removed are not zeroed.
template <class T>
using ZeroedVector = std::vector<T, ZeroedAllocator<T>>;

}  // namespace zelcodecs
