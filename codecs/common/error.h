// What goes wrong while a file is read or written, said so that a person can act on it.
#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include "zelj.h"

namespace zelcodecs {

enum class ErrorKind {
  damaged,      // the file breaks the rules of its format
  unsupported,  // a valid file, or an option, of a kind that is not handled
  limit,        // larger than the limits that the caller set, or than such a file can be
  argument,     // the caller asked for something impossible
  file,         // a file cannot be opened, read or written
  internal,     // a fault of this library
};

class Error : public std::runtime_error {
 public:
  static constexpr size_t kNowhere = ~size_t{0};

  Error(ErrorKind kind, const std::string& what, size_t offset = kNowhere)
      : std::runtime_error(offset == kNowhere ? what : what + " at byte " + std::to_string(offset)),
        kind_(kind),
        offset_(offset) {}

  ErrorKind kind() const { return kind_; }
  // The position in the file, or kNowhere.
  size_t offset() const { return offset_; }

 private:
  ErrorKind kind_;
  size_t offset_;
};

// What the system says of a file that cannot be opened, read or written.
class FileError : public Error {
 public:
  FileError(const std::string& name, int code)
      : Error(ErrorKind::file, name + ": " + std::strerror(code)), code_(code) {}

  // As errno has it.
  int code() const { return code_; }

 private:
  int code_;
};

// For calls of primitives that have no reason to fail: their arguments have been checked before.
inline void require(ZelStatus status) {
  if (status != zelStsNoErr)
    throw Error(ErrorKind::internal, "a primitive refused its arguments with status " + std::to_string(int(status)));
}

}  // namespace zelcodecs
