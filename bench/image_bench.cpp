// Whole photographs through the JPEG codec beside TurboJPEG on one handle: the same pixels, quality and sampling,
// accurate DCT on both sides, chroma replicated by the decoders. Our coded files are decoded by both.
#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "jpeg.h"
#include "ratios.h"

namespace {

using zelcodecs::Image;

struct Work {
  Image image;
  zelcodecs::JpegEncodeOptions options;
  int peerSampling;
  std::vector<uint8_t> file;
  tjhandle compressor = tjInitCompress(), decompressor = tjInitDecompress();
  std::vector<uint8_t> peerFile, peerPixels;
};

void must(int status, tjhandle handle) {
  if (status == 0) return;
  std::fprintf(stderr, "TurboJPEG: %s\n", tjGetErrorStr2(handle));
  std::exit(1);
}

std::shared_ptr<Work> workOn(const std::string& name, int quality, bool halved) {
  const bench::Photo& photo = bench::photo(name);
  auto w = std::make_shared<Work>();
  w->image = Image(photo.width, photo.height, zelcodecs::ColourModel::rgb);
  std::memcpy(w->image.data(), photo.rgb.data(), photo.rgb.size());
  w->options.quality = quality;
  w->options.sampling = halved ? zelcodecs::Sampling::s420 : zelcodecs::Sampling::s444;
  w->peerSampling = halved ? TJSAMP_420 : TJSAMP_444;
  w->file = zelcodecs::encodeJpeg(w->image, w->options);
  w->peerFile.resize(tjBufSize(photo.width, photo.height, w->peerSampling));
  w->peerPixels.resize(photo.rgb.size());
  return w;
}

// Both sides must have done the work: about the same file size, nearly the same pixels. Our files are some percent
// smaller: coefficients are rounded to integers before they are quantised, and halves then go to even, so that those
// close to half a step more often become zero.
void verify(Work& w) {
  unsigned char* out = w.peerFile.data();
  unsigned long size = w.peerFile.size();
  must(tjCompress2(w.compressor, w.image.data(), w.image.width(), 0, w.image.height(), TJPF_RGB, &out, &size,
                   w.peerSampling, w.options.quality, TJFLAG_NOREALLOC | TJFLAG_ACCURATEDCT),
       w.compressor);
  must(tjDecompress2(w.decompressor, w.file.data(), w.file.size(), w.peerPixels.data(), w.image.width(), 0,
                     w.image.height(), TJPF_RGB, TJFLAG_FASTUPSAMPLE | TJFLAG_ACCURATEDCT),
       w.decompressor);
  const Image ours = zelcodecs::decodeJpeg(w.file.data(), w.file.size());
  int64_t difference = 0;
  for (size_t i = 0; i < w.peerPixels.size(); ++i) difference += std::abs(ours.data()[i] - w.peerPixels[i]);
  const double mean = double(difference) / double(w.peerPixels.size()), ratio = double(w.file.size()) / double(size);
  if (mean > 0.2 || ratio < 0.95 || ratio > 1.02)
    std::printf("whole-image check FAILED: mean difference %.3f, size ratio %.3f\n", mean, ratio);
}

bench::Suite suite([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const bool halved : {true, false})
      for (const int quality : {75, 90}) {
        const auto w = workOn(name, quality, halved);
        verify(*w);
        const double pixels = double(w->image.width()) * w->image.height();
        const std::string where =
            std::string(" ") + name + (halved ? " 4:2:0 q" : " 4:4:4 q") + std::to_string(quality);
        // The codec calls the library as a program does: the variant is the processor's.
        bench::compare(
            "whole encode" + where, pixels, "pixel", {1.0, 1.2},
            {{"avx2", [w] { zelcodecs::encodeJpeg(w->image, w->options); }},
             {"libjpeg-turbo", [w] {
                unsigned char* out = w->peerFile.data();
                unsigned long size = w->peerFile.size();
                must(tjCompress2(w->compressor, w->image.data(), w->image.width(), 0, w->image.height(), TJPF_RGB, &out,
                                 &size, w->peerSampling, w->options.quality, TJFLAG_NOREALLOC | TJFLAG_ACCURATEDCT),
                     w->compressor);
              }}});
        bench::compare("whole decode" + where, pixels, "pixel", {1.0, 1.2},
                       {{"avx2", [w] { zelcodecs::decodeJpeg(w->file.data(), w->file.size()); }},
                        {"libjpeg-turbo", [w] {
                           must(tjDecompress2(w->decompressor, w->file.data(), w->file.size(), w->peerPixels.data(),
                                              w->image.width(), 0, w->image.height(), TJPF_RGB,
                                              TJFLAG_FASTUPSAMPLE | TJFLAG_ACCURATEDCT),
                                w->decompressor);
                         }}});
      }
});

}  // namespace
