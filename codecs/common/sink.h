// Where the bytes of a file go.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zelcodecs {

class Sink {
 public:
  virtual ~Sink() = default;

  // So many bytes are going to be written, where that is known: memory for them may be taken at once.
  virtual void expect(uint64_t) {}
  virtual void write(const uint8_t* data, size_t size) = 0;
  void write(const std::vector<uint8_t>& bytes) { write(bytes.data(), bytes.size()); }
  // Bytes written so far.
  virtual uint64_t position() const = 0;

  // Whether what has been written can be changed; not on a pipe.
  virtual bool canPatch() const = 0;
  virtual void patch(uint64_t at, const uint8_t* data, size_t size) = 0;

  // The file is whole. Without this call it is as if it had never been begun, as far as that can be.
  virtual void commit() = 0;
};

// Appends to out.
std::unique_ptr<Sink> memorySink(std::vector<uint8_t>* out);

// A file, or standard output for "-". A regular file is written beside the one that may stand there, and takes its
// place at commit(). Throws Error(file).
std::unique_ptr<Sink> fileSink(const std::string& path);

}  // namespace zelcodecs
