// Cosines and tangents of multiples of pi/16 at compile time, from which the constants of the DCT follow.
#pragma once

#include <stdint.h>

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr double kSqrt2 = 1.41421356237309504880;

// cos(n pi/16)
constexpr double cosSixteenth(int n) {
  constexpr double quarter[9] = {1.0,
                                 0.98078528040323044913,
                                 0.92387953251128675613,
                                 0.83146961230254523708,
                                 0.70710678118654752440,
                                 0.55557023301960222474,
                                 0.38268343236508977173,
                                 0.19509032201612826785,
                                 0.0};
  n %= 32;
  if (n > 16) n = 32 - n;
  return n <= 8 ? quarter[n] : -quarter[16 - n];
}

// tan(n pi/16), n from 0 to 7
constexpr double tanSixteenth(int n) { return cosSixteenth(8 - n) / cosSixteenth(n); }

constexpr int16_t toInt16(double x) { return int16_t(x < 0 ? x - 0.5 : x + 0.5); }  // rounded to nearest

}  // namespace
}  // namespace ZEL_VARIANT
