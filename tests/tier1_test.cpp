// The tier-1 coder against a scalar one that follows the flow charts of ITU-T T.800, Annexes C and D, sample by sample.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int32_t>;
using zeltest::Guarded;
using zeltest::Random;

const int kEstimator[47][4] = {
    {0x5601, 1, 1, 1},    {0x3401, 2, 6, 0},    {0x1801, 3, 9, 0},    {0x0AC1, 4, 12, 0},   {0x0521, 5, 29, 0},
    {0x0221, 38, 33, 0},  {0x5601, 7, 6, 1},    {0x5401, 8, 14, 0},   {0x4801, 9, 14, 0},   {0x3801, 10, 14, 0},
    {0x3001, 11, 17, 0},  {0x2401, 12, 18, 0},  {0x1C01, 13, 20, 0},  {0x1601, 29, 21, 0},  {0x5601, 15, 14, 1},
    {0x5401, 16, 14, 0},  {0x5101, 17, 15, 0},  {0x4801, 18, 16, 0},  {0x3801, 19, 17, 0},  {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0},  {0x2801, 22, 19, 0},  {0x2401, 23, 20, 0},  {0x2201, 24, 21, 0},  {0x1C01, 25, 22, 0},
    {0x1801, 26, 23, 0},  {0x1601, 27, 24, 0},  {0x1401, 28, 25, 0},  {0x1201, 29, 26, 0},  {0x1101, 30, 27, 0},
    {0x0AC1, 31, 28, 0},  {0x09C1, 32, 29, 0},  {0x08A1, 33, 30, 0},  {0x0521, 34, 31, 0},  {0x0441, 35, 32, 0},
    {0x02A1, 36, 33, 0},  {0x0221, 37, 34, 0},  {0x0141, 38, 35, 0},  {0x0111, 39, 36, 0},  {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0},  {0x0025, 42, 39, 0},  {0x0015, 43, 40, 0},  {0x0009, 44, 41, 0},  {0x0005, 45, 42, 0},
    {0x0001, 45, 43, 0},  {0x5601, 46, 46, 0}};

// Contexts, and either direction of the arithmetic and the raw coder.
struct Coder {
  int index[19], mps[19];
  uint32_t A, C, B;
  int CT, position = 0, fresh = 0;
  bool marker = false;
  Bytes bytes;  // written, or to be read
  Coder() { reset(); }
  void reset() {
    for (int i = 0; i < 19; ++i) index[i] = i == 0 ? 46 : i == 1 ? 3 : i == 2 ? 4 : 0, mps[i] = 0;
  }
  int qe(int cx) const { return kEstimator[index[cx]][0]; }
  void adapt(int cx, bool lps) {
    if (lps) mps[cx] ^= kEstimator[index[cx]][3];
    index[cx] = kEstimator[index[cx]][lps ? 2 : 1];
  }

  void startWriting() { A = 0x8000, C = 0, CT = 12, B = 0, fresh = 1, bytes.clear(); }
  void byteOut() {
    if (B != 0xFF && C >= 0x8000000) ++B, C &= 0x7FFFFFF;
    if (!fresh) bytes.push_back(uint8_t(B));
    fresh = 0;
    const int n = B == 0xFF ? 7 : 8;
    B = C >> (27 - n), C &= (1u << (27 - n)) - 1, CT = n;
  }
  void encode(int cx, int d) {
    const uint32_t q = uint32_t(qe(cx));
    const bool lps = d != mps[cx];
    A -= q;
    if (!lps && A & 0x8000) return void(C += q);
    if ((A < q) == lps) C += q; else A = q;
    adapt(cx, lps);
    do {
      A <<= 1, C <<= 1;
      if (--CT == 0) byteOut();
    } while (!(A & 0x8000));
  }
  void flush() {
    const uint32_t end = C + A;
    C |= 0xFFFF;
    if (C >= end) C -= 0x8000;
    C <<= CT, byteOut(), C |= 0x7FFF, C <<= CT, byteOut();
    if (B != 0xFF) bytes.push_back(uint8_t(B));
  }
  void endPredictably() {
    for (int k = 12 - CT; k > 0; k -= CT) C <<= CT, byteOut();
    if (B != 0xFF) byteOut();
  }

