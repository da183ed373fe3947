// JPEG files (ITU-T T.81) in memory: encoding and decoding, what a file says about itself, and its quantised
// coefficients.
//
// Written: baseline files of grey and RGB pictures, 8 bits a sample.
// Read: baseline and extended sequential Huffman files of 8 and 12 bits with 1, 3 or 4 components in any sampling,
// scans interleaved or not, with restart markers.
#ifndef ZELCODECS_JPEG_H
#define ZELCODECS_JPEG_H

#include <string>
#include <vector>

#include "image.h"

namespace zelcodecs {

// Chroma resolution: full, halved horizontally, halved both ways.
enum class Sampling { s444, s422, s420 };

struct JpegEncodeOptions {
  int quality = 85;  // 1 to 100, scaling the tables of T.81 Annex K
  Sampling sampling = Sampling::s420;
  int restartInterval = 0;  // MCUs between restart markers, up to 65535; 0 for none
  Progress progress;
};

std::vector<uint8_t> encodeJpeg(const Image& image, const JpegEncodeOptions& options = {});

struct JpegDecodeOptions {
  // 2, 4 or 8 decodes straight to a half, a quarter or an eighth of the size, rounded up.
  int scaleDenominator = 1;
  // Decode damaged files as far as they go; what is lost is mid-grey, and decoding takes up again at restart markers.
  bool keepGoing = false;
  Limits limits;
  Progress progress;
  // Where not null: receives what is odd about the file, and with keepGoing each damage.
  std::vector<std::string>* warnings = nullptr;
};

// Throws Error. YCbCr becomes RGB and YCCK CMYK; the inverted CMYK that Adobe's applications write is turned upright.
Image decodeJpeg(const uint8_t* data, size_t size, const JpegDecodeOptions& options = {});

struct JpegInfo {
  struct Component {
    int id, h, v, quantTable;
  };
  struct Scan {
    std::vector<int> components;  // indices
    int ss, se, ah, al;
    size_t offset;  // of the entropy-coded data
    size_t bytes;
  };
  std::string process;  // "baseline", "progressive", ...
  int width = 0, height = 0, precision = 0;
  std::vector<Component> components;
  std::vector<Scan> scans;
  std::string colour;  // "grey", "YCbCr", "RGB", "CMYK", "YCCK"
  int restartInterval = 0;
  bool jfif = false, adobe = false;
  std::vector<std::string> comments;
  bool complete = false;     // the end-of-image marker is there
  size_t trailingBytes = 0;  // after it
};

JpegInfo readJpegInfo(const uint8_t* data, size_t size, const Limits& limits = {});

// The quantised coefficients of a file, for lossless work on it.
struct JpegCoefficients {
  struct Component {
    int id = 1, h = 1, v = 1;
    uint16_t quant[64] = {};  // in natural order
    // Blocks that hold samples, and blocks stored: whole MCUs. Block (x, y) starts at 64 * (y * storedWide + x) and is
    // in natural order.
    int blocksWide = 0, blocksHigh = 0, storedWide = 0, storedHigh = 0;
    std::vector<int16_t> values;
  };
  int width = 0, height = 0, precision = 8;
  bool jfif = true;
  int adobeTransform = -1;  // of the Adobe marker; -1 without one
  std::vector<Component> components;

  // Sets the sizes in blocks and the stored values, to zero, from width, height and the sampling factors.
  void allocate();
};

struct JpegWriteOptions {
  int restartInterval = 0;
  bool interleaved = true;      // otherwise a scan for each component
  bool optimiseTables = false;  // Huffman tables from the counts of this file; always done for 12 bits
};

JpegCoefficients readJpegCoefficients(const uint8_t* data, size_t size, const JpegDecodeOptions& options = {});
std::vector<uint8_t> writeJpegCoefficients(const JpegCoefficients& coefficients, const JpegWriteOptions& options = {});

}  // namespace zelcodecs

#endif
