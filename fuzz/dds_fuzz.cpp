// Any bytes through the DDS decoder, with and without keep-going, at a level that the bytes choose.
#include <algorithm>
#include <cstring>

#include "dds/dds.h"
#include "fuzz.h"

using namespace zelcodecs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DdsDecodeOptions options;
  options.limits.maxPixels = 1 << 18;
  options.threads = 1;
  try {
    const DdsInfo info = readDdsInfo(data, size);
    const unsigned choice = choiceOf(data, size);
    options.level = int(choice % info.levels.size());
    options.face = int(choice / 7 % unsigned(info.faces));
    options.element = int(choice / 50 % std::min(info.pictures, 9u));
  } catch (const Error&) {
  }
  decodeBothWays(decodeDds, data, size, options);
  return 0;
}

std::vector<std::vector<uint8_t>> fuzzSeeds() {
  std::vector<std::vector<uint8_t>> files;
  for (int run = 0; run < 36; ++run) {
    DdsEncodeOptions o;
    o.format = static_cast<TextureFormat>(run % 4);
    o.levels = run % 3 == 0 && run < 24 ? 0 : 1;
    o.threads = 1;
    files.push_back(
        encodeDds(zeltest::picture(21 + run, 33 - run % 30, run % 5 ? ColourModel::rgba : ColourModel::grey), o));
    std::vector<uint8_t>& file = files.back();
    if (run % 8 == 1) std::memcpy(&file[84], "DXT2", 4);
    if (run % 8 == 2) std::memcpy(&file[84], "DXT4", 4);
    if (run < 24) continue;
    // Behind a second header; any blocks and pixels decode. (Of cube maps and arrays there is a warning.)
    std::memcpy(&file[84], "DX10", 4);
    const uint8_t numbers[] = {98, 80, 84, 28, 86, 11}, number = numbers[run / 4 % 3 + run % 2 * 3];
    const uint8_t second[20] = {number, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1};
    const size_t bytes = number == 11 ? 8 : number == 28 ? 4 : number == 86 ? 2 : 1;  // of a pixel, at most
    file.resize(128 + bytes * size_t(run + 24) * size_t(36 - run % 30));
    for (size_t i = 128; i < file.size(); ++i) file[i] = uint8_t(i * i * 2654435761u >> 21);
    file.insert(file.begin() + 128, second, second + 20);
  }
  // Fields of bits in a header of the first kind: flags, bits of a pixel, masks of red, green, blue and opacity.
  const uint32_t fields[][6] = {{0x40, 16, 0xF800, 0x7E0, 0x1F, 0},
                                {0x41, 16, 0x7C00, 0x3E0, 0x1F, 0x8000},
                                {0x41, 32, 0xFF0000, 0xFF00, 0xFF, ~0xFFFFFFu},
                                {0x40, 24, 0xFF0000, 0xFF00, 0xFF, 0},
                                {0x20000, 8, 0xFF, 0, 0, 0},
                                {0x20001, 16, 0xFF, 0, 0, 0xFF00},

                                {0x41, 32, 0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000}};
  for (const auto& f : fields) {
    files.push_back(encodeDds(zeltest::picture(19, 13, ColourModel::rgb)));
    std::vector<uint8_t>& file = files.back();
    file.resize(128 + 19 * 13 * f[1] / 8, 0x5A);
    for (size_t i = 0; i < 6; ++i)
      for (size_t b = 0; b < 4; ++b) file[(i == 0 ? 80 : 84 + 4 * i) + b] = uint8_t(f[i] >> 8 * b);
    std::memset(&file[84], 0, 4);
  }
  return files;
}