  uint32_t at(int i) const { return i < int(bytes.size()) ? bytes[size_t(i)] : 0xFF; }
  void byteIn() {
    if (at(position) != 0xFF)
      C += 0xFF00 - (at(++position) << 8), CT = 8;
    else if (at(position + 1) > 0x8F)
      marker = true, CT = 8;
    else
      C += 0xFE00 - (at(++position) << 9), CT = 7;
  }
  void startReading() { marker = false, position = 0, C = (0xFF - at(0)) << 16, byteIn(), C <<= 7, CT -= 7, A = 0x8000; }
  int decode(int cx) {
    const uint32_t q = uint32_t(qe(cx));
    A -= q;
    bool lps;
    if (A <= C >> 16)
      C -= A << 16, lps = A >= q, A = q;
    else if (A & 0x8000)
      return mps[cx];
    else
      lps = A < q;
    const int d = mps[cx] ^ lps;
    adapt(cx, lps);
    while (!(A & 0x8000)) {
      if (CT == 0) byteIn();
      A <<= 1, C <<= 1, --CT;
    }
    return d;
  }
  bool damaged() const {
    if (at(position) < 0xFF && !marker) return true;
    int count = CT;
    if (count != 0 && !marker) return true;
    if (count == 1) return false;
    if (count == 0 && !marker && at(position + 1) < 0x90) return true;
    if (count == 0) count = 8;
    return A - (0x8000u >> (count - 1)) > C >> 16;
  }

  // Raw bits: B the current byte, CT its bits left.
  void startRaw(bool writing) { B = 0, CT = writing ? 8 : 0, position = 0; if (writing) bytes.clear(); }
  void writeRaw(int bit) {
    B |= uint32_t(bit) << --CT;
    if (CT == 0) bytes.push_back(uint8_t(B)), CT = B == 0xFF ? 7 : 8, B = 0;
  }
  void endRaw() {
    for (int again = 0; again < 2 && CT < 8; ++again)
      for (int n = CT; n > 0;) --n, writeRaw(0x55 >> n & 1);
  }
  int readRaw() {
    if (CT == 0) CT = B == 0xFF ? 7 : 8, B = at(position++);
    return B >> --CT & 1;
  }
  bool damagedRaw() const { return ((B ^ 0x55) & ((1u << CT) - 1)) || (B == 0xFF && at(position) >= 0x80); }
};

enum Pass { kCleanup, kRefine, kPropagate };

// The passes over one block; `code` writes the given decision and returns it, or reads one (context -1: a raw bit).
struct Reference {
  int w, h, subband, flags;
  bool decoding;
  Samples v;
  std::function<int(int, int)> code;
  std::vector<uint8_t> significant, visited, refined;
  double gain = 0;  // of the last pass, 8192 to the unit

  Reference(int w_, int h_, int subband_, int flags_, bool decoding_, Samples v_)
      : w(w_), h(h_), subband(subband_), flags(flags_), decoding(decoding_), v(v_) {
    significant = visited = refined = std::vector<uint8_t>(v.size());
  }
  int sig(int x, int y, int fromY) const {
    if (x < 0 || y < 0 || x >= w || y >= h || (flags & 1 && y > fromY && fromY % 4 == 3)) return 0;
    return significant[size_t(y * w + x)];
  }
  int signOf(int x, int y, int fromY) const { return sig(x, y, fromY) ? (v[size_t(y * w + x)] < 0 ? -1 : 1) : 0; }
  int zeroContext(int x, int y) const {
    int hs = sig(x - 1, y, y) + sig(x + 1, y, y), vs = sig(x, y - 1, y) + sig(x, y + 1, y);
    const int d = sig(x - 1, y - 1, y) + sig(x + 1, y - 1, y) + sig(x - 1, y + 1, y) + sig(x + 1, y + 1, y);
    if (subband == 3) {
      const int s = std::min(hs + vs, 2);
      return 2 + (d >= 3 ? 8 : d == 2 ? 6 + (s > 0) : d == 1 ? 3 + s : s);
    }
    if (subband == 2) std::swap(hs, vs);
    return 2 + (hs == 2 ? 8 : hs == 1 ? (vs ? 7 : d ? 6 : 5) : vs ? 2 + vs : std::min(d, 2));
  }
  void becomes(int x, int y, int p, bool raw, bool last) {
    int32_t& s = v[size_t(y * w + x)];
    const auto clamp = [](int c) { return std::max(-1, std::min(1, c)); };
    const int hc = clamp(signOf(x - 1, y, y) + signOf(x + 1, y, y)), vc = clamp(signOf(x, y - 1, y) + signOf(x, y + 1, y));
    const int weight = 3 * hc + vc, flip = !raw && weight < 0;
    const int negative = code(raw ? -1 : 11 + std::abs(weight), (s < 0) ^ flip) ^ flip;
    significant[size_t(y * w + x)] = 1;
    if (decoding) s = int32_t(uint32_t(negative) << 31 | 3u << p >> 1);
    const double t = std::floor(std::ldexp(double(s & 0x7FFFFFFF), 6 - p)) / 64;
    gain += 8192 * (last ? t * t : t * t - (t - 1.5) * (t - 1.5));
  }
  void pass(Pass kind, int p, bool raw, bool last) {
    gain = 0;
    const auto bitOf = [&](int x, int y) { return v[size_t(y * w + x)] >> p & 1; };
    for (int top = 0; top < h; top += 4)
      for (int x = 0; x < w; ++x) {
        int y = top;
        const int bottom = std::min(top + 4, h);
        bool quiet = kind == kCleanup && bottom == top + 4;
        for (int i = top; i < bottom && quiet; ++i)
          quiet = !sig(x, i, i) && !visited[size_t(i * w + x)] && (zeroContext(x, i) == 2);
        if (quiet) {
          int run = 0;
          while (!decoding && run < 4 && !bitOf(x, top + run)) ++run;
          if (!code(1, run < 4)) continue;
          const int high = code(0, run >> 1);
          y = top + 2 * high + code(0, run & 1);
          becomes(x, y++, p, raw, last);
        }
        for (; y < bottom; ++y) {
          const size_t i = size_t(y * w + x);
          if (kind == kRefine) {
            if (!significant[i] || visited[i]) continue;
            const int cx = refined[i] ? 18 : zeroContext(x, y) > 2 ? 17 : 16, b = code(raw ? -1 : cx, bitOf(x, y));
            refined[i] = 1;
            if (decoding) v[i] = int32_t((uint32_t(v[i]) & ~((2u << p) - 1)) | uint32_t(b) << p | 1u << p >> 1);
            const double t = std::floor(std::ldexp(double(v[i] & 0x7FFFFFFF), 6 - p));
            const double d = std::fmod(t, 128) / 64 - 1;
            gain += 8192 * (last ? d * d : std::fabs(d) - 0.25);
          } else if (!significant[i] && !visited[i] && (kind == kCleanup || zeroContext(x, y) > 2)) {
            visited[i] = kind == kPropagate;
            if (code(raw ? -1 : zeroContext(x, y), bitOf(x, y))) becomes(x, y, p, raw, last);
          }
        }
      }
    if (kind == kCleanup) std::fill(visited.begin(), visited.end(), uint8_t(0));
  }
};

