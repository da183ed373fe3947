// Large arrays that begin as zeros: straight from the system, which has zeroed the memory already, in large pages where
// it gives them. Coefficients of a whole picture are walked through once for each scan; small pages cost more than the
// walk.
#pragma once

#include <sys/mman.h>

#include <cstddef>
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
    const size_t bytes = n * sizeof(T);
    const bool large = bytes >= kLarge;
    void* const p = large ? mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                          : std::calloc(n, sizeof(T));
    if (!p || p == MAP_FAILED) throw std::bad_alloc();
    if (large) madvise(p, bytes, MADV_HUGEPAGE);
    return static_cast<T*>(p);
  }
  void deallocate(T* p, size_t n) {
    if (n * sizeof(T) >= kLarge)
      munmap(p, n * sizeof(T));
    else
      std::free(p);
  }
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
  static constexpr size_t kLarge = size_t{4} << 20;
};

// To be made with its size: elements that are added where others have been removed are not zeroed.
template <class T>
using ZeroedVector = std::vector<T, ZeroedAllocator<T>>;

}  // namespace zelcodecs
