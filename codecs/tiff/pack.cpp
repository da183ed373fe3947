// Compressions of strips and tiles.
#include "tiff/pack.h"

#include <libdeflate.h>

#include <new>

#include "common/error.h"
#include "zelj.h"

namespace zelcodecs::tiff {

Packer::Packer(TiffCompression compression, int level) : compression_(compression) {
  if (compression == TiffCompression::lzw) lzw_ = std::make_unique<LzwEncoder>();
  if (compression != TiffCompression::deflate) return;
  deflate_ = libdeflate_alloc_compressor(level);
  if (!deflate_) throw std::bad_alloc();
}

Packer::~Packer() {
  if (deflate_) libdeflate_free_compressor(deflate_);
}

std::vector<uint8_t> Packer::pack(const uint8_t* rows, size_t rowBytes, int count) {
  const size_t size = rowBytes * size_t(count);
  switch (compression_) {
    case TiffCompression::packBits:
      return packBits(rows, rowBytes, count);
    case TiffCompression::lzw: {
      std::vector<uint8_t> out;
      out.reserve(size);
      lzw_->encode(rows, size, &out);
      return out;
    }
    case TiffCompression::deflate:
      return deflate(rows, size);
    default:
      return {rows, rows + size};
  }
}

// Each row by itself (TIFF 6.0, section 9). A literal of up to 128 bytes takes one byte more.
std::vector<uint8_t> Packer::packBits(const uint8_t* rows, size_t rowBytes, int count) const {
  const size_t room = rowBytes + (rowBytes + 127) / 128;
  std::vector<uint8_t> out(room * size_t(count));
  size_t at = 0;
  for (int y = 0; y < count; ++y) {
    int packed = 0;
    require(
        zeliPackBitsRow_TIFF_8u_C1(rows + rowBytes * size_t(y), int(rowBytes), out.data() + at, &packed, int(room)));
    at += size_t(packed);
  }
  out.resize(at);
  return out;
}

std::vector<uint8_t> Packer::deflate(const uint8_t* data, size_t size) {
  std::vector<uint8_t> out(libdeflate_zlib_compress_bound(deflate_, size));
  const size_t packed = libdeflate_zlib_compress(deflate_, data, size, out.data(), out.size());
  if (packed == 0) throw Error(ErrorKind::internal, "Deflate data above their bound");
  out.resize(packed);
  return out;
}

}  // namespace zelcodecs::tiff
