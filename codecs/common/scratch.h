// Work space that outlives a piece of work.
#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace zelcodecs {

// Pieces that run side by side lease what they work in, and give it back for the next ones: as many exist as there are
// threads, and they go with the pool.
template <class T>
class ScratchPool {
 public:
  class Lease {
   public:
    Lease(ScratchPool* pool, std::unique_ptr<T> held) : pool_(pool), held_(std::move(held)) {}
    Lease(Lease&&) noexcept = default;
    ~Lease() {
      if (held_) pool_->giveBack(std::move(held_));
    }
    T* get() const { return held_.get(); }
    T* operator->() const { return get(); }

   private:
    ScratchPool* pool_;
    std::unique_ptr<T> held_;
  };

  // make() gives a new one, as a unique_ptr, where all are in use.
  template <class Make>
  Lease lease(const Make& make) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!idle_.empty()) {
        Lease l(this, std::move(idle_.back()));
        idle_.pop_back();
        return l;
      }
      idle_.reserve(++made_);  // giving back must not fail
    }
    return {this, make()};
  }

 private:
  void giveBack(std::unique_ptr<T> held) {
    const std::lock_guard<std::mutex> lock(mutex_);
    idle_.push_back(std::move(held));
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<T>> idle_;
  size_t made_ = 0;
};

}  // namespace zelcodecs
