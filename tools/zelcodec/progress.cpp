// A line that is written over and over.
#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace zelcodec {

ProgressLine::ProgressLine(bool wanted, const std::string& what, int steps)
    : shown_(wanted || isatty(STDERR_FILENO)), steps_(steps), what_(what) {}

ProgressLine::~ProgressLine() {
  if (last_ >= 0) std::fprintf(stderr, "\r%*s\r", int(what_.size()) + 8, "");
}

zelcodecs::Progress ProgressLine::callback() {
  if (!shown_) return nullptr;
  return [this, before = 0.0](double part) mutable {
    const std::lock_guard<std::mutex> lock(mutex_);
    done_ += (part - before) / steps_;
    before = part;
    const int percent = int(done_ * 100 + 1e-6);
    if (percent == last_) return;
    last_ = percent;
    std::fprintf(stderr, "\r%s %3d %%", what_.c_str(), percent);
    std::fflush(stderr);
  };
}

}  // namespace zelcodec
