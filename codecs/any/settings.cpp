// The one list of settings, with what each takes, and the rules between them.
#include "any/settings.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "common/error.h"

namespace zelcodecs {
namespace {

// ---- Values ------------------------------------------------------------------------------------------------------

[[noreturn]] void refuse(const Setting& self, const std::string& value) {
  const std::string takes = *self.values ? self.values : "yes or no";
  throw Error(ErrorKind::argument, std::string(self.name) + " takes " + takes + ", not \"" + value + "\"");
}

uint64_t wholeNumber(const Setting& self, const std::string& value, uint64_t least, uint64_t most) {
  uint64_t n = 0;
  const char* const end = value.data() + value.size();
  const auto [stop, wrong] = std::from_chars(value.data(), end, n);
  if (wrong != std::errc{} || stop != end || n < least || n > most) refuse(self, value);
  return n;
}
int number(const Setting& self, const std::string& value, int least, int most) {
  return int(wholeNumber(self, value, uint64_t(least), uint64_t(most)));
}

// With a point, whatever the locale says.
double real(const Setting& self, const std::string& value, double least, double most) {
  double v = 0;
  const char* const end = value.data() + value.size();
  const auto [stop, wrong] = std::from_chars(value.data(), end, v);
  if (wrong != std::errc{} || stop != end || !(v >= least && v <= most)) refuse(self, value);
  return v;
}

bool flag(const Setting& self, const std::string& value) {
  if (value != "yes" && value != "no") refuse(self, value);
  return value == "yes";
}

template <class Value, size_t count>
Value named(const Setting& self, const std::string& value, const Named<Value> (&names)[count]) {
  for (const Named<Value>& n : names)
    if (value == n.name) return n.value;
  refuse(self, value);
}

// Width and height.
std::array<int, 2> size(const Setting& self, const std::string& value) {
  const size_t comma = value.find(',');
  if (comma == std::string::npos) refuse(self, value);
  constexpr int kMost = 1 << 30;
  return {number(self, value.substr(0, comma), 1, kMost), number(self, value.substr(comma + 1), 1, kMost)};
}

Region rectangle(const Setting& self, const std::string& value) {
  Region r;
  int length = 0;
  const int read = std::sscanf(value.c_str(), "%9d,%9d,%9d,%9d%n", &r.x, &r.y, &r.width, &r.height, &length);
  if (read != 4 || size_t(length) != value.size() || r.width < 1 || r.height < 1) refuse(self, value);
  return r;
}

std::array<int, 3> colour(const Setting& self, const std::string& value) {
  if (value == "white") return {255, 255, 255};
  if (value == "black") return {0, 0, 0};
  unsigned c[3];
  int length = 0;
  const bool hex = std::sscanf(value.c_str(), "#%2x%2x%2x%n", &c[0], &c[1], &c[2], &length) == 3 && length == 7;
  const bool decimal = !hex && std::sscanf(value.c_str(), "%3u,%3u,%3u%n", &c[0], &c[1], &c[2], &length) == 3;
  if ((!hex && !decimal) || size_t(length) != value.size() || std::max({c[0], c[1], c[2]}) > 255) refuse(self, value);
  return {int(c[0]), int(c[1]), int(c[2])};
}

constexpr Named<int> kScales[] = {{"1", 1}, {"1/2", 2}, {"1/4", 4}, {"1/8", 8}};
constexpr Named<int> kDepths[] = {{"8", 8}, {"16", 16}};
constexpr Named<Sampling> kSamplings[] = {{"444", Sampling::s444}, {"422", Sampling::s422}, {"420", Sampling::s420}};
constexpr Named<TextureFormat> kTextures[] = {{"dxt1", TextureFormat::dxt1},
                                              {"dxt3", TextureFormat::dxt3},
                                              {"dxt5", TextureFormat::dxt5},
                                              {"ycocg", TextureFormat::ycocg}};
constexpr Named<TiffCompression> kCompressions[] = {{"none", TiffCompression::none},
                                                    {"packbits", TiffCompression::packBits},
                                                    {"lzw", TiffCompression::lzw},
                                                    {"deflate", TiffCompression::deflate}};

// Several styles are joined by plus signs.
int styles(const Setting& self, const std::string& value) {
  int all = 0;
  for (size_t at = 0; at <= value.size();) {
    const size_t end = std::min(value.find('+', at), value.size());
    all |= named(self, value.substr(at, end - at), kCodeBlockStyles);
    at = end + 1;
  }
  return all;
}

// ---- The settings ------------------------------------------------------------------------------------------------

constexpr unsigned of(Format f) { return 1U << unsigned(f); }
constexpr unsigned kJpeg = of(Format::jpeg), kJpeg2000 = of(Format::jpeg2000), kDds = of(Format::dds),
                   kTiff = of(Format::tiff), kPng = of(Format::png), kEvery = 0;

using Text = const std::string&;
using Self = const Setting&;

constexpr Setting kSettings[] = {
  {"format", "jpg, jp2, j2k, dds, tif, png or pnm", "The format, where the ending of the name does not tell",
   kWriting, kEvery,
   [](Asked* a, Self self, Text v) {
     a->format = named(self, v, kFormatNames);
     a->encode.jpeg2000.jp2 = v == "jp2";
   }},
  {"crop", "X,Y,WIDTH,HEIGHT", "This part alone; the rest is not decoded where that can be", kReading, kEvery,
   [](Asked* a, Self self, Text v) { a->decode.common.region = rectangle(self, v); }},
  {"grey", "", "The luminance alone", kReading | kWriting, kEvery,
   [](Asked* a, Self self, Text v) { a->wishes.grey = flag(self, v); }},
  {"depth", "8 or 16", "Bits a sample", kReading | kWriting, kEvery,
   [](Asked* a, Self self, Text v) { a->wishes.depth = named(self, v, kDepths); }},
  {"background", "white, black, R,G,B or #RRGGBB", "What shows through where the file holds no opacity", kWriting,
   kEvery, [](Asked* a, Self self, Text v) { a->wishes.background = colour(self, v); }},
  {"auto-orient", "", "The picture upright, as its metadata tell",
   kReading, kEvery, [](Asked* a, Self self, Text v) { a->autoOrient = flag(self, v); }},
  {"keep-going", "", "Damaged files as far as they go, with warnings", kReading, kEvery,
   [](Asked* a, Self self, Text v) { a->decode.common.keepGoing = flag(self, v); }},
  {"threads", "0 to 1024", "Threads to use; 0 for one on each core", kReading | kWriting, kEvery,
   [](Asked* a, Self self, Text v) {
     a->decode.common.threads = a->encode.common.threads = number(self, v, 0, 1024);
   }},
  {"max-pixels", "a number", "Larger pictures are refused", kReading, kEvery,
   [](Asked* a, Self self, Text v) { a->decode.common.limits.maxPixels = wholeNumber(self, v, 0, ~uint64_t{0}); }},
  {"max-memory", "a number of bytes", "Files that take more to decode are refused", kReading, kEvery,
   [](Asked* a, Self self, Text v) { a->decode.common.limits.maxMemory = wholeNumber(self, v, 0, ~uint64_t{0}); }},
  {"scale", "1, 1/2, 1/4 or 1/8", "Size, decoded straight to it", kReading, kJpeg,
   [](Asked* a, Self self, Text v) { a->decode.jpeg.scaleDenominator = named(self, v, kScales); }},
  {"fast", "", "Halved chroma is replicated, not interpolated", kReading, kJpeg,
   [](Asked* a, Self self, Text v) { a->decode.jpeg.smooth = !flag(self, v); }},
  {"components", "", "The components as they are coded, YCbCr in place of RGB", kReading, kJpeg,
   [](Asked* a, Self self, Text v) { a->decode.jpeg.convertColour = !flag(self, v); }},
  {"reduce", "0 to 32", "Resolutions to leave out; each halves the size", kReading, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->decode.jpeg2000.reduce = number(self, v, 0, 32); }},
  {"max-layers", "1 to 65535", "Quality layers to decode", kReading, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->decode.jpeg2000.maxLayers = number(self, v, 1, 65535); }},
  {"mip", "0 to 32", "Mip level", kReading, kDds,
   [](Asked* a, Self self, Text v) { a->decode.dds.level = number(self, v, 0, 32); }},
  {"face", "0 to 5", "Face of a cube map", kReading, kDds,
   [](Asked* a, Self self, Text v) { a->decode.dds.face = number(self, v, 0, 5); }},
  {"element", "0 to 65535", "Element of an array", kReading, kDds,
   [](Asked* a, Self self, Text v) { a->decode.dds.element = number(self, v, 0, 65535); }},
  {"page", "0 to 65535", "Page, from 0", kReading, kTiff,
   [](Asked* a, Self self, Text v) { a->decode.tiff.page = number(self, v, 0, 65535); }},
  {"quality", "1 to 100", "Quality; 85 by default", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.quality = number(self, v, 1, 100); }},
  {"sampling", "444, 422 or 420", "Chroma sampling; 420 by default", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.sampling = named(self, v, kSamplings); }},
  {"restart", "0 to 65535", "MCUs between restart markers", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.restartInterval = number(self, v, 0, 65535); }},
  {"restart-rows", "0 to 65535", "The same in rows of MCUs", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.restartRows = number(self, v, 0, 65535); }, "restart"},
  {"by-plane", "", "Chroma is averaged in planes of bytes, not MCU by MCU", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.chromaByPlane = flag(self, v); }},
  {"cmyk", "", "CMYK pictures as they are, not as YCCK", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.ycck = !flag(self, v); }},
  {"optimise", "", "Huffman tables fitted to the picture", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.optimiseTables = flag(self, v); }},
  {"progressive", "", "A progressive file", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->progressive = flag(self, v); }, "lossless"},
  {"scans", "a script such as 0,1,2: 0-0, 0, 1; 0: 1-63, 0, 2; ...", "The scans of a file", kWriting, kJpeg,
   [](Asked* a, Self, Text v) { a->encode.jpeg.script = parseScanScript(v); }},
  {"lossless", "", "Without loss; JPEG 2000 is so without rate and psnr", kWriting, kJpeg | kJpeg2000,
   [](Asked* a, Self self, Text v) { a->lossless = flag(self, v); }},
  {"predictor", "1 to 7", "Predictor of lossless files", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.predictor = number(self, v, 1, 7); }, "", "lossless"},
  {"point-transform", "0 to 15", "Low bits that a lossless file drops", kWriting, kJpeg,
   [](Asked* a, Self self, Text v) { a->encode.jpeg.pointTransform = number(self, v, 0, 15); }, "", "lossless"},
  {"rate", "a number above 0", "Bits per pixel; without rate and psnr nothing is lost", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.rate = real(self, v, 1e-6, 1e6); }},
  {"psnr", "1 to 200", "Quality in dB", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.psnr = real(self, v, 1, 200); }, "rate"},
  {"layers", "1 to 1000", "Quality layers", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.layers = number(self, v, 1, 1000); }},
  {"levels", "0 to 32", "Levels of the wavelet transform; 5 by default", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.levels = number(self, v, 0, 32); }},
  {"block", "WIDTH,HEIGHT", "Size of code blocks; 64,64 by default", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) {
     const std::array<int, 2> wh = size(self, v);
     a->encode.jpeg2000.codeBlockWidth = wh[0];
     a->encode.jpeg2000.codeBlockHeight = wh[1];
   }},
  {"precinct", "a power of two", "Width and height of precincts", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.precinct = number(self, v, 0, 1 << 30); }},
  {"style", "bypass, reset, terminate, causal, predictable or segmentation, joined by +", "Code-block styles",
   kWriting, kJpeg2000, [](Asked* a, Self self, Text v) { a->encode.jpeg2000.style = styles(self, v); }},
  {"progression", "lrcp, rlcp, rpcl, pcrl or cprl", "Order of packets", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.progression = named(self, v, kProgressions); }},
  {"sop", "", "Markers before packets", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.sop = flag(self, v); }},
  {"eph", "", "Markers after packet headers", kWriting, kJpeg2000,
   [](Asked* a, Self self, Text v) { a->encode.jpeg2000.eph = flag(self, v); }},
  {"tile", "WIDTH,HEIGHT", "Size of tiles", kWriting, kJpeg2000 | kTiff,
   [](Asked* a, Self self, Text v) {
     const std::array<int, 2> wh = size(self, v);
     a->encode.jpeg2000.tileWidth = a->encode.tiff.tileWidth = wh[0];
     a->encode.jpeg2000.tileHeight = a->encode.tiff.tileHeight = wh[1];
   }},
  {"texture", "dxt1, dxt3, dxt5 or ycocg", "Format of blocks", kWriting, kDds,
   [](Asked* a, Self self, Text v) { a->encode.dds.format = named(self, v, kTextures); }},
  {"mips", "0 to 32", "Mip levels; 0 for all down to one pixel, 1 by default", kWriting, kDds,
   [](Asked* a, Self self, Text v) { a->encode.dds.levels = number(self, v, 0, 32); }},
  {"compression", "none, packbits, lzw or deflate", "How strips and tiles are packed; packbits by default", kWriting,
   kTiff,
   [](Asked* a, Self self, Text v) { a->encode.tiff.compression = named(self, v, kCompressions); }},
  {"big-endian", "", "High bytes first", kWriting, kTiff,
   [](Asked* a, Self self, Text v) { a->encode.tiff.bigEndian = flag(self, v); }},
  {"bigtiff", "", "Offsets of 64 bits, which files above 4 GB have anyhow", kWriting, kTiff,
   [](Asked* a, Self self, Text v) { a->encode.tiff.big = flag(self, v); }},
  {"rows-per-strip", "0 to 1073741824", "Rows of a strip; 0 for about 64 KiB", kWriting, kTiff,
   [](Asked* a, Self self, Text v) { a->encode.tiff.rowsPerStrip = number(self, v, 0, 1 << 30); }},
  {"png-level", "0 to 9", "Compression of PNG files; 6 by default", kWriting, kPng,
   [](Asked* a, Self self, Text v) { a->encode.png.level = number(self, v, 0, 9); }},
};

}  // namespace

