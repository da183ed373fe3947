// Lossless differences: rows beside single differences, decoding of any bytes, and from differences to bytes and back.
#include "huffman.h"

using namespace fuzz;

namespace {

struct Coder {
  explicit Coder(Run& z) : state(z.one(ZeliEncodeHuffmanState{})), pos(z.one(0)) {}
  Pair<ZeliEncodeHuffmanState> state;
  Pair<int> pos;
};

// A row of any bytes, and the same by single differences: the same differences up to the error, if there is one, and
// the same bit position after two rows.
void decode(Run& z, int rows, int length, const Planes<ZeliDecodeHuffmanSpec>& decoders) {
  const int n = 1 + int(std::min<size_t>(z.left(), 200));
  const Pair<uint8_t> src = z.take<uint8_t>(size_t(n), false);
  for (uint8_t* to : src.of) std::copy(z.rest(), z.rest() + n - 1, to);
  const Decoder d(z), single(z);
  Planes<int16_t> out;
  for (int i = 0; i < 4; ++i) out.set(i, z.take<int16_t>(size_t(length)));
  const Pair<int16_t> one = z.take<int16_t>(1);
  for (int row = 0; row < 3; ++row) {
    const ZelStatus status =
        z(&Api::zeliDecodeHuffmanRow_JPEG_1u16s_C1P4, src, n, d.pos, out, length, rows, d.marker, decoders, d.state);
    ZelStatus last = zelStsNoErr;
    for (int i = 0; i < length * std::min(rows, 4) && last == zelStsNoErr; ++i) {
      const int c = i % std::min(rows, 4), x = i / std::min(rows, 4);
      last = z(&Api::zeliDecodeHuffmanOne_JPEG_1u16s_C1, src, n, single.pos, one, single.marker, decoders.plane[c],
               single.state);
      if (last == zelStsNoErr) z.expect(out.plane[c][size_t(x)] == one[0]);
    }
    z.expect(status == last);
    if (status != zelStsNoErr) row = std::max(row, 1);  // once more with a record that has seen an error
    if (status != zelStsNoErr) single.restore(d.copy());
  }
}

void encode(Run& z, int rows, int length, const Planes<ZeliEncodeHuffmanSpec>& encoders,
            const Planes<ZeliDecodeHuffmanSpec>* decoders) {
  Planes<int16_t> in, back;
  for (int i = 0; i < 4; ++i) in.set(i, z.take<int16_t>(size_t(length)));
  const int room = 1 + z.byte() * 4, components = std::min(rows, 4);
  const Pair<uint8_t> small = z.take<uint8_t>(size_t(room)), large = z.take<uint8_t>(8000, false);
  const Coder tight(z), loose(z), single(z);
  const auto encodeRow = [&](const Coder& c, const Pair<uint8_t>& dst, int flush) {
    return z(&Api::zeliEncodeHuffmanRow_JPEG_16s1u_P4C1, in, length, rows, dst, int(dst.compared), c.pos, encoders,
             c.state, flush);
  };
  bool fits = true, codes = true;
  for (const int flush : {0, 0, 1}) {
    fits = encodeRow(tight, small, flush) == zelStsNoErr && fits;
    codes = encodeRow(loose, large, flush) == zelStsNoErr && codes;
    if (fits)
      z.expect(codes && *tight.pos == *loose.pos && std::equal(small.of[0], small.of[0] + *tight.pos, large.of[0]));
  }
  // Differences one by one into the little room: as many bytes as fit are those of the rows.
  ZelStatus last = zelStsNoErr;
  for (int i = 0; i < 2 * length * components && last == zelStsNoErr; ++i) {
    const Pair<int16_t> difference = in.plane[i % components].from(size_t(i / components % length));
    last = z(&Api::zeliEncodeHuffmanOne_JPEG_16s1u_C1, difference, small, room, single.pos,
             encoders.plane[i % components], single.state, 0);
  }
  const ZelStatus flushed = z(&Api::zeliEncodeHuffmanOne_JPEG_16s1u_C1, in.plane[0], small, room, single.pos,
                              encoders.plane[0], single.state, 1);
  z.expect(fits == (last == zelStsNoErr && flushed == zelStsNoErr));
  if (codes) z.expect(std::equal(small.of[0], small.of[0] + *single.pos, large.of[0]));
  if (!codes || !decoders) return;
  const Decoder d(z);
  const Pair<uint8_t> coded = z.copy(large.of[0], size_t(*loose.pos));
  for (int i = 0; i < 4; ++i) back.set(i, z.take<int16_t>(size_t(length)));
  for (int row = 0; row < 2; ++row) {
    z.expect(z(&Api::zeliDecodeHuffmanRow_JPEG_1u16s_C1P4, coded, *loose.pos, d.pos, back, length, rows, d.marker,
               *decoders, d.state) == zelStsNoErr);
    for (int c = 0; c < components; ++c) z.expect(std::equal(back.of[0][c], back.of[0][c] + length, in.of[0][c]));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const bool decoding = z.below(2);
  const int rows = 1 + z.below(5), length = 1 + z.below(z.below(2) ? 8 : 40);
  const Tables first = tables(z), second = tables(z);
  Planes<ZeliDecodeHuffmanSpec> decoders;
  Planes<ZeliEncodeHuffmanSpec> encoders;
  for (int i = 0; i < 4; ++i)
    decoders.set(i, i % 2 ? second.dec : first.dec), encoders.set(i, i % 2 ? second.enc : first.enc);
  const bool decodes = first.decodes && second.decodes;
  if (decoding && decodes) decode(z, rows, length, decoders);
  if (!decoding && first.encodes && second.encodes) encode(z, rows, length, encoders, decodes ? &decoders : nullptr);
  return 0;
}
