// The tier-1 coder as the flow charts of ITU-T T.800 have it, Annexes C and D: bit by bit, sample by sample.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zelj.h"

namespace tier1 {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int32_t>;

// Contexts: 0 uniform, 1 run-length, 2..10 zero coding, 11..15 signs, 16..18 refinement; and 19 for raw bits.
constexpr int kRaw = 19;

struct Contexts {
  void reset() { *this = Contexts(); }  // Table D.7
  uint32_t qe(int cx) const {           // Table C.2
    static const uint32_t values[47] = {0x5601, 0x3401, 0x1801, 0x0AC1, 0x0521, 0x0221, 0x5601, 0x5401, 0x4801, 0x3801,
                                        0x3001, 0x2401, 0x1C01, 0x1601, 0x5601, 0x5401, 0x5101, 0x4801, 0x3801, 0x3401,
                                        0x3001, 0x2801, 0x2401, 0x2201, 0x1C01, 0x1801, 0x1601, 0x1401, 0x1201, 0x1101,
                                        0x0AC1, 0x09C1, 0x08A1, 0x0521, 0x0441, 0x02A1, 0x0221, 0x0141, 0x0111, 0x0085,
                                        0x0049, 0x0025, 0x0015, 0x0009, 0x0005, 0x0001, 0x5601};
    return values[index[cx]];
  }
  void after(int cx, bool isMps) {
    static const int afterLps[15] = {1, 6, 9, 12, 29, 33, 6, 14, 14, 14, 17, 18, 20, 21, 14};
    int& i = index[cx];
    if (isMps) {
      i = i == 5 ? 38 : i == 13 ? 29 : i >= 45 ? i : i + 1;
      return;
    }
    if (i == 0 || i == 6 || i == 14) mps[cx] = 1 - mps[cx];
    i = i < 15 ? afterLps[i] : i < 21 ? i - 1 : i < 46 ? i - 2 : i;
  }
  int index[19] = {46, 3, 4}, mps[19] = {};
};

// Writes segments, of the MQ coder (C.2) or raw (D.6).
struct Writer {
  Contexts contexts;
  bool raw = false, isFirst = true;
  uint32_t A = 0, C = 0, B = 0;  // raw: B is the byte that is being filled, CT its free bits
  int CT = 0;
  Bytes bytes;

  void start(bool isRaw) {  // INITENC
    raw = isRaw;
    isFirst = true;
    A = 0x8000;
    B = C = 0;
    CT = raw ? 8 : 12;
    bytes.clear();
  }
  void write(int cx, int d) {  // CODEMPS and CODELPS with their conditional exchange
    if (cx == kRaw) return writeRaw(d);
    const uint32_t q = contexts.qe(cx);
    const bool isMps = d == contexts.mps[cx];
    A -= q;
    const bool isRenormalised = !isMps || !(A & 0x8000);
    if (!isRenormalised || isMps == (A >= q))
      C += q;
    else
      A = q;
    if (!isRenormalised) return;
    contexts.after(cx, isMps);
    do {  // RENORME
      A <<= 1;
      C <<= 1;
      if (--CT == 0) byteOut();
    } while (!(A & 0x8000));
  }
  void byteOut() {
    if (B != 0xFF && C >= 0x8000000) {
      ++B;
      C &= 0x7FFFFFF;
    }
    emit();
    CT = B == 0xFF ? 7 : 8;
    B = C >> (27 - CT);
    C &= (1u << (27 - CT)) - 1;
  }
  void emit() {
    if (!isFirst) bytes.push_back(uint8_t(B));
    isFirst = false;
  }
  void shiftOut() {
    C <<= CT;
    byteOut();
  }
  void writeRaw(int bit) {
    B |= uint32_t(bit) << --CT;
    if (CT > 0) return;
    bytes.push_back(uint8_t(B));
    CT = B == 0xFF ? 7 : 8;
    B = 0;
  }
  void end(int termination) {
    if (raw) return endRaw();
    if (termination == zeliTerminationPredictable) return endPredictably();
    flush();
  }
  void flush() {  // FLUSH with SETBITS
    const uint32_t end = C + A;
    C |= 0xFFFF;
    if (C >= end) C -= 0x8000;
    shiftOut();
    C |= 0x7FFF;
    shiftOut();
    if (B != 0xFF) emit();
  }
  void endPredictably() {  // D.4.2
    for (int k = 12 - CT; k > 0; k -= CT) shiftOut();
    if (B != 0xFF) byteOut();
  }
  void endRaw() {
    for (int byte = 0; byte < 2 && CT < 8; ++byte)  // one more after 0xFF
      for (int n = CT; n > 0;) writeRaw(0x55 >> --n & 1);
  }
  // Bytes that a decoder needs besides those written, at most.
  int owed() const {
    if (raw) return CT != 8;
    return (27 - CT > (B >= 254 ? 22 : 23) ? 5 : 4) - isFirst;
  }
};

// Reads segments. C is the complement of what T.800 has, which decides what becomes of carries in damaged data.
struct Reader {
  Contexts contexts;
  bool raw = false, marker = false;
  uint32_t A = 0, C = 0, B = 0;
  int CT = 0, position = 0;
  Bytes bytes;

