// The tier-1 coder against a scalar one that follows the flow charts of ITU-T T.800, Annexes C and D, sample by sample.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int32_t>;
using zeltest::Guarded;
using zeltest::Random;

const int kQe[47] = {0x5601, 0x3401, 0x1801, 0x0AC1, 0x0521, 0x0221, 0x5601, 0x5401, 0x4801, 0x3801, 0x3001, 0x2401,
                     0x1C01, 0x1601, 0x5601, 0x5401, 0x5101, 0x4801, 0x3801, 0x3401, 0x3001, 0x2801, 0x2401, 0x2201,
                     0x1C01, 0x1801, 0x1601, 0x1401, 0x1201, 0x1101, 0x0AC1, 0x09C1, 0x08A1, 0x0521, 0x0441, 0x02A1,
                     0x0221, 0x0141, 0x0111, 0x0085, 0x0049, 0x0025, 0x0015, 0x0009, 0x0005, 0x0001, 0x5601};
int nextLps(int i) {
  const int first[] = {1, 6, 9, 12, 29, 33, 6, 14, 14, 14, 17, 18, 20, 21, 14};
  return i < 15 ? first[i] : i < 21 ? i - 1 : i < 46 ? i - 2 : i;
}
int nextMps(int i) { return i == 5 ? 38 : i == 13 ? 29 : i >= 45 ? i : i + 1; }

// Contexts, and either direction of the arithmetic and the raw coder. Raw: B is the current byte, CT its bits left.
struct Coder {
  int index[19], mps[19], CT, position, fresh;
  uint32_t A, C, B;
  bool marker;
  Bytes bytes;  // written, or to be read
  Coder() { reset(); }
  void reset() {
    for (int i = 0; i < 19; ++i) index[i] = i == 0 ? 46 : i == 1 ? 3 : i == 2 ? 4 : 0, mps[i] = 0;
  }
  void adapt(int cx, bool lps) {
    mps[cx] ^= lps && (index[cx] == 0 || index[cx] == 6 || index[cx] == 14);
    index[cx] = lps ? nextLps(index[cx]) : nextMps(index[cx]);
  }
  void startWriting(bool raw) { A = 0x8000, B = C = 0, CT = raw ? 8 : 12, fresh = !raw, bytes.clear(); }
  void byteOut() {
    if (B != 0xFF && C >= 0x8000000) ++B, C &= 0x7FFFFFF;
    if (!fresh) bytes.push_back(uint8_t(B));
    const int n = B == 0xFF ? 7 : 8;
    fresh = 0, B = C >> (27 - n), C &= (1u << (27 - n)) - 1, CT = n;
  }
  void write(int cx, int d) {
    const uint32_t q = uint32_t(kQe[index[cx]]);
    const bool lps = d != mps[cx];
    A -= q;
    if (!lps && A & 0x8000) return void(C += q);
    (A < q) == lps ? C += q : A = q;
    adapt(cx, lps);
    for (; !(A & 0x8000); CT ? void() : byteOut()) A <<= 1, C <<= 1, --CT;
  }
  void endWriting(bool predictably) {
    for (int k = 12 - CT; predictably && k > 0; k -= CT) C <<= CT, byteOut();
    if (predictably) return B != 0xFF ? byteOut() : void();
    const uint32_t end = C + A;
    C |= 0xFFFF, C -= C >= end ? 0x8000 : 0;
    C <<= CT, byteOut(), C |= 0x7FFF, C <<= CT, byteOut();
    if (B != 0xFF) bytes.push_back(uint8_t(B));
  }
  void writeRaw(int bit) {
    if (B |= uint32_t(bit) << --CT; CT == 0) bytes.push_back(uint8_t(B)), CT = B == 0xFF ? 7 : 8, B = 0;
  }
  void endRaw() {
    for (int again = 0; again < 2 && CT < 8; ++again)
      for (int n = CT; n > 0;) writeRaw(0x55 >> --n & 1);
  }

