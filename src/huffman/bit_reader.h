// The bit reader of every Huffman decoder: a local variable, made from the caller's state and position, saved back on
// the way out.
//
// Unused bits stand at the top of a 64-bit word, so that the next n bits are its top n. Below them the word may hold a
// copy of bits that a later refill brings again; they are never counted.
//
// A decoder that fails on the fast path throws its reader away and starts again with a careful one: the caller's record
// and variables are as they were, since only save() writes them. The careful reader decides which status an error has,
// and where the position, the bit count and the marker then stand.
#pragma once

#include "frame/support.h"
#include "frame/vec.h"
#include "huffman/bits.h"
#include "huffman/code_list.h"

namespace ZEL_VARIANT {
namespace {

// A block starts on the fast path where so many bytes are left: three refills, which last for most blocks. The path
// needs no such room, as each refill looks at the end for itself; the limit keeps trials in vain away from the end of a
// scan.
constexpr int kFastPathBytes = 24;

constexpr int kStateBits = 32;     // what a caller's state can hold
constexpr int kFillBits = 25;      // the careful path reads bytes while it has fewer bits than this
constexpr int kRefilledBits = 56;  // at least so many after a fast refill
constexpr int kMaxSymbolBits = kMaxCodeLength + kMaxExtraBits;  // a code and what follows it
static_assert(kMaxSymbolBits < kStateBits && kStateBits <= kRefilledBits,
              "below 32 bits a refill brings enough for a code and its extra bits");

// Length of the code of 9 to 16 bits that `next` (the next 16 bits) starts with, 0 if there is none. A code of l bits
// is next >> (16 - l), the high half of next * 2^l; it matches where it is at most the last code of its length.
ZEL_INLINE int longCodeLength(const ZeliDecodeHuffmanSpec& table, uint32_t next) {
  const u16x8 scale = {{1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, 1 << 15, 0}};
  const u16x8 whole = {{0, 0, 0, 0, 0, 0, 0, 0xFFFF}};
  const u16x8 bits = splat<u16x8>(uint16_t(next));
  const u16x8 code = mulHi(bits, scale) | (bits & whole);
  const u16x8 last = load<u16x8>(table.lastCode + 9);
  const u16x8 fits = subSat(code, last) == zero<u16x8>();
  const uint32_t matches = byteMask(fits & ~(last == splat<u16x8>(0xFFFF)));
  return matches ? 9 + __builtin_ctz(matches) / 2 : 0;
}

// The symbol of a code that matches at its length. Descriptions that overflow are not rejected for long codes: the
// index stays inside the values whatever they say.
inline uint32_t symbolOf(const ZeliDecodeHuffmanSpec& table, int length, uint32_t code) {
  return table.values[uint8_t(table.firstIndex[length] + code - table.firstCode[length])];
}

// 1 - 2^s, the lowest value of category s (T.81, Figure F.12).
constexpr Table<int16_t, 16> kLowest = {
    {0, -1, -3, -7, -15, -31, -63, -127, -255, -511, -1023, -2047, -4095, -8191, -16383, -32767}};

// An entry of a table's lookup in parts: each is loaded by itself, sooner than a shift could separate them.
struct [[gnu::may_alias]] LookupEntry {
  uint8_t symbol, unused;
  uint16_t length;
};

// A local variable whose members the compiler keeps in registers, as long as every function that is called in a loop is
// inline and none takes its address.
template <Path kPath>
class BitReader {
 public:
  static constexpr bool kCareful = kPath == Path::careful;

  // bits: the low `count` (0 to 32) are unused ones. The shifts to the top drop what stands above them.
  ZEL_INLINE BitReader(const uint8_t* src, int length, int pos, uint64_t bits, int count, int marker)
      : bits_(bits << 1 << (63 - count)),
        count_(count),
        marker_(marker),
        src_(src),
        next_(src + pos),
        end_(src + length) {
    if constexpr (kPath == Path::fast) clean_ = lastClean(next_, end_);
  }

