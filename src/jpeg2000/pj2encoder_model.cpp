// The first half of the tier-1 encoder: the coding passes of a block (ITU-T T.800, Annex D.3) as a log of decisions,
// with the distortion that each takes away.
//
// Nothing is coded here, as no context's state matters for which decisions are made. The block's samples are read twice
// for each plane, row by row: its bits are gathered into words of the same layout as the neighbourhoods, from where the
// passes take them with a shift; and the distortion of all three passes is summed up where it is known which sample has
// become significant in which.
#include "jpeg2000/encoder_logs.h"
#include "jpeg2000/encoder_planes.h"
#include "jpeg2000/encoder_state.h"

namespace ZEL_VARIANT {
namespace {

// The words of the plane's bits and of the signs need no memory of their own: a raw log has room for as many decisions
// as an MQ log, but never holds more than this for a column, a bit in each of 31 planes and a sign for four samples and
// the slack that appending takes. They stand behind.
constexpr int kMaxRawBytes = kStripe * 32 + 4;
constexpr int kPaddedColumns = 8;  // the rows of words end at a multiple of this many columns
static_assert(kPaddedColumns % u32v::N == 0);
static_assert(kMaxRawBytes + 4 + 2 * 4 * kPaddedColumns < kLogBytesPerColumn, "for a block of a single column");

// All passes of a block, each entered in the coder's and the encoder's lists.
class Model {
 public:
  Model(const int32_t* src, int srcStep, ZeliSize size, Encoder* e, int subband)
      : src_(src), srcStep_(srcStep), e_(*e), c_(*e->coder), flags_(c_.flags), mq_{c_.mqLog}, raw_{c_.rawLog} {
    const int64_t stripes = stripesOf(size.height), pitch = statePitch(size.width) / 4;
    const int64_t bitsPitch = (int64_t(size.width) + kPaddedColumns - 1) / kPaddedColumns * kPaddedColumns;
    const int64_t rawBytes = kMaxRawBytes * (size.width * stripes);
    auto* const bits = reinterpret_cast<uint32_t*>(c_.rawLog + (rawBytes + 3) / 4 * 4);
    uint32_t* const words = e->words + pitch + 1;  // behind the guard row and a guard word
    b_ = {
        {bits, bits + bitsPitch * stripes, bitsPitch}, size.width, size.height, words, pitch, zeroCodingTable(subband)};
    __builtin_memset(e->words, 0, size_t(pitch * (stripes + 2)) * 4);
  }

  // The passes of bit planes from planes - 1 down to lowest. The top plane has a cleanup pass only, as nothing is
  // significant before it (D.3).
  void run(int planes, int lowest) {
    gather(kSignBit, b_.samples.signs);
    for (int p = planes - 1; p >= lowest; --p) {
      const bool isTop = p == planes - 1, raw = flags_ & zeliCodeBlockBypass && p < planes - kMqPlanes;
      const int exponent = 2 * (p - lowest) - 13;  // distortion is 8192 to the squared unit of the plane
      const int first = c_.passes;
      gather(p, b_.samples.bits);
      if (!isTop) {
        if (raw)
          propagateAndRefine(&raw_, raw, exponent);
        else
          propagateAndRefine(&mq_, raw, exponent);
      }
      recordDistortion(p, p == lowest, isTop, first);
      (flags_ & zeliCodeBlockVerticallyCausal ? cleanup<true, MqLog> : cleanup<false, MqLog>)(b_, &mq_);
      if (flags_ & zeliCodeBlockSegmentationSymbols)  // D.5: 1, 0, 1, 0
        for (uint32_t i = 0; i < 4; ++i) mq_.decision(kUniform, (i & 1) ^ 1);
      enter(false, exponent);
    }
  }

 private:
  // A bit of all samples, stripe by stripe.
  void gather(int bit, uint32_t* out) const {
    for (int y = 0; y < b_.height; y += kStripe)
      gatherBits(rowAt(src_, srcStep_, y), srcStep_, b_.width, rowsAt(y), bit, out + y / kStripe * b_.samples.pitch);
  }

  int rowsAt(int y) const { return b_.height - y < kStripe ? b_.height - y : kStripe; }

  // The first two passes of a plane, to one log or the other.
  template <class Log>
  void propagateAndRefine(Log* log, bool raw, int exponent) {
    (flags_ & zeliCodeBlockVerticallyCausal ? significancePropagation<true, Log>
                                            : significancePropagation<false, Log>)(b_, log);
    enter(raw, exponent);
    magnitudeRefinement(b_, log);
    enter(raw, exponent);
  }

  // Of all passes of a plane, before its cleanup pass takes away the marks that tell propagation from cleanup. first:
  // the number of the plane's first pass.
  void recordDistortion(int plane, bool isLowest, bool isTop, int first) {
    const bool isLast = isLowest && flags_ & zeliEncodeLowestPlaneIsLast;
    PlaneDistortion sums = {};
    for (int y = 0; y < b_.height; y += kStripe)
      (isLast ? addDistortion<true> : addDistortion<false>)(rowAt(src_, srcStep_, y), srcStep_, b_.width, rowsAt(y),
                                                            plane, wordsOf(b_, y), b_.samples.stripe(y).bits, &sums);
    int32_t* next = e_.distortion + first;
    if (!isTop) {
      *next++ = int32_t(sums.propagation);
      *next++ = int32_t(sums.refinement);
    }
    *next = int32_t(sums.cleanup);
  }

  // The pass that has just been logged. Its decisions are what has come to the two logs since the pass before.
  void enter(bool raw, int exponent) {
    const int64_t logged = (mq_.next - c_.mqLog) + (raw_.next - c_.rawLog);
    c_.isRaw[c_.passes] = raw;
    c_.decisions[c_.passes] = int32_t(logged - logged_);
    e_.exponent[c_.passes] = exponent;
    logged_ = logged;
    ++c_.passes;
  }

  const int32_t* src_;
  int srcStep_;
  Encoder& e_;
  Coder& c_;
  uint32_t flags_;
  MqLog mq_;
  RawLog raw_;
  Block<SampleBits> b_;
  int64_t logged_ = 0;
};

}  // namespace

int modelBlock(const int32_t* src, int srcStep, ZeliSize size, ZeliEncodeState_JPEG2K* state, int subband,
               int magnBits) {
  const uint32_t all = allMagnitudes(src, srcStep, size);
  const int planes = all ? 32 - __builtin_clz(all) : 0;
  const int lowest = 31 - magnBits;
  Model(src, srcStep, size, encoderOf(state), subband).run(planes, lowest > 0 ? lowest : 0);
  return planes;
}

}  // namespace ZEL_VARIANT
