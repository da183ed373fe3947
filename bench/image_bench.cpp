// Whole photographs through the JPEG codec beside TurboJPEG on one handle: the same pixels, quality and sampling,
// accurate DCT on both sides, one thread. Our coded files are decoded by both. Progressive files also as coefficients,
// beside libjpeg's coefficient interface; lossless files beside libavcodec's coder, with equal samples and predictor.
#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <jpeglib.h>  // after <cstdio>, which it does not include

#include "codec/lossless_peer.h"
#include "jpeg/jpeg.h"
#include "ratios.h"

namespace {

using zelcodecs::Image;

struct Work {
  Image image;
  zelcodecs::JpegEncodeOptions options;
  zelcodecs::JpegDecodeOptions decoding;
  int peerSampling, peerFlags = TJFLAG_NOREALLOC | TJFLAG_ACCURATEDCT;
  std::vector<uint8_t> file;
  tjhandle compressor = tjInitCompress(), decompressor = tjInitDecompress();
  std::vector<uint8_t> peerFile, peerPixels;

  void encode() { zelcodecs::encodeJpeg(image, options); }
  void decode() { zelcodecs::decodeJpeg(file.data(), file.size(), decoding); }
  unsigned long peerEncode() {
    unsigned char* out = peerFile.data();
    unsigned long size = peerFile.size();
    must(tjCompress2(compressor, image.data(), image.width(), 0, image.height(), TJPF_RGB, &out, &size, peerSampling,
                     options.quality, peerFlags),
         compressor);
    return size;
  }
  void peerDecode() {
    must(tjDecompress2(decompressor, file.data(), file.size(), peerPixels.data(), image.width(), 0, image.height(),
                       TJPF_RGB, peerFlags | (decoding.smooth ? 0 : TJFLAG_FASTUPSAMPLE)),
         decompressor);
  }

 private:
  static void must(int status, tjhandle handle) {
    if (status == 0) return;
    std::fprintf(stderr, "TurboJPEG: %s\n", tjGetErrorStr2(handle));
    std::exit(1);
  }
};

Image pixelsOf(const std::string& name) {
  const bench::Photo& photo = bench::photo(name);
  Image image(photo.width, photo.height, zelcodecs::ColourModel::rgb);
  std::memcpy(image.data(), photo.rgb.data(), photo.rgb.size());
  return image;
}

// Both sides must have done the work: about the same file size, nearly the same pixels. Our files are some percent
// smaller: coefficients are rounded to integers before they are quantised, and halves then go to even, so that those
// close to half a step more often become zero.
void verify(Work& w) {
  const double ratio = double(w.file.size()) / double(w.peerEncode());
  w.peerDecode();
  const Image ours = zelcodecs::decodeJpeg(w.file.data(), w.file.size(), w.decoding);
  int64_t difference = 0;
  for (size_t i = 0; i < w.peerPixels.size(); ++i) difference += std::abs(ours.data()[i] - w.peerPixels[i]);
  const double mean = double(difference) / double(w.peerPixels.size());
  if (mean > 0.2 || ratio < 0.95 || ratio > 1.02)
    std::printf("whole-image check FAILED: mean difference %.3f, size ratio %.3f\n", mean, ratio);
}

std::shared_ptr<Work> workOn(const std::string& name, int quality, bool halved, bool progressive) {
  auto w = std::make_shared<Work>();
  w->image = pixelsOf(name);
  w->options.quality = quality;
  w->options.sampling = halved ? zelcodecs::Sampling::s420 : zelcodecs::Sampling::s444;
  w->options.threads = w->decoding.threads = 1;
  w->peerSampling = halved ? TJSAMP_420 : TJSAMP_444;
  if (progressive) {
    w->options.process = zelcodecs::JpegProcess::progressive;
    w->peerFlags |= TJFLAG_PROGRESSIVE;
  }
  w->file = zelcodecs::encodeJpeg(w->image, w->options);
  w->peerFile.resize(tjBufSize(w->image.width(), w->image.height(), w->peerSampling));
  w->peerPixels.resize(w->image.sizeBytes());
  verify(*w);
  return w;
}

std::string label(const char* name, bool halved, int quality) {
  return std::string(" ") + name + (halved ? " 4:2:0 q" : " 4:4:4 q") + std::to_string(quality);
}

// The codec calls the library as a program does: the variant is the processor's.
void compareWith(const std::string& row, double units, const std::string& unit, bench::Target target, bench::Work ours,
                 const std::string& peerName, bench::Work peer) {
  bench::compare(row, units, unit, target, {{"avx2", std::move(ours)}, {peerName, std::move(peer)}});
}

bench::Suite whole([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const bool halved : {true, false})
      for (const int quality : {75, 90})
        for (const bool progressive : {false, true}) {
          const auto w = workOn(name, quality, halved, progressive);
          const double pixels = double(w->image.width()) * w->image.height();
          const std::string where = label(name, halved, quality), kind = progressive ? "progressive " : "";
          const bench::Target encoding = progressive ? bench::Target{1.4, 1.6} : bench::Target{halved ? 1.5 : 1.4, 1.8};
          const bench::Target decoding = progressive ? bench::Target{1.4, 1.6} : bench::Target{halved ? 1.3 : 1.4, 1.6};
          compareWith(
              "whole " + kind + "encode" + where, pixels, "pixel", encoding, [w] { w->encode(); }, "libjpeg-turbo",
              [w] { w->peerEncode(); });
          compareWith(
              "whole " + kind + "decode" + where, pixels, "pixel", decoding, [w] { w->decode(); }, "libjpeg-turbo",
              [w] { w->peerDecode(); });
          if (progressive || !halved) continue;
          const auto fast = workOn(name, quality, halved, false);
          fast->decoding.smooth = false;
          compareWith(
              "whole decode, chroma replicated" + where, pixels, "pixel", decoding, [fast] { fast->decode(); },
              "libjpeg-turbo", [fast] { fast->peerDecode(); });
        }
});

