// Coding and decoding of LZW.
#include "tiff/lzw.h"

#include <algorithm>
#include <cstring>

namespace zelcodecs::tiff {
namespace {

constexpr int kStep = 8;  // bytes of a string that are written at once
constexpr int kLongest = kLzwCodes + kStep;

}  // namespace

// ---- Decoder --------------------------------------------------------------------------------------------------------

LzwDecoder::LzwDecoder(ByteView coded)
    : coded_(coded), lowFirst_(coded.size >= 2 && coded.data[0] == 0 && (coded.data[1] & 1)), table_(kLzwCodes) {
  for (int i = 0; i < 256; ++i) table_[size_t(i)] = {uint64_t(i), 1, 0};
  pending_.reserve(kLongest);
}

// The end where the data end without saying so.
int LzwDecoder::nextCode() {
  while (count_ < width_) {
    if (at_ == coded_.size) return kLzwEnd;
    const uint64_t byte = coded_.data[at_++];
    bits_ = lowFirst_ ? bits_ | byte << count_ : bits_ << 8 | byte;
    count_ += 8;
  }
  count_ -= width_;
  const uint64_t mask = (uint64_t{1} << width_) - 1;
  if (!lowFirst_) return int(bits_ >> count_ & mask);
  const int code = int(bits_ & mask);
  bits_ >>= width_;
  return code;
}

uint8_t LzwDecoder::firstByte(int code) const {
  while (table_[size_t(code)].length > kStep) code = table_[size_t(code)].before;
  return uint8_t(table_[size_t(code)].text);
}

void LzwDecoder::put(int code, uint8_t* to) const {
  const Entry* e = &table_[size_t(code)];
  size_t at = size_t(e->length - 1) / kStep * kStep;
  for (;;) {
    std::memcpy(to + at, &e->text, kStep);
    if (at == 0) return;
    at -= kStep;
    e = &table_[e->before];
  }
}

// The string of the code before, and the first byte of this one, become a string. False where the code cannot be.
bool LzwDecoder::extend(int code) {
  if (previous_ < 0) return code < 256;
  if (code > next_ || code == kLzwEnd || (code == next_ && next_ == kLzwCodes)) return false;
  if (next_ < kLzwCodes) {
    const Entry& p = table_[size_t(previous_)];
    const uint64_t byte = firstByte(code == next_ ? previous_ : code);
    const int filled = p.length % kStep;
    table_[size_t(next_)] = filled ? Entry{p.text | byte << 8 * filled, uint16_t(p.length + 1), p.before}
                                   : Entry{byte, uint16_t(p.length + 1), uint16_t(previous_)};
    ++next_;
  }
  const int early = lowFirst_ ? 0 : 1;
  if (next_ + early >= 1 << width_ && width_ < kLzwMostBits) ++width_;
  return true;
}

size_t LzwDecoder::read(uint8_t* to, size_t n) {
  size_t done = std::min(n, pending_.size() - pendingAt_);
  std::memcpy(to, pending_.data() + pendingAt_, done);
  pendingAt_ += done;
  while (done < n && !ended_) {
    const int code = nextCode();
    if (code == kLzwClear) {
      width_ = kLzwLeastBits;
      next_ = kLzwFirst;
      previous_ = -1;
      continue;
    }
    ended_ = code == kLzwEnd || !extend(code);
    if (ended_) break;
    previous_ = code;
    const size_t length = table_[size_t(code)].length;
    if (n - done >= length + kStep) {
      put(code, to + done);
      done += length;
      continue;
    }
    pending_.resize(length + kStep);
    put(code, pending_.data());
    pending_.resize(length);
    pendingAt_ = std::min(length, n - done);
    std::memcpy(to + done, pending_.data(), pendingAt_);
    done += pendingAt_;
  }
  return done;
}

// ---- Encoder --------------------------------------------------------------------------------------------------------

LzwEncoder::Slot* LzwEncoder::find(uint32_t key) {
  // Knuth's multiplier spreads the keys over the upper bits.
  for (size_t i = key * 2654435761u >> (32 - 14);; i = (i + 1) % kSlots)
    if (slots_[i].key == key || slots_[i].key == 0) return &slots_[i];
}

void LzwEncoder::encode(const uint8_t* data, size_t size, std::vector<uint8_t>* out) {
  uint64_t bits = 0;
  int count = 0, width = kLzwLeastBits, next = kLzwFirst;
  const auto put = [&](int code) {
    bits = bits << width | uint64_t(code);
    for (count += width; count >= 8; count -= 8) out->push_back(uint8_t(bits >> (count - 8)));
  };
  const auto forget = [&] {
    put(kLzwClear);
    std::fill(slots_.begin(), slots_.end(), Slot());
    width = kLzwLeastBits;
    next = kLzwFirst;
  };
  forget();
  int string = -1;
  for (size_t i = 0; i < size; ++i) {
    const int byte = data[i];
    if (string < 0) {
      string = byte;
      continue;
    }
    Slot* const slot = find((uint32_t(string) << 8 | uint32_t(byte)) + 1);
    if (slot->key) {
      string = slot->code;
      continue;
    }
    put(string);
    *slot = {(uint32_t(string) << 8 | uint32_t(byte)) + 1, uint16_t(next++)};
    string = byte;
    // The reader makes its strings one code later: to it this is early.
    if (next >= 1 << width && width < kLzwMostBits) ++width;
    // The last code stays unused, as the section asks for: Clear goes out while codes have 12 bits.
    if (next == kLzwCodes - 1) forget();
  }
  if (string >= 0) {
    put(string);
    // The reader makes a string of it, and may change to longer codes.
    if (++next >= 1 << width && width < kLzwMostBits) ++width;
  }
  put(kLzwEnd);
  if (count) out->push_back(uint8_t(bits << (8 - count)));
}

}  // namespace zelcodecs::tiff
