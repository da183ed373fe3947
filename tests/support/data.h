// Test data: a seeded generator, and buffers between unreadable pages.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace zeltest {

inline uint64_t seed = 20100317;  // --seed=n; printed at the start

// How often a test repeats what it does at random: n times, or a twentieth of that under --brief, for emulated
// processors.
inline bool brief = false;
inline int rounds(int n) { return brief ? (n + 19) / 20 : n; }

class Random {
 public:
  explicit Random(uint64_t stream = 0) : s_(seed * 0x9E3779B97F4A7C15u + stream) {}
  uint64_t next() {  // splitmix64
    uint64_t z = (s_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int below(int n) { return int(next() % uint64_t(n)); }
  int between(int low, int high) { return low + int(next() % uint64_t(int64_t(high) - low + 1)); }

  // Mostly uniform over the type; one run in eight has only small values, one only extremes.
  template <class T>
  void fill(T* p, size_t n) {
    const int kind = below(8);
    for (size_t i = 0; i < n; ++i) p[i] = sample<T>(kind);
  }
  template <class T>
  std::vector<T> vector(size_t n) {
    std::vector<T> v(n);
    fill(v.data(), n);
    return v;
  }

 private:
  template <class T>
  T sample(int kind) {
    if constexpr (std::is_floating_point_v<T>) {
      const T scale = kind == 0 ? T(1) : kind == 1 ? T(1e9) : T(4096);
      return (T(int64_t(next() >> 11)) / T(int64_t(1) << 52) - T(1)) * scale;
    } else {
      using Limits = std::numeric_limits<T>;
      if (kind == 0) return T(between(std::is_signed_v<T> ? -3 : 0, 3));
      if (kind == 1) {
        const T extremes[] = {Limits::min(), T(Limits::min() + 1), T(0), T(Limits::max() - 1), Limits::max()};
        return extremes[below(5)];
      }
      return T(next());
    }
  }
  uint64_t s_;
};

// n elements of T that end `slack` bytes before an unreadable page, with another unreadable page before the first of
// them. The readable bytes around the elements hold a pattern, which must still stand at the end. Odd slacks give odd
// addresses: read and write the elements through memcpy or the function under test then.
template <class T>
class Guarded {
 public:
  explicit Guarded(size_t n, size_t slack = 0) : n_(n), slack_(slack) {
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    const size_t body = (n * sizeof(T) + slack + page - 1) / page * page;
    mapped_ = body + 2 * page;
    base_ = static_cast<uint8_t*>(mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED || (body > 0 && mprotect(base_ + page, body, PROT_READ | PROT_WRITE) != 0)) std::abort();
    begin_ = base_ + page;
    end_ = begin_ + body;
    std::memset(begin_, kPattern, body);
  }
  Guarded(const std::vector<T>& v, size_t slack = 0) : Guarded(v.size(), slack) {
    if (!v.empty()) std::memcpy(bytes(), v.data(), v.size() * sizeof(T));
  }
  ~Guarded() {
    const auto isPattern = [](uint8_t b) { return b == kPattern; };
    EXPECT_TRUE(std::all_of(begin_, bytes(), isPattern)) << "a byte before a buffer was written";
    EXPECT_TRUE(std::all_of(end_ - slack_, end_, isPattern)) << "a byte behind a buffer was written";
    munmap(base_, mapped_);
  }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  T* data() const { return reinterpret_cast<T*>(bytes()); }
  T& operator[](size_t i) { return data()[i]; }
  size_t size() const { return n_; }
  std::vector<T> copy() const {
    std::vector<T> v(n_);
    if (n_ > 0) std::memcpy(v.data(), bytes(), n_ * sizeof(T));
    return v;
  }
  static constexpr uint8_t kPattern = 0xA5;

 private:
  uint8_t* bytes() const { return end_ - slack_ - n_ * sizeof(T); }
  size_t n_, slack_, mapped_;
  uint8_t *base_, *begin_, *end_;
};

// Rows so far apart that their offsets exceed 32 bits, in address space that takes no memory until it is written to.
template <class T>
class FarRows {
 public:
  FarRows(int rows, uint32_t step) : step_(step), bytes_(size_t(step) * size_t(rows)) {
    base_ = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base_ == MAP_FAILED) std::abort();
  }
  ~FarRows() { munmap(base_, bytes_); }
  FarRows(const FarRows&) = delete;
  FarRows& operator=(const FarRows&) = delete;
  T* row(int r) { return reinterpret_cast<T*>(static_cast<char*>(base_) + int64_t(r) * step_); }
  std::vector<T> samples(int width, int height) {
    std::vector<T> all;
    for (int y = 0; y < height; ++y) all.insert(all.end(), row(y), row(y) + width);
    return all;
  }

 private:
  uint32_t step_;
  size_t bytes_;
  void* base_;
};

}  // namespace zeltest
