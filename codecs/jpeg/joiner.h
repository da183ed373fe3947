// Coded data of consecutive pieces of a scan, made side by side, as one coder would have written them (T.81 F.1.2.3).
#pragma once

#include <memory>

#include "common/sink.h"

namespace zelcodecs::jpeg {

// Bits that do not fill a byte: the low count (0 to 7) of bits.
struct BitTail {
  uint32_t bits = 0;
  int count = 0;
};

class BitJoiner {
 public:
  explicit BitJoiner(Sink* out);

  // Stuffed bytes of a piece, and the bits behind them. Markers may be among the bytes only where the data before end
  // with a whole byte.
  void append(const uint8_t* bytes, size_t size, BitTail tail);
  // Fills the last byte with ones, as before a marker.
  void fill();
  // Fills it, and hands out what is left.
  void finish();

 private:
  static constexpr size_t kBuffer = 65536;
  void put(uint8_t byte);
  void spill();
  size_t appendWords(const uint8_t* bytes, size_t size);

  Sink* const out_;
  const std::unique_ptr<uint8_t[]> buffer_;
  size_t position_ = 0;
  BitTail held_;  // the bits before what is appended next
};

}  // namespace zelcodecs::jpeg
