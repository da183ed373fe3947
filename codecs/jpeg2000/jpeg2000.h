// JPEG 2000 (ITU-T T.800): raw codestreams and JP2 files.
//
// Written: grey, RGB and CMYK pictures of 1 to 16 bits a sample, the first two also with opacity, without loss
// (reversible colour transform and 5/3 wavelet) or lossy (irreversible ones) to a rate or a quality, in layers, tiles,
// precincts and all code-block styles. JP2 files keep ICC profiles of grey and RGB pictures, EXIF, XMP, resolution,
// orientation (in EXIF) and comments; codestreams alone keep comments.
// Read: what Part 1 allows: every progression order and changes of it, tiles, layers, precincts, subsampled components,
// the code-block styles, SOP and EPH, packed packet headers, samples of up to 24 bits signed or not, regions of
// interest by max-shift, palettes, opacity, and the metadata above. sYCC and e-sYCC become RGB; other colour spaces are
// given as they are stored, with a warning.
//
// A tile is what is held at once: its coefficients, of 2 bytes in reversible pictures of up to 10 bits and else of 4,
// and records of its code blocks, whose bytes stay in the file. A region of a picture is decoded from the tiles and
// code blocks that it depends on. An encoder holds besides the coded blocks of all tiles where a rate, a quality or
// layers are asked for. Tiles, or the code blocks of one tile, are divided among threads; files and pictures do not
// depend on it.
#pragma once

#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

enum class Progression { lrcp, rlcp, rpcl, pcrl, cprl };

// Code-block styles (T.800 Table A.19), to be added.
enum CodeBlockStyle : int {
  kBypass = 1,        // arithmetic coding is left out for most passes of the lower bit planes
  kReset = 2,         // probabilities start anew with each pass
  kTerminate = 4,     // each pass ends its codeword segment
  kCausal = 8,        // contexts do not look at the stripe below
  kPredictable = 16,  // segments end so that damage shows
  kSegmentation = 32  // a symbol after each cleanup pass shows damage
};

struct Jpeg2000EncodeOptions : EncodeOptions {
  bool lossless = true;
  // With several layers these are the figures of the last one; each layer before it has about half the rate, or 3 dB
  // less. 0 for all that there is: without loss, or all that the quantisation keeps.
  double rate = 0;  // bits per pixel, headers included
  double psnr = 0;  // dB, over all components
  int layers = 1;
  int levels = 5;                                 // of the wavelet transform
  int codeBlockWidth = 64, codeBlockHeight = 64;  // powers of two, 4 to 1024, together up to 4096 samples
  int precinct = 0;                               // width and height of precincts, a power of two; 0 for none
  int tileWidth = 0, tileHeight = 0;              // 0 for one tile
  int style = 0;                                  // of CodeBlockStyle
  Progression progression = Progression::lrcp;
  bool sop = false, eph = false;  // markers around packet headers
  bool jp2 = true;                // a JP2 file, otherwise the codestream alone
};

// Writes a file band by band. Source and sink stay the caller's, and must outlive what reads or writes them.
std::unique_ptr<Encoder> createJpeg2000(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                        const Jpeg2000EncodeOptions& options = {});
std::vector<uint8_t> encodeJpeg2000(const Image& image, const Jpeg2000EncodeOptions& options = {});

struct Jpeg2000DecodeOptions : DecodeOptions {
  int reduce = 0;     // resolutions to leave out, each of which halves the size; at most those that there are
  int maxLayers = 0;  // quality layers to decode, 0 for all
};

// The components as they are coded, without colour transform between file and picture (that of the codestream is
// undone).
struct Jpeg2000Components {
  struct Component {
    int width = 0, height = 0;
    int dx = 1, dy = 1;  // distance between samples on the reference grid
    int precision = 8;
    bool isSigned = false;
    std::vector<int32_t> samples;
  };
  // The image area on the reference grid.
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  std::vector<Component> components;
};
Jpeg2000Components decodeJpeg2000Components(const uint8_t* data, size_t size,
                                            const Jpeg2000DecodeOptions& options = {});

// Reads a file band by band.
std::unique_ptr<Decoder> openJpeg2000(Source& source, const Jpeg2000DecodeOptions& options = {});
// One component becomes grey, three RGB, four with a CMYK colour space CMYK; channels that the file defines as opacity,
// and in codestreams alone the second of two and the fourth of four with a colour transform, are opacity; further ones
// are left out, with a warning. Coarser components are replicated, signed samples raised to unsigned.
Image decodeJpeg2000(const uint8_t* data, size_t size, const Jpeg2000DecodeOptions& options = {});

struct Jpeg2000Info {
  bool jp2 = false;
  int width = 0, height = 0;
  int tilesAcross = 1, tilesDown = 1;
  struct Component {
    int dx, dy, precision;
    bool isSigned;
  };
  std::vector<Component> components;
  bool reversible = true, colourTransform = false;
  int levels = 0, layers = 0, codeBlockWidth = 0, codeBlockHeight = 0, style = 0;
  Progression progression = Progression::lrcp;
  int colourSpace = 0;     // as a JP2 file enumerates them; 0 where it does not
  int paletteColumns = 0;  // 0 without a palette
  std::vector<std::string> comments;
};
Jpeg2000Info readJpeg2000Info(const uint8_t* data, size_t size, const Limits& limits = {});

// Whether the bytes begin as a JP2 file or a codestream does.
bool isJpeg2000(const uint8_t* data, size_t size);

}  // namespace zelcodecs
