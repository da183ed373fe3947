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

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::mt19937 random32(1);
  const auto below = [&](size_t n) { return random32() % n; };
  std::vector<std::vector<uint8_t>> files;
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const JpegProcess process : {JpegProcess::baseline, JpegProcess::progressive, JpegProcess::lossless})
      for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
        for (const int restart : {0, 1}) {
          JpegEncodeOptions o;
          o.process = process;
          o.sampling = s;
          o.restartRows = restart;
          o.optimiseTables = restart;
          o.predictor = 1 + int(below(7));
          o.pointTransform = int(below(2));
          Image image = zeltest::picture(45, 37, model);
          if (s == Sampling::s422) {
            image.metadata().icc = {1, 2, 3};
            image.metadata().xmp = {'<', '>'};
            image.metadata().comments = {"comment"};
            image.metadata().orientation = 3;
            image.metadata().pixelsPerMetreX = image.metadata().pixelsPerMetreY = 5000;
          }
          files.push_back(encodeJpeg(image, o));
        }
  // By way of coefficients: a scan for each component of other samplings, four components, 12 bits, progressive, and
  // more than 10 blocks in an MCU, which files of one scan for each component may have.
  for (int kind = 0; kind < 8; ++kind) {
    JpegCoefficients c;
    c.width = 41;
    c.height = 29;
    c.precision = kind == 2 || kind == 6 ? 12 : 8;
    c.components.resize(kind == 1 || kind == 7 ? 4 : 3);
    c.adobeTransform = c.components.size() == 4 ? 2 : -1;
    for (JpegCoefficients::Component& k : c.components) {
      k.id = int(&k - &c.components[0]) + 1;
      for (uint16_t& q : k.quant) q = uint16_t(1 + below(c.precision == 12 ? 400 : 40));
    }
    c.components[0].h = kind == 0 ? 4 : 2;
    c.components[2].v = kind == 0 ? 2 : 1;
    if (kind == 4 || kind == 5) c.components[0].h = c.components[0].v = 4;
    for (JpegCoefficients::Component& k : c.components)
      if (kind == 7) k.h = k.v = 2;
    c.allocate();
    for (JpegCoefficients::Component& k : c.components)
      for (int16_t& v : k.values) v = below(8) ? int16_t{0} : int16_t(int(below(61)) - 30);
    JpegWriteOptions o;
    o.interleaved = kind > 0 && kind < 4;
    o.progressive = kind == 3 || kind == 5 || kind == 6;
    o.restartInterval = kind % 4 == 2 ? 3 : 0;
    if (kind == 5)
      o.script = parseScanScript("0:0-0,0,1;1:0-0,0,1;2:0-0,0,1;1:1-63,0,0;2:1-63,0,0;0:1-63,0,0;0:0-0,1,0");
    files.push_back(writeJpegCoefficients(c, o));
  }
  return files;
}
