/* A lossless JPEG encoder, and the decoder of its scan (T.81, Annex H): a binary PGM or PPM picture on standard input,
 * a JPEG file on standard output.
 *
 *     jpeg_lossless 4 <picture.ppm >picture.jpg
 *
 * The number is the predictor, 1 to 7. Rows become differences from what their neighbours predict, the differences are
 * counted and coded, and the scan is decoded again: the samples must be those that went in. */
#include "jpeg_parts.h"

/* Rows of each component, of 16 bits as the library predicts them: samples, and the differences made of them. */
typedef struct {
  int width, height, components;
  int16_t *samples[kComponents], *differences[kComponents];
} Rows;

static int16_t* rowOf(const Rows* r, int16_t* const* of, int c, int y) { return of[c] + (size_t)y * (size_t)r->width; }

static Rows makeRows(int width, int height, int components) {
  Rows r = {width, height, components, {NULL}, {NULL}};
  const size_t bytes = sizeof(int16_t) * (size_t)width * (size_t)height;
  for (int c = 0; c < components; ++c) {
    r.samples[c] = allocate(bytes);
    r.differences[c] = allocate(bytes);
  }
  return r;
}

static void freeRows(Rows* r) {
  for (int c = 0; c < r->components; ++c) {
    free(r->samples[c]);
    free(r->differences[c]);
  }
}

/* ---- Prediction ------------------------------------------------------------------------------------------------- */

/* The first row is predicted from the left only, its first sample by half of the range: 8 bits, no point transform. */
static void predict(Rows* r, int predictor) {
  for (int c = 0; c < r->components; ++c)
    for (int y = 0; y < r->height; ++y) {
      const int16_t* const row = rowOf(r, r->samples, c, y);
      int16_t* const to = rowOf(r, r->differences, c, y);
      if (y == 0)
        require(zeliDiffPredFirstRow_JPEG_16s_C1(row, to, r->width, 8, 0));
      else
        require(zeliDiffPredRow_JPEG_16s_C1(row, row - r->width, to, r->width, predictor));
    }
}

static void reconstruct(Rows* r, int predictor) {
  for (int c = 0; c < r->components; ++c)
    for (int y = 0; y < r->height; ++y) {
      int16_t* const row = rowOf(r, r->samples, c, y);
      const int16_t* const from = rowOf(r, r->differences, c, y);
      if (y == 0)
        require(zeliReconstructPredFirstRow_JPEG_16s_C1(from, row, r->width, 8, 0));
      else
        require(zeliReconstructPredRow_JPEG_16s_C1(from, row - r->width, row, r->width, predictor));
    }
}

/* ---- Entropy coding --------------------------------------------------------------------------------------------- */

static void fitTables(const Rows* r, Table* tables) {
  for (int c = 0; c < r->components; ++c)
    for (size_t i = 0; i < (size_t)r->width * (size_t)r->height; ++i)
      require(zeliGetHuffmanStatisticsOne_JPEG_16s_C1(r->differences[c] + i, tables[tableOf(c)].counts));
  for (int t = 0; t <= tableOf(r->components - 1); ++t) fitTable(&tables[t]);
}

/* A row of all components a call, which lie sample by sample in the stream. A difference takes at most a code of 16
 * bits and 15 more, and stuffing may double that. */
static void putScan(const Rows* r, const Table* tables, Bytes* file) {
  const ZeliEncodeHuffmanSpec* specs[kComponents];
  const int mostOfRow = 8 * r->components * r->width + 8;
  ZeliEncodeHuffmanState state;
  for (int c = 0; c < r->components; ++c) specs[c] = &tables[tableOf(c)].encoder;
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state));
  for (int y = 0; y < r->height; ++y) {
    const int16_t* rows[kComponents];
    for (int c = 0; c < r->components; ++c) rows[c] = rowOf(r, r->differences, c, y);
    reserve(file, mostOfRow);
    require(zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, r->width, r->components, file->data, file->room, &file->size,
                                                 specs, &state, 0));
  }
  reserve(file, mostOfRow);
  require(zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(NULL, 0, 0, file->data, file->room, &file->size, NULL, &state, 1));
}

/* From the first byte of coded data on. */
static void decodeScan(const Bytes* file, int at, const Table* tables, Rows* r) {
  const ZeliDecodeHuffmanSpec* specs[kComponents];
  ZeliDecodeHuffmanState state;
  int marker = 0;
  for (int c = 0; c < r->components; ++c) specs[c] = &tables[tableOf(c)].decoder;
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&state));
  for (int y = 0; y < r->height; ++y) {
    int16_t* rows[kComponents];
    for (int c = 0; c < r->components; ++c) rows[c] = rowOf(r, r->differences, c, y);
    require(zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(file->data, file->size, &at, rows, r->width, r->components, &marker,
                                                 specs, &state));
  }
}

int main(int argc, char** argv) {
  static Table tables[kTables];
  const int predictor = argc > 1 ? atoi(argv[1]) : zeliPredictorRaRbRc;
  if (predictor < zeliPredictorRa || predictor > zeliPredictorHalfRaRb) fail("a predictor is 1 to 7");
  Picture p = readPicture();
  Rows rows = makeRows(p.width, p.height, p.channels), back = makeRows(p.width, p.height, p.channels);
  for (size_t i = 0; i < samplesOf(&p); ++i)
    rows.samples[i % (size_t)p.channels][i / (size_t)p.channels] = p.samples[i];
  predict(&rows, predictor);
  fitTables(&rows, tables);

  Bytes file = {NULL, 0, 0};
  put16(&file, kSOI);
  putFrame(&file, 0xFFC3, p.width, p.height, p.channels); /* SOF3 */
  for (int t = 0; t <= tableOf(p.channels - 1); ++t) putHuffmanTable(&file, &tables[t], 0, t);
  putScanHeader(&file, 0, p.channels, predictor, 0, 0);
  const int coded = file.size;
  putScan(&rows, tables, &file);
  put16(&file, kEOI);

  decodeScan(&file, coded, tables, &back);
  reconstruct(&back, predictor);
  for (int c = 0; c < p.channels; ++c)
    if (memcmp(rows.samples[c], back.samples[c], sizeof(int16_t) * (size_t)p.width * (size_t)p.height))
      fail("a sample has changed");
  freeRows(&rows);
  freeRows(&back);
  free(p.samples);
  return writeBytes(&file);
}
