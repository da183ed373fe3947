// The library beside what else a process does: fork(), limits on threads and memory, many threads, parallel regions of
// its own. Each case runs in a process of its own, in which nothing has happened before; one that hangs is ended.
#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <system_error>
#include <thread>
#include <vector>

#include "process.h"
#include "zelj.h"

using zeltest::succeedsInFork;

namespace {

constexpr bool kLimits = !ZELJ_TEST_SANITIZED;  // the sanitizers' own memory and threads leave no room for any
constexpr int kSide = 120;                      // 14400 elements: divided among threads

bool planeCall() {
  const std::vector<uint8_t> source(kSide * kSide, 200);
  std::vector<int16_t> result(source.size());
  return zeliSub128_JPEG_8u16s_C1R(source.data(), kSide, result.data(), 2 * kSide, {kSide, kSide}) == zelStsNoErr &&
         result == std::vector<int16_t>(result.size(), 72);
}

// Threads of this process, as links of a directory that has two besides. Idle ones of a team stay.
int tasks() {
  struct stat tasks {};
  return stat("/proc/self/task", &tasks) == 0 ? int(tasks.st_nlink) - 2 : 0;
}

// Whether a plane call asked for so many threads makes the process have as many more.
bool callAdds(int asked, int more) {
  const int before = tasks();
  omp_set_num_threads(asked);
  return planeCall() && tasks() == before + more;
}

bool limit(decltype(RLIMIT_AS) what, rlim_t most) {
  const rlimit both = {most, most};
  return setrlimit(what, &both) == 0;
}

TEST(Fork, ChildOfSeveralThreadsRunsOnOne) {
  EXPECT_TRUE(succeedsInFork([] {
    const auto child = [] { return callAdds(5, 0) && succeedsInFork([] { return callAdds(6, 0); }); };
    bool inThread = false;
    if (!callAdds(4, 3) || !succeedsInFork(child)) return false;
    std::thread([&] { inThread = planeCall() && succeedsInFork(child); }).join();
    return inThread && planeCall();
  }));
}

TEST(Fork, ChildOfOneThreadHasTeams) {
  EXPECT_TRUE(succeedsInFork([] { return succeedsInFork([] { return callAdds(3, 2); }) && callAdds(3, 2); }));
}

TEST(Settings, NumberOfThreadsGrowsAndShrinks) {
  EXPECT_TRUE(succeedsInFork([] {
    return callAdds(1, 0) && callAdds(2, 1) && callAdds(5, 3) && callAdds(1, 0) && callAdds(5, 0) && planeCall();
  }));
}

// Inside a region of the caller a call stays on its thread, unless nested regions are active.
TEST(Settings, RegionsOfTheCaller) {
  for (const int levels : {1, 2}) {
    const auto regions = [levels] {
      std::atomic<int> right{0}, teams{0};
      omp_set_max_active_levels(levels);
#pragma omp parallel num_threads(2)
      for (int i = 0; i < 20; ++i) {
        omp_set_num_threads(3);
        right += planeCall();
#pragma omp parallel
        teams += omp_get_num_threads() == (levels == 1 ? 1 : 3);
      }
      return right == 40 && teams == (levels == 1 ? 40 : 120) && (levels == 2 || tasks() == 2);
    };
    EXPECT_TRUE(succeedsInFork(regions)) << levels;
  }
}

// Address space for none, some and all of the threads that are asked for.
TEST(Limits, Memory) {
  if (!kLimits) GTEST_SKIP() << "not under a sanitizer";
  for (int quarters = 0; quarters < 200; ++quarters)
    EXPECT_TRUE(succeedsInFork([quarters] {
      long pages = 0;
      std::FILE* const file = std::fopen("/proc/self/statm", "r");
      if (!file || std::fscanf(file, "%ld", &pages) != 1) return false;
      std::fclose(file);
      const rlim_t now = rlim_t(pages) * rlim_t(sysconf(_SC_PAGESIZE));
      omp_set_num_threads(5);
      if (!limit(RLIMIT_AS, now + (rlim_t{1} << 20) + (rlim_t(quarters) << 18))) return false;
      return planeCall() && planeCall();
    })) << quarters;
}

// As another user, whom the limit binds and who has no process but this: room for so many threads besides the first.
bool limitThreads(int more) {
  constexpr uid_t kNobodyElse = 54321;
  if (geteuid() == 0 && setresuid(kNobodyElse, kNobodyElse, kNobodyElse) != 0) return false;
  return limit(RLIMIT_NPROC, rlim_t(1 + more));
}

TEST(Limits, Threads) {
  if (!kLimits) GTEST_SKIP() << "not under a sanitizer";
  if (!succeedsInFork([] { return limitThreads(3) && geteuid() == 54321; }))
    GTEST_SKIP() << "only the superuser can become one whom the limit binds";
  for (int more = 0; more < 7; ++more)
    EXPECT_TRUE(succeedsInFork([more] { return limitThreads(more) && callAdds(6, std::min(more, 5)); })) << more;
}

// All threads of a program make their first call at the same moment: some get teams, the others do their work alone.
TEST(Limits, FirstCallsOfManyThreads) {
  constexpr int kCallers = 64;
  for (const int room : {kCallers, kCallers + 10, 1000})
    EXPECT_TRUE(succeedsInFork([room] {
      if (kLimits && geteuid() == 0 && !limitThreads(room)) return false;
      std::atomic<int> waiting{0}, right{0};
      std::vector<std::thread> callers;
      for (int i = 0; i < kCallers; ++i)
        callers.emplace_back([&] {
          omp_set_num_threads(4);
          for (++waiting; waiting < kCallers;) std::this_thread::yield();
          right += planeCall() && planeCall();
        });
      for (std::thread& t : callers) t.join();
      return right == kCallers;
    })) << room;
}

}  // namespace
