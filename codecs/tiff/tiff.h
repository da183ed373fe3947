// TIFF 6.0 files, and BigTIFF files.
//
// Written: grey, RGB (each also with opacity) and CMYK pictures of 8 or 16 bits a sample in strips or tiles, as they
// are or packed with PackBits, LZW or Deflate, in either byte order, one or several in a file. Read: strips and tiles
// of 1 to 16 bits a sample in these compressions and in JPEG, white as zero, palettes, samples in planes, opacity that
// colours are multiplied with, bits in reversed order, YCbCr; any page. ICC profiles, EXIF, XMP, resolution,
// orientation and the description are read and written. Refused by name: floating-point and signed samples, 32 bits,
// CCITT, old-style JPEG and other compressions, L*a*b*.
//
// Strips and tiles are divided among threads; files and pictures do not depend on it.
#pragma once

#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

enum class TiffCompression { none = 1, lzw = 5, deflate = 8, packBits = 32773 };

struct TiffEncodeOptions : EncodeOptions {
  TiffCompression compression = TiffCompression::packBits;
  int level = 6;  // of Deflate, 1 to 12
  // LZW and Deflate code differences of neighbours (TIFF 6.0, section 14), which photographs gain from.
  bool predictor = true;
  bool bigEndian = false;
  bool big = false;                   // 64-bit offsets; always used where 32 bits may not be enough
  int rowsPerStrip = 0;               // 0 for as many as fill about 64 KiB
  int tileWidth = 0, tileHeight = 0;  // multiples of 16 for tiles in place of strips
  int dotsPerInch = 72;               // where the metadata have no resolution
};

// Writes a file of one page band by band. Source and sink stay the caller's, and must outlive what reads or writes
// them. On a sink that cannot be changed, as a pipe, the file goes out at the end and is held until then.
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
// Samples of up to 8 bits become 8 bits, scaled; those of 9 to 16 bits keep their depth. A palette becomes RGB of 8
// bits, and colours that are multiplied with the opacity are divided again. Samples beyond colours and opacity are left
// out with a warning.
Image decodeTiff(const uint8_t* data, size_t size, const TiffDecodeOptions& options = {});

// The fields as they are in the file or by default, also of pages that are not read.
struct TiffPage {
  uint32_t width = 0, height = 0;
  int bitsPerSample = 1, samplesPerPixel = 1;
  int compression = 1, predictor = 1, photometric = 0, planarConfiguration = 1, fillOrder = 1, orientation = 1;
  std::string compressionName;
  bool tiled = false;
  uint32_t rowsPerStrip = 0, strips = 0;              // 0 in tiled pages
  uint32_t tileWidth = 0, tileHeight = 0, tiles = 0;  // 0 in pages of strips
  double pixelsPerMetreX = 0, pixelsPerMetreY = 0;    // 0 where nothing is said
  uint64_t iccBytes = 0, xmpBytes = 0;
  bool exif = false;
};
struct TiffInfo {
  bool bigEndian = false;
  bool big = false;  // a BigTIFF file
  std::vector<TiffPage> pages;
};
TiffInfo readTiffInfo(const uint8_t* data, size_t size);

// Whether the bytes begin as a TIFF or BigTIFF file does.
bool isTiff(const uint8_t* data, size_t size);

}  // namespace zelcodecs
