// Kinds of textures (Khronos Data Format Specification 1.3, sections 18 to 20, and the names and numbers of DDS files),
// and their samples.
#include "dds/texels.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "common/bytes.h"
#include "common/error.h"

namespace zelcodecs::dds {
namespace {

// ---- Kinds ----------------------------------------------------------------------------------------------------------

Texels colourBlocks(const char* name, size_t bytes, BlockDecoder decode) {
  Texels t;
  t.name = name;
  t.unitBytes = bytes;
  t.decode = decode;
  t.widened = true;
  return t;
}

Texels dxt1() { return colourBlocks("DXT1", 8, zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R); }
Texels dxt3(const char* name = "DXT3") {
  Texels t = colourBlocks(name, 16, zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R);
  t.fourBits = true;
  return t;
}
Texels dxt5(const char* name = "DXT5") { return colourBlocks(name, 16, zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R); }
Texels bc7() {
  Texels t = colourBlocks("BC7", 16, zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R);
  t.widened = false;
  return t;
}
Texels ycocg() {
  Texels t = dxt5("YCoCg in DXT5");
  t.widened = false;
  t.ycocg = true;
  t.model = ColourModel::rgb;
  return t;
}
Texels multiplied(Texels t) {
  t.multiplied = true;
  return t;
}

Texels valueBlocks(int channels, bool isSigned) {
  Texels t;
  t.name = std::string(channels == 1 ? "BC4" : "BC5") + (isSigned ? ", signed" : "");
  t.kind = Texels::Kind::valueBlocks;
  t.unitBytes = 8 * size_t(channels);
  t.model = channels == 1 ? ColourModel::grey : ColourModel::rgb;
  t.isSigned = isSigned;
  return t;
}

// Colours in the order red, green, blue, then the opacity.
Texels pixels(const char* name, size_t bytes, ColourModel model, std::initializer_list<uint64_t> masks) {
  Texels t;
  t.kind = Texels::Kind::pixels;
  t.name = name;
  t.unitBytes = bytes;
  t.model = model;
  for (const uint64_t mask : masks) {
    Channel c = {mask, mask ? __builtin_ctzll(mask) : 0, __builtin_popcountll(mask)};
    const bool inOnePiece = c.bits == 64 || mask >> c.shift == (uint64_t{1} << c.bits) - 1;
    if (c.bits < 1 || c.bits > 16 || !inOnePiece || (bytes < 8 && mask >> 8 * bytes))
      throw Error(ErrorKind::unsupported, "a texture with channels that are not 1 to 16 bits of a pixel", kRedMask);
    t.channels.push_back(c);
    t.depth = std::max(t.depth, c.bits);
  }
  return t;
}

// Formats of later headers that are not read.
std::string nameOfNumber(uint32_t number) {
  static constexpr std::pair<uint32_t, const char*> kNames[] = {{2, "R32G32B32A32_FLOAT"},
                                                                {10, "R16G16B16A16_FLOAT"},
                                                                {26, "R11G11B10_FLOAT"},
                                                                {34, "R16G16_FLOAT"},
                                                                {41, "R32_FLOAT"},
                                                                {54, "R16_FLOAT"},
                                                                {65, "A8"},
                                                                {67, "R9G9B9E5"},
                                                                {94, "BC6H"},
                                                                {95, "BC6H"},
                                                                {96, "BC6H"}};
  for (const auto& [known, name] : kNames)
    if (known == number) return name;
  return "number " + std::to_string(number);
}

}  // namespace

Texels texelsOfName(uint32_t name, uint32_t tag) {
  if (name == fourCC("DXT1")) return dxt1();
  if (name == fourCC("DXT2")) return multiplied(dxt3("DXT2"));
  if (name == fourCC("DXT3")) return dxt3();
  if (name == fourCC("DXT4")) return multiplied(dxt5("DXT4"));
  if (name == fourCC("DXT5")) return tag == kYCoCgTag ? ycocg() : dxt5();
  if (name == fourCC("ATI1") || name == fourCC("BC4U")) return valueBlocks(1, false);
  if (name == fourCC("BC4S")) return valueBlocks(1, true);
  if (name == fourCC("ATI2") || name == fourCC("BC5U")) return valueBlocks(2, false);
  if (name == fourCC("BC5S")) return valueBlocks(2, true);
  if (name == 36) return texelsOfNumber(11);  // a number of older interfaces
  std::string text;
  for (int i = 0; i < 4; ++i) {
    const int c = int(name >> 8 * i & 255);
    text += c >= 32 && c < 127 ? std::string(1, char(c)) : "\\" + std::to_string(c);
  }
  throw Error(ErrorKind::unsupported, "texture format \"" + text + "\"", kFourCC);
}

Texels texelsOfMasks(uint32_t flags, uint32_t bits, const uint32_t (&masks)[4]) {
  const bool alpha = flags & kPixelFormatHasAlpha, grey = flags & kPixelFormatIsLuminance;
  if (!grey && !(flags & kPixelFormatIsRgb))
    throw Error(ErrorKind::unsupported, "a texture of pixels that are neither RGB nor luminance", kPixelFormatFlags);
  if (bits % 8 || bits < 8 || bits > 32)
    throw Error(ErrorKind::unsupported, "a texture of pixels of " + std::to_string(bits) + " bits", kBitCount);
  const size_t bytes = bits / 8;
  const std::string name =
      (grey ? "luminance" : "RGB") + std::string(alpha ? " with opacity" : "") + ", " + std::to_string(bits) + " bits";
  if (grey)
    return alpha ? pixels(name.c_str(), bytes, ColourModel::greyAlpha, {masks[0], masks[3]})
                 : pixels(name.c_str(), bytes, ColourModel::grey, {masks[0]});
  return alpha ? pixels(name.c_str(), bytes, ColourModel::rgba, {masks[0], masks[1], masks[2], masks[3]})
               : pixels(name.c_str(), bytes, ColourModel::rgb, {masks[0], masks[1], masks[2]});
}

// Each format has numbers without type and for linear and sRGB samples.
Texels texelsOfNumber(uint32_t number) {
  constexpr uint64_t kWord = 0xFFFF;
  switch (number) {
    case 11:
      return pixels("R16G16B16A16", 8, ColourModel::rgba, {kWord, kWord << 16, kWord << 32, kWord << 48});
    case 24:
      return pixels("R10G10B10A2", 4, ColourModel::rgba, {0x3FF, 0x3FF << 10, 0x3FF << 20, 0xC0000000});
    case 28:
    case 29:
      return pixels("R8G8B8A8", 4, ColourModel::rgba, {0xFF, 0xFF00, 0xFF0000, 0xFF000000});
    case 35:
      return pixels("R16G16", 4, ColourModel::rgb, {kWord, kWord << 16});
    case 49:
      return pixels("R8G8", 2, ColourModel::rgb, {0xFF, 0xFF00});
    case 56:
      return pixels("R16", 2, ColourModel::grey, {kWord});
    case 61:
      return pixels("R8", 1, ColourModel::grey, {0xFF});
    case 85:
      return pixels("B5G6R5", 2, ColourModel::rgb, {0xF800, 0x7E0, 0x1F});
    case 86:
      return pixels("B5G5R5A1", 2, ColourModel::rgba, {0x7C00, 0x3E0, 0x1F, 0x8000});
    case 87:
    case 91:
      return pixels("B8G8R8A8", 4, ColourModel::rgba, {0xFF0000, 0xFF00, 0xFF, 0xFF000000});
    case 88:
    case 93:
      return pixels("B8G8R8X8", 4, ColourModel::rgb, {0xFF0000, 0xFF00, 0xFF});
    case 115:
      return pixels("B4G4R4A4", 2, ColourModel::rgba, {0xF00, 0xF0, 0xF, 0xF000});
  }
  if (number >= 70 && number <= 72) return dxt1();
  if (number >= 73 && number <= 75) return dxt3();
  if (number >= 76 && number <= 78) return dxt5();
  if (number >= 79 && number <= 81) return valueBlocks(1, number == 81);
  if (number >= 82 && number <= 84) return valueBlocks(2, number == 84);
  if (number >= 97 && number <= 99) return bc7();
  throw Error(ErrorKind::unsupported, "texture format " + nameOfNumber(number), kDxgiFormat);
}

// ---- Opacity --------------------------------------------------------------------------------------------------------

namespace {

// Index 3 is transparent where the endpoints stand in rising order.
bool isOpaque1(const uint8_t* block) {
  if (littleEndian16(block) > littleEndian16(block + 2)) return true;
  const uint32_t indices = littleEndian32(block + 4);
  return (indices & indices >> 1 & 0x55555555) == 0;
}

// Six or eight values, of which some are 255: the codes of these as bits.
bool isOpaque5(const uint8_t* block) {
  const int a0 = block[0], a1 = block[1];
  unsigned full = unsigned(a0 == 255) | unsigned(a1 == 255) << 1;
  if (full == 3) full = 0x3F;
  if (a0 <= a1) full |= 1 << 7;
  uint64_t indices = littleEndian64(block) >> 16;
  for (int i = 0; i < 16; ++i, indices >>= 3)
    if (!(full >> (indices & 7) & 1)) return false;
  return true;
}

}  // namespace

bool areOpaque(const Texels& texels, const uint8_t* blocks, size_t count) {
  if (!hasOpacity(texels.model)) return true;
  for (size_t i = 0; i < count; ++i, blocks += texels.unitBytes) {
    const bool opaque = texels.unitBytes == 8 ? isOpaque1(blocks)
                        : texels.fourBits     ? littleEndian64(blocks) == UINT64_MAX
                        : texels.widened      ? isOpaque5(blocks)
                                              : (blocks[0] & 15) != 0;  // modes 0 to 3 of BC7 have no opacity
    if (!opaque) return false;
  }
  return true;
}

// ---- Samples --------------------------------------------------------------------------------------------------------

namespace {

// Fields of 5 and 6 bits end in zeros; their top bits repeated there make 255 of the full value. Endpoints come out
// exactly, and the colours between them, which were made of the shorter fields, within 1 of those made of the wider
// ones. Opacities of 4 bits are exact.
void widen(uint8_t* pixels, int n, bool fourBits) {
  const uint32_t alpha = fourBits ? 0x0F000000 : 0;
  for (int i = 0; i < n; ++i, pixels += 4) {
    uint32_t p;
    std::memcpy(&p, pixels, 4);
    p += (p >> 5 & 0x00070007) + (p >> 6 & 0x00000300) + (p >> 4 & alpha);
    std::memcpy(pixels, &p, 4);
  }
}

uint8_t clamped(float v) { return uint8_t(std::max(0.0f, std::min(255.0f, v + 0.5f))); }

// Decoded fields end in zeros: 248 and 252 stand for 255 of a field of 5 and of 6 bits.
constexpr float kFull5 = 255.0f / 248, kFull6 = 255.0f / 252;

// Chroma was scaled by one more than the blue field, which has no other use.
void fromYCoCg(uint8_t* p, int n) {
  for (; n > 0; --n, p += 4) {
    const float scale = 1.0f / float((p[2] >> 3) + 1), y = p[3];
    const float co = (float(p[0]) * kFull5 - 128) * scale, cg = (float(p[1]) * kFull6 - 128) * scale;
    p[0] = clamped(y + co - cg);
    p[1] = clamped(y + cg);
    p[2] = clamped(y - co - cg);
    p[3] = 255;
  }
}

void divideByOpacity(uint8_t* p, int n) {
  for (; n > 0; --n, p += 4)
    for (int c = 0; c < 3; ++c) p[c] = p[3] ? uint8_t(std::min(255, (p[c] * 255 + p[3] / 2) / p[3])) : 0;
}

void decodeColours(const Texels& t, const uint8_t* blocks, int width, Rows to) {
  require(t.decode(blocks, to.data, uint32_t(to.step), {width, to.count}));
  for (int y = 0; y < to.count; ++y) {
    if (t.widened) widen(to.row(y), width, t.fourBits);
    if (t.ycocg) fromYCoCg(to.row(y), width);
    if (t.multiplied) divideByOpacity(to.row(y), width);
  }
}

// Without the opacity. (The two do not overlap, so that many pixels are copied at once.)
void coloursOf(const uint8_t* __restrict rgba, int n, uint8_t* __restrict rgb) {
  for (int i = 0; i < n; ++i)
    for (int c = 0; c < 3; ++c) rgb[3 * i + c] = rgba[4 * i + c];
}

// The eight values that the codes of a block stand for: two endpoints, and six between them; or four, and the ends of
// the range.
void valuesOf(const uint8_t* block, bool isSigned, uint8_t (&values)[8]) {
  const int low = isSigned ? -127 : 0, high = isSigned ? 127 : 255, up = isSigned ? 128 : 0;
  const auto end = [&](uint8_t b) { return isSigned ? std::max(int(int8_t(b)), low) : int(b); };
  const int a = end(block[0]), b = end(block[1]);
  const int parts = a > b ? 7 : 5;
  values[0] = uint8_t(a + up);
  values[1] = uint8_t(b + up);
  for (int i = 1; i < parts; ++i) values[i + 1] = uint8_t(((parts - i) * (a + up) + i * (b + up) + parts / 2) / parts);
  if (parts == 7) return;
  values[6] = uint8_t(low + up);
  values[7] = uint8_t(high + up);
}

void decodeValues(const Texels& t, const uint8_t* blocks, int width, Rows to) {
  const int perPixel = channelsOf(t.model), coded = int(t.unitBytes / 8);
  for (int x = 0; x < width; x += 4, blocks += t.unitBytes)
    for (int c = 0; c < coded; ++c) {
      uint8_t values[8];
      valuesOf(blocks + 8 * c, t.isSigned, values);
      const uint64_t codes = littleEndian64(blocks + 8 * c) >> 16;
      for (int y = 0; y < to.count; ++y)
        for (int i = 0; i < std::min(4, width - x); ++i)
          to.row(y)[(x + i) * perPixel + c] = values[codes >> 3 * (4 * y + i) & 7];
    }
  for (int y = 0; y < to.count && perPixel == 3; ++y)
    for (int x = 0; x < width; ++x) to.row(y)[3 * x + 2] = 0;
}

template <class T>
void decodePixels(const Texels& t, const uint8_t* data, int width, T* to) {
  const size_t channels = t.channels.size(), perPixel = size_t(channelsOf(t.model));
  const uint64_t max = (uint64_t{1} << t.depth) - 1;
  for (int x = 0; x < width; ++x, data += t.unitBytes, to += perPixel) {
    uint64_t pixel = 0;
    std::memcpy(&pixel, data, t.unitBytes);  // low bytes first, as the processor has them
    for (size_t c = 0; c < channels; ++c) {
      const Channel& field = t.channels[c];
      const uint64_t v = (pixel & field.mask) >> field.shift, top = (uint64_t{1} << field.bits) - 1;
      to[c] = T(field.bits == t.depth ? v : (v * max + top / 2) / top);
    }
    for (size_t c = channels; c < perPixel; ++c) to[c] = 0;
  }
}

}  // namespace

void toSamples(const Texels& t, const uint8_t* data, int width, Rows to) {
  if (t.kind == Texels::Kind::valueBlocks) return decodeValues(t, data, width, to);
  if (t.kind == Texels::Kind::pixels)
    return t.depth > 8 ? decodePixels(t, data, width, reinterpret_cast<uint16_t*>(to.data))
                       : decodePixels(t, data, width, to.data);
  if (t.model == ColourModel::rgba) return decodeColours(t, data, width, to);
  // Without opacity, in pieces that stay in the cache.
  constexpr int kPiece = 64;
  uint8_t rgba[4][4 * kPiece];
  for (int x = 0; x < width; x += kPiece, data += kPiece / 4 * t.unitBytes) {
    const int n = std::min(kPiece, width - x);
    decodeColours(t, data, n, {rgba[0], sizeof rgba[0], to.count});
    for (int y = 0; y < to.count; ++y) coloursOf(rgba[y], n, to.row(y) + 3 * x);
  }
}

}  // namespace zelcodecs::dds
