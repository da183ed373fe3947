// Table descriptions of any bytes and from any counts, sizes and allocation of records, and the statistics.
#include "huffman.h"

using namespace fuzz;

namespace {

// The size of a record, one in allocated memory, and its release.
template <class Record, class Size, class Alloc, class Free, class... A>
void records(Run& z, const Pair<Record>&, Size getSize, Alloc alloc, Free release, const A&... args) {
  z(getSize, z.one(-1));
  const Pair<Record*> p = z.opaque<Record*>(sizeof(Record*));
  z(alloc, args..., p);
  // The argument that is not meant is null, so the record is still there after it.
  if (p.of[0][0]) require(z(release, Pair<Record>{{p.of[0][0], p.of[1][0]}, 0}) == zelStsNoErr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const int kind = z.below(32);
  const Pair<uint8_t> bits = z.take<uint8_t>(16);
  Pair<uint8_t> values = z.take<uint8_t>(256);
  if (kind == 0) {
    const Pair<int32_t> counts = z.take<int32_t>(256);
    for (size_t i = 0; i < 256; ++i) counts.set(i, z.byte() % 4 == 1 ? counts[i] & 0x7FFFFFFF : 0);
    if (z(&Api::zeliEncodeHuffmanRawTableInit_JPEG_8u, counts, bits, values) != zelStsNoErr) return 0;
  }
  size_t n = 0;
  for (size_t i = 0; i < 16; ++i) {
    if (kind > 2) bits.set(i, bits[i] & (i < 8 ? 3 : 31));
    n += bits[i];
  }
  values = z.copy(values.of[0], std::min<size_t>(n, 256));
  const Pair<ZeliDecodeHuffmanSpec> dec = z.take<ZeliDecodeHuffmanSpec>(1);
  const Pair<ZeliEncodeHuffmanSpec> enc = z.take<ZeliEncodeHuffmanSpec>(1);
  const ZelStatus decodes = z(&Api::zeliDecodeHuffmanSpecInit_JPEG_8u, bits, values, dec);
  const ZelStatus encodes = z(&Api::zeliEncodeHuffmanSpecInit_JPEG_8u, bits, values, enc);
  z.expect(encodes != zelStsNoErr || decodes == zelStsNoErr);
  if (kind < 8) {
    records(z, dec, &Api::zeliDecodeHuffmanSpecGetBufSize_JPEG_8u, &Api::zeliDecodeHuffmanSpecInitAlloc_JPEG_8u,
            &Api::zeliDecodeHuffmanSpecFree_JPEG_8u, bits, values);
    records(z, enc, &Api::zeliEncodeHuffmanSpecGetBufSize_JPEG_8u, &Api::zeliEncodeHuffmanSpecInitAlloc_JPEG_8u,
            &Api::zeliEncodeHuffmanSpecFree_JPEG_8u, bits, values);
    const Pair<ZeliDecodeHuffmanState> reading = z.take<ZeliDecodeHuffmanState>(1);
    const Pair<ZeliEncodeHuffmanState> writing = z.take<ZeliEncodeHuffmanState>(1);
    z(&Api::zeliDecodeHuffmanStateInit_JPEG_8u, reading);
    z(&Api::zeliEncodeHuffmanStateInit_JPEG_8u, writing);
    records(z, reading, &Api::zeliDecodeHuffmanStateGetBufSize_JPEG_8u, &Api::zeliDecodeHuffmanStateInitAlloc_JPEG_8u,
            &Api::zeliDecodeHuffmanStateFree_JPEG_8u);
    records(z, writing, &Api::zeliEncodeHuffmanStateGetBufSize_JPEG_8u, &Api::zeliEncodeHuffmanStateInitAlloc_JPEG_8u,
            &Api::zeliEncodeHuffmanStateFree_JPEG_8u);
  }
  // Statistics of blocks and differences: an end of block is counted where one will be coded.
  const Pair<int32_t> dcCounts = z.take<int32_t>(256, false), acCounts = z.take<int32_t>(256, false);
  const Pair<int16_t> lastDC = z.take<int16_t>(1), block = coefficients(z, 64, 1 + z.below(16));
  for (int ends = 0, i = 0; i < 2; ++i) {
    const ZelStatus s = z(&Api::zeliGetHuffmanStatistics8x8_JPEG_16s_C1, block, dcCounts, acCounts, lastDC);
    z(&Api::zeliGetHuffmanStatisticsOne_JPEG_16s_C1, block.from(size_t(z.below(64))), dcCounts);
    ends += s == zelStsNoErr && block[63] == 0;
    z.expect(acCounts[0] == ends);
  }
  return 0;
}
