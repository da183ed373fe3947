/* A baseline JPEG encoder: a binary PPM picture on standard input, a JPEG file on standard output.
 *
 *   jpeg_encoder 90 <picture.ppm >picture.jpg
 *
 * Three components of full size (4:4:4), with Huffman tables fitted to the picture. The picture goes through three
 * passes: pixels to blocks of quantised coefficients, counting of symbols, entropy coding. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zelj.h"

enum { kComponents = 3, kTables = 2 }; /* table 0 is for luma, 1 for both chroma components */

/* The size, the blocks of each component in rows, and how many there are across and down. */
typedef struct {
  int width, height, across, down;
  int16_t (*blocks[kComponents])[64];
} Picture;

/* A Huffman table as a DHT segment holds it, and as the coder takes it. */
typedef struct {
  int32_t counts[256];
  uint8_t bits[16], values[256];
  ZeliEncodeHuffmanSpec* spec;
} Table;

static void fail(const char* what) {
  fprintf(stderr, "jpeg_encoder: %s\n", what);
  exit(1);
}

static void require(ZelStatus status) {
  if (status != zelStsNoErr) {
    fprintf(stderr, "jpeg_encoder: a primitive gives status %d\n", (int)status);
    exit(1);
  }
}

static void* allocate(size_t bytes) {
  void* const p = calloc(1, bytes);
  if (!p) fail("out of memory");
  return p;
}

static int tableOf(int component) { return component > 0; }

/* ---- Pixels to coefficients ------------------------------------------------------------------------------------- */

/* Eight rows of pixels, of which the last ones repeat where the picture ends; returns their step in bytes. */
static void readRows(const Picture* p, int row, uint8_t* rgb, int step) {
  for (int y = 0; y < 8; ++y) {
    uint8_t* const to = rgb + y * step;
    if (8 * row + y >= p->height) {
      memcpy(to, to - step, (size_t)step);
      continue;
    }
    if (fread(to, 3, (size_t)p->width, stdin) != (size_t)p->width) fail("the picture ends too early");
    for (int x = p->width; x < 8 * p->across; ++x) memcpy(to + 3 * x, to + 3 * (x - 1), 3);
  }
}

static void transform(Picture* p, uint8_t raw[kTables][64]) {
  const int width = 8 * p->across;
  uint8_t* const rgb = allocate((size_t)width * 3 * 8);
  uint8_t* const planes = allocate((size_t)width * 8 * kComponents);
  uint8_t* const ycc[3] = {planes, planes + 8 * width, planes + 16 * width};
  uint16_t steps[kTables][64];
  const ZeliSize band = {width, 8};
  for (int t = 0; t < kTables; ++t) require(zeliQuantFwdTableInit_JPEG_8u16u(raw[t], steps[t]));
  for (int row = 0; row < p->down; ++row) {
    readRows(p, row, rgb, 3 * width);
    require(zeliRGBToYCbCr_JPEG_8u_C3P3R(rgb, 3 * width, ycc, width, band));
    for (int c = 0; c < kComponents; ++c)
      for (int x = 0; x < p->across; ++x)
        require(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(ycc[c] + 8 * x, width, p->blocks[c][row * p->across + x],
                                                    steps[tableOf(c)]));
  }
  free(rgb);
  free(planes);
}

/* ---- Huffman tables --------------------------------------------------------------------------------------------- */

static void makeTable(Table* t) {
  int size = 0;
  require(zeliEncodeHuffmanRawTableInit_JPEG_8u(t->counts, t->bits, t->values));
  require(zeliEncodeHuffmanSpecGetBufSize_JPEG_8u(&size));
  t->spec = allocate((size_t)size);
  require(zeliEncodeHuffmanSpecInit_JPEG_8u(t->bits, t->values, t->spec));
}

/* Counts the symbols of all blocks in the order in which they are going to be coded. */
static void fitTables(const Picture* p, Table* dc, Table* ac) {
  int16_t lastDC[kComponents] = {0};
  for (int i = 0; i < p->across * p->down; ++i)
    for (int c = 0; c < kComponents; ++c)
      require(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(p->blocks[c][i], dc[tableOf(c)].counts, ac[tableOf(c)].counts,
                                                      &lastDC[c]));
  for (int t = 0; t < kTables; ++t) {
    makeTable(&dc[t]);
    makeTable(&ac[t]);
  }
}

/* ---- The file --------------------------------------------------------------------------------------------------- */

static void put16(int v) {
  putchar(v >> 8 & 255);
  putchar(v & 255);
}

/* A marker, the length of its segment, and the first byte of that. */
static void segment(int marker, int length, int first) {
  put16(marker);
  put16(length);
  putchar(first);
}

