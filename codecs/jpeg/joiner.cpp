// Each byte is shifted behind the bits that are held. Stuffing follows from the bytes that come of it: it is taken out
// of what is appended, and put in where a byte of ones is written.
#include "jpeg/joiner.h"

#include <cstring>

namespace zelcodecs::jpeg {
namespace {

uint64_t loadWord(const uint8_t* p) {  // the first byte highest
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return __builtin_bswap64(v);
}
void storeWord(uint8_t* p, uint64_t v) {
  v = __builtin_bswap64(v);
  std::memcpy(p, &v, sizeof v);
}

// Whether a byte is 0xFF: only such a byte's complement borrows from above its own top bit when 1 is taken off.
bool hasFF(uint64_t v) {
  constexpr uint64_t kOnes = 0x0101010101010101, kTops = 0x8080808080808080;
  return ((~v - kOnes) & v & kTops) != 0;
}

}  // namespace

BitJoiner::BitJoiner(Sink* out) : out_(out), buffer_(new uint8_t[kBuffer]) {}

void BitJoiner::spill() {
  out_->write(buffer_.get(), position_);
  position_ = 0;
}

// Of the 16 bytes of room that are left at least, a byte takes two.
void BitJoiner::put(uint8_t byte) {
  buffer_[position_++] = byte;
  if (byte == 0xFF) buffer_[position_++] = 0;
  if (position_ > kBuffer - 16) spill();
}

// Eight bytes at a time, as long as neither they nor what comes of them hold a byte of ones. Returns how many.
size_t BitJoiner::appendWords(const uint8_t* bytes, size_t size) {
  const int count = held_.count;
  uint64_t held = held_.bits;
  size_t at = 0;
  for (; size - at >= 8; at += 8) {
    const uint64_t in = loadWord(bytes + at), out = held << (64 - count) | in >> count;
    if (hasFF(in) || hasFF(out)) break;
    storeWord(&buffer_[position_], out);
    position_ += 8;
    held = in & ((uint64_t{1} << count) - 1);
    if (position_ > kBuffer - 16) spill();
  }
  held_.bits = uint32_t(held);
  return at;
}

void BitJoiner::append(const uint8_t* bytes, size_t size, BitTail tail) {
  if (held_.count == 0) {
    spill();
    out_->write(bytes, size);
    held_ = tail;
    return;
  }
  const uint32_t mask = (1U << held_.count) - 1;
  for (size_t at = 0; at < size;) {
    at += appendWords(bytes + at, size - at);
    for (const size_t end = at + 8; at < size && at < end;) {
      const uint32_t v = held_.bits << 8 | bytes[at];
      at += bytes[at] == 0xFF ? 2 : 1;
      put(uint8_t(v >> held_.count));
      held_.bits = v & mask;
    }
  }
  held_ = {held_.bits << tail.count | tail.bits, held_.count + tail.count};
  if (held_.count < 8) return;
  held_.count -= 8;
  put(uint8_t(held_.bits >> held_.count));
  held_.bits &= (1U << held_.count) - 1;
}

void BitJoiner::fill() {
  if (held_.count == 0) return;
  put(uint8_t(held_.bits << (8 - held_.count) | 0xFFU >> held_.count));
  held_ = {};
}

void BitJoiner::finish() {
  fill();
  spill();
}

}  // namespace zelcodecs::jpeg
