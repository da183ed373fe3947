// The bit writer of every Huffman encoder: a local variable, made from the caller's state and position, saved back on
// the way out.
//
// Pending bits stand at the bottom of a 64-bit word; what is above them is older and already written.
#pragma once

#include "frame/vec.h"
#include "huffman/bits.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kStateTop = 24;  // a caller's state holds its pending bits below this bit

template <Path kPath>
class BitWriter {
 public:
  // pending: the low `count` bits (0 to 7) are waiting to be written; the bits above them are ignored.
  ZEL_INLINE BitWriter(uint8_t* dst, int length, int pos, uint64_t pending, int count)
      : bits_(pending), count_(count), dst_(dst), next_(dst + pos), end_(dst + length) {}

  // A Huffman code (an entry of an encoder table) and the n low bits of extra, 0 to 16 of them.
  ZEL_INLINE ZelStatus code(uint32_t entry, uint32_t extra, int n) {
    const int length = int(entry >> 16);
    if constexpr (kPath == Path::careful) {
      if (length == 0) return zelStsJPEGHuffTableErr;
      if (const ZelStatus s = put(entry, length)) return s;
      return n == 0 ? zelStsNoErr : put(extra, n);
    } else {
      if (kPath == Path::fast && __builtin_expect(length == 0, 0)) return zelStsJPEGHuffTableErr;
      return add((entry & 0xFFFF) << n | uint32_t(extra & lowBits(n)), length + n);
    }
  }

  // The n low bits of value, 1 to 16 of them. Where the destination is full, the bytes that fitted are written, and the
  // pending bits are those of before the call.
  ZelStatus put(uint32_t value, int n) {
    static_assert(kPath == Path::careful, "the fast path adds a code and its extra bits at once");
    const uint64_t bits = bits_ << n | (value & lowBits(n));
    int count = count_ + n;
    for (; count >= 8; count -= 8) {
      if (next_ >= end_) return zelStsJPEGOutOfBufErr;
      const uint8_t byte = uint8_t(bits >> (count - 8));
      *next_++ = byte;
      if (byte == 0xFF) {
        if (next_ >= end_) return zelStsJPEGOutOfBufErr;
        *next_++ = 0;
      }
    }
    bits_ = bits;
    count_ = count;
    return zelStsNoErr;
  }

  // Writes whole bytes until fewer than 8 bits are pending. The bytes after the new position may change: the partial
  // byte with its low bits 0, then zeros.
  ZEL_INLINE ZelStatus writeWholeBytes() {
    if constexpr (kPath == Path::careful) return zelStsNoErr;
    if (!hasRoom(8)) return zelStsJPEGOutOfBufErr;
    const uint64_t top = bits_ << 1 << (63 - count_);
    if (__builtin_expect(has0xFF(top), 0)) {
      if (!hasRoom(16)) return zelStsJPEGOutOfBufErr;
      next_ = storeStuffed(next_, top, count_ >> 3, (count_ & 7) != 0);
    } else {
      storeBytes(next_, top);
      next_ += count_ >> 3;
    }
    count_ &= 7;
    return zelStsNoErr;
  }

  uint64_t pending() const { return bits_ & lowBits(count_); }
  int count() const { return count_; }
  int pos() const { return int(next_ - dst_); }

 private:
  ZEL_INLINE bool hasRoom(int bytes) const { return kPath == Path::unbounded || end_ - next_ >= bytes; }

  // n bits (0 to 32) below the pending ones. Up to 63 stay pending: a full word is written.
  ZEL_INLINE ZelStatus add(uint64_t value, int n) {
    const int count = count_ + n;
    if (count < 64) {
      bits_ = bits_ << n | value;
      count_ = count;
      return zelStsNoErr;
    }
    const int over = count - 64;
    const uint64_t full = bits_ << (n - over) | value >> over;
    if (__builtin_expect(has0xFF(full), 0)) {
      if (!hasRoom(16)) return zelStsJPEGOutOfBufErr;
      next_ = storeStuffed(next_, full, 8, false);
    } else {
      if (!hasRoom(8)) return zelStsJPEGOutOfBufErr;
      storeBytes(next_, full);
      next_ += 8;
    }
    bits_ = value;
    count_ = over;
    return zelStsNoErr;
  }

  // The n top bytes with 0x00 after each 0xFF; a partial byte after them is stored but not counted.
  [[gnu::noinline]] static uint8_t* storeStuffed(uint8_t* next, uint64_t bytes, int n, bool partial) {
    for (; n > 0; --n, bytes <<= 8) {
      *next++ = uint8_t(bytes >> 56);
      if (bytes >> 56 == 0xFF) *next++ = 0;
    }
    if (partial) *next = uint8_t(bytes >> 56);
    return next;
  }

  uint64_t bits_;
  int count_;
  uint8_t *dst_, *next_, *end_;
};

}  // namespace
}  // namespace ZEL_VARIANT
