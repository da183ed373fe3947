/* A baseline JPEG encoder: a binary PPM picture on standard input, a JPEG file on standard output.
 *
 *     jpeg_encoder 90 <picture.ppm >picture.jpg
 *
 * Three components of full size (4:4:4), with Huffman tables fitted to the picture. The picture goes through three
 * passes: pixels to blocks of quantised coefficients (in jpeg_parts.h), counting of symbols, entropy coding. */
#include "jpeg_parts.h"

/* Counts the symbols of all blocks in the order in which they are going to be coded. */
static void fitTables(const Blocks* b, Table* dc, Table* ac) {
  int16_t lastDC[kComponents] = {0};
  for (int i = 0; i < b->count; ++i)
    for (int c = 0; c < kComponents; ++c)
      require(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(b->of[c][i], dc[tableOf(c)].counts, ac[tableOf(c)].counts,
                                                      &lastDC[c]));
  for (int t = 0; t < kTables; ++t) {
    fitTable(&dc[t]);
    fitTable(&ac[t]);
  }
}

static void putHeaders(Bytes* file, const Blocks* b, const Table* dc, const Table* ac) {
  put16(file, kSOI);
  putQuantTables(file, b);
  putFrame(file, 0xFFC0, b->width, b->height, kComponents); /* SOF0 */
  for (int t = 0; t < kTables; ++t) {
    putHuffmanTable(file, &dc[t], 0, t);
    putHuffmanTable(file, &ac[t], 1, t);
  }
  putScanHeader(file, 0, kComponents, 0, 63, 0);
}

/* One interleaved scan: an MCU is a block of each component. A block has at most 64 codes of 16 bits with 15 more each,
 * and a zero byte may follow every byte. */
static void putScan(Bytes* file, const Blocks* b, const Table* dc, const Table* ac) {
  enum { kMostOfBlock = 64 * 4 * 2 };
  ZeliEncodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state));
  for (int i = 0; i < b->count; ++i)
    for (int c = 0; c < kComponents; ++c) {
      const int t = tableOf(c);
      reserve(file, kMostOfBlock);
      require(zeliEncodeHuffman8x8_JPEG_16s1u_C1(b->of[c][i], file->data, file->room, &file->size, &lastDC[c],
                                                 &dc[t].encoder, &ac[t].encoder, &state, 0));
    }
  reserve(file, kMostOfBlock); /* the last bits */
  require(zeliEncodeHuffman8x8_JPEG_16s1u_C1(NULL, file->data, file->room, &file->size, NULL, NULL, NULL, &state, 1));
}

int main(int argc, char** argv) {
  static Table dc[kTables], ac[kTables];
  const int quality = argc > 1 ? atoi(argv[1]) : 85;
  if (quality < 1 || quality > 100) fail("a quality is 1 to 100");
  Picture picture = readPicture();
  Blocks blocks = transform(&picture, quality);
  Bytes file = {NULL, 0, 0};
  fitTables(&blocks, dc, ac);
  putHeaders(&file, &blocks, dc, ac);
  putScan(&file, &blocks, dc, ac);
  put16(&file, kEOI);
  free(picture.samples);
  freeBlocks(&blocks);
  return writeBytes(&file);
}