  // Decodes one symbol (T.81, Figure F.16). On the fast path the bits of its value are then there as well.
  ZEL_INLINE ZelStatus symbol(const ZeliDecodeHuffmanSpec& table, uint32_t* symbol) {
    if constexpr (kPath == Path::careful) {
      return carefulSymbol(table, symbol);
    } else {
      if (count_ < kMaxSymbolBits && !refill()) return zelStsJPEGOutOfBufErr;
      return lookUp(table, bits_ >> 56, symbol);
    }
  }

  // The same with a refill on the fast path, which leaves bits for the next symbol and value, too, unless these are
  // among the longest. A refill every other time costs less than to ask whether it is needed: processors do not foresee
  // the answer. The look-up takes bits that are there already and does not wait for others.
  ZEL_INLINE ZelStatus symbolAndMore(const ZeliDecodeHuffmanSpec& table, uint32_t* symbol) {
    if constexpr (kPath == Path::careful) {
      return carefulSymbol(table, symbol);
    } else {
      if (__builtin_expect(count_ < 8, 0) && !refill()) return zelStsJPEGOutOfBufErr;
      const uint64_t next8 = bits_ >> 56;
      if (!refill()) return zelStsJPEGOutOfBufErr;
      return lookUp(table, next8, symbol);
    }
  }

  // Reads the value of a category (0 to 15) after its symbol: category bits, extended (T.81, Figure F.12).
  ZEL_INLINE ZelStatus value(uint32_t category, int* value) { return extended<false>(category, value); }

  // The same for a category that is not 0: one shift less.
  ZEL_INLINE ZelStatus nonzeroValue(uint32_t category, int* value) { return extended<true>(category, value); }

  // n bits as they are, 1 to 16; up to 32 on the fast path.
  ZEL_INLINE ZelStatus bits(int n, uint32_t* value) {
    if constexpr (kPath == Path::careful) {
      if (const ZelStatus s = require(n, kValue)) return s;
    } else {
      if (count_ < kStateBits && !refill()) return zelStsJPEGOutOfBufErr;
    }
    *value = uint32_t(bits_ >> (64 - n));
    drop(n);
    return zelStsNoErr;
  }

  // For several look-ups behind one refill: the next n bits, 1 to 32; the bits moved on by the low six bits of n; and
  // how many they have been moved in all since, which the count has still to learn.
  ZEL_INLINE uint32_t peek(int n) const { return uint32_t(bits_ >> (64 - n)); }
  ZEL_INLINE void moveOn(uint32_t n) { bits_ <<= n & 63; }
  ZEL_INLINE void account(uint32_t n) { count_ -= n; }

  // What was asked for when a marker had left too few bits.
  enum Missing { kNothing, kCode, kValue };
  Missing missing() const { return missing_; }

  int marker() const { return marker_; }

  // At least 56 bits at once; false where fewer than 8 bytes are left or a marker stands in them. Eight bytes are put
  // below the unused bits, but only those that fit as a whole are passed over, (63 - count) / 8 of them. That makes
  // the count 56 to 63 with its low three bits unchanged, hence the or. What was put beyond the count comes again next
  // time.
  ZEL_INLINE bool refill() {
    static_assert(kPath == Path::fast, "the careful path fills where a bit is missing");
    if (__builtin_expect(next_ > clean_, 0)) {
      const Refilled r = refillSlowly(next_, end_, bits_, count_);
      next_ = r.next;
      clean_ = r.clean;
      bits_ = r.bits;
      count_ = r.count;
      return r.next != nullptr;
    }
    bits_ |= loadBytes(next_) >> count_;
    next_ += (63 ^ count_) >> 3;
    count_ |= kRefilledBits;
    return true;
  }

