// Progressive encoding of AC bands (ITU-T T.81, Annex G.1.2): the walks over a block that the encoders and their
// statistics share. They are templates on where symbols go, the sink: to a bit writer, or to counters that mirror it
// symbol for symbol.
//
// A block without (further) coefficients in the band adds one to an end-of-band run, which is coded when a later block
// needs another symbol. In refinement scans the correction bits of the blocks in the run follow its code, so they are
// buffered as long as it is pending.
#pragma once

#include "huffman/band.h"
#include "huffman/bit_writer.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kLongestEobRun = 0x7FFF;  // T.81, Table G.1
constexpr int kMaxEobCategory = 14;
constexpr int kMaxAcCategory = 11;  // of coefficients of a first scan; the statistics are stricter by one
constexpr int kMaxCountedAcCategory = 10;

// A run is coded as soon as more correction bits than this are kept for it: each further block may add 63.
constexpr int kMaxCorrectionBits = 937;
constexpr int kCorrectionBufferSize = int(sizeof ZeliEncodeHuffmanState::correctionBits);
static_assert(kMaxCorrectionBits + 63 <= kCorrectionBufferSize,
              "a block's correction bits fit behind the buffered ones");

// What the encoder state carries from block to block, in a copy: a walk that is given up has not changed the record.
struct Pending {
  int eobRun;
  int bitCount;             // buffered correction bits
  const uint8_t* buffered;  // one a byte
};

// The correction bits of the current block, which follow its next symbol or, where there is none, join the buffer.
struct Gathered {
  uint64_t bits = 0;  // the first one is the highest of `count`
  int count = 0;
  void add(uint32_t bit) {
    bits = bits << 1 | bit;
    ++count;
  }
};

// The lowest bits of eight bytes, that of the first one highest. The factor moves bit 8i, of byte i counted from the
// last, to bit 56 + i; its other products stay clear of the top byte, and no two of them meet.
ZEL_INLINE uint64_t lowestBits(const uint8_t* bytes) {
  return (loadBytes(bytes) & kEveryByte) * 0x0102040810204080 >> 56;
}

// Symbols, extra bits and correction bits to a writer.
template <class Writer>
struct CodeSink {
  static constexpr int kMaxCategory = kMaxAcCategory;
  static constexpr bool kSplitsRuns = false;
  Writer& writer;
  const ZeliEncodeHuffmanSpec& table;

  ZEL_INLINE ZelStatus symbol(int symbol) { return writer.code(table.codes + symbol); }
  ZEL_INLINE ZelStatus symbol(int symbol, ExtraBits extra) { return writer.code(table.codes + symbol, extra); }
  ZEL_INLINE ZelStatus bits(uint32_t value, int n) { return writer.bits(value, n); }
  ZelStatus buffered(const Pending& p) {
    int i = 0;
    if constexpr (!Writer::kCareful)
      for (; i + 8 <= p.bitCount; i += 8) writer.gathered(lowestBits(p.buffered + i), 8);
    for (; i < p.bitCount; ++i)
      if (const ZelStatus s = writer.bits(p.buffered[i] & 1, 1)) return s;
    return zelStsNoErr;
  }
  ZEL_INLINE ZelStatus gathered(const Gathered& g) {
    if constexpr (!Writer::kCareful) {
      writer.gathered(g.bits, uint64_t(g.count));
      return zelStsNoErr;
    }
    for (int i = g.count - 1; i >= 0; --i)
      if (const ZelStatus s = writer.bits(uint32_t(g.bits >> i) & 1, 1)) return s;
    return zelStsNoErr;
  }
};

// Symbols to counters, which wrap around; bits go nowhere. A run that is longer than the encoder could have left it (a
// caller may have set it) is counted in two parts.
struct CountSink {
  static constexpr int kMaxCategory = kMaxCountedAcCategory;
  static constexpr bool kSplitsRuns = true;
  int32_t* counts;

  ZelStatus symbol(int symbol, ExtraBits = {}) {
    counts[symbol] = int32_t(uint32_t(counts[symbol]) + 1);
    return zelStsNoErr;
  }
  ZelStatus bits(uint32_t, int) { return zelStsNoErr; }
  ZelStatus buffered(const Pending&) { return zelStsNoErr; }
  ZelStatus gathered(const Gathered&) { return zelStsNoErr; }
};

// The pending end-of-band run (Table G.1): its category as the symbol category << 4 and the bits below its leading one,
// then the correction bits kept for it.
template <class Sink>
[[gnu::noinline]] ZelStatus codePendingEobRun(Sink& sink, Pending* p) {
  if (Sink::kSplitsRuns && p->eobRun > kLongestEobRun) {
    if (const ZelStatus s = sink.symbol(kMaxEobCategory << 4)) return s;
    p->eobRun -= kLongestEobRun;
  }
  const int size = 31 ^ __builtin_clz(uint32_t(p->eobRun));  // floor(log2(run))
  if (size > kMaxEobCategory) return zelStsJPEGCodeRangeErr;
  if (const ZelStatus s = sink.symbol(size << 4)) return s;
  if (size > 0)
    if (const ZelStatus s = sink.bits(uint32_t(p->eobRun) & uint32_t(lowBits(size)), size)) return s;
  p->eobRun = 0;
  if (const ZelStatus s = sink.buffered(*p)) return s;
  p->bitCount = 0;
  return zelStsNoErr;
}

