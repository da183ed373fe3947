// The encoder state record, and a bit writer made from it and saved back.
#pragma once

#include "huffman/bit_writer.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliEncodeHuffmanState) == 1048);

inline void resetState(ZeliEncodeHuffmanState* state) { __builtin_memset(state, 0, sizeof *state); }

template <Path kPath>
ZEL_INLINE BitWriter<kPath> writerFrom(const ZeliEncodeHuffmanState& state, uint8_t* next, uint8_t* end) {
  return {next, end, state.bits >> (kStateTop - state.bitCount), state.bitCount};
}

// Stores the pending bits and gives the position reached.
template <class Writer>
ZEL_INLINE uint8_t* save(const Writer& writer, ZeliEncodeHuffmanState* state) {
  state->bits = writer.pending() << (kStateTop - writer.count());
  state->bitCount = writer.count();
  return writer.next();
}

// Seven ones complete the last byte and leave nothing to write where there is none. The state is reset in any case.
inline ZelStatus flush(uint8_t* dst, int length, int* pos, ZeliEncodeHuffmanState* state) {
  auto writer = writerFrom<Path::careful>(*state, dst + *pos, dst + length);
  const ZelStatus s = writer.put(0x7F, 7);
  *pos = int(writer.next() - dst);
  resetState(state);
  return s;
}

}  // namespace
}  // namespace ZEL_VARIANT
