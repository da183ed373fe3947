// LZW of strips and tiles (TIFF 6.0, section 13): codes of 9 to 12 bits for strings that have been seen, 256 to forget
// them all, 257 at the end. Codes grow by a bit one string before the table asks for it ("early change").
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/bytes.h"

namespace zelcodecs::tiff {

constexpr int kLzwClear = 256, kLzwEnd = 257, kLzwFirst = 258;
constexpr int kLzwLeastBits = 9, kLzwMostBits = 12;
constexpr int kLzwCodes = 1 << kLzwMostBits;

// Gives the bytes in pieces of any size.
class LzwDecoder {
 public:
  // Files of some old writers have the lowest bits first, and codes that do not grow early. They are known by their
  // first code, which is Clear in either order.
  explicit LzwDecoder(ByteView coded);
  // The next bytes; how many there are, less than n only where the data end or are damaged.
  size_t read(uint8_t* to, size_t n);
  // Of the coded bytes, those that have been looked at.
  size_t used() const { return at_; }

 private:
  // A string is another one whose length is a multiple of eight, and up to eight bytes behind it: it is written
  // backwards in steps of eight bytes.
  struct Entry {
    uint64_t text;  // the bytes behind, the first one lowest
    uint16_t length;
    uint16_t before;
  };

  int nextCode();
  bool begin();
  bool extend(int code);
  uint8_t firstByte(int code) const;
  // To memory with room for seven bytes more than the string has.
  void put(int code, uint8_t* to) const;

  ByteView coded_;
  bool lowFirst_;
  size_t at_ = 0;
  uint64_t bits_ = 0;  // not yet used: the lowest count_ of them, or with the first code lowest
  int count_ = 0;
  int width_ = kLzwLeastBits, next_ = kLzwFirst;
  int previous_ = -1;
  bool ended_ = false;
  std::vector<Entry> table_;
  std::vector<uint8_t> pending_;  // the rest of a string that the last piece had no room for
  size_t pendingAt_ = 0;
};

class LzwEncoder {
 public:
  LzwEncoder() : slots_(kSlots) {}
  void encode(const uint8_t* data, size_t size, std::vector<uint8_t>* out);

 private:
  struct Slot {
    uint32_t key = 0;  // a string, a byte behind it, and one more than zero
    uint16_t code = 0;
  };
  static constexpr size_t kSlots = size_t{1} << 14;  // four times the codes
  Slot* find(uint32_t key);

  std::vector<Slot> slots_;
};

}  // namespace zelcodecs::tiff