struct Encoded {
  int planes = 0;
  Bytes bytes;
  std::vector<int> rates, lengths;
  std::vector<double> gains;
};

// L: the lowest plane.
Encoded referenceEncode(const Samples& src, int w, int h, int subband, int L, int mode, int flags) {
  Encoded e;
  uint32_t all = 0;
  for (const int32_t s : src) all |= uint32_t(s) & 0x7FFFFFFF;
  while (all >> e.planes) ++e.planes;
  Coder c;
  Reference r(w, h, subband, flags, false, src);
  r.code = [&](int cx, int d) { return cx < 0 ? c.writeRaw(d) : c.encode(cx, d), d; };
  double sum = 0;
  bool open = false;
  const int count = e.planes - 1 < L ? 0 : 3 * (e.planes - 1 - L) + 1;
  for (int k = 0; k < count; ++k) {
    const int p = e.planes - 1 - (k + 2) / 3;
    const bool raw = flags & 2 && k % 3 != 0 && p < e.planes - 4;
    const int nextP = e.planes - 1 - (k + 3) / 3;
    const bool nextRaw = flags & 2 && (k + 1) % 3 != 0 && nextP < e.planes - 4;
    if (!open) raw ? c.startRaw(true) : c.startWriting();
    open = true;
    r.pass(k % 3 == 0 ? kCleanup : k % 3 == 1 ? kPropagate : kRefine, p, raw, p == L && flags & 32);
    if (k % 3 == 0 && flags & 16)
      for (const int bit : {1, 0, 1, 0}) c.encode(0, bit);
    e.gains.push_back(sum += std::nearbyint(r.gain) * std::ldexp(1.0, 2 * (p - L) - 13));
    int owed = raw ? c.CT != 8 : (27 - c.CT > (c.B >= 254 ? 22 : 23) ? 5 : 4) - c.fresh;
    if (flags & 4 || k + 1 == count || raw != nextRaw) {
      raw ? c.endRaw() : mode == 2 ? c.endPredictably() : c.flush();
      owed = 0;
      open = false;
    }
    e.rates.push_back(int(e.bytes.size() + c.bytes.size()) + owed);
    for (int& rate : e.rates)
      if (owed == 0) rate = std::min(rate, e.rates.back());
    if (flags & 8) c.reset();
    if (!open) e.lengths.push_back(int(c.bytes.size())), e.bytes.insert(e.bytes.end(), c.bytes.begin(), c.bytes.end());
  }
  for (int& rate : e.rates) rate -= rate > 0 && e.bytes[size_t(rate - 1)] == 0xFF;
  return e;
}

struct EncoderState {
  explicit EncoderState(ZeliSize max) { EXPECT_EQ(zelStsNoErr, zel().zeliEncodeInitAlloc_JPEG2K(&p, max)); }
  ~EncoderState() { zel().zeliEncodeFree_JPEG2K(p); }
  ZeliEncodeState_JPEG2K* p = nullptr;
};

