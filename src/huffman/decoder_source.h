// Where the progressive and lossless decoders read from, and the trial of the fast path before the careful one.
#pragma once

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

template <Path kPath>
ZEL_INLINE BitReader<kPath> readerFrom(const Source& in) {
  return {in.src, in.length, *in.pos, in.state->bits, in.state->bitCount, *in.marker};
}

struct Fast {
  static constexpr bool kCareful = false;
};
struct Careful {
  static constexpr bool kCareful = true;
};

// Runs decode(reader, path) on the fast path where it can, and again from the start on the careful one where that gave
// up.
template <class Decode>
ZEL_INLINE ZelStatus decodeFrom(const Source& in, Decode decode) {
  if (*in.marker == 0 && in.length - *in.pos >= kFastPathBytes) {
    auto reader = readerFrom<Path::fast>(in);
    if (decode(reader, Fast{}) == zelStsNoErr) {
      reader.save(&in.state->bits, &in.state->bitCount, in.pos);
      return zelStsNoErr;
    }
  }
  auto reader = readerFrom<Path::careful>(in);
  const ZelStatus s = decode(reader, Careful{});
  reader.save(&in.state->bits, &in.state->bitCount, in.pos);
  *in.marker = reader.marker();
  return s;
}

}  // namespace
}  // namespace ZEL_VARIANT
