// The number of threads for a calling thread. OpenMP's runtime ends the process where it cannot start a thread, and
// hangs in a child of fork() that inherits the records of threads which are not there. So a calling thread is told a
// number above one only after so many could be started.
#pragma once

#include <limits.h>
#include <omp.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/single_threaded.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

// ---- fork() --------------------------------------------------------------------------------------------------------

// A child of fork() has the calling thread alone. If its parent had others, the runtime may take some of them for its
// idle team, and would wait for them for ever: such a child stays at one thread. The child of a process with one thread
// may have teams: so a server can fork first and compute later.
std::atomic<bool> forkedFromOneThread{true};
std::atomic<bool> staysAtOneThread{false};

void beforeFork() { forkedFromOneThread = __libc_single_threaded != 0; }
void inForkedChild() {
  if (!forkedFromOneThread) staysAtOneThread = true;
}

__attribute__((constructor)) void watchForks() {
  if (pthread_atfork(beforeFork, nullptr, inForkedChild) != 0) staysAtOneThread = true;
}

// ---- Threads on trial ----------------------------------------------------------------------------------------------

// The stack of a runtime's thread where nothing is said: the system's or this, and a little more, as one runtime
// staggers its stacks. Memory for a thread besides its stack: what the runtime and the C library allocate for it.
constexpr size_t kRuntimeStack = size_t{4} << 20;
constexpr size_t kStagger = size_t{1} << 16;
constexpr size_t kThreadRecords = size_t{1} << 18;

// Bytes of a stack size in the environment, in the form of OMP_STACKSIZE: a number and perhaps one of the letters B, K,
// M and G. 0 where there is none.
size_t stackSizeInEnvironment(const char* name, size_t unit) {
  const char* const text = getenv(name);
  if (!text) return 0;
  char* end = nullptr;
  const unsigned long long number = strtoull(text, &end, 10);
  while (*end == ' ') ++end;
  const char letter = char(*end | 0x20);
  if (letter == 'b') unit = 1;
  if (letter == 'k') unit = size_t{1} << 10;
  if (letter == 'm') unit = size_t{1} << 20;
  if (letter == 'g') unit = size_t{1} << 30;
  return number > SIZE_MAX / 2 / unit ? SIZE_MAX / 2 : size_t(number) * unit;
}

size_t larger(size_t a, size_t b) { return a > b ? a : b; }

// The attributes of a thread whose stack is as large as those that the runtime makes, or a little larger: the C library
// keeps stacks of threads that have ended, and gives these to the runtime.
bool initTrialAttributes(pthread_attr_t* attributes) {
  if (pthread_attr_init(attributes) != 0) return false;
  size_t size = larger(stackSizeInEnvironment("OMP_STACKSIZE", 1024), stackSizeInEnvironment("GOMP_STACKSIZE", 1024));
  if (size == 0) {
    pthread_attr_getstacksize(attributes, &size);
    size = larger(larger(size, kRuntimeStack), stackSizeInEnvironment("KMP_STACKSIZE", 1));
  }
  if (pthread_attr_setstacksize(attributes, larger(size, size_t(PTHREAD_STACK_MIN)) + kStagger) == 0) return true;
  pthread_attr_destroy(attributes);
  return false;
}

// A thread on trial stays until it is let go. Its record lies on its stack, so that nothing is allocated.
struct OnTrial {
  OnTrial* previous;
  pthread_t thread;
  pid_t id;
  void* records;
  sem_t mayGo;
};

struct Trial {
  OnTrial* last;
  sem_t arrived;
};

void await(sem_t* semaphore) {
  while (sem_wait(semaphore) != 0) {
  }
}

void* stayOnTrial(void* argument) {
  Trial* const trial = static_cast<Trial*>(argument);
  OnTrial self = {trial->last, pthread_self(), pid_t(syscall(SYS_gettid)), nullptr, {}};
  self.records = mmap(nullptr, kThreadRecords, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  sem_init(&self.mayGo, 0, 0);
  trial->last = &self;
  sem_post(&trial->arrived);
  await(&self.mayGo);
  if (self.records != MAP_FAILED) munmap(self.records, kThreadRecords);
  return nullptr;
}

// Lets a thread go, and waits until nothing of it counts towards a limit: the kernel forgets its number last.
void letGo(OnTrial* one) {
  const pthread_t thread = one->thread;
  const pid_t id = one->id;
  const timespec pause = {0, 20000};
  sem_post(&one->mayGo);
  pthread_join(thread, nullptr);
  for (int i = 0; i < 5000 && syscall(SYS_tgkill, getpid(), id, 0) == 0; ++i) nanosleep(&pause, nullptr);
}

// How many threads, up to wanted, could be there at one time besides the calling one.
int startOnTrial(int wanted, const pthread_attr_t* attributes) {
  Trial trial = {nullptr, {}};
  sem_init(&trial.arrived, 0, 0);
  int started = 0;
  pthread_t thread;
  while (started < wanted && pthread_create(&thread, attributes, stayOnTrial, &trial) == 0) {
    await(&trial.arrived);
    if (trial.last->records == MAP_FAILED) break;
    ++started;
  }
  while (trial.last) {
    OnTrial* const one = trial.last;
    trial.last = one->previous;
    letGo(one);
  }
  return started;
}

// The same, while no signal can reach these threads, and the caller cannot be cancelled.
int tryThreads(int wanted) {
  pthread_attr_t attributes;
  if (!initTrialAttributes(&attributes)) return 0;
  sigset_t all, before;
  int cancelling = 0;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelling);
  const int started = startOnTrial(wanted, &attributes);
  pthread_setcancelstate(cancelling, &cancelling);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return started;
}

// ---- The calling thread's team -------------------------------------------------------------------------------------

// What the calling thread asked OpenMP for last, and the size of the team that it got. The runtime gives each calling
// thread a team of its own, which stays. Storage that is there with the thread: a later allocation could fail.
struct Team {
  int asked, granted;
};
__attribute__((tls_model("initial-exec"))) thread_local Team team = {1, 1};

// Calling threads come one by one, and each has its team started before the next one tries: two cannot count on the
// same room.
pthread_mutex_t oneByOne = PTHREAD_MUTEX_INITIALIZER;

int startTeam(int threads) {
  pthread_mutex_lock(&oneByOne);
  const int granted = 1 + tryThreads(threads - 1);
  if (granted > 1) {
#pragma omp parallel num_threads(granted)
    {
      asm volatile("");  // the compiler leaves out an empty region
    }
  }
  pthread_mutex_unlock(&oneByOne);
  return granted;
}

// Threads for a parallel loop of the calling thread.
int threadsOfCaller() {
  if (staysAtOneThread || omp_get_active_level() >= omp_get_max_active_levels()) return 1;
  const int n = omp_get_max_threads();
  if (n < 2) return 1;
  if (n > team.asked) team.granted = startTeam(n);
  if (n < team.granted) team.granted = n;  // the runtime lets the others go
  team.asked = n;
  return team.granted;
}

}  // namespace