// The same where a run may be pending or not.
template <class Sink>
ZEL_INLINE ZelStatus codeEobRun(Sink& sink, Pending* p) {
  return p->eobRun == 0 ? zelStsNoErr : codePendingEobRun(sink, p);
}

// The block's magnitudes after the point transform in natural order, and sets of zigzag indexes in the band.
struct Magnitudes {
  uint16_t at[64];
  uint64_t nonzero;
  uint64_t ones;  // those that are 1: for the first time not zero, in a refinement scan
};

ZEL_INLINE void magnitudes(const int16_t* src, Band band, Magnitudes* m) {
#pragma GCC unroll 8
  for (int i = 0; i < 64; i += i16v::N) store(m->at + i, as<u16v>(abs(load<i16v>(src + i))) >> band.al);
  uint8_t bytes[64];
  m->nonzero = zigzagBytes(reinterpret_cast<const int16_t*>(m->at), bytes) & indexesOf(band);
  m->ones = 0;
  for (int i = 0; i < 64; i += kVecBytes) m->ones |= uint64_t(byteMask(load<u8v>(bytes + i) == splat<u8v>(1))) << i;
  m->ones &= m->nonzero;
}

// A block of a first scan (G.1.2.2): runs of zeros are the gaps between the set bits of a mask.
template <class Sink>
ZEL_INLINE ZelStatus encodeFirst(const int16_t* src, Band band, Sink& sink, Pending* p) {
  Magnitudes magnitude;
  magnitudes(src, band, &magnitude);
  int last = band.ss - 1;  // index of the last coefficient coded
  if (magnitude.nonzero != 0)
    if (const ZelStatus s = codeEobRun(sink, p)) return s;
  for (uint64_t left = magnitude.nonzero; left != 0; left &= left - 1) {
    const int k = __builtin_ctzll(left);
    int run = k - last - 1;
    last = k;
    for (; run > 15; run -= 16)
      if (const ZelStatus s = sink.symbol(kZeroRun)) return s;
    const uint32_t m = magnitude.at[kNatural.at[k]];
    const int size = category(m);
    if (size > Sink::kMaxCategory) return zelStsJPEGCodeRangeErr;
    const uint32_t sign = src[kNatural.at[k]] < 0 ? ~0u : 0;  // a negative coefficient's bits are complemented
    if (const ZelStatus s = sink.symbol((run << 4) + size, {(m ^ sign) & lowBits(size), uint64_t(size)})) return s;
  }
  if (last != band.se && ++p->eobRun == kLongestEobRun) return codeEobRun(sink, p);
  return zelStsNoErr;
}

// A block of a refinement scan (G.1.2.3): magnitudes of 1 are new coefficients, greater ones had their leading bit in
// an earlier scan and give one correction bit each. Zeros are coded as runs of sixteen only before the last new
// coefficient: behind it an end of band covers them.
// *g: the correction bits that are left for the run that this block begins or prolongs; the caller buffers them.
template <class Sink>
ZEL_INLINE ZelStatus encodeRefinement(const int16_t* src, Band band, Sink& sink, Pending* p, Gathered* g) {
  Magnitudes magnitude;
  magnitudes(src, band, &magnitude);
  const int lastNew = magnitude.ones == 0 ? 0 : 63 - __builtin_clzll(magnitude.ones);  // the last new coefficient
  int run = 0, next = band.ss;
  for (uint64_t left = magnitude.nonzero; left != 0; left &= left - 1) {
    const int k = __builtin_ctzll(left);
    run += k - next;
    next = k + 1;
    for (; run > 15 && k <= lastNew; run -= 16) {
      if (const ZelStatus s = codeEobRun(sink, p)) return s;
      if (const ZelStatus s = sink.symbol(kZeroRun)) return s;
      if (const ZelStatus s = sink.gathered(*g)) return s;
      *g = {};
    }
    const uint32_t m = magnitude.at[kNatural.at[k]];
    if (m > 1) {
      g->add(m & 1);
      continue;
    }
    if (const ZelStatus s = codeEobRun(sink, p)) return s;
    if (const ZelStatus s = sink.symbol((run << 4) + 1, {src[kNatural.at[k]] < 0 ? 0u : 1u, 1})) return s;
    if (const ZelStatus s = sink.gathered(*g)) return s;
    *g = {};
    run = 0;
  }
  run += band.se + 1 - next;
  if (run > 0 || g->count > 0) ++p->eobRun;
  return zelStsNoErr;
}

// Puts the gathered bits behind the buffered ones, and codes the run where it may not grow further. The buffer has room
// unless the caller went on after a full destination had left its bits there.
template <class Sink>
ZelStatus keepBits(const Gathered& g, Sink& sink, uint8_t* buffer, Pending* p) {
  if (p->bitCount + g.count > kCorrectionBufferSize) return zelStsJPEGOutOfBufErr;
  for (int i = g.count - 1; i >= 0; --i) buffer[p->bitCount++] = uint8_t(g.bits >> i & 1);
  const bool full = p->bitCount > kMaxCorrectionBits || p->eobRun == kLongestEobRun;
  return full ? codeEobRun(sink, p) : zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
