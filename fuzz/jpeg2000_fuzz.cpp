// Any bytes through the JPEG 2000 decoder, with and without keep-going, at a size that the bytes choose, and a part of
// the picture.
#include "fuzz.h"
#include "jpeg2000/jpeg2000.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const unsigned choice = choiceOf(data, size);
  Jpeg2000DecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  options.maxLayers = int(choice & 1);
  try {
    const Jpeg2000Info info = readJpeg2000Info(data, size, options.limits);
    options.reduce = int(choice >> 1 & 3) % (info.levels + 1);
  } catch (const Error&) {
  }
  if (choice & 8 && options.reduce == 0) options.region = {int(choice >> 4 & 15), int(choice >> 8 & 15), 16, 8};
  decodeBothWays(decodeJpeg2000, data, size, options);
  return 0;
}
