// What all decoders, and all encoders, can be asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/picture.h"

namespace zelcodecs {

// Bounds on what a decoder accepts, against files made to exhaust the machine.
struct Limits {
  uint64_t maxPixels = uint64_t{1} << 28;
  uint64_t maxMemory = uint64_t{1} << 30;  // bytes that a decoder holds at once, the caller's rows not counted
  int maxScans = 100;
};

// Called now and then during long work with the part done, 0 to 1, by the thread that reads or writes. An exception
// cancels the work, whatever the number of threads, and comes out of the call; so does one of a source or sink. Nothing
// but their destruction is defined of decoder and encoder then.
using Progress = std::function<void(double)>;

struct DecodeOptions {
  // Decode damaged files as far as they go.
  bool keepGoing = false;
  // What of the picture is wanted. Where the format allows, the rest is not decoded.
  Region region;
  int threads = 0;  // 0 for as many as OpenMP would use, where they pay
  Limits limits;
  Progress progress;
  // Where not null: receives what is odd about the file, and with keepGoing each damage.
  std::vector<std::string>* warnings = nullptr;
};

struct EncodeOptions {
  int threads = 0;  // 0 for as many as OpenMP would use, where they pay
  Progress progress;
  // Where not null: receives what of the metadata cannot be written.
  std::vector<std::string>* warnings = nullptr;
};

}  // namespace zelcodecs
