// PackBits coding of a row (TIFF 6.0, section 9).
//
// Runs are found in a window of 64 bits that tell for 64 positions whether a byte equals the next one: a repeat run is
// a sequence of ones, and a literal ends at the first two ones in succession.
#include "frame/checks.h"
#include "tiff/runs.h"

namespace ZEL_VARIANT {
namespace {

ZEL_INLINE uint64_t equalNeighbours(const uint8_t* p) {  // of 65 bytes
  uint64_t bits = 0;
#pragma GCC unroll 4
  for (int i = 0; i < 64; i += u8v::N) bits |= uint64_t(byteMask(load<u8v>(p + i) == load<u8v>(p + i + 1))) << i;
  return bits;
}

// A window on the pairs of a row. Beyond the row's last pair there are zeros.
class Pairs {
 public:
  static constexpr int kBits = 64;

  ZEL_INLINE Pairs(const uint8_t* row, int n) : row_(row), n_(n) { moveTo(0); }

  ZEL_INLINE int begin() const { return begin_; }
  ZEL_INLINE bool reachesEnd() const { return begin_ >= n_ - kBits; }
  ZEL_INLINE uint64_t from(int at) const { return bits_ >> (at - begin_); }  // at most 63 after begin()

  ZEL_INLINE void moveTo(int at) {
    begin_ = at;
    const int left = n_ - at;
    if (left > kBits)
      bits_ = equalNeighbours(row_ + at);
    else if (n_ > kBits)
      bits_ = equalNeighbours(row_ + n_ - kBits - 1) >> 1 >> (kBits - left);
    else
      bits_ = ofShortRow() >> at;
  }

  // The window moves on where it is half used up: then most runs need no second look. So a literal's search, which goes
  // on in steps of 63 from there, never passes a pair at 126 bytes.
  ZEL_INLINE void follow(int at) {
    if (at - begin_ >= kBits / 2 && !reachesEnd()) moveTo(at);
  }

 private:
  uint64_t ofShortRow() const {
    uint8_t padded[kBits + 1] = {};
    copyRun(padded, row_, n_);
    return equalNeighbours(padded) & ((uint64_t(1) << (n_ - 1)) - 1);
  }

  const uint8_t* row_;
  int n_, begin_;
  uint64_t bits_;
};

ZEL_INLINE int trailingOnes(uint64_t bits) { return ~bits ? __builtin_ctzll(~bits) : 64; }

// Bytes of the repeat run that starts at `at` with a pair.
ZEL_INLINE int repeatLength(Pairs& pairs, int at) {
  int ones = trailingOnes(pairs.from(at));
  while (at + ones == pairs.begin() + Pairs::kBits && ones < kMaxRun - 1) {
    pairs.moveTo(at + ones);
    ones += trailingOnes(pairs.from(at + ones));
  }
  return ones < kMaxRun ? ones + 1 : kMaxRun;
}

// Bytes of the literal run that starts at `at`, without a pair there.
ZEL_INLINE int literalLength(Pairs& pairs, const uint8_t* row, int n, int at) {
  const int left = n - at;
  int length = left < kMaxRun ? left : kMaxRun;
  for (int seen = 0;;) {
    const uint64_t bits = pairs.from(at + seen), triples = bits & bits >> 1;
    if (triples) {
      const int first = seen + __builtin_ctzll(triples);
      if (first < length) length = first;
      break;
    }
    if (pairs.reachesEnd()) break;
    seen = pairs.begin() + Pairs::kBits - 1 - at;  // the last position may start a triple
    if (seen >= length) break;
    pairs.moveTo(at + seen);
  }
  // Two places where a mere pair ends the run: the row's end, and 126 bytes.
  if (left > 2 && left - 2 < length && row[n - 2] == row[n - 1]) length = left - 2;
  if (length > kMaxRun - 2 && left >= kMaxRun && row[at + kMaxRun - 2] == row[at + kMaxRun - 1]) length = kMaxRun - 2;
  return length;
}

ZelStatus owniPackBitsRow_TIFF_8u_C1(const uint8_t* src, int n, uint8_t* dst, int* position, int room) {
  uint8_t* out = dst + *position;
  int written = 0;
  Pairs pairs(src, n);
  for (int at = 0; at < n;) {
    pairs.follow(at);
    int length;
    if (pairs.from(at) & 1) {
      length = repeatLength(pairs, at);
      if (room - written < 2) break;
      out[written] = uint8_t(1 - length);
      out[written + 1] = src[at];
      written += 2;
    } else {
      length = literalLength(pairs, src, n, at);
      if (room - written < 1 + length) break;
      out[written] = uint8_t(length - 1);
      copyRun(out + written + 1, src + at, length);
      written += 1 + length;
    }
    at += length;
    if (at == n) {
      *position += written;
      return zelStsNoErr;
    }
  }
  *position += written;
  return zelStsTIFFOutOfBufErr;
}

}  // namespace

ZelStatus zeliPackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int srcLen, uint8_t* pDst, int* pDstCurrPos, int dstRoom) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pDstCurrPos), present(pDst), lengthOk(srcLen), lengthOk(dstRoom)))
    return s;
  return owniPackBitsRow_TIFF_8u_C1(pSrc, srcLen, pDst, pDstCurrPos, dstRoom);
}

}  // namespace ZEL_VARIANT
