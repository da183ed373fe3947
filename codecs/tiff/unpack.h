// The bytes of a strip or tile as they were before compression, from its beginning to its end, in pieces of any size.
#pragma once

#include <memory>

#include "common/options.h"
#include "tiff/page.h"

namespace zelcodecs::tiff {

class Unpacker {
 public:
  virtual ~Unpacker() = default;
  Unpacker() = default;
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;

  // The next n bytes. Throws where they are missing or damaged.
  virtual void read(uint8_t* to, size_t n) = 0;
  // Passes over the next n bytes.
  virtual void skip(size_t n);
  // Coded bytes of the file before this position are not needed any more.
  virtual uint64_t position() const = 0;
};

// Coded bytes of a strip or tile, with their position in the file. rows: how many of its rows are going to be read.
struct Coded {
  ByteView bytes;
  uint64_t offset;
  uint64_t rows;
};

// atOnce: memory may be taken for all rows, which is faster. tables: of JPEG.
std::unique_ptr<Unpacker> makeUnpacker(const Layout& layout, const Coded& coded, bool atOnce, ByteView tables,
                                       const Limits& limits);

}  // namespace zelcodecs::tiff
