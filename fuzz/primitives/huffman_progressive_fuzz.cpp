// Progressive Huffman scans of four kinds: DC first, DC refinement, AC first, AC refinement. While a scan is encoded,
// its statistics must count what is written.
#include "huffman.h"

using namespace fuzz;

namespace {

struct Progressive {
  int kind, ss, se, al;
  Tables t;
  size_t length = 64;
  ZelStatus decode(Run& z, const Decoder& d, const Pair<uint8_t>& src, int n, const Pair<int16_t>& block) const {
    if (kind == 0)
      return z(&Api::zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, src, n, d.pos, block, d.lastDC, d.marker, al, t.dec,
               d.state);
    if (kind == 1)
      return z(&Api::zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, src, n, d.pos, block, d.marker, al, d.state);
    return z(kind == 2 ? &Api::zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1
                       : &Api::zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1,
             src, n, d.pos, block, d.marker, ss, se, al, t.dec, d.state);
  }
  ZelStatus encode(Run& z, const Coder& c, const Pair<int16_t>& block, const Pair<uint8_t>& dst, int flush) const {
    const int room = int(dst.compared);
    if (kind == 0)
      return z(&Api::zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, block, dst, room, c.pos, c.lastDC, al, t.enc, c.state,
               flush);
    if (kind == 1)
      return z(&Api::zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, block, dst, room, c.pos, al, c.state, flush);
    return z(kind == 2 ? &Api::zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1
                       : &Api::zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1,
             block, dst, room, c.pos, ss, se, al, t.enc, c.state, flush);
  }
  ZelStatus count(Run& z, const Pair<int16_t>& block, const Pair<int32_t>& counts, const Coder& c, int flush) const {
    if (kind == 0) return z(&Api::zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, block, counts, c.lastDC, al);
    return z(kind == 2 ? &Api::zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                       : &Api::zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1,
             block, counts, ss, se, al, c.state, flush);
  }
};

void encode(Run& z, const Progressive& scan) {
  const Coder counted(z);
  const Pair<int32_t> counts = z.take<int32_t>(256, false);
  bool counting = scan.kind != 1;
  encodeStream(z, scan, 15, [&](const auto* blocks, int i, bool flush, bool codes, const auto&, auto&) {
    if (scan.kind > 0 || !flush)
      counting = counting && scan.count(z, blocks[flush ? 0 : i], counts, counted, flush) == zelStsNoErr;
    bool known = true;
    for (size_t k = 0; k < 256; ++k) known = known && (counts[k] == 0 || (*scan.t.enc).codes[k] != 0);
    if (counting) z.expect(codes == known);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const int choice = z.byte(), ss = choice & 8 ? 1 : 1 + z.below(63), se = choice & 8 ? 63 : ss + z.below(64 - ss);
  const int al = z.below(14);
  const Progressive scan = {choice >> 1 & 3, ss, se, al, tables(z)};
  if (choice & 1 && scan.t.decodes) decodeStream(z, scan, [](auto&&...) {});
  if (!(choice & 1) && scan.t.encodes) encode(z, scan);
  return 0;
}
