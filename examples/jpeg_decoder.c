/* A baseline JPEG decoder: a JPEG file on standard input, a binary PPM picture on standard output.
 *
 *     jpeg_decoder <picture.jpg >picture.ppm
 *
 * One interleaved scan of three components with any sampling factors, restart intervals, tables anywhere. Chroma is
 * replicated. What a file may say beyond that (other processes, scans and numbers of components) is refused. */
#include "example.h"

enum { kComponents = 3, kMostBytes = 1 << 28 };

typedef struct {
  int id, h, v;      /* sampling factors: blocks of an MCU across and down */
  int quant, dc, ac; /* numbers of its tables */
  int step;          /* bytes from row to row of its samples */
  uint8_t* samples;  /* of whole MCUs */
} Component;

static uint8_t* file;
static int size;
static uint16_t quant[4][64];
static ZeliDecodeHuffmanSpec* huffman[2][4]; /* DC and AC */
static Component components[kComponents];
static int width, height, interval, mostH, mostV, across, down; /* the last two in MCUs */

/* Bytes of the file; behind its end there are zeros, which no segment is made of. */
static int byteAt(int at) { return at < size ? file[at] : 0; }
static int shortAt(int at) { return byteAt(at) << 8 | byteAt(at + 1); }

/* ---- Segments --------------------------------------------------------------------------------------------------- */

static void readQuantTables(int at, int end) {
  for (; at + 65 <= end; at += 65) {
    if (byteAt(at) > 3) fail("a quantisation table of 16 bits, or of an unknown number");
    require(zeliQuantInvTableInit_JPEG_8u16u(file + at + 1, quant[byteAt(at)]));
  }
}

/* Counts of code lengths, then so many symbols. The library reads as many symbols as the counts say. */
static void readHuffmanTables(int at, int end) {
  while (at + 17 <= end) {
    const int class = byteAt(at) >> 4, number = byteAt(at) & 15;
    uint8_t values[256] = {0};
    int symbols = 0, bytes = 0;
    for (int i = 1; i <= 16; ++i) symbols += byteAt(at + i);
    if (class > 1 || number > 3 || symbols > 256 || at + 17 + symbols > end) fail("a Huffman table that cannot be");
    memcpy(values, file + at + 17, (size_t)symbols);
    require(zeliDecodeHuffmanSpecGetBufSize_JPEG_8u(&bytes));
    if (!huffman[class][number]) huffman[class][number] = allocate((size_t)bytes);
    require(zeliDecodeHuffmanSpecInit_JPEG_8u(file + at + 1, values, huffman[class][number]));
    at += 17 + symbols;
  }
}

static void readFrame(int at) {
  height = shortAt(at + 1);
  width = shortAt(at + 3);
  if (mostH || byteAt(at) != 8 || byteAt(at + 5) != kComponents || width < 1 || height < 1)
    fail("not a frame of this kind");
  for (int c = 0; c < kComponents; ++c) {
    const Component k = {byteAt(at + 6 + 3 * c),
                         byteAt(at + 7 + 3 * c) >> 4,
                         byteAt(at + 7 + 3 * c) & 15,
                         byteAt(at + 8 + 3 * c),
                         0,
                         0,
                         0,
                         NULL};
    if (k.h < 1 || k.h > 4 || k.v < 1 || k.v > 4 || k.quant > 3) fail("a component that cannot be");
    if (k.h > mostH) mostH = k.h;
    if (k.v > mostV) mostV = k.v;
    components[c] = k;
  }
  across = (width + 8 * mostH - 1) / (8 * mostH);
  down = (height + 8 * mostV - 1) / (8 * mostV);
  for (int c = 0; c < kComponents; ++c) {
    Component* const k = &components[c];
    k->step = 8 * k->h * across;
    k->samples = allocate((size_t)k->step * 8 * (size_t)(k->v * down));
  }
}

/* ---- The scan --------------------------------------------------------------------------------------------------- */

/* Which tables each component has. */
static void readScanHeader(int at) {
  if (!mostH || byteAt(at) != kComponents) fail("not a scan of all components");
  for (int c = 0; c < kComponents; ++c) {
    Component* const k = &components[c];
    k->dc = byteAt(at + 2 + 2 * c) >> 4;
    k->ac = byteAt(at + 2 + 2 * c) & 15;
    if (byteAt(at + 1 + 2 * c) != k->id || k->dc > 3 || k->ac > 3 || !huffman[0][k->dc] || !huffman[1][k->ac])
      fail("a scan without its tables");
  }
}

