// DDS texture files.
//
// Written: DXT1, DXT3 and DXT5 from grey, RGB and RGBA pictures of 8 bits a sample, and YCoCg in DXT5 (luma as opacity,
// scaled chroma as red and green), with mip levels. Read: BC1 to BC5 (DXT1 to DXT5, ATI1, ATI2) and BC7, and textures
// without compression whose channels are fields of up to 16 bits; any level, cube face and element of an array. BC6H,
// floating-point and signed channels, palettes, and volume textures are refused.
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
  int face = 0;     // of a cube map: +x, -x, +y, -y, +z, -z, as far as they are in the file
  int element = 0;  // of an array
};

// Reads a file band by band.
std::unique_ptr<Decoder> openDds(Source& source, const DdsDecodeOptions& options = {});
// Textures of blocks become RGBA, or RGB where it is plain from the blocks that every pixel is opaque; BC4 grey, BC5
// red and green with a blue of 0. Signed values of BC4 and BC5 are moved up by 128. Without compression: grey, RGB,
// each also with opacity, as the channels are; red and green alone get a blue of 0. Fields of less than 8 bits become
// 8 bits, others the bits of the widest. Colours of DXT2 and DXT4, which are multiplied with the opacity, are divided
// again.
Image decodeDds(const uint8_t* data, size_t size, const DdsDecodeOptions& options = {});

struct DdsInfo {
  std::string format;  // "DXT1" to "DXT5", "BC4", "BC5", "BC7", "YCoCg in DXT5", or the channels: "B8G8R8A8"
  int width = 0, height = 0;
  struct Level {
    int width, height;
    size_t offset, bytes;  // in the first face of the first element
  };
  std::vector<Level> levels;
  bool cubeMap = false;
  bool secondHeader = false;  // the one that says "DX10"
  int faces = 1;
  uint32_t pictures = 1;      // elements of an array, each of six faces in an array of cube maps
  uint64_t pictureBytes = 0;  // of all levels of a face
};
DdsInfo readDdsInfo(const uint8_t* data, size_t size);

// Whether the bytes begin as a DDS file does.
bool isDds(const uint8_t* data, size_t size);

}  // namespace zelcodecs
