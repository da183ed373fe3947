// The options of every command, and which of them each format knows.
#include "options.h"

#include <algorithm>
#include <cstdio>

#include "common/error.h"

namespace zelcodec {

using namespace zelcodecs;

const std::map<std::string, CodeBlockStyle> kStyles = {{"bypass", kBypass},           {"reset", kReset},
                                                       {"terminate", kTerminate},     {"causal", kCausal},
                                                       {"predictable", kPredictable}, {"segmentation", kSegmentation}};
const std::map<std::string, Progression> kProgressions = {{"lrcp", Progression::lrcp},
                                                          {"rlcp", Progression::rlcp},
                                                          {"rpcl", Progression::rpcl},
                                                          {"pcrl", Progression::pcrl},
                                                          {"cprl", Progression::cprl}};
const std::map<std::string, Format> kFormats = {
    {"jpg", Format::jpeg}, {"jp2", Format::jpeg2000}, {"j2k", Format::jpeg2000}, {"dds", Format::dds},
    {"tif", Format::tiff}, {"png", Format::png},      {"pnm", Format::netpbm}};

namespace {

const std::map<std::string, TextureFormat> kTextures = {{"dxt1", TextureFormat::dxt1},
                                                        {"dxt3", TextureFormat::dxt3},
                                                        {"dxt5", TextureFormat::dxt5},
                                                        {"ycocg", TextureFormat::ycocg}};
const std::map<std::string, TiffCompression> kCompressions = {{"none", TiffCompression::none},
                                                              {"packbits", TiffCompression::packBits},
                                                              {"lzw", TiffCompression::lzw},
                                                              {"deflate", TiffCompression::deflate}};
const std::map<std::string, Sampling> kSamplings = {
    {"444", Sampling::s444}, {"422", Sampling::s422}, {"420", Sampling::s420}};
const std::map<std::string, int> kScales = {{"1", 1}, {"1/2", 2}, {"1/4", 4}, {"1/8", 8}};

template <class Value>
CLI::Option* addNamed(CLI::App* c, const std::string& name, Value& value, const std::map<std::string, Value>& names,
                      const std::string& help) {
  return c->add_option(name, value, help)->transform(CLI::CheckedTransformer(names).description(""));
}

// "white", "black", "R,G,B" or "#RRGGBB".
std::array<int, 3> parseColour(const std::string& text) {
  if (text == "white") return {255, 255, 255};
  if (text == "black") return {0, 0, 0};
  unsigned c[3];
  int length = 0;
  const bool hex = std::sscanf(text.c_str(), "#%2x%2x%2x%n", &c[0], &c[1], &c[2], &length) == 3 && length == 7;
  const bool decimal = !hex && std::sscanf(text.c_str(), "%3u,%3u,%3u%n", &c[0], &c[1], &c[2], &length) == 3;
  if ((!hex && !decimal) || size_t(length) != text.size() || std::max({c[0], c[1], c[2]}) > 255)
    throw Error(ErrorKind::argument, "a background is white, black, R,G,B or #RRGGBB, not " + text);
  return {int(c[0]), int(c[1]), int(c[2])};
}

// A rectangle in one word, so that the next one is not taken for a part of it.
CLI::Option* addCrop(CLI::App* c, Region* crop, const std::string& help) {
  return c
      ->add_option(
          "--crop",
          [crop](const CLI::results_t& words) {
            int length = 0;
            const std::string& w = words.at(0);
            const int read =
                std::sscanf(w.c_str(), "%9d,%9d,%9d,%9d%n", &crop->x, &crop->y, &crop->width, &crop->height, &length);
            return read == 4 && size_t(length) == w.size() && crop->width > 0 && crop->height > 0;
          },
          help)
      ->type_name("X,Y,WIDTH,HEIGHT");
}

void addPictureOptions(CLI::App* c, ConvertCommand* o) {
  const char* const group = "The picture";
  addCrop(c, &o->decode.common.region, "This part alone; the rest is not decoded where that can be")->group(group);
  c->add_flag("--grey", o->grey, "The luminance alone")->group(group);
  c->add_option("--depth", o->depth, "Bits a sample: 8 or 16")->check(CLI::IsMember({8, 16}))->group(group);
  c->add_option("--background", o->backgroundText,
                "Where the output holds no opacity: what shows through; white, black, R,G,B or #RRGGBB")
      ->group(group);
  c->add_flag("--auto-orient", o->autoOrient, "Turn the picture upright, as its metadata tells")->group(group);
  c->add_flag("--strip", o->strip, "Leave out all metadata")->group(group);
  c->add_flag("--keep-going", o->decode.common.keepGoing, "Decode damaged files as far as they go, with warnings")
      ->group(group);
}

void addReading(CLI::App* c, ConvertCommand* o) {
  const char* const group = "Reading";
  FormatOptions& f = o->reading;
  f.add(addNamed(c, "--scale", o->decode.jpeg.scaleDenominator, kScales, "JPEG: size 1, 1/2, 1/4 or 1/8")->group(group),
        {Format::jpeg});
  f.add(c->add_flag("--fast", o->fast, "JPEG: replicate halved chroma, which is otherwise interpolated")->group(group),
        {Format::jpeg});
  f.add(c->add_flag("--components", o->components, "JPEG: the components as they are coded, YCbCr in place of RGB")
            ->group(group),
        {Format::jpeg});
  f.add(
      c->add_option("--reduce", o->decode.jpeg2000.reduce, "JPEG 2000: resolutions to leave out; each halves the size")
          ->check(CLI::Range(0, 32))
          ->group(group),
      {Format::jpeg2000});
  f.add(c->add_option("--max-layers", o->decode.jpeg2000.maxLayers, "JPEG 2000: quality layers to decode")
            ->check(CLI::Range(1, 65535))
            ->group(group),
        {Format::jpeg2000});
  f.add(c->add_option("--mip", o->decode.dds.level, "DDS: mip level")->check(CLI::Range(0, 32))->group(group),
        {Format::dds});
  f.add(c->add_option("--face", o->decode.dds.face, "DDS: face of a cube map, 0 to 5")
            ->check(CLI::Range(0, 5))
            ->group(group),
        {Format::dds});
  f.add(c->add_option("--element", o->decode.dds.element, "DDS: element of an array")
            ->check(CLI::Range(0, 65535))
            ->group(group),
        {Format::dds});
  f.add(c->add_option("--page", o->decode.tiff.page, "TIFF: page, from 0")->check(CLI::Range(0, 65535))->group(group),
        {Format::tiff});
}

void addJpeg(CLI::App* c, ConvertCommand* o) {
  const char* const group = "Writing JPEG";
  JpegEncodeOptions& e = o->encode.jpeg;
  const auto add = [&](CLI::Option* option) {
    option->group(group);
    o->writing.add(option, {Format::jpeg});
    return option;
  };
  add(c->add_option("-q,--quality", e.quality, "Quality")->check(CLI::Range(1, 100))->capture_default_str());
  add(addNamed(c, "-s,--sampling", e.sampling, kSamplings, "Chroma sampling: 444, 422 or 420 (the default)"));
  CLI::Option* restart = add(c->add_option("-r,--restart", e.restartInterval, "MCUs between restart markers"));
  restart->check(CLI::Range(0, 65535));
  add(c->add_option("--restart-rows", e.restartRows, "The same in rows of MCUs"))
      ->check(CLI::Range(0, 65535))
      ->excludes(restart);
  add(c->add_flag("--by-plane", e.chromaByPlane, "Average chroma in planes of bytes, not MCU by MCU"));
  add(c->add_flag("!--cmyk", e.ycck, "Code CMYK pictures as they are, not as YCCK"));
  add(c->add_flag("--optimise", e.optimiseTables, "Fit the Huffman tables to the picture"));
  CLI::Option* progressive = add(c->add_flag("--progressive", o->progressive, "Write a progressive file"));
  add(c->add_option("--scans", o->scans, "File with the scans, such as: 0,1,2: 0-0, 0, 1; 0: 1-63, 0, 2; ..."))
      ->check(CLI::ExistingFile);
  CLI::Option* lossless = c->add_flag("--lossless", o->lossless,
                                      "JPEG: a lossless file; JPEG 2000 is so without --rate "
                                      "and --psnr");
  o->writing.add(lossless->excludes(progressive)->group(group), {Format::jpeg, Format::jpeg2000});
  add(c->add_option("--predictor", e.predictor, "Predictor of lossless files, 1 to 7"))
      ->check(CLI::Range(1, 7))
      ->needs(lossless);
  add(c->add_option("--point-transform", e.pointTransform, "Low bits that a lossless file drops"))
      ->check(CLI::Range(0, 15))
      ->needs(lossless);
}

void addJpeg2000(CLI::App* c, ConvertCommand* o) {
  const char* const group = "Writing JPEG 2000";
  Jpeg2000EncodeOptions& e = o->encode.jpeg2000;
  const auto add = [&](CLI::Option* option) {
    option->group(group);
    o->writing.add(option, {Format::jpeg2000});
    return option;
  };
  CLI::Option* rate = add(c->add_option("--rate", e.rate, "Bits per pixel; without it nothing is lost"));
  rate->check(CLI::Range(1e-6, 1e6).description("above 0"));
  add(c->add_option("--psnr", e.psnr, "Quality in dB"))
      ->check(CLI::Range(1.0, 200.0).description("1 to 200"))
      ->excludes(rate);
  add(c->add_option("--layers", e.layers, "Quality layers"))->check(CLI::Range(1, 1000));
  add(c->add_option("--levels", e.levels, "Levels of the wavelet transform"))->check(CLI::Range(0, 32));
  add(c->add_option("--block", o->blockSize, "Width and height of code blocks"))->expected(2)->delimiter(',');
  add(c->add_option("--precinct", e.precinct, "Width and height of precincts"));
  add(c->add_option("--style", o->styles, "Code-block styles: bypass reset terminate causal predictable segmentation"))
      ->check(CLI::IsMember(kStyles).description(""));
  add(addNamed(c, "--progression", e.progression, kProgressions, "Order of packets: lrcp rlcp rpcl pcrl cprl"));
  add(c->add_flag("--sop", e.sop, "Markers before packets"));
  add(c->add_flag("--eph", e.eph, "Markers after packet headers"));
}

void addOthers(CLI::App* c, ConvertCommand* o) {
  const auto add = [&](CLI::Option* option, const char* group, std::vector<Format> formats) {
    option->group(group);
    o->writing.add(option, std::move(formats));
    return option;
  };
  add(c->add_option("--tile", o->tileSize, "JPEG 2000, TIFF: width and height of tiles"), "Writing",
      {Format::jpeg2000, Format::tiff})
      ->expected(2)
      ->delimiter(',')
      ->check(CLI::PositiveNumber.description(""));
  const char* const dds = "Writing DDS";
  add(addNamed(c, "--texture", o->encode.dds.format, kTextures, "Format of blocks: dxt1 dxt3 dxt5 ycocg"), dds,
      {Format::dds});
  add(c->add_option("--mips", o->encode.dds.levels, "Mip levels; 0 for all down to one pixel"), dds, {Format::dds})
      ->check(CLI::Range(0, 32))
      ->capture_default_str();
  const char* const tiff = "Writing TIFF";
  add(addNamed(c, "--compression", o->encode.tiff.compression, kCompressions,
               "none, packbits (the default), lzw or deflate"),
      tiff, {Format::tiff});
  add(c->add_flag("--big-endian", o->encode.tiff.bigEndian, "High bytes first"), tiff, {Format::tiff});
  add(c->add_flag("--bigtiff", o->encode.tiff.big, "Offsets of 64 bits, which files above 4 GB have anyhow"), tiff,
      {Format::tiff});
  add(c->add_option("--rows-per-strip", o->encode.tiff.rowsPerStrip, "Rows of a strip; 0 for about 64 KiB"), tiff,
      {Format::tiff})
      ->check(CLI::Range(0, 1 << 30));
  add(c->add_option("--png-level", o->encode.png.level, "Compression, 0 to 9"), "Writing PNG", {Format::png})
      ->check(CLI::Range(0, 9))
      ->capture_default_str();
}

}  // namespace

void FormatOptions::check(Format format, const char* role) const {
  for (const Entry& e : entries_) {
    if (e.option->count() == 0) continue;
    if (std::find(e.formats.begin(), e.formats.end(), format) == e.formats.end())
      throw Error(ErrorKind::argument,
                  e.option->get_name() + " means nothing here: the " + role + " is " + nameOf(format));
  }
}

void CommonOptions::apply(DecodeOptions* decode) const {
  decode->threads = threads;
  decode->limits.maxPixels = maxPixels;
  decode->limits.maxMemory = maxMemory;
}

void ConvertCommand::settle(const CommonOptions& common) {
  common.apply(&decode.common);
  encode.common.threads = common.threads;
  decode.jpeg.smooth = !fast;
  decode.jpeg.convertColour = !components;
  if (!backgroundText.empty()) background = parseColour(backgroundText);
  encode.jpeg.process = lossless      ? JpegProcess::lossless
                        : progressive ? JpegProcess::progressive
                                      : JpegProcess::baseline;
  Jpeg2000EncodeOptions& e = encode.jpeg2000;
  e.lossless = e.rate == 0 && e.psnr == 0;
  if (lossless && !e.lossless) throw Error(ErrorKind::argument, "a lossless file has the rate that it needs");
  if (!blockSize.empty()) e.codeBlockWidth = blockSize[0], e.codeBlockHeight = blockSize[1];
  if (!tileSize.empty()) {
    e.tileWidth = encode.tiff.tileWidth = tileSize[0];
    e.tileHeight = encode.tiff.tileHeight = tileSize[1];
  }
  e.style = 0;
  for (const std::string& s : styles) e.style |= kStyles.at(s);
}

void addCommon(CLI::App* app, CommonOptions* o) {
  app->add_option("--threads", o->threads, "Threads to use; 0 for one on each core")->check(CLI::Range(0, 1024));
  app->add_flag("--progress", o->progress, "Show progress even where standard error is no terminal");
  app->add_option("--max-pixels", o->maxPixels, "Refuse larger pictures")->capture_default_str();
  app->add_option("--max-memory", o->maxMemory, "Refuse files that take more bytes to decode")->capture_default_str();
}

CLI::App* addConvert(CLI::App* app, const std::string& name, ConvertCommand* o) {
  const bool encodes = name == "encode";
  CLI::App* c =
      app->add_subcommand(name, encodes ? "Any picture to a file of any format; - is JPEG" : "The same; - is Netpbm");
  c->fallthrough();
  if (!o) return c;
  c->add_option("files", o->files, "Input and output, - for standard input and output; with --output-dir inputs alone")
      ->required();
  c->add_option("--output-dir", o->outputDirectory, "Folder for the outputs of several inputs, named after these")
      ->check(CLI::ExistingDirectory.description(""));
  c->add_option("--format", o->format, "Of the output, where its ending does not tell: jpg jp2 j2k dds tif png pnm")
      ->check(CLI::IsMember(kFormats).description(""));
  addPictureOptions(c, o);
  addReading(c, o);
  addJpeg(c, o);
  addJpeg2000(c, o);
  addOthers(c, o);
  c->add_flag("--time", o->time, "Print the time that the codec took, without files, to standard error");
  c->add_option("--repeat", o->repeat, "Do the work so often and print the shortest time")->check(CLI::Range(1, 1000));
  c->footer(encodes ? "Examples:\n  zelcodec encode photo.png photo.jpg --quality 90 --sampling 422 --progressive\n"
                      "  zelcodec encode *.tif --output-dir web --format jpg --auto-orient --strip"
                    : "Example:\n  zelcodec decode photo.jpg thumbnail.png --scale 1/8");
  return c;
}

CLI::App* addInfo(CLI::App* app, InfoCommand* o) {
  CLI::App* i = app->add_subcommand("info", "What files say about themselves");
  i->fallthrough();
  i->add_option("files", o->files, "Files of any kind that is read, or - for standard input")->required();
  i->add_flag("--json", o->json, "Print JSON, one line for each file");
  i->footer("Example:\n  zelcodec info photo.jpg --json");
  return i;
}

CLI::App* addCompare(CLI::App* app, CompareCommand* o) {
  CLI::App* c = app->add_subcommand("compare", "PSNR and SSIM of two pictures, in files of any kind");
  c->fallthrough();
  c->add_option("first", o->first, "The original")->required();
  c->add_option("second", o->second, "The other picture")->required();
  c->add_option("--diff", o->diff, "Write a picture of the differences, grey where there is none");
  c->add_option("--gain", o->gain, "Magnification of the differences in it")->capture_default_str();
  c->add_option("--save-first", o->saveFirst, "Write the first picture as it was read");
  c->add_option("--save-second", o->saveSecond, "Write the second picture as it was read");
  addCrop(c, &o->crop, "What of the pictures is written");
  c->add_option("--min-psnr", o->minPsnr, "Exit with 4 where the PSNR over all channels is below this");
  c->add_option("--min-ssim", o->minSsim, "Exit with 4 where the SSIM is below this");
  c->add_option("--png-level", o->pngLevel, "Compression of PNG files")->check(CLI::Range(0, 9))->capture_default_str();
  c->add_flag("--exact", o->exact, "Exit with 4 unless all samples are equal");
  c->add_flag("--json", o->json, "Print JSON");
  c->footer("Example:\n  zelcodec compare original.png photo.jpg --diff difference.png --gain 16 --min-psnr 35");
  return c;
}

}  // namespace zelcodec