// capacity: of each call for bytes.
Encoded encode(ZeliEncodeState_JPEG2K* state, const Samples& src, int w, int h, int subband, int L, int mode, int flags,
               int capacity) {
  Encoded e;
  int passes, segments, more = 1;
  Guarded<int32_t> rows(src);
  EXPECT_EQ(zelStsNoErr, zel().zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(rows.data(), 4 * w, {w, h}, state, subband, 31 - L,
                                                                     mode, 0, flags, &e.planes, &passes, &segments));
  while (more) {
    Guarded<uint8_t> room{size_t(capacity)};
    int n = capacity;
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeStoreBits_JPEG2K_1u(room.data(), &n, state, &more));
    EXPECT_TRUE(n == capacity || !more) << "room left, and yet more to come";
    e.bytes.insert(e.bytes.end(), room.data(), room.data() + n);
    if (n == 0) break;
  }
  e.rates.resize(size_t(passes)), e.gains.resize(size_t(passes)), e.lengths.resize(size_t(segments));
  for (int i = 0; i < passes; ++i) {
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeGetRate_JPEG2K(state, i, &e.rates[size_t(i)]));
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeGetDist_JPEG2K(state, i, &e.gains[size_t(i)]));
  }
  for (int i = 0; i < segments; ++i)
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeGetTermPassLen_JPEG2K(state, i, &e.lengths[size_t(i)]));
  return e;
}

struct Decoded {
  ZelStatus status;
  Samples samples;
  int plane = -99;  // as the one-call decoder reports it
  bool operator==(const Decoded& o) const { return status == o.status && samples == o.samples && plane == o.plane; }
};

// The state at an odd address, everything between unreadable pages.
Decoded decode(const Bytes& bytes, std::vector<int> lengths, int w, int h, int subband, int planes, int passes,
               int flags) {
  int size = 0;
  EXPECT_EQ(zelStsNoErr, zel().zeliDecodeGetBufSize_JPEG2K({w, h}, &size));
  Guarded<uint8_t> src(bytes, 1), state(size_t(size), size_t(planes * 3 + passes));
  Guarded<int32_t> dst(size_t(w * h));
  Decoded d;
  lengths.push_back(0);  // one that is not looked at; there may be no other
  d.status = zel().zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(
      src.data(), dst.data(), 4 * w, {w, h}, subband, planes, passes, lengths.data(), int(lengths.size()) - 1, flags, &d.plane,
      reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(state.data()));
  EXPECT_TRUE(state.intact() && dst.intact());
  d.samples = dst.copy();
  return d;
}

// The machine of passes as one list: kind, plane, raw, first and last of its segment, checked.
Decoded referenceDecode(const Bytes& bytes, const std::vector<int>& lengths, int w, int h, int subband, int planes,
                        int passes, int flags) {
  Coder c;
  Reference r(w, h, subband, flags, true, Samples(size_t(w * h)));
  r.code = [&](int cx, int) { return cx < 0 ? c.readRaw() : c.decode(cx); };
  const int bypass = flags & 2 && planes >= 4 ? planes - 4 : 0;
  size_t segment = 0, offset = 0;
  bool open = false, damaged = false;
  int k = 0, q = planes - 1;
  for (; k < passes; ++k) {
    const int p = planes - 1 - (k + 2) / 3, kind = k % 3;
    const bool raw = kind && flags & 2 && p < bypass;
    const bool ends = flags & 4 || (kind == 0 && p <= bypass) || (raw && kind == 2);
    if (p < 0 || (!open && segment == lengths.size())) break;
    if (!open) {
      const size_t n = size_t(lengths[segment++]);
      c.bytes.assign(bytes.begin() + long(offset), bytes.begin() + long(offset + n));
      offset += n;
      raw ? c.startRaw(false) : c.startReading();
    }
    open = !ends;
    q = p;
    r.pass(kind == 0 ? kCleanup : kind == 1 ? kPropagate : kRefine, p, raw, false);
    int symbol = 0;
    for (int i = 0; i < 4 && kind == 0 && flags & 16; ++i) symbol = symbol << 1 | c.decode(0);
    damaged = kind == 0 && flags & 16 && symbol != 10;
    if (raw && ends) damaged |= c.damagedRaw();
    if (!raw && flags & 0x100000 && (flags & 4 || (kind == 0 && p == bypass))) damaged |= c.damaged();
    if (flags & 8) c.reset();
    if (damaged) break;
    if (flags & 4 && kind == 0) --q;
    if (!(flags & 4) && kind == 0 && k + 1 < passes) --q;
  }
  Decoded d{damaged ? zelStsJPEG2KDamagedCBErr : zelStsNoErr, r.v, damaged ? q : -99};
  for (int32_t& s : d.samples) {
    if (damaged && flags & 0x10000) s = s & 0x7FFFFFFF & -(1 << q) ? (s & -(1 << q)) | 1 << q : 0;
    if (!(flags & 0x40000) && q >= 1) s &= -(1 << q);
  }
  return d;
}

