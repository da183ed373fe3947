// Rows of lossless differences, and beside them the functions for one difference.
#include "huffman.h"

using namespace fuzz;

namespace {

struct Lossless {
  int rows, rowLength;  // a fifth row is passed over
  Planes<ZeliDecodeHuffmanSpec> decoders;
  Planes<ZeliEncodeHuffmanSpec> encoders;
  size_t length = size_t(rowLength) * 4;
  Planes<int16_t> rowsOf(const Pair<int16_t>& block) const {
    Planes<int16_t> p;
    for (int i = 0; i < 4; ++i) p.set(i, block.from(size_t(i * rowLength)));
    return p;
  }
  ZelStatus decode(Run& z, const Decoder& d, const Pair<uint8_t>& src, int n, const Pair<int16_t>& block) const {
    return z(&Api::zeliDecodeHuffmanRow_JPEG_1u16s_C1P4, src, n, d.pos, rowsOf(block), rowLength, rows, d.marker,
             decoders, d.state);
  }
  ZelStatus encode(Run& z, const Coder& c, const Pair<int16_t>& block, const Pair<uint8_t>& dst, int flush) const {
    return z(&Api::zeliEncodeHuffmanRow_JPEG_16s1u_P4C1, rowsOf(block), rowLength, rows, dst, int(dst.compared), c.pos,
             encoders, c.state, flush);
  }
  // Calls f with the component and the place in a block of each difference, in the order of the stream.
  template <class F>
  void each(F f) const {
    for (int x = 0; x < rowLength; ++x)
      for (int c = 0; c < std::min(rows, 4); ++c) f(c, size_t(c * rowLength + x));
  }
};

void decode(Run& z, const Lossless& scan) {
  const Decoder single(z);
  const Pair<int16_t> one = z.take<int16_t>(1);
  const Pair<uint8_t> src = z.take<uint8_t>(std::min<size_t>(z.left(), 120), false);
  bool errorSeen = false;
  decodeStream(z, scan, [&](const uint8_t* data, int n, ZelStatus status, const Decoder&, const Pair<int16_t>& row) {
    for (uint8_t* to : src.of) std::copy(data, data + n, to);
    if (errorSeen) return;
    ZelStatus last = zelStsNoErr;
    scan.each([&](int c, size_t k) {
      if (last != zelStsNoErr) return;
      last = z(&Api::zeliDecodeHuffmanOne_JPEG_1u16s_C1, src, n, single.pos, one, single.marker, scan.decoders.plane[c],
               single.state);
      z.expect(last != zelStsNoErr || status != zelStsNoErr || one[0] == row[k]);
    });
    z.expect(last == status || (n > 0 && data[n - 1] == 0xFF));  // as in decodeStream
    errorSeen = last != zelStsNoErr;
  });
}

void encode(Run& z, const Lossless& scan) {
  const Coder single(z);
  const Pair<uint8_t> dst = z.take<uint8_t>(mostBytes(scan.length), false);
  const auto beside = [&](const auto* blocks, int i, bool flush, bool codes, const Coder& c, const auto& want) {
    const auto one = [&](int plane, size_t k) {
      z(&Api::zeliEncodeHuffmanOne_JPEG_16s1u_C1, blocks[flush ? 0 : i].from(k), dst, int(dst.compared), single.pos,
        scan.encoders.plane[plane], single.state, int(flush));
    };
    if (!codes) return;
    flush ? one(0, 0) : scan.each(one);
    z.expect(*single.pos == *c.pos && std::equal(dst.of[0], dst.of[0] + *c.pos, want.of[0]));
  };
  encodeStream(z, scan, 16, beside);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const int choice = z.byte(), rowLength = 1 + z.below(choice & 2 ? 8 : 30);
  Lossless scan = {1 + (choice >> 2) % 5, rowLength, {}, {}};
  const Tables t[2] = {tables(z), tables(z)};
  for (int i = 0; i < 4; ++i) scan.decoders.set(i, t[i % 2].dec), scan.encoders.set(i, t[i % 2].enc);
  if (choice & 1 && t[0].decodes && t[1].decodes) decode(z, scan);
  if (!(choice & 1) && t[0].encodes && t[1].encodes) encode(z, scan);
  return 0;
}
