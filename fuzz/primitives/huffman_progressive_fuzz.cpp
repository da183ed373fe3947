// Progressive Huffman scans. Decoding: any bytes, scans in any order over a few blocks with one record. Encoding: scans
// as the input chooses them, with the statistics beside them, and back.
#include "huffman.h"

using namespace fuzz;

namespace {

constexpr int kBlocks = 6;

struct Scan {
  explicit Scan(Run& z) : ss(1 + z.below(63)), se(ss + z.below(64 - ss)), al(z.below(14)) {}
  int ss, se, al;
};

// One block's share of a scan of one of four kinds: DC first, DC refinement, AC first, AC refinement.
ZelStatus decodeBlock(Run& z, int kind, const Scan& s, const Decoder& d, const Pair<uint8_t>& src, int n,
                      const Pair<int16_t>& block, const Tables& t) {
  if (kind == 0)
    return z(&Api::zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, src, n, d.pos, block, d.lastDC, d.marker, s.al, t.dec,
             d.state);
  if (kind == 1)
    return z(&Api::zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, src, n, d.pos, block, d.marker, s.al, d.state);
  return z(
      kind == 2 ? &Api::zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : &Api::zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1,
      src, n, d.pos, block, d.marker, s.ss, s.se, s.al, t.dec, d.state);
}

struct Coder {
  explicit Coder(Run& z) : state(z.one(ZeliEncodeHuffmanState{})), pos(z.one(0)), lastDC(z.one(int16_t{0})) {}
  ZelStatus operator()(Run& z, int kind, const Scan& s, const Pair<int16_t>& src, const Pair<uint8_t>& dst,
                       const Tables& t, int flush) const {
    const int room = int(dst.compared);
    if (kind == 0)
      return z(&Api::zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, src, dst, room, pos, lastDC, s.al, t.enc, state,
               flush);
    if (kind == 1) return z(&Api::zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, src, dst, room, pos, s.al, state, flush);
    return z(kind == 2 ? &Api::zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1
                       : &Api::zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1,
             src, dst, room, pos, s.ss, s.se, s.al, t.enc, state, flush);
  }
  Pair<ZeliEncodeHuffmanState> state;
  Pair<int> pos;
  Pair<int16_t> lastDC;
};

ZelStatus count(Run& z, int kind, const Scan& s, const Pair<int16_t>& src, const Coder& c, const Pair<int32_t>& counts,
                int flush) {
  if (kind == 0) return z(&Api::zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, src, counts, c.lastDC, s.al);
  return z(kind == 2 ? &Api::zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                     : &Api::zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1,
           src, counts, s.ss, s.se, s.al, c.state, flush);
}

// Any bytes: up to the last one, and with others behind. What succeeds in the first must be the same in the second.
void decode(Run& z) {
  const Tables t = tables(z);
  if (!t.decodes) return;
  const Pair<int16_t> blocks = coefficients(z, 64 * kBlocks, 15), others = z.copy(blocks.of[0], 64 * kBlocks);
  const Decoder d(z), far(z);
  struct Step {
    int kind;
    Scan scan;
  };
  const Step steps[] = {{z.below(4), Scan(z)}, {z.below(4), Scan(z)}, {z.below(4), Scan(z)}};
  const int n = 1 + int(std::min<size_t>(z.left(), 150));
  const Pair<uint8_t> src = z.take<uint8_t>(size_t(n), false), more = z.take<uint8_t>(size_t(n) + 40, false);
  for (const Pair<uint8_t>& p : {src, more})
    for (uint8_t* to : p.of) std::copy(z.rest(), z.rest() + n - 1, to);
  bool same = true;
  for (const Step& step : steps)
    for (size_t i = 0; i < kBlocks; ++i) {
      same = decodeBlock(z, step.kind, step.scan, d, src, n, blocks.from(64 * i), t) == zelStsNoErr && same;
      const ZelStatus s = decodeBlock(z, step.kind, step.scan, far, more, n + 40, others.from(64 * i), t);
      if (same) z.expect(s == zelStsNoErr && std::equal(&blocks[64 * i], &blocks[64 * i] + 64, &others[64 * i]));
    }
}

// A scan into little and into much room; its statistics have counted every symbol that is written; and back.
void encode(Run& z) {
  const Tables t = tables(z);
  if (!t.encodes) return;
  const int kind = z.below(4), bits = 1 + z.below(15);
  const Scan scan(z);
  const Pair<int16_t> blocks = coefficients(z, 64 * kBlocks, bits);
  const Coder tight(z), loose(z), counted(z);
  const Pair<uint8_t> small = z.take<uint8_t>(size_t(1 + z.byte())), large = z.take<uint8_t>(4000, false);
  const Pair<int32_t> counts = z.take<int32_t>(256, false);
  bool fits = true, codes = true, counts16 = true;
  for (size_t i = 0; i <= kBlocks; ++i) {
    const int flush = i == kBlocks;
    const Pair<int16_t> block = blocks.from(flush ? 0 : 64 * i);
    fits = tight(z, kind, scan, block, small, t, flush) == zelStsNoErr && fits;
    codes = loose(z, kind, scan, block, large, t, flush) == zelStsNoErr && codes;
    if (fits)
      z.expect(codes && *tight.pos == *loose.pos && std::equal(small.of[0], small.of[0] + *tight.pos, large.of[0]));
    if (kind != 1 && (kind != 0 || !flush))
      counts16 = count(z, kind, scan, block, counted, counts, flush) == zelStsNoErr && counts16;
  }
  bool known = counts16;
  for (size_t i = 0; i < 256; ++i) known = known && (counts[i] == 0 || (*t.enc).codes[i] != 0);
  if (kind != 1) z.expect(!counts16 || codes == known);
  if (!codes || !t.decodes || *loose.pos == 0) return;
  const Decoder d(z);
  const Pair<uint8_t> coded = z.copy(large.of[0], size_t(*loose.pos));
  const Pair<int16_t> back = z.take<int16_t>(64, false);
  for (size_t i = 0; i < kBlocks; ++i) {
    for (size_t k = 0; k < 64; ++k) {  // what the scans before have left, refinement's first bit
      const int v = blocks[64 * i + k], known16 = kind == 3 ? std::abs(v) >> scan.al >> 1 << scan.al << 1 : 0;
      back.set(k, int16_t(kind == 1 ? v & ~(1 << scan.al) : v < 0 ? -known16 : known16));
    }
    z.expect(decodeBlock(z, kind, scan, d, coded, *loose.pos, back, t) == zelStsNoErr);
    if (kind < 2) {
      z.expect(back[0] == (kind == 1 ? blocks[64 * i] : int16_t((blocks[64 * i] >> scan.al) * (1 << scan.al))));
      continue;
    }
    constexpr uint8_t kZigzag[] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                   12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                   35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                   58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
    for (int k = scan.ss; k <= scan.se; ++k) {
      const int v = blocks[64 * i + kZigzag[k]], magnitude = std::abs(v) >> scan.al << scan.al;
      z.expect(back[kZigzag[k]] == (v < 0 ? -magnitude : magnitude));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  z.below(2) ? decode(z) : encode(z);
  return 0;
}
