// Where the bytes of a file come from.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace zelcodecs {

// Read either by position, as most formats are, or from front to back, as Netpbm and PNG files are; the latter holds no
// more than what is asked for at once, also of a pipe. A source is read in one of the two ways.
class Source {
 public:
  virtual ~Source() = default;

  // The first bytes, for telling the format; fewer at the end. Does not count as reading.
  virtual ByteView peek(size_t count) = 0;
  // All bytes. They stay where they are as long as the source.
  virtual ByteView all() = 0;
  // All bytes where they are in memory, or a file can be mapped, without reading any; none elsewhere. Does not count as
  // reading either.
  virtual ByteView inMemory() = 0;
  // What lies before a position is not needed again.
  virtual void release(size_t before) = 0;
  // The next bytes, fewer than count only at the end; valid until the next call.
  virtual ByteView next(size_t count) = 0;
  // The same, copied to where the caller wants them. How many there were.
  virtual size_t read(uint8_t* to, size_t count) = 0;
};

// Bytes of the caller, which stay there.
std::unique_ptr<Source> memorySource(const uint8_t* data, size_t size);

// A file, or standard input for "-". all() maps regular files into memory: one that is cut while it is read ends the
// process, as with every program that maps files. Throws Error(file).
std::unique_ptr<Source> fileSource(const std::string& path);

}  // namespace zelcodecs
