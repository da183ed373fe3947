// zelcodec: the example codecs on the command line.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <new>

#include "dds/dds.h"
#include "common/error.h"
#include "files.h"
#include "info.h"
#include "jpeg/jpeg.h"
#include "jpeg2000/jpeg2000.h"
#include "common/metrics.h"
#include "names.h"
#include "tiff/tiff.h"

namespace {

using namespace zelcodecs;
using namespace zelcodec;

enum ExitCode { kOk = 0, kUsage = 1, kFiles = 2, kInput = 3, kDiffer = 4 };

const char* const kFooter =
    "Exit codes: 0 success; 1 wrong usage; 2 a file cannot be read or written; 3 the input is damaged, unsupported or\n"
    "above the limits; 4 the pictures differ (compare).";

// A line on standard error that shows how far long work is: on a terminal, or where asked for.
class ProgressLine {
 public:
  ProgressLine(bool wanted, const std::string& what) : shown_(wanted || isatty(2)), what_(what) {}
  ~ProgressLine() {
    if (drawn_) std::fprintf(stderr, "\r%*s\r", int(what_.size()) + 8, "");
  }
  Progress callback() {
    if (!shown_) return nullptr;
    return [this](double part) {
      const int percent = int(part * 100);
      if (percent == last_) return;
      last_ = percent;
      drawn_ = true;
      std::fprintf(stderr, "\r%s %3d %%", what_.c_str(), percent);
      std::fflush(stderr);
    };
  }

