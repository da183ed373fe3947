// The first half of the tier-1 encoder: the coding passes of a block (ITU-T T.800, Annex D.3) as a log of decisions,
// with the distortion that each takes away.
#include "jpeg2000/encoder_planes.h"
#include "jpeg2000/encoder_state.h"

namespace ZEL_VARIANT {
namespace {

// Where a block's parts lie. Bits and signs stand behind what raw passes can log of a block.
struct Block {
  const int32_t* src;
  int srcStep;
  ZeliSize size;
  uint32_t* words;  // of the first column of the first stripe
  int64_t pitch;    // in words
  uint32_t* bits;   // of the plane at the places of the samples
  uint32_t* signs;
  int64_t bitsPitch;
  const uint8_t* zeroCoding;
};

constexpr int kMaxRawBytes = 4 * 32 + 4;  // of a column: a bit in each of 31 planes and a sign, four times; slack
static_assert(kMaxRawBytes + 2 * 8 * 4 + 2 * 4 < kLogBytesPerColumn, "rows of bits are padded to eight columns");

struct MqLog {
  uint8_t* next;
  static constexpr bool kRaw = false;
  ZEL_INLINE void decision(uint32_t context, uint32_t bit) { *next++ = uint8_t(context << 1 | bit); }
  ZEL_INLINE void significance(const uint8_t* table, uint32_t f, int place, uint32_t bit) {
    decision(zeroCodingContext(table, f, place), bit);
  }
  ZEL_INLINE void sign(uint32_t f, const uint32_t* word, int place, uint32_t negative) {
    *next++ = uint8_t(signCodingEntry(f, word, place) ^ negative);
  }
};

struct RawLog {
  uint8_t* next;
  static constexpr bool kRaw = true;
  ZEL_INLINE void significance(const uint8_t*, uint32_t, int, uint32_t bit) { *next++ = uint8_t(bit); }
  ZEL_INLINE void sign(uint32_t, const uint32_t*, int, uint32_t negative) { *next++ = uint8_t(negative); }
};

struct StripeWords {
  uint32_t* word;
  const uint32_t *bits, *signs;
  uint32_t places;
};
ZEL_INLINE StripeWords stripeOf(const Block& b, int y) {
  const int s = y / kStripe, rows = b.size.height - y;
  return {b.words + s * b.pitch, b.bits + s * b.bitsPitch, b.signs + s * b.bitsPitch,
          rows >= kStripe ? kOwn : rowsOf(rows)};
}

template <bool kIsCausal, class Log>
ZEL_INLINE uint32_t significant(Log& log, const Block& b, uint32_t* word, uint32_t f, uint32_t signs, int place) {
  const uint32_t sign = signs >> place & 1;
  log.sign(f, word, place, sign);
  return f | becomeSignificant<kIsCausal>(word, b.pitch, place, sign);
}

template <bool kIsCausal, class Log>
[[gnu::noinline]] void significancePropagation(const Block& b, Log* state) {
  Log log = *state;
  for (int y = 0; y < b.size.height; y += kStripe) {
    StripeWords s = stripeOf(b, y);
    for (int x = 0; x < b.size.width; ++x, ++s.word) {
      uint32_t f = *s.word;
      if (f == 0) continue;
      uint32_t pending = withNeighbours(f) & ~f & s.places;
      if (pending == 0) continue;
      const uint32_t bits = s.bits[x];
      do {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        f |= 1u << (place + kVisitedOf);
        const uint32_t bit = bits >> place & 1;
        log.significance(b.zeroCoding, f, place, bit);
        if (bit) {
          f = significant<kIsCausal>(log, b, s.word, f, s.signs[x], place);
          pending |= 8u << place & ~f & s.places;
        }
      } while (pending);
      *s.word = f;
    }
  }
  *state = log;
}

template <class Log>
[[gnu::noinline]] void magnitudeRefinement(const Block& b, Log* state) {
  uint8_t* next = state->next;
  for (int y = 0; y < b.size.height; y += kStripe) {
    const StripeWords s = stripeOf(b, y);
    next = refineStripe<Log::kRaw>(s.word, s.bits, b.size.width, next);
  }
  state->next = next;
}

template <bool kIsCausal>
[[gnu::noinline]] void cleanup(const Block& b, MqLog* state) {
  MqLog log = *state;
  for (int y = 0; y < b.size.height; y += kStripe) {
    StripeWords s = stripeOf(b, y);
    for (int x = 0; x < b.size.width; ++x, ++s.word) {
      uint32_t f = *s.word;
      const uint32_t bits = s.bits[x];
      uint32_t pending = ~f & ~(f >> kVisitedOf) & s.places;
      if (f == 0 && s.places == kOwn) {  // the run mode
        log.decision(kRunLength, bits != 0);
        if (bits == 0) continue;
        const int place = __builtin_ctz(bits);
        const uint32_t row = uint32_t(rowOf(place));
        log.decision(kUniform, row >> 1);
        log.decision(kUniform, row & 1);
        f = significant<kIsCausal>(log, b, s.word, f, s.signs[x], place);
        pending &= ~0u << place << 1;
      }
      while (pending) {
        const int place = __builtin_ctz(pending);
        pending &= pending - 1;
        const uint32_t bit = bits >> place & 1;
        log.significance(b.zeroCoding, f, place, bit);
        if (bit) f = significant<kIsCausal>(log, b, s.word, f, s.signs[x], place);
      }
      *s.word = f & ~kVisited;
    }
  }
  *state = log;
}

// All passes of a block, each entered in the coder's and the encoder's lists.
class Model {
 public:
  Model(const Block& b, Encoder* e)
      : b_(b), e_(*e), c_(*e->coder), flags_(e->coder->flags), mq_{c_.mqLog}, raw_{c_.rawLog} {}

