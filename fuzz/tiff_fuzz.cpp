// Any bytes through the TIFF decoder, with and without keep-going, one page that the bytes choose.
#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "error.h"
#include "fuzz.h"
#include "tiff.h"

using namespace zelcodecs;

FuzzOutcome fuzzOutcome;

// Whether what was read is the same when it has been written and read again.
static bool survives(const Image& image) {
  TiffEncodeOptions o;
  o.bigEndian = image.width() % 2;
  o.threads = 1;
  const std::vector<uint8_t> file = encodeTiff(image, o);
  const Image again = decodeTiff(file.data(), file.size());
  return again.model() == image.model() && again.bitDepth() == image.bitDepth() &&
         again.sizeBytes() == image.sizeBytes() &&
         std::equal(again.data(), again.data() + again.sizeBytes(), image.data());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TiffDecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  try {
    const unsigned choice = std::accumulate(data, data + size, 0u);
    options.page = int(choice % readTiffInfo(data, size).pages.size());
  } catch (const Error&) {
  }
  const Image image = decodeBothWays(decodeTiff, data, size, options);
  if (!image.empty() && !survives(image)) std::abort();
  return 0;
}

namespace {

// A page that encodeTiff does not write: less than a byte for a sample, a palette, planes, bits in reversed order.
class RareFile {
 public:
  RareFile(int bits, int samples, int photometric, int planar, bool packed) : packed_(packed) {
    constexpr int kWidth = 21, kHeight = 13;
    const int planes = planar == 2 ? samples : 1, rowBytes = (kWidth * bits * samples / planes + 7) / 8;
    std::vector<uint32_t> offsets, lengths;
    put(0x2A4949, 4);
    put(0, 4);
    for (int p = 0; p < planes; ++p) {
      offsets.push_back(uint32_t(bytes_.size()));
      for (int y = 0; y < kHeight; ++y) row(rowBytes, uint32_t(p * 13 + y * 7));
      lengths.push_back(uint32_t(bytes_.size()) - offsets.back());
    }
    const uint32_t map = uint32_t(bytes_.size());
    for (uint32_t i = 0; i < 3u << bits && photometric == 3; ++i) put(i * 977, 2);
    const uint32_t where = array(offsets), counts = array(lengths), directory = uint32_t(bytes_.size());
    for (uint32_t i = 0; i < 4; ++i) bytes_[4 + i] = uint8_t(directory >> 8 * i);
    put(photometric == 3 ? 12 : 11, 2);
    entry(256, kWidth);
    entry(257, kHeight);
    entry(258, uint32_t(bits));
    entry(259, packed ? 32773 : 1);
    entry(262, uint32_t(photometric));
    entry(266, 2);
    entry(273, planes == 1 ? offsets[0] : where, offsets.size());
    entry(277, uint32_t(samples));
    entry(279, planes == 1 ? lengths[0] : counts, offsets.size());
    entry(284, uint32_t(planar));
    if (photometric == 3) entry(320, map, size_t{3} << bits, 3);
    entry(338, 1);
    put(0, 4);
  }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  void put(uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) bytes_.push_back(uint8_t(v >> 8 * i));
  }
  void row(int n, uint32_t first) {
    // One literal run, whose length stands in reversed bits.
    uint32_t header = 0;
    for (int b = 0; b < 8; ++b) header |= uint32_t((n - 1) >> b & 1) << (7 - b);
    if (packed_) put(header, 1);
    for (int i = 0; i < n; ++i) put(first + uint32_t(i) * 5, 1);
  }
  uint32_t array(const std::vector<uint32_t>& values) {
    const uint32_t at = uint32_t(bytes_.size());
    for (uint32_t v : values) put(v, 4);
    return at;
  }
  void entry(uint32_t tag, uint32_t value, size_t count = 1, uint32_t type = 4) {
    put(tag, 2);
    put(type, 2);
    put(uint32_t(count), 4);
    put(value, 4);
  }

  bool packed_;
  std::vector<uint8_t> bytes_;
};

}  // namespace

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk};
  for (int run = 0; run < 24; ++run) {
    TiffEncodeOptions o;
    o.compression = run % 3 ? TiffCompression::packBits : TiffCompression::none;
    o.bigEndian = run % 2;
    o.rowsPerStrip = run % 5 * 6;
    o.threads = 1;
    Image image(29, 19, models[run % 4], run % 8 < 4 ? 8 : 16);
    for (int y = 0; y < 19; ++y)
      for (int i = 0; i < 29 * image.channels(); ++i)
        image.setSample(y, i, (i / 11 * y * 7 + (i % 9 ? 0 : i)) & image.maxValue());
    files.push_back(run % 6 ? encodeTiff(image, o) : encodeTiffPages({&image, &image, &image}, o));
  }
  for (const bool packed : {false, true})
    for (const int planar : {1, 2}) {
      for (const int bits : {1, 2, 4}) files.push_back(RareFile(bits, 1, 0, planar, packed).bytes());
      for (const int bits : {1, 4, 8}) files.push_back(RareFile(bits, 1, 3, planar, packed).bytes());
      files.push_back(RareFile(8, 4, 2, planar, packed).bytes());
      files.push_back(RareFile(16, 2, 1, planar, packed).bytes());
    }
  return files;
}
