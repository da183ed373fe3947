// Calls that need a record, a stream or a table of the library's own making.
#pragma once

#include "calls.h"

namespace calls {

class List {
 public:
  // A call that returns a status; it is made once to see that it does its work.
  template <class F>
  void add(const char* name, const char* unit, double units, F make) {
    mustHold(make(), name);
    calls.push_back({name, units, unit, 0, [make]() mutable { make(); }});
  }

  // A record that one function makes and another frees: both names stand for the pair of calls.
  template <class Record, class Make, class Free>
  void pair(const char* making, const char* freeing, Make make, Free free) {
    for (const char* name : {making, freeing})
      add(name, "making and freeing", 1, [=] {
        Record* record = nullptr;
        const ZelStatus status = make(&record);
        return status ? status : free(record);
      });
  }

  std::vector<Call> calls;
};

std::vector<Call> huffmanCalls(const zeltest::Api& api);
std::vector<Call> tier1Calls(const zeltest::Api& api);
std::vector<Call> otherCalls(const zeltest::Api& api);

}  // namespace calls
