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
  const Image image = decodeBothWays(decodeTiff, data, size, options);
  if (image.empty()) return 0;
  TiffEncodeOptions o;
  o.bigEndian = image.width() % 2;
  o.threads = 1;
  const std::vector<uint8_t> file = encodeTiff(image, o);
  if (difference(image, decodeTiff(file.data(), file.size())).differing) std::abort();
  return 0;
}

// A page that encodeTiff does not write: less than a byte for a sample, a palette, planes, bits in reversed order.
static std::vector<uint8_t> rareFile(uint32_t bits, uint32_t samples, uint32_t photometric, uint32_t planar,
                                     bool packed) {
  constexpr uint32_t kWidth = 21, kHeight = 13;
  const uint32_t planes = planar == 2 ? samples : 1, rowBytes = (kWidth * bits * samples / planes + 7) / 8;
  std::vector<uint8_t> file;
  const auto put = [&](uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(uint8_t(v >> 8 * i));
  };
  uint32_t literals = 0;  // the header of a run that is a whole row, in reversed bits
  for (int b = 0; b < 8; ++b) literals |= ((rowBytes - 1) >> b & 1) << (7 - b);
  const uint32_t stored = rowBytes + packed, length = kHeight * stored, offsets = 8 + planes * length;
  const uint32_t counts = offsets + 4 * planes, map = counts + 4 * planes;
  const uint32_t mapped = photometric == 3 ? 3u << bits : 0;
  put(0x2A4949, 4);
  put(map + 2 * mapped, 4);
  for (uint32_t i = 0; i < planes * length; ++i) put(packed && i % stored == 0 ? literals : i / stored * 7 + i * 5, 1);
  for (uint32_t p = 0; p < planes; ++p) put(8 + p * length, 4);
  for (uint32_t p = 0; p < planes; ++p) put(length, 4);
  for (uint32_t i = 0; i < mapped; ++i) put(i * 977, 2);
  const auto entry = [&](uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
    put(tag, 2);
    put(type, 2);
    put(count, 4);
    put(value, 4);
  };
  put(mapped ? 12 : 11, 2);
  const std::pair<uint32_t, uint32_t> fields[] = {
      {256, kWidth},  {257, kHeight}, {258, bits}, {259, packed ? 32773u : 1}, {262, photometric}, {266, 2},
      {277, samples}, {284, planar},  {338, 1}};
  for (const auto& [tag, value] : fields) entry(tag, 4, 1, value);
  entry(273, 4, planes, planes == 1 ? 8 : offsets);
  entry(279, 4, planes, planes == 1 ? length : counts);
  if (mapped) entry(320, 3, mapped, map);
  put(0, 4);
  return file;
}

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk};
  for (int run = 0; run < 24; ++run) {
    TiffEncodeOptions o;
    o.compression = run % 3 ? TiffCompression::packBits : TiffCompression::none;
    o.bigEndian = run % 2;
    o.rowsPerStrip = run % 5 * 6;
    o.threads = 1;
    const Image image = zeltest::picture(29, 19, models[run % 4], run % 8 < 4 ? 8 : 16);
    files.push_back(run % 6 ? encodeTiff(image, o) : encodeTiffPages({&image, &image, &image}, o));
  }
  const uint32_t kinds[][3] = {{1, 1, 0}, {2, 1, 0}, {4, 1, 0}, {1, 1, 3}, {4, 1, 3}, {8, 1, 3}, {8, 4, 2}, {16, 2, 1}};
  for (const auto& [bits, samples, photometric] : kinds)
    for (const uint32_t planar : {1u, 2u})
      for (const bool packed : {false, true}) files.push_back(rareFile(bits, samples, photometric, planar, packed));
  return files;
}
