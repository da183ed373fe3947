// The Netpbm formats: PBM, PGM, PPM (P1 to P6) and PAM (P7), of 1 to 16 bits a sample.
#pragma once

#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

// Values are kept where the largest is 2^n - 1, and scaled to the next such n otherwise. The tuple type of a PAM file
// tells grey, RGB and CMYK with and without opacity; without one the number of channels does, of which four are CMYK.
// With keepGoing, what a file that is cut short lacks is black.
std::unique_ptr<Decoder> openNetpbm(Source& source, const DecodeOptions& options = {});
Image decodeNetpbm(const uint8_t* data, size_t size, const DecodeOptions& options = {});

// P5 for grey, P6 for RGB and P7 for every other picture. None holds any metadata.
std::unique_ptr<Encoder> createNetpbm(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                      const EncodeOptions& options = {});
std::vector<uint8_t> encodeNetpbm(const Image& image, const EncodeOptions& options = {});

// Whether the bytes begin as a Netpbm file does.
bool isNetpbm(const uint8_t* data, size_t size);

}  // namespace zelcodecs
