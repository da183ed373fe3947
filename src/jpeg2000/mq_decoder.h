// The MQ decoder (ITU-T T.800, Annex C.3) and the reader of raw segments (Annex D.6). Both are local variables: made
// from a segment, kept in registers through a pass.
//
// The code register holds the complement of the code string, so that bytes beyond the end, which are 0xFF, add nothing.
// Its upper 16 bits are what T.800 compares; below them stand as many bits as have been read ahead. The interval A is
// kept as the distance d to the value below which anything but "the more probable symbol, no renormalisation" happens:
// that value, the larger of the upper code bits + 1 and 0x8000, changes in renormalisations only.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {
namespace {

// A codeword segment: what lies beyond its end reads as 0xFF.
struct Segment {
  const uint8_t* data;
  int32_t length;
  ZEL_INLINE uint32_t at(int32_t i) const { return i < length ? data[i] : 0xFF; }
};

class MqDecoder {
 public:
  MqDecoder() = default;
  explicit MqDecoder(Segment segment) : segment_(segment) {  // INITDEC
    code_ = uint64_t(0xFF - segment.at(0)) << kCodeShift;
    fill();
    shift(7);
    read_ -= 7;  // counts from here
  }

  ZEL_INLINE uint32_t decode(MqContext* contexts, uint32_t context) {
    const MqContext s = contexts[context];
    const uint32_t qe = qeOf(s), rest = a_ - qe;
    const int32_t into = int32_t(uint32_t(code_ >> kCodeShift) - a_) + int32_t(qe);  // the upper sub-interval
    const uint32_t upper = ~uint32_t(into >> 31);
    const uint32_t lps = (upper & 1) ^ uint32_t(rest < qe);  // the larger sub-interval is that of the MPS
    code_ -= uint64_t(rest & upper) << kCodeShift;
    const int lowerShift = (rest < 0x8000) + (rest < 0x4000), upperShift = shiftOf(s);
    const int n = lowerShift ^ ((lowerShift ^ upperShift) & int(upper));
    const uint32_t lower = rest << lowerShift;
    a_ = lower ^ ((lower ^ qe << upperShift) & upper);
    const MqContext next = nextOf(s, lps);
    contexts[context] = n ? next : s;
    shift(n);
    return (s & 1) ^ lps;
  }
  // The same for a context whose MPS can be foreseen: that way is one branch.
  ZEL_INLINE uint32_t decodeSkewed(MqContext* contexts, uint32_t context) {
    const MqContext s = contexts[context];
    const uint32_t rest = a_ - qeOf(s);
    if (__builtin_expect(rest < 0x8000 || rest <= uint32_t(code_ >> kCodeShift), 0)) return decode(contexts, context);
    a_ = rest;
    return s & 1;
  }

  // Whether a segment that was terminated predictably ended otherwise (T.800, D.4.2): the registers of the encoder at
  // its end, pushed out in full, leave nothing but ones to be read.
  bool damagedAtEnd() const {
    int32_t position = 0, count = 0;
    bool marker = false;
    const auto readByte = [&] {  // BYTEIN, for position and count alone
      const uint32_t current = segment_.at(position), next = segment_.at(position + 1);
      if (current == 0xFF && next > 0x8F) {
        marker = true;
        count = 8;
      } else {
        ++position;
        count = current == 0xFF ? 7 : 8;
      }
    };
    // The code register has read ahead, so the state without that is found again from the number of shifts.
    readByte();
    count -= 7;
    for (int64_t shifts = read_ - ahead_;;) {
      if (shifts <= count) {
        count -= int32_t(shifts);
        break;
      }
      if (marker) {
        count = 8 - int32_t((shifts - count - 1) % 8 + 1);
        break;
      }
      shifts -= count;
      readByte();
    }
    if (!marker && segment_.at(position) < 0xFF) return true;
    if (count != 0) {
      if (!marker) return true;
      if (count == 1) return false;
    } else {
      if (!marker && segment_.at(position + 1) < 0x90) return true;
      count = 8;
    }
    const uint32_t a = a_ - (0x8000u >> (count - 1));
    return a > uint32_t(code_ >> kCodeShift);
  }

 private:
  static constexpr int kCodeShift = 48;
  static constexpr int32_t kEndless = 1 << 30;  // bits that are there at a marker

  ZEL_INLINE void shift(int n) {
    while (__builtin_expect(n > ahead_, 0)) {
      code_ <<= ahead_;
      n -= ahead_;
      ahead_ = 0;
      fill();
    }
    code_ <<= n;
    ahead_ -= n;
  }

  // BYTEIN as often as there is room, none of it before the shift that needs the first byte: a carry in a stuffed bit
  // must not be seen by decisions before that.
  ZEL_INLINE void fill() {
    const Filled f = filled(segment_, position_, code_);
    position_ = f.position;
    code_ = f.code;
    ahead_ = f.bits;
    read_ += f.bits;
  }

  struct Filled {
    int32_t position;
    int32_t bits;
    uint64_t code;
  };
  [[gnu::noinline]] static Filled filled(Segment segment, int32_t position, uint64_t code) {
    int bits = 0;
    uint32_t current = segment.at(position);
    while (bits <= kCodeShift - 8) {
      const uint32_t next = segment.at(position + 1);
      if (current != 0xFF) {
        bits += 8;
        code += uint64_t(0xFF - next) << (kCodeShift - bits);
      } else if (next > 0x8F) {
        return {position, bits + kEndless, code};
      } else {
        if (next > 0x7F && bits > 0) break;
        bits += 7;
        code += (uint64_t(0x7F) - next) << (kCodeShift - bits);  // a carry wraps
      }
      ++position;
      current = next;
    }
    return {position, bits, code};
  }

  uint64_t code_ = 0;
  int32_t ahead_ = 0;  // bits below the upper 16 that have been read
  uint32_t a_ = 0x8000;
  Segment segment_ = {nullptr, 0};
  int32_t position_ = 0;  // of the last byte read
  int64_t read_ = 0;      // bits read in all, but for the first byte
};

class RawReader {
 public:
  RawReader() = default;
  explicit RawReader(Segment segment) : segment_(segment) {}

  ZEL_INLINE uint32_t bit() {
    if (unread_ == 0) {
      unread_ = current_ == 0xFF ? 7 : 8;
      current_ = segment_.at(position_);
      position_ += position_ < segment_.length;
    }
    return current_ >> --unread_ & 1;
  }

  // Whether the segment does not end with alternating bits from 0, or is left with half of a stuffed pair.
  bool damagedAtEnd() const {
    const uint32_t mask = (1u << unread_) - 1;
    return ((current_ ^ 0x55) & mask) != 0 || (current_ == 0xFF && segment_.at(position_) >= 0x80);
  }

 private:
  Segment segment_ = {nullptr, 0};
  int32_t position_ = 0;  // of the next byte
  int32_t unread_ = 0;    // bits of the current byte
  uint32_t current_ = 0;
};

}  // namespace
}  // namespace ZEL_VARIANT
