// The bit writer of every Huffman encoder: a local variable, made from the caller's state and position, saved back on
// the way out.
//
// Pending bits stand at the bottom of a 64-bit word; what is above them is older and already written.
//
// The careful writer stores each byte as it is complete and looks at the end of the destination before each. The others
// gather up to 63 bits and store eight bytes at once; their caller has made sure of the room (roomFor).
#pragma once

#include "huffman/bits.h"
#include "huffman/block.h"
#include "huffman/code_list.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxPendingBits = 7;  // between calls

// The bytes that a writer without a look at the end may store for so many bits, pending ones included: each whole byte
// may be 0xFF and need its stuffing, and the last store is eight bytes wide wherever the position comes to stand.
constexpr int roomFor(int bits) { return 2 * (bits / 8) + 8; }

template <Path kPath>
class BitWriter {
 public:
  static constexpr bool kCareful = kPath == Path::careful;

  // pending: the low `count` bits (0 to 7) are waiting to be written; the bits above them are ignored.
  ZEL_INLINE BitWriter(uint8_t* next, uint8_t* end, uint64_t pending, int count)
      : bits_(pending), count_(count), next_(next), end_(end) {}

  // A Huffman code (an entry of an encoder table) and the extra bits after it.
  ZEL_INLINE ZelStatus code(const uint32_t* entry, ExtraBits extra) {
    uint16_t code, length;  // two loads cost less than one and a shift
    __builtin_memcpy(&code, entry, 2);
    __builtin_memcpy(&length, reinterpret_cast<const uint8_t*>(entry) + 2, 2);
    if constexpr (kPath == Path::careful) {
      if (length == 0) return zelStsJPEGHuffTableErr;
      if (const ZelStatus s = put(code, length)) return s;
      return extra.size == 0 ? zelStsNoErr : put(uint32_t(extra.bits), int(extra.size));
    } else {
      if (__builtin_expect(length == 0, 0)) return zelStsJPEGHuffTableErr;
      add(uint64_t(code) << extra.size | extra.bits, length + extra.size);
      return zelStsNoErr;
    }
  }
  ZEL_INLINE ZelStatus code(const uint32_t* entry) { return code(entry, {0, 0}); }

  // Several codes and their extra bits at once: n bits, 0 to 63; value is below 2^n.
  ZEL_INLINE void gathered(uint64_t value, uint64_t n) { add(value, n); }

  // n bits without a code, 1 to 16 of them; value is below 2^n.
  ZEL_INLINE ZelStatus bits(uint32_t value, int n) {
    if constexpr (kPath == Path::careful) return put(value, n);
    add(value, uint64_t(n));
    return zelStsNoErr;
  }

