/* What the JPEG encoders of the examples share: quantised blocks of a picture, fitted Huffman tables, and the segments
 * of a file (ITU-T T.81, Annex B). */
#ifndef JPEG_PARTS_H
#define JPEG_PARTS_H

#include "example.h"

enum { kComponents = 3, kTables = 2 }; /* table 0 is for luma, 1 for both chroma components */
enum { kDHT = 0xFFC4, kSOI = 0xFFD8, kEOI = 0xFFD9, kSOS = 0xFFDA, kDQT = 0xFFDB };

static inline int tableOf(int component) { return component > 0; }

/* ---- Pixels to quantised coefficients --------------------------------------------------------------------------- */

typedef int16_t Block[64]; /* in natural order, as all functions of the library take it */

/* Blocks of each component in rows, and how many there are across and down. */
typedef struct {
  int width, height, across, down, count;
  uint8_t raw[kTables][64]; /* steps of quantisation in zigzag order */
  Block* of[kComponents];
} Blocks;

static inline Blocks makeBlocks(int width, int height) {
  Blocks b = {width, height, (width + 7) / 8, (height + 7) / 8, 0, {{0}}, {NULL}};
  b.count = b.across * b.down;
  for (int c = 0; c < kComponents; ++c) b.of[c] = (Block*)allocate(sizeof(Block) * (size_t)b.count);
  return b;
}

static inline void freeBlocks(Blocks* b) {
  for (int c = 0; c < kComponents; ++c) free(b->of[c]);
}

/* Eight rows of pixels of whole blocks: the last pixel of a row and the last row repeat beyond the picture's end. */
static inline void takeRows(const Picture* p, int row, uint8_t* rgb, int step) {
  for (int y = 0; y < 8; ++y) {
    const int from = 8 * row + y < p->height ? 8 * row + y : p->height - 1;
    memcpy(rgb + y * step, p->samples + (size_t)from * 3 * (size_t)p->width, 3 * (size_t)p->width);
    for (int x = 3 * p->width; x < step; ++x) rgb[y * step + x] = rgb[y * step + x - 3];
  }
}

/* The quantisation tables of T.81 Annex K.1, in zigzag order, which are made for quality 50; the library scales them.
 * */
static inline Blocks transform(const Picture* p, int quality) {
  static const uint8_t kSteps[kTables][64] = {
      {16, 11,  12, 14, 12, 10, 16,  14,  13,  14, 18, 17,  16,  19,  24,  40,  26, 24,  22,  22, 24, 49,
       35, 37,  29, 40, 58, 51, 61,  60,  57,  51, 56, 55,  64,  72,  92,  78,  64, 68,  87,  69, 55, 56,
       80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99},
      {17, 18, 18, 24, 21, 24, 47, 26, 26, 47, 99, 66, 56, 66, 99, 99, 99, 99, 99, 99, 99, 99,
       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99}};
  if (p->channels != kComponents) fail("a picture in colour is needed");
  Blocks b = makeBlocks(p->width, p->height);
  const int width = 8 * b.across;
  const ZeliSize band = {width, 8};
  uint8_t* const rgb = (uint8_t*)allocate((size_t)width * 8 * 3);
  uint8_t* const planes = (uint8_t*)allocate((size_t)width * 8 * kComponents);
  uint8_t* const ycc[3] = {planes, planes + 8 * width, planes + 16 * width};
  uint16_t forward[kTables][64];
  for (int t = 0; t < kTables; ++t) {
    memcpy(b.raw[t], kSteps[t], 64);
    require(zeliQuantFwdRawTableInit_JPEG_8u(b.raw[t], quality));
    require(zeliQuantFwdTableInit_JPEG_8u16u(b.raw[t], forward[t]));
  }
  for (int row = 0; row < b.down; ++row) {
    takeRows(p, row, rgb, 3 * width);
    require(zeliRGBToYCbCr_JPEG_8u_C3P3R(rgb, 3 * width, ycc, width, band));
    for (int c = 0; c < kComponents; ++c)
      for (int x = 0; x < b.across; ++x)
        require(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(ycc[c] + 8 * x, width, b.of[c][row * b.across + x],
                                                    forward[tableOf(c)]));
  }
  free(rgb);
  free(planes);
  return b;
}

/* ---- Fitted Huffman tables -------------------------------------------------------------------------------------- */

/* What is counted, what a DHT segment holds, and what the coders take. */
typedef struct {
  int32_t counts[256];
  uint8_t bits[16], values[256];
  ZeliEncodeHuffmanSpec encoder;
  ZeliDecodeHuffmanSpec decoder;
} Table;

static inline void fitTable(Table* t) {
  require(zeliEncodeHuffmanRawTableInit_JPEG_8u(t->counts, t->bits, t->values));
  require(zeliEncodeHuffmanSpecInit_JPEG_8u(t->bits, t->values, &t->encoder));
  require(zeliDecodeHuffmanSpecInit_JPEG_8u(t->bits, t->values, &t->decoder));
}

/* ---- Segments --------------------------------------------------------------------------------------------------- */

/* A marker, and the length of its segment, which counts itself. */
static inline void putSegment(Bytes* file, int marker, int length) {
  put16(file, marker);
  put16(file, length);
}

static inline void putQuantTables(Bytes* file, const Blocks* b) {
  for (int t = 0; t < kTables; ++t) {
    putSegment(file, kDQT, 2 + 65);
    put8(file, t);
    putAll(file, b->raw[t], 64);
  }
}

/* A class of 0 is for DC and for lossless differences, of 1 for AC. */
static inline void putHuffmanTable(Bytes* file, const Table* t, int tableClass, int number) {
  int symbols = 0;
  for (int i = 0; i < 16; ++i) symbols += t->bits[i];
  putSegment(file, kDHT, 2 + 17 + symbols);
  put8(file, tableClass << 4 | number);
  putAll(file, t->bits, 16);
  putAll(file, t->values, symbols);
}

/* A frame of components without subsampling; the marker tells the process. */
static inline void putFrame(Bytes* file, int marker, int width, int height, int components) {
  putSegment(file, marker, 8 + 3 * components);
  put8(file, 8); /* bits a sample */
  put16(file, height);
  put16(file, width);
  put8(file, components);
  for (int c = 0; c < components; ++c) {
    put8(file, c + 1);
    put8(file, 0x11); /* sampling factors 1 and 1 */
    put8(file, tableOf(c));
  }
}

/* The components of a scan, the band of coefficients, and the bits of successive approximation; in lossless scans the
 * first of the band is the predictor. */
static inline void putScanHeader(Bytes* file, int firstComponent, int components, int ss, int se, int ahAl) {
  putSegment(file, kSOS, 6 + 2 * components);
  put8(file, components);
  for (int c = firstComponent; c < firstComponent + components; ++c) {
    put8(file, c + 1);
    put8(file, tableOf(c) << 4 | tableOf(c));
  }
  put8(file, ss);
  put8(file, se);
  put8(file, ahAl);
}

#endif
