// The tier-1 encoder: blocks of any samples in every style, the bytes asked for in one call or in many. The encoder's
// states serve all executions.
#include "primitives.h"

using namespace fuzz;

namespace {

constexpr ZeliSize kLargest = {16, 16};

Pair<ZeliEncodeState_JPEG2K> encoder() {
  static const auto both = [] {
    Pair<ZeliEncodeState_JPEG2K> p;
    for (size_t v = 0; v < 2; ++v) require(side(v).api.zeliEncodeInitAlloc_JPEG2K(&p.of[v], kLargest) == zelStsNoErr);
    return p;
  }();
  return both;
}

struct Coded {
  Pair<uint8_t> bytes;
  int length = 0;
};

// All bytes of the loaded block, so many a call.
Coded store(Run& z, const Pair<ZeliEncodeState_JPEG2K>& state, int room) {
  Coded c = {z.take<uint8_t>(2400, false)};
  const Pair<int> n = z.one(0), more = z.one(1);
  while (*more && c.length < 2400) {
    n.set(0, std::min(room, 2400 - c.length));
    Pair<uint8_t> next = c.bytes.from(size_t(c.length));
    next.compared = size_t(*n);
    if (z(&Api::zeliEncodeStoreBits_JPEG2K_1u, next, n, state, more) != zelStsNoErr) break;
    c.length += *n;
  }
  return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const Pair<ZeliEncodeState_JPEG2K> state = encoder();
  if (z.byte() == 1) {  // another one for nothing
    const auto made = z.opaque<ZeliEncodeState_JPEG2K*>(sizeof(ZeliEncodeState_JPEG2K*));
    z(&Api::zeliEncodeInitAlloc_JPEG2K, made, ZeliSize{3, 5});
    z(&Api::zeliEncodeFree_JPEG2K, Pair<ZeliEncodeState_JPEG2K>{{made.of[0][0], made.of[1][0]}, 0});
  }
  const ZeliSize block = {1 + z.below(z.below(8) ? 5 : 16), 1 + z.below(z.below(8) ? 6 : 16)};
  const int flags = z.below(64), subband = z.below(4), termination = z.below(3);
  const int planes = 1 + z.below(z.below(8) ? 6 : 31), lowest = z.below(4) ? 0 : z.below(planes);
  const int rowWords = block.width + z.below(4), n = rowWords * (block.height - 1) + block.width;
  const Pair<int32_t> samples = z.take<int32_t>(size_t(n));
  const bool sparse = z.below(2);
  for (size_t i = 0; i < size_t(n); ++i) {
    const uint32_t v = uint32_t(samples[i]);
    const bool quiet = sparse && v >> 24 & 3;
    samples.set(i, quiet ? 0 : int32_t((v & 0x80000000u) | (v & 0x7FFFFFFFu) >> (31 - planes)));
  }
  const Pair<int> planesFound = z.one(-1), passes = z.one(-1), segments = z.one(-1);
  if (z(&Api::zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R, samples, 4 * rowWords, block, state, subband, Kept{31 - lowest},
        termination, 0, flags, planesFound, passes, segments) != zelStsNoErr)
    return 0;
  const Coded coded = store(z, state, z.below(2) ? 2400 : 1 + z.below(z.below(4) ? 200 : 5));

  // Rates grow up to all bytes, lengths of segments add up to them.
  const Pair<int> rate = z.one(-1);
  const Pair<double> gain = z.one(0.0);
  int last = 0;
  for (int p = 0; p < *passes; ++p) {
    z(&Api::zeliEncodeGetRate_JPEG2K, state, p, rate);
    z(&Api::zeliEncodeGetDist_JPEG2K, state, p, gain);
    z.expect(*rate >= last && *rate <= coded.length);
    last = *rate;
  }
  z.expect(z(&Api::zeliEncodeGetRate_JPEG2K, state, *passes, rate) == zelStsJPEG2KBadPassNumberErr);
  const Pair<int> lengths = z.take<int>(size_t(std::max(1, *segments)), false);
  int sum = 0;
  for (int s = 0; s < *segments; ++s) {
    z(&Api::zeliEncodeGetTermPassLen_JPEG2K, state, s, lengths.from(size_t(s)));
    sum += lengths[size_t(s)];
  }
  z.expect(sum == coded.length);
  return 0;
}
