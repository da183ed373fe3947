// Collects what is odd about a file but does not stop the work.
#pragma once

#include <string>
#include <vector>

#include "error.h"

namespace zelcodecs {

class Warnings {
 public:
  explicit Warnings(std::vector<std::string>* out) : out_(out) {}
  void add(const std::string& text, size_t offset) { push(text + " at byte " + std::to_string(offset)); }
  void add(const Error& error) { push(error.what()); }

 private:
  void push(const std::string& text) {
    if (out_ && out_->size() <= kMost) out_->push_back(out_->size() == kMost ? "and more" : text);
  }
  static constexpr size_t kMost = 100;  // a badly damaged file has thousands
  std::vector<std::string>* out_;
};

}  // namespace zelcodecs
