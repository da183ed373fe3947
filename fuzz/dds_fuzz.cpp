// Any bytes through the DDS decoder, with and without keep-going, at a level that the bytes choose.
#include <cstring>

#include "dds/dds.h"
#include "fuzz.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DdsDecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  try {
    options.level = int(choiceOf(data, size) % readDdsInfo(data, size).levels.size());
  } catch (const Error&) {
  }
  decodeBothWays(decodeDds, data, size, options);
  return 0;
}

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  for (int run = 0; run < 24; ++run) {
    DdsEncodeOptions o;
    o.format = static_cast<TextureFormat>(run % 4);
    o.levels = run % 3 == 0 ? 0 : 1;
    o.threads = 1;
    files.push_back(
        encodeDds(zeltest::picture(21 + run, 33 - run, run % 5 ? ColourModel::rgba : ColourModel::grey), o));
    std::vector<uint8_t>& file = files.back();
    if (run % 8 == 1) std::memcpy(&file[84], "DXT2", 4);
    if (run % 8 == 2) std::memcpy(&file[84], "DXT4", 4);
    if (run % 4 != 3 || run < 12) continue;
    // BC7 behind a second header; any blocks decode.
    std::memcpy(&file[84], "DX10", 4);
    const uint8_t second[20] = {98, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    for (size_t i = 128; i < file.size(); ++i) file[i] = uint8_t(i * i * 2654435761u >> 21);
    file.insert(file.begin() + 128, second, second + 20);
  }
  return files;
}
