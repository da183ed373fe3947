#include <gtest/gtest.h>

#include <cstring>

#include "support/api.h"
#include "support/core_hooks.h"
#include "zelfeatures.h"

TEST(Version, RecordOfTheProcessor) {
  const auto check = [](const char* name) {
    const ZelLibraryVersion* v = zel().zeljGetLibVersion();
    ASSERT_NE(nullptr, v);
    EXPECT_TRUE(v->major == 6 && v->minor == 1 && v->majorBuild == 137 && v->build == 823);
    EXPECT_EQ(0, std::memcmp(v->targetCpu, "y8\0\0", 4));
    EXPECT_STREQ(name, v->name);
    EXPECT_STREQ("6.1 build 137.56", v->version);
    EXPECT_STREQ("Mar 17 2010", v->buildDate);
  };
  if (!zeltest::hooks()) {
    check(zelProcessorRunsAvx2Variant() ? "libzeljy8.so.6.1+" : "libzeljy8.so.6.1");
    return;
  }
  zeltest::hooks()->features = 0x80;
  check("libzeljy8.so.6.1+");
  zeltest::hooks()->features = 0x7F;
  check("libzeljy8.so.6.1");
  zeltest::hooks()->reset();
}
