// Huffman tables, coefficients and bit streams for the targets of the entropy coders.
#pragma once

#include "primitives.h"

namespace fuzz {

struct Tables {
  Pair<ZeliDecodeHuffmanSpec> dec;
  Pair<ZeliEncodeHuffmanSpec> enc;
  bool decodes, encodes;  // Init has accepted the description
};

// From a description with a code for every symbol, from the front of it with other symbols, or from one as a file may
// have it.
inline Tables tables(Run& z, bool complete = false) {
  constexpr uint8_t kCounts[16] = {0, 1, 1, 2, 2, 3, 3, 5, 6, 8, 10, 100, 0, 60, 0, 55};  // 256 codes
  const int kind = complete ? 0 : z.below(4), lengths = kind == 2 ? z.below(16) : 16, other = kind == 2 ? z.byte() : 0;
  const Pair<uint8_t> bits = z.take<uint8_t>(16, kind == 3), all = z.take<uint8_t>(256, kind == 3);
  size_t n = 0;  // more than 256 symbols are refused before they are read
  for (int i = 0; i < 16; ++i) {
    const size_t k = size_t(i);
    bits.set(k, kind == 3 ? bits[k] & (i < 8 ? 3 : 15) : i < lengths ? kCounts[i] : 0);
    n += bits[k];
  }
  for (int i = 0; i < 256 && kind < 3; ++i) all.set(size_t(i), uint8_t(i ^ other));
  const Pair<uint8_t> values = z.copy(all.of[0], std::min<size_t>(n, 256));
  Tables t = {z.take<ZeliDecodeHuffmanSpec>(1, false), z.take<ZeliEncodeHuffmanSpec>(1, false), false, false};
  t.decodes = z(&Api::zeliDecodeHuffmanSpecInit_JPEG_8u, bits, values, t.dec) == zelStsNoErr;
  t.encodes = z(&Api::zeliEncodeHuffmanSpecInit_JPEG_8u, bits, values, t.enc) == zelStsNoErr;
  return t;
}

// Some coefficients of up to so many bits (with the sign one more), the others 0.
inline Pair<int16_t> coefficients(Run& z, size_t n, int bits) {
  const Pair<int16_t> block = z.take<int16_t>(n, false);
  for (int count = z.below(int(n) + 1); count > 0; --count)
    block.set(size_t(z.below(int(n))), int16_t(z.between(0, 65535) - 32767) >> (16 - std::min(bits, 1 + z.below(16))));
  return block;
}

// What a decoder keeps besides the tables, and a copy of it.
struct Decoder {
  explicit Decoder(Run& z)
      : state(z.one(ZeliDecodeHuffmanState{})), pos(z.one(0)), marker(z.one(0)), lastDC(z.one(int16_t{0})) {}
  struct Copy {
    ZeliDecodeHuffmanState state;
    int pos, marker;
    int16_t lastDC;
  };
  Copy copy() const { return {*state, *pos, *marker, *lastDC}; }
  void restore(const Copy& c) const {
    state.set(0, c.state), pos.set(0, c.pos), marker.set(0, c.marker), lastDC.set(0, c.lastDC);
  }
  Pair<ZeliDecodeHuffmanState> state;
  Pair<int> pos, marker;
  Pair<int16_t> lastDC;
};

// The first n bytes of the data, up to the end of the room for them.
inline Pair<uint8_t> prefix(const Pair<uint8_t>& room, const uint8_t* data, int n) {
  const Pair<uint8_t> p = room.from(room.compared - size_t(n));
  for (uint8_t* to : p.of) std::copy(data, data + n, to);
  return p;
}

}  // namespace fuzz