  void run(int planes, int lowest) {
    gather(31, b_.signs);
    for (int p = planes - 1; p >= lowest; --p) {
      const bool raw = flags_ & kBypass && p < planes - 4;
      const int exponent = 2 * (p - lowest) - 13;
      gather(p, b_.bits);
      if (p < planes - 1) {
        const int first = c_.passes;
        if (raw)
          propagate(&raw_);
        else
          propagate(&mq_);
        enter(raw, exponent);
        if (raw)
          magnitudeRefinement(b_, &raw_);
        else
          magnitudeRefinement(b_, &mq_);
        enter(raw, exponent);
        const PlaneDistortion d = distortion(p, p == lowest);
        e_.distortion[first] = int32_t(d.propagation);
        e_.distortion[first + 1] = int32_t(d.refinement);
        e_.distortion[first + 2] = int32_t(d.cleanup);
      } else {
        e_.distortion[0] = int32_t(distortion(p, p == lowest).cleanup);
      }
      (flags_ & kCausal ? cleanup<true> : cleanup<false>)(b_, &mq_);
      if (flags_ & kSegmentationSymbols)
        for (uint32_t i = 0; i < 4; ++i) mq_.decision(kUniform, ~i & 1);
      enter(false, exponent);
    }
  }

 private:
  void gather(int bit, uint32_t* out) const {
    for (int y = 0; y < b_.size.height; y += kStripe)
      gatherBits(rowAt(b_.src, b_.srcStep, y), b_.srcStep, b_.size.width, rowsAt(y), bit,
                 out + y / kStripe * b_.bitsPitch);
  }

  PlaneDistortion distortion(int plane, bool lowest) const {
    const bool last = lowest && flags_ & kLossless;
    PlaneDistortion sums = {};
    for (int y = 0; y < b_.size.height; y += kStripe)
      (last ? addDistortion<true> : addDistortion<false>)(rowAt(b_.src, b_.srcStep, y), b_.srcStep, b_.size.width,
                                                          rowsAt(y), plane, b_.words + y / kStripe * b_.pitch, &sums);
    return sums;
  }

  int rowsAt(int y) const { return b_.size.height - y < kStripe ? b_.size.height - y : kStripe; }

  template <class Log>
  void propagate(Log* log) {
    (flags_ & kCausal ? significancePropagation<true, Log> : significancePropagation<false, Log>)(b_, log);
  }

  void enter(bool raw, int exponent) {
    const int64_t mq = mq_.next - c_.mqLog, bits = raw_.next - c_.rawLog;
    c_.isRaw[c_.passes] = raw;
    c_.decisions[c_.passes] = int32_t(mq + bits - logged_);
    e_.exponent[c_.passes] = exponent;
    logged_ = mq + bits;
    ++c_.passes;
  }

  const Block& b_;
  Encoder& e_;
  Coder& c_;
  uint32_t flags_;
  MqLog mq_;
  RawLog raw_;
  int64_t logged_ = 0;
};

}  // namespace

int modelBlock(const int32_t* src, int srcStep, ZeliSize size, ZeliEncodeState_JPEG2K* state, int subband,
               int magnBits) {
  Encoder* const e = encoderOf(state);
  const uint32_t all = allMagnitudes(src, srcStep, size);
  const int planes = all ? 32 - __builtin_clz(all) : 0;
  const int64_t stripes = (int64_t(size.height) + kStripe - 1) / kStripe, pitch = statePitch(size.width) / 4;
  const int64_t bitsPitch = (int64_t(size.width) + 7) / 8 * 8;
  Coder& c = *e->coder;
  uint8_t* const behindLog = c.rawLog + (kMaxRawBytes * size.width * stripes + 3) / 4 * 4;
  Block b = {src,
             srcStep,
             size,
             e->words + pitch + 1,
             pitch,
             reinterpret_cast<uint32_t*>(behindLog),
             nullptr,
             bitsPitch,
             zeroCodingTable(subband)};
  b.signs = b.bits + bitsPitch * stripes;
  __builtin_memset(e->words, 0, size_t(pitch * (stripes + 2)) * 4);
  const int lowest = 31 - magnBits;
  Model(b, e).run(planes, lowest > 0 ? lowest : 0);
  return planes;
}

}  // namespace ZEL_VARIANT
