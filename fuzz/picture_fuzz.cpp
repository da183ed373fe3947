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

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  for (const ColourModel model :
       {ColourModel::grey, ColourModel::greyAlpha, ColourModel::rgb, ColourModel::rgba, ColourModel::cmyk})
    for (const int bits : {1, 8, 12, 16}) {
      Image image = zeltest::picture(17, 9, model, bits);
      files.push_back(encodeNetpbm(image));
      if (model == ColourModel::cmyk) continue;
      image.metadata().xmp.assign(20, 'x');
      image.metadata().comments = {"a comment"};
      image.metadata().exif.assign(30, 0);
      files.push_back(encodePng(image));
    }
  for (const char* plain : {"P1\n10 8\n", "P2 # a comment\n10 8 9\n", "P3 10 8 255 "}) {
    std::string text = plain;
    for (int i = 0; i < 240; ++i) text += i % 3 ? "1 " : "0\n";
    files.emplace_back(text.begin(), text.end());
  }
  return files;
}
