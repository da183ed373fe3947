// zelcodec: the codecs on the command line.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "commands.h"
#include "zelj.h"

namespace {

using namespace zelcodec;

const char* const kFooter =
    "Exit codes: 0 success; 1 wrong usage; 2 a file cannot be read or written; 3 the input is damaged; 4 the pictures\n"
    "differ (compare); 5 the input is of a kind that is not supported; 6 it is above the limits; 7 a fault of the "
    "program.";

std::string version() {
  const ZelLibraryVersion* const v = zeljGetLibVersion();
  return std::string("zelcodec, with ") + v->name + " " + v->version;
}

int run(int argc, char** argv) {
  CommonOptions common;
  ConvertCommand encode, decode;
  InfoCommand info;
  CompareCommand compare;
  CLI::App app("Encodes, decodes and compares JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm pictures.", "zelcodec");
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", version);
  addCommon(&app, &common);
  // The options of a command that nobody names are not needed, and take time that a small picture would notice.
  const auto named = [&](const char* name) {
    return std::find(argv, argv + argc, std::string_view(name)) != argv + argc;
  };
  const CLI::App* const e = addConvert(&app, "encode", named("encode") ? &encode : nullptr);
  const CLI::App* const d = addConvert(&app, "decode", named("decode") ? &decode : nullptr);
  const CLI::App* const i = addInfo(&app, &info);
  addCompare(&app, &compare);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) ? kUsage : kOk;
  }
  if (*e) return runConvert(encode, common, true);
  if (*d) return runConvert(decode, common, false);
  if (*i) return runInfo(info, common);
  return runCompare(compare, common);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (...) {
    return report("", std::current_exception(), false);
  }
}
