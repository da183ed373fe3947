// The bytes of strips and tiles compressed.
#pragma once

#include <memory>
#include <vector>

#include "tiff/lzw.h"
#include "tiff/tiff.h"

struct libdeflate_compressor;

namespace zelcodecs::tiff {

// Used by one thread at a time; its tables are kept from piece to piece.
class Packer {
 public:
  Packer(TiffCompression compression, int level);
  ~Packer();
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  // Rows of rowBytes without gaps. What comes of them stays until the next call, or is the rows themselves.
  ByteView pack(const uint8_t* rows, size_t rowBytes, int count);

 private:
  void packBits(const uint8_t* rows, size_t rowBytes, int count);
  void deflate(const uint8_t* data, size_t size);

  const TiffCompression compression_;
  std::unique_ptr<LzwEncoder> lzw_;
  libdeflate_compressor* deflate_ = nullptr;
  std::vector<uint8_t> out_;
};

}  // namespace zelcodecs::tiff