  // Writes bits, count and position back; *pos still holds the position on entry. The fast path returns whole bytes
  // until at most 32 bits are left, 25 to 32 of them, without a branch: how many is hard to predict.
  template <class Bits>
  ZEL_INLINE void save(Bits* bits, int* count, int* pos) {
    int64_t left = count_;
    if constexpr (kPath == Path::fast) {
      const int64_t whole = kFillBits + ((count_ - kFillBits) & 7);  // no less than a count of up to 32
      left = whole < left ? whole : left;
    }
    const uint64_t unused = bits_ >> 1 >> (63 - left);
    if constexpr (kPath == Path::fast) {
      // These bytes follow the bits that are left, with others behind them. A 0xFF takes its stuffing with it.
      const int64_t excess = (count_ - left) >> 3;
      if (__builtin_expect(has0xFF(bits_ << left), 0))
        next_ = stepBack(next_, src_ + *pos, excess);
      else
        next_ -= excess;
    }
    count_ = left;
    *bits = Bits(unused);
    *count = int(count_);
    *pos = int(next_ - src_);
  }

 private:
  ZEL_INLINE void drop(int64_t n) {
    bits_ <<= n;
    count_ -= n;
  }

  // ---- Careful path ----

  // Bytes until 25 bits are there, a marker is met or the source ends (T.81, Figure F.18, but with the bytes that are
  // ahead taken at once); an end with fewer than n bits is an error. Any number of 0xFF may stand before the byte that
  // tells stuffing (0x00) from a marker (B.1.1.2). Once a marker is recorded nothing is read any more.
  ZelStatus fill(int n) {
    if (marker_ != 0) return n > count_ ? zelStsJPEGCodeRangeErr : zelStsNoErr;
    while (count_ < kFillBits) {
      if (next_ >= end_) return n > count_ ? zelStsJPEGOutOfBufErr : zelStsNoErr;
      uint8_t byte = *next_++;
      if (byte == 0xFF) {
        while (next_ < end_ && *next_ == 0xFF) ++next_;
        if (next_ == end_) return zelStsJPEGOutOfBufErr;
        const uint8_t after = *next_++;
        if (after != 0) {
          marker_ = after;
          return zelStsNoErr;
        }
      }
      bits_ |= uint64_t(byte) << (56 - count_);
      count_ += 8;
    }
    return zelStsNoErr;
  }

  // Makes sure of n bits. Where a marker has cut them off, remembers what they were for.
  ZelStatus require(int n, Missing what) {
    if (n <= count_) return zelStsNoErr;
    const ZelStatus s = fill(n);
    if (s == zelStsNoErr && n <= count_) return zelStsNoErr;
    if (marker_ == 0) return s;
    missing_ = what;
    return zelStsJPEGCodeRangeErr;
  }

  // Codes of up to 8 bits by the lookup; others bit by bit from the ninth on, as Figure F.16 (DECODE) compares them. No
  // length matches where lastCode is 0xFFFF.
  ZelStatus carefulSymbol(const ZeliDecodeHuffmanSpec& table, uint32_t* symbol) {
    if (count_ < 8)
      if (const ZelStatus s = fill(0)) return s;
    int length = 1;  // with fewer than 8 bits left in the stream the lookup may promise bits that are not there
    if (count_ >= 8) {
      const uint32_t entry = table.lookup[bits_ >> 56];
      if (entry >> 16) {
        drop(int(entry >> 16));
        *symbol = entry & 0xFFFF;
        return zelStsNoErr;
      }
      length = 9;
    }
    if (const ZelStatus s = require(length, kCode)) return s;
    uint32_t code = uint32_t(bits_ >> (64 - length));
    drop(length);
    while (code > table.lastCode[length] || table.lastCode[length] == 0xFFFF) {
      if (length == kMaxCodeLength) return zelStsJPEGCodeRangeErr;
      if (const ZelStatus s = require(1, kCode)) return s;
      code = code << 1 | uint32_t(bits_ >> 63);
      drop(1);
      ++length;
    }
    *symbol = symbolOf(table, length, code);
    return zelStsNoErr;
  }

  template <bool kNonzero>
  ZEL_INLINE ZelStatus extended(uint32_t category, int* value) {
    if constexpr (kPath == Path::careful)
      if (const ZelStatus s = require(int(category), kValue)) return s;
    // A first bit of 0 marks a negative value, which counts from 1 - 2^category on.
    const int64_t positive = int64_t(bits_) >> 63;
    const uint64_t magnitude = kNonzero ? bits_ >> (-category & 63) : bits_ >> 1 >> (63 - category);
    *value = int(magnitude) + int(~positive & kLowest.at[category]);
    drop(category);
    return zelStsNoErr;
  }