  uint32_t at(int i) const { return i < int(bytes.size()) ? bytes[size_t(i)] : 0xFF; }
  void start(bool isRaw) {  // INITDEC
    raw = isRaw;
    marker = false;
    position = CT = 0;
    B = 0;
    A = 0x8000;
    C = (0xFF - at(0)) << 16;
    if (raw) return;
    byteIn();
    C <<= 7;
    CT -= 7;
  }
  void byteIn() {
    const uint32_t next = at(position + 1);
    if (at(position) == 0xFF && next > 0x8F) {
      marker = true;
      CT = 8;
      return;
    }
    CT = at(position++) == 0xFF ? 7 : 8;
    C += CT == 7 ? 0xFE00 - (next << 9) : 0xFF00 - (next << 8);
  }
  int read(int cx) {
    if (cx == kRaw) return readRaw();
    const uint32_t q = contexts.qe(cx);
    const int mps = contexts.mps[cx];
    A -= q;
    const bool isUpper = A <= C >> 16;
    if (!isUpper && A & 0x8000) return mps;
    const bool lps = isUpper == (A >= q);  // LPS_EXCHANGE and MPS_EXCHANGE
    if (isUpper) {
      C -= A << 16;
      A = q;
    }
    contexts.after(cx, !lps);
    do {  // RENORMD
      if (CT == 0) byteIn();
      A <<= 1;
      C <<= 1;
      --CT;
    } while (!(A & 0x8000));
    return lps ? 1 - mps : mps;
  }
  int readRaw() {
    if (CT == 0) {
      CT = B == 0xFF ? 7 : 8;
      B = at(position++);
    }
    return B >> --CT & 1;
  }
  bool damagedAtEnd() const {
    if (raw) return ((B ^ 0x55) & ((1u << CT) - 1)) != 0 || (B == 0xFF && at(position) >= 0x80);
    if (!marker && (CT != 0 || at(position) < 0xFF || at(position + 1) < 0x90)) return true;
    if (CT == 1) return false;
    return A - (0x8000u >> (CT == 0 ? 7 : CT - 1)) > C >> 16;
  }
};

enum Pass { kCleanup, kPropagation, kRefinement };

// The passes over one block, coded or decoded (Annex D).
struct Block {
  int w, h, subband, flags;
  bool decoding;
  Samples v;
  Writer writer = {};
  Reader reader = {};
  std::vector<bool> significant = std::vector<bool>(v.size()), visited = significant, refined = significant;
  double gain = 0;           // distortion that the last pass takes away, 8192 to the unit
  bool wrongSymbol = false;  // a segmentation symbol

  int code(int cx, int d) {
    if (decoding) return reader.read(cx);
    writer.write(cx, d);
    return d;
  }
  size_t at(int x, int y) const { return size_t(y * w + x); }
  int magnitude(int x, int y) const { return v[at(x, y)] & 0x7FFFFFFF; }

  // The significance of a neighbour of a sample in row fromY.
  int sig(int x, int y, int fromY) const {
    if (x < 0 || y < 0 || x >= w || y >= h) return 0;
    const bool nextStripe = y / 4 > fromY / 4;
    if (nextStripe && flags & zeliCodeBlockVerticallyCausal) return 0;
    return significant[at(x, y)];
  }
  int signContribution(int x, int y, int dx, int dy) const {  // Table D.2
    int sum = 0;
    for (const int k : {-1, 1})
      if (sig(x + k * dx, y + k * dy, y)) sum += v[at(x + k * dx, y + k * dy)] < 0 ? -1 : 1;
    return std::max(-1, std::min(1, sum));
  }
  int zeroContext(int x, int y) const {  // Table D.1
    int across = sig(x - 1, y, y) + sig(x + 1, y, y), along = sig(x, y - 1, y) + sig(x, y + 1, y), diagonal = 0;
    for (const int dx : {-1, 1})
      for (const int dy : {-1, 1}) diagonal += sig(x + dx, y + dy, y);
    const int straight = std::min(across + along, 2);
    if (subband == zeliSubbandHH) {
      if (diagonal >= 2) return diagonal > 2 ? 10 : straight > 0 ? 9 : 8;
      return 2 + 3 * diagonal + straight;
    }
    if (subband == zeliSubbandHL) std::swap(across, along);
    if (across == 2) return 10;
    if (across == 1) return along > 0 ? 9 : diagonal > 0 ? 8 : 7;
    return 2 + (along > 0 ? 2 + along : std::min(diagonal, 2));
  }

