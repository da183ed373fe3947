/* DXT5 textures in DDS files: a binary PGM or PPM picture on standard input, a file on standard output.
 *
 *     texture_dds rgba <picture.ppm >picture.dds
 *     texture_dds ycocg <picture.ppm >picture.dds
 *
 * With "rgba" colours are coded as they are; with "ycocg" luma goes into the opacity, whose 8 bits keep it well, and
 * chroma into red and green, and the shader that draws the texture turns it back by the formula at shade(). The blocks
 * are decoded again, as a graphics card does, and the PSNR is told on standard error. */
#include <math.h>

#include "example.h"

/* A texel as a shader samples it: 0 to 1. */
typedef struct {
  float r, g, b, a;
} Texel;

static float clamp(float v) { return v < 0 ? 0 : v > 1 ? 1 : v; }

/* In GLSL:
 *
 *     vec4 t = texture(map, place);
 *     float scale = 1.0 / (31.0 * t.b + 1.0);
 *     float co = (t.r - 128.0 / 255.0) * scale, cg = (t.g - 128.0 / 255.0) * scale;
 *     colour = vec3(t.a + co - cg, t.a + cg, t.a - co - cg);                                                         */
static Texel shade(Texel t) {
  const float scale = 1.0f / (31.0f * t.b + 1.0f);
  const float co = (t.r - 128.0f / 255.0f) * scale, cg = (t.g - 128.0f / 255.0f) * scale;
  const Texel colour = {clamp(t.a + co - cg), clamp(t.a + cg), clamp(t.a - co - cg), 1};
  return colour;
}

/* The library leaves zeros below the 5 or 6 bits of an endpoint, where a card widens them to the full range. */
static Texel sample(const uint8_t* rgba) {
  const Texel t = {(float)rgba[0] / 248, (float)rgba[1] / 252, (float)rgba[2] / 248, (float)rgba[3] / 255};
  return t;
}

/* ---- Pixels as the encoders take them --------------------------------------------------------------------------- */

static const uint8_t* pixelOf(const Picture* p, size_t i) { return p->samples + i * (size_t)p->channels; }

static uint8_t* toRGBA(const Picture* p, size_t pixels) {
  uint8_t* const rgba = allocate(4 * pixels);
  for (size_t i = 0; i < pixels; ++i) {
    for (int c = 0; c < 3; ++c) rgba[4 * i + (size_t)c] = pixelOf(p, i)[c % p->channels];
    rgba[4 * i + 3] = 255;
  }
  return rgba;
}

/* Y, Co, Cg, rounded; chroma centred on 128. */
static uint8_t* toYCoCg(const Picture* p, size_t pixels) {
  uint8_t* const ycc = allocate(3 * pixels);
  for (size_t i = 0; i < pixels; ++i) {
    const uint8_t* const s = pixelOf(p, i);
    const int r = s[0], g = s[1 % p->channels], b = s[2 % p->channels];
    const int co = (r - b + 257) >> 1, cg = (2 * g - r - b + 514) >> 2;
    ycc[3 * i] = (uint8_t)((r + 2 * g + b + 2) >> 2);
    ycc[3 * i + 1] = (uint8_t)(co < 255 ? co : 255);
    ycc[3 * i + 2] = (uint8_t)(cg < 255 ? cg : 255);
  }
  return ycc;
}

/* ---- The file --------------------------------------------------------------------------------------------------- */

/* 32-bit words, the least significant byte first: the magic number, a header of 124 bytes with a pixel format of 32
 * bytes in it. Words that are not set are 0. */
static void putHeader(Bytes* file, const Picture* p, int size, int chroma) {
  uint32_t words[32] = {0};
  memcpy(&words[0], "DDS ", 4);
  words[1] = 124;
  words[2] = 0x81007; /* capabilities, height, width, pixel format and size are given */
  words[3] = (uint32_t)p->height;
  words[4] = (uint32_t)p->width;
  words[5] = (uint32_t)size;
  words[7] = 1;                             /* one level */
  if (chroma) memcpy(&words[8], "YCG2", 4); /* a word that is the writer's own: what the texels hold */
  words[19] = 32;
  words[20] = 4; /* the pixel format is a name of four letters */
  memcpy(&words[21], "DXT5", 4);
  words[27] = 0x1000; /* a texture */
  putAll(file, words, sizeof words);
}

static double psnr(const Picture* p, const uint8_t* decoded, size_t pixels, int chroma) {
  double sum = 0;
  for (size_t i = 0; i < pixels; ++i) {
    const Texel t = chroma ? shade(sample(decoded + 4 * i)) : sample(decoded + 4 * i);
    const float rgb[3] = {t.r, t.g, t.b};
    for (int c = 0; c < 3; ++c) {
      const double d = 255.0 * (double)rgb[c] - pixelOf(p, i)[c % p->channels];
      sum += d * d;
    }
  }
  return 10 * log10(255.0 * 255 * 3 * (double)pixels / sum);
}

int main(int argc, char** argv) {
  const int chroma = argc > 1 && strcmp(argv[1], "ycocg") == 0;
  if (argc != 2 || (!chroma && strcmp(argv[1], "rgba") != 0)) fail("say rgba or ycocg");
  Picture p = readPicture();
  const ZeliSize size = {p.width, p.height};
  const size_t pixels = (size_t)p.width * (size_t)p.height;
  const int bytes = (p.width + 3) / 4 * ((p.height + 3) / 4) * 16;
  const uint32_t width = (uint32_t)p.width;
  Bytes file = {NULL, 0, 0};
  putHeader(&file, &p, bytes, chroma);
  reserve(&file, bytes);
  uint8_t *const blocks = file.data + file.size, *const in = chroma ? toYCoCg(&p, pixels) : toRGBA(&p, pixels);
  if (chroma)
    require(zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(in, 3 * width, size, blocks));
  else
    require(zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(in, 4 * width, size, blocks));
  file.size += bytes;

  uint8_t* const decoded = allocate(4 * pixels);
  require(zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(blocks, decoded, 4 * width, size));
  fprintf(stderr, "PSNR %.2f dB\n", psnr(&p, decoded, pixels, chroma));
  free(in);
  free(decoded);
  free(p.samples);
  return writeBytes(&file);
}
