/* What the examples share: an end with a message, memory, and pictures of 8 bits a sample as binary PGM and PPM files
 * (Netpbm). An author who copies an example keeps the codec and replaces this. */
#ifndef EXAMPLE_H
#define EXAMPLE_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zelj.h"

static inline void fail(const char* what) {
  fprintf(stderr, "%s\n", what);
  exit(1);
}

static inline void require(ZelStatus status) {
  if (status == zelStsNoErr) return;
  fprintf(stderr, "a primitive gives status %d\n", (int)status);
  exit(1);
}

static inline void* allocate(size_t bytes) {
  void* const p = calloc(1, bytes);
  if (!p) fail("out of memory");
  return p;
}

/* ---- Pictures --------------------------------------------------------------------------------------------------- */

/* Interleaved samples, rows without gaps; 1 channel is grey, 3 are red, green and blue. */
typedef struct {
  int width, height, channels;
  uint8_t* samples;
} Picture;

static inline size_t samplesOf(const Picture* p) { return (size_t)p->width * (size_t)p->height * (size_t)p->channels; }

static inline Picture makePicture(int width, int height, int channels) {
  Picture p = {width, height, channels, NULL};
  if (width < 1 || height < 1 || width > 65500 || height > 65500) fail("a size that these formats do not have");
  p.samples = (uint8_t*)allocate(samplesOf(&p));
  return p;
}

/* From standard input. */
static inline Picture readPicture(void) {
  int width, height;
  char kind;
  if (scanf("P%c %d %d 255", &kind, &width, &height) != 3 || (kind != '5' && kind != '6') || getchar() == EOF)
    fail("not a binary PGM or PPM file of 8 bits");
  Picture p = makePicture(width, height, kind == '5' ? 1 : 3);
  if (fread(p.samples, 1, samplesOf(&p), stdin) != samplesOf(&p)) fail("the picture ends too early");
  return p;
}

/* To standard output, and released; 0, or 1 where it cannot be written. */
static inline int writePicture(Picture* p) {
  printf("P%c\n%d %d\n255\n", p->channels == 1 ? '5' : '6', p->width, p->height);
  fwrite(p->samples, 1, samplesOf(p), stdout);
  free(p->samples);
  return fflush(stdout) != 0 || ferror(stdout);
}

/* ---- Bytes that grow -------------------------------------------------------------------------------------------- */

typedef struct {
  uint8_t* data;
  int size, room;
} Bytes;

/* Room for so many bytes more. */
static inline void reserve(Bytes* b, int more) {
  if (b->room - b->size >= more) return;
  if (b->room > (1 << 29)) fail("more data than a position of 31 bits counts");
  b->room = 2 * b->room + more;
  b->data = (uint8_t*)realloc(b->data, (size_t)b->room);
  if (!b->data) fail("out of memory");
}

static inline void put8(Bytes* b, int v) {
  reserve(b, 1);
  b->data[b->size++] = (uint8_t)v;
}

/* Most significant byte first, as JPEG has them. */
static inline void put16(Bytes* b, int v) {
  put8(b, v >> 8 & 255);
  put8(b, v & 255);
}

static inline void putAll(Bytes* b, const void* data, int size) {
  reserve(b, size);
  memcpy(b->data + b->size, data, (size_t)size);
  b->size += size;
}

/* To standard output, and released; 0, or 1 where it cannot be written. */
static inline int writeBytes(Bytes* b) {
  fwrite(b->data, 1, (size_t)b->size, stdout);
  free(b->data);
  return fflush(stdout) != 0 || ferror(stdout);
}

#endif