Samples block(Random& rng, int n, int planes) {
  Samples s(static_cast<size_t>(n));
  const int quiet = rng.below(4), shift = rng.below(3);
  for (int32_t& v : s) {
    int bits = planes;
    for (int i = 0; i < quiet + 1 && bits > 0; ++i) bits = std::min(bits, rng.below(planes + 1));
    if (shift && rng.below(1 << (2 * shift))) bits = std::min(bits, rng.below(2));
    v = int32_t(uint32_t(rng.next()) & ((1u << bits) - 1));
    if (v && rng.below(2)) v |= int32_t(0x80000000);
  }
  return s;
}

const int kSizes[][2] = {{1, 1}, {2, 3}, {5, 4}, {1, 9}, {9, 1}, {16, 16}, {13, 11}, {33, 6}, {64, 64}, {7, 70}, {100, 5}};

}  // namespace

TEST(Tier1, EveryStyleAgainstTheFlowCharts) {
  Random rng(1);
  EncoderState state({100, 70});
  for (int round = 0; round < zeltest::rounds(10); ++round)
    for (int flags = 0; flags < 64; ++flags)
      for (int mode = 0; mode < 3; ++mode) {
        const auto [w, h] = kSizes[rng.below(rng.below(4) ? 8 : 11)];
        const int planes = rng.below(8) ? 1 + rng.below(12) : 1 + rng.below(31), subband = rng.below(4);
        const int L = rng.below(3) ? 0 : rng.below(planes);
        const Samples src = block(rng, w * h, planes);
        SCOPED_TRACE(testing::Message() << w << "x" << h << " flags " << flags << " mode " << mode << " planes " << planes
                                        << " from " << L << " subband " << subband);
        const Encoded want = referenceEncode(src, w, h, subband, L, mode, flags);
        const Encoded got = encode(state.p, src, w, h, subband, L, mode, flags, 1 + rng.below(rng.below(2) ? 20 : 100000));
        const int passes = int(got.rates.size()), q = passes ? L : std::max(0, got.planes - 1);
        ASSERT_EQ(want.planes, got.planes);
        ASSERT_EQ(want.gains, got.gains);
        if (mode != 1) {
          ASSERT_EQ(want.lengths, got.lengths);
          ASSERT_EQ(want.bytes, got.bytes);
          ASSERT_EQ(want.rates, got.rates);
        }
        Samples expected = src;  // down to L, and the half bit below it
        for (int32_t& v : expected) {
          v &= passes ? -(1 << q) : 0;
          v = v & 0x7FFFFFFF ? v | 1 << L >> 1 : 0;
        }
        const int check = mode == 2 ? 0x100000 : 0;
        const Decoded all = decode(got.bytes, got.lengths, w, h, subband, got.planes, passes, flags | check | 0x40000);
        ASSERT_EQ(zelStsNoErr, all.status);
        ASSERT_EQ(expected, all.samples);
        ASSERT_EQ(-99, all.plane);
        const int some = rng.below(passes + 2), more = check | 0x40000 * rng.below(2);
        ASSERT_EQ(referenceDecode(got.bytes, got.lengths, w, h, subband, got.planes, some, flags | more),
                  decode(got.bytes, got.lengths, w, h, subband, got.planes, some, flags | more))
            << some << " passes";
        if (!(flags & 6) && passes) {  // a rate is where the segment may be cut
          const int cut = rng.below(passes), to = got.rates[size_t(cut)];
          ASSERT_EQ(decode(got.bytes, got.lengths, w, h, subband, got.planes, cut + 1, flags),
                    decode(Bytes(got.bytes.begin(), got.bytes.begin() + to), {to}, w, h, subband, got.planes, cut + 1, flags));
        }
      }
}