  void becomes(int x, int y, int plane, bool raw, bool last) {
    int32_t& sample = v[at(x, y)];
    const int weight = 3 * signContribution(x, y, 1, 0) + signContribution(x, y, 0, 1);  // Table D.3
    const int flip = !raw && weight < 0;
    const int negative = code(raw ? kRaw : 11 + std::abs(weight), (sample < 0) ^ flip) ^ flip;
    significant[at(x, y)] = true;
    if (decoding) sample = int32_t(uint32_t(negative) << 31 | 3u << plane >> 1);
    const double t = std::floor(std::ldexp(double(magnitude(x, y)), 6 - plane)) / 64;
    gain += 8192 * (last ? t * t : t * t - (t - 1.5) * (t - 1.5));
  }
  void refine(int x, int y, int plane, bool raw, bool last) {
    int32_t& sample = v[at(x, y)];
    const int cx = refined[at(x, y)] ? 18 : zeroContext(x, y) > 2 ? 17 : 16;  // Table D.4
    const int bit = code(raw ? kRaw : cx, sample >> plane & 1);
    refined[at(x, y)] = true;
    if (decoding) {
      const uint32_t above = uint32_t(sample) & ~((2u << plane) - 1);
      sample = int32_t(above | uint32_t(bit) << plane | 1u << plane >> 1);
    }
    const double d = std::fmod(std::floor(std::ldexp(double(magnitude(x, y)), 6 - plane)), 128) / 64 - 1;
    gain += 8192 * (last ? d * d : std::fabs(d) - 0.25);
  }

  // A column of a cleanup pass that starts in run mode; the row from which it goes on sample by sample.
  int runOf(int x, int top, int plane, bool last) {
    int run = 0;
    while (!decoding && run < 4 && !(v[at(x, top + run)] >> plane & 1)) ++run;
    if (!code(1, run < 4)) return top + 4;
    const int high = code(0, run >> 1), low = code(0, run & 1), y = top + 2 * high + low;
    becomes(x, y, plane, false, last);
    return y + 1;
  }
  void visit(Pass pass, int x, int y, int plane, bool raw, bool last) {
    const size_t i = at(x, y);
    const int cx = zeroContext(x, y);
    if (pass == kRefinement) {
      if (significant[i] && !visited[i]) refine(x, y, plane, raw, last);
      return;
    }
    if (significant[i] || visited[i] || (pass == kPropagation && cx == 2)) return;
    visited[i] = pass == kPropagation;
    if (code(raw ? kRaw : cx, v[i] >> plane & 1)) becomes(x, y, plane, raw, last);
  }
  void run(Pass pass, int plane, bool raw, bool last) {
    gain = 0;
    for (int top = 0; top < h; top += 4)
      for (int x = 0; x < w; ++x) {
        const int bottom = std::min(top + 4, h);
        int y = top;
        bool quiet = pass == kCleanup && bottom == top + 4;
        for (int j = top; j < bottom; ++j) quiet = quiet && !significant[at(x, j)] && zeroContext(x, j) == 2;
        if (quiet) y = runOf(x, top, plane, last);
        for (; y < bottom; ++y) visit(pass, x, y, plane, raw, last);
      }
    if (pass != kCleanup) return;
    std::fill(visited.begin(), visited.end(), false);
    if (!(flags & zeliCodeBlockSegmentationSymbols)) return;
    for (const int bit : {1, 0, 1, 0}) wrongSymbol |= code(0, bit) != bit;
  }
};

// A coded block, as the encoder and the reference make it.
struct Encoded {
  int w, h, subband, planes;
  Bytes bytes;
  std::vector<int> rates, lengths;
  std::vector<double> gains;

