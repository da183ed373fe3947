// Threads wait for pieces, first awake, as the next ones often come at once, then on a condition; and take them from a
// counter.
#include "common/team.h"

#ifdef _OPENMP
#include <omp.h>
#endif
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "common/foreign.h"

namespace zelcodecs {

// Guarded by the mutex, but for the threads themselves and what is atomic. Who helps may read what the pieces are: it
// changes when nobody does.
struct Team::Shared {
  std::mutex mutex;
  std::condition_variable work, done;
  std::vector<std::thread> workers;
  bool waitsAwake = false;

  Call call = nullptr;
  const void* argument = nullptr;
  int count = 0;
  std::atomic<int> next{0}, helping{0};
  std::atomic<unsigned> runs{0};  // begun so far
  std::atomic<bool> failing{false};
  int failed = 0;  // the piece that failure comes from
  std::exception_ptr failure;
  bool ending = false;

  const pid_t process = getpid();  // the one that has the workers

  bool hasPieces() const { return next < count && !failing; }
  // Takes pieces while there are any.
  void help(std::unique_lock<std::mutex>& lock);
  void takePieces();
  void worker();
  // Waits a little for what another thread is about to do, without the mutex.
  template <class Condition>
  void waitAwake(std::unique_lock<std::mutex>& lock, const Condition& isMet) const;
};

namespace {

thread_local const void* currentTeam = nullptr;  // whose piece this thread is in

// Threads where nothing is said: OpenMP's setting for the calling thread, or as many as the processors that it may use.
int usualThreads() {
#ifdef _OPENMP
  return omp_get_max_threads();
#else
  return int(std::thread::hardware_concurrency());
#endif
}

}  // namespace

// Sleeping and waking take longer than what mostly lies between two runs.
template <class Condition>
void Team::Shared::waitAwake(std::unique_lock<std::mutex>& lock, const Condition& isMet) const {
  constexpr std::chrono::microseconds kLongest(50);
  if (!waitsAwake || isMet()) return;
  lock.unlock();
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (!isMet() && std::chrono::steady_clock::now() < end) {
  }
  lock.lock();
}

void Team::Shared::help(std::unique_lock<std::mutex>& lock) {
  ++helping;
  lock.unlock();
  const void* const before = currentTeam;
  currentTeam = this;
  takePieces();
  currentTeam = before;
  lock.lock();
  if (--helping == 0) done.notify_all();
}

void Team::Shared::takePieces() {
  for (int i; !failing && (i = next++) < count;) {
    try {
      call(argument, i);
    } catch (...) {
      std::exception_ptr thrown = std::current_exception();
      writtenByOthers(&thrown, sizeof thrown);
      const std::lock_guard<std::mutex> lock(mutex);
      if (!failing || i < failed) {
        failure = thrown;
        failed = i;
      }
      failing = true;
    }
  }
}

void Team::Shared::worker() {
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    const unsigned seen = runs;
    if (!hasPieces() && !ending) waitAwake(lock, [&] { return runs != seen; });
    work.wait(lock, [this] { return ending || hasPieces(); });
    if (ending) return;
    help(lock);
  }
}

Team::Team(int threads) : threads_(std::clamp(threads > 0 ? threads : usualThreads(), 1, 1024)) {}

// In a child of fork() the workers are missing, while the condition still counts them as waiting: neither may be
// touched again. What they shared stays behind, and work starts others.
void Team::forgetParent() {
  if (shared_ && shared_->process != getpid()) static_cast<void>(shared_.release());
}

Team::~Team() {
  forgetParent();
  if (!shared_) return;
  {
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    shared_->ending = true;
    ++shared_->runs;
  }
  shared_->work.notify_all();
  for (std::thread& t : shared_->workers) t.join();
}

void Team::start(int workers) {
  if (!shared_) {
    shared_ = std::make_unique<Shared>();
    // Where threads outnumber processors, who waits awake is in the way of who works.
    shared_->waitsAwake = threads_ <= int(std::thread::hardware_concurrency());
  }
  try {
    while (int(shared_->workers.size()) < workers) {
      shared_->workers.reserve(shared_->workers.size() + 1);
      shared_->workers.emplace_back(&Shared::worker, shared_.get());
    }
  } catch (const std::system_error&) {
    // No more threads are to be had: those that run, if any, share the work.
  }
}

void Team::run(int count, Call call, const void* work) {
  const int useful = std::min(threads_, count);
  if (useful <= 1 || (shared_ && currentTeam == shared_.get())) {
    for (int i = 0; i < count; ++i) call(work, i);
    return;
  }
  forgetParent();
  start(useful - 1);
  Shared& s = *shared_;
  std::unique_lock<std::mutex> lock(s.mutex);
  s.call = call;
  s.argument = work;
  s.next = 0;
  s.count = count;
  ++s.runs;
  s.work.notify_all();
  s.help(lock);
  s.waitAwake(lock, [&] { return s.helping == 0; });
  s.done.wait(lock, [&] { return s.helping == 0; });
  s.count = 0;
  s.failing = false;
  std::exception_ptr failure;
  std::swap(failure, s.failure);
  if (failure) {
    lock.unlock();
    std::rethrow_exception(failure);
  }
}

}  // namespace zelcodecs
