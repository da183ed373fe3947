// Every exported function, whether it has a peer or not: the time of a typical call, and what planes have of memcpy's
// speed for as many bytes read and written.
#include <cstring>
#include <map>
#include <memory>

#include "calls/calls.h"
#include "ratios.h"

namespace {

const bench::Suite suite([] {
  std::map<std::string, std::vector<calls::Call>> ofVariant;
  for (const zeltest::Variant& v : zeltest::variants())
    if (v.supported) ofVariant[v.name] = calls::all(v.api);
  for (size_t i = 0; i < ofVariant.begin()->second.size(); ++i) {
    const calls::Call& any = ofVariant.begin()->second[i];
    std::vector<bench::Contender> contenders;
    for (const auto& [name, list] : ofVariant) contenders.push_back({name, list[i].make});
    if (any.bytes > 0) {
      const size_t half = size_t(any.bytes / 2);
      const auto from = std::make_shared<std::vector<char>>(half, '1'), to = std::make_shared<std::vector<char>>(half);
      contenders.push_back({"memcpy", [=] { std::memcpy(to->data(), from->data(), half); }});
    }
    bench::compare("call of " + std::string(any.function), any.units, any.unit, {}, std::move(contenders), {5, 0.005});
  }
});

}  // namespace