  uint32_t at(int i) const { return i < int(bytes.size()) ? bytes[size_t(i)] : 0xFF; }
  void byteIn() {
    const bool stuffed = at(position) == 0xFF;
    CT = stuffed && at(position + 1) < 0x90 ? 7 : 8;
    marker |= stuffed && CT == 8;
    if (!stuffed || CT == 7) C += stuffed ? 0xFE00 - (at(++position) << 9) : 0xFF00 - (at(++position) << 8);
  }
  void startReading(bool raw) {
    marker = false, position = CT = 0, B = 0, A = 0x8000, C = (0xFF - at(0)) << 16;
    if (!raw) byteIn(), C <<= 7, CT -= 7;
  }
  int read(int cx) {
    const uint32_t q = uint32_t(kQe[index[cx]]);
    A -= q;
    if (A > C >> 16 && A & 0x8000) return mps[cx];
    const bool lps = (A <= C >> 16) == (A >= q);
    if (A <= C >> 16) C -= A << 16, A = q;
    const int d = mps[cx] ^ lps;
    adapt(cx, lps);
    for (; !(A & 0x8000); A <<= 1, C <<= 1, --CT)
      if (CT == 0) byteIn();
    return d;
  }
  int readRaw() {
    if (CT == 0) CT = B == 0xFF ? 7 : 8, B = at(position++);
    return B >> --CT & 1;
  }
  bool damaged(bool raw) const {
    if (raw) return ((B ^ 0x55) & ((1u << CT) - 1)) || (B == 0xFF && at(position) >= 0x80);
    if (!marker && (at(position) < 0xFF || CT != 0 || at(position + 1) < 0x90)) return true;
    return CT != 1 && A - (0x8000u >> (CT ? CT - 1 : 7)) > C >> 16;
  }
};

// The passes over one block: 0 cleanup, 1 propagation, 2 refinement.
struct Reference {
  int w, h, subband, flags;
  bool decoding;
  Samples v;
  Coder c = {};
  std::vector<uint8_t> significant = std::vector<uint8_t>(v.size()), visited = significant, refined = significant;
  double gain = 0;     // of the last pass, 8192 to the unit
  bool wrong = false;  // a segmentation symbol

