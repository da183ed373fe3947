// The picture that every format is tested with.
#pragma once

#include <random>

#include "common/image.h"

namespace zeltest {

// Slopes, edges, a little noise and, in large pictures, a flat part: coefficients and blocks of every kind.
inline zelcodecs::Image picture(int width, int height, zelcodecs::ColourModel model, int bits = 8) {
  zelcodecs::Image image(width, height, model, bits);
  std::mt19937 r(unsigned(width * 3 + height));
  const int channels = image.channels(), top = image.maxValue();
  for (int y = 0; y < height; ++y)
    for (int i = 0; i < width * channels; ++i) {
      const int x = i / channels, c = i % channels;
      const int v = 60 + 5 * c * x % 90 + 3 * y % 70 + ((x / 5 + y / 7) % 3 == c % 3 ? 40 : 0);
      const int noisy = v * top / 255 + int(r() % 12u) * (top + 1) / 256;
      image.setSample(y, i, x > 90 && y > 70 ? top / 3 : noisy & top);
    }
  return image;
}

}  // namespace zeltest
