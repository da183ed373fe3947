// The files of a folder of inputs.
#pragma once

#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct FuzzInput {
  std::string path;
  std::vector<uint8_t> bytes;
};

// In the order of their names, as a folder gives its files in any order.
inline std::vector<FuzzInput> inputsIn(const std::string& folder) {
  std::vector<FuzzInput> inputs;
  DIR* const open = opendir(folder.c_str());
  while (const dirent* const entry = open ? readdir(open) : nullptr) {
    if (entry->d_name[0] == '.') continue;
    const std::string path = folder + "/" + entry->d_name;
    std::ifstream in(path, std::ios::binary);
    inputs.push_back({path, {std::istreambuf_iterator<char>(in), {}}});
  }
  if (open) closedir(open);
  std::sort(inputs.begin(), inputs.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  return inputs;
}