  // Writes the given decision and returns it, or reads one; context -1: a raw bit.
  int code(int cx, int d) {
    if (decoding) return cx < 0 ? c.readRaw() : c.read(cx);
    return cx < 0 ? c.writeRaw(d) : c.write(cx, d), d;
  }
  int sig(int x, int y, int fromY) const {
    if (x < 0 || y < 0 || x >= w || y >= h || (flags & 1 && y > fromY && fromY % 4 == 3)) return 0;
    return significant[size_t(y * w + x)];
  }
  int signs(int x, int y, int dx, int dy) const {
    int sum = 0;
    for (const int k : {-1, 1})
      if (sig(x + k * dx, y + k * dy, y)) sum += v[size_t((y + k * dy) * w + x + k * dx)] < 0 ? -1 : 1;
    return std::max(-1, std::min(1, sum));
  }
  int zeroContext(int x, int y) const {
    int hs = sig(x - 1, y, y) + sig(x + 1, y, y), vs = sig(x, y - 1, y) + sig(x, y + 1, y);
    const int d = sig(x - 1, y - 1, y) + sig(x + 1, y - 1, y) + sig(x - 1, y + 1, y) + sig(x + 1, y + 1, y);
    const int s = std::min(hs + vs, 2);
    if (subband == 3) return 2 + (d >= 3 ? 8 : d == 2 ? 6 + (s > 0) : d == 1 ? 3 + s : s);
    if (subband == 2) std::swap(hs, vs);
    return 2 + (hs == 2 ? 8 : hs == 1 ? (vs ? 7 : d ? 6 : 5) : vs ? 2 + vs : std::min(d, 2));
  }
  void becomes(int x, int y, int p, bool raw, bool last) {
    int32_t& s = v[size_t(y * w + x)];
    const int weight = 3 * signs(x, y, 1, 0) + signs(x, y, 0, 1), flip = !raw && weight < 0;
    const int negative = code(raw ? -1 : 11 + std::abs(weight), (s < 0) ^ flip) ^ flip;
    significant[size_t(y * w + x)] = 1;
    if (decoding) s = int32_t(uint32_t(negative) << 31 | 3u << p >> 1);
    const double t = std::floor(std::ldexp(double(s & 0x7FFFFFFF), 6 - p)) / 64;
    gain += 8192 * (last ? t * t : t * t - (t - 1.5) * (t - 1.5));
  }
  void pass(int kind, int p, bool raw, bool last) {
    const auto bitOf = [&](int x, int y) { return v[size_t(y * w + x)] >> p & 1; };
    gain = 0;
    for (int i = 0; i < (h + 3) / 4 * w; ++i) {
      const int x = i % w, top = i / w * 4, bottom = std::min(top + 4, h);
      int y = top, run = 0;
      bool quiet = kind == 0 && bottom == top + 4;
      for (int j = top; j < bottom; ++j) quiet &= !sig(x, j, j) && zeroContext(x, j) == 2;
      if (quiet) {
        while (!decoding && run < 4 && !bitOf(x, top + run)) ++run;
        if (!code(1, run < 4)) continue;
        y += 2 * code(0, run >> 1), y += code(0, run & 1);
        becomes(x, y++, p, raw, last);
      }
      for (; y < bottom; ++y) {
        const size_t at = size_t(y * w + x);
        const int zero = zeroContext(x, y);
        if (kind == 2 && significant[at] && !visited[at]) {
          const int b = code(raw ? -1 : refined[at] ? 18 : zero > 2 ? 17 : 16, bitOf(x, y));
          refined[at] = 1;
          if (decoding) v[at] = int32_t((uint32_t(v[at]) & ~((2u << p) - 1)) | uint32_t(b) << p | 1u << p >> 1);
          const double d = std::fmod(std::floor(std::ldexp(double(v[at] & 0x7FFFFFFF), 6 - p)), 128) / 64 - 1;
          gain += 8192 * (last ? d * d : std::fabs(d) - 0.25);
        } else if (kind != 2 && !significant[at] && !visited[at] && (kind == 0 || zero > 2)) {
          visited[at] = kind != 0;
          if (code(raw ? -1 : zero, bitOf(x, y))) becomes(x, y, p, raw, last);
        }
      }
    }
    if (kind == 0) std::fill(visited.begin(), visited.end(), uint8_t(0));
    for (int i = 0; i < 4 && kind == 0 && flags & 16; ++i) wrong |= code(0, ~i & 1) == (i & 1);
  }
};

struct Encoded {
  int w, h, subband, planes;
  Bytes bytes;
  std::vector<int> rates, lengths;
  std::vector<double> gains;
  int passes() const { return int(rates.size()); }
  int planeOf(int k) const { return planes - 1 - (k + 2) / 3; }
  bool isRaw(int k, int flags) const { return flags & 2 && k % 3 && planeOf(k) < planes - 4; }
  bool ends(int k, int f) const { return f & 4 || planeOf(k + 1) < 0 || isRaw(k, f) != isRaw(k + 1, f); }
};

struct Style {
  int w, h, subband, lowest, mode, flags;
};

