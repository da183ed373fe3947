// What the commands do, and how they end.
#pragma once

#include <exception>
#include <string>

#include "options.h"

namespace zelcodec {

enum ExitCode {
  kOk = 0,
  kUsage = 1,
  kFiles = 2,
  kDamaged = 3,
  kDiffer = 4,
  kUnsupported = 5,
  kLimit = 6,
  kFault = 7,
};

// encode and decode; the first of the exit codes of several files that is not kOk.
int runConvert(const ConvertCommand& command, const CommonOptions& common, bool encodes);
int runInfo(const InfoCommand& command, const CommonOptions& common);
int runCompare(const CompareCommand& command, const CommonOptions& common);

// Prints what went wrong with a file, and gives the exit code. mayKeepGoing: whether --keep-going would have helped
// with damage.
int report(const std::string& file, const std::exception_ptr& failure, bool mayKeepGoing);

}  // namespace zelcodec
