// A function's argument checks in their order.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>

#include "support/api.h"

namespace zeltest {

// A value that the check of argument number kIndex refuses, with the status that it gives.
template <int kIndex, class T>
struct Bad {
  T value;
  ZelStatus status;
};
template <int kIndex, class T>
Bad<kIndex, T> bad(T value, ZelStatus status = zelStsBadArgErr) {
  return {value, status};
}
template <int kIndex>
Bad<kIndex, std::nullptr_t> null() {
  return {nullptr, zelStsNullPtrErr};
}
template <int kIndex>
Bad<kIndex, int> step(int value = 0) {
  return {value, zelStsStepErr};
}
template <int kIndex>
Bad<kIndex, int> length(int value = 0) {
  return {value, zelStsSizeErr};
}
template <int kIndex>
Bad<kIndex, ZeliSize> size(int width, int height) {
  return {{width, height}, zelStsSizeErr};
}

template <class Args, int kIndex, class T>
void spoil(Args* args, const Bad<kIndex, T>& bad, bool wanted, ZelStatus* expected) {
  if (!wanted) return;
  std::get<kIndex>(*args) = bad.value;
  *expected = bad.status;
}

template <class... A, class Good, class Bads, size_t... kReversed>
void expectChecks(ZelStatus (*f)(A...), const Good& good, const Bads& bads, std::index_sequence<kReversed...>) {
  constexpr int kLast = int(sizeof...(kReversed)) - 1;
  for (int first = kLast; first >= 0; --first) {
    std::tuple<A...> args = good;
    ZelStatus expected = zelStsNoErr;
    (spoil(&args, std::get<kLast - kReversed>(bads), kLast - int(kReversed) >= first, &expected), ...);
    EXPECT_EQ(expected, std::apply(f, args)) << "check number " << first + 1;
  }
}

// Calls f with the arguments that `good` has, but those of the n-th check and of all checks after it wrong: the n-th
// decides. For each n. Where two checks are about one argument, the first of those that are wrong holds.
template <class... A, class Good, class... B>
void expectChecks(ZelStatus (*f)(A...), const Good& good, const B&... bads) {
  expectChecks(f, good, std::tie(bads...), std::index_sequence_for<B...>{});
}

// Arguments of every type for good calls; the argument checks of a family are a test on this fixture. What the pointers
// lead to holds sevens, and must hold them at the end: no failed check writes anything.
class Checks : public testing::Test {
 protected:
  Checks() {
    std::memset(bytes_, 7, sizeof bytes_);
    planes.fill(bytes), sources.fill(bytes), blocks.fill(words), constBlocks.fill(words);
    for (size_t i = 0; i < 4; ++i) {
      planesWithout[i] = planes, sourcesWithout[i] = sources, blocksWithout[i] = blocks,
      constBlocksWithout[i] = constBlocks;
      planesWithout[i][i] = nullptr, sourcesWithout[i][i] = nullptr, blocksWithout[i][i] = nullptr;
      constBlocksWithout[i][i] = nullptr;
    }
  }
  ~Checks() override {
    for (const uint8_t b : bytes_) EXPECT_EQ(7, b);
  }

  template <class T>
  T as() const {
    return reinterpret_cast<T>(const_cast<uint8_t*>(bytes_));
  }
  alignas(64) uint8_t bytes_[2048];
  uint8_t* const bytes = bytes_;
  int16_t* const words = as<int16_t*>();
  uint16_t* const table = as<uint16_t*>();
  std::array<uint8_t*, 4> planes, planesWithout[4];
  std::array<const uint8_t*, 4> sources, sourcesWithout[4];
  std::array<int16_t*, 4> blocks, blocksWithout[4];
  std::array<const int16_t*, 4> constBlocks, constBlocksWithout[4];
  const ZeliSize one = {1, 1};
  const Api& z = zel();
};

}  // namespace zeltest
