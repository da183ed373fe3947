// The MQ encoder (ITU-T T.800, Annex C.2) with the three ways to terminate a codeword segment, and the writer of raw
// segments (Annex D.6). Bytes go where a pointer or a queue takes them.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {
namespace {

// Bytes for which the caller's buffer has had no room yet.
struct ByteQueue {
  uint8_t at[12];
  int32_t size;
};

enum TermMode : int32_t { kShortest = 1, kPredictable = 2 };  // every other value: the flush of T.800

class MqEncoder {
 public:
  static constexpr int kMaxBytes = 3;  // of one decision: at most 15 shifts, with 1, 7 and 7 to the next byte
  static constexpr int kMaxTermination = 5;

  // INITENC. The contexts are a block's and not touched.
  void init() {
    a_ = 0x8000;
    c_ = 0;
    ct_ = 12;
    b_ = 0;
    started_ = 0;
  }

  // Codes n logged decisions, context * 2 + bit each.
  uint8_t* encode(const uint8_t* log, int64_t n, MqContext* contexts, uint8_t* out) {
    MqEncoder e = *this;
    for (const uint8_t* const end = log + n; log != end; ++log) {
      MqContext* const context = contexts + (*log >> 1);
      const MqContext s = *context;
      const uint32_t qe = qeOf(s), lps = (s ^ *log) & 1;
      e.a_ -= qe;
      // The MPS takes the upper sub-interval, unless that is the smaller one: then the two are exchanged.
      const uint32_t lower = 0 - (lps ^ uint32_t(e.a_ < qe));
      e.c_ += qe & ~lower;
      const int upperShift = (e.a_ < 0x8000) + (e.a_ < 0x4000), lowerShift = shiftOf(s);
      e.a_ <<= upperShift;
      e.a_ ^= (e.a_ ^ qe << lowerShift) & lower;
      int shift = upperShift ^ ((upperShift ^ lowerShift) & int(lower));
      const MqContext next = nextOf(s, lps);
      *context = shift ? next : s;
      while (__builtin_expect(shift >= e.ct_, 0)) {
        e.c_ <<= e.ct_;
        shift -= e.ct_;
        out = e.byteOut(out);
      }
      e.c_ <<= shift;
      e.ct_ -= shift;
    }
    *this = e;
    return out;
  }

  // Ends the segment; q holds at most the last byte before it, 0xFF.
  void terminate(int mode, ByteQueue* q) {
    uint8_t* out = q->at + q->size;
    if (mode == kShortest)
      out = pushShortest(q->at, out);
    else if (mode == kPredictable)
      out = pushPredictable(out);
    else
      out = flush(out);
    q->size = int32_t(out - q->at);
    init();
  }

  // The bytes that still have to come for all decisions so far to be decodable: the registers hold 27 - CT bits.
  int owed() const { return (27 - ct_ > (b_ >= 254 ? 22 : 23) ? 5 : 4) - (started_ ? 0 : 1); }

 private:
  // The first byte is the one before the segment; it goes nowhere.
  ZEL_INLINE uint8_t* emit(uint8_t* out) {
    *out = uint8_t(b_);
    out += started_;
    started_ = 1;
    return out;
  }

  // BYTEOUT. After 0xFF a byte has seven bits and room for a carry above.
  ZEL_INLINE uint8_t* byteOut(uint8_t* out) {
    if (b_ != 0xFF) {
      b_ += c_ >> 27;
      c_ &= 0x7FFFFFF;
    }
    out = emit(out);
    const int taken = b_ == 0xFF ? 7 : 8;
    b_ = c_ >> (27 - taken);
    c_ &= (1u << (27 - taken)) - 1;
    ct_ = taken;
    return out;
  }

  uint8_t* push(uint8_t* out) {
    c_ <<= ct_;
    return byteOut(out);
  }

  uint8_t* flush(uint8_t* out) {  // FLUSH and SETBITS
    const uint32_t end = c_ + a_;
    c_ |= 0xFFFF;
    if (c_ >= end) c_ -= 0x8000;
    out = push(out);
    c_ |= 0x7FFF;
    out = push(out);
    return b_ == 0xFF ? out : emit(out);
  }

  uint8_t* pushPredictable(uint8_t* out) {
    for (int bits = 12 - ct_; bits > 0; bits -= ct_) out = push(out);
    return b_ == 0xFF ? out : byteOut(out);
  }

  // A decoder goes on reading ones after the last byte. So the more low bits of a code in [C, C + A) are ones, the
  // sooner it may stop; and 0xFF, or 0xFF and the seven ones after it, need not be written at the end.
  uint8_t* pushShortest(const uint8_t* first, uint8_t* out) {
    int ones = 27 - ct_, below = ones;  // below: bits of C that come after the byte in B
    while ((c_ | ((1u << ones) - 1)) >= c_ + a_) --ones;
    c_ |= (1u << ones) - 1;
    for (;; below -= ct_) {
      out = push(out);
      if (below <= ones) break;
    }
    if (out - first >= 2 && out[-1] == 0x7F && out[-2] == 0xFF) --out;
    if (out > first && out[-1] == 0xFF) --out;
    return out;
  }

  uint32_t a_, c_;
  int32_t ct_;
  uint32_t b_;
  uint32_t started_;  // 1 once a byte has left B
};

class RawWriter {
 public:
  void init() {
    byte_ = 0;
    free_ = 8;
  }
  static constexpr int kMaxBytes = 1;  // of one bit

  uint8_t* encode(const uint8_t* bits, int64_t n, uint8_t* out) {
    RawWriter w = *this;
    for (int64_t i = 0; i < n; ++i) {
      w.byte_ |= uint32_t(bits[i]) << --w.free_;
      if (w.free_ == 0) out = w.emit(out);
    }
    *this = w;
    return out;
  }

  bool pending() const { return free_ != 8; }

  // Fills the last byte with 0x55, and follows a last byte of 0xFF by one more: a segment does not end in 0xFF.
  void terminate(ByteQueue* q) {
    uint8_t* out = q->at + q->size;
    for (int i = 0; i < 2 && pending(); ++i) {
      byte_ |= 0x55 & ((1u << free_) - 1);
      out = emit(out);
    }
    q->size = int32_t(out - q->at);
    init();
  }

 private:
  ZEL_INLINE uint8_t* emit(uint8_t* out) {
    *out = uint8_t(byte_);
    free_ = byte_ == 0xFF ? 7 : 8;  // a stuffed 0 comes first
    byte_ = 0;
    return out + 1;
  }

  uint32_t byte_;
  int32_t free_;
};

}  // namespace
}  // namespace ZEL_VARIANT
