/* A progressive JPEG encoder, and the decoder of its scans: a binary PPM picture on standard input, a JPEG file on
 * standard output.
 *
 *     jpeg_progressive 90 <picture.ppm >picture.jpg
 *
 * Each scan goes over the blocks twice, once to count its symbols and once to code them with the table that fits them.
 * Its bytes are then decoded as a reader of the file would, onto what the scans before have left; after the last scan
 * the coefficients must be those that went in. */
#include "jpeg_parts.h"

/* The components from first to last together, coefficients ss to se in zigzag order, down to bit al. In the first scan
 * of a band ah is 0; afterwards it is the al of the scan before, and al is one less (T.81, G.1.1.1). */
typedef struct {
  int first, last, ss, se, ah, al;
} Scan;

/* The picture is recognisable after the first scan. The lowest bits, most of the data, come last. */
static const Scan kScans[] = {
    {0, 2, 0, 0, 0, 1},                                            /* DC of all components, but its lowest bit */
    {0, 0, 1, 5, 0, 2},  {2, 2, 1, 63, 0, 1}, {1, 1, 1, 63, 0, 1}, /* AC, coarse */
    {0, 0, 6, 63, 0, 2}, {0, 0, 1, 63, 2, 1},                      /* the rest of luma */
    {0, 2, 0, 0, 1, 0},                                            /* then the last bits of everything */
    {2, 2, 1, 63, 1, 0}, {1, 1, 1, 63, 1, 0}, {0, 0, 1, 63, 1, 0},
};
enum { kMostOfCall = 4096 }; /* a block, or a run and a thousand correction bits before it, with stuffing */

static int isDC(const Scan* s) { return s->ss == 0; }

/* ---- Counting --------------------------------------------------------------------------------------------------- */

/* A null block, here and below, ends the scan: what is held back in the state is counted or written. The scans that
 * refine DC have no symbols, only bits. */
static void count(const Scan* s, const int16_t* block, Table* table, int16_t* lastDC, ZeliEncodeHuffmanState* state) {
  if (isDC(s)) {
    if (block && s->ah == 0)
      require(zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, table->counts, lastDC, s->al));
  } else if (s->ah == 0) {
    require(zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, table->counts, s->ss, s->se, s->al, state, !block));
  } else {
    require(zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(block, table->counts, s->ss, s->se, s->al, state, !block));
  }
}

/* A table for luma and one for chroma; a scan of AC has one component, and needs one. */
static void fitTables(const Scan* s, const Blocks* b, Table* tables) {
  ZeliEncodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  memset(tables, 0, kTables * sizeof *tables);
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state));
  for (int i = 0; i < b->count; ++i)
    for (int c = s->first; c <= s->last; ++c) count(s, b->of[c][i], &tables[tableOf(c)], &lastDC[c], &state);
  count(s, NULL, &tables[tableOf(s->last)], NULL, &state);
  for (int t = 0; t < kTables; ++t) fitTable(&tables[t]);
}

/* ---- Coding ----------------------------------------------------------------------------------------------------- */

static void encode(const Scan* s, const int16_t* block, const Table* t, int16_t* lastDC, Bytes* to,
                   ZeliEncodeHuffmanState* state) {
  reserve(to, kMostOfCall);
  if (isDC(s) && s->ah == 0)
    require(zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, to->data, to->room, &to->size, lastDC, s->al, &t->encoder,
                                                       state, !block));
  else if (isDC(s))
    require(zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, to->data, to->room, &to->size, s->al, state, !block));
  else if (s->ah == 0)
    require(zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, to->data, to->room, &to->size, s->ss, s->se, s->al,
                                                       &t->encoder, state, !block));
  else
    require(zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, to->data, to->room, &to->size, s->ss, s->se, s->al,
                                                        &t->encoder, state, !block));
}

static void putScan(const Scan* s, const Blocks* b, const Table* tables, Bytes* file) {
  ZeliEncodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  for (int t = tableOf(s->first); t <= tableOf(s->last); ++t)
    if (!isDC(s) || s->ah == 0) putHuffmanTable(file, &tables[t], !isDC(s), t);
  putScanHeader(file, s->first, s->last - s->first + 1, s->ss, s->se, s->ah << 4 | s->al);
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state));
  for (int i = 0; i < b->count; ++i)
    for (int c = s->first; c <= s->last; ++c) encode(s, b->of[c][i], &tables[tableOf(c)], &lastDC[c], file, &state);
  encode(s, NULL, &tables[tableOf(s->last)], NULL, file, &state);
}

/* ---- Decoding --------------------------------------------------------------------------------------------------- */

/* The coded data of a scan, from a position in the file on; the decoder stops at the marker that follows by itself. */
static void decodeScan(const Scan* s, const Bytes* file, int at, const Table* tables, Blocks* b) {
  ZeliDecodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  int marker = 0;
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&state));
  for (int i = 0; i < b->count; ++i)
    for (int c = s->first; c <= s->last; ++c) {
      int16_t* const block = b->of[c][i];
      const ZeliDecodeHuffmanSpec* const table = &tables[tableOf(c)].decoder;
      if (isDC(s) && s->ah == 0)
        require(zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(file->data, file->size, &at, block, &lastDC[c], &marker,
                                                           s->al, table, &state));
      else if (isDC(s))
        require(
            zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(file->data, file->size, &at, block, &marker, s->al, &state));
      else if (s->ah == 0)
        require(zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(file->data, file->size, &at, block, &marker, s->ss, s->se,
                                                           s->al, table, &state));
      else
        require(zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(file->data, file->size, &at, block, &marker, s->ss, s->se,
                                                            s->al, table, &state));
    }
}

static int lengthOfHeader(const Scan* s) { return 2 + 6 + 2 * (s->last - s->first + 1); }

int main(int argc, char** argv) {
  static Table tables[kTables];
  const int quality = argc > 1 ? atoi(argv[1]) : 85;
  if (quality < 1 || quality > 100) fail("a quality is 1 to 100");
  Picture picture = readPicture();
  Blocks blocks = transform(&picture, quality), decoded = makeBlocks(picture.width, picture.height);
  Bytes file = {NULL, 0, 0};
  put16(&file, kSOI);
  putQuantTables(&file, &blocks);
  putFrame(&file, 0xFFC2, blocks.width, blocks.height, kComponents); /* SOF2 */
  for (size_t i = 0; i < sizeof kScans / sizeof *kScans; ++i) {
    const Scan* const s = &kScans[i];
    fitTables(s, &blocks, tables);
    Bytes scan = {NULL, 0, 0};
    putScan(s, &blocks, tables, &scan);
    putAll(&file, scan.data, scan.size);
    put16(&scan, kEOI);
    int at = 0; /* behind the tables, where the header of the scan begins */
    while (scan.data[at + 1] == (kDHT & 255)) at += 2 + (scan.data[at + 2] << 8 | scan.data[at + 3]);
    decodeScan(s, &scan, at + lengthOfHeader(s), tables, &decoded);
    free(scan.data);
  }
  put16(&file, kEOI);
  for (int c = 0; c < kComponents; ++c)
    if (memcmp(blocks.of[c], decoded.of[c], sizeof(Block) * (size_t)blocks.count)) fail("a coefficient has changed");
  free(picture.samples);
  freeBlocks(&blocks);
  freeBlocks(&decoded);
  return writeBytes(&file);
}
