// What the targets of the primitives share: the input as decisions and samples, buffers that end or begin at an
// unreadable page, and calls of both variants side by side, which must agree in status and in every byte.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <limits>
#include <type_traits>
#include <utility>

#include "support/api.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

using zeltest::Api;

inline void require(bool holds) {
  if (!holds) std::abort();
}

// The two sides of each call: the variants of this build that the processor runs, or one of them twice.
inline const zeltest::Variant* only = nullptr;
inline const zeltest::Variant& side(size_t v) {
  const auto& all = zeltest::variants();
  return only ? *only : v == 0 || !all.back().supported ? all.front() : all.back();
}

// What a program that does more than to compare sees of every call.
struct Watcher {
  virtual void called(size_t function, ZelStatus status) = 0;  // its place in the list of exports
  virtual void wrote(const void* bytes, size_t n) = 0;
  virtual ~Watcher() = default;
};
inline Watcher* watcher = nullptr;

// Two buffers of equal contents, one for each variant. `compared` is how many bytes must be equal after each call.
template <class T>
struct Pair {
  T* of[2] = {};
  size_t compared = 0;
  T& operator*() const { return *of[0]; }
  T& operator[](size_t i) const { return of[0][i]; }
  void set(size_t i, const T& v) const { of[0][i] = of[1][i] = v; }
  Pair from(size_t n) const { return {{of[0] + n, of[1] + n}, compared - std::min(compared, n * sizeof(T))}; }
  template <class U>
  Pair<U> as() const {
    return {{reinterpret_cast<U*>(of[0]), reinterpret_cast<U*>(of[1])}, compared};
  }
};

// Up to four of them, for functions that take an array of pointers.
template <class T>
struct Planes {
  Pair<T> plane[4];
  T* of[2][4] = {};
  void set(int i, const Pair<T>& p) {
    plane[i] = p;
    of[0][i] = p.of[0], of[1][i] = p.of[1];
  }
};

// A number that no check looks at, and that decides what is read and written.
struct Kept {
  int value;
};

// One execution. Its first byte says where buffers touch an unreadable page, and whether one call gets a bad argument.
class Run {
 public:
  Run(const uint8_t* data, size_t size) : at_(data), end_(data + size) {
    const int first = byte();
    atFront_ = first & 1;
    spoilIn_ = first & 2 ? first >> 2 & 15 : -1;
  }

  // ---- The input: decisions from its front, zeros where it has ended ----
  // An expression takes one of them, so that every compiler makes the same calls of an input.
  int byte() { return at_ < end_ ? *at_++ : 0; }
  int below(int n) { return byte() % n; }
  int between(int low, int high) {
    const int first = byte();
    return low + (first << 8 | byte()) % (high - low + 1);
  }
  size_t left() const { return size_t(end_ - at_); }
  const uint8_t* rest() const { return at_; }

  // Any bytes: what is left of the input over and over, random ones, extremes of 16-bit samples, or small numbers.
  void fill(void* to, size_t bytes, size_t elementBytes = 1) {
    const int choice = byte(), kind = choice & 3;
    uint8_t* p = static_cast<uint8_t*>(to);
    if (kind == 0 && at_ < end_) {
      for (size_t i = 0; i < bytes; i += left()) std::memcpy(p + i, at_, std::min(left(), bytes - i));
      return;
    }
    uint64_t state = uint64_t(choice) << 8 | uint64_t(byte());
    for (size_t i = 0; i < bytes; i += 8) {
      uint64_t v = state += 0x9E3779B97F4A7C15u;  // splitmix64
      v = (v ^ (v >> 30)) * 0xBF58476D1CE4E5B9u;
      v = (v ^ (v >> 27)) * 0x94D049BB133111EBu;
      if (kind == 2) v = (v & 0x0001000100010001u) * 0x7FFF + (v >> 1 & 0x0001000100010001u);
      if (kind == 3)
        v &= elementBytes == 1 ? 0x0303030303030303u : elementBytes == 2 ? 0x0003000300030003u : 0x700000007u;
      std::memcpy(p + i, &v, std::min(size_t{8}, bytes - i));
    }
  }

