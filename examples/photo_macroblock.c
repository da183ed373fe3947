/* A macroblock of HD Photo through the two stages of the core transform and back (ITU-T T.832).
 *
 *     photo_macroblock <picture.pgm >decoded.pgm
 *
 * Each macroblock of 16 x 16 samples of grey (of green, in a picture in colour) is transformed, and transformed back:
 * it must be what it was. Then the same with quantised coefficients, and the picture that this leaves is written; its
 * PSNR is told on standard error. */
#include <math.h>

#include "example.h"

enum { kSide = 16, kBlocks = 4 }; /* blocks of 4 x 4 across and down */

/* The first stage leaves in the corner of each block its DC coefficient. The second one transforms these sixteen as a
 * block of their own, and they go back to their places. */
static int dcAt(int block) { return 4 * kSide * (block / kBlocks) + 4 * (block % kBlocks); }

static void forward(int32_t* macroblock) {
  const ZeliSize fourByFour = {kBlocks, kBlocks};
  int32_t dc[kBlocks * kBlocks];
  require(zeliPCTFwd16x16_HDP_32s_C1IR(macroblock, kSide * sizeof(int32_t)));
  for (int i = 0; i < kBlocks * kBlocks; ++i) dc[i] = macroblock[dcAt(i)];
  require(zeliPCTFwd_HDP_32s_C1IR(dc, kBlocks * sizeof(int32_t), fourByFour));
  for (int i = 0; i < kBlocks * kBlocks; ++i) macroblock[dcAt(i)] = dc[i];
}

static void inverse(int32_t* macroblock) {
  const ZeliSize fourByFour = {kBlocks, kBlocks};
  int32_t dc[kBlocks * kBlocks];
  for (int i = 0; i < kBlocks * kBlocks; ++i) dc[i] = macroblock[dcAt(i)];
  require(zeliPCTInv_HDP_32s_C1IR(dc, kBlocks * sizeof(int32_t), fourByFour));
  for (int i = 0; i < kBlocks * kBlocks; ++i) macroblock[dcAt(i)] = dc[i];
  require(zeliPCTInv16x16_HDP_32s_C1IR(macroblock, kSide * sizeof(int32_t)));
}

/* To the nearest multiple of the step; returns whether it is not zero. */
static int quantise(int32_t* v, int step) {
  const int32_t magnitude = (abs(*v) + step / 2) / step * step;
  *v = *v < 0 ? -magnitude : magnitude;
  return magnitude != 0;
}

/* Samples about 0. Where the picture ends, its last column and row repeat. */
static void take(const Picture* p, int left, int top, int32_t* macroblock) {
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const int px = left + x < p->width ? left + x : p->width - 1, py = top + y < p->height ? top + y : p->height - 1;
      const size_t at = (size_t)py * (size_t)p->width + (size_t)px;
      macroblock[kSide * y + x] = p->samples[at * (size_t)p->channels + (size_t)(p->channels / 2)] - 128;
    }
}

/* Returns the sum of squared differences to the original. */
static double give(const int32_t* decoded, const int32_t* original, int left, int top, Picture* to) {
  double sum = 0;
  for (int y = 0; y < kSide && top + y < to->height; ++y)
    for (int x = 0; x < kSide && left + x < to->width; ++x) {
      const int v = decoded[kSide * y + x] + 128, clamped = v < 0 ? 0 : v > 255 ? 255 : v;
      const int d = clamped - 128 - original[kSide * y + x];
      to->samples[(size_t)(top + y) * (size_t)to->width + (size_t)(left + x)] = (uint8_t)clamped;
      sum += d * d;
    }
  return sum;
}

int main(void) {
  enum { kStep = 24 };
  Picture p = readPicture(), decoded = makePicture(p.width, p.height, 1);
  double sum = 0;
  size_t left = 0, all = 0;
  for (int top = 0; top < p.height; top += kSide)
    for (int at = 0; at < p.width; at += kSide) {
      int32_t original[kSide * kSide], macroblock[kSide * kSide];
      take(&p, at, top, original);
      memcpy(macroblock, original, sizeof original);
      forward(macroblock);
      inverse(macroblock);
      if (memcmp(macroblock, original, sizeof original)) fail("a sample has changed");
      forward(macroblock);
      for (int i = 0; i < kSide * kSide; ++i) left += (size_t)quantise(&macroblock[i], kStep);
      all += kSide * kSide;
      inverse(macroblock);
      sum += give(macroblock, original, at, top, &decoded);
    }
  fprintf(stderr, "steps of %d: %.1f %% of the coefficients left, PSNR %.2f dB\n", kStep,
          100 * (double)left / (double)all,
          10 * log10(255.0 * 255 * (double)samplesOf(&decoded) / (sum > 0 ? sum : 1)));
  free(p.samples);
  return writePicture(&decoded);
}
