// Any bytes through the readers of PNG and Netpbm, with and without keep-going, and a part of the picture.
#include "fuzz.h"
#include "netpbm/netpbm.h"
#include "png/png_file.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const unsigned choice = choiceOf(data, size);
  DecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  if (choice & 1) options.region = {int(choice >> 1 & 7), int(choice >> 4 & 3), 3, 4};  // inside of every seed
  decodeBothWays(isPng(data, size) ? decodePng : decodeNetpbm, data, size, options);
  return 0;
}