  // ---- Buffers ----

  // n elements, the same in both, between a page that nobody may touch and bytes that nobody may change. Those of
  // floating point are whole numbers: what is made of a NaN is not defined.
  template <class T>
  Pair<T> take(size_t n, bool filled = true) {
    const size_t bytes = n * sizeof(T);
    Block& b = block(bytes);
    const Pair<T> p = {{reinterpret_cast<T*>(b.body[0]), reinterpret_cast<T*>(b.body[1])}, bytes};
    if (filled) fill(b.body[0], bytes, sizeof(T));
    if constexpr (std::is_floating_point_v<T>) {
      for (size_t i = 0; filled && i < n; ++i) {
        int32_t whole;
        std::memcpy(&whole, &p[i], sizeof whole);
        p[i] = T(whole >> 12);
      }
    }
    if (!filled) std::memset(b.body[0], 0, bytes);
    std::memcpy(b.body[1], b.body[0], bytes);
    return p;
  }
  template <class T>
  Pair<T> one(const T& value) {
    const Pair<T> p = take<T>(1, false);
    p.set(0, value);
    return p;
  }
  // A record with addresses in it, or whatever else may differ.
  template <class T>
  Pair<T> opaque(size_t bytes) {
    Pair<uint8_t> p = take<uint8_t>(bytes, false);
    p.compared = 0;
    return p.as<T>();
  }
  template <class T>
  Pair<T> copy(const T* from, size_t n) {
    const Pair<T> p = take<T>(n, false);
    for (T* to : p.of) std::memcpy(to, from, n * sizeof(T));
    return p;
  }

  // ---- Calls ----

  // Calls both variants. The call that the first byte has chosen gets a null pointer, or a number below 1, first; where
  // a check refuses that, nothing may have been written, and the call is made again as it was meant.
  template <class... P, class... A>
  ZelStatus operator()(ZelStatus (*Api::*f)(P...), const A&... args) {
    if (spoilIn_-- == 0) {
      remember();
      const ZelStatus refused = call(f, std::index_sequence_for<P...>{}, size_t(below(int(sizeof...(P)))), args...);
      if (!isCheck(refused)) {
        strayed_ = true;
        return refused;
      }
      requireUntouched();
    }
    return call(f, std::index_sequence_for<P...>{}, sizeof...(P), args...);
  }

  // What must hold of the results of several calls, unless one of them was done with an argument that was not meant.
  void expect(bool holds) const { require(holds || strayed_); }
  bool strayed() const { return strayed_; }

  ~Run() {
    for (size_t i = 0; i < used_; ++i)
      for (const uint8_t* margin : blocks()[i].margin)
        for (size_t k = 0; k < kMargin; ++k) require(margin[k] == kPattern);
  }

 private:
  static constexpr size_t kPage = 4096, kBody = 4 * kPage, kMargin = 32;
  static constexpr uint8_t kPattern = 0xA5;

  struct Block {
    uint8_t *mapped[2], *body[2] = {}, *margin[2] = {};
    size_t bytes = 0;
    uint8_t before[2][kBody];
    Block() {
      for (uint8_t*& p : mapped) {
        void* all = mmap(nullptr, kBody + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (all == MAP_FAILED) std::abort();
        p = static_cast<uint8_t*>(all) + kPage;
        if (mprotect(p, kBody, PROT_READ | PROT_WRITE) != 0) std::abort();
      }
    }
  };
  static std::deque<Block>& blocks() {  // mapped once, used again by every execution
    static std::deque<Block> all;
    return all;
  }