  int passes() const { return int(rates.size()); }
  static Pass passOf(int k) { return Pass(k % 3); }
  int planeOf(int k) const { return planes - 1 - (k + 2) / 3; }
  bool isRaw(int k, int flags) const {
    return flags & zeliCodeBlockBypass && passOf(k) != kCleanup && planeOf(k) < planes - 4;
  }
  bool ends(int k, int flags) const {
    return flags & zeliCodeBlockTerminateAll || planeOf(k + 1) < 0 || isRaw(k, flags) != isRaw(k + 1, flags);
  }
};

struct Style {
  int w, h, subband, lowest, termination, flags;
};

inline Encoded referenceEncode(const Samples& src, const Style& style) {
  const int flags = style.flags;
  Encoded e{style.w, style.h, style.subband, 0, {}, {}, {}, {}};
  for (const int32_t s : src)
    while ((s & 0x7FFFFFFF) >> e.planes) ++e.planes;
  Block block{style.w, style.h, style.subband, flags, false, src};
  Writer& writer = block.writer;
  double sum = 0;
  bool open = false;
  for (int k = 0; e.planeOf(k) >= style.lowest; ++k) {
    const int plane = e.planeOf(k);
    const bool raw = e.isRaw(k, flags);
    if (!open) writer.start(raw);
    block.run(e.passOf(k), plane, raw, plane == style.lowest && flags & zeliEncodeLowestPlaneIsLast);
    sum += std::nearbyint(block.gain) * std::ldexp(1.0, 2 * (plane - style.lowest) - 13);
    e.gains.push_back(sum);
    open = !e.ends(k, flags) && e.planeOf(k + 1) >= style.lowest;
    const int owed = open ? writer.owed() : 0;
    if (!open) writer.end(style.termination);
    e.rates.push_back(int(e.bytes.size() + writer.bytes.size()) + owed);
    if (owed == 0)
      for (int& rate : e.rates) rate = std::min(rate, e.rates.back());
    if (flags & zeliCodeBlockResetContexts) writer.contexts.reset();
    if (open) continue;
    e.lengths.push_back(int(writer.bytes.size()));
    e.bytes.insert(e.bytes.end(), writer.bytes.begin(), writer.bytes.end());
  }
  for (int& rate : e.rates)
    if (rate > 0 && e.bytes[size_t(rate - 1)] == 0xFF) --rate;
  return e;
}

// What decoding comes to. The plane is that of the next pass, and passes how many are left.
struct Decoded {
  ZelStatus status;
  Samples samples;
  int plane, passes;
};

// The segments as far as `passes` go; the samples are those of the progressive decoder.
inline Decoded referenceDecode(Block& block, const Encoded& e, int passes, int flags) {
  Reader& reader = block.reader;
  auto from = e.bytes.begin();
  size_t segment = 0;
  bool open = false;
  Decoded d = {zelStsNoErr, {}, e.planes - 1, passes};
  const int lastMqPlane = flags & zeliCodeBlockBypass ? std::max(0, e.planes - 4) : 0;
  for (int k = 0; k < passes && e.planeOf(k) >= 0 && (open || segment < e.lengths.size()); ++k) {
    const Pass pass = e.passOf(k);
    const bool raw = e.isRaw(k, flags), ends = e.ends(k, flags);
    if (!open) {
      reader.bytes.assign(from, from + e.lengths[segment]);
      from += e.lengths[segment++];
      reader.start(raw);
    }
    open = !ends;
    d.plane = e.planeOf(k);
    block.run(pass, d.plane, raw, false);
    const bool isLastMq = flags & zeliCodeBlockTerminateAll || (pass == kCleanup && d.plane == lastMqPlane);
    const bool checked = ends && (raw || (flags & zeliDecodeCheckTermination && isLastMq));
    if (block.wrongSymbol || (checked && reader.damagedAtEnd())) {
      d.status = zelStsJPEG2KDamagedCBErr;
      break;
    }
    if (flags & zeliCodeBlockResetContexts) reader.contexts.reset();
    --d.passes;
    if (pass == kCleanup && (flags & zeliCodeBlockTerminateAll || d.passes > 0)) --d.plane;
  }
  d.samples = block.v;
  return d;
}
inline Decoded referenceDecode(const Encoded& e, int passes, int flags) {
  Block block{e.w, e.h, e.subband, flags, true, Samples(size_t(e.w * e.h))};
  return referenceDecode(block, e, passes, flags);
}

// What the one-call decoder makes of that in the end.
inline Samples finished(const Decoded& d, int flags) {
  Samples samples = d.samples;
  const int32_t known = int32_t(~0u << std::max(d.plane, 0));
  for (int32_t& s : samples) {
    if (d.status != zelStsNoErr && flags & zeliDecodeMidpointsAfterDamage)
      s = s & 0x7FFFFFFF & known ? (s & known) | 1 << d.plane : 0;
    if (!(flags & zeliDecodeKeepHalfBits)) s &= known;
  }
  return samples;
}

}  // namespace tier1
