// Any bytes through the JPEG decoder, in both modes and at every size. What it reads whole must also be told by its
// coefficients, which must survive being written and read again.
//
//   jpeg_decode_fuzz -max_len=4096 CORPUS_DIRECTORY
#include <cstdlib>

#include "error.h"
#include "jpeg.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  JpegDecodeOptions options;
  options.limits.maxPixels = 1 << 20;
  bool whole = false;
  for (const int denominator : {1, 2, 4, 8})
    for (const bool keepGoing : {false, true}) {
      options.scaleDenominator = denominator;
      options.keepGoing = keepGoing;
      try {
        decodeJpeg(data, size, options);
        whole |= !keepGoing;
      } catch (const Error&) {
      }
    }
  try {
    readJpegInfo(data, size, options.limits);
  } catch (const Error&) {
    if (whole) std::abort();
  }
  if (!whole) return 0;
  options.keepGoing = false;
  const JpegCoefficients first = readJpegCoefficients(data, size, options);
  JpegWriteOptions write;
  write.interleaved = false;
  write.optimiseTables = true;
  std::vector<uint8_t> file;
  try {
    file = writeJpegCoefficients(first, write);
  } catch (const Error&) {
    return 0;  // coefficients that no encoder can code: magnitudes that only a damaged file has
  }
  const JpegCoefficients second = readJpegCoefficients(file.data(), file.size());
  for (size_t i = 0; i < first.components.size(); ++i) {
    const auto &a = first.components[i], &b = second.components[i];
    for (int y = 0; y < a.blocksHigh; ++y)
      for (int k = 0; k < 64 * a.blocksWide; ++k) {
        const size_t at = 64 * static_cast<size_t>(y) * static_cast<size_t>(a.storedWide) + static_cast<size_t>(k);
        if (a.values[at] != b.values[at]) std::abort();
      }
  }
  return 0;
}
