// Stretches of the data: decoded from guesses, joined, delivered.
#include "jpeg/stretches.h"

#include <algorithm>
#include <atomic>

namespace zelcodecs::jpeg {
namespace {

// Blocks in a stretch: many times what it takes to meet, yet few enough to be handed on in the cache. There is room for
// more than its bytes make us expect.
constexpr int kStretchBlocks = 768, kRoom = 3;
constexpr int kLeastBytes = 256;
// The states between its first MCUs that are kept for the one before to meet.
constexpr int kMeetings = 64;
constexpr int kMcusOfDelivery = 64;
constexpr int kMostSingle = 64;  // windows

// Whether two decoders do the same from here on.
bool sameBits(const McuState& a, const McuState& b) {
  const uint64_t unused = (uint64_t{1} << a.source.state.bitCount) - 1;
  return a.source.position == b.source.position && a.source.state.bitCount == b.source.state.bitCount &&
         ((a.source.state.bits ^ b.source.state.bits) & unused) == 0;
}

// Further on is who has read more, or has fewer unused bits of it.
bool isBefore(const McuState& a, const McuState& b) {
  if (a.source.position != b.source.position) return a.source.position < b.source.position;
  return a.source.state.bitCount > b.source.state.bitCount;
}

// A state to begin with at a byte; not between a byte of ones and its stuffing.
McuState guessAt(EntropySource source, int position) {
  while (position < source.length && source.data[position - 1] == 0xFF) ++position;
  source.position = position;
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&source.state));
  return {source, {}};
}

}  // namespace

struct Stretches::Stretch {
  explicit Stretch(int room) : blocks(new int16_t[64 * size_t(room)]), last(new int8_t[size_t(room)]) {}

  void begin(const McuState& at, bool isGuess) {
    state = at;
    guessed = isGuess;
    ended = met = false;
    mcus = meeting = meetingCount = 0;
    meetingsKnown.store(!isGuess, std::memory_order_relaxed);
  }

  const std::unique_ptr<int16_t[]> blocks;
  const std::unique_ptr<int8_t[]> last;  // the zigzag position of each block's last coefficient that is not zero

  bool guessed = false;
  int end = 0;                    // of its bytes
  const Stretch* next = nullptr;  // the one to meet behind them
  int most = 0;                   // MCUs
  // What is decoded, and the state behind it.
  int mcus = 0;
  McuState state;
  bool ended = false;  // by what is left to decoding in order
  int meeting = 0;     // the first of the next one's that is not behind us
  bool met = false;    // there

  // The states in front of its first MCUs, complete where that is said.
  McuState meetings[kMeetings];
  int meetingCount = 0;
  std::atomic<bool> meetingsKnown{false};

  // Joined: its MCU 0 would be this one of the scan; those before `delivered` are dropped or done.
  int mcu = 0, delivered = 0;
  int16_t dcOffset[kMaxComponents] = {};
};

Stretches::Stretches(const McuCode& code, const McuSink* sink, int mcusWide)
    : code_(code), sink_(sink), mcusWide_(mcusWide), stretchMcus_(ceilDiv(kStretchBlocks, code.blocks)) {}

Stretches::~Stretches() = default;

// ---- Rounds

int Stretches::plan(int target, int mcu, const McuState& state, int wanted, int left) {
  target_ = target;
  mcu_ = mcu;
  begin_ = state;
  left_ = left;
  deliveries_.clear();
  for (const auto& s : ready_)
    for (int from = s->delivered, end = std::min(s->mcus, target - s->mcu); from < end; from += kMcusOfDelivery)
      deliveries_.push_back({s.get(), from, std::min(from + kMcusOfDelivery, end)});
  if (wanted > 0) planWindow(std::min(wanted, left));
  return int(window_.size() + deliveries_.size());
}

// The bytes of so many MCUs, by what MCUs have taken last, in stretches of the same size.
void Stretches::planWindow(int wanted) {
  const EntropySource& source = begin_.source;
  const int length = source.length - source.position;
  if (bytesOfMcu_ == 0) bytesOfMcu_ = double(length) / left_;
  const int bytes = int(std::min(wanted * bytesOfMcu_ + 1, double(length)));
  const int count = single_ > 0 ? 1 : std::max(1, std::min(wanted / stretchMcus_, bytes / kLeastBytes));
  single_ = std::max(0, single_ - 1);
  for (int i = 0; i < count; ++i) {
    window_.push_back(takeStretch());
    Stretch& s = *window_.back();
    s.begin(i ? guessAt(source, source.position + int(int64_t{bytes} * i / count)) : begin_, i > 0);
    s.end = source.position + int(int64_t{bytes} * (i + 1) / count);
    s.most = i ? kRoom * stretchMcus_ : std::min(kRoom * stretchMcus_, left_);
    s.next = nullptr;
    if (i) window_[size_t(i) - 1]->next = &s;
  }
}

std::unique_ptr<Stretches::Stretch> Stretches::takeStretch() {
  if (idle_.empty()) return std::make_unique<Stretch>(kRoom * stretchMcus_ * code_.blocks);
  std::unique_ptr<Stretch> s = std::move(idle_.back());
  idle_.pop_back();
  return s;
}

// The last stretch is begun first: when one has come to the end of its bytes, the next one has mostly gone beyond its
// meetings.
void Stretches::work(int piece) {
  const int stretches = int(window_.size());
  if (piece < stretches)
    decode(window_[size_t(stretches - 1 - piece)].get());
  else
    deliver(deliveries_[size_t(piece - stretches)]);
}

