// Threads that take pieces of work side by side, and sleep while there is none.
#pragma once

#include <memory>

#include "common/picture.h"

namespace zelcodecs {

// The number of threads for a picture: one below so many pixels that its work is done before another thread has woken
// up, and where the caller leaves the number open (0) also below pixelsByDefault. Work that is little more than moving
// bytes gains from threads in large pictures only, as moving them between processors takes time of its own.
constexpr int64_t kPixelsForThreads = 1 << 16;
constexpr int threadsFor(const PictureFormat& f, int threads, int64_t pixelsByDefault = 0) {
  const int64_t pixels = int64_t{f.width} * f.height;
  return pixels < kPixelsForThreads || (threads == 0 && pixels < pixelsByDefault) ? 1 : threads;
}

class Team {
 public:
  // threads: the caller's one included; 0 for as many as OpenMP would use. The others are started when there is work
  // for them; where the system gives fewer, fewer do it. A child of fork() starts its own.
  explicit Team(int threads);
  ~Team();
  Team(const Team&) = delete;
  Team& operator=(const Team&) = delete;

  int threads() const { return threads_; }

  // Calls work(i) for each i below count, begun in ascending order, and returns when all are done. After an exception
  // no further piece is begun; that of the lowest piece is passed on. Called from inside of a piece of the same team it
  // does the work in the caller's thread.
  template <class Work>
  void forEach(int count, const Work& work) {
    run(
        count, [](const void* w, int i) { (*static_cast<const Work*>(w))(i); }, &work);
  }

 private:
  using Call = void (*)(const void* work, int i);
  struct Shared;
  void run(int count, Call call, const void* work);
  void start(int workers);
  void forgetParent();

  const int threads_;
  std::unique_ptr<Shared> shared_;
};

}  // namespace zelcodecs
