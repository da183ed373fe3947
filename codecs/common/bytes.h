// Numbers as bytes, in either order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/error.h"

namespace zelcodecs {

// A piece of a file, or all of it.
struct ByteView {
  const uint8_t* data = nullptr;
  size_t size = 0;

  const uint8_t* begin() const { return data; }
  const uint8_t* end() const { return data + size; }
  ByteView from(size_t at) const { return {data + at, size - at}; }
};

constexpr uint32_t bigEndian16(const uint8_t* p) { return uint32_t(p[0] << 8 | p[1]); }
constexpr uint32_t bigEndian32(const uint8_t* p) { return bigEndian16(p) << 16 | bigEndian16(p + 2); }
constexpr uint64_t bigEndian64(const uint8_t* p) { return uint64_t{bigEndian32(p)} << 32 | bigEndian32(p + 4); }
constexpr uint32_t littleEndian16(const uint8_t* p) { return uint32_t(p[1] << 8 | p[0]); }
constexpr uint32_t littleEndian32(const uint8_t* p) { return littleEndian16(p + 2) << 16 | littleEndian16(p); }
constexpr uint64_t littleEndian64(const uint8_t* p) {
  return uint64_t{littleEndian32(p + 4)} << 32 | littleEndian32(p);
}

// Reads numbers by position, in the order that the file has. A read beyond the end throws Error(damaged).
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes, bool bigEndian = true) : bytes_(bytes), bigEndian_(bigEndian) {}

  bool bigEndian() const { return bigEndian_; }
  ByteView bytes() const { return bytes_; }
  uint32_t u8(uint64_t at) const { return *place(at, 1); }
  uint32_t u16(uint64_t at) const { return bigEndian_ ? bigEndian16(place(at, 2)) : littleEndian16(place(at, 2)); }
  uint32_t u32(uint64_t at) const { return bigEndian_ ? bigEndian32(place(at, 4)) : littleEndian32(place(at, 4)); }
  uint64_t u64(uint64_t at) const { return bigEndian_ ? bigEndian64(place(at, 8)) : littleEndian64(place(at, 8)); }
  ByteView view(uint64_t at, uint64_t count) const { return {place(at, count), size_t(count)}; }

 private:
  const uint8_t* place(uint64_t at, uint64_t count) const {
    if (at > bytes_.size || count > bytes_.size - at)
      throw Error(ErrorKind::damaged, "the file ends too early,", bytes_.size);
    return bytes_.data + at;
  }

  ByteView bytes_;
  bool bigEndian_;
};

// Appends numbers to a file in memory, or to a part of one.
class ByteWriter {
 public:
  explicit ByteWriter(std::vector<uint8_t>* out, bool bigEndian = true) : out_(out), bigEndian_(bigEndian) {}

  void u8(uint32_t v) { out_->push_back(uint8_t(v)); }
  void u16(uint32_t v) { put(v, 2); }
  void u32(uint32_t v) { put(v, 4); }
  void u64(uint64_t v) { put(v, 8); }
  void text(const char* s) {
    for (; *s; ++s) u8(static_cast<unsigned char>(*s));
  }
  void bytes(const uint8_t* p, size_t n) { out_->insert(out_->end(), p, p + n); }
  void bytes(const std::vector<uint8_t>& v) { bytes(v.data(), v.size()); }
  size_t size() const { return out_->size(); }
  void patch32(size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) (*out_)[at + size_t(i)] = uint8_t(v >> 8 * (bigEndian_ ? 3 - i : i));
  }

 private:
  void put(uint64_t v, int count) {
    for (int i = 0; i < count; ++i) out_->push_back(uint8_t(v >> 8 * (bigEndian_ ? count - 1 - i : i)));
  }

  std::vector<uint8_t>* out_;
  bool bigEndian_;
};

}  // namespace zelcodecs