PictureFormat wished(const PictureFormat& picture, const Wishes& wishes) {
  PictureFormat f = picture;
  if (wishes.grey) f.model = hasOpacity(f.model) ? ColourModel::greyAlpha : ColourModel::grey;
  if (wishes.depth) f.bitDepth = wishes.depth;
  return f;
}

PictureFormat storable(const PictureFormat& picture, Format format, const AnyEncodeOptions& options) {
  PictureFormat f = picture;
  f.model = nearestModel(format, f.model);
  const bool bytesAlone =
      format == Format::dds || (format == Format::jpeg && options.jpeg.process != JpegProcess::lossless);
  if (bytesAlone && f.bitDepth > 8)
    throw Error(ErrorKind::argument, std::string(nameOf(format)) +
                                         " files of this kind hold 8 bits a sample, and the picture has " +
                                         std::to_string(f.bitDepth) + "; a depth of 8 reduces it");
  if (bytesAlone) f.bitDepth = 8;  // nothing is lost by that
  return f;
}

SettingList allSettings() { return {std::begin(kSettings), std::end(kSettings)}; }

std::string Settings::shown(const char* name) const { return std::string(dashes_) + name; }

bool Settings::given(const std::string& name) const {
  return std::any_of(given_.begin(), given_.end(), [&](const Given& g) { return g.setting->name == name && g.on; });
}

