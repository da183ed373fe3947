#include "calls.h"

#include <cstdio>
#include <map>
#include <regex>

#include "arguments.h"
#include "records.h"

namespace calls {

void mustHold(ZelStatus status, const char* function) {
  if (status == zelStsNoErr) return;
  std::fprintf(stderr, "%s: status %d\n", function, int(status));
  std::exit(1);
}

namespace {

// The numbers that functions of such a name take, and what their work is counted in. The first rule that matches holds.
struct Rule {
  const char* name;
  Numbers numbers;
  double units;
  const char* unit;
};

const std::vector<Rule>& rules() {
  constexpr int kPixels = kWidth * kHeight;
  constexpr ZeliSize kHalf = {kWidth / 2, kHeight}, kQuarter = {kWidth / 2, kHeight / 2};
  static const std::vector<Rule> all = {
      {"GetBufSize|GetStateSize", {{0}, {{64, 64}}}, 1, "call"},
      {"QuantFwdRawTableInit", {{75}, {}}, 1, "call"},
      {"TableInit", {}, 1, "call"},
      {"WT(Fwd|Inv)Row", {{kStep, kStep, kStep, 0}, {kHalf}}, kPixels, "sample"},
      {"WT(Fwd|Inv)Col_", {{kStep, kStep, kStep, 0}, {{kWidth, kHeight / 2}}}, kPixels, "sample"},
      {"WT(Fwd|Inv)ColLift", {{kWidth}, {}}, 2 * kWidth, "sample"},
      {"WT(Fwd|Inv)_", {}, kPixels, "sample"},
      {"SampleDownH2V1_", {{kStep}, {kPlane, kHalf}}, kPixels, "pixel"},
      {"SampleDownH2V2_", {{kStep}, {kPlane, kQuarter}}, kPixels, "pixel"},
      {"SampleUpH2V1_", {{kStep}, {kHalf, kPlane}}, kPixels, "pixel"},
      {"SampleUpH2V2_", {{kStep}, {kQuarter, kPlane}}, kPixels, "pixel"},
      {"SampleDownRow", {{kWidth}, {}}, kWidth, "pixel"},
      {"SampleUpRow", {{kWidth}, {}}, 2 * kWidth, "pixel"},
      {"_MCU_", {}, 1, "MCU"},
      {"PCT(Fwd|Inv)\\d", {}, 1, "macroblock"},
      {"8x8", {}, 1, "block"},
      {"PredFirstRow", {{kWidth, 8, 0}, {}}, kWidth, "sample"},
      {"PredRow", {{kWidth, 4}, {}}, kWidth, "sample"},
      {"PackBitsRow", {{kWidth, 2 * kWidth}, {}}, kWidth, "byte"},
      {"(Join|Split)Row", {{kWidth}, {}}, kWidth, "sample"},
      {"", {}, kPixels, "pixel"},
  };
  return all;
}

// Bytes read and written by a function on planes, as the end of its name tells: types and channels of source and
// destination, or of both at once.
double trafficOf(const std::string& name) {
  static const std::regex end("_(8u|16u|16s|32s|32f)(8u|16u|16s|32s|32f)?_([CP])(\\d)(([CP])(\\d))?I?R$");
  std::smatch m;
  if (!std::regex_search(name, m, end) || std::regex_search(name, std::regex("WT|8x|16x|MCU|Texture|Sample"))) return 0;
  const auto size = [](const std::string& type) { return type == "8u" ? 1.0 : type[0] == '1' ? 2.0 : 4.0; };
  // Packed pixels of 16 bits have three channels in one element.
  const auto channels = [&](const std::string& type, const std::string& n) {
    return type == "16u" && n == "3" ? 1.0 : std::stod(n);
  };
  const std::string from = m[1], to = m[2].matched ? m[2].str() : from;
  const double read = size(from) * (m[3] == "C" ? channels(from, m[4]) : std::stod(m[4]));
  const std::string toChannels = m[7].matched ? m[7].str() : m[4].str();
  const double written = size(to) * (m[6] == "P" ? std::stod(toChannels) : channels(to, toChannels));
  return kWidth * kHeight * (read + written);
}

template <class F>
struct TakesPlainArguments : std::false_type {};
template <class... P>
struct TakesPlainArguments<ZelStatus (*)(P...)> {
  template <class T>
  using Bare = std::remove_const_t<std::remove_pointer_t<std::remove_const_t<std::remove_pointer_t<T>>>>;
  static constexpr bool value =
      ((std::is_arithmetic_v<Bare<P>> || std::is_same_v<Bare<P>, ZeliRect> || std::is_same_v<P, ZeliSize>)&&...);
};

template <class F>
void add(std::vector<Call>& list, std::map<std::string, Call>& withRecords, const char* name, F f) {
  const auto found = withRecords.find(name);
  if (found != withRecords.end()) {
    list.push_back(std::move(found->second));
    return;
  }
  if constexpr (TakesPlainArguments<F>::value) {
    for (const Rule& rule : rules()) {
      if (!std::regex_search(name, std::regex(rule.name))) continue;
      list.push_back({name, rule.units, rule.unit, trafficOf(name), callOf(name, f, rule.numbers)});
      return;
    }
  }
  std::fprintf(stderr, "nobody calls %s\n", name);
  std::exit(1);
}

}  // namespace

std::vector<Call> all(const zeltest::Api& api) {
  std::map<std::string, Call> withRecords;
  for (Call& c : huffmanCalls(api)) withRecords.emplace(c.function, std::move(c));
  for (Call& c : tier1Calls(api)) withRecords.emplace(c.function, std::move(c));
  for (Call& c : otherCalls(api)) withRecords.emplace(c.function, std::move(c));
  std::vector<Call> list;
#define ZEL_EXPORT(name) add(list, withRecords, #name, api.name);
#include "exports.inc"
#undef ZEL_EXPORT
  return list;
}

}  // namespace calls
