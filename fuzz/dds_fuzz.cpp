// Any bytes through the DDS decoder, with and without keep-going, at a level that the bytes choose.
#include <algorithm>

#include "dds/dds.h"
#include "fuzz.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DdsDecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  try {
    const DdsInfo info = readDdsInfo(data, size);
    const unsigned choice = choiceOf(data, size);
    options.level = int(choice % info.levels.size());
    options.face = int(choice / 7 % unsigned(info.faces));
    options.element = int(choice / 50 % std::min(info.pictures, 9u));
  } catch (const Error&) {
  }
  decodeBothWays(decodeDds, data, size, options);
  return 0;
}
