// Plane functions and codecs from one thread to all processors: the shortest of several runs in wall-clock time, and
// the gain over one thread.
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

#include "jpeg/jpeg.h"
#include "zelj.h"

namespace {

double shortest(const std::function<void()>& work) {
  double best = 1e9;
  for (int i = 0; i < 15; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

}  // namespace

int main() {
  const int width = 4096, height = 3072, pitch = 3 * width;
  const ZeliSize size = {width, height};
  zelcodecs::Image image(width, height, zelcodecs::ColourModel::rgb);
  for (size_t i = 0; i < image.sizeBytes(); ++i)
    image.data()[i] = uint8_t((i / 3 % width + i / size_t(pitch)) / 16 + i * i % 13);
  std::vector<uint8_t> memory(image.sizeBytes());
  uint8_t* const planes[3] = {memory.data(), memory.data() + width * height, memory.data() + 2 * width * height};
  zelcodecs::JpegEncodeOptions progressive, intervals;
  progressive.process = zelcodecs::JpegProcess::progressive;
  intervals.restartRows = 1;
  const std::vector<uint8_t> scans = encodeJpeg(image, progressive), rows = encodeJpeg(image, intervals);
  const struct {
    const char* name;
    std::function<void()> work;
  } works[] = {
      {"RGB to YCbCr planes", [&] { zeliRGBToYCbCr_JPEG_8u_C3P3R(image.data(), pitch, planes, width, size); }},
      {"YCbCr planes to RGB", [&] { zeliYCbCrToRGB_JPEG_8u_P3C3R(planes, width, image.data(), pitch, size); }},
      {"JPEG encode", [&] { encodeJpeg(image, {}); }},
      {"JPEG encode, restart markers", [&] { encodeJpeg(image, intervals); }},
      {"JPEG decode, restart markers", [&] { zelcodecs::decodeJpeg(rows.data(), rows.size()); }},
      {"progressive JPEG encode", [&] { encodeJpeg(image, progressive); }},
      {"progressive JPEG decode", [&] { zelcodecs::decodeJpeg(scans.data(), scans.size()); }},
  };
  std::printf("| work, 4096 x 3072 pixels | threads | ms | gain |\n|---|---|---|---|\n");
  for (const auto& w : works) {
    double one = 0;
    for (int threads = 1; threads <= omp_get_num_procs(); ++threads) {
      omp_set_num_threads(threads);
      const double took = shortest(w.work);
      if (threads == 1) one = took;
      std::printf("| %s | %d | %.2f | %.2f |\n", w.name, threads, took, one / took);
    }
  }
}
