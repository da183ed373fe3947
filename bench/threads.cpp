// Plane functions and codecs on one thread and on all processors: the shortest of several runs in turn, in wall-clock
// time. The gain tells which share of the work is done by one thread only, where nothing else keeps it down: that gives
// what more processors would make of it (Amdahl).
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "dds/dds.h"
#include "jpeg/jpeg.h"
#include "jpeg2000/jpeg2000.h"
#include "png/png_file.h"
#include "zelj.h"

namespace {

using namespace zelcodecs;
using Bytes = std::vector<uint8_t>;
using Work = std::function<void(int threads)>;

double milliseconds(const Work& work, int threads) {
  const auto start = std::chrono::steady_clock::now();
  work(threads);
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void measure(const std::string& name, const Work& work) {
  constexpr int kRuns = 25;
  const int all = omp_get_num_procs();
  double one = 1e9, many = 1e9;
  for (int i = 0; i < kRuns; ++i) {
    one = std::min(one, milliseconds(work, 1));
    many = std::min(many, milliseconds(work, all));
  }
  const double gain = one / many;
  const double serial = std::clamp((all / gain - 1) / (all - 1), 0.0, 1.0);
  const auto with = [&](int n) { return 1 / (serial + (1 - serial) / n); };
  std::printf("| %s | %.2f | %.2f | %.2f | %.0f %% | %.1f | %.1f |\n", name.c_str(), one, many, gain, 100 * serial,
              with(8), with(64));
  std::fflush(stdout);
}

template <class Options>
Options withThreads(Options options, int threads) {
  options.threads = threads;
  return options;
}

template <class Options>
Work encoding(Bytes encode(const Image&, const Options&), const Image& image, const Options& options) {
  return [=, &image](int threads) { encode(image, withThreads(options, threads)); };
}

template <class Options>
Work decoding(Image decode(const uint8_t*, size_t, const Options&), const Bytes& file) {
  return [=](int threads) { decode(file.data(), file.size(), withThreads(Options{}, threads)); };
}

Image photo(const std::string& name) {
  std::ifstream in(std::string(ZELJ_IMAGES) + "/" + name + ".png", std::ios::binary);
  const Bytes file{std::istreambuf_iterator<char>(in), {}};
  return decodePng(file.data(), file.size());
}

// Blocks of mode 6, which take any bits, behind the headers of a file of another format.
Bytes bc7(const Image& image) {
  DdsEncodeOptions options;
  options.format = TextureFormat::dxt5;
  Bytes file = encodeDds(image, options);
  constexpr size_t kFourCC = 84, kHeader = 128;
  constexpr uint8_t kBc7 = 98, kTwoDimensions = 3;
  std::copy_n("DX10", 4, file.begin() + kFourCC);
  Bytes second(20);
  second[0] = kBc7;
  second[4] = kTwoDimensions;
  second[12] = 1;
  for (size_t i = kHeader; i < file.size(); i += 16) file[i] = uint8_t((file[i] & 0x80) | 0x40);
  file.insert(file.begin() + kHeader, second.begin(), second.end());
  return file;
}

void measurePlanes() {
  constexpr int kWidth = 4096, kHeight = 3072, kPixels = kWidth * kHeight;
  const ZeliSize size = {kWidth, kHeight};
  Bytes pixels(3 * size_t{kPixels}), memory(pixels.size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t(i * i % 251);
  uint8_t* const planes[3] = {memory.data(), memory.data() + kPixels, memory.data() + 2 * kPixels};
  const std::string picture = ", " + std::to_string(kWidth) + " x " + std::to_string(kHeight);
  measure("RGB to YCbCr planes" + picture, [&](int threads) {
    omp_set_num_threads(threads);
    zeliRGBToYCbCr_JPEG_8u_C3P3R(pixels.data(), 3 * kWidth, planes, kWidth, size);
  });
  measure("YCbCr planes to RGB" + picture, [&](int threads) {
    omp_set_num_threads(threads);
    zeliYCbCrToRGB_JPEG_8u_P3C3R(planes, kWidth, pixels.data(), 3 * kWidth, size);
  });
}

void measureJpeg(const std::string& name, const Image& image, int quality) {
  JpegEncodeOptions plain, intervals, progressive;
  plain.quality = intervals.quality = progressive.quality = quality;
  intervals.restartRows = 1;
  progressive.process = JpegProcess::progressive;
  const std::string photo = ", " + name + " q" + std::to_string(quality);
  measure("JPEG encode" + photo, encoding(encodeJpeg, image, plain));
  measure("JPEG decode" + photo, decoding(decodeJpeg, encodeJpeg(image, plain)));
  measure("JPEG encode, restart markers" + photo, encoding(encodeJpeg, image, intervals));
  measure("JPEG decode, restart markers" + photo, decoding(decodeJpeg, encodeJpeg(image, intervals)));
  measure("progressive JPEG encode" + photo, encoding(encodeJpeg, image, progressive));
  measure("progressive JPEG decode" + photo, decoding(decodeJpeg, encodeJpeg(image, progressive)));
}

// Coded data that do not fall into step from a guessed place: of noise, where hardly two blocks are alike, and of one
// colour, where all are. Two threads should not be slower here, either.
void measureHard() {
  Image image(2048, 2048, ColourModel::rgb);
  const size_t bytes = size_t{3} * 2048 * 2048;
  JpegEncodeOptions options;
  options.quality = 90;
  std::fill_n(image.data(), bytes, uint8_t(90));
  measure("JPEG decode, one colour, q90", decoding(decodeJpeg, encodeJpeg(image, options)));
  uint32_t random = 1;
  for (size_t i = 0; i < bytes; ++i) {
    random = random * 1664525u + 1013904223u;
    image.data()[i] = uint8_t(random >> 24);
  }
  measure("JPEG decode, noise, q90", decoding(decodeJpeg, encodeJpeg(image, options)));
}

}  // namespace

int main() {
  const int all = omp_get_num_procs();
  if (all < 2) {
    std::fprintf(stderr, "one processor gains nothing from threads\n");
    return 1;
  }
  std::printf("| work | 1 thread, ms | %d threads, ms | gain | serial share | 8 cores, model | 64 cores, model |\n",
              all);
  std::printf("|---|---|---|---|---|---|---|\n");
  const Image canyon = photo("canyon"), dandelion = photo("dandelion");
  measurePlanes();
  for (const int quality : {75, 90}) {
    measureJpeg("canyon", canyon, quality);
    measureJpeg("dandelion", dandelion, quality);
  }
  measureHard();
  measure("JPEG 2000 encode, lossless, canyon", encoding(encodeJpeg2000, canyon, {}));
  measure("JPEG 2000 decode, lossless, canyon", decoding(decodeJpeg2000, encodeJpeg2000(canyon)));
  measure("DXT1 encode, canyon", encoding(encodeDds, canyon, {}));
  measure("DXT1 decode, canyon", decoding(decodeDds, encodeDds(canyon)));
  measure("BC7 decode", decoding(decodeDds, bc7(canyon)));
}
