// Wavelets: tiles in place, tiles to four bands and back; rows and columns with exactly the border that they
// read; lifting steps.
#include "images.h"

using namespace fuzz;

namespace {

// The functions on tiles of one filter and type.
template <class T>
struct TileFunctions {
  ZelStatus (*Api::*sizeInPlace)(const ZeliRect*, int*);
  ZelStatus (*Api::*sizeOfBands)(const ZeliRect*, int*);
  ZelStatus (*Api::*forward)(T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*Api::*inverse)(T*, int, const ZeliRect*, uint8_t*);
  ZelStatus (*Api::*toBands)(const T*, int, const ZeliRect*, T* const*, const int*, uint8_t*);
  ZelStatus (*Api::*fromBands)(const T* const*, const int*, T*, int, const ZeliRect*, uint8_t*);
};

template <class T>
void tile(Run& z, const TileFunctions<T>& f) {
  const ZeliRect rect = {z.below(4) - 2, z.below(4) - 2, 1 + z.below(z.below(2) ? 5 : 40), 1 + z.below(10)};
  const Pair<ZeliRect> r = z.one(rect);
  const Pair<int> bytes = z.one(0), bandBytes = z.one(0);
  z(f.sizeInPlace, r, bytes);
  z(f.sizeOfBands, r, bandBytes);
  const auto buffer = z.opaque<uint8_t>(size_t(*bytes)), bandBuffer = z.opaque<uint8_t>(size_t(*bandBytes));
  int step, otherStep;
  const Pair<T> plane = region<T*>(z, rect.width, rect.height, &step);
  const Pair<T> other = region<T*>(z, rect.width, rect.height, &otherStep);
  Planes<T> bands;
  const Pair<int> bandSteps = z.take<int>(4, false);
  for (int b = 0; b < 4; ++b) {
    const int width = (rect.width + !(b & 2)) / 2, height = (rect.height + !(b & 1)) / 2;
    bandSteps.set(size_t(b), (width + 1 + z.below(3)) * int(sizeof(T)));
    bands.set(b, width && height ? rows<T>(z, width, height, bandSteps[size_t(b)]) : z.take<T>(0));
  }
  z(f.toBands, plane, step, r, bands, bandSteps, bandBuffer);
  z(f.forward, plane, step, r, buffer);
  z(f.inverse, plane, step, r, buffer);
  z(f.fromBands, bands, bandSteps, other, otherStep, r, bandBuffer);
}

// What a line of n coefficients of a band reads, as offsets from its first sample; of samples there are 2n.
struct Reach {
  int first, last;
};
struct Filter {
  Reach forward[2], low[2], high[2];  // by phase; the last ones are counted from 2n, n, n
};
constexpr Filter k53 = {{{-2, 0}, {-1, 1}}, {{0, 0}, {-1, -1}}, {{-1, 0}, {-1, 0}}};
constexpr Filter k97 = {{{-4, 2}, {-3, 3}}, {{-1, 1}, {-2, 0}}, {{-2, 1}, {-2, 1}}};

// A source of so many samples in lines along rows or columns, and so many lines; a pointer to offset 0.
template <class T>
Pair<T> lines(Run& z, bool columns, int count, int n, Reach reach, int* step) {
  const int length = n + reach.last + 1 - reach.first;
  const Pair<T> p = region<T*>(z, columns ? count : length, columns ? length : count, step);
  return p.from(size_t(-reach.first * (columns ? *step / int(sizeof(T)) : 1)));
}

template <class T>
void oneDirection(Run& z, ZelStatus (*Api::*forward)(const T*, int, T*, int, T*, int, ZeliSize, int),
                  ZelStatus (*Api::*inverse)(const T*, int, const T*, int, ZeliSize, T*, int, int),
                  const Filter& filter, bool columns) {
  const int n = 1 + z.below(z.below(2) ? 4 : 24), count = 1 + z.below(columns ? 20 : 4), phase = z.below(4);
  const ZeliSize size = {columns ? count : n, columns ? n : count};
  constexpr Reach kBand = {0, -1};
  int step, lowStep, highStep;
  if (z.below(2)) {
    const auto src = lines<T>(z, columns, count, 2 * n, filter.forward[phase & 1], &step);
    const auto low = lines<T>(z, columns, count, n, kBand, &lowStep),
               high = lines<T>(z, columns, count, n, kBand, &highStep);
    z(forward, src, step, low, lowStep, high, highStep, size, Kept{phase});
  } else {
    const auto low = lines<T>(z, columns, count, n, filter.low[phase & 1], &lowStep);
    const auto high = lines<T>(z, columns, count, n, filter.high[phase & 1], &highStep);
    const auto dst = lines<T>(z, columns, count, 2 * n, kBand, &step);
    z(inverse, low, lowStep, high, highStep, size, dst, step, Kept{phase});
  }
}

template <class T, class... P>
void lift(Run& z, ZelStatus (*Api::*f)(const T*, P...)) {
  const int width = 1 + z.below(z.below(2) ? 6 : 100);
  Pair<T> r[8];
  for (Pair<T>& row : r) row = z.take<T>(size_t(width));
  if constexpr (sizeof...(P) == 6) {
    z(f, r[0], r[1], r[2], r[3], r[4], r[5], width);
  } else {
    z(f, r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], width);
  }
}

#define TILE(filter, type, T)                                                                                     \
  chosen.offer([&] {                                                                                              \
    tile<T>(z, {&Api::zeliWTGetBufSize_##filter##_JPEG2K_##type##_C1IR,                                           \
                &Api::zeliWTGetBufSize_##filter##_JPEG2K_##type##_C1R,                                            \
                &Api::zeliWTFwd_##filter##_JPEG2K_##type##_C1IR, &Api::zeliWTInv_##filter##_JPEG2K_##type##_C1IR, \
                &Api::zeliWTFwd_##filter##_JPEG2K_##type##_C1R, &Api::zeliWTInv_##filter##_JPEG2K_##type##_C1R}); \
  })
#define LINES(direction, filter, type, reach)                                                               \
  chosen.offer([&] {                                                                                        \
    oneDirection(z, &Api::zeliWTFwd##direction##_##filter##_JPEG2K_##type##_C1R,                            \
                 &Api::zeliWTInv##direction##_##filter##_JPEG2K_##type##_C1R, reach, #direction[0] == 'C'); \
  })
#define LIFT(filter, type)                                                              \
  chosen.offer([&] { lift(z, &Api::zeliWTFwdColLift_##filter##_JPEG2K_##type##_C1); }); \
  chosen.offer([&] { lift(z, &Api::zeliWTInvColLift_##filter##_JPEG2K_##type##_C1); })

void each(Run& z, Chosen& chosen) {
  TILE(B53, 16s, int16_t);
  TILE(B53, 32s, int32_t);
  TILE(D97, 16s, int16_t);
  TILE(D97, 32s, int32_t);
  LINES(Row, B53, 16s, k53);
  LINES(Row, B53, 32s, k53);
  LINES(Col, B53, 16s, k53);
  LINES(Col, B53, 32s, k53);
  LINES(Row, D97, 16s, k97);
  LINES(Row, D97, 32s, k97);
  LINES(Row, D97, 32f, k97);
  LINES(Col, D97, 32f, k97);
  LIFT(B53, 16s);
  LIFT(B53, 32s);
  LIFT(D97, 16s);
  LIFT(D97, 32s);
  LIFT(D97, 32f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return runChosen(data, size, each); }