static void writeTable(const Table* t, int class, int number) {
  int symbols = 0;
  for (int i = 0; i < 16; ++i) symbols += t->bits[i];
  segment(0xFFC4, 3 + 16 + symbols, class << 4 | number); /* DHT */
  fwrite(t->bits, 1, 16, stdout);
  fwrite(t->values, 1, (size_t)symbols, stdout);
}

static void writeHeaders(const Picture* p, uint8_t raw[kTables][64], const Table* dc, const Table* ac) {
  put16(0xFFD8); /* SOI */
  for (int t = 0; t < kTables; ++t) {
    segment(0xFFDB, 3 + 64, t); /* DQT: in zigzag order, as the library keeps raw tables */
    fwrite(raw[t], 1, 64, stdout);
  }
  segment(0xFFC0, 8 + 3 * kComponents, 8); /* SOF0, 8 bits a sample */
  put16(p->height);
  put16(p->width);
  putchar(kComponents);
  for (int c = 0; c < kComponents; ++c) {
    putchar(c + 1);
    putchar(0x11); /* sampling factors 1 and 1 */
    putchar(tableOf(c));
  }
  for (int t = 0; t < kTables; ++t) {
    writeTable(&dc[t], 0, t);
    writeTable(&ac[t], 1, t);
  }
  segment(0xFFDA, 6 + 2 * kComponents, kComponents); /* SOS */
  for (int c = 0; c < kComponents; ++c) {
    putchar(c + 1);
    putchar(tableOf(c) << 4 | tableOf(c));
  }
  putchar(0); /* all 64 coefficients at once */
  putchar(63);
  putchar(0);
}

/* Blocks are coded into a buffer that is written whenever it may not take the next one. A block has at most 64 codes of
 * 16 bits with 15 more each, and a zero byte may follow every byte. */
static void writeScan(const Picture* p, const Table* dc, const Table* ac) {
  enum { kMostOfBlock = 64 * 4 * 2, kRoom = 1 << 16 };
  static uint8_t buffer[kRoom];
  ZeliEncodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  int at = 0;
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state));
  for (int i = 0; i < p->across * p->down; ++i)
    for (int c = 0; c < kComponents; ++c) {
      const int t = tableOf(c);
      require(zeliEncodeHuffman8x8_JPEG_16s1u_C1(p->blocks[c][i], buffer, kRoom, &at, &lastDC[c], dc[t].spec,
                                                 ac[t].spec, &state, 0));
      if (at < kRoom - kMostOfBlock) continue;
      fwrite(buffer, 1, (size_t)at, stdout);
      at = 0;
    }
  require(
      zeliEncodeHuffman8x8_JPEG_16s1u_C1(NULL, buffer, kRoom, &at, NULL, NULL, NULL, &state, 1)); /* the last bits */
  fwrite(buffer, 1, (size_t)at, stdout);
  put16(0xFFD9); /* EOI */
}

int main(int argc, char** argv) {
  /* The tables of T.81 Annex K in zigzag order, for quality 50; the library scales them. */
  uint8_t raw[kTables][64] = {
      {16, 11,  12, 14, 12, 10, 16,  14,  13,  14, 18, 17,  16,  19,  24,  40,  26, 24,  22,  22, 24, 49,
       35, 37,  29, 40, 58, 51, 61,  60,  57,  51, 56, 55,  64,  72,  92,  78,  64, 68,  87,  69, 55, 56,
       80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99},
      {17, 18, 18, 24, 21, 24, 47, 26, 26, 47, 99, 66, 56, 66, 99, 99, 99, 99, 99, 99, 99, 99,
       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99}};
  static Table dc[kTables], ac[kTables];
  Picture p = {0};
  const int quality = argc > 1 ? atoi(argv[1]) : 85;
  if (quality < 1 || quality > 100) fail("a quality is 1 to 100");
  if (scanf("P6 %d %d 255", &p.width, &p.height) != 2 || getchar() == EOF) fail("not a PPM file of 8 bits");
  if (p.width < 1 || p.height < 1 || p.width > 65500 || p.height > 65500) fail("a size that JPEG does not have");
  p.across = (p.width + 7) / 8;
  p.down = (p.height + 7) / 8;
  for (int c = 0; c < kComponents; ++c) p.blocks[c] = allocate(sizeof(int16_t[64]) * (size_t)p.across * (size_t)p.down);
  for (int t = 0; t < kTables; ++t) require(zeliQuantFwdRawTableInit_JPEG_8u(raw[t], quality));
  transform(&p, raw);
  fitTables(&p, dc, ac);
  writeHeaders(&p, raw, dc, ac);
  writeScan(&p, dc, ac);
  for (int c = 0; c < kComponents; ++c) free(p.blocks[c]);
  for (int t = 0; t < kTables; ++t) {
    free(dc[t].spec);
    free(ac[t].spec);
  }
  return fflush(stdout) == 0 ? 0 : 1;
}
