/* A TIFF file with PackBits strips (TIFF 6.0, sections 2 and 9): a binary PGM or PPM picture on standard input, a file
 * on standard output.
 *
 *     tiff_strips <picture.ppm >picture.tif
 *
 * Rows are packed one by one into strips of about 64 KB, and each strip is unpacked again as a reader does. */
#include "example.h"

enum { kStripBytes = 1 << 16 };

/* A field of the directory. Values of one word stand in it, all others at an offset. */
enum { kShort = 3, kLong = 4, kEntries = 9 };

static void put32(Bytes* b, uint32_t v) {
  for (int i = 0; i < 4; ++i) put8(b, (int)(v >> 8 * i & 255));
}

static void putEntry(Bytes* b, int tag, int type, uint32_t count, uint32_t value) {
  put8(b, tag & 255);
  put8(b, tag >> 8);
  put8(b, type);
  put8(b, 0);
  put32(b, count);
  put32(b, value);
}

/* ---- Strips ----------------------------------------------------------------------------------------------------- */

/* Rows do not share a run. A row of n bytes takes at most n + (n + 127) / 128 packed. */
static void packStrip(const Picture* p, int first, int rows, Bytes* file) {
  const int n = p->width * p->channels, most = n + (n + 127) / 128;
  for (int y = first; y < first + rows; ++y) {
    reserve(file, most);
    require(zeliPackBitsRow_TIFF_8u_C1(p->samples + (size_t)y * (size_t)n, n, file->data, &file->size,
                                       file->room - file->size));
  }
}

/* What a reader does; the strip ends where its last row does. */
static void checkStrip(const Picture* p, int first, int rows, const uint8_t* strip, int length) {
  const int n = p->width * p->channels;
  uint8_t* const row = allocate((size_t)n);
  int at = 0;
  for (int y = first; y < first + rows; ++y) {
    require(zeliUnpackBitsRow_TIFF_8u_C1(strip, &at, length, row, n));
    if (memcmp(row, p->samples + (size_t)y * (size_t)n, (size_t)n)) fail("a row has changed");
  }
  if (at != length) fail("a strip is longer than its rows");
  free(row);
}

/* ---- The file --------------------------------------------------------------------------------------------------- */

static uint32_t begin32(Bytes* b, const uint32_t* values, int count) {
  const uint32_t at = (uint32_t)b->size;
  for (int i = 0; i < count; ++i) put32(b, values[i]);
  return at;
}

int main(void) {
  Picture p = readPicture();
  const int n = p.width * p.channels, rows = n < kStripBytes ? kStripBytes / n : 1;
  const int strips = (p.height + rows - 1) / rows;
  uint32_t* const offsets = allocate(sizeof(uint32_t) * (size_t)strips);
  uint32_t* const lengths = allocate(sizeof(uint32_t) * (size_t)strips);
  Bytes file = {NULL, 0, 0};
  putAll(&file, "II*\0\0\0\0", 8); /* least significant byte first; where the directory is comes in at the end */
  for (int i = 0; i < strips; ++i) {
    const int first = i * rows, count = first + rows < p.height ? rows : p.height - first;
    offsets[i] = (uint32_t)file.size;
    packStrip(&p, first, count, &file);
    lengths[i] = (uint32_t)file.size - offsets[i];
    checkStrip(&p, first, count, file.data + offsets[i], (int)lengths[i]);
  }
  if (file.size % 2) put8(&file, 0); /* a directory begins at an even place */
  const uint32_t bits[3] = {8 | 8 << 16, 8, 0};
  const uint32_t bitsAt = p.channels == 1 ? 8 : begin32(&file, bits, 3);
  const uint32_t offsetsAt = strips == 1 ? offsets[0] : begin32(&file, offsets, strips);
  const uint32_t lengthsAt = strips == 1 ? lengths[0] : begin32(&file, lengths, strips);
  for (int i = 0; i < 4; ++i) file.data[4 + i] = (uint8_t)((uint32_t)file.size >> 8 * i);
  put8(&file, kEntries);
  put8(&file, 0);
  putEntry(&file, 256, kLong, 1, (uint32_t)p.width);
  putEntry(&file, 257, kLong, 1, (uint32_t)p.height);
  putEntry(&file, 258, kShort, (uint32_t)p.channels, bitsAt);
  putEntry(&file, 259, kShort, 1, 32773);                   /* PackBits */
  putEntry(&file, 262, kShort, 1, p.channels == 1 ? 1 : 2); /* black is 0; RGB */
  putEntry(&file, 273, kLong, (uint32_t)strips, offsetsAt);
  putEntry(&file, 277, kShort, 1, (uint32_t)p.channels);
  putEntry(&file, 278, kLong, 1, (uint32_t)rows);
  putEntry(&file, 279, kLong, (uint32_t)strips, lengthsAt);
  put32(&file, 0); /* no further directory */
  free(offsets);
  free(lengths);
  free(p.samples);
  return writeBytes(&file);
}
