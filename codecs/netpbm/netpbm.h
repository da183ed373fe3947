// The Netpbm formats: PGM and PPM (P2, P3, P5, P6) and PAM (P7) for grey, RGB, RGBA and CMYK, 8 and 16 bits a sample.
#pragma once

#include <vector>

#include "common/image.h"

namespace zelcodecs {

// Reads P2, P3, P5, P6 and P7 (four channels are CMYK unless TUPLTYPE is RGB_ALPHA). Values are kept where the largest
// is 2^n - 1, and scaled to the next such n otherwise.
Image readPnm(const uint8_t* data, size_t size, const Limits& limits = {});

// Writes P5 for grey, P6 for RGB and P7 (TUPLTYPE RGB_ALPHA or CMYK) for pictures of four channels.
std::vector<uint8_t> writePnm(const Image& image);

}  // namespace zelcodecs
