// A test core in place of libzelcore: allocations that fail on demand, a chosen thread count, cache size and features,
// and counts of what was asked. Programs that test the shared library have the real core: hooks() is null there.
#pragma once

#include <atomic>
#include <cstdint>

namespace zeltest {

struct CoreHooks {
  std::atomic<int> allocationsUntilFailure{-1};  // fails the n-th allocation from now (0: the next); -1: never
  std::atomic<int> liveAllocations{0};
  std::atomic<int> threads{0};  // 0: the real count
  std::atomic<int> threadQueries{0};
  std::atomic<int> cacheBytes{0};     // 0: the real size, -1: the query fails
  std::atomic<int64_t> features{-1};  // -1: the real ones
  void reset() {
    allocationsUntilFailure = -1;
    threads = 0;
    threadQueries = 0;
    cacheBytes = 0;
    features = -1;
  }
};

CoreHooks* hooks();

}  // namespace zeltest
