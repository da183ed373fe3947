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

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  for (int run = 0; run < 32; ++run) {
    Jpeg2000EncodeOptions o;
    o.lossless = run % 2;
    o.rate = run % 4 == 0 ? 1.5 : 0;
    o.layers = 1 + run % 3;
    o.levels = run % 4;
    o.style = run * 11 % 64;
    o.codeBlockWidth = 16 << run % 2;
    o.codeBlockHeight = 16;
    o.precinct = run % 5 == 0 ? 32 : 0;
    o.tileWidth = o.tileHeight = run % 3 == 0 ? 30 : 0;
    o.progression = static_cast<Progression>(run % 5);
    o.sop = run % 3 == 1;
    o.eph = run % 4 == 1;
    const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk, ColourModel::greyAlpha,
                                  ColourModel::rgba};
    const ColourModel model = models[run % 5];
    // A codestream alone leaves more than three components, and opacity, to a guess that is warned of.
    o.jp2 = run % 2 || (model != ColourModel::grey && model != ColourModel::rgb);
    Image image = zeltest::picture(45, 37, model, run % 7 == 0 ? 12 : 8);
    image.metadata().orientation = 1 + run % 8;
    image.metadata().comments.assign(size_t(run % 2), "a comment");
    image.metadata().pixelsPerMetreX = image.metadata().pixelsPerMetreY = run % 3 * 1000;
    files.push_back(encodeJpeg2000(image, o));
  }
  return files;
}
