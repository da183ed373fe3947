// A typical call of every exported function, on data of a few kilobytes: what it costs is measured, or counted, for
// each, so that none is slow unnoticed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/api.h"

namespace calls {

struct Call {
  const char* function;
  double units;      // of work in one call
  const char* unit;  // "call", "block", "pixel", "sample" or "byte"
  double bytes;      // read and written where it works on planes; else 0
  std::function<void()> make;
};

// Ends the program: a call that does not do its work measures nothing.
void mustHold(ZelStatus status, const char* function);

// In the order of the list of exports.
std::vector<Call> all(const zeltest::Api& api);

}  // namespace calls