// Damaged, truncated and foreign data: the same samples, status and plane as the flow charts give, and nothing outside
// is touched.
TEST(Tier1, DamagedSegments) {
  Random rng(2);
  EncoderState state({16, 16});
  int found = 0, predictable = 0, altered = 0;
  for (int trial = 0; trial < zeltest::rounds(6000); ++trial) {
    const auto [w, h] = kSizes[rng.below(7)];
    const int flags = rng.below(32), mode = rng.below(3), subband = rng.below(4);
    Encoded e = encode(state.p, block(rng, w * h, 1 + rng.below(12)), w, h, subband, 0, mode, flags, 100000);
    if (e.bytes.empty()) continue;
    for (int i = rng.below(4); i > 0; --i) {
      const int byte = rng.below(int(e.bytes.size()));
      e.bytes[size_t(byte)] = rng.below(3) ? uint8_t(rng.next()) : uint8_t(0xFF - rng.below(2));
      if (rng.below(2) && byte + 1 < int(e.bytes.size())) e.bytes[size_t(byte) + 1] = uint8_t(0x7E + rng.below(20));
    }
    if (rng.below(3) == 0) {
      int& length = e.lengths[size_t(rng.below(int(e.lengths.size())))];
      const int cut = rng.below(length + 1);
      length -= cut;
    }
    const int controls = flags | 0x10000 * rng.below(2) | 0x40000 * rng.below(2) | 0x100000 * rng.below(2);
    const int passes = rng.below(2) ? int(e.rates.size()) : rng.below(int(e.rates.size()) + 3);
    const Decoded want = referenceDecode(e.bytes, e.lengths, w, h, subband, e.planes, passes, controls);
    ASSERT_EQ(want, decode(e.bytes, e.lengths, w, h, subband, e.planes, passes, controls))
        << w << "x" << h << " flags " << std::hex << controls << " trial " << std::dec << trial;
    found += want.status != zelStsNoErr;
  }
  EXPECT_GT(found, 20);
  for (int trial = 0; trial < 400; ++trial) {  // one bit of a predictably terminated block
    Encoded e = encode(state.p, block(rng, 256, 6), 16, 16, 0, 0, 2, 4, 100000);
    if (e.bytes.empty()) continue;
    ++altered;
    e.bytes[size_t(rng.below(int(e.bytes.size())))] ^= uint8_t(1 << rng.below(8));
    predictable += decode(e.bytes, e.lengths, 16, 16, 0, e.planes, int(e.rates.size()), 4 | 0x100000).status != zelStsNoErr;
  }
  EXPECT_GT(predictable, altered * 8 / 10);
}

TEST(Tier1, EveryRoomForBytes) {
  Random rng(3);
  EncoderState state({16, 16});
  for (int flags = 0; flags < 32; ++flags)
    for (int mode = 0; mode < 3; ++mode) {
      const Samples src = block(rng, 256, 9);
      const Encoded whole = encode(state.p, src, 16, 16, 1, 0, mode, flags, 100000);
      for (int room = 1; room <= int(whole.bytes.size()); room += 1 + room / 8) {
        const Encoded parts = encode(state.p, src, 16, 16, 1, 0, mode, flags, room);
        ASSERT_TRUE(whole.bytes == parts.bytes && whole.rates == parts.rates && whole.lengths == parts.lengths) << room;
      }
    }
}

// The shortest termination is never longer than the flush, decodes, and one byte fewer does not, whatever its last.
TEST(Tier1, ShortestTermination) {
  Random rng(4);
  EncoderState state({16, 16});
  int shorter = 0;
  for (int trial = 0; trial < zeltest::rounds(200); ++trial) {
    const auto [w, h] = kSizes[rng.below(7)];
    const Samples src = block(rng, w * h, 1 + rng.below(5));
    const Encoded flushed = encode(state.p, src, w, h, 0, 0, 0, 16, 1000);
    Encoded e = encode(state.p, src, w, h, 0, 0, 1, 16, 1 + rng.below(50));
    if (e.planes == 0) continue;
    ASSERT_LE(e.bytes.size(), flushed.bytes.size());
    shorter += e.bytes.size() < flushed.bytes.size();
    const int passes = int(e.rates.size());
    ASSERT_EQ(src, decode(e.bytes, e.lengths, w, h, 0, e.planes, passes, 16).samples);
    if (e.bytes.empty()) continue;
    ASSERT_NE(0xFF, e.bytes.back());
    e.bytes.pop_back(), --e.lengths[0];
    for (int last = -1; last < 256; ++last) {
      if (last >= 0 && e.bytes.empty()) break;
      if (last >= 0) e.bytes.back() = uint8_t(last);
      const Decoded d = decode(e.bytes, e.lengths, w, h, 0, e.planes, passes, 16);
      ASSERT_TRUE(d.status != zelStsNoErr || d.samples != src) << "byte " << last;
    }
  }
  EXPECT_GT(shorter, 0);
}

