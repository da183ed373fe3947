#include "jpeg2000/colours.h"

#include <algorithm>
#include <cmath>

namespace zelcodecs::jpeg2000 {
namespace {

int32_t rounded(float v, int top) { return int32_t(std::min(std::max(v, 0.0f), float(top)) + 0.5f); }

// The inverse of the cube root that CIE 15 replaces by a line near black.
float labCube(float t) { return t > 6.0f / 29 ? t * t * t : (t - 4.0f / 29) * 3 * (6.0f / 29) * (6.0f / 29); }

// The transfer function of sRGB (IEC 61966-2-1).
float srgbOf(float linear) {
  return linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
}

}  // namespace

void yccToRgb(int count, int top, int32_t* luma, int32_t* cb, int32_t* cr) {
  const int middle = (top + 1) / 2;
  for (int x = 0; x < count; ++x) {
    const float y = float(luma[x]), blue = float(cb[x] - middle), red = float(cr[x] - middle);
    luma[x] = rounded(y + 1.402f * red, top);
    cb[x] = rounded(y - 0.344136f * blue - 0.714136f * red, top);
    cr[x] = rounded(y + 1.772f * blue, top);
  }
}

void labToRgb(int count, int top, const LabRanges& ranges, int32_t* lightness, int32_t* a, int32_t* b) {
  // XYZ of the white D50, and linear sRGB from XYZ that are adapted to it (Bradford).
  constexpr float kWhite[3] = {0.96422f, 1.0f, 0.82521f};
  constexpr float kRgb[3][3] = {{3.1338561f, -1.6168667f, -0.4906146f},
                                {-0.9787684f, 1.9161415f, 0.0334540f},
                                {0.0719453f, -0.2289914f, 1.4052427f}};
  int32_t* const channels[3] = {lightness, a, b};
  for (int x = 0; x < count; ++x) {
    float lab[3];
    for (size_t i = 0; i < 3; ++i) lab[i] = (float(channels[i][x]) / float(top) - ranges.offset[i]) * ranges.range[i];
    const float fy = (lab[0] + 16) / 116;
    const float xyz[3] = {kWhite[0] * labCube(fy + lab[1] / 500), kWhite[1] * labCube(fy),
                          kWhite[2] * labCube(fy - lab[2] / 200)};
    for (size_t i = 0; i < 3; ++i) {
      const float linear = kRgb[i][0] * xyz[0] + kRgb[i][1] * xyz[1] + kRgb[i][2] * xyz[2];
      channels[i][x] = rounded(srgbOf(linear) * float(top), top);
    }
  }
}

void divideByOpacity(int count, int top, const int32_t* opacity, int32_t* colour) {
  for (int x = 0; x < count; ++x) {
    const int64_t o = opacity[x];
    colour[x] = o == 0 ? 0 : int32_t(std::min<int64_t>((int64_t{colour[x]} * top + o / 2) / o, top));
  }
}

}  // namespace zelcodecs::jpeg2000