Encoded referenceEncode(const Samples& src, Style style) {
  Encoded e{style.w, style.h, style.subband, 0, {}, {}, {}, {}};
  for (const int32_t s : src)
    while ((s & 0x7FFFFFFF) >> e.planes) ++e.planes;
  Reference r{style.w, style.h, style.subband, style.flags, false, src};
  Coder& c = r.c;
  double sum = 0;
  bool open = false;
  for (int k = 0; e.planeOf(k) >= style.lowest; ++k) {
    const int p = e.planeOf(k);
    const bool raw = e.isRaw(k, style.flags);
    if (!open) c.startWriting(raw);
    r.pass(k % 3, p, raw, p == style.lowest && style.flags & 32);
    e.gains.push_back(sum += std::nearbyint(r.gain) * std::ldexp(1.0, 2 * (p - style.lowest) - 13));
    int owed = raw ? c.CT != 8 : (27 - c.CT > (c.B >= 254 ? 22 : 23) ? 5 : 4) - c.fresh;
    open = !e.ends(k, style.flags) && e.planeOf(k + 1) >= style.lowest;
    if (!open) owed = 0, raw ? c.endRaw() : c.endWriting(style.mode == 2);
    e.rates.push_back(int(e.bytes.size() + c.bytes.size()) + owed);
    for (int& rate : e.rates) rate = owed ? rate : std::min(rate, e.rates.back());
    if (style.flags & 8) c.reset();
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

Encoded encode(const EncoderState& state, const Samples& src, Style style, int capacity) {
  Encoded e{style.w, style.h, style.subband, 0, {}, {}, {}, {}};
  int passes, segments, more = 1;
  Guarded<int32_t> rows(src);
  EXPECT_EQ(zelStsNoErr, zel().zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(rows.data(), 4 * e.w, {e.w, e.h}, state.p,
                                                                      e.subband, 31 - style.lowest, style.mode, 0,
                                                                      style.flags, &e.planes, &passes, &segments));
  for (int n = capacity; more && n == capacity;) {
    Guarded<uint8_t> room{size_t(capacity)};
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeStoreBits_JPEG2K_1u(room.data(), &n, state.p, &more));
    EXPECT_TRUE(n == capacity || !more) << "room left, and yet more to come";
    e.bytes.insert(e.bytes.end(), room.data(), room.data() + n);
  }
  e.rates.resize(size_t(passes)), e.gains.resize(size_t(passes)), e.lengths.resize(size_t(segments));
  for (int i = 0; i < passes; ++i)
    EXPECT_TRUE(zel().zeliEncodeGetRate_JPEG2K(state.p, i, &e.rates[size_t(i)]) == zelStsNoErr &&
                zel().zeliEncodeGetDist_JPEG2K(state.p, i, &e.gains[size_t(i)]) == zelStsNoErr);
  for (int i = 0; i < segments; ++i)
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeGetTermPassLen_JPEG2K(state.p, i, &e.lengths[size_t(i)]));
  return e;
}

using Decoded = std::tuple<ZelStatus, Samples, int>;  // the plane as the one-call decoder reports it

// In one call, and in steps with the budget given in two halves; the state at any address, rows with a gap.
Decoded decode(const Encoded& e, int passes, int flags) {
  const zeltest::Api& z = zel();
  const int pitch = e.w + 3, half = flags & 4 ? passes / 2 : passes;  // only segments of one pass may wait
  int bytes = 0, left = 0, plane = -9, reported = -99;
  (flags & 8 ? z.zeliDecodeGetBufSize_JPEG2K : z.zeliDecodeCBProgrGetStateSize_JPEG2K)({e.w, e.h}, &bytes);
  Guarded<uint8_t> src(e.bytes.size(), 1), memory(size_t(bytes), size_t(e.planes * 3 + passes));
  Guarded<int32_t> dst(size_t(pitch * e.h - 3));
  Samples steps = dst.copy(), samples;
  std::copy(e.bytes.begin(), e.bytes.end(), src.data());
  auto* const state = reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(memory.data());
  std::vector<int> lengths = e.lengths;
  lengths.push_back(1 << 30);  // not looked at
  const ZelStatus status =
      z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(src.data(), dst.data(), 4 * pitch, {e.w, e.h}, e.subband, e.planes, passes,
                                             lengths.data(), int(e.lengths.size()), flags, &reported, state);
  for (int i = 0; i < e.w * e.h; ++i) samples.push_back(dst[size_t(i / e.w * pitch + i % e.w)]);
  EXPECT_TRUE(memory.intact() && dst.intact());
  if (!(flags & 0x40000) || flags & 0x10000) return {status, samples, reported};
  const uint8_t* from = src.data();
  ZelStatus s = z.zeliDecodeCBProgrInit_JPEG2K(state);
  EXPECT_EQ(zelStsJPEG2KNotAttachedErr, z.zeliDecodeCBProgrStep_JPEG2K(from, 0, state));
  z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(steps.data(), 4 * pitch, {e.w, e.h}, state, e.subband, e.planes, flags);
  EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrStep_JPEG2K(from, 0, state));
  z.zeliDecodeCBProgrSetPassCounter_JPEG2K(half, state);
  for (int i = 0; i < int(e.lengths.size()) && s == zelStsNoErr; from += lengths[size_t(i++)]) {
    if (i == half && half < passes) z.zeliDecodeCBProgrSetPassCounter_JPEG2K(passes - half, state);
    s = z.zeliDecodeCBProgrStep_JPEG2K(from, lengths[size_t(i)], state);
    z.zeliDecodeCBProgrGetPassCounter_JPEG2K(state, &left), z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state, &plane);
    if (s == zelStsNoErr && flags & 4 && i < passes)
      EXPECT_TRUE(left == (i < half ? half : passes) - i - 1 && plane == e.planeOf(i + 1));
  }
  if (s) EXPECT_TRUE(plane == reported && z.zeliDecodeCBProgrStep_JPEG2K(from, 0, state) == zelStsJPEG2KDamagedCBErr);
  EXPECT_TRUE(s == status && memory.intact() && steps == dst.copy());
  return {status, samples, reported};
}

