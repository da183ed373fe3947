// The second half of the tier-1 encoder: the logged decisions are coded, segment by segment, and their bytes handed out
// as far as there is room. It may stop at any byte and go on in the next call.
//
// Bytes go straight to the caller's buffer while a number of decisions is sure to fit. Near its end decisions are coded
// one at a time into a queue, from where bytes follow as far as they fit; emission stops when one does not, and so the
// queue is empty whenever a decision is coded, but for the byte that is held back:
//
// The last byte so far of an open segment is not handed out while it is 0xFF. The shortest termination drops a 0xFF at
// the end, and bits of ones after it, so it must not have left before that end is known. In random data that happens
// once in some ten million segments; other bytes are not affected, as only 0xFF and 0x7F are dropped.
#include "jpeg2000/encoder_state.h"

namespace ZEL_VARIANT {
namespace {

class Emission {
 public:
  Emission(Coder* c, uint8_t* dst, int room) : c_(*c), dst_(dst), out_(dst), end_(dst + room) {}

  int run() {
    drain();
    while (c_.pass < c_.passes && !blocked()) {
      const int left = c_.decisions[c_.pass] - c_.decisionsDone;
      const int64_t room = end_ - out_ - c_.queue.size;
      if (left == 0)
        endPass();
      else if (room >= kDirectRoom)
        codeDirectly(left < room / MqEncoder::kMaxBytes ? left : room / MqEncoder::kMaxBytes);
      else
        codeOne();
      drain();
    }
    const int written = int(out_ - dst_);
    keepRatesOffMarkers(written);
    c_.handedOut += written;
    return written;
  }

 private:
  static constexpr int kDirectRoom = 16;  // below this much room one decision at a time

  // Bytes of the block so far.
  int total() const { return c_.handedOut + int(out_ - dst_) + c_.queue.size; }

  // Bytes of the queue that may be handed out: all but a 0xFF at the end of an open segment.
  int ready() const {
    const int n = c_.queue.size;
    return n - (c_.open && n > 0 && c_.queue.at[n - 1] == 0xFF);
  }
  bool blocked() const { return ready() > 0; }

  // Hands out what is ready, as far as there is room.
  void drain() {
    const int fits = ready() < end_ - out_ ? ready() : int(end_ - out_);
    if (fits == 0) return;
    __builtin_memcpy(out_, c_.queue.at, size_t(fits));
    out_ += fits;
    c_.queue.size -= fits;
    __builtin_memmove(c_.queue.at, c_.queue.at + fits, size_t(c_.queue.size));
  }

  // Codes the next n decisions of the pass; their bytes go to out.
  uint8_t* code(int64_t n, uint8_t* out) {
    c_.open = 1;
    c_.decisionsDone += int(n);
    if (c_.isRaw[c_.pass]) {
      c_.rawNext += n;
      return c_.raw.encode(c_.rawNext - n, n, out);
    }
    c_.mqNext += n;
    return c_.mq.encode(c_.mqNext - n, n, c_.contexts, out);
  }

  void codeDirectly(int64_t n) {
    if (c_.queue.size) *out_++ = c_.queue.at[0];  // what was held back; if it is the last byte still, it is again
    c_.queue.size = 0;
    out_ = code(n, out_);
    if (out_ > dst_ && out_[-1] == 0xFF) c_.queue = {{*--out_}, 1};
  }

  void codeOne() { c_.queue.size = int32_t(code(1, c_.queue.at + c_.queue.size) - c_.queue.at); }

  // All decisions of a pass have been coded: its segment ends or goes on, and its rate is known. An open segment owes
  // the bytes that are still in the coder's registers. That is an upper limit; where a later pass, whose rate is exact,
  // needs fewer, so does this one.
  void endPass() {
    const int pass = c_.pass;
    const bool raw = c_.isRaw[pass] != 0, ended = endsSegment(c_, pass);
    int owed = 0;
    if (ended) {
      if (raw)
        c_.raw.terminate(&c_.queue);
      else
        c_.mq.terminate(c_.termMode, &c_.queue);
      c_.open = 0;
    } else {
      owed = raw ? c_.raw.pending() : c_.mq.owed();
    }
    if (c_.flags & zeliCodeBlockResetContexts) resetContexts(c_.contexts);
    c_.rate[pass] = total() + owed;
    if (owed == 0)
      for (int k = 0; k < pass; ++k)
        if (c_.rate[k] > c_.rate[pass]) c_.rate[k] = c_.rate[pass];
    c_.bytes[pass] = total() - c_.passStart;
    c_.passStart = total();
    c_.decisionsDone = 0;
    ++c_.pass;
  }

  // A segment that is cut at a rate must not end in 0xFF, and need not: a decoder reads that byte from nothing. For the
  // rates whose last byte is among those written in this call.
  void keepRatesOffMarkers(int written) {
    for (int k = 0; k < c_.pass; ++k) {
      const int at = c_.rate[k] - 1 - c_.handedOut;
      if (at >= 0 && at < written && dst_[at] == 0xFF) --c_.rate[k];
    }
  }

  Coder& c_;
  uint8_t *const dst_, *out_, *const end_;
};

}  // namespace

int emitBytes(ZeliEncodeState_JPEG2K* state, uint8_t* dst, int room) {
  return Emission(encoderOf(state)->coder, dst, room).run();
}

}  // namespace ZEL_VARIANT
