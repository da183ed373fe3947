// TIFF 6.0 files in memory.
//
// Written: grey, RGB, RGBA and CMYK pictures of 8 or 16 bits a sample in strips, packed with PackBits or as they are,
// in either byte order, one or several in a file. Read: also pages of 1, 2 and 4 bits, with white as zero, a palette,
// samples in planes, opacity that colours are multiplied with, and bits in reversed order. Tiles and other compressions
// are refused.
//
// Strips are divided among threads; files and pictures do not depend on it.
#pragma once

#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

enum class TiffCompression { none = 1, packBits = 32773 };

struct TiffEncodeOptions : EncodeOptions {
  TiffCompression compression = TiffCompression::packBits;
  bool bigEndian = false;
  int rowsPerStrip = 0;  // 0 for as many as fill about 64 KiB
  int dotsPerInch = 72;
};

// Writes a page band by band. Source and sink stay the caller's, and must outlive what reads or writes them.
std::unique_ptr<Encoder> createTiff(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                    const TiffEncodeOptions& options = {});
// Samples of other than 8 and 16 bits are scaled up to these.
std::vector<uint8_t> encodeTiff(const Image& image, const TiffEncodeOptions& options = {});
std::vector<uint8_t> encodeTiffPages(const std::vector<const Image*>& pages, const TiffEncodeOptions& options = {});

struct TiffDecodeOptions : DecodeOptions {
  int page = 0;
};

// Reads a page band by band.
std::unique_ptr<Decoder> openTiff(Source& source, const TiffDecodeOptions& options = {});
// 8 or 16 bits a sample. A palette becomes RGB of 8 bits; grey and colours with opacity become RGBA, and colours that
// are multiplied with it are divided again. Samples beyond these are left out with a warning.
Image decodeTiff(const uint8_t* data, size_t size, const TiffDecodeOptions& options = {});

// The fields as they are in the file or by default, also of pages that are not read.
struct TiffPage {
  uint32_t width = 0, height = 0;
  int bitsPerSample = 1, samplesPerPixel = 1;
  int compression = 1, photometric = 0, planarConfiguration = 1, fillOrder = 1, orientation = 1;
  bool tiled = false;
  uint32_t rowsPerStrip = 0, strips = 0;  // 0 in tiled pages
};
struct TiffInfo {
  bool bigEndian = false;
  std::vector<TiffPage> pages;
};
TiffInfo readTiffInfo(const uint8_t* data, size_t size);

// Whether the bytes begin as a TIFF file does, one with 64-bit offsets included (which is refused when it is read).
bool isTiff(const uint8_t* data, size_t size);

}  // namespace zelcodecs
