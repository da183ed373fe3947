// The MQ decoder (ITU-T T.800, Annex C.3) and the reader of raw segments (Annex D.6). Both are local variables: made
// from a segment, kept in registers through a pass.
//
// The interval of length A starts at 0; C is where the code string lies in it. T.800 gives the lower part, of length
// Qe, to the less probable symbol (Figure C.15). Here everything is mirrored: the code register holds the distance from
// the upper end, the complement of the code string. So the more probable symbol has the lower part, which leaves C
// alone, and bytes beyond the end of the segment, which read as 0xFF, add nothing to C.
//
// The registers are 64 bits wide. The upper 16 of the code register are Chigh of T.800, which is compared with A, whose
// 16 bits stand there, too; below them stand bits that have been read ahead, up to 48 of them, so that bytes are
// fetched once in several decisions.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {
namespace {

// A codeword segment: what lies beyond its end reads as 0xFF. The index of the byte after the last of the longest
// segment does not fit an int32_t.
struct Segment {
  const uint8_t* data;
  int32_t length;
  ZEL_INLINE uint32_t at(int64_t i) const { return i < length ? data[i] : 0xFF; }
};

class MqDecoder {
 public:
  MqDecoder() = default;
  // INITDEC, Figure C.20.
  explicit MqDecoder(Segment segment) : segment_(segment) {
    code_ = uint64_t(0xFF - segment.at(0)) << kCodeShift;
    fill();
    shift(7);
    read_ -= 7;  // the shifts of decisions alone are counted
  }

  // DECODE with its exchanges and RENORMD (Figures C.15 to C.18), without a branch: which way a decision goes cannot be
  // foreseen, and the two ways differ in a few operations. Masks choose between them.
  ZEL_INLINE uint32_t decode(MqContext* contexts, uint32_t context) {
    const MqContext s = contexts[context];
    const uint64_t qe = uint64_t(qeOf(s)) << kCodeShift, rest = a_ - qe;
    // All ones where C lies in the lower part, [0, rest), and zero where in the upper one: the borrow of a comparison.
    const uint64_t lower = 0 - uint64_t(code_ < rest);
    const uint32_t lps = uint32_t(lower & 1) ^ uint32_t(rest >= qe);  // exchanged: the larger part is always the MPS's
    code_ -= rest & ~lower;
    // How far to renormalise. The lower part is above 0x8000 - 0x5601, so two steps at most; for Qe it is known.
    const uint32_t lowerShift = uint32_t(__builtin_clzll(rest)), upperShift = uint32_t(shiftOf(s));
    const int n = int((lowerShift & uint32_t(lower)) | (upperShift & ~uint32_t(lower)));
    a_ = (rest << lowerShift & lower) | (qe << upperShift & ~lower);
    const MqContext next = nextOf(s, lps);
    contexts[context] = n ? next : s;  // states change in renormalisations only
    shift(n);
    return (s & 1) ^ lps;
  }
  // The same for a context that is nearly always right: its MPS without renormalisation is one branch, and foreseen.
  ZEL_INLINE uint32_t decodeSkewed(MqContext* contexts, uint32_t context) {
    const MqContext s = contexts[context];
    const uint64_t rest = a_ - (uint64_t(qeOf(s)) << kCodeShift);
    if (__builtin_expect(int64_t(rest) >= 0 || rest <= code_, 0)) return decode(contexts, context);
    a_ = rest;
    return s & 1;
  }