  // The n low bits of value, 1 to 16 of them. Where the destination is full, the bytes that fitted are written, and the
  // pending bits are those of before the call.
  ZelStatus put(uint32_t value, int n) {
    static_assert(kPath == Path::careful, "the fast path adds a code and its extra bits at once");
    const uint64_t bits = bits_ << n | (value & lowBits(n));
    int count = int(count_) + n;
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
  ZEL_INLINE void writeWholeBytes() {
    static_assert(kPath != Path::careful, "the careful path writes bytes as they are complete");
    const uint64_t top = bits_ << 1 << (63 - count_);
    if (__builtin_expect(has0xFF(top), 0)) {
      next_ = storeStuffed(next_, top, int(count_ >> 3), (count_ & 7) != 0);
    } else {
      storeBytes(next_, top);
      next_ += count_ >> 3;
    }
    count_ &= 7;
  }

  // For what a BlockWriter does in larger steps.
  ZEL_INLINE ZelStatus append(const uint32_t* entry, ExtraBits extra) { return code(entry, extra); }
  ZEL_INLINE void drain() {}

  uint64_t pending() const { return bits_ & lowBits(count()); }
  int count() const { return int(count_); }
  uint8_t* next() const { return next_; }

 private:
  // n bits (0 to 63) below the pending ones. Up to 63 stay pending. Where they would be 64 or more, the first 64 are
  // written, and the `over` last ones of the value stay.
  ZEL_INLINE void add(uint64_t value, uint64_t n) {
    const uint64_t count = uint64_t(count_) + n;
    if (__builtin_expect(count < 64, 1)) {
      bits_ = bits_ << n | value;
      count_ = int64_t(count);
      return;
    }
    const uint64_t over = count - 64;
    const uint64_t full = bits_ << (n - over) | value >> over;
    if (__builtin_expect(has0xFF(full), 0)) {
      next_ = storeStuffed(next_, full, 8, false);
    } else {
      storeBytes(next_, full);
      next_ += 8;
    }
    bits_ = value;
    count_ = int64_t(over);
  }

  // The n top bytes with 0x00 after each 0xFF (T.81, F.1.2.3); a partial byte after them is stored but not counted.
  [[gnu::noinline]] static uint8_t* storeStuffed(uint8_t* next, uint64_t bytes, int n, bool partial) {
    for (; n > 0; --n, bytes <<= 8) {
      *next++ = uint8_t(bytes >> 56);
      if (bytes >> 56 == 0xFF) *next++ = 0;
    }
    if (partial) *next = uint8_t(bytes >> 56);
    return next;
  }

  uint64_t bits_;
  int64_t count_;         // 64 bits like what it is added to: no conversions in the loop
  uint8_t *next_, *end_;  // only the careful path looks at the end
};

// Whether one of the bytes from start to end is 0xFF. The fast path has room for whole vectors behind them, the
// unbounded one for eight bytes.
template <Path kPath>
ZEL_INLINE bool any0xFF(const uint8_t* start, const uint8_t* end) {
  if constexpr (kPath == Path::unbounded) {
    for (; end - start > 8; start += 8)
      if (has0xFF(loadBytes(start))) return true;
    const int64_t left = end - start;  // 0 to 8
    return has0xFF(loadBytes(start) & (left == 8 ? ~uint64_t(0) : ~(~uint64_t(0) >> 8 * left)));
  } else {
    const auto found = [](const uint8_t* p) { return byteMask(load<u8v>(p) == splat<u8v>(0xFF)); };
    for (; __builtin_expect(end - start > kVecBytes, 0); start += kVecBytes)
      if (found(start)) return true;
    return (found(start) & lowBits(int(end - start))) != 0;
  }
}

// 0x00 after each 0xFF of the bytes from start to end (T.81, F.1.2.3), which move up, and with them the partial byte
// behind them. Gives the new end.
[[gnu::noinline]] inline uint8_t* stuffed(uint8_t* start, uint8_t* end) {
  int64_t more = 0;
  for (const uint8_t* p = start; p < end; ++p) more += *p == 0xFF;
  uint8_t* const newEnd = end + more;
  *newEnd = *end;
  for (uint8_t* p = end; more > 0;) {
    if (*--p == 0xFF) p[more--] = 0;
    p[more] = *p;
  }
  return newEnd;
}

// Writes one block where there is room for any. Whole words are stored as they are, without a branch, since when one is
// full cannot be foreseen; the zeros behind 0xFF are put in at the end, once for all.
template <Path kPath>
class BlockWriter {
 public:
  // As of a BitWriter.
  ZEL_INLINE BlockWriter(uint8_t* next, uint8_t*, uint64_t pending, int count)
      : bits_(pending), minusCount_(-count), start_(next), next_(next) {}

  // A code and its extra bits. From one drain() to the next up to 56 bits.
  ZEL_INLINE ZelStatus append(const uint32_t* entry, ExtraBits extra) {
    uint16_t code, length;
    __builtin_memcpy(&code, entry, 2);
    __builtin_memcpy(&length, reinterpret_cast<const uint8_t*>(entry) + 2, 2);
    if (__builtin_expect(length == 0, 0)) return zelStsJPEGHuffTableErr;
    const uint64_t n = length + extra.size;
    bits_ = bits_ << n | (uint64_t(code) << extra.size | extra.bits);
    minusCount_ -= int64_t(n);
    return zelStsNoErr;
  }

  // Stores what has been appended, at least one bit. 1 to 8 bits stay pending: of a byte that is complete all eight,
  // which are stored again with what follows.
  ZEL_INLINE void drain() {
    storeBytes(next_, bits_ << (minusCount_ & 63));
    next_ += ~minusCount_ >> 3;  // (count - 1) / 8
    minusCount_ |= -8;
  }

  // The last drain(), to 0 to 7 pending bits.
  ZEL_INLINE void finish() {
    const int64_t count = -minusCount_;
    storeBytes(next_, bits_ << 1 << (63 - count));
    next_ += count >> 3;
    minusCount_ = -(count & 7);
    if (__builtin_expect(any0xFF<kPath>(start_, next_), 0)) next_ = stuffed(start_, next_);
  }

  uint64_t pending() const { return bits_ & lowBits(count()); }
  int count() const { return int(-minusCount_); }
  uint8_t* next() const { return next_; }

 private:
  uint64_t bits_;       // as of a BitWriter
  int64_t minusCount_;  // minus the number of pending bits: a shift by it takes them to the top of the word
  uint8_t *start_, *next_;
};

}  // namespace
}  // namespace ZEL_VARIANT