  // ---- Fast path ----

  // next8: the next 8 bits. The word has enough for a code. From one symbol to the next leads a chain of a shift, a
  // load and two shifts, in which nothing else should stand: it decides how long decoding takes.
  ZEL_INLINE ZelStatus lookUp(const ZeliDecodeHuffmanSpec& table, uint64_t next8, uint32_t* symbol) {
    const LookupEntry* const entries = reinterpret_cast<const LookupEntry*>(table.lookup);
    uint64_t again = next8;
    asm("" : "+r"(again));  // else the compiler computes the address once, before the two loads
    const uint32_t length = entries[next8].length;
    if (__builtin_expect(length == 0, 0)) {
      const uint32_t next = uint32_t(bits_ >> 48);
      const int longLength = longCodeLength(table, next);
      if (longLength == 0) return zelStsJPEGCodeRangeErr;
      *symbol = uint8_t(symbolOf(table, longLength, next >> (16 - longLength)));  // a byte, whatever the table says
      drop(longLength);
      return zelStsNoErr;
    }
    *symbol = entries[again].symbol;
    drop(length);
    return zelStsNoErr;
  }

  // The last position up to which eight bytes may be read at once: they are inside the source, and none is 0xFF. Looks
  // at 32 bytes where there are so many, else at eight. Before `next` where not even these eight may be read.
  ZEL_INLINE static const uint8_t* lastClean(const uint8_t* next, const uint8_t* end) {
    constexpr int kAhead = 32;
    if (__builtin_expect(end - next < kAhead, 0)) return end - next >= 8 && !has0xFF(loadBytes(next)) ? next : next - 1;
    uint64_t found = uint64_t(1) << kAhead;
    for (int i = 0; i < kAhead; i += kVecBytes)
      found |= uint64_t(byteMask(load<u8v>(next + i) == splat<u8v>(0xFF))) << i;
    return next + __builtin_ctzll(found) - 8;
  }

  struct Refilled {
    const uint8_t *next, *clean;  // next is null at a marker or the end
    uint64_t bits;
    int64_t count;
  };
  // The same where what was known of the bytes has come to its end. Around a 0xFF goes one byte at a time until 56 bits
  // are there. Takes and gives the members by value: a reader whose address is taken would not stay in registers.
  [[gnu::noinline]] static Refilled refillSlowly(const uint8_t* next, const uint8_t* end, uint64_t bits,
                                                 int64_t count) {
    const uint8_t* const clean = lastClean(next, end);
    if (next <= clean)
      return {next + ((63 - count) >> 3), clean, bits | loadBytes(next) >> count, count | kRefilledBits};
    while (count < kRefilledBits) {
      if (next == end) return {};
      const uint8_t byte = *next++;
      if (byte == 0xFF) {
        while (next < end && *next == 0xFF) ++next;
        if (next == end || *next++ != 0) return {};
      }
      bits |= uint64_t(byte) << (56 - count);
      count += 8;
    }
    return {next, lastClean(next, end), bits, count};
  }

  // The position n data bytes earlier, none of them before `start`. A data byte 0xFF goes back with the 0x00 behind it
  // and all fill bytes before it, so that reading on finds it again.
  [[gnu::noinline]] static const uint8_t* stepBack(const uint8_t* next, const uint8_t* start, int64_t n) {
    for (; n > 0; --n) {
      --next;
      if (*next == 0)
        while (next > start && next[-1] == 0xFF) --next;
    }
    return next;
  }

  uint64_t bits_;
  int64_t count_;
  int marker_;
  Missing missing_ = kNothing;
  const uint8_t *src_, *next_, *end_;
  const uint8_t* clean_ = nullptr;  // the fast path reads eight bytes up to here without a look
};

}  // namespace
}  // namespace ZEL_VARIANT
