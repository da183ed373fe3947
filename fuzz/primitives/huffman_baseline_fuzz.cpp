// Baseline Huffman blocks. Decoding: up to the last byte, with bytes behind it, as the bytes arrive one by one, and
// Direct. Encoding: into little and much room, Direct, and back.
#include "huffman.h"

using namespace fuzz;

namespace {

constexpr int kBlocks = 24;

ZelStatus decodeBlock(Run& z, const Decoder& d, const Pair<uint8_t>& src, int n, const Pair<int16_t>& block,
                      const Tables& dc, const Tables& ac) {
  return z(&Api::zeliDecodeHuffman8x8_JPEG_1u16s_C1, src, n, d.pos, block, d.lastDC, d.marker, dc.dec, ac.dec, d.state);
}

bool equalBlocks(const int16_t* a, const int16_t* b) { return std::equal(a, a + 64, b); }

void decode(Run& z) {
  const Tables dc = tables(z), ac = tables(z);
  if (!dc.decodes || !ac.decodes) return;
  const uint8_t* const data = z.rest();
  const int n = int(std::min<size_t>(z.left(), 120));
  const Pair<uint8_t> room = z.take<uint8_t>(size_t(n), false), more = z.take<uint8_t>(size_t(n) + 40, false);
  const Pair<uint8_t> direct = z.take<uint8_t>(size_t(n) + 2, false);
  for (const Pair<uint8_t>& p : {room, more, direct})
    for (uint8_t* to : p.of) std::copy(data, data + n, to);
  direct.set(size_t(n), 0xFF), direct.set(size_t(n) + 1, 0xD9);
  const Pair<int16_t> block = z.take<int16_t>(64), other = z.take<int16_t>(64);
  const Decoder d(z), far(z), near(z);
  const Pair<int> bitPos = z.one(0), heldBits = z.one(0), directMarker = z.one(0);
  const Pair<uint32_t> held = z.one(0u);
  const Pair<int16_t> directDC = z.one(int16_t{0});
  bool directGoesOn = true;
  int16_t blocks[kBlocks][64];
  ZelStatus status = zelStsNoErr;
  int count = 0;
  for (; count < kBlocks && status == zelStsNoErr; count += status == zelStsNoErr) {
    status = decodeBlock(z, d, room, n, block, dc, ac);
    const ZelStatus farther = decodeBlock(z, far, more, n + 40, other, dc, ac);
    if (status == zelStsNoErr)
      z.expect(farther == status && equalBlocks(block.of[0], other.of[0]) && *d.lastDC == *far.lastDC &&
               (*d.state).lastPosition == (*far.state).lastPosition);
    const ZelStatus directly = z(&Api::zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1, direct, bitPos, other, directDC,
                                 directMarker, held, heldBits, dc.dec, ac.dec);
    directGoesOn = directGoesOn && directly == zelStsNoErr;
    if (status == zelStsNoErr && !*d.marker)
      z.expect(directGoesOn && equalBlocks(block.of[0], other.of[0]) && *d.lastDC == *directDC);
    std::copy(block.of[0], block.of[0] + 64, blocks[count]);
  }
  for (int again = 0; again < 2; ++again) decodeBlock(z, d, room, n, block, dc, ac);  // a record that has seen an error

  // A codec that waits for its bytes does a block again that was cut short.
  for (int have = n > 40 ? n - 40 : 0, i = 0; i < count;) {
    const Decoder::Copy before = near.copy();
    const ZelStatus s = decodeBlock(z, near, prefix(room, data, have), have, block, dc, ac);
    if (s == zelStsJPEGOutOfBufErr && have < n) {
      near.restore(before), ++have;
    } else {
      // A last byte 0xFF is an error as soon as it is read ahead, and how far that is depends on the steps.
      z.expect(s == zelStsNoErr ? equalBlocks(block.of[0], blocks[i++]) : data[n - 1] == 0xFF);
      if (s != zelStsNoErr) break;
    }
  }
}

struct Coder {
  explicit Coder(Run& z) : state(z.one(ZeliEncodeHuffmanState{})), pos(z.one(0)), lastDC(z.one(int16_t{0})) {}
  ZelStatus operator()(Run& z, const Pair<int16_t>& src, const Pair<uint8_t>& dst, const Tables& dc, const Tables& ac,
                       int flush) const {
    return z(&Api::zeliEncodeHuffman8x8_JPEG_16s1u_C1, src, dst, int(dst.compared), pos, lastDC, dc.enc, ac.enc, state,
             flush);
  }
  Pair<ZeliEncodeHuffmanState> state;
  Pair<int> pos;
  Pair<int16_t> lastDC;
};

void encode(Run& z) {
  const bool complete = z.below(2), wide = z.below(4) == 0;
  const Tables dc = tables(z, complete), ac = tables(z, complete);
  if (!dc.encodes || !ac.encodes) return;
  const int count = 1 + z.below(3);
  const Pair<uint8_t> small = z.take<uint8_t>(size_t(1 + z.byte())), large = z.take<uint8_t>(size_t(count) * 600 + 64);
  const Coder tight(z), loose(z);
  const Pair<int> bitPos = z.one(0);
  const Pair<int16_t> directDC = z.one(int16_t{0});
  Pair<int16_t> blocks[3];
  bool fits = true, codes = true;
  for (int i = 0; i < count; ++i) {
    blocks[i] = coefficients(z, 64, wide ? 15 : 14);
    fits = tight(z, blocks[i], small, dc, ac, 0) == zelStsNoErr && fits;
    codes = loose(z, blocks[i], large, dc, ac, 0) == zelStsNoErr && codes;
    if (fits)
      z.expect(codes && *tight.pos == *loose.pos && std::equal(small.of[0], small.of[0] + *tight.pos, large.of[0]));
    if (!complete || !codes || z.strayed()) continue;
    // Direct, with exactly the room that it asks for.
    const Pair<uint8_t> direct = z.take<uint8_t>(size_t(*loose.pos) + 9, false);
    bitPos.set(0, 0), directDC.set(0, 0);
    for (int k = 0; k <= i; ++k)
      z(&Api::zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1, blocks[k], direct, bitPos, directDC, dc.enc, ac.enc);
    z.expect(*bitPos / 8 == *loose.pos && *bitPos % 8 == (*loose.state).bitCount &&
             std::equal(large.of[0], large.of[0] + *loose.pos, direct.of[0]));
  }
  tight(z, blocks[0], small, dc, ac, 1);
  codes = loose(z, blocks[0], large, dc, ac, 1) == zelStsNoErr && codes;
  if (!codes || wide || !dc.decodes || !ac.decodes) return;
  const Decoder d(z);
  const Pair<int16_t> back = z.take<int16_t>(64);
  const Pair<uint8_t> coded = z.copy(large.of[0], size_t(*loose.pos));
  for (int i = 0; i < count; ++i)
    z.expect(decodeBlock(z, d, coded, *loose.pos, back, dc, ac) == zelStsNoErr &&
             equalBlocks(back.of[0], blocks[i].of[0]));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  z.below(2) ? decode(z) : encode(z);
  return 0;
}
