// The codecs' header alone, as C++.
#include "zelcodecs.h"

static_assert(ZELC_VERSION_MAJOR == 1, "the SONAME follows from it");
const char* (*codecsVersionQuery)() = zelcVersion;