Decoded referenceDecode(const Encoded& e, int passes, int flags) {
  Reference r{e.w, e.h, e.subband, flags, true, Samples(size_t(e.w * e.h))};
  auto from = e.bytes.begin();
  size_t segment = 0;
  bool open = false, damaged = false;
  int q = e.planes - 1;
  for (int k = 0; k < passes && !damaged; ++k) {
    const int p = e.planeOf(k), kind = k % 3;
    const bool raw = e.isRaw(k, flags), ends = e.ends(k, flags);
    if (p < 0 || (!open && segment == e.lengths.size())) break;
    if (!open) r.c.bytes.assign(from, from + e.lengths[segment]), from += e.lengths[segment++], r.c.startReading(raw);
    open = !ends, q = p;
    r.pass(kind, p, raw, false);
    damaged = r.wrong;
    if (ends && (raw || (flags & 0x100000 && (flags & 4 || p == std::max(0, flags & 2 ? e.planes - 4 : 0)))))
      damaged |= r.c.damaged(raw);
    if (flags & 8) r.c.reset();
    if (!damaged && kind == 0 && (flags & 4 || k + 1 < passes)) --q;
  }
  for (int32_t& s : r.v) {
    if (damaged && flags & 0x10000) s = s & 0x7FFFFFFF & -(1 << q) ? (s & -(1 << q)) | 1 << q : 0;
    if (!(flags & 0x40000) && q >= 1) s &= -(1 << q);
  }
  return {damaged ? zelStsJPEG2KDamagedCBErr : zelStsNoErr, r.v, damaged ? q : -99};
}

Samples block(Random& rng, int n, int planes) {
  Samples s(size_t(n), 0);
  const int quiet = rng.below(4), sparse = 1 << 2 * rng.below(3);
  for (int32_t& v : s) {
    int bits = rng.below(sparse) ? rng.below(2) : planes;
    for (int i = 0; i <= quiet; ++i) bits = std::min(bits, rng.below(planes + 1));
    v = int32_t(uint32_t(rng.next()) & ((1u << bits) - 1));
    v |= v && rng.below(2) ? int32_t(0x80000000) : 0;
  }
  return s;
}

const int kSizes[][2] = {{1, 1}, {2, 3}, {5, 4}, {1, 9}, {9, 1}, {16, 16}, {13, 11}, {33, 6}, {64, 64}};

}  // namespace

