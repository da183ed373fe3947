// How far long work is, on one line of standard error.
#pragma once

#include <mutex>
#include <string>

#include "common/options.h"

namespace zelcodec {

// Shown where standard error is a terminal, or where asked for. The line goes away with the object.
class ProgressLine {
 public:
  // steps: so many callbacks share the line, each with an equal part of the work.
  ProgressLine(bool wanted, const std::string& what, int steps);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // For one of the steps; null where nothing is shown. Threads may call different ones at once.
  zelcodecs::Progress callback();

 private:
  const bool shown_;
  const int steps_;
  const std::string what_;
  std::mutex mutex_;
  double done_ = 0;
  int last_ = -1;
};

}  // namespace zelcodec
