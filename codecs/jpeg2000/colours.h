// Colours as JP2 files store them, brought to sRGB: rows of samples from 0 to `top`, changed in place.
#pragma once

#include <array>
#include <cstdint>

namespace zelcodecs::jpeg2000 {

// Luma and two chroma by ITU-R BT.601, as sYCC has them (IEC 61966-2-1 Annex G).
void yccToRgb(int count, int top, int32_t* luma, int32_t* cb, int32_t* cr);

// How samples stand for L*, a* and b* (T.801 M.11.7.4.1): the value is (sample / top - offset) * range, with both of
// them in the order of the channels.
struct LabRanges {
  std::array<float, 3> range, offset;
};

// CIELab with the white of D50.
void labToRgb(int count, int top, const LabRanges& ranges, int32_t* lightness, int32_t* a, int32_t* b);

// Colours that were multiplied with their opacity, as they were before. What is wholly clear becomes 0.
void divideByOpacity(int count, int top, const int32_t* opacity, int32_t* colour);

}  // namespace zelcodecs::jpeg2000