TEST(Tier1, ProgressiveStepsAndTheirReports) {
  const zeltest::Api& z = zel();
  Random rng(5);
  EncoderState state({33, 16});
  ZeliDecodeCBProgrState_JPEG2K* p;
  ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrInitAlloc_JPEG2K(&p, {33, 16}));
  uint8_t none = 0;
  ASSERT_EQ(zelStsJPEG2KNotAttachedErr, z.zeliDecodeCBProgrStep_JPEG2K(&none, 1, p));
  for (int trial = 0; trial < 300; ++trial) {
    const auto [w, h] = kSizes[rng.below(8)];
    const int flags = trial % 32, n = w * h;
    const Encoded e = encode(state.p, block(rng, n, 9), w, h, 0, 0, 0, flags, 10000);
    const int passes = int(e.rates.size());
    Samples out(size_t(n + 3 * h), 7);  // a step longer than the row
    const int step = 4 * (w + 3);
    int left, plane, decoded = 0;
    ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), step, {w, h}, p, 0, e.planes, flags));
    ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrStep_JPEG2K(&none, 1, p));
    const int extended = flags & 4 ? passes / 2 : passes;  // more are allowed later
    z.zeliDecodeCBProgrSetPassCounter_JPEG2K(extended, p);
    size_t at = 0;
    for (size_t i = 0; i < e.lengths.size(); ++i) {
      if (flags & 4 && int(i) == extended) z.zeliDecodeCBProgrSetPassCounter_JPEG2K(passes - extended, p);
      ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrStep_JPEG2K(e.bytes.data() + at, e.lengths[i], p));
      at += size_t(e.lengths[i]);
      if (flags & 4) {
        ++decoded;
        z.zeliDecodeCBProgrGetPassCounter_JPEG2K(p, &left);
        z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(p, &plane);
        ASSERT_EQ(decoded < extended ? extended - decoded : decoded == extended ? 0 : passes - decoded, left);
        ASSERT_EQ(e.planes - 1 - (decoded + 2) / 3, plane);
      }
    }
    const Samples want = decode(e.bytes, e.lengths, w, h, 0, e.planes, passes, flags).samples;
    for (int y = 0; y < h; ++y) {
      ASSERT_TRUE(std::equal(&want[size_t(y * w)], &want[size_t(y * w)] + w, &out[size_t(y * (w + 3))]));
      ASSERT_EQ(7, out[size_t(y * (w + 3) + w)]);
    }
    if (e.lengths.size() == 1 && passes > 3) {
      Samples first(out.size());
      z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(first.data(), 4 * w, {w, h}, p, 0, e.planes, flags);
      z.zeliDecodeCBProgrSetPassCounter_JPEG2K(1, p);
      z.zeliDecodeCBProgrStep_JPEG2K(e.bytes.data(), e.lengths[0], p);
      z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(p, &plane);
      ASSERT_EQ(e.planes - 1, plane);
    }
  }
  EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrFree_JPEG2K(p));
}

