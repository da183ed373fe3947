// Where blocks of coefficients are kept, and the walk over the blocks of a scan's MCUs.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

#include "jpeg/format.h"

namespace zelcodecs::jpeg {

// All blocks of a component.
template <class Value>
struct BlockPlaneOf {
  Value* values = nullptr;
  int wide = 0, high = 0;  // in blocks

  Value* block(int x, int y) const { return values + 64 * (size_t(y) * size_t(wide) + size_t(x)); }
};

template <class Value>
struct BlocksOf {
  BlockPlaneOf<Value> component[kMaxComponents];
};
using Blocks = BlocksOf<int16_t>;
using ConstBlocks = BlocksOf<const int16_t>;

Blocks blocksOf(JpegCoefficients* coefficients);
ConstBlocks blocksOf(const JpegCoefficients& coefficients);

// Stands on an MCU of a scan: its blocks in the order in which they are coded (T.81 A.2.3), those of a component in
// rows from left to right, the components one after the other.
template <class Value>
class McuWalk {
 public:
  McuWalk(const BlocksOf<Value>& blocks, const Frame& frame, const Scan& scan) {
    for (int i = 0; i < scan.count; ++i) {
      const Component& c = frame.components[size_t(scan.parts[i].component)];
      const int h = scan.interleaved() ? c.h : 1, v = scan.interleaved() ? c.v : 1;
      for (int k = 0; k < h * v; ++k)
        places_[count_++] = {blocks.component[scan.parts[i].component], h, v, k % h, k / h, i};
    }
  }

  void moveTo(int x, int y) {
    for (int b = 0; b < count_; ++b) {
      const Place& p = places_[b];
      at_[b] = p.plane.block(x * p.h + p.left, y * p.v + p.above);
    }
  }
  // To the next MCU of the row. Scans of one position touch a line of each block only: the processor does not foresee
  // that.
  void next() {
    constexpr int kAhead = 6;
    for (int b = 0; b < count_; ++b) {
      const ptrdiff_t step = 64 * places_[b].h;
      at_[b] += step;
      __builtin_prefetch(at_[b] + kAhead * step, !std::is_const_v<Value>);
    }
  }

  int count() const { return count_; }
  Value* const* blocks() const { return at_; }
  // Which of the scan's components a block belongs to.
  int part(int b) const { return places_[b].part; }

 private:
  struct Place {
    BlockPlaneOf<Value> plane;
    int h, v;         // blocks of the component in an MCU
    int left, above;  // of this one, in the MCU
    int part;
  };
  Place places_[kMaxBlocksPerFrameMcu];
  Value* at_[kMaxBlocksPerFrameMcu] = {};
  int count_ = 0;
};

// Memory that coefficients of the whole picture take.
uint64_t storedBytes(const Frame& frame);
// An empty store for the picture.
JpegCoefficients storeFor(const Frame& frame);

}  // namespace zelcodecs::jpeg
