// Any bytes through the JPEG decoder, with and without keep-going, at a size and with options that the bytes choose.
// What it reads whole must also be told by its coefficients, which must survive being written and read again.
#include <algorithm>
#include <cstdlib>

#include "fuzz.h"
#include "jpeg/jpeg.h"

using namespace zelcodecs;

static void requireSameBlocks(const JpegCoefficients& first, const JpegCoefficients& second) {
  for (size_t i = 0; i < first.components.size(); ++i) {
    const auto &a = first.components[i], &b = second.components[i];
    for (int y = 0; y < a.blocksHigh; ++y) {
      const auto row = a.values.begin() + 64 * long(y) * a.storedWide;
      if (!std::equal(row, row + 64 * a.blocksWide, b.values.begin() + (row - a.values.begin()))) std::abort();
    }
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const unsigned choice = choiceOf(data, size);
  JpegDecodeOptions options;
  options.limits.maxPixels = 1 << 20;
  options.limits.maxScans = 30;
  options.smooth = choice & 1;
  options.threads = 1 + int(choice >> 1 & 1);
  bool lossless = false;
  try {
    const JpegInfo info = readJpegInfo(data, size, options.limits);
    lossless = info.process == "lossless";
    options.scaleDenominator = lossless ? 1 : 1 << (choice >> 2 & 3);
    const int x = info.width / options.scaleDenominator, y = info.height / options.scaleDenominator;
    if (choice >> 5 & 1 && x > 1 && y > 1) options.region = {x / 2, y / 2, x / 2, y / 2};
  } catch (const Error&) {
  }
  const bool whole = !decodeBothWays(decodeJpeg, data, size, options).empty();
  if (!whole || lossless || !options.region.whole()) return 0;
  const JpegCoefficients first = readJpegCoefficients(data, size, options);
  JpegWriteOptions write;
  write.interleaved = false;
  write.optimiseTables = true;
  write.progressive = choice >> 4 & 1;
  std::vector<uint8_t> file;
  try {
    file = writeJpegCoefficients(first, write);
  } catch (const Error&) {
    return 0;  // coefficients that no encoder can code: magnitudes that only a damaged file has
  }
  requireSameBlocks(first, readJpegCoefficients(file.data(), file.size()));
  return 0;
}
