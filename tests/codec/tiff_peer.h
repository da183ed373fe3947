// An independent TIFF implementation beside ours.
#pragma once

#include <tiffio.h>

#include <memory>
#include <utility>

#include "files.h"

namespace peer {

// A page as TIFF sees it: samples from 0 to 2^bits - 1, those of a pixel together.
struct TiffPicture {
  uint32_t width = 0, height = 0, rowsPerStrip = 0;
  uint16_t bits = 8, samples = 1, photometric = 1, compression = 1, planar = 1, fillOrder = 1;
  std::vector<uint16_t> extra = {};       // of ExtraSamples
  std::vector<uint16_t> palette[3] = {};  // red, green, blue
  std::vector<uint16_t> data = {};
  uint32_t tile = 0;  // its width and height, 0 for strips
  uint16_t predictor = 1;
};

inline int tiffComplaints = 0;  // warnings and errors so far

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;
inline Tiff openTiff(const zeltest::TemporaryFile& file, const char* mode) {
  for (const auto set : {TIFFSetWarningHandler, TIFFSetErrorHandler})
    set([](const char*, const char*, va_list) { ++tiffComplaints; });
  return {TIFFOpen(file.path.c_str(), mode), TIFFClose};
}

inline void setFields(TIFF* t, const TiffPicture& p) {
  const std::pair<uint32_t, uint32_t> fields[] = {
      {TIFFTAG_IMAGEWIDTH, p.width},        {TIFFTAG_IMAGELENGTH, p.height},      {TIFFTAG_BITSPERSAMPLE, p.bits},
      {TIFFTAG_SAMPLESPERPIXEL, p.samples}, {TIFFTAG_PHOTOMETRIC, p.photometric}, {TIFFTAG_COMPRESSION, p.compression},
      {TIFFTAG_PLANARCONFIG, p.planar},     {TIFFTAG_FILLORDER, p.fillOrder}};
  for (const auto& [tag, value] : fields) TIFFSetField(t, tag, value);
  for (const uint32_t tag : {uint32_t{TIFFTAG_TILEWIDTH}, uint32_t{TIFFTAG_TILELENGTH}})
    if (p.tile) TIFFSetField(t, tag, p.tile);
  if (!p.tile) TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, p.rowsPerStrip);
  if (p.predictor != 1) TIFFSetField(t, TIFFTAG_PREDICTOR, p.predictor);
  if (p.compression == COMPRESSION_JPEG && p.photometric == PHOTOMETRIC_YCBCR)
    TIFFSetField(t, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  if (!p.extra.empty()) TIFFSetField(t, TIFFTAG_EXTRASAMPLES, int(p.extra.size()), p.extra.data());
  if (p.photometric == PHOTOMETRIC_PALETTE)
    TIFFSetField(t, TIFFTAG_COLORMAP, p.palette[0].data(), p.palette[1].data(), p.palette[2].data());
}

// Samples x to x + count of a row of a plane, packed; beyond the right edge zeros.
inline void packRow(const TiffPicture& p, uint32_t x, uint32_t y, uint32_t count, uint32_t plane, uint8_t* to) {
  const uint32_t perPixel = p.planar == 2 ? 1u : p.samples;
  uint32_t held = 0, bits = 0;
  for (uint32_t i = 0; i < count * perPixel; ++i) {
    const uint32_t column = x + i / perPixel;
    const uint32_t v =
        column < p.width && y < p.height ? p.data[(y * p.width + column) * p.samples + plane + i % perPixel] : 0;
    if (p.bits == 16) {
      *to++ = uint8_t(v);
      *to++ = uint8_t(v >> 8);
      continue;
    }
    held = held << p.bits | v;
    for (bits += p.bits; bits >= 8; bits -= 8) *to++ = uint8_t(held >> (bits - 8));
  }
  if (bits) *to = uint8_t(held << (8 - bits));
}

// mode: "w", with 'l' or 'b' for the byte order and '8' for 64-bit offsets.
inline std::vector<uint8_t> encodeTiff(const std::vector<TiffPicture>& pages, const char* mode) {
  const zeltest::TemporaryFile file;
  Tiff t = openTiff(file, mode);
  for (const TiffPicture& p : pages) {
    setFields(t.get(), p);
    const uint32_t planes = p.planar == 2 ? p.samples : 1u;
    std::vector<uint8_t> bytes(size_t(p.tile ? TIFFTileSize(t.get()) : TIFFScanlineSize(t.get())));
    for (uint32_t plane = 0; plane < planes; ++plane)
      if (!p.tile)
        for (uint32_t y = 0; y < p.height; ++y) {
          packRow(p, 0, y, p.width, plane, bytes.data());
          TIFFWriteScanline(t.get(), bytes.data(), y, uint16_t(plane));
        }
      else
        for (uint32_t y = 0; y < p.height; y += p.tile)
          for (uint32_t x = 0; x < p.width; x += p.tile) {
            for (uint32_t r = 0; r < p.tile; ++r)
              packRow(p, x, y + r, p.tile, plane, &bytes[r * bytes.size() / p.tile]);
            TIFFWriteTile(t.get(), bytes.data(), x, y, 0, uint16_t(plane));
          }
    TIFFWriteDirectory(t.get());
  }
  t.reset();
  return zeltest::fileBytes(file.path);
}

// A page of 8 or 16 bits whose samples stand together.
inline TiffPicture decodeTiff(const std::vector<uint8_t>& bytes, int page) {
  const zeltest::TemporaryFile file(bytes);
  const Tiff t = openTiff(file, "r");
  TiffPicture p;
  TIFFSetDirectory(t.get(), static_cast<tdir_t>(page));
  TIFFGetField(t.get(), TIFFTAG_IMAGEWIDTH, &p.width);
  TIFFGetField(t.get(), TIFFTAG_IMAGELENGTH, &p.height);
  TIFFGetField(t.get(), TIFFTAG_BITSPERSAMPLE, &p.bits);
  TIFFGetField(t.get(), TIFFTAG_SAMPLESPERPIXEL, &p.samples);
  TIFFGetField(t.get(), TIFFTAG_PHOTOMETRIC, &p.photometric);
  TIFFGetField(t.get(), TIFFTAG_COMPRESSION, &p.compression);
  if (p.compression == COMPRESSION_JPEG && p.photometric == PHOTOMETRIC_YCBCR)
    TIFFSetField(t.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  uint16_t extras = 0, *extra = nullptr;
  if (TIFFGetField(t.get(), TIFFTAG_EXTRASAMPLES, &extras, &extra)) p.extra.assign(extra, extra + extras);
  const size_t pixel = p.samples * p.bits / 8u;
  std::vector<uint8_t> all(p.width * p.height * pixel);
  uint32_t across = 0, down = 0;
  if (TIFFIsTiled(t.get())) {
    TIFFGetField(t.get(), TIFFTAG_TILEWIDTH, &across);
    TIFFGetField(t.get(), TIFFTAG_TILELENGTH, &down);
    std::vector<uint8_t> tile(size_t(TIFFTileSize(t.get())));
    for (uint32_t y = 0; y < p.height; y += down)
      for (uint32_t x = 0; x < p.width; x += across) {
        TIFFReadTile(t.get(), tile.data(), x, y, 0, 0);
        for (uint32_t r = 0; r < std::min(down, p.height - y); ++r)
          std::copy_n(&tile[r * across * pixel], std::min(across, p.width - x) * pixel,
                      &all[((y + r) * p.width + x) * pixel]);
      }
  } else {
    for (uint32_t y = 0; y < p.height; ++y) TIFFReadScanline(t.get(), &all[y * p.width * pixel], y);
  }
  for (size_t i = 0; i < all.size(); i += p.bits / 8u)
    p.data.push_back(uint16_t(p.bits == 16 ? all[i] | all[i + 1] << 8 : all[i]));
  return p;
}

}  // namespace peer