  // Whether a segment that was terminated predictably (T.800, D.4.2) ended otherwise. The encoder has pushed out its
  // registers in full, so at this point the decoder has read all bytes and stands at the marker, or the end, after
  // them; and C lies at the lower end of the interval, but for the ones that were read after it: in the mirrored
  // register no more than one unit of the last bit that was pushed out below A.
  //
  // The question is put to the registers A, C and CT as T.800 has them, with no more read ahead than CT says. So
  // position and CT are found again: the bytes are read once more from the start, for the number of shifts so far.
  bool damagedAtEnd() const {
    int64_t position = 0;
    int32_t count = 0;  // CT: shifts before the next byte
    bool marker = false;
    const auto readByte = [&] {  // BYTEIN, Figure C.19, for position and count alone
      const uint32_t current = segment_.at(position), next = segment_.at(position + 1);
      if (current == 0xFF && next > 0x8F) {
        marker = true;
        count = 8;
      } else {
        ++position;
        count = current == 0xFF ? 7 : 8;
      }
    };
    readByte();
    count -= 7;  // INITDEC
    for (int64_t shifts = read_ - ahead_;;) {
      if (shifts <= count) {
        count -= int32_t(shifts);
        break;
      }
      if (marker) {  // it is not passed: CT starts again at 8 as often as needed
        count = 8 - int32_t((shifts - count - 1) % 8 + 1);
        break;
      }
      shifts -= count;
      readByte();
    }
    if (count == 0) {  // the next shift would read a byte: it must meet the marker
      if (!marker && (segment_.at(position) < 0xFF || segment_.at(position + 1) < 0x90)) return true;
      count = 8;
    } else {
      if (!marker) return true;
      if (count == 1) return false;
    }
    const uint32_t a = uint32_t(a_ >> kCodeShift) - (0x8000u >> (count - 1));
    return a > uint32_t(code_ >> kCodeShift);
  }

 private:
  static constexpr int kCodeShift = 48;
  static constexpr int32_t kEndless = 1 << 30;  // bits that are there at a marker

  // Doubles the code register n times, with BYTEIN where the bits read ahead end.
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

  // BYTEIN (Figure C.19) as often as there is room. In damaged data the byte after 0xFF may have its upper bit set and
  // still be no marker, 0x80 to 0x8F: a carry into bits that stand already. T.800 lets decisions see it from the moment
  // when that byte is read, so such a byte is not read ahead: filling ends before it, and begins with it.
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
  // Out of line and by value: the decoder's members stay in registers.
  [[gnu::noinline]] static Filled filled(Segment segment, int32_t position, uint64_t code) {
    int bits = 0;
    uint32_t current = segment.at(position);
    while (bits <= kCodeShift - 8) {
      const uint32_t next = segment.at(int64_t(position) + 1);
      if (current != 0xFF) {
        bits += 8;
        code += uint64_t(0xFF - next) << (kCodeShift - bits);
      } else if (next > 0x8F) {
        return {position, bits + kEndless, code};
      } else {
        if (next > 0x7F && bits > 0) break;  // a carry
        bits += 7;
        code += (uint64_t(0x7F) - next) << (kCodeShift - bits);  // below 0 with a carry, so that it borrows from above
      }
      ++position;
      current = next;
    }
    return {position, bits, code};
  }

  uint64_t code_ = 0;
  int32_t ahead_ = 0;  // bits below the upper 16 that have been read
  uint64_t a_ = uint64_t(1) << 63;
  Segment segment_ = {nullptr, 0};
  int32_t position_ = 0;  // of the last byte read
  int64_t read_ = 0;      // bits read in all, but for the first byte
};

// A raw segment: bits from the most significant one of each byte on. The first bit of a byte after 0xFF is stuffed and
// skipped, so that no marker stands in the data.
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

  // Whether the segment does not end as ours are terminated: what is left of the last byte holds the low bits of 0x55,
  // and a last byte of 0xFF is followed by one that starts with the stuffed bit.
  bool damagedAtEnd() const {
    const uint32_t mask = (1u << unread_) - 1;
    return ((current_ ^ kRawFill) & mask) != 0 || (current_ == 0xFF && segment_.at(position_) >= 0x80);
  }

 private:
  Segment segment_ = {nullptr, 0};
  int32_t position_ = 0;  // of the next byte
  int32_t unread_ = 0;    // bits of the current byte
  uint32_t current_ = 0;
};

}  // namespace
}  // namespace ZEL_VARIANT
