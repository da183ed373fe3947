// Where the progressive and lossless decoders read from, and the trial of the fast path before the careful one.
#pragma once

#include "frame/checks.h"
#include "huffman/bit_reader.h"

namespace ZEL_VARIANT {
namespace {

// The source of one call and the caller's variables.
struct Source {
  const uint8_t* src;
  int length;
  int* pos;
  int* marker;
  ZeliDecodeHuffmanState* state;
};

inline ZelStatus checkSource(const Source& in) {
  return firstFailure(present(in.src), lengthOk(in.length), present(in.pos));
}

template <Path kPath>
ZEL_INLINE BitReader<kPath> readerFrom(const Source& in) {
  return {in.src, in.length, *in.pos, in.state->bits, in.state->bitCount, *in.marker};
}

// Follows the standard's procedures. An error ends the call; what was read until then has been used.
template <class Decode>
ZEL_INLINE ZelStatus decodeCarefully(const Source& in, Decode decode) {
  auto reader = readerFrom<Path::careful>(in);
  const ZelStatus s = decode(reader);
  reader.save(&in.state->bits, &in.state->bitCount, in.pos);
  *in.marker = reader.marker();
  return s;
}

// Runs decode(reader) on the fast path where no marker ends the data yet and fastBytes of them are left. Where the fast
// path gives up, undo() puts back what decode has changed, and the careful path runs it again from the start.
template <class Decode, class Undo>
ZEL_INLINE ZelStatus decodeFrom(const Source& in, int64_t fastBytes, Decode decode, Undo undo) {
  if (*in.marker == 0 && in.length - *in.pos >= fastBytes) {
    auto reader = readerFrom<Path::fast>(in);
    if (decode(reader) == zelStsNoErr) {
      reader.save(&in.state->bits, &in.state->bitCount, in.pos);
      return zelStsNoErr;
    }
    undo();
  }
  return decodeCarefully(in, decode);
}

}  // namespace
}  // namespace ZEL_VARIANT
