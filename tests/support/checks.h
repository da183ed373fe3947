// A function's argument checks in their order.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "support/api.h"

namespace zeltest {

// A value that the check of argument number kIndex refuses, with the status that it gives. All that follows makes
// tuples of these: the checks of a function in their order are given as tuple after tuple.
template <int kIndex, class T>
struct Bad {
  T value;
  ZelStatus status;
};
template <int kIndex, class T>
auto bad(T value, ZelStatus status = zelStsBadArgErr) {
  return std::tuple(Bad<kIndex, T>{value, status});
}
template <int... kIndex>
auto null() {
  return std::tuple(Bad<kIndex, std::nullptr_t>{nullptr, zelStsNullPtrErr}...);
}
template <int... kIndex>
auto step(int value = 0) {
  return std::tuple(Bad<kIndex, int>{value, zelStsStepErr}...);
}
template <int... kIndex>
auto length(int value = 0) {
  return std::tuple(Bad<kIndex, int>{value, zelStsSizeErr}...);
}
template <int kIndex>
auto size(int width, int height) {
  return bad<kIndex>(ZeliSize{width, height}, zelStsSizeErr);
}

template <class Args, int kIndex, class T>
void spoil(Args* args, const Bad<kIndex, T>& bad, bool wanted, ZelStatus* expected) {
  if (!wanted) return;
  if constexpr (std::is_same_v<T, void*>)
    std::get<kIndex>(*args) = static_cast<std::tuple_element_t<kIndex, Args>>(bad.value);
  else
    std::get<kIndex>(*args) = bad.value;
  *expected = bad.status;
}

// Calls f with the arguments of `good`, but those of the n-th check and of all checks after it wrong: the n-th decides.
// For each n. Where two checks are about one argument, the first of those that are wrong holds.
template <class... A, class Bads, size_t... kReversed>
void expectChecks(ZelStatus (*f)(A...), const std::tuple<A...>& good, const Bads& bads,
                  std::index_sequence<kReversed...>) {
  constexpr int kLast = int(sizeof...(kReversed)) - 1;
  for (int first = kLast; first >= 0; --first) {
    std::tuple<A...> args = good;
    ZelStatus expected = zelStsNoErr;
    (spoil(&args, std::get<kLast - kReversed>(bads), kLast - int(kReversed) >= first, &expected), ...);
    EXPECT_EQ(expected, std::apply(f, args)) << "check number " << first + 1;
  }
}

// The argument checks of a family are a test on this fixture. What the pointers lead to holds sevens, and must hold
// them at the end: no failed check writes anything.
class ArgumentChecks : public testing::Test {
 protected:
  ArgumentChecks() { std::memset(bytes, 7, sizeof bytes); }
  ~ArgumentChecks() override {
    for (const uint8_t b : bytes) EXPECT_EQ(7, b);
  }

  // The checks of f in their order; `good` stands for arguments whose type does not tell what is good.
  template <class... A, class... B>
  void check(ZelStatus (*f)(A...), const B&... bads) {
    checkWith(f, std::tuple<A...>(good<A>()...), bads...);
  }
  // Of a coder, whose last argument asks for a flush, which checks less.
  template <class... A, class... B>
  void checkCoder(ZelStatus (*f)(A...), const B&... bads) {
    std::tuple<A...> args(good<A>()...);
    std::get<sizeof...(A) - 1>(args) = 0;
    checkWith(f, args, bads...);
  }
  template <class... A, class... B>
  void checkWith(ZelStatus (*f)(A...), const std::tuple<A...>& good, const B&... bads) {
    const auto all = std::tuple_cat(bads...);
    expectChecks(f, good, all, std::make_index_sequence<std::tuple_size_v<decltype(all)>>{});
  }
  // An array of planes without one of them.
  template <int kIndex>
  auto lacks(int plane) {
    return bad<kIndex>(static_cast<void*>(without_[plane]), zelStsNullPtrErr);
  }

  template <class T>
  T as() {
    return reinterpret_cast<T>(bytes);
  }
  template <class T>
  T good() {
    if constexpr (std::is_same_v<T, ZeliSize>)
      return T{1, 1};
    else if constexpr (!std::is_pointer_v<T>)
      return std::is_unsigned_v<T> ? T(64) : T(4);
    else if constexpr (std::is_const_v<std::remove_pointer_t<T>> && std::is_pointer_v<std::remove_pointer_t<T>>)
      return reinterpret_cast<T>(planes_);
    else
      return as<T>();
  }
  alignas(64) uint8_t bytes[2048];

 private:
  void* planes_[4] = {bytes, bytes, bytes, bytes};
  void* without_[4][4] = {{nullptr, bytes, bytes, bytes},
                          {bytes, nullptr, bytes, bytes},
                          {bytes, bytes, nullptr, bytes},
                          {bytes, bytes, bytes}};
};

// On the functions under test.
class Checks : public ArgumentChecks {
 protected:
  const Api& z = zel();
};

}  // namespace zeltest
