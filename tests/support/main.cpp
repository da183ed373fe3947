#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/api.h"
#include "support/data.h"

namespace zeltest {

static const Variant* chosen = nullptr;
const Variant& current() { return *chosen; }

}  // namespace zeltest

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::string name = zeltest::variants().back().name;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--variant=", 0) == 0) name = arg.substr(10);
    if (arg == "--brief") zeltest::brief = true;
    if (arg.rfind("--seed=", 0) == 0) zeltest::seed = std::stoull(arg.substr(7));
  }
  for (const zeltest::Variant& v : zeltest::variants())
    if (name == v.name) zeltest::chosen = &v;
  if (!zeltest::chosen) {
    std::fprintf(stderr, "no variant %s in this program\n", name.c_str());
    return 2;
  }
  std::printf("variant %s, seed %llu\n", name.c_str(), static_cast<unsigned long long>(zeltest::seed));
  if (!zeltest::chosen->supported) {
    std::printf("SKIPPED: this processor does not run the %s variant\n", name.c_str());
    return 77;
  }
  return RUN_ALL_TESTS();
}
