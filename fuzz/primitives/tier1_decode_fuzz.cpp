// The tier-1 decoders on any bytes: in one call, a segment at a time, with the passes allowed little by little, and on
// again after damage. A decoder's state serves one block after another.
#include "primitives.h"

using namespace fuzz;

using State = ZeliDecodeCBProgrState_JPEG2K;

// A state in memory of the caller or, now and then, of the library.
static Pair<State> progressiveState(Run& z, ZeliSize largest, bool allocated) {
  const Pair<int> bytes = z.one(0);
  const Pair<State*> made = z.opaque<State*>(sizeof(State*));
  z(&Api::zeliDecodeCBProgrGetStateSize_JPEG2K, largest, bytes);
  const Pair<State> state = z.opaque<State>(size_t(*bytes));
  z.expect(z(&Api::zeliDecodeCBProgrSetPassCounter_JPEG2K, 1, state) == zelStsContextMatchErr);
  z(&Api::zeliDecodeCBProgrInit_JPEG2K, state);
  if (!allocated) return state;
  z(&Api::zeliDecodeCBProgrInitAlloc_JPEG2K, made, largest);
  return {{made.of[0][0], made.of[1][0]}, 0};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  constexpr ZeliSize kLargest = {16, 16};
  const Pair<int> bytes = z.one(0);
  z(&Api::zeliDecodeGetBufSize_JPEG2K, kLargest, bytes);
  const Pair<State> state = z.opaque<State>(size_t(*bytes));
  const bool allocated = z.below(16) == 1;
  const Pair<State> progressive = progressiveState(z, kLargest, allocated);
  for (int blocks = 1 + z.below(2); blocks > 0; --blocks) {
    const ZeliSize block = {1 + z.below(z.below(4) ? 5 : 16), 1 + z.below(z.below(4) ? 9 : 16)};
    const int controls = z.byte();
    const int flags = z.below(64) | (controls & 1 ? zeliDecodeMidpointsAfterDamage : 0) |
                      (controls & 2 ? zeliDecodeKeepHalfBits : 0) | (controls & 4 ? zeliDecodeCheckTermination : 0) |
                      (controls & 8 ? zeliDecodeKeepOutput : 0);
    const int subband = z.below(4), planes = z.below(z.below(4) ? 8 : 32), passes = z.below(z.below(4) ? 12 : 100);
    const int segments = z.below(8);
    const Pair<int> lengths = z.take<int>(size_t(segments) + 1, false);
    for (int s = 0; s < segments; ++s) lengths.set(size_t(s), z.below(40));
    int total = 0;
    for (int s = 0; s < segments; total += lengths[size_t(s++)])
      lengths.set(size_t(s), std::min(lengths[size_t(s)], int(z.left()) - total));
    const Pair<uint8_t> src = z.take<uint8_t>(size_t(total), false);
    for (uint8_t* to : src.of) std::copy(z.rest(), z.rest() + total, to);
    const int rowWords = block.width + z.below(4), n = rowWords * (block.height - 1) + block.width;
    const Pair<int32_t> once = z.take<int32_t>(size_t(n)), steps = z.copy(once.of[0], size_t(n));
    const Pair<int> resolved = z.one(-7), left = z.one(0), plane = z.one(0);
    const ZelStatus whole = z(&Api::zeliDecodeCodeBlock_JPEG2K_1u32s_C1R, src, once, 4 * rowWords, block, subband,
                              Kept{planes}, passes, lengths, segments, flags, resolved, state);

    // With a pass for each segment the passes may be allowed one by one; otherwise all at once.
    const bool single = flags & zeliCodeBlockTerminateAll && z.below(2);
    z(&Api::zeliDecodeCBProgrAttach_JPEG2K_32s_C1R, steps, 4 * rowWords, block, progressive, subband, Kept{planes},
      flags);
    if (!single) z(&Api::zeliDecodeCBProgrSetPassCounter_JPEG2K, passes, progressive);
    ZelStatus status = zelStsNoErr;
    const uint8_t* const end = src.of[0] + total;
    Pair<uint8_t> at = src;
    for (int s = 0; s < segments && status == zelStsNoErr; ++s) {
      if (single && s < passes) z(&Api::zeliDecodeCBProgrSetPassCounter_JPEG2K, 1, progressive);
      // Behind the segment stands the next one, or nothing that may be read.
      status = z(&Api::zeliDecodeCBProgrStep_JPEG2K, at, lengths[size_t(s)], progressive);
      at = at.from(size_t(lengths[size_t(s)]));
      z.expect(at.of[0] <= end);
    }
    z(&Api::zeliDecodeCBProgrGetPassCounter_JPEG2K, progressive, left);
    z(&Api::zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K, progressive, plane);
    z.expect(status == whole && (whole == zelStsNoErr ? *resolved == -7 : *resolved == *plane));
    if (status != zelStsNoErr)
      z.expect(z(&Api::zeliDecodeCBProgrStep_JPEG2K, src, 0, progressive) == zelStsJPEG2KDamagedCBErr);
    // The one call differs in what it does to half bits at the end.
    const bool keeps =
        flags & zeliDecodeKeepHalfBits && !(flags & zeliDecodeMidpointsAfterDamage && status != zelStsNoErr);
    if (keeps) z.expect(std::equal(once.of[0], once.of[0] + n, steps.of[0]));
  }
  if (allocated) z(&Api::zeliDecodeCBProgrFree_JPEG2K, progressive);
  return 0;
}