TEST(Tier1, EveryStyleAgainstTheFlowCharts) {
  Random rng(1);
  EncoderState state({100, 70});
  for (int trial = 0; trial < zeltest::rounds(10) * 192; ++trial) {
    const int flags = trial % 64, mode = trial / 64 % 3;
    const auto [w, h] = kSizes[rng.below(rng.below(4) ? 8 : 9)];
    const int planes = rng.below(8) ? 1 + rng.below(12) : 1 + rng.below(31), L = rng.below(3) ? 0 : rng.below(planes);
    const Samples src = block(rng, w * h, planes);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ": " << w << "x" << h << " flags " << flags);
    const Style style = {w, h, rng.below(4), L, mode, flags};
    const Encoded want = referenceEncode(src, style);
    Encoded got = encode(state, src, style, 1 + rng.below(rng.below(2) ? 20 : 100000));
    const int passes = got.passes();
    for (int room = 1; trial % 5 == 0 && room <= std::min(70, int(got.bytes.size())); ++room) {
      const Encoded parts = encode(state, src, style, room);
      ASSERT_TRUE(parts.bytes == got.bytes && parts.rates == got.rates && parts.lengths == got.lengths) << room;
    }
    if (mode != 1) ASSERT_TRUE(want.lengths == got.lengths && want.bytes == got.bytes && want.rates == got.rates);
    ASSERT_TRUE(want.planes == got.planes && want.gains == got.gains && got.bytes.size() <= want.bytes.size());
    Samples expected = src;  // down to L, and the half bit below it
    for (int32_t& v : expected) v = v & 0x7FFFFFFF & -(1 << L) ? (v & -(1 << L)) | 1 << L >> 1 : 0;
    const int checked = flags | 0x100000 * (mode == 2), some = rng.below(passes + 2);
    ASSERT_EQ((Decoded{zelStsNoErr, expected, -99}), decode(got, passes, checked | 0x40000));
    const int more = checked | 0x40000 * rng.below(2);
    ASSERT_EQ(referenceDecode(got, some, more), decode(got, some, more)) << some << " passes";
    if (flags & 6 || got.bytes.empty()) continue;
    Encoded shorter = got;  // in the shortest, one byte fewer does not do, whatever the last
    shorter.bytes.pop_back(), --shorter.lengths[0];
    for (int last = 0; mode == 1 && flags & 16 && w * h < 50 && last < 256; ++last) {
      if (!shorter.bytes.empty()) shorter.bytes.back() = uint8_t(last);
      ASSERT_NE((Decoded{zelStsNoErr, expected, -99}), decode(shorter, passes, flags | 0x40000)) << "byte " << last;
    }
    const int cut = rng.below(passes);  // a rate is where the segment may be cut
    const Decoded whole = decode(got, cut + 1, flags);
    got.bytes.resize(size_t(got.lengths[0] = got.rates[size_t(cut)]));
    ASSERT_EQ(whole, decode(got, cut + 1, flags));
  }
}

// Damaged and truncated data: the samples, status and plane of the flow charts, and nothing outside is touched.
TEST(Tier1, DamagedSegments) {
  Random rng(2);
  EncoderState state({16, 16});
  for (int trial = 0; trial < zeltest::rounds(6000); ++trial) {
    const auto [w, h] = kSizes[rng.below(7)];
    const Style style = {w, h, rng.below(4), 0, rng.below(3), rng.below(32)};
    Encoded e = encode(state, block(rng, w * h, 1 + rng.below(12)), style, 100000);
    if (e.bytes.empty()) continue;
    for (int i = rng.below(4); i > 0; --i) {  // bytes that stuffing and markers begin with are frequent
      const size_t byte = size_t(rng.below(int(e.bytes.size())));
      e.bytes[byte] = rng.below(3) ? uint8_t(rng.next()) : uint8_t(0xFF - rng.below(2));
      if (rng.below(2) && byte + 1 < e.bytes.size()) e.bytes[byte + 1] = uint8_t(0x7E + rng.below(20));
    }
    int& length = e.lengths[size_t(rng.below(int(e.lengths.size())))];
    if (rng.below(3) == 0) length = rng.below(length + 1);
    const int flags = style.flags | 0x10000 * rng.below(2) | 0x40000 * rng.below(2) | 0x100000 * rng.below(2);
    const int passes = rng.below(2) ? e.passes() : rng.below(e.passes() + 3);
    ASSERT_EQ(referenceDecode(e, passes, flags), decode(e, passes, flags))
        << w << "x" << h << " flags " << flags << " trial " << trial;
  }
}