void Settings::give(const std::string& name, const std::string& value) {
  const SettingList all = allSettings();
  const Setting* const found =
      std::find_if(all.begin(), all.end(), [&](const Setting& s) { return s.name == name && (s.roles & role_); });
  if (found == all.end())
    throw Error(ErrorKind::argument, std::string("no setting of ") + (role_ == kReading ? "reading" : "writing") +
                                         " is named \"" + name + "\"");
  if (std::any_of(given_.begin(), given_.end(), [&](const Given& g) { return g.setting == found; }))
    throw Error(ErrorKind::argument, shown(found->name) + " is given twice");
  found->apply(&asked_, *found, value);
  given_.push_back({found, *found->values != '\0' || value == "yes"});
}

Asked Settings::settle(Format format) const {
  const auto refuse = [](const std::string& text) { throw Error(ErrorKind::argument, text); };
  for (const Given& g : given_) {
    const Setting& s = *g.setting;
    if (s.formats && !(s.formats & of(format)))
      refuse(shown(s.name) + " means nothing here: the " + (role_ == kReading ? "input" : "output") + " is " +
             nameOf(format));
    if (g.on && given(s.excludes)) refuse(shown(s.name) + " and " + shown(s.excludes) + " exclude each other");
    if (g.on && *s.needs && !given(s.needs)) refuse(shown(s.name) + " needs " + shown(s.needs));
  }
  Asked a = asked_;
  Jpeg2000EncodeOptions& j = a.encode.jpeg2000;
  j.lossless = j.rate == 0 && j.psnr == 0;
  if (a.lossless && !j.lossless) refuse("a lossless file has the rate that it needs");
  JpegEncodeOptions& e = a.encode.jpeg;
  // A script of scans with parts of the coefficients or of their bits makes a file progressive.
  const bool refines = std::any_of(e.script.begin(), e.script.end(),
                                   [](const JpegScan& s) { return s.ss != 0 || s.se != 63 || s.ah != 0 || s.al != 0; });
  e.process = a.lossless                 ? JpegProcess::lossless
              : a.progressive || refines ? JpegProcess::progressive
                                         : JpegProcess::baseline;
  return a;
}

}  // namespace zelcodecs
