// Whole photographs through the JPEG 2000 codec beside OpenJPEG, one thread each: five levels, code blocks of 64 x 64,
// one layer. Each decodes the file that it would be given: ours.
#include <cstdio>
#include <cstring>
#include <memory>

#include "codec/opj_peer.h"
#include "jpeg2000/jpeg2000.h"
#include "common/metrics.h"
#include "ratios.h"

namespace {

using zelcodecs::Image;

struct Work {
  Image image;
  zelcodecs::Jpeg2000Components components;  // what the peer encodes
  zelcodecs::Jpeg2000EncodeOptions encoding;
  zelcodecs::Jpeg2000DecodeOptions decoding;
  std::vector<uint8_t> file;

  std::vector<uint8_t> peerEncode() const {
    return peer::encode(components, [this](opj_cparameters_t* p) {
      p->irreversible = !encoding.lossless;
      if (!encoding.lossless) p->tcp_rates[0] = float(24 / encoding.rate);
    });
  }
};

bench::Suite suite([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const bool lossless : {true, false}) {
      auto w = std::make_shared<Work>();
      const bench::Photo& photo = bench::photo(name);
      w->image = Image(photo.width, photo.height, zelcodecs::ColourModel::rgb);
      std::memcpy(w->image.data(), photo.rgb.data(), photo.rgb.size());
      w->encoding.threads = w->decoding.threads = 1;
      w->encoding.jp2 = false;
      const std::vector<uint8_t> whole = encodeJpeg2000(w->image, w->encoding);
      w->components = zelcodecs::decodeJpeg2000Components(whole.data(), whole.size());
      w->encoding.lossless = lossless;
      w->encoding.rate = lossless ? 0 : 2.4;
      w->file = encodeJpeg2000(w->image, w->encoding);
      // Both have done the work: the same size to some percent, the same quality.
      const std::vector<uint8_t> theirs = w->peerEncode();
      const double size = double(w->file.size()) / double(theirs.size());
      const auto psnr = [&](const std::vector<uint8_t>& f) {
        return difference(w->image, zelcodecs::decodeJpeg2000(f.data(), f.size())).psnr;
      };
      const double ours = psnr(w->file), peers = psnr(theirs);
      if (size > 1.03 || (lossless ? ours < 1e9 : ours < peers - 0.2))
        std::printf("JPEG 2000 check FAILED: size ratio %.3f, %.2f and %.2f dB\n", size, ours, peers);
      const double pixels = double(photo.width) * photo.height;
      const std::string where = std::string(" ") + name + (lossless ? " lossless" : " 10:1");
      bench::compare(
          "JPEG 2000 whole encode" + where, pixels, "pixel", {lossless ? 1.8 : 1.6, 2.5},
          {{"avx2", [w] { encodeJpeg2000(w->image, w->encoding); }}, {"openjpeg", [w] { w->peerEncode(); }}});
      bench::compare("JPEG 2000 whole decode" + where, pixels, "pixel", {1.6, 2},
                     {{"avx2", [w] { zelcodecs::decodeJpeg2000(w->file.data(), w->file.size(), w->decoding); }},
                      {"openjpeg", [w] { peer::decode(w->file); }}});
    }
});

}  // namespace
