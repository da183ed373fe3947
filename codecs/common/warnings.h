// Collects what is odd about a file but does not stop the work.
#pragma once

#include <string>
#include <vector>

#include "common/error.h"

namespace zelcodecs {

class Warnings {
 public:
  explicit Warnings(std::vector<std::string>* out) : out_(out) {}
  void add(const std::string& text, size_t offset) { add(text + " at byte " + std::to_string(offset)); }
  void add(const Error& error) { add(error.what()); }
  void add(const std::string& text) {
    if (out_ && out_->size() <= kMost) out_->push_back(out_->size() == kMost ? "and more" : text);
  }

 private:
  static constexpr size_t kMost = 100;  // a badly damaged file has thousands
  std::vector<std::string>* out_;
};

}  // namespace zelcodecs