  Block& block(size_t bytes) {
    require(bytes + kMargin <= kBody);
    if (used_ == blocks().size()) blocks().emplace_back();
    Block& b = blocks()[used_++];
    b.bytes = bytes;
    for (int v = 0; v < 2; ++v) {
      b.body[v] = atFront_ ? b.mapped[v] : b.mapped[v] + kBody - bytes;
      b.margin[v] = atFront_ ? b.body[v] + bytes : b.body[v] - kMargin;
      std::memset(b.margin[v], kPattern, kMargin);
    }
    return b;
  }

  template <class T>
  static T argument(int, const T& x) {
    return x;
  }
  template <class T>
  static T* argument(int v, const Pair<T>& p) {
    return p.of[v];
  }
  template <class T>
  static T* const* argument(int v, const Planes<T>& p) {
    return p.of[v];
  }

  static int argument(int, Kept k) { return k.value; }

  // What a parameter of type P may be written through.
  template <class P, class T>
  static void requireEqual(const T&) {}
  template <class P, class T>
  static void requireEqual(const Pair<T>& p) {
    if constexpr (std::is_const_v<std::remove_pointer_t<P>>) return;
    if (!p.of[0] || !p.compared) return;
    require(std::memcmp(p.of[0], p.of[1], p.compared) == 0);
    if (watcher) watcher->wrote(p.of[0], p.compared);
  }
  template <class P, class T>
  static void requireEqual(const Planes<T>& p) {
    for (const Pair<T>& plane : p.plane) requireEqual<std::remove_const_t<std::remove_pointer_t<P>>>(plane);
  }

  template <class T>
  static T bad(const T& good, int how) {
    if constexpr (std::is_pointer_v<T>) {
      return nullptr;
    } else if constexpr (std::is_same_v<T, ZeliSize>) {
      return how & 1 ? ZeliSize{good.width, how & 2 ? 0 : -1} : ZeliSize{how & 2 ? 0 : INT32_MIN, good.height};
    } else if constexpr (std::is_signed_v<T>) {
      return how % 3 == 0 ? T(0) : how % 3 == 1 ? T(-1) : std::numeric_limits<T>::min();
    } else {
      return T(0);
    }
  }

  // With argument number `wrong` spoilt, if there is one of that number.
  template <class... P, size_t... kIndex, class... A>
  ZelStatus call(ZelStatus (*Api::*f)(P...), std::index_sequence<kIndex...>, size_t wrong, const A&... args) {
    const int how = wrong < sizeof...(P) ? byte() : 0;
    ZelStatus status[2];
    for (int v = 0; v < 2; ++v)
      status[v] = (side(size_t(v)).api.*f)(
          (kIndex == wrong && !std::is_same_v<A, Kept> ? bad<P>(argument(v, args), how) : P(argument(v, args)))...);
    require(status[0] == status[1]);
    if (watcher) {
      const Api& api = side(0).api;
      const auto place = reinterpret_cast<const char*>(&(api.*f)) - reinterpret_cast<const char*>(&api);
      watcher->called(size_t(place) / sizeof(api.*f), status[0]);
    }
    (requireEqual<P>(args), ...);
    return status[0];
  }

  static bool isCheck(ZelStatus s) {
    return s == zelStsNullPtrErr || s == zelStsStepErr || s == zelStsSizeErr || s == zelStsBadArgErr ||
           s == zelStsJPEG2KBadPassNumberErr;
  }
  void remember() const {
    for (size_t i = 0; i < used_; ++i)
      for (int v = 0; v < 2; ++v) std::memcpy(blocks()[i].before[v], blocks()[i].body[v], blocks()[i].bytes);
  }
  void requireUntouched() const {
    for (size_t i = 0; i < used_; ++i)
      for (int v = 0; v < 2; ++v)
        require(std::memcmp(blocks()[i].before[v], blocks()[i].body[v], blocks()[i].bytes) == 0);
  }

  const uint8_t *at_, *end_;
  bool atFront_ = false;
  int spoilIn_ = -1;
  bool strayed_ = false;
  size_t used_ = 0;
};

}  // namespace fuzz
