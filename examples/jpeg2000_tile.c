/* A tile of JPEG 2000 through colours and wavelets and back (ITU-T T.800, Annexes E, F and G).
 *
 *     jpeg2000_tile <picture.ppm
 *
 * First the reversible path, after which every sample must be what it was; then the irreversible one, with coefficients
 * quantised in steps of a few sizes. What is left between the two halves of each path, coefficients of wavelet bands,
 * is what the tier-1 coder takes. */
#include <math.h>

#include "example.h"

enum { kComponents = 3, kLevels = 5, kFraction = 6 }; /* bits below the binary point in the irreversible path */

/* Planes of 32 bits; (x0, y0) is the place of the tile on the reference grid, whose odd and even places become high and
 * low coefficients. */
typedef struct {
  int x0, y0, width, height;
  int32_t* planes[kComponents];
} Tile;

static size_t areaOf(const Tile* t) { return (size_t)t->width * (size_t)t->height; }

static Tile makeTile(const Picture* p, int shift) {
  Tile t = {3, 2, p->width, p->height, {NULL}};
  for (int c = 0; c < kComponents; ++c) {
    t.planes[c] = allocate(areaOf(&t) * sizeof(int32_t));
    for (size_t i = 0; i < areaOf(&t); ++i) /* with the level shift of G.1 */
      t.planes[c][i] = (p->samples[i * kComponents + (size_t)c] - 128) * (1 << shift);
  }
  return t;
}

static void freeTile(Tile* t) {
  for (int c = 0; c < kComponents; ++c) free(t->planes[c]);
}

/* The part of the plane that a level transforms: the tile, or the low band LL of the level before, which stands in the
 * top left corner. Its borders on the grid of its level are halved, rounded up (B-15). */
static ZeliRect rectOf(const Tile* t, int level) {
  const int round = (1 << level) - 1;
  const int x0 = (t->x0 + round) >> level, x1 = (t->x0 + t->width + round) >> level;
  const int y0 = (t->y0 + round) >> level, y1 = (t->y0 + t->height + round) >> level;
  const ZeliRect r = {x0, y0, x1 - x0, y1 - y0};
  return r;
}

/* A path's functions: colours of the planes, then wavelets of each, and back. */
typedef struct {
  ZelStatus (*bufferSize)(const ZeliRect*, int*);
  ZelStatus (*colours[2])(int32_t* const*, int, ZeliSize); /* forward, inverse */
  ZelStatus (*wavelet[2])(int32_t*, int, const ZeliRect*, uint8_t*);
} Path;

/* Exact in integers. */
static const Path kReversible = {zeliWTGetBufSize_B53_JPEG2K_32s_C1IR,
                                 {zeliRCTFwd_JPEG2K_32s_P3IR, zeliRCTInv_JPEG2K_32s_P3IR},
                                 {zeliWTFwd_B53_JPEG2K_32s_C1IR, zeliWTInv_B53_JPEG2K_32s_C1IR}};
/* In fixed point: samples with some bits below the binary point. */
static const Path kIrreversible = {zeliWTGetBufSize_D97_JPEG2K_32s_C1IR,
                                   {zeliICTFwd_JPEG2K_32s_P3IR, zeliICTInv_JPEG2K_32s_P3IR},
                                   {zeliWTFwd_D97_JPEG2K_32s_C1IR, zeliWTInv_D97_JPEG2K_32s_C1IR}};

static void transform(Tile* t, const Path* path, int inverse) {
  const ZeliSize size = {t->width, t->height};
  const int step = 4 * t->width;
  const ZeliRect whole = rectOf(t, 0);
  int bytes;
  require(path->bufferSize(&whole, &bytes)); /* the first level needs the most */
  uint8_t* const buffer = allocate((size_t)bytes + 1);
  if (!inverse) require(path->colours[0](t->planes, step, size));
  for (int c = 0; c < kComponents; ++c)
    for (int i = 0; i < kLevels; ++i) {
      const ZeliRect rect = rectOf(t, inverse ? kLevels - 1 - i : i);
      require(path->wavelet[inverse](t->planes[c], step, &rect, buffer));
    }
  if (inverse) require(path->colours[1](t->planes, step, size));
  free(buffer);
}

/* Quantised with a dead zone (E.1), and back to the middle of the interval; the same step in all bands. Returns how
 * many coefficients are not zero. */
static size_t quantise(Tile* t, int q) {
  const int32_t step = q << kFraction;
  size_t count = 0;
  for (int c = 0; c < kComponents; ++c)
    for (size_t i = 0; i < areaOf(t); ++i) {
      int32_t* const v = &t->planes[c][i];
      const int32_t magnitude = abs(*v) / step * step;
      count += magnitude != 0;
      *v = magnitude == 0 ? 0 : *v < 0 ? -(magnitude + step / 2) : magnitude + step / 2;
    }
  return count;
}

static double psnr(const Tile* a, const Tile* b) {
  double sum = 0;
  for (int c = 0; c < kComponents; ++c)
    for (size_t i = 0; i < areaOf(a); ++i) {
      const double d = (double)(a->planes[c][i] - b->planes[c][i]) / (1 << kFraction);
      sum += d * d;
    }
  return 10 * log10(255.0 * 255 * kComponents * (double)areaOf(a) / sum);
}

int main(void) {
  static const int kSteps[] = {1, 4, 16};
  Picture p = readPicture();
  if (p.channels != kComponents) fail("a picture in colour is needed");

  Tile original = makeTile(&p, 0), tile = makeTile(&p, 0);
  transform(&tile, &kReversible, 0);
  transform(&tile, &kReversible, 1);
  for (int c = 0; c < kComponents; ++c)
    if (memcmp(tile.planes[c], original.planes[c], areaOf(&tile) * sizeof(int32_t))) fail("a sample has changed");
  printf("reversible: every sample as it was\n");
  freeTile(&original);
  freeTile(&tile);

  original = makeTile(&p, kFraction);
  for (int i = 0; i < 3; ++i) {
    tile = makeTile(&p, kFraction);
    transform(&tile, &kIrreversible, 0);
    const double share = (double)quantise(&tile, kSteps[i]) / (double)(kComponents * areaOf(&tile));
    transform(&tile, &kIrreversible, 1);
    printf("irreversible, steps of %2d: %4.1f %% of the coefficients left, PSNR %.2f dB\n", kSteps[i], 100 * share,
           psnr(&original, &tile));
    freeTile(&tile);
  }
  freeTile(&original);
  free(p.samples);
  return 0;
}
