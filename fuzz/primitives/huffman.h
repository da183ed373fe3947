// What the targets of the entropy coders share: tables, coefficients, records, and the ways in which a stream is
// decoded and encoded. A target describes its coder by a class with
//   length                               samples of a block, or of all rows of a call
//   decode(z, Decoder, src, n, block)    one call of the decoder
//   encode(z, Coder, block, dst, flush)  one call of the encoder
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
  for (int count = z.below(int(n) + 1); count > 0; --count) {
    const int at = z.below(int(n)), value = z.between(0, 65535) - 32767, kept = std::min(bits, 1 + z.below(16));
    block.set(size_t(at), int16_t(int16_t(value) >> (16 - kept)));
  }
  return block;
}

struct Decoder {
  explicit Decoder(Run& z)
      : state(z.one(ZeliDecodeHuffmanState{})), pos(z.one(0)), marker(z.one(0)), lastDC(z.one(int16_t{0})) {}
  Pair<ZeliDecodeHuffmanState> state;
  Pair<int> pos, marker;
  Pair<int16_t> lastDC;
};

struct Coder {
  explicit Coder(Run& z) : state(z.one(ZeliEncodeHuffmanState{})), pos(z.one(0)), lastDC(z.one(int16_t{0})) {}
  Pair<ZeliEncodeHuffmanState> state;
  Pair<int> pos;
  Pair<int16_t> lastDC;
};

inline bool equal(const int16_t* a, const int16_t* b, size_t n) { return std::equal(a, a + n, b); }

// The rest of the input as a stream: up to its last byte, and with bytes behind it. `beside` may look at each block.
// The records go on after an error.
template <class Scan, class Beside>
void decodeStream(Run& z, const Scan& scan, Beside beside) {
  const uint8_t* const data = z.rest();
  const int n = int(std::min<size_t>(z.left(), 120));
  const Pair<uint8_t> src = z.copy(data, size_t(n)), more = z.take<uint8_t>(size_t(n) + 40, false);
  for (uint8_t* to : more.of) std::copy(data, data + n, to);
  const size_t length = scan.length;
  const auto block = z.take<int16_t>(length), other = z.copy(block.of[0], length);
  const Decoder d(z), far(z);
  ZelStatus status = zelStsNoErr;
  for (int count = 0; count < 16 && status == zelStsNoErr; ++count) {
    status = scan.decode(z, d, src, n, block);
    const ZelStatus farther = scan.decode(z, far, more, n + 40, other);
    if (status == zelStsNoErr)
      z.expect(farther == status && equal(block.of[0], other.of[0], length) && *d.lastDC == *far.lastDC &&
               (*d.state).lastPosition == (*far.state).lastPosition && (*d.state).eobRun == (*far.state).eobRun);
    beside(data, n, status, d, block);
  }
  for (int again = 0; again < 2; ++again) scan.decode(z, d, src, n, block);
}

// Room for four blocks and a flush: 32 bits for a sample, each byte of which may need another behind it.
constexpr size_t mostBytes(size_t length) { return 4 * 8 * length + 64; }

// Blocks into little and into much room: the same bytes as far as they fit. `beside` may look at each call and its
// status.
template <class Scan, class Beside>
void encodeStream(Run& z, const Scan& scan, int bits, Beside beside) {
  const int count = 1 + z.below(4);
  const Pair<uint8_t> small = z.take<uint8_t>(size_t(1 + z.byte())),
                      large = z.take<uint8_t>(mostBytes(scan.length), false);
  const Coder tight(z), loose(z);
  Pair<int16_t> blocks[4];
  bool fits = true, codes = true;
  for (int i = 0; i <= count; ++i) {
    const bool flush = i == count;
    if (!flush) blocks[i] = coefficients(z, scan.length, bits);
    const Pair<int16_t>& block = blocks[flush ? 0 : i];
    fits = scan.encode(z, tight, block, small, flush) == zelStsNoErr && fits;
    const ZelStatus status = scan.encode(z, loose, block, large, flush);
    codes = status == zelStsNoErr && codes;
    if (fits)
      z.expect(codes && *tight.pos == *loose.pos && std::equal(small.of[0], small.of[0] + *tight.pos, large.of[0]));
    beside(blocks, i, flush, codes, loose, large);
  }
}

}  // namespace fuzz
