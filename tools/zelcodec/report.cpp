// From exceptions to messages and exit codes.
#include <cstdio>
#include <new>

#include "commands.h"
#include "common/error.h"

namespace zelcodec {

using zelcodecs::Error;
using zelcodecs::ErrorKind;

namespace {

int codeOf(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::damaged:
      return kDamaged;
    case ErrorKind::unsupported:
      return kUnsupported;
    case ErrorKind::limit:
      return kLimit;
    case ErrorKind::argument:
      return kUsage;
    case ErrorKind::file:
      return kFiles;
    case ErrorKind::internal:
      break;
  }
  return kFault;
}

const char* leadOf(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::damaged:
      return "damaged: ";
    case ErrorKind::unsupported:
      return "not supported: ";
    case ErrorKind::limit:
      return "above the limits: ";
    default:
      return "";
  }
}

}  // namespace

int report(const std::string& file, const std::exception_ptr& failure, bool mayKeepGoing) {
  try {
    std::rethrow_exception(failure);
  } catch (const Error& e) {
    const bool named = e.kind() == ErrorKind::file || file.empty();  // such a message begins with the file
    const char* const hint = e.kind() == ErrorKind::damaged && mayKeepGoing ? "; --keep-going decodes what is there"
                             : e.kind() == ErrorKind::limit ? "; --max-pixels and --max-memory move them"
                                                            : "";
    std::fprintf(stderr, "zelcodec: %s%s%s%s%s\n", named ? "" : file.c_str(), named ? "" : ": ", leadOf(e.kind()),
                 e.what(), hint);
    return codeOf(e.kind());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zelcodec: %s: out of memory\n", file.c_str());
    return kLimit;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "zelcodec: %s: %s\n", file.c_str(), e.what());
    return kFault;
  }
}

}  // namespace zelcodec
