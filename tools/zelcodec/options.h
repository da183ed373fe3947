// What the command line asks for.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

#include "any/settings.h"

namespace zelcodec {

using zelcodecs::Format;

// For all commands; they stand before the command or behind it.
struct CommonOptions {
  int threads = 0;
  bool progress = false;
  uint64_t maxPixels = zelcodecs::Limits{}.maxPixels, maxMemory = zelcodecs::Limits{}.maxMemory;

  void apply(zelcodecs::DecodeOptions* decode) const;
};

// encode and decode.
struct ConvertCommand {
  std::vector<std::string> files;
  std::string outputDirectory, format;
  bool strip = false, time = false;
  int repeat = 1;
  // The options that are settings of the codecs, and the words that followed them.
  std::map<const zelcodecs::Setting*, CLI::Option*> options;
  std::map<const zelcodecs::Setting*, std::vector<std::string>> words;

  // What was given for reading, or for writing, where settings of both count. Throws Error.
  zelcodecs::Settings settings(zelcodecs::SettingRole role) const;
};

struct InfoCommand {
  std::vector<std::string> files;
  bool json = false;
};

struct CompareCommand {
  std::string first, second;
  std::string diff, saveFirst, saveSecond;
  zelcodecs::Region crop;
  double gain = 16, minPsnr = 0, minSsim = -1;
  int pngLevel = 6;
  bool exact = false, json = false;
};

void addCommon(CLI::App* app, CommonOptions* o);
// name: "encode" or "decode". Where o is null the command is there, without its options.
CLI::App* addConvert(CLI::App* app, const std::string& name, ConvertCommand* o);
CLI::App* addInfo(CLI::App* app, InfoCommand* o);
CLI::App* addCompare(CLI::App* app, CompareCommand* o);

}  // namespace zelcodec
