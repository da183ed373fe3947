// Formats told by content and by ending, and the one place that names every decoder and encoder.
#include "any/any.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "common/error.h"

namespace zelcodecs {
namespace {

struct Ending {
  const char* text;
  Format format;
};
constexpr Ending kEndings[] = {
    {"jpg", Format::jpeg},     {"jpeg", Format::jpeg},    {"jp2", Format::jpeg2000}, {"j2k", Format::jpeg2000},
    {"j2c", Format::jpeg2000}, {"jpc", Format::jpeg2000}, {"dds", Format::dds},      {"tif", Format::tiff},
    {"tiff", Format::tiff},    {"png", Format::png},      {"pbm", Format::netpbm},   {"pgm", Format::netpbm},
    {"ppm", Format::netpbm},   {"pnm", Format::netpbm},   {"pam", Format::netpbm},
};

// Formats that are known by their first bytes, and not read.
struct Foreign {
  const char* name;
  size_t at;
  const char* bytes;
  size_t count;
};
constexpr Foreign kForeign[] = {
    {"GIF", 0, "GIF8", 4},         {"BMP", 0, "BM", 2},
    {"WebP", 8, "WEBP", 4},        {"JPEG-LS", 0, "\xFF\xD8\xFF\xF7", 4},
    {"AVIF", 4, "ftypavif", 8},    {"HEIC", 4, "ftypheic", 8},
    {"JPEG XL", 0, "\xFF\x0A", 2}, {"JPEG XL", 0, "\0\0\0\x0CJXL ", 8},
    {"PDF", 0, "%PDF", 4},         {"OpenEXR", 0, "\x76\x2F\x31\x01", 4},
    {"KTX", 0, "\xABKTX", 4},      {"JPEG XR or HD Photo", 0, "II\xBC", 3},
};

}  // namespace

const char* nameOf(Format format) {
  switch (format) {
    case Format::jpeg:
      return "JPEG";
    case Format::jpeg2000:
      return "JPEG 2000";
    case Format::dds:
      return "DDS";
    case Format::tiff:
      return "TIFF";
    case Format::png:
      return "PNG";
    case Format::netpbm:
      break;
  }
  return "Netpbm";
}

Format formatOf(ByteView b) {
  for (const Foreign& f : kForeign)
    if (b.size >= f.at + f.count && std::memcmp(b.data + f.at, f.bytes, f.count) == 0)
      throw Error(ErrorKind::unsupported,
                  std::string("a ") + f.name + " file; JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm files are read");
  if (b.size >= 3 && b.data[0] == 0xFF && b.data[1] == 0xD8) return Format::jpeg;
  if (isJpeg2000(b.data, b.size)) return Format::jpeg2000;
  if (isDds(b.data, b.size)) return Format::dds;
  if (isTiff(b.data, b.size)) return Format::tiff;
  if (isPng(b.data, b.size)) return Format::png;
  if (isNetpbm(b.data, b.size)) return Format::netpbm;
  throw Error(ErrorKind::unsupported, b.size == 0 ? "an empty file"
                                                  : "content that is none of JPEG, JPEG 2000, TIFF, DDS, PNG and "
                                                    "Netpbm, the formats that are read");
}

std::string endingOf(const std::string& path) {
  const size_t dot = path.find_last_of("./");
  if (dot == std::string::npos || path[dot] != '.') return "";
  std::string e = path.substr(dot + 1);
  std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return e;
}

std::optional<Format> formatOfEnding(const std::string& ending) {
  for (const Ending& e : kEndings)
    if (ending == e.text) return e.format;
  return std::nullopt;
}

std::string allEndings() {
  std::string all;
  for (const Ending& e : kEndings) all += (all.empty() ? "." : " .") + std::string(e.text);
  return all;
}

namespace {

template <class Options, class Common>
Options with(const Options& options, const Common& common) {
  Options o = options;
  static_cast<Common&>(o) = common;
  return o;
}

}  // namespace

std::unique_ptr<Decoder> openAny(Source& source, Format format, const AnyDecodeOptions& o) {
  switch (format) {
    case Format::jpeg:
      return openJpeg(source, with(o.jpeg, o.common));
    case Format::jpeg2000:
      return openJpeg2000(source, with(o.jpeg2000, o.common));
    case Format::dds:
      return openDds(source, with(o.dds, o.common));
    case Format::tiff:
      return openTiff(source, with(o.tiff, o.common));
    case Format::png:
      return openPng(source, o.common);
    case Format::netpbm:
      break;
  }
  return openNetpbm(source, o.common);
}

std::unique_ptr<Encoder> createAny(Sink& sink, Format format, const PictureFormat& picture, const Metadata& metadata,
                                   const AnyEncodeOptions& o) {
  switch (format) {
    case Format::jpeg:
      return createJpeg(sink, picture, metadata, with(o.jpeg, o.common));
    case Format::jpeg2000:
      return createJpeg2000(sink, picture, metadata, with(o.jpeg2000, o.common));
    case Format::dds:
      warnOfLoss(metadata, 0, "DDS", o.common.warnings);
      return createDds(sink, picture, with(o.dds, o.common));
    case Format::tiff:
      return createTiff(sink, picture, metadata, with(o.tiff, o.common));
    case Format::png:
      return createPng(sink, picture, metadata, with(o.png, o.common));
    case Format::netpbm:
      break;
  }
  return createNetpbm(sink, picture, metadata, o.common);
}

ColourModel nearestModel(Format format, ColourModel model) {
  const bool opacity = format != Format::jpeg, cmyk = format != Format::png && format != Format::dds;
  if (model == ColourModel::cmyk && !cmyk) return ColourModel::rgb;
  if (model == ColourModel::greyAlpha && !opacity) return ColourModel::grey;
  if (model == ColourModel::rgba && !opacity) return ColourModel::rgb;
  return model;
}

}  // namespace zelcodecs
