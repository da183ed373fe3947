// DDS texture files in memory.
//
// Written: DXT1, DXT3 and DXT5 from grey, RGB and RGBA pictures of 8 bits a sample, and YCoCg in DXT5 (luma as opacity,
// scaled chroma as red and green), with mip levels. Read: DXT1 to DXT5 and BC7, any level of a texture; of cube maps
// and arrays the first picture.
//
// Rows of blocks are divided among threads; files and pictures do not depend on it.
#pragma once

#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/source.h"

namespace zelcodecs {

// DXT1 drops the opacity. YCoCg too: a tag in the reserved words of the header says that DXT5 blocks hold it.
enum class TextureFormat { dxt1, dxt3, dxt5, ycocg };

struct DdsEncodeOptions : EncodeOptions {
  TextureFormat format = TextureFormat::dxt1;
  int levels = 1;  // mip levels, with that of the picture's own size; 0 for all down to one pixel
};

// Writes a file band by band. Source and sink stay the caller's, and must outlive what reads or writes them.
std::unique_ptr<Encoder> createDds(Sink& sink, const PictureFormat& format, const DdsEncodeOptions& options = {});
// Each level halves the one before, rounded down: a pixel is the mean of those that it covers (2 x 2, three in a
// direction of odd size, weighted by their shares), of opacity and colours alike.
std::vector<uint8_t> encodeDds(const Image& image, const DdsEncodeOptions& options = {});

struct DdsDecodeOptions : DecodeOptions {
  int level = 0;
};

// Reads a file band by band.
std::unique_ptr<Decoder> openDds(Source& source, const DdsDecodeOptions& options = {});
// RGBA, or RGB where every pixel is opaque. Colours of DXT2 and DXT4, which are multiplied with the opacity, are
// divided again.
Image decodeDds(const uint8_t* data, size_t size, const DdsDecodeOptions& options = {});

struct DdsInfo {
  std::string format;  // "DXT1" to "DXT5", "BC7", "YCoCg in DXT5"
  int width = 0, height = 0;
  struct Level {
    int width, height;
    size_t offset, bytes;
  };
  std::vector<Level> levels;
  bool cubeMap = false;
  uint32_t pictures = 1;  // of an array, each of six faces in an array of cube maps
};
DdsInfo readDdsInfo(const uint8_t* data, size_t size);

// Whether the bytes begin as a DDS file does.
bool isDds(const uint8_t* data, size_t size);

}  // namespace zelcodecs
