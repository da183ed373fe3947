// Files of every format that is read and written: what a file is, and decoders and encoders by that.
#pragma once

#include <optional>
#include <string>

#include "dds/dds.h"
#include "jpeg/jpeg.h"
#include "jpeg2000/jpeg2000.h"
#include "netpbm/netpbm.h"
#include "png/png_file.h"
#include "tiff/tiff.h"

namespace zelcodecs {

enum class Format { jpeg, jpeg2000, dds, tiff, png, netpbm };

const char* nameOf(Format format);

// By the first bytes of a file. Throws Error(unsupported), which names what else the file is where that is known.
Format formatOf(ByteView firstBytes);
constexpr size_t kBytesForFormat = 32;  // so many are enough

// By the ending of a path: nothing for one that no format has. In small letters without the dot.
std::string endingOf(const std::string& path);
std::optional<Format> formatOfEnding(const std::string& ending);
// The endings of all formats, for messages.
std::string allEndings();

struct AnyDecodeOptions {
  DecodeOptions common;  // in force for each of the others
  JpegDecodeOptions jpeg;
  Jpeg2000DecodeOptions jpeg2000;
  DdsDecodeOptions dds;
  TiffDecodeOptions tiff;
};

std::unique_ptr<Decoder> openAny(Source& source, Format format, const AnyDecodeOptions& options = {});

struct AnyEncodeOptions {
  EncodeOptions common;  // in force for each of the others
  JpegEncodeOptions jpeg;
  Jpeg2000EncodeOptions jpeg2000;
  DdsEncodeOptions dds;
  TiffEncodeOptions tiff;
  PngEncodeOptions png;
};

std::unique_ptr<Encoder> createAny(Sink& sink, Format format, const PictureFormat& picture, const Metadata& metadata,
                                   const AnyEncodeOptions& options = {});

// The model that a format can hold and that keeps most of a picture's.
ColourModel nearestModel(Format format, ColourModel model);

}  // namespace zelcodecs
