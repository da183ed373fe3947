// What the command line asks for.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "any/any.h"

namespace zelcodec {

using zelcodecs::Format;

// Options that only some formats know. Given for another one, an option is an error and not passed over.
class FormatOptions {
 public:
  void add(CLI::Option* option, std::vector<Format> formats) { entries_.push_back({option, std::move(formats)}); }
  // role: "input" or "output". Throws Error(argument).
  void check(Format format, const char* role) const;

 private:
  struct Entry {
    const CLI::Option* option;
    std::vector<Format> formats;
  };
  std::vector<Entry> entries_;
};

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
  zelcodecs::AnyDecodeOptions decode;
  zelcodecs::AnyEncodeOptions encode;
  bool grey = false, lossless = false, progressive = false, fast = false, components = false;
  bool autoOrient = false, strip = false, time = false;
  int depth = 0, repeat = 1;
  std::optional<std::array<int, 3>> background;
  std::vector<int> blockSize, tileSize;
  std::vector<std::string> styles;
  std::string scans, backgroundText;
  FormatOptions reading, writing;

  // Brings what several options say together into encode and decode. Throws Error(argument) for a contradiction.
  void settle(const CommonOptions& common);
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

extern const std::map<std::string, zelcodecs::CodeBlockStyle> kStyles;
extern const std::map<std::string, zelcodecs::Progression> kProgressions;
extern const std::map<std::string, Format> kFormats;

}  // namespace zelcodec
