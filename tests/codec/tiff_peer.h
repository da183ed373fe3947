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
};

inline int tiffComplaints = 0;  // warnings and errors so far

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;
inline Tiff openTiff(const zeltest::TemporaryFile& file, const char* mode) {
  for (const auto set : {TIFFSetWarningHandler, TIFFSetErrorHandler})
    set([](const char*, const char*, va_list) { ++tiffComplaints; });
  return {TIFFOpen(file.path.c_str(), mode), TIFFClose};
}

// mode: "w", with 'l' or 'b' for the byte order and '8' for 64-bit offsets.
inline std::vector<uint8_t> encodeTiff(const std::vector<TiffPicture>& pages, const char* mode) {
  const zeltest::TemporaryFile file;
  Tiff t = openTiff(file, mode);
  for (const TiffPicture& p : pages) {
    const std::pair<uint32_t, uint32_t> fields[] = {
        {TIFFTAG_IMAGEWIDTH, p.width},         {TIFFTAG_IMAGELENGTH, p.height},
        {TIFFTAG_BITSPERSAMPLE, p.bits},       {TIFFTAG_SAMPLESPERPIXEL, p.samples},
        {TIFFTAG_PHOTOMETRIC, p.photometric},  {TIFFTAG_COMPRESSION, p.compression},
        {TIFFTAG_PLANARCONFIG, p.planar},      {TIFFTAG_FILLORDER, p.fillOrder},
        {TIFFTAG_ROWSPERSTRIP, p.rowsPerStrip}};
    for (const auto& [tag, value] : fields) TIFFSetField(t.get(), tag, value);
    if (!p.extra.empty()) TIFFSetField(t.get(), TIFFTAG_EXTRASAMPLES, int(p.extra.size()), p.extra.data());
    if (p.photometric == PHOTOMETRIC_PALETTE)
      TIFFSetField(t.get(), TIFFTAG_COLORMAP, p.palette[0].data(), p.palette[1].data(), p.palette[2].data());
    const uint32_t planes = p.planar == 2 ? p.samples : 1u, perPlane = p.samples / planes;
    for (uint32_t row = 0; row < planes * p.height; ++row) {
      const uint32_t y = row % p.height, plane = row / p.height;
      std::vector<uint8_t> bytes(size_t(TIFFScanlineSize(t.get())));
      for (uint32_t i = 0; i < p.width * perPlane; ++i) {
        const uint16_t v = p.data[(y * p.width + i / perPlane) * p.samples + plane + i % perPlane];
        uint8_t* to = &bytes[i * p.bits / 8];
        *to = uint8_t(p.bits == 16 ? v : *to | v << (8 - p.bits - i * p.bits % 8));
        if (p.bits == 16) to[1] = uint8_t(v >> 8);
      }
      TIFFWriteScanline(t.get(), bytes.data(), y, uint16_t(plane));
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
  TIFFGetField(t.get(), TIFFTAG_IMAGELENGTH, &p.height);
  TIFFGetField(t.get(), TIFFTAG_BITSPERSAMPLE, &p.bits);
  TIFFGetField(t.get(), TIFFTAG_PHOTOMETRIC, &p.photometric);
  uint16_t extras = 0, *extra = nullptr;
  if (TIFFGetField(t.get(), TIFFTAG_EXTRASAMPLES, &extras, &extra)) p.extra.assign(extra, extra + extras);
  std::vector<uint8_t> row(size_t(TIFFScanlineSize(t.get())));
  for (uint32_t y = 0; y < p.height; ++y) {
    TIFFReadScanline(t.get(), row.data(), y);
    for (size_t i = 0; i < row.size(); i += p.bits / 8)
      p.data.push_back(uint16_t(p.bits == 16 ? row[i] | row[i + 1] << 8 : row[i]));
  }
  return p;
}

}  // namespace peer
