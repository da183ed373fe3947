// The probability states of the MQ coder (ITU-T T.800, Table C.2), the initial states of its contexts (Table D.7), and
// the context tables of the tier-1 coder (Tables D.1 to D.3).
#include "jpeg2000/neighbourhood.h"

namespace ZEL_VARIANT {

constexpr Table<MqEstimate, kProbabilityStates> owniEstimator_JPEG2K = {{
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
    {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
    {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
    {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
    {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
    {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
    {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
    {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
}};

constexpr Table<int32_t, kContexts> owniInitialCtxIndexes_JPEG2K = {{46, 3, 4}};
constexpr Table<int32_t, kContexts> owniInitialMPS_JPEG2K = {};

namespace {

// ---- Contexts as coders hold them (mq.h) ----------------------------------------------------------------------------

constexpr MqContext contextOf(uint32_t index, uint32_t mps) {
  const uint32_t qe = owniEstimator_JPEG2K.at[index].qe;
  uint32_t shift = 0;
  while (!(qe << shift & 0x8000)) ++shift;
  return qe << 16 | shift << 8 | index << 1 | mps;
}

// By nextOf's index: the low byte of a context, its state and its MPS, times two, plus 1 after an LPS.
constexpr Table<MqContext, 4 * kProbabilityStates> transitions() {
  Table<MqContext, 4 * kProbabilityStates> t = {};
  for (uint32_t index = 0; index < kProbabilityStates; ++index)
    for (uint32_t mps = 0; mps < 2; ++mps) {
      const MqEstimate& e = owniEstimator_JPEG2K.at[index];
      t.at[4 * index + 2 * mps] = contextOf(e.nextMps, mps);
      t.at[4 * index + 2 * mps + 1] = contextOf(e.nextLps, mps ^ e.exchange);
    }
  return t;
}

constexpr Table<MqContext, kContexts> initialContexts() {
  Table<MqContext, kContexts> t = {};
  for (int i = 0; i < kContexts; ++i)
    t.at[i] = contextOf(uint32_t(owniInitialCtxIndexes_JPEG2K.at[i]), uint32_t(owniInitialMPS_JPEG2K.at[i]));
  return t;
}

// ---- Context tables of the tier-1 coder -----------------------------------------------------------------------------

constexpr int bitAt(int word, int i) { return word >> i & 1; }

// The classes 0..8 of T.800, Table D.1, by how many neighbours of each kind are significant: straight ones up to two in
// each direction, diagonal ones up to four. For LL and LH the first direction is the horizontal one; for HL, which the
// table has as the same with the directions exchanged, it is the vertical one.
constexpr int lowHighClass(int first, int second, int diagonal) {
  if (first == 2) return 8;
  if (first == 1) return second >= 1 ? 7 : diagonal >= 1 ? 6 : 5;
  if (second > 0) return second + 2;
  return diagonal >= 2 ? 2 : diagonal;
}

// For HH the straight directions count alike.
constexpr int highHighClass(int straight, int diagonal) {
  const int most = straight >= 2 ? 2 : straight;
  if (diagonal >= 3) return 8;
  if (diagonal == 2) return straight >= 1 ? 7 : 6;
  return diagonal == 1 ? 3 + most : most;
}

// The index holds the nine bits around a sample as the words of neighbourhood.h have them around row 0.
constexpr Table<uint8_t, 512> zeroCoding(int subband) {
  Table<uint8_t, 512> t = {};
  for (int w = 0; w < 512; ++w) {
    const int horizontal = bitAt(w, placeOf(0, -1)) + bitAt(w, placeOf(0, 1));
    const int vertical = bitAt(w, placeOf(-1)) + bitAt(w, placeOf(1));
    const int above = bitAt(w, placeOf(-1, -1)) + bitAt(w, placeOf(-1, 1));
    const int diagonal = above + bitAt(w, placeOf(1, -1)) + bitAt(w, placeOf(1, 1));
    const int c = subband == zeliSubbandHH   ? highHighClass(horizontal + vertical, diagonal)
                  : subband == zeliSubbandHL ? lowHighClass(vertical, horizontal, diagonal)
                                             : lowHighClass(horizontal, vertical, diagonal);
    t.at[w] = uint8_t(kZeroCoding + uint32_t(c));
  }
  return t;
}

// What a pair of neighbours contributes: -1, 0 or 1 (T.800, Table D.2). A neighbour is two bits of the index, its sign
// below its significance: above 0, left 2, right 4, below 6.
constexpr int neighbourSign(int index, int at) { return bitAt(index, at + 1) * (1 - 2 * bitAt(index, at)); }
constexpr int contribution(int index, int one, int other) {
  const int sum = neighbourSign(index, one) + neighbourSign(index, other);
  return sum > 1 ? 1 : sum < -1 ? -1 : sum;
}

constexpr Table<uint8_t, 256> signCoding() {
  Table<uint8_t, 256> t = {};
  for (int i = 0; i < 256; ++i) {
    const int h = contribution(i, 2, 4), v = contribution(i, 0, 6);
    const int weight = 3 * h + v;  // Table D.3: the contexts of weights 0..4, mirrored with a flipped sign below
    t.at[i] = uint8_t((kSignCoding + uint32_t(weight < 0 ? -weight : weight)) << 1 | (weight < 0 ? 1 : 0));
  }
  return t;
}

}  // namespace

constexpr Table<MqContext, 4 * kProbabilityStates> kMqNext = transitions();
constexpr Table<MqContext, kContexts> kMqInitial = initialContexts();

constexpr Table<uint8_t, 512> ZeroCodingLUT_LxHy = zeroCoding(zeliSubbandLH);
constexpr Table<uint8_t, 512> ZeroCodingLUT_HxLy = zeroCoding(zeliSubbandHL);
constexpr Table<uint8_t, 512> ZeroCodingLUT_HxHy = zeroCoding(zeliSubbandHH);
constexpr Table<uint8_t, 256> SignCodingLUT = signCoding();

static_assert(kMqInitial.at[kRunLength] == (0x0AC1u << 16 | 0x406) && kMqNext.at[1] == (0x3401u << 16 | 0x203));
static_assert(ZeroCodingLUT_LxHy.at[0x28] == 10 && ZeroCodingLUT_HxLy.at[0x28] == 6 && ZeroCodingLUT_HxHy.at[5] == 8);
static_assert(SignCodingLUT.at[0] == 22 && SignCodingLUT.at[0xA8] == 30 && SignCodingLUT.at[0xFC] == 31);

}  // namespace ZEL_VARIANT