 private:
  bool shown_;
  bool drawn_ = false;
  int last_ = -1;
  std::string what_;
};

// Runs work as often as asked for and reports the fastest run: the first one also pays for fresh memory.
template <class Work>
double fastest(int repeat, const Work& work) {
  double best = 0;
  for (int i = 0; i < repeat; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double took = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    best = i ? std::min(best, took) : took;
  }
  return best;
}

struct Options {
  std::string in, out, second;
  bool progress = false, time = false, json = false;
  int repeat = 1;
  // encode
  JpegEncodeOptions encode;
  bool grey = false, progressive = false, lossless = false;
  std::string scans;
  int threads = 0;
  Jpeg2000EncodeOptions encode2000;
  std::vector<int> blockSize, tileSize;
  std::vector<std::string> styles;
  DdsEncodeOptions encodeDds;
  TiffEncodeOptions encodeTiff;
  bool uncompressed = false;
  // decode
  JpegDecodeOptions decode;
  bool fast = false, raw = false, keepGoing = false;
  Jpeg2000DecodeOptions decode2000;
  DdsDecodeOptions decodeDds;
  TiffDecodeOptions decodeTiff;
  uint64_t maxPixels = Limits{}.maxPixels;
  int pngLevel = 6;
  // compare
  std::string diff, saveFirst, saveSecond;
  std::vector<int> crop;  // x, y, width, height
  double gain = 16, minPsnr = 0, minSsim = -1;
  bool exact = false;
};

// What all decoders have in common.
template <class Set>
void forDecoders(Options& o, const Set& set) {
  set(o.decode);
  set(o.decode2000);
  set(o.decodeDds);
  set(o.decodeTiff);
}

Image decodeAny(const std::vector<uint8_t>& bytes, const Options& o) {
  if (isJpeg(bytes)) return decodeJpeg(bytes.data(), bytes.size(), o.decode);
  if (isJpeg2000(bytes.data(), bytes.size())) return decodeJpeg2000(bytes.data(), bytes.size(), o.decode2000);
  if (isDds(bytes.data(), bytes.size())) return decodeDds(bytes.data(), bytes.size(), o.decodeDds);
  if (isTiff(bytes.data(), bytes.size())) return decodeTiff(bytes.data(), bytes.size(), o.decodeTiff);
  return readPicture(bytes);
}

std::vector<uint8_t> encodeAs2000(const Image& image, Options& o) {
  Jpeg2000EncodeOptions& e = o.encode2000;
  e.lossless = e.rate == 0 && e.psnr == 0;
  if (o.lossless && !e.lossless) throw Error(ErrorKind::argument, "a lossless file has the rate that it needs");
  e.jp2 = ending(o.out) == "jp2";
  e.threads = o.threads;
  e.progress = o.encode.progress;
  if (!o.blockSize.empty()) e.codeBlockWidth = o.blockSize[0], e.codeBlockHeight = o.blockSize[1];
  if (!o.tileSize.empty()) e.tileWidth = o.tileSize[0], e.tileHeight = o.tileSize[1];
  e.style = 0;
  for (const std::string& s : o.styles) e.style |= kStyles.at(s);
  return encodeJpeg2000(image, e);
}

std::vector<uint8_t> encodeAsDds(const Image& image, Options& o) {
  o.encodeDds.threads = o.threads;
  o.encodeDds.progress = o.encode.progress;
  return encodeDds(image, o.encodeDds);
}

std::vector<uint8_t> encodeAsTiff(const Image& image, Options& o) {
  o.encodeTiff.compression = o.uncompressed ? TiffCompression::none : TiffCompression::packBits;
  o.encodeTiff.threads = o.threads;
  o.encodeTiff.progress = o.encode.progress;
  return encodeTiff(image, o.encodeTiff);
}

// The format is that of the output's ending, JPEG where it is none of the others.
std::vector<uint8_t> encodeAny(const Image& image, Options& o) {
  const std::string e = ending(o.out);
  if (isJpeg2000Ending(e)) return encodeAs2000(image, o);
  if (e == "dds") return encodeAsDds(image, o);
  if (isTiffEnding(e)) return encodeAsTiff(image, o);
  return encodeJpeg(image, o.encode);
}

int encode(Options& o) {
  const std::vector<uint8_t> bytes = readFile(o.in);
  Image image = decodeAny(bytes, o);
  if (o.grey) image = toGrey(image);
  o.encode.process = o.lossless      ? JpegProcess::lossless
                     : o.progressive ? JpegProcess::progressive
                                     : JpegProcess::baseline;
  if (!o.scans.empty()) {
    const std::vector<uint8_t> script = readFile(o.scans);
    o.encode.script = parseScanScript(std::string(script.begin(), script.end()));
    // The script says what kind of file it is for.
    const auto partial = [](const JpegScan& s) { return s.ss != 0 || s.se != 63; };
    if (std::any_of(o.encode.script.begin(), o.encode.script.end(), partial))
      o.encode.process = JpegProcess::progressive;
  }
  o.encode.threads = o.threads;
  ProgressLine line(o.progress, "encoding");
  o.encode.progress = line.callback();
  std::vector<uint8_t> file;
  const double took = fastest(o.repeat, [&] { file = encodeAny(image, o); });
  writeFile(o.out, file);
  if (o.time) std::fprintf(stderr, "%.2f ms\n", took);
  return kOk;
}

int decode(Options& o) {
  const std::vector<uint8_t> bytes = readFile(o.in);
  std::vector<std::string> warnings;
  double took = 0;
  Image image;
  {
    ProgressLine line(o.progress, "decoding");
    const Progress progress = line.callback();
    forDecoders(o, [&](auto& d) {
      d.progress = progress;
      d.warnings = &warnings;
      d.keepGoing = o.keepGoing;
      d.threads = o.threads;
      d.limits.maxPixels = o.maxPixels;
    });
    o.decode.smooth = !o.fast;
    o.decode.convertColour = !o.raw;
    took = fastest(o.repeat, [&] {
      warnings.clear();
      image = decodeAny(bytes, o);
    });
  }
  for (const std::string& w : warnings) std::fprintf(stderr, "%s: warning: %s\n", o.in.c_str(), w.c_str());
  writeFile(o.out, packPicture(o.out, image, o.pngLevel));
  if (o.time) std::fprintf(stderr, "%.2f ms\n", took);
  return kOk;
}

int info(Options& o) {
  printInfo(readFile(o.in), o.json);
  return kOk;
}

// JSON has no infinity: null then.
std::string number(double v, bool json) {
  if (std::isinf(v)) return json ? "null" : "infinite";
  char text[32];
  std::snprintf(text, sizeof text, "%.4f", v);
  return text;
}

int compare(Options& o) {
  forDecoders(o, [&](auto& d) { d.limits.maxPixels = o.maxPixels; });
  Image a = decodeAny(readFile(o.in), o), b = decodeAny(readFile(o.second), o);
  // A picture without opacity is an opaque one.
  if (a.model() == ColourModel::rgba && b.model() == ColourModel::rgb) b = toColour(b, a.model());
  if (b.model() == ColourModel::rgba && a.model() == ColourModel::rgb) a = toColour(a, b.model());
  if (a.width() != b.width() || a.height() != b.height() || a.model() != b.model() || a.bitDepth() != b.bitDepth()) {
    std::printf(o.json ? "{\"comparable\": false}\n" : "the pictures differ in size, colour model or bit depth\n");
    return kDiffer;
  }
  const Difference d = difference(a, b);
  const double similarity = ssim(a, b);
  std::string channels;
  for (double v : d.channelPsnr) channels += (channels.empty() ? "" : o.json ? ", " : " ") + number(v, o.json);
  std::printf(o.json ? "{\"comparable\": true, \"psnr\": %s, \"channelPsnr\": [%s], \"ssim\": %.6f, \"largest\": %d, "
                       "\"differing\": %llu}\n"
                     : "PSNR %s dB (channels: %s)\nSSIM %.6f\nlargest difference %d, %llu samples differ\n",
              number(d.psnr, o.json).c_str(), channels.c_str(), similarity, d.largest,
              static_cast<unsigned long long>(d.differing));
  const auto save = [&](const std::string& path, const Image& image) {
    if (path.empty()) return;
    const std::vector<int>& r = o.crop;
    const Image part = r.empty() ? image.clone() : crop(image, r[0], r[1], r[2], r[3]);
    writeFile(path, packPicture(path, part, o.pngLevel));
  };
  save(o.saveFirst, a);
  save(o.saveSecond, b);
  if (!o.diff.empty()) save(o.diff, differencePicture(a, b, o.gain));
  return d.psnr < o.minPsnr || similarity < o.minSsim || (o.exact && d.differing) ? kDiffer : kOk;
}

void addCommon(CLI::App* c, Options& o) {
  c->add_flag("--progress", o.progress, "Show progress even where standard error is no terminal");
  c->add_flag("--time", o.time, "Print the time that the codec took, without files, to standard error");
  c->add_option("--threads", o.threads, "Threads to use; 0 for one on each core")->check(CLI::Range(0, 1024));
  c->add_option("--repeat", o.repeat, "Do the work so often and print the shortest time")->check(CLI::Range(1, 1000));
}

CLI::App* addEncode(CLI::App& app, Options& o) {
  CLI::App* e = app.add_subcommand("encode", "Picture to JPEG, JPEG 2000, DDS or TIFF");
  e->add_option("input", o.in, "File of any kind that is read, or - for standard input")->required();
  e->add_option(
       "output", o.out,
       "File; .jp2, .j2k, .j2c and .jpc are JPEG 2000, .dds DDS, .tif and .tiff TIFF, anything else and - JPEG")
      ->required();
  e->add_option("-q,--quality", o.encode.quality, "Quality")->check(CLI::Range(1, 100))->capture_default_str();
  const std::map<std::string, Sampling> samplings = {
      {"444", Sampling::s444}, {"422", Sampling::s422}, {"420", Sampling::s420}};
  e->add_option("-s,--sampling", o.encode.sampling, "Chroma sampling: 444, 422 or 420 (the default)")
      ->transform(CLI::CheckedTransformer(samplings).description(""));
  e->add_option("-r,--restart", o.encode.restartInterval, "MCUs between restart markers, 0 for none")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  e->add_flag("--by-plane", o.encode.chromaByPlane, "Average chroma in planes of bytes, not MCU by MCU");
  e->add_flag("!--cmyk", o.encode.ycck, "Code CMYK pictures as they are, not as YCCK");
  e->add_flag("--optimise", o.encode.optimiseTables, "Fit the Huffman tables to the picture");
  CLI::Option* progressive = e->add_flag("--progressive", o.progressive, "Write a progressive file");
  e->add_option("--scans", o.scans, "File with the scans, such as: 0,1,2: 0-0, 0, 1; 0: 1-63, 0, 2; ...")
      ->check(CLI::ExistingFile);
  CLI::Option* lossless = e->add_flag("--lossless", o.lossless, "Write a lossless file")->excludes(progressive);
  e->add_option("--predictor", o.encode.predictor, "Predictor of lossless files, 1 to 7")
      ->check(CLI::Range(1, 7))
      ->needs(lossless)
      ->capture_default_str();
  e->add_option("--point-transform", o.encode.pointTransform, "Low bits that a lossless file drops")
      ->check(CLI::Range(0, 15))
      ->needs(lossless)
      ->capture_default_str();
  e->add_option("--restart-rows", o.encode.restartRows, "The same in rows of MCUs")->check(CLI::Range(0, 65535));
  const char* const newer = "JPEG 2000";
  CLI::Option* rate = e->add_option("--rate", o.encode2000.rate, "Bits per pixel; without it nothing is lost")
                          ->check(CLI::PositiveNumber)
                          ->group(newer);
  e->add_option("--psnr", o.encode2000.psnr, "Quality in dB")->check(CLI::PositiveNumber)->excludes(rate)->group(newer);
  e->add_option("--layers", o.encode2000.layers, "Quality layers")->check(CLI::Range(1, 1000))->group(newer);
  e->add_option("--levels", o.encode2000.levels, "Levels of the wavelet transform")
      ->check(CLI::Range(0, 32))
      ->group(newer);
  e->add_option("--block", o.blockSize, "Width and height of code blocks")->expected(2)->group(newer);
  e->add_option("--tile", o.tileSize, "Width and height of tiles")->expected(2)->group(newer);
  e->add_option("--precinct", o.encode2000.precinct, "Width and height of precincts")->group(newer);
  e->add_option("--style", o.styles, "Code-block styles: bypass reset terminate causal predictable segmentation")
      ->check(CLI::IsMember(kStyles))
      ->group(newer);
  e->add_option("--progression", o.encode2000.progression, "Order of packets: lrcp rlcp rpcl pcrl cprl")
      ->transform(CLI::CheckedTransformer(kProgressions).description(""))
      ->group(newer);
  e->add_flag("--sop", o.encode2000.sop, "Markers before packets")->group(newer);
  e->add_flag("--eph", o.encode2000.eph, "Markers after packet headers")->group(newer);
  const char* const dds = "DDS";
  e->add_option("--texture", o.encodeDds.format, "Format of blocks: dxt1 dxt3 dxt5 ycocg")
      ->transform(CLI::CheckedTransformer(kTextureFormats).description(""))
      ->group(dds);
  e->add_option("--mips", o.encodeDds.levels, "Mip levels; 0 for all down to one pixel")
      ->check(CLI::Range(0, 32))
      ->group(dds)
      ->capture_default_str();
  const char* const tiff = "TIFF";
  e->add_flag("--uncompressed", o.uncompressed, "Leave out PackBits")->group(tiff);
  e->add_flag("--big-endian", o.encodeTiff.bigEndian, "High bytes first")->group(tiff);
  e->add_option("--rows-per-strip", o.encodeTiff.rowsPerStrip, "Rows of a strip; 0 for about 64 KiB")
      ->check(CLI::Range(0, 1 << 30))
      ->group(tiff);
  e->add_flag("--grey", o.grey, "Encode the luminance alone");
  addCommon(e, o);
  e->footer("Example:\n  zelcodec encode photo.png photo.jpg --quality 90 --sampling 422 --progressive");
  return e;
}

CLI::App* addDecode(CLI::App& app, Options& o) {
  CLI::App* d = app.add_subcommand("decode", "File to picture (PNG, PGM, PPM, PAM)");
  d->add_option("input", o.in, "File, or - for standard input")->required();
  d->add_option("output", o.out, "Picture; its ending gives the format. - for Netpbm on standard output")->required();
  const std::map<std::string, int> scales = {{"1", 1}, {"1/2", 2}, {"1/4", 4}, {"1/8", 8}};
  d->add_option("--scale", o.decode.scaleDenominator, "Size: 1, 1/2, 1/4 or 1/8")
      ->transform(CLI::CheckedTransformer(scales).description(""));
  d->add_option("--reduce", o.decode2000.reduce, "Resolutions of a JPEG 2000 file to leave out; each halves the size")
      ->check(CLI::Range(0, 32));
  d->add_option("--layers", o.decode2000.maxLayers, "Quality layers of a JPEG 2000 file to decode")
      ->check(CLI::Range(1, 65535));
  d->add_option("--mip", o.decodeDds.level, "Mip level of a DDS file")->check(CLI::Range(0, 32));
  d->add_option("--page", o.decodeTiff.page, "Page of a TIFF file, from 0")->check(CLI::Range(0, 65535));
  d->add_flag("--fast", o.fast, "Replicate halved chroma, which is otherwise interpolated");
  d->add_flag("--components", o.raw, "Write the components as they are coded, YCbCr in place of RGB");
  d->add_flag("--keep-going", o.keepGoing, "Decode damaged files as far as they go, with warnings");
  d->add_option("--max-pixels", o.maxPixels, "Refuse larger pictures")->capture_default_str();
  d->add_option("--png-level", o.pngLevel, "Compression of PNG files")->check(CLI::Range(0, 9))->capture_default_str();
  addCommon(d, o);
  d->footer("Example:\n  zelcodec decode photo.jpg thumbnail.png --scale 1/8");
  return d;
}

CLI::App* addInfo(CLI::App& app, Options& o) {
  CLI::App* i = app.add_subcommand("info", "What a file says about itself");
  i->add_option("input", o.in, "File of any kind that is read")->required();
  i->add_flag("--json", o.json, "Print JSON");
  i->footer("Example:\n  zelcodec info photo.jpg --json");
  return i;
}

CLI::App* addCompare(CLI::App& app, Options& o) {
  CLI::App* c = app.add_subcommand("compare", "PSNR and SSIM of two pictures, in files of any kind");
  c->add_option("first", o.in, "The original")->required();
  c->add_option("second", o.second, "The other picture")->required();
  c->add_option("--diff", o.diff, "Write a picture of the differences, grey where there is none");
  c->add_option("--gain", o.gain, "Magnification of the differences in it")->capture_default_str();
  c->add_option("--save-first", o.saveFirst, "Write the first picture as it was read");
  c->add_option("--save-second", o.saveSecond, "Write the second picture as it was read");
  c->add_option("--crop", o.crop, "X Y WIDTH HEIGHT: what of the pictures is written")->expected(4);
  c->add_option("--min-psnr", o.minPsnr, "Exit with 4 where the PSNR over all channels is below this");
  c->add_option("--min-ssim", o.minSsim, "Exit with 4 where the SSIM is below this");
  c->add_option("--png-level", o.pngLevel, "Compression of PNG files")->check(CLI::Range(0, 9))->capture_default_str();
  c->add_option("--max-pixels", o.maxPixels, "Refuse larger pictures")->capture_default_str();
  c->add_flag("--exact", o.exact, "Exit with 4 unless all samples are equal");
  c->add_flag("--json", o.json, "Print JSON");
  c->footer("Example:\n  zelcodec compare original.png photo.jpg --diff difference.png --gain 16 --min-psnr 35");
  return c;
}

// Carries out the command that was given; what goes wrong becomes a message and an exit code.
int run(int argc, char** argv) {
  Options o;
  CLI::App app("Encodes, decodes and compares JPEG, JPEG 2000, DDS and TIFF pictures.", "zelcodec");
  app.require_subcommand(1);
  app.footer(kFooter);
  const CLI::App* const e = addEncode(app, o);
  const CLI::App* const d = addDecode(app, o);
  const CLI::App* const i = addInfo(app, o);
  addCompare(app, o);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) ? kUsage : kOk;
  }
  try {
    return *e ? encode(o) : *d ? decode(o) : *i ? info(o) : compare(o);
  } catch (const FileError& error) {
    std::fprintf(stderr, "zelcodec: %s\n", error.what());
    return kFiles;
  } catch (const Error& error) {
    std::fprintf(stderr, "zelcodec: %s: %s\n", o.in.c_str(), error.what());
    return error.kind() == ErrorKind::argument ? kUsage : kInput;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zelcodec: out of memory\n");
    return kInput;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zelcodec: %s\n", error.what());
    return kInput;
  }
}