// How the time goes with the quality, of which document.py makes a picture.
bench::Suite qualities([] {
  for (const int quality : {20, 40, 60, 75, 85, 90, 95, 98}) {
    const auto w = workOn("canyon", quality, true, false);
    const double pixels = double(w->image.width()) * w->image.height();
    compareWith(
        "encode at quality " + std::to_string(quality), pixels, "pixel", {0, 0}, [w] { w->encode(); }, "libjpeg-turbo",
        [w] { w->peerEncode(); });
    compareWith(
        "decode at quality " + std::to_string(quality), pixels, "pixel", {0, 0}, [w] { w->decode(); }, "libjpeg-turbo",
        [w] { w->peerDecode(); });
  }
});

// ---- Progressive files as coefficients ------------------------------------------------------------------------------

struct PeerFile {
  jpeg_decompress_struct d;
  jpeg_error_mgr errors;
  jvirt_barray_ptr* arrays;
  explicit PeerFile(const std::vector<uint8_t>& file) {
    d.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&d, TRUE);
    arrays = jpeg_read_coefficients(&d);
  }
  ~PeerFile() { jpeg_destroy_decompress(&d); }

  void write(std::vector<uint8_t>* out) {
    jpeg_compress_struct c;
    c.err = &errors;
    jpeg_create_compress(&c);
    unsigned char* bytes = out->data();
    unsigned long size = static_cast<unsigned long>(out->size());
    jpeg_mem_dest(&c, &bytes, &size);
    jpeg_copy_critical_parameters(&d, &c);
    jpeg_simple_progression(&c);
    jpeg_write_coefficients(&c, arrays);
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    if (bytes != out->data()) std::abort();
  }
};

bench::Suite entropy([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const bool halved : {true, false})
      for (const int quality : {75, 90}) {
        const auto w = workOn(name, quality, halved, true);
        const auto peer = std::make_shared<PeerFile>(w->file);
        const auto ours = std::make_shared<zelcodecs::JpegCoefficients>(
            zelcodecs::readJpegCoefficients(w->file.data(), w->file.size(), w->decoding));
        double blocks = 0;
        for (const auto& c : ours->components) blocks += double(c.storedWide) * c.storedHigh;
        zelcodecs::JpegWriteOptions write;
        write.progressive = true;
        write.threads = 1;
        const std::string where = label(name, halved, quality);
        compareWith(
            "progressive entropy decode" + where, blocks, "block", {1.4, 1.6},
            [w] { zelcodecs::readJpegCoefficients(w->file.data(), w->file.size(), w->decoding); }, "libjpeg-turbo",
            [w] { PeerFile again(w->file); });
        compareWith(
            "progressive entropy encode with statistics" + where, blocks, "block", {1.4, 1.6},
            [ours, write] { zelcodecs::writeJpegCoefficients(*ours, write); }, "libjpeg-turbo",
            [w, peer] { peer->write(&w->peerFile); });
      }
});

// ---- Lossless files -------------------------------------------------------------------------------------------------

bench::Suite lossless([] {
  for (const char* name : {"dandelion", "canyon"}) {
    auto w = std::make_shared<Work>();
    w->image = pixelsOf(name);
    w->options.process = zelcodecs::JpegProcess::lossless;
    w->options.threads = w->decoding.threads = 1;
    w->file = zelcodecs::encodeJpeg(w->image, w->options);
    // The peer codes three planes that hold red, green and blue.
    const auto encoder = std::make_shared<peer::LosslessEncoder>(w->image.width(), w->image.height(),
                                                                 AV_PIX_FMT_YUVJ444P, w->options.predictor);
    for (int y = 0; y < w->image.height(); ++y)
      for (int i = 0; i < 3 * w->image.width(); ++i) {
        AVFrame* f = encoder->frame();
        f->data[i % 3][y * f->linesize[i % 3] + i / 3] = w->image.row(y)[i];
      }
    const auto decoder = std::make_shared<peer::LosslessDecoder>();
    const double size = double(w->file.size()) / double(encoder->encode().size());
    if (size < 0.8 || size > 1.1) std::printf("lossless check FAILED: size ratio %.3f\n", size);
    const double samples = 3.0 * w->image.width() * w->image.height();
    compareWith(
        std::string("whole lossless encode ") + name, samples, "sample", {3.5, 6}, [w] { w->encode(); }, "libavcodec",
        [encoder] { encoder->encode(); });
    compareWith(
        std::string("whole lossless decode ") + name, samples, "sample", {3, 4}, [w] { w->decode(); }, "libavcodec",
        [decoder, w] { decoder->decode(w->file); });
  }
});

}  // namespace
