// Threads wait on a condition for pieces, and take them from a counter under one mutex.
#include "common/team.h"

#ifdef _OPENMP
#include <omp.h>
#endif
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "common/foreign.h"

namespace zelcodecs {

// All but the threads themselves is guarded by the mutex; pieces are large enough for that.
struct Team::Shared {
  std::mutex mutex;
  std::condition_variable work, done;
  std::vector<std::thread> workers;

  Call call = nullptr;
  const void* argument = nullptr;
  int count = 0, next = 0, running = 0;
  int failed = 0;  // the piece that failure comes from
  std::exception_ptr failure;
  bool ending = false;

  const pid_t process = getpid();  // the one that has the workers

  // Takes pieces while there are any.
  void help(std::unique_lock<std::mutex>& lock);
  void worker();
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

void Team::Shared::help(std::unique_lock<std::mutex>& lock) {
  const void* const before = currentTeam;
  currentTeam = this;
  while (next < count && !failure) {
    const int i = next++;
    ++running;
    lock.unlock();
    std::exception_ptr thrown;
    try {
      call(argument, i);
    } catch (...) {
      thrown = std::current_exception();
      writtenByOthers(&thrown, sizeof thrown);
    }
    lock.lock();
    --running;
    if (thrown && (!failure || i < failed)) {
      failure = thrown;
      failed = i;
    }
  }
  currentTeam = before;
  if (running == 0) done.notify_all();
}

void Team::Shared::worker() {
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    work.wait(lock, [this] { return ending || (next < count && !failure); });
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
  }
  shared_->work.notify_all();
  for (std::thread& t : shared_->workers) t.join();
}

void Team::start(int workers) {
  if (!shared_) shared_ = std::make_unique<Shared>();
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
  s.work.notify_all();
  s.help(lock);
  s.done.wait(lock, [&] { return s.running == 0; });
  s.count = s.next = 0;
  std::exception_ptr failure;
  std::swap(failure, s.failure);
  if (failure) {
    lock.unlock();
    std::rethrow_exception(failure);
  }
}

}  // namespace zelcodecs
