// PNG by libpng: grey and RGB, with and without opacity, 8 and 16 bits a sample.
#pragma once

#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

// Palettes become RGB, and grey of fewer than 8 bits becomes 8. An interlaced picture is held as a whole, any other row
// by row. With keepGoing, what a damaged file lacks is black.
std::unique_ptr<Decoder> openPng(Source& source, const DecodeOptions& options = {});
Image decodePng(const uint8_t* data, size_t size, const DecodeOptions& options = {});

struct PngEncodeOptions : EncodeOptions {
  int level = 6;  // zlib's, 0 to 9
};

// Fewer than 8 bits are scaled to 8, and 9 to 15 to 16. CMYK is refused.
std::unique_ptr<Encoder> createPng(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                   const PngEncodeOptions& options = {});
std::vector<uint8_t> encodePng(const Image& image, const PngEncodeOptions& options = {});

// Whether the bytes begin as a PNG file does.
bool isPng(const uint8_t* data, size_t size);

}  // namespace zelcodecs