// What has been delivered is free again. Of the window the stretches are joined as far as they meet.
Stretches::Outcome Stretches::join() {
  for (; !ready_.empty() && ready_.front()->mcu + ready_.front()->mcus <= target_; ready_.pop_front())
    idle_.push_back(std::move(ready_.front()));
  for (const auto& s : ready_) s->delivered = std::max(s->delivered, target_ - s->mcu);

  Outcome outcome = {0, false, begin_};
  size_t joined = 0;
  while (joined < window_.size() && (joined == 0 || window_[joined - 1]->met)) {
    if (!accept(window_[joined].get(), joined ? window_[joined - 1].get() : nullptr, &outcome)) break;
    ++joined;
  }
  if (!window_.empty()) learnFrom(outcome, joined == window_.size());
  for (size_t i = 0; i < window_.size(); ++i) {
    if (i < joined)
      ready_.push_back(std::move(window_[i]));
    else
      idle_.push_back(std::move(window_[i]));
  }
  window_.clear();
  return outcome;
}

// Joins a stretch to the one before, which has met it. Not one with more MCUs than the scan has: which of them is the
// last, and the state behind it, is known of the first stretch alone.
bool Stretches::accept(Stretch* s, const Stretch* before, Outcome* outcome) {
  // The next one's meetings may not have been known when they were needed.
  if (s->next && !s->met && !s->ended) decode(s);
  const int skipped = before ? before->meeting : 0;
  if (outcome->mcus + s->mcus - skipped > left_) return false;
  s->mcu = mcu_ + outcome->mcus - skipped;
  s->delivered = skipped;
  McuState& state = outcome->state;
  for (int c = 0; c < kMaxComponents; ++c) {
    s->dcOffset[c] = before ? int16_t(state.lastDc[c] - s->meetings[skipped].lastDc[c]) : int16_t{0};
    state.lastDc[c] = int16_t(s->state.lastDc[c] + s->dcOffset[c]);
  }
  state.source = s->state.source;
  outcome->mcus += s->mcus - skipped;
  outcome->ended = s->ended;
  return true;
}

void Stretches::learnFrom(const Outcome& outcome, bool allMet) {
  const int bytes = outcome.state.source.position - begin_.source.position;
  if (outcome.mcus > 0) bytesOfMcu_ = double(std::max(bytes, 1)) / outcome.mcus;
  if (window_.size() > 1 && allMet) failures_ = 0;
  if (allMet || outcome.ended) return;
  ++failures_;
  single_ = std::min(1 << std::min(failures_, 10), kMostSingle);
}

// ---- Decoding

// Up to where the next stretch is met. If its meetings are not known yet, or lie behind, up to the end of the bytes.
void Stretches::decode(Stretch* s) const {
  while (s->mcus < s->most && !s->ended) {
    if (s->state.source.position >= s->end && !goesOn(s)) break;
    if (s->guessed && s->meetingCount < kMeetings) {
      s->meetings[s->meetingCount++] = s->state;
      if (s->meetingCount == kMeetings) s->meetingsKnown.store(true, std::memory_order_release);
    }
    decodeMcu(s);
  }
  s->meetingsKnown.store(true, std::memory_order_release);
}

// Behind the bytes of a stretch: whether the next one can still be met further on.
bool Stretches::goesOn(Stretch* s) {
  if (!s->next || !s->next->meetingsKnown.load(std::memory_order_acquire)) return false;
  const McuState* const meetings = s->next->meetings;
  const int count = s->next->meetingCount;
  while (s->meeting < count && isBefore(meetings[s->meeting], s->state)) ++s->meeting;
  s->met = s->meeting < count && sameBits(meetings[s->meeting], s->state);
  return s->meeting < count && !s->met;
}

// What cannot be decoded at the beginning of a guess is no damage: the next byte is another guess.
void Stretches::decodeMcu(Stretch* s) const {
  const McuState before = s->state;
  EntropySource& source = s->state.source;
  const size_t first = size_t(s->mcus) * size_t(code_.blocks);
  bool fails = false;
  for (int b = 0; b < code_.blocks && !fails; ++b) {
    const int part = code_.partOf[b];
    fails = zeliDecodeHuffman8x8_JPEG_1u16s_C1(
                source.data, source.length, &source.position, &s->blocks[64 * (first + size_t(b))],
                &s->state.lastDc[part], &source.marker, code_.dc[part], code_.ac[part], &source.state) != zelStsNoErr;
    s->last[first + size_t(b)] = int8_t(source.state.lastPosition);
  }
  if (!fails && !source.marker) {
    ++s->mcus;
    return;
  }
  const bool isGuess = s->guessed && !s->meetingsKnown.load(std::memory_order_relaxed) && !source.marker;
  s->ended = !isGuess || before.source.position + 1 >= s->end;
  s->state = before;
  if (s->ended) return;
  s->state = guessAt(before.source, before.source.position + 1);
  s->mcus = s->meetingCount = 0;
}

// ---- Delivery

void Stretches::deliver(const Delivery& d) const {
  const Stretch& s = *d.stretch;
  for (int i = d.from; i < d.to; ++i) {
    const size_t first = size_t(i) * size_t(code_.blocks);
    const int16_t* blocks[kMaxBlocksPerMcu];
    for (int b = 0; b < code_.blocks; ++b) {
      int16_t* const block = &s.blocks[64 * (first + size_t(b))];
      block[0] = int16_t(block[0] + s.dcOffset[code_.partOf[b]]);
      blocks[b] = block;
    }
    const int mcu = s.mcu + i;
    sink_->mcu(mcu % mcusWide_, mcu / mcusWide_, blocks, &s.last[first]);
  }
}

}  // namespace zelcodecs::jpeg
