// zelj_calls VARIANT: makes one call of every exported function, after one that has prepared it, and prints the
// function's name, its work and the unit. A write to a file that is not there stands before and behind the call: what
// runs the program and counts its instructions can tell by these.
#include <unistd.h>

#include <cstdio>

#include "calls.h"

namespace zeltest {
const Variant& current() { return variants().back(); }
}  // namespace zeltest

namespace {

void mark() {
  constexpr int kNoFile = 1000;
  if (write(kNoFile, "", 0) >= 0) std::abort();
}

void countable(const char* name, double units, const char* unit, const std::function<void()>& make) {
  mark();
  make();
  mark();
  std::printf("%s\t%g\t%s\n", name, units, unit);
}

}  // namespace

int main(int argc, char** argv) {
  for (const zeltest::Variant& v : zeltest::variants()) {
    if (argc != 2 || std::string(argv[1]) != v.name || !v.supported) continue;
    countable("nothing", 1, "call", [] {});
    for (const calls::Call& c : calls::all(v.api)) countable(c.function, c.units, c.unit, c.make);
    return 0;
  }
  return std::fprintf(stderr, "zelj_calls VARIANT, one that this processor runs\n"), 77;
}
