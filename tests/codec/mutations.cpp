// Deterministic mutations of JPEG files through the decoder, with and without keep-going: bytes overwritten, bits
// flipped, pieces cut out, repeated or taken from another file, markers rewritten. Every file must decode or fail with
// an Error that says something, within a time bound. Sanitizers see the rest. The argument is the number of mutations.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "error.h"
#include "jpeg.h"

using namespace zelcodecs;
using Bytes = std::vector<uint8_t>;

namespace {

std::mt19937 random32(1);
size_t below(size_t n) { return random32() % n; }

std::vector<Bytes> seeds() {
  std::vector<Bytes> files;
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb}) {
    Image image(45, 37, model);
    for (size_t i = 0; i < image.sizeBytes(); ++i)
      image.data()[i] = static_cast<uint8_t>((i * i >> 7) + (random32() & 15));
    for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
      for (const int restart : {0, 2}) {
        JpegEncodeOptions o;
        o.sampling = s;
        o.restartInterval = restart;
        files.push_back(encodeJpeg(image, o));
      }
  }
  // By way of coefficients: other samplings, four components, a scan for each component, 12 bits.
  for (const int kind : {0, 1, 2}) {
    JpegCoefficients c;
    c.width = 41;
    c.height = 29;
    c.precision = kind == 2 ? 12 : 8;
    c.adobeTransform = kind == 1 ? 2 : -1;
    c.components.resize(kind == 1 ? 4 : 3);
    for (size_t i = 0; i < c.components.size(); ++i) {
      c.components[i].id = static_cast<int>(i) + 1;
      for (uint16_t& q : c.components[i].quant) q = static_cast<uint16_t>(1 + below(kind == 2 ? 400 : 40));
    }
    c.components[0].h = kind == 0 ? 4 : 2;
    c.components[2].v = kind == 0 ? 2 : 1;
    c.allocate();
    for (JpegCoefficients::Component& k : c.components)
      for (int16_t& v : k.values) v = below(8) ? int16_t{0} : static_cast<int16_t>(static_cast<int>(below(61)) - 30);
    JpegWriteOptions o;
    o.interleaved = kind != 0;
    o.restartInterval = kind == 2 ? 3 : 0;
    files.push_back(writeJpegCoefficients(c, o));
  }
  return files;
}

Bytes mutate(const std::vector<Bytes>& files) {
  Bytes b = files[below(files.size())];
  for (size_t n = 1 + below(4); n > 0 && !b.empty(); --n) {
    const size_t at = below(b.size()), length = 1 + below(16);
    switch (below(7)) {
      case 0:
        b[at] = static_cast<uint8_t>(random32());
        break;
      case 1:
        b[at] = static_cast<uint8_t>(b[at] ^ 1u << below(8));
        break;
      case 2:
        b.resize(at + 1);
        break;
      case 3:
        b.erase(b.begin() + static_cast<long>(at), b.begin() + static_cast<long>(std::min(b.size(), at + length)));
        break;
      case 4: {
        const Bytes piece(b.begin() + static_cast<long>(at),
                          b.begin() + static_cast<long>(std::min(b.size(), at + 8 * length)));
        b.insert(b.begin() + static_cast<long>(below(b.size())), piece.begin(), piece.end());
        break;
      }
      case 5: {
        const Bytes& other = files[below(files.size())];
        b.resize(at + 1);
        b.insert(b.end(), other.begin() + static_cast<long>(below(other.size())), other.end());
        break;
      }
      default:  // a marker, sooner or later also in the header's numbers
        if (at + 1 < b.size()) {
          b[at] = 0xFF;
          b[at + 1] = static_cast<uint8_t>(0xC0 + below(0x40));
        }
    }
  }
  return b;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 2000;
  const std::vector<Bytes> files = seeds();
  int decoded = 0, refused = 0, rescued = 0, bright = 0;
  double slowest = 0;
  for (int i = 0; i < count; ++i) {
    const Bytes file = mutate(files);
    for (const bool keepGoing : {false, true}) {
      JpegDecodeOptions o;
      o.keepGoing = keepGoing;
      o.scaleDenominator = 1 << below(4);
      o.limits.maxPixels = 1 << 20;
      std::vector<std::string> warnings;
      o.warnings = &warnings;
      const auto start = std::chrono::steady_clock::now();
      try {
        const Image image = decodeJpeg(file.data(), file.size(), o);
        // A picture that depends on memory that was never written shows here under valgrind.
        if (image.row(image.height() - 1)[image.rowBytes() - 1] > 255 - image.row(0)[0]) ++bright;
        ++(keepGoing && !warnings.empty() ? rescued : decoded);
      } catch (const Error& e) {
        if (std::string(e.what()).size() < 10) {
          std::printf("mutation %d: an error without text\n", i);
          return 1;
        }
        ++refused;
      }
      const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      slowest = std::max(slowest, took);
      if (took > 5) {
        std::printf("mutation %d: %.1f seconds\n", i, took);
        return 1;
      }
    }
  }
  std::printf("%d mutations: %d decodes whole, %d in part, %d refused, %d brighten; the slowest took %.3f s\n", count,
              decoded, rescued, refused, bright, slowest);
  // A decoder that refuses everything, or nothing, is not tested by this.
  return count < 100 || (decoded && rescued && refused) ? 0 : 1;
}
