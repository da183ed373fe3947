/* One code block of JPEG 2000 to bytes and back, cut at several rates (ITU-T T.800, Annexes C and D, and J.14).
 *
 *     jpeg2000_block <picture.pgm
 *
 * Takes 64 x 64 samples from the middle of the picture, codes them down to the lowest bit, and tells what a decoder
 * gets from the first half, fourth, eighth ... of the bytes: the passes, the squared error that the encoder foretells,
 * and the one that the decoded samples have. A codec does this with the coefficients of wavelet bands. */
#include <math.h>

#include "example.h"

enum { kSide = 64, kSamples = kSide * kSide, kMostPasses = 3 * 31 };

/* What a packet header tells of a block, and what a rate control needs of it. */
typedef struct {
  int planes, passes, segments;
  int rates[kMostPasses];    /* bytes up to the end of each pass */
  double gains[kMostPasses]; /* squared error that the passes up to it take away */
  Bytes bytes;
} Coded;

/* Sign and magnitude: bit 31 and the bits below. */
static int32_t toWord(int v) { return v < 0 ? (int32_t)(0x80000000U | (uint32_t)-v) : v; }
static int toInt(int32_t word) { return word < 0 ? -(word & 0x7FFFFFFF) : word; }

static Coded encode(const int32_t* words, ZeliSize size) {
  Coded coded = {0};
  ZeliEncodeState_JPEG2K* state;
  int more = 1;
  require(zeliEncodeInitAlloc_JPEG2K(&state, size));
  require(zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, 4 * size.width, size, state, zeliSubbandLL, 31,
                                                 zeliTerminationShortest, 0, zeliEncodeLowestPlaneIsLast, &coded.planes,
                                                 &coded.passes, &coded.segments));
  while (more) { /* in pieces, as room is found */
    reserve(&coded.bytes, 512);
    int length = coded.bytes.room - coded.bytes.size;
    require(zeliEncodeStoreBits_JPEG2K_1u(coded.bytes.data + coded.bytes.size, &length, state, &more));
    coded.bytes.size += length;
  }
  for (int p = 0; p < coded.passes; ++p) {
    require(zeliEncodeGetRate_JPEG2K(state, p, &coded.rates[p]));
    require(zeliEncodeGetDist_JPEG2K(state, p, &coded.gains[p]));
  }
  require(zeliEncodeFree_JPEG2K(state));
  return coded;
}

/* The first passes, of the first so many bytes. Without flags each block is a single codeword segment. */
static void decode(const Coded* coded, int passes, int length, ZeliSize size, int32_t* words) {
  int bytes;
  require(zeliDecodeGetBufSize_JPEG2K(size, &bytes));
  ZeliDecodeCBProgrState_JPEG2K* const state = allocate((size_t)bytes);
  require(zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(coded->bytes.data, words, 4 * size.width, size, zeliSubbandLL,
                                               coded->planes, passes, &length, passes > 0, zeliDecodeKeepHalfBits, NULL,
                                               state));
  free(state);
}

/* As many passes as fit, as a rate control takes them that only looks at bytes. */
static int passesWithin(const Coded* coded, int bytes) {
  int passes = 0;
  while (passes < coded->passes && coded->rates[passes] <= bytes) ++passes;
  return passes;
}

int main(void) {
  const ZeliSize size = {kSide, kSide};
  static int32_t words[kSamples], back[kSamples];
  Picture p = readPicture();
  if (p.width < kSide || p.height < kSide) fail("a picture of at least 64 x 64 is needed");
  double energy = 0;
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const size_t at = (size_t)((p.height - kSide) / 2 + y) * (size_t)p.width + (size_t)((p.width - kSide) / 2 + x);
      const int v = p.samples[at * (size_t)p.channels] - 128;
      words[kSide * y + x] = toWord(v);
      energy += v * v;
    }
  const Coded coded = encode(words, size);
  printf("%d planes, %d passes, %d bytes\n", coded.planes, coded.passes, coded.bytes.size);
  printf("%8s %8s %14s %14s %10s\n", "bytes", "passes", "error foretold", "error found", "PSNR in dB");
  for (int part = 64, before = -1; part >= 1; part /= 2) {
    const int passes = passesWithin(&coded, coded.bytes.size / part);
    if (passes == before) continue;
    before = passes;
    const int length = passes ? coded.rates[passes - 1] : 0;
    const double foretold = energy - (passes ? coded.gains[passes - 1] : 0);
    double found = 0;
    decode(&coded, passes, length, size, back);
    for (int i = 0; i < kSamples; ++i) {
      const int d = toInt(words[i]) - toInt(back[i]);
      found += d * d;
    }
    printf("%8d %8d %14.0f %14.0f %10.2f\n", length, passes, foretold, found,
           10 * log10(255.0 * 255 * kSamples / (found > 0 ? found : 1)));
    if (fabs(foretold - found) > 0.5) fail("the encoder's figures and the decoder's result do not agree");
  }
  for (int i = 0; i < kSamples; ++i)
    if (words[i] != back[i]) fail("the whole block does not come back");
  free(coded.bytes.data);
  free(p.samples);
  return 0;
}
