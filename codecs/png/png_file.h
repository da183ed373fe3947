// PNG by libpng: grey, RGB and RGBA, 8 and 16 bits a sample.
#pragma once

#include <vector>

#include "common/image.h"

namespace zelcodecs {

// Palettes become RGB and grey of fewer than 8 bits becomes 8. Pictures with transparency are RGBA, unless every
// pixel is opaque.
Image readPng(const uint8_t* data, size_t size, const Limits& limits = {});

// Grey, RGB and RGBA pictures; 9 to 15 bits are scaled to 16. level is zlib's, 0 to 9.
std::vector<uint8_t> writePng(const Image& image, int level = 6);

}  // namespace zelcodecs