TEST(Tier1, ChecksInOrder) {
  const zeltest::Api& z = zel();
  const ZelStatus null = zelStsNullPtrErr, size = zelStsSizeErr, step = zelStsStepErr, tag = zelStsContextMatchErr;
  int32_t v[16] = {};
  int a = 9, b = 9, c = 9;
  alignas(8) uint8_t foreign[2000] = {}, *const bytes = foreign;
  ZeliEncodeState_JPEG2K *e = nullptr, *const notE = reinterpret_cast<ZeliEncodeState_JPEG2K*>(foreign);
  ZeliDecodeCBProgrState_JPEG2K *d = nullptr, *const notD = reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(foreign);
  zeltest::CoreHooks* const hooks = zeltest::hooks();
  for (int i = 0; hooks && i < 5; ++i, hooks->reset()) {
    hooks->allocationsUntilFailure = i;
    EXPECT_TRUE(z.zeliEncodeInitAlloc_JPEG2K(&(e = notE), {4, 4}) == zelStsMemAllocErr && e == nullptr);
    hooks->allocationsUntilFailure = 0;
    EXPECT_TRUE(z.zeliDecodeCBProgrInitAlloc_JPEG2K(&(d = notD), {4, 4}) == zelStsMemAllocErr && d == nullptr);
  }
  EncoderState state({4, 4});
  ASSERT_EQ(zelStsNoErr, z.zeliDecodeCBProgrInitAlloc_JPEG2K(&d, {4, 4}));
  const auto load = [&](const int32_t* src, int srcStep, ZeliSize max, ZeliEncodeState_JPEG2K* s, int* planes) {
    return z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(src, srcStep, max, s, 0, 31, 0, 0, 0, planes, &b, &c);
  };
  const auto one = [&](const uint8_t* src, int32_t* dst, ZeliSize max, const int* lengths) {
    return z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(src, dst, 0, max, 0, 4, 1, lengths, 1, 0, nullptr, d);
  };
  const auto bits = z.zeliEncodeStoreBits_JPEG2K_1u;
  const auto attach = z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R;
  const ZeliSize empty = {0, 4}, whole = {4, 4};
  EXPECT_TRUE(load(v, 0, empty, notE, nullptr) == tag && load(v, 0, empty, state.p, nullptr) == null);
  EXPECT_TRUE(load(nullptr, 0, empty, state.p, &a) == size && load(nullptr, 0, whole, state.p, &a) == null);
  EXPECT_TRUE(load(v, 0, whole, state.p, &a) == step && bits(nullptr, &a, notE, &b) == tag);
  EXPECT_TRUE(bits(bytes, nullptr, state.p, &b) == null && bits(bytes, &v[0], state.p, &b) == size);
  EXPECT_TRUE(attach(nullptr, 0, empty, notD, 0, 4, 0) == tag && attach(nullptr, 0, empty, d, 0, 4, 0) == null);
  EXPECT_TRUE(attach(v, 0, empty, d, 0, 4, 0) == step && attach(v, 16, empty, d, 0, 4, 0) == size);
  EXPECT_TRUE(one(nullptr, v, empty, &c) == null && one(bytes, nullptr, empty, &c) == size);
  EXPECT_TRUE(one(bytes, v, whole, nullptr) == null && one(bytes, v, whole, &c) == step);
  EXPECT_TRUE(z.zeliDecodeCBProgrGetPassCounter_JPEG2K(notD, nullptr) == null &&
              z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(notD, nullptr) == tag &&
              z.zeliDecodeCBProgrStep_JPEG2K(nullptr, 0, notD) == null && z.zeliDecodeCBProgrFree_JPEG2K(notD) == tag);
  EXPECT_TRUE(z.zeliEncodeGetRate_JPEG2K(state.p, 0, &a) == zelStsJPEG2KBadPassNumberErr && a == 9 && b == 9 && c == 9);
  for (const auto& get : {z.zeliDecodeGetBufSize_JPEG2K, z.zeliDecodeCBProgrGetStateSize_JPEG2K})
    EXPECT_TRUE(get({64, 63}, &a) == zelStsNoErr && a == 288 * 34 + 472 && get({1, 0}, nullptr) == size &&
                get({1, 1}, nullptr) == null);
  EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrFree_JPEG2K(d));
}
