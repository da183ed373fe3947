// Any bytes through the TIFF decoder, with and without keep-going, one page that the bytes choose.
#include "fuzz.h"
#include "common/metrics.h"
#include "tiff/tiff.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TiffDecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  try {
    options.page = int(choiceOf(data, size) % readTiffInfo(data, size).pages.size());
  } catch (const Error&) {
  }
  if (size % 5 == 0) options.region = {1, 2, 5, 3};
  const Image image = decodeBothWays(decodeTiff, data, size, options);
  if (image.empty() || image.bitDepth() % 8) return 0;
  const TiffCompression packed[] = {TiffCompression::packBits, TiffCompression::lzw, TiffCompression::deflate};
  TiffEncodeOptions o;
  o.compression = packed[image.width() % 3];
  o.bigEndian = image.width() % 2;
  o.big = image.height() % 2;
  if (image.height() % 3 == 0) o.tileWidth = o.tileHeight = 16;
  o.threads = 1;
  const std::vector<uint8_t> file = encodeTiff(image, o);
  const Image back = decodeTiff(file.data(), file.size());
  if (difference(image, back).differing || image.metadata().icc != back.metadata().icc) std::abort();
  return 0;
}
