// zelcodec: the codecs on the command line.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "commands.h"
#include "manual.h"
#include "zelj.h"

namespace {

using namespace zelcodec;

const ExitCodes kExitCodes = {{kOk, "success"},
                              {kUsage, "wrong usage"},
                              {kFiles, "a file cannot be read or written"},
                              {kDamaged, "the input is damaged"},
                              {kDiffer, "the pictures differ (compare)"},
                              {kUnsupported, "the input is of a kind that is not supported"},
                              {kLimit, "the input is above the limits"},
                              {kFault, "a fault of the program"}};

std::string footer() {
  std::string text = "Exit codes:";
  for (const auto& [code, meaning] : kExitCodes) text += "\n  " + std::to_string(code) + "  " + meaning;
  return text;
}

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
  app.footer(footer);
  app.set_version_flag("--version", version);
  app.add_flag("--manual", "Print the manual page, a source for man");
  addCommon(&app, &common);
  // The options of a command that nobody names are not needed, and take time that a small picture would notice.
  const auto named = [&](const char* name) {
    return std::find(argv, argv + argc, std::string_view(name)) != argv + argc;
  };
  const bool wantsManual = named("--manual");
  const CLI::App* const e = addConvert(&app, "encode", named("encode") || wantsManual ? &encode : nullptr);
  const CLI::App* const d = addConvert(&app, "decode", named("decode") || wantsManual ? &decode : nullptr);
  const CLI::App* const i = addInfo(&app, &info);
  addCompare(&app, &compare);
  if (wantsManual) return std::fputs(manual(app, kExitCodes).c_str(), stdout) < 0 ? kFiles : kOk;
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
