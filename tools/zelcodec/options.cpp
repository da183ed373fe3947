// The options of every command. Those of encode and decode that are settings of the codecs come from their list.
#include "options.h"

#include <cctype>

#include "common/error.h"
#include "common/source.h"

namespace zelcodec {

using namespace zelcodecs;

namespace {

// Settings that stand before the command too, or belong to the output's name.
bool standsElsewhere(const std::string& name) {
  return name == "format" || name == "threads" || name == "max-pixels" || name == "max-memory";
}

std::string formatsOf(const Setting& s) {
  std::string names;
  for (unsigned f = 0; s.formats >> f; ++f)
    if (s.formats >> f & 1) names += (names.empty() ? "" : ", ") + std::string(nameOf(Format(f)));
  return names;
}

bool ofOneFormat(const Setting& s) { return s.formats && (s.formats & (s.formats - 1)) == 0; }

std::string groupOf(const Setting& s) {
  if (s.formats == 0) return "The picture";
  if (s.roles == kReading) return "Reading";
  return ofOneFormat(s) ? "Writing " + formatsOf(s) : "Writing";
}

// What stands for a value: N, WORD or FILE, and behind a colon what it can be.
std::string typeOf(const Setting& s) {
  const std::string values = s.values;
  if (std::string(s.name) == "scans") return "FILE";
  if (values.find(',') != std::string::npos && std::isupper(static_cast<unsigned char>(values[0]))) return s.values;
  const bool number = values.find(" to ") != std::string::npos || values.rfind("a ", 0) == 0;
  return (number ? "N:" : "WORD:") + values;
}

void addSetting(CLI::App* c, ConvertCommand* o, const Setting& s) {
  static const std::map<std::string, std::string> kShort = {
      {"quality", "-q,"}, {"sampling", "-s,"}, {"restart", "-r,"}};
  const auto brief = kShort.find(s.name);
  const std::string names = (brief == kShort.end() ? "" : brief->second) + "--" + s.name;
  const bool told = s.formats == 0 || (ofOneFormat(s) && s.roles != kReading);  // by the heading
  const std::string help = (told ? "" : formatsOf(s) + ": ") + s.help;
  CLI::Option* option;
  if (*s.values == '\0') {
    option = c->add_flag(names, help);
  } else {
    option = c->add_option(names, o->words[&s], help)->type_name(typeOf(s));
    const std::string values = s.values;
    if (values == "WIDTH,HEIGHT")
      option->expected(2)->allow_extra_args(false)->delimiter(',')->type_name("N");
    else if (values.find("joined by +") == std::string::npos)
      option->expected(1)->allow_extra_args(false);
  }
  o->options[&s] = option->group(groupOf(s));
}

void addSettings(CLI::App* c, ConvertCommand* o) {
  for (const Setting& s : allSettings())
    if (!standsElsewhere(s.name)) addSetting(c, o, s);
  for (const auto& [s, option] : o->options) {
    if (*s->excludes) option->excludes(c->get_option(std::string("--") + s->excludes));
    if (*s->needs) option->needs(c->get_option(std::string("--") + s->needs));
  }
}

// A rectangle in one word, so that the next one is not taken for a part of it.
CLI::Option* addCrop(CLI::App* c, Region* crop, const std::string& help) {
  return c
      ->add_option(
          "--crop",
          [crop](const CLI::results_t& words) {
            Settings s(kReading);
            s.give("crop", words.at(0));
            *crop = s.asked().decode.common.region;
            return true;
          },
          help)
      ->type_name("X,Y,WIDTH,HEIGHT");
}

std::string contentsOf(const std::string& path) {
  const std::unique_ptr<Source> source = fileSource(path);
  const ByteView text = source->all();
  return std::string(text.begin(), text.end());
}

// The words of one option as the value of its setting.
std::string joined(const Setting& s, const std::vector<std::string>& words) {
  if (std::string(s.name) == "scans") return contentsOf(words.at(0));
  std::string value;
  for (const std::string& w : words)
    value += (value.empty() ? "" : std::string(s.values) == "WIDTH,HEIGHT" ? "," : "+") + w;
  return value;
}

}  // namespace

void CommonOptions::apply(DecodeOptions* decode) const {
  decode->threads = threads;
  decode->limits.maxPixels = maxPixels;
  decode->limits.maxMemory = maxMemory;
}

Settings ConvertCommand::settings(SettingRole role) const {
  Settings all(role, "--");
  if (role == kWriting && !format.empty()) all.give("format", format);
  for (const auto& [s, option] : options) {
    const bool wanted = role == kWriting ? (s->roles & kWriting) != 0 : s->roles == kReading;
    if (wanted && option->count() > 0) all.give(s->name, *s->values ? joined(*s, words.at(s)) : "yes");
  }
  return all;
}

void addCommon(CLI::App* app, CommonOptions* o) {
  app->add_option("--threads", o->threads, "Threads to use; 0 for one on each core")->check(CLI::Range(0, 1024));
  app->add_flag("--progress", o->progress, "Show progress even where standard error is no terminal");
  app->add_option("--max-pixels", o->maxPixels, "Refuse larger pictures")->capture_default_str();
  app->add_option("--max-memory", o->maxMemory, "Refuse files that take more bytes to decode")->capture_default_str();
}

CLI::App* addConvert(CLI::App* app, const std::string& name, ConvertCommand* o) {
  const bool encodes = name == "encode";
  CLI::App* c =
      app->add_subcommand(name, encodes ? "Any picture to a file of any format; - is JPEG" : "The same; - is Netpbm");
  c->fallthrough();
  if (!o) return c;
  c->add_option("files", o->files, "Input and output, - for standard input and output; with --output-dir inputs alone")
      ->required();
  c->add_option("--output-dir", o->outputDirectory, "Folder for the outputs of several inputs, named after these")
      ->check(CLI::ExistingDirectory.description(""));
  std::vector<std::string> formats;
  for (const Named<Format>& f : kFormatNames) formats.emplace_back(f.name);
  c->add_option("--format", o->format, "Of the output, where its ending does not tell: jpg jp2 j2k dds tif png pnm")
      ->check(CLI::IsMember(formats).description(""));
  addSettings(c, o);
  c->add_flag("--strip", o->strip, "Leave out all metadata")->group("The picture");
  c->add_flag("--time", o->time, "Print the time that the codec took, without files, to standard error");
  c->add_option("--repeat", o->repeat, "Do the work so often and print the shortest time")->check(CLI::Range(1, 1000));
  c->footer(encodes ? "Examples:\n  zelcodec encode photo.png photo.jpg --quality 90 --sampling 422 --progressive\n"
                      "  zelcodec encode *.tif --output-dir web --format jpg --auto-orient --strip"
                    : "Example:\n  zelcodec decode photo.jpg thumbnail.png --scale 1/8");
  return c;
}

CLI::App* addInfo(CLI::App* app, InfoCommand* o) {
  CLI::App* i = app->add_subcommand("info", "What files say about themselves");
  i->fallthrough();
  i->add_option("files", o->files, "Files of any kind that is read, or - for standard input")->required();
  i->add_flag("--json", o->json, "Print JSON, one line for each file");
  i->footer("Example:\n  zelcodec info photo.jpg --json");
  return i;
}

CLI::App* addCompare(CLI::App* app, CompareCommand* o) {
  CLI::App* c = app->add_subcommand("compare", "PSNR and SSIM of two pictures, in files of any kind");
  c->fallthrough();
  c->add_option("first", o->first, "The original")->required();
  c->add_option("second", o->second, "The other picture")->required();
  c->add_option("--diff", o->diff, "Write a picture of the differences, grey where there is none");
  c->add_option("--gain", o->gain, "Magnification of the differences in it")->capture_default_str();
  c->add_option("--save-first", o->saveFirst, "Write the first picture as it was read");
  c->add_option("--save-second", o->saveSecond, "Write the second picture as it was read");
  addCrop(c, &o->crop, "What of the pictures is written");
  c->add_option("--min-psnr", o->minPsnr, "Exit with 4 where the PSNR over all channels is below this");
  c->add_option("--min-ssim", o->minSsim, "Exit with 4 where the SSIM is below this");
  c->add_option("--png-level", o->pngLevel, "Compression of PNG files")->check(CLI::Range(0, 9))->capture_default_str();
  c->add_flag("--exact", o->exact, "Exit with 4 unless all samples are equal");
  c->add_flag("--json", o->json, "Print JSON");
  c->footer("Example:\n  zelcodec compare original.png photo.jpg --diff difference.png --gain 16 --min-psnr 35");
  return c;
}

}  // namespace zelcodec
