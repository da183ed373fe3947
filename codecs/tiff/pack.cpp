// Compressions of strips and tiles.
#include "tiff/pack.h"

#include <libdeflate.h>

#include <new>

#include "common/error.h"
#include "zelj.h"

namespace zelcodecs::tiff {

Packer::Packer(TiffCompression compression, int level) : compression_(compression) {
  // Coders with large tables are made once, and begin anew with each strip.
  if (compression == TiffCompression::lzw) lzw_ = std::make_unique<LzwEncoder>();
  if (compression != TiffCompression::deflate) return;
  deflate_ = libdeflate_alloc_compressor(level);
  if (!deflate_) throw std::bad_alloc();
}

Packer::~Packer() {
  if (deflate_) libdeflate_free_compressor(deflate_);
}

// What comes back lies in this object until the next call, or, without compression, in the rows themselves.
ByteView Packer::pack(const uint8_t* rows, size_t rowBytes, int count) {
  const size_t size = rowBytes * size_t(count);
  switch (compression_) {
    case TiffCompression::packBits:
      packBits(rows, rowBytes, count);
      break;
    case TiffCompression::lzw:
      out_.clear();
      lzw_->encode(rows, size, &out_);
      break;
    case TiffCompression::deflate:
      deflate(rows, size);
      break;
    default:
      return {rows, size};
  }
  return {out_.data(), out_.size()};
}

// Each row by itself (TIFF 6.0, section 9). A literal of up to 128 bytes takes one byte more.
void Packer::packBits(const uint8_t* rows, size_t rowBytes, int count) {
  const size_t room = rowBytes + (rowBytes + 127) / 128;
  out_.resize(room * size_t(count));
  size_t at = 0;
  for (int y = 0; y < count; ++y) {
    int packed = 0;
    require(
        zeliPackBitsRow_TIFF_8u_C1(rows + rowBytes * size_t(y), int(rowBytes), out_.data() + at, &packed, int(room)));
    at += size_t(packed);
  }
  out_.resize(at);
}

// All rows are one stream in zlib's form. The bound is what the library may need for data that do not shrink.
void Packer::deflate(const uint8_t* data, size_t size) {
  out_.resize(libdeflate_zlib_compress_bound(deflate_, size));
  const size_t packed = libdeflate_zlib_compress(deflate_, data, size, out_.data(), out_.size());
  if (packed == 0) throw Error(ErrorKind::internal, "Deflate data above their bound");
  out_.resize(packed);
}

}  // namespace zelcodecs::tiff
