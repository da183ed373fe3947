// Where an encoder writes to: the caller's buffer, position and state record, and a bit writer made from them and saved
// back.
#pragma once

#include "frame/checks.h"
#include "huffman/bit_writer.h"

namespace ZEL_VARIANT {
namespace {

static_assert(sizeof(ZeliEncodeHuffmanState) == 1048);

constexpr int kStateTop = 24;  // a state holds its pending bits below this bit, the first of them topmost

// The destination of one call and the caller's variables.
struct Destination {
  uint8_t* dst;
  int length;
  int* pos;
  ZeliEncodeHuffmanState* state;
  int room() const { return length - *pos; }
};

inline ZelStatus checkDestination(const Destination& to) {
  return firstFailure(present(to.dst), lengthOk(to.length), present(to.pos), present(to.state));
}

inline void resetState(ZeliEncodeHuffmanState* state) { __builtin_memset(state, 0, sizeof *state); }

// A writer that goes on from the pending bits. What the record holds beside them is not data.
template <Path kPath, template <Path> class Writer = BitWriter>
ZEL_INLINE Writer<kPath> writerTo(const Destination& to) {
  const ZeliEncodeHuffmanState& state = *to.state;
  return {to.dst + *to.pos, to.dst + to.length, state.bits >> (kStateTop - state.bitCount), state.bitCount};
}

// Stores the writer's pending bits and its position.
template <class Writer>
ZEL_INLINE void save(const Writer& writer, const Destination& to) {
  to.state->bits = writer.pending() << (kStateTop - writer.count());
  to.state->bitCount = writer.count();
  *to.pos = int(writer.next() - to.dst);
}

// The end of a scan or restart interval (T.81, F.1.2.3: the last byte is padded with ones). Seven ones complete the
// byte that pending bits have begun, and where there is none they stay pending and are dropped. The state is reset in
// any case.
inline ZelStatus flush(const Destination& to) {
  auto writer = writerTo<Path::careful>(to);
  const ZelStatus s = writer.put(0x7F, 7);
  *to.pos = int(writer.next() - to.dst);
  resetState(to.state);
  return s;
}

}  // namespace
}  // namespace ZEL_VARIANT
