// Any bytes through the TIFF decoder, with and without keep-going, one page that the bytes choose.
#include "fuzz.h"
#include "common/bytes.h"
#include "common/metrics.h"
#include "jpeg/jpeg.h"
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

// A page that encodeTiff does not write: less than a byte for a sample, a palette, planes, bits in reversed order.
using Bytes = std::vector<uint8_t>;
static Bytes rareFile(uint32_t bits, uint32_t samples, uint32_t photometric, uint32_t planar, bool packed) {
  constexpr uint32_t kWidth = 21, kHeight = 13;
  const uint32_t planes = planar == 2 ? samples : 1, rowBytes = (kWidth * bits * samples / planes + 7) / 8;
  Bytes file;
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

// A strip of JPEG data.
static Bytes jpegFile(ColourModel model) {
  const Image image = zeltest::picture(29, 19, model);
  const Bytes strip = encodeJpeg(image);
  Bytes file = {'I', 'I', 42, 0};
  ByteWriter w(&file, false);
  w.u32(uint32_t(8 + strip.size()));
  w.bytes(strip);
  const uint32_t samples = uint32_t(image.channels());
  const uint32_t fields[][2] = {{256, 29},
                                {257, 19},
                                {258, 8},
                                {259, 7},
                                {262, samples == 1 ? 1u : 6u},
                                {273, 8},
                                {277, samples},
                                {278, 19},
                                {279, uint32_t(strip.size())}};
  w.u16(std::size(fields));
  for (const auto& [tag, value] : fields) {
    w.u16(tag);
    w.u16(4);
    w.u32(1);
    w.u32(value);
  }
  w.u32(0);
  return file;
}

// A structure of EXIF: a maker, and a directory with a time and an exposure.
static Metadata metadata() {
  Metadata m;
  m.icc = Bytes(40, 3);
  m.xmp = Bytes(20, 'x');
  m.comments = {"a picture"};
  m.orientation = 3;
  m.exif = {'M', 'M', 0, 42, 0, 0, 0, 8};
  ByteWriter w(&m.exif);
  const uint32_t first[][4] = {{271, 2, 4, 0x41424300}, {34665, 4, 1, 38}},
                 inner[][4] = {{33434, 5, 1, 68}, {37377, 4, 1, 9}};
  for (const auto& directory : {first, inner}) {
    w.u16(2);
    for (int i = 0; i < 2; ++i) {
      w.u16(directory[i][0]);
      w.u16(directory[i][1]);
      w.u32(directory[i][2]);
      w.u32(directory[i][3]);
    }
    w.u32(0);
  }
  w.u64(0x100000032);
  return m;
}

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk,
                                ColourModel::greyAlpha};
  const TiffCompression packed[] = {TiffCompression::none, TiffCompression::packBits, TiffCompression::lzw,
                                    TiffCompression::deflate};
  for (int run = 0; run < 40; ++run) {
    TiffEncodeOptions o;
    o.compression = packed[run / 2 % 4];
    o.predictor = run % 3 == 0;
    o.big = run % 7 == 0;
    if (run % 4 == 3) o.tileWidth = o.tileHeight = 16;
    o.bigEndian = run % 2;
    o.rowsPerStrip = run % 5 * 6;
    o.threads = 1;
    Image image = zeltest::picture(29, 19, models[run % 5], run % 8 < 4 ? 8 : 16);
    if (run % 3) image.metadata() = metadata();
    files.push_back(run % 6 ? encodeTiff(image, o) : encodeTiffPages({&image, &image, &image}, o));
  }
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb}) files.push_back(jpegFile(model));
  const uint32_t kinds[][3] = {{1, 1, 0},  {2, 1, 0},  {4, 1, 0}, {1, 1, 3},  {4, 1, 3}, {8, 1, 3},
                               {8, 4, 2},  {16, 2, 1}, {5, 3, 2}, {12, 3, 2}, {8, 4, 5}, {16, 4, 5},
                               {16, 1, 0}, {2, 1, 3},  {3, 1, 1}, {16, 4, 2}};
  for (const auto& [bits, samples, photometric] : kinds)
    for (const uint32_t planar : {1u, 2u})
      for (const bool packed : {false, true}) files.push_back(rareFile(bits, samples, photometric, planar, packed));
  files.push_back(rareFile(8, 3, 6, 1, false));  // chroma of half the size by default
  return files;
}
