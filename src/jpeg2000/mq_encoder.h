// The MQ encoder (ITU-T T.800, Annex C.2) with the three ways to terminate a codeword segment, and the writer of raw
// segments (Annex D.6). Bytes go where a pointer or a queue takes them.
//
// The registers are those of T.800: the interval of length A starts at C. C has 27 bits and a carry: from the top, bits
// 26 to 19 are the next byte (25 to 19 after a byte 0xFF, where bit 26 is the stuffed one), and the lower 16 stand
// level with A; CT counts the shifts until that byte is complete. It waits in B, as a carry may still reach it.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {
namespace {

// Bytes for which the caller's buffer has had no room yet: at most one that is held back, and what one more decision or
// a termination adds to it.
struct ByteQueue {
  uint8_t at[12];
  int32_t size;
};

class MqEncoder {
 public:
  static constexpr int kMaxBytes = 3;  // of one decision: at most 15 shifts, with 1, 7 and 7 to the next byte
  static constexpr int kMaxTermination = 5;
  static_assert(1 + kMaxTermination < int(sizeof ByteQueue::at), "and a byte that goes nowhere is stored all the same");

  // INITENC, Figure C.10. The contexts are a block's and not touched.
  void init() {
    a_ = 0x8000;
    c_ = 0;
    ct_ = 12;
    b_ = 0;
    started_ = 0;
  }

  // Codes n logged decisions, context * 2 + bit each: CODEMPS, CODELPS and RENORME (Figures C.6 to C.8). As in the
  // decoder masks choose between the two sub-intervals, since no branch on the decision could be foreseen.
  uint8_t* encode(const uint8_t* log, int64_t n, MqContext* contexts, uint8_t* out) {
    MqEncoder e = *this;
    for (const uint8_t* const end = log + n; log != end; ++log) {
      const uint32_t decision = *log;
      MqContext* const context = contexts + decision / 2;
      const MqContext s = *context;
      const uint32_t qe = qeOf(s), lps = (s ^ decision) & 1;
      const uint32_t upper = e.a_ - qe;
      // The MPS takes the upper sub-interval, unless that is the smaller one: then the two are exchanged. All ones
      // where the lower one is taken.
      const uint32_t lower = uint32_t(int32_t(e.a_ - 2 * qe) >> 31) ^ (0 - lps);
      e.c_ += qe & ~lower;
      // How far to renormalise. The upper one is above 0x8000 - 0x5601, so two steps at most; for Qe it is known.
      const int upperShift = __builtin_clz(upper) ^ 16, lowerShift = shiftOf(s);
      e.a_ = (upper << upperShift & ~lower) | (qe << lowerShift & lower);
      int shift = upperShift ^ ((upperShift ^ lowerShift) & int(lower));
      const MqContext next = nextOf(s, lps);
      *context = shift ? next : s;  // states change in renormalisations only
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

  // Ends the segment. q holds at most the segment's last byte so far, where that is 0xFF and was held back: the
  // shortest termination may take it away.
  void terminate(int mode, ByteQueue* q) {
    uint8_t* out = q->at + q->size;
    if (mode == zeliTerminationShortest)
      out = pushShortest(q->at, out);
    else if (mode == zeliTerminationPredictable)
      out = pushPredictable(out);
    else
      out = flush(out);
    q->size = int32_t(out - q->at);
    init();
  }

  // Bytes that still have to come for all decisions so far to be decodable. The byte in B and 27 - CT bits of C do not
  // fit into four bytes where those bits are more than 23; or 22, where B is 0xFF or a carry may make it that, and the
  // byte after it has seven bits. The first byte of all goes nowhere.
  int owed() const {
    const int fitting = b_ >= 0xFE ? 22 : 23;
    return (27 - ct_ > fitting ? 5 : 4) - (started_ ? 0 : 1);
  }

 private:
  // The byte in B goes out; but the first of a segment is the one before its start and goes nowhere.
  ZEL_INLINE uint8_t* emit(uint8_t* out) {
    *out = uint8_t(b_);
    out += started_;
    started_ = 1;
    return out;
  }

  // BYTEOUT, Figure C.9. After 0xFF a byte has seven bits, and above them room for a carry: so a carry never has to
  // pass through a byte 0xFF.
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

  // Completes the next byte with the bits that stand in C.
  uint8_t* push(uint8_t* out) {
    c_ <<= ct_;
    return byteOut(out);
  }

  // FLUSH and SETBITS, Figures C.11 and C.12: as many ones as fit below the end of the interval, and two bytes.
  uint8_t* flush(uint8_t* out) {
    const uint32_t end = c_ + a_;
    c_ |= 0xFFFF;
    if (c_ >= end) c_ -= 0x8000;
    out = push(out);
    c_ |= 0x7FFF;
    out = push(out);
    return b_ == 0xFF ? out : emit(out);
  }

  // D.4.2: all bits of C down to A's first, 12 - CT of them, and the byte in B.
  uint8_t* pushPredictable(uint8_t* out) {
    for (int bits = 12 - ct_; bits > 0; bits -= ct_) out = push(out);
    return b_ == 0xFF ? out : byteOut(out);
  }

  // A decoder reads ones after the last byte. So it decodes rightly if the bytes, followed by ones, name a number in
  // [C, C + A). The more low bits of a number in there are ones, the fewer bytes are needed.
  //
  // The end can be shorter still, as a decoder takes 0xFF and seven ones, 0xFF 0x7F, for granted too: first 0x7F goes
  // where 0xFF stands before it (with the stuffed bit it is the seven ones), then 0xFF. All that stands before `first`
  // has left for good, so a 0xFF at the end of what had been coded before is still here.
  uint8_t* pushShortest(const uint8_t* first, uint8_t* out) {
    // The most ones that can be: bits that C has, below which they begin.
    int ones = 27 - ct_;
    while ((c_ | ((1u << ones) - 1)) >= c_ + a_) --ones;
    c_ |= (1u << ones) - 1;
    // `below` is how many bits of C come after the byte that goes to B; it may stop once they are all ones.
    for (int below = 27 - ct_;; below -= ct_) {
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

// Raw segments: bits from the most significant one of each byte on. The first bit of a byte after 0xFF is stuffed, 0,
// so that no marker arises in the data.
class RawWriter {
 public:
  static constexpr int kMaxBytes = 1;  // of one bit

  void init() {
    byte_ = 0;
    free_ = 8;
  }

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

  // Fills the last byte with alternating bits. A segment does not end in 0xFF, so such a byte is followed by one more.
  void terminate(ByteQueue* q) {
    uint8_t* out = q->at + q->size;
    for (int i = 0; i < 2 && pending(); ++i) {
      byte_ |= kRawFill & ((1u << free_) - 1);
      out = emit(out);
    }
    q->size = int32_t(out - q->at);
    init();
  }

 private:
  ZEL_INLINE uint8_t* emit(uint8_t* out) {
    *out = uint8_t(byte_);
    free_ = byte_ == 0xFF ? 7 : 8;
    byte_ = 0;
    return out + 1;
  }

  uint32_t byte_;
  int32_t free_;  // bits of the byte that are still to come
};

}  // namespace
}  // namespace ZEL_VARIANT
