// Baseline Huffman blocks, and beside them the Direct functions, with exactly the bytes and the room that they ask for.
#include "huffman.h"

using namespace fuzz;

namespace {

struct Baseline {
  Tables dc, ac;
  size_t length = 64;
  ZelStatus decode(Run& z, const Decoder& d, const Pair<uint8_t>& src, int n, const Pair<int16_t>& block) const {
    return z(&Api::zeliDecodeHuffman8x8_JPEG_1u16s_C1, src, n, d.pos, block, d.lastDC, d.marker, dc.dec, ac.dec,
             d.state);
  }
  ZelStatus encode(Run& z, const Coder& c, const Pair<int16_t>& block, const Pair<uint8_t>& dst, int flush) const {
    return z(&Api::zeliEncodeHuffman8x8_JPEG_16s1u_C1, block, dst, int(dst.compared), c.pos, c.lastDC, dc.enc, ac.enc,
             c.state, flush);
  }
};

void decode(Run& z, const Baseline& scan) {
  const Pair<uint8_t> src = z.take<uint8_t>(std::min<size_t>(z.left(), 120) + 2, false);  // with a marker at its end
  const Decoder d(z);
  const Pair<uint32_t> held = z.one(0u);
  const Pair<int> heldBits = z.one(0);
  const Pair<int16_t> block = z.take<int16_t>(64);
  bool goesOn = true;
  decodeStream(z, scan, [&](const uint8_t* data, int n, ZelStatus status, const Decoder& beside, const auto& want) {
    for (uint8_t* to : src.of) std::copy(data, data + n, to), to[n] = 0xFF, to[n + 1] = 0xD9;
    goesOn = z(&Api::zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1, src, d.pos, block, d.lastDC, d.marker, held, heldBits,
               scan.dc.dec, scan.ac.dec) == zelStsNoErr &&
             goesOn;
    if (status == zelStsNoErr && !*beside.marker)
      z.expect(goesOn && equal(block.of[0], want.of[0], 64) && *d.lastDC == *beside.lastDC);
  });
}

void encode(Run& z, const Baseline& scan, bool complete, int bits) {
  const Coder direct(z);
  const auto beside = [&](const Pair<int16_t>* blocks, int i, bool flush, bool codes, const Coder& c,
                          const auto& want) {
    if (!complete || flush || !codes || z.strayed()) return;
    const Pair<uint8_t> dst = z.take<uint8_t>(size_t(*c.pos) + 9, false);
    direct.pos.set(0, 0), direct.lastDC.set(0, 0);
    for (int k = 0; k <= i; ++k)
      z(&Api::zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1, blocks[k], dst, direct.pos, direct.lastDC, scan.dc.enc,
        scan.ac.enc);
    z.expect(*direct.pos / 8 == *c.pos && *direct.pos % 8 == (*c.state).bitCount &&
             std::equal(want.of[0], want.of[0] + *c.pos, dst.of[0]));
  };
  encodeStream(z, scan, bits, beside);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const int choice = z.byte();
  const bool complete = choice & 2;
  const Tables dc = tables(z, complete);
  const Baseline scan = {dc, tables(z, complete)};
  if (choice & 1 && dc.decodes && scan.ac.decodes) decode(z, scan);
  if (!(choice & 1) && dc.encodes && scan.ac.encodes) encode(z, scan, complete, choice & 4 ? 15 : 16);
  return 0;
}
