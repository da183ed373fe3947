// How alike two pictures are.
#pragma once

#include <vector>

#include "common/image.h"

namespace zelcodecs {

struct Difference {
  int largest = 0;                  // absolute difference of two samples
  uint64_t differing = 0;           // samples that are not equal
  double psnr = 0;                  // over all channels, in dB; infinite for equal pictures
  std::vector<double> channelPsnr;  // of each
};

// Both throw an argument error for pictures of different size, colour model or bit depth.
Difference difference(const Image& a, const Image& b);

// The structural similarity index (Wang, Bovik, Sheikh, Simoncelli, 2004) of the luminance: mean over all positions of
// an 11 x 11 Gaussian window of sigma 1.5 that lie inside the picture, K1 = 0.01, K2 = 0.03. Pictures with fewer than
// 11 columns or rows are seen through one window over them all.
double ssim(const Image& a, const Image& b);

// A picture of the differences times gain around mid-grey, 8 bits.
Image differencePicture(const Image& a, const Image& b, double gain);

}  // namespace zelcodecs
