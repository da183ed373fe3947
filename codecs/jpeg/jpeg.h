// JPEG files (ITU-T T.81): encoding and decoding, what a file says about itself, and its quantised coefficients.
//
// Written: baseline and progressive files of grey, RGB and CMYK pictures, 8 bits a sample; lossless files of grey, RGB
// and CMYK pictures, 2 to 16 bits a sample.
// Read: baseline, extended sequential and progressive Huffman files of 8 and 12 bits and lossless ones of 2 to 16 bits
// with 1, 3 or 4 components in any sampling, scans interleaved or not, with restart markers. Arithmetic coding and
// hierarchical files are refused.
// Metadata, both ways: ICC profile, EXIF (and the orientation in it), XMP of one segment, comments, and the resolution
// where there is a JFIF marker: not in CMYK files nor in lossless ones of three components, which have Adobe's.
//
// Sequential and lossless files go through in bands of some rows of MCUs. Held are: all coefficients of progressive
// files, of those read in several scans and of those written with optimised tables or a script; all samples of lossless
// files read in several scans; all differences of lossless files written with optimised tables.
//
// Work is divided among threads: restart intervals, scans, rows of blocks. Files and pictures do not depend on it.
#pragma once

#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"
#include "common/zeroed.h"

namespace zelcodecs {

// Chroma resolution: full, halved horizontally, halved both ways.
enum class Sampling { s444, s422, s420 };

enum class JpegProcess { baseline, progressive, lossless };

// What a scan codes: zigzag positions ss to se of some components (indices), without the lowest al bits. ah is the
// number of bits that were missing after the scan before, 0 in a first scan (T.81 G.1.1.1).
struct JpegScan {
  std::vector<int> components;
  int ss = 0, se = 63, ah = 0, al = 0;
};

// Scans in the notation that other encoders read too: "0,1,2: 0-0, 0, 1; 0: 1-63, 0, 1; ..." with components, first and
// last position, ah and al. A scan of all positions can go without the part after the colon; # starts a comment.
std::vector<JpegScan> parseScanScript(const std::string& text);

// The scans of a progressive file where none are given: DC first, then a rough picture, then the remaining bits.
std::vector<JpegScan> defaultScanScript(int components, bool ycc);

struct JpegEncodeOptions : EncodeOptions {
  JpegProcess process = JpegProcess::baseline;
  int quality = 85;  // 1 to 100, scaling the tables of T.81 Annex K
  Sampling sampling = Sampling::s420;
  // Chroma is averaged MCU by MCU, from full-precision differences, or in planes of bytes, as other encoders do it.
  bool chromaByPlane = false;
  bool ycck = true;              // CMYK pictures become YCCK, with chroma that can be halved
  bool optimiseTables = false;   // Huffman tables from the counts of this picture; always done in progressive files
  std::vector<JpegScan> script;  // the scans of a progressive file, or of a baseline file
  // Lossless: predictor 1 to 7 (T.81 Table H.1), and the number of low bits that are dropped.
  int predictor = 1;
  int pointTransform = 0;
  // MCUs between restart markers, up to 65535; 0 for none. In lossless files whole rows: a multiple of the width.
  int restartInterval = 0;
  int restartRows = 0;  // the same in rows of MCUs; used where restartInterval is 0
};

// Writes a file band by band. Source and sink stay the caller's, and must outlive what reads or writes them.
std::unique_ptr<Encoder> createJpeg(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                    const JpegEncodeOptions& options = {});
std::vector<uint8_t> encodeJpeg(const Image& image, const JpegEncodeOptions& options = {});

struct JpegDecodeOptions : DecodeOptions {
  // 2, 4 or 8 decodes straight to a half, a quarter or an eighth of the size, rounded up.
  int scaleDenominator = 1;
  // Halved chroma is interpolated (triangle filter); otherwise replicated, which is faster.
  bool smooth = true;
  // Otherwise the components as they are coded, YCbCr in place of RGB.
  bool convertColour = true;
};

// Reads a file band by band. Restart intervals above the region are passed over where their markers are in order, and
// nothing below it is read.
std::unique_ptr<Decoder> openJpeg(Source& source, const JpegDecodeOptions& options = {});
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
  size_t iccBytes = 0, exifBytes = 0, xmpBytes = 0;
  double pixelsPerMetreX = 0, pixelsPerMetreY = 0;  // 0 where nothing is said
  int orientation = 1;
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
    ZeroedVector<int16_t> values;
  };
  int width = 0, height = 0, precision = 8;
  bool jfif = true;
  int adobeTransform = -1;  // of the Adobe marker; -1 without one
  std::vector<Component> components;

  // Sets the sizes in blocks and the stored values, to zero, from width, height and the sampling factors.
  void allocate();
};

struct JpegWriteOptions : EncodeOptions {
  int restartInterval = 0;
  bool interleaved = true;       // otherwise a scan for each component
  bool progressive = false;      // by the script, or the default one
  std::vector<JpegScan> script;  // overrides interleaved
  bool optimiseTables = false;   // always done for 12 bits and in progressive files
};

JpegCoefficients readJpegCoefficients(const uint8_t* data, size_t size, const JpegDecodeOptions& options = {});
std::vector<uint8_t> writeJpegCoefficients(const JpegCoefficients& coefficients, const JpegWriteOptions& options = {});

}  // namespace zelcodecs