TEST(Tier1, ChecksInOrder) {
  const zeltest::Api& z = zel();
  const ZelStatus null = zelStsNullPtrErr, size = zelStsSizeErr, step = zelStsStepErr, tag = zelStsContextMatchErr;
  int32_t v[16] = {1, 2, 3};
  uint8_t bytes[64] = {};
  int a = 9, b = 9, c = 9, length[1] = {64};
  double dist = 9;
  alignas(8) uint8_t foreign[2000] = {};
  ZeliEncodeState_JPEG2K *e = nullptr, *notE = reinterpret_cast<ZeliEncodeState_JPEG2K*>(foreign);
  ZeliDecodeCBProgrState_JPEG2K *d = nullptr, *notD = reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(foreign);
  EXPECT_TRUE(z.zeliEncodeInitAlloc_JPEG2K(nullptr, {0, 0}) == null && z.zeliEncodeInitAlloc_JPEG2K(&e, {4, 0}) == size);
  EXPECT_TRUE(z.zeliDecodeCBProgrInitAlloc_JPEG2K(nullptr, {0, 0}) == null &&
              z.zeliDecodeCBProgrInitAlloc_JPEG2K(&d, {0, 4}) == size);
  if (zeltest::CoreHooks* hooks = zeltest::hooks()) {
    const int live = hooks->liveAllocations;
    for (int i = 0; i < 5; ++i) {
      hooks->allocationsUntilFailure = i;
      e = notE;
      EXPECT_EQ(zelStsMemAllocErr, z.zeliEncodeInitAlloc_JPEG2K(&e, {4, 4}));
      EXPECT_TRUE(e == nullptr && hooks->liveAllocations == live);
    }
    hooks->allocationsUntilFailure = 0;
    d = notD;
    EXPECT_TRUE(z.zeliDecodeCBProgrInitAlloc_JPEG2K(&d, {4, 4}) == zelStsMemAllocErr && d == nullptr);
    hooks->reset();
  }
  EncoderState state({4, 4});
  ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrInitAlloc_JPEG2K(&d, {4, 4}));
  const auto load = z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R;
  EXPECT_EQ(null, load(nullptr, 0, {0, 4}, nullptr, 0, 31, 0, 0, 0, nullptr, &b, &c));
  EXPECT_EQ(tag, load(nullptr, 0, {0, 4}, notE, 0, 31, 0, 0, 0, nullptr, &b, &c));
  EXPECT_EQ(null, load(nullptr, 0, {0, 4}, state.p, 0, 31, 0, 0, 0, &a, nullptr, &c));
  EXPECT_EQ(size, load(nullptr, 0, {0, 4}, state.p, 0, 31, 0, 0, 0, &a, &b, &c));
  EXPECT_EQ(null, load(nullptr, 0, {4, 4}, state.p, 0, 31, 0, 0, 0, &a, &b, &c));
  EXPECT_EQ(step, load(v, 0, {4, 4}, state.p, 0, 31, 0, 0, 0, &a, &b, &c));
  const auto bits = z.zeliEncodeStoreBits_JPEG2K_1u;
  EXPECT_TRUE(bits(nullptr, nullptr, nullptr, nullptr) == null && bits(nullptr, nullptr, notE, nullptr) == tag);
  EXPECT_TRUE(bits(bytes, nullptr, state.p, &b) == null && bits(bytes, &(a = 0), state.p, &b) == size);
  EXPECT_TRUE(z.zeliEncodeGetRate_JPEG2K(notE, 0, nullptr) == tag && z.zeliEncodeGetRate_JPEG2K(state.p, 0, nullptr) == null);
  EXPECT_TRUE(z.zeliEncodeGetDist_JPEG2K(nullptr, 0, nullptr) == null && z.zeliEncodeGetTermPassLen_JPEG2K(notE, 0, &a) == tag);
  v[0] = v[1] = v[2] = 0;  // a block of zeros has neither passes nor bytes
  ASSERT_EQ(zelStsNoErr, load(v, 16, {4, 4}, state.p, 0, 31, 0, 0, 0, &a, &b, &c));
  EXPECT_TRUE(a == 0 && b == 0 && c == 0 && bits(bytes, &(a = 64), state.p, &b) == zelStsNoErr && a == 0 && b == 0);
  for (const int i : {-1, 0}) {
    EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetRate_JPEG2K(state.p, i, &a));
    EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetDist_JPEG2K(state.p, i, &dist));
    EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetTermPassLen_JPEG2K(state.p, i, &a));
  }
  EXPECT_TRUE(a == 0 && dist == 9);

  EXPECT_TRUE(z.zeliDecodeCBProgrGetStateSize_JPEG2K({0, 1}, nullptr) == size && z.zeliDecodeGetBufSize_JPEG2K({1, 1}, nullptr) == null);
  EXPECT_TRUE(z.zeliDecodeCBProgrGetStateSize_JPEG2K({64, 63}, &a) == zelStsNoErr && a == 288 * 34 + 472);
  const auto attach = z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R;
  EXPECT_TRUE(attach(nullptr, 0, {0, 0}, nullptr, 0, 4, 0) == null && attach(nullptr, 0, {0, 0}, notD, 0, 4, 0) == tag);
  EXPECT_TRUE(attach(nullptr, 0, {0, 0}, d, 0, 4, 0) == null && attach(v, 0, {0, 0}, d, 0, 4, 0) == step);
  EXPECT_EQ(size, attach(v, 16, {4, 0}, d, 0, 4, 0));
  EXPECT_TRUE(z.zeliDecodeCBProgrInit_JPEG2K(nullptr) == null && z.zeliDecodeCBProgrFree_JPEG2K(notD) == tag);
  EXPECT_TRUE(z.zeliDecodeCBProgrGetPassCounter_JPEG2K(notD, nullptr) == null && z.zeliDecodeCBProgrGetPassCounter_JPEG2K(notD, &a) == tag);
  EXPECT_TRUE(z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(notD, nullptr) == tag &&
              z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(d, nullptr) == null);
  EXPECT_TRUE(z.zeliDecodeCBProgrStep_JPEG2K(nullptr, 0, notD) == null && z.zeliDecodeCBProgrStep_JPEG2K(bytes, 0, notD) == tag);
  EXPECT_EQ(tag, z.zeliDecodeCBProgrSetPassCounter_JPEG2K(1, notD));
  const auto one = z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R;
  EXPECT_EQ(null, one(nullptr, nullptr, 0, {0, 0}, 0, 4, 1, nullptr, 1, 0, nullptr, d));
  EXPECT_EQ(size, one(bytes, nullptr, 0, {0, 0}, 0, 4, 1, nullptr, 1, 0, nullptr, d));
  EXPECT_EQ(null, one(bytes, v, 0, {4, 4}, 0, 4, 1, nullptr, 1, 0, nullptr, d));
  EXPECT_EQ(step, one(bytes, v, 0, {4, 4}, 0, 4, 1, length, 1, 0, nullptr, d));
  EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrFree_JPEG2K(d));
}