/* One block: coefficients, then samples at its place. */
static void decodeBlock(const Component* k, int x, int y, int* at, int16_t* lastDC, int* marker,
                        ZeliDecodeHuffmanState* state) {
  int16_t block[64];
  require(zeliDecodeHuffman8x8_JPEG_1u16s_C1(file, size, at, block, lastDC, marker, huffman[0][k->dc],
                                             huffman[1][k->ac], state));
  require(zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, k->samples + (size_t)(8 * y) * (size_t)k->step + 8 * x, k->step,
                                              quant[k->quant]));
}

/* The decoder stops at a marker by itself, and stands behind it; where it has not met it yet, it stands there. */
static void passRestart(int* at, int* marker) {
  if (!*marker && byteAt(*at) == 0xFF) {
    *marker = byteAt(*at + 1);
    *at += 2;
  }
  if ((*marker & 0xF8) != 0xD0) fail("a restart marker is missing");
  *marker = 0;
}

static void decodeScan(int at) {
  ZeliDecodeHuffmanState state;
  int16_t lastDC[kComponents] = {0};
  int marker = 0;
  require(zeliDecodeHuffmanStateInit_JPEG_8u(&state));
  for (int mcu = 0; mcu < across * down; ++mcu) {
    if (interval && mcu && mcu % interval == 0) {
      passRestart(&at, &marker);
      require(zeliDecodeHuffmanStateInit_JPEG_8u(&state));
      memset(lastDC, 0, sizeof lastDC);
    }
    for (int c = 0; c < kComponents; ++c) {
      const Component* const k = &components[c];
      for (int v = 0; v < k->v; ++v)
        for (int h = 0; h < k->h; ++h)
          decodeBlock(k, mcu % across * k->h + h, mcu / across * k->v + v, &at, &lastDC[c], &marker, &state);
    }
  }
}

/* ---- The picture ------------------------------------------------------------------------------------------------ */

/* Each row of the picture takes a row of each component, whose samples are repeated up to its width. */
static void convert(Picture* picture) {
  uint8_t* const rows = allocate((size_t)width * 3);
  uint8_t* const ycc[3] = {rows, rows + width, rows + 2 * width};
  const ZeliSize row = {width, 1};
  for (int y = 0; y < height; ++y) {
    for (int c = 0; c < kComponents; ++c) {
      const Component* const k = &components[c];
      const uint8_t* const from = k->samples + (size_t)(y * k->v / mostV) * (size_t)k->step;
      for (int x = 0; x < width; ++x) ycc[c][x] = from[x * k->h / mostH];
    }
    require(zeliYCbCrToRGB_JPEG_8u_P3C3R((const uint8_t* const*)ycc, width,
                                         picture->samples + (size_t)y * 3 * (size_t)width, 3 * width, row));
  }
  free(rows);
}

int main(void) {
  enum { kSOF0 = 0xFFC0, kSOF1 = 0xFFC1, kDHT = 0xFFC4, kSOI = 0xFFD8, kSOS = 0xFFDA, kDQT = 0xFFDB, kDRI = 0xFFDD };
  file = allocate(kMostBytes);
  size = (int)fread(file, 1, kMostBytes, stdin);
  if (shortAt(0) != kSOI) fail("not a JPEG file");
  for (int at = 2, marker = 0; marker != kSOS; at += 2 + shortAt(at + 2)) {
    const int begin = at + 4, end = at + 2 + shortAt(at + 2);
    marker = shortAt(at);
    if (marker < 0xFF01 || end > size || end < begin) fail("the file ends too early");
    if (marker == kDQT) readQuantTables(begin, end);
    if (marker == kDHT) readHuffmanTables(begin, end);
    if (marker == kDRI) interval = shortAt(begin);
    if (marker == kSOF0 || marker == kSOF1) readFrame(begin);
    if (marker == kSOS) {
      readScanHeader(begin);
      decodeScan(end);
    }
  }
  Picture picture = makePicture(width, height, kComponents);
  convert(&picture);
  for (int c = 0; c < kComponents; ++c) free(components[c].samples);
  for (int i = 0; i < 8; ++i) free(huffman[i / 4][i % 4]);
  free(file);
  return writePicture(&picture);
}
