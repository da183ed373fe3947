// PNG row by row through libpng; EXIF and texts are taken from the chunks of the file directly.
#include "png/png_file.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "common/error.h"
#include "common/foreign.h"
#include "common/warnings.h"

namespace zelcodecs {
namespace {

constexpr size_t kBandBytes = size_t{64} << 10;    // rows that are read or written at once
constexpr size_t kMostOfChunk = size_t{16} << 20;  // bytes of an ancillary chunk, also after decompression
constexpr int kMostChunks = 1000;                  // ancillary chunks that libpng keeps

// ---- libpng, which is C ---------------------------------------------------------------------------------------------

// It reports a failure by longjmp; the message waits here until the jump has left its frames.
struct Failure {
  char text[200];
  bool outOfMemory;  // as some chunks are left out then, and the rest goes on
};

[[noreturn]] void onError(png_structp png, png_const_charp what) {
  std::snprintf(static_cast<Failure*>(png_get_error_ptr(png))->text, sizeof(Failure::text), "PNG: %s", what);
  png_longjmp(png, 1);
}
void onWarning(png_structp, png_const_charp) {}

void* allocate(png_structp png, png_alloc_size_t size) {
  void* const p = std::malloc(size);
  if (!p) static_cast<Failure*>(png_get_mem_ptr(png))->outOfMemory = true;
  if (p) writtenByOthers(p, size);
  return p;
}
void release(png_structp, png_voidp p) { std::free(p); }

// The function must not own anything: a jump passes over its frame without destructors.
template <class Calls>
bool returns(png_structp png, const Calls& calls) {
  if (setjmp(png_jmpbuf(png))) return false;
  calls();
  return true;
}

// Runs calls of libpng, like returns().
template <class Calls>
bool succeeds(png_structp png, const Calls& calls) {
  const bool done = returns(png, calls);
  if (static_cast<const Failure*>(png_get_error_ptr(png))->outOfMemory) throw std::bad_alloc();
  return done;
}

struct Input {
  ByteView bytes;
  size_t at = 0;
};

void readBytes(png_structp png, png_bytep to, size_t count) {
  auto* in = static_cast<Input*>(png_get_io_ptr(png));
  if (count > in->bytes.size - in->at) {
    in->at = in->bytes.size;
    png_error(png, "the file ends too early");
  }
  std::memcpy(to, in->bytes.data + in->at, count);
  in->at += count;
}

// An exception must not pass through C: it waits until libpng has been left.
struct Output {
  Sink* sink;
  std::exception_ptr failure;
};

void writeBytes(png_structp png, png_bytep from, size_t count) {
  auto* out = static_cast<Output*>(png_get_io_ptr(png));
  try {
    out->sink->write(from, count);
    return;
  } catch (...) {
    out->failure = std::current_exception();
  }
  png_error(png, "the file cannot be written");
}
void flush(png_structp) {}

using Create = decltype(png_create_read_struct_2);
using Destroy = void (*)(png_structpp, png_infopp);

// A reader or a writer of libpng.
template <Create* create, Destroy destroy>
struct Struct {
  Failure failure{};
  png_structp png;
  png_infop info;
  Struct()
      : png(create(PNG_LIBPNG_VER_STRING, &failure, onError, onWarning, &failure, allocate, release)),
        info(png ? png_create_info_struct(png) : nullptr) {
    if (info) return;
    destroy(&png, nullptr);
    throw std::bad_alloc();
  }
  Struct(const Struct&) = delete;
  ~Struct() { destroy(&png, &info); }
};
void destroyReader(png_structpp png, png_infopp info) { png_destroy_read_struct(png, info, nullptr); }
using ReadStruct = Struct<png_create_read_struct_2, destroyReader>;
using WriteStruct = Struct<png_create_write_struct_2, png_destroy_write_struct>;

// ---- Metadata -------------------------------------------------------------------------------------------------------

const char kXmpKeyword[] = "XML:com.adobe.xmp";

// At most 64 times as long, which texts do not come near to; nothing where it would be longer.
std::vector<uint8_t> inflated(ByteView packed) {
  std::vector<uint8_t> text(std::min(kMostOfChunk, 64 * packed.size + 1024));
  uLongf length = uLongf(text.size());
  const int status = uncompress(text.data(), &length, packed.data, uLong(packed.size));
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  text.resize(status == Z_OK ? length : 0);
  return text;
}

// The text of an iTXt chunk behind its keyword: two bytes tell whether and how it is compressed, then come a language
// and a translated keyword, each with a zero byte at its end.
std::vector<uint8_t> internationalText(ByteView rest) {
  if (rest.size < 2) return {};
  const bool compressed = rest.data[0] != 0;
  rest = rest.from(2);
  for (int i = 0; i < 2; ++i) {
    const uint8_t* const zero = std::find(rest.begin(), rest.end(), uint8_t{0});
    if (zero == rest.end()) return {};
    rest = rest.from(size_t(zero - rest.begin()) + 1);
  }
  return compressed ? inflated(rest) : std::vector<uint8_t>(rest.begin(), rest.end());
}

constexpr uint32_t kExifChunk = 0x65584966, kText = 0x74455874, kCompressedText = 0x7A545874,
                   kInternationalText = 0x69545874;

// The text of a chunk behind its keyword, as its type has it.
std::vector<uint8_t> textOf(uint32_t type, ByteView rest) {
  if (type == kInternationalText) return internationalText(rest);
  if (type == kText) return {rest.begin(), rest.end()};
  return rest.size ? inflated(rest.from(1)) : std::vector<uint8_t>();  // behind the number of the only method
}

void takeChunk(uint32_t type, ByteView chunk, Metadata* out) {
  if (type == kExifChunk && out->exif.empty()) out->exif.assign(chunk.begin(), chunk.end());
  if (type != kText && type != kCompressedText && type != kInternationalText) return;
  const uint8_t* const zero = std::find(chunk.begin(), chunk.end(), uint8_t{0});
  const std::string keyword(chunk.begin(), zero);
  const bool xmp = keyword == kXmpKeyword && out->xmp.empty();
  if (zero == chunk.end() || (!xmp && keyword != "Comment")) return;
  const std::vector<uint8_t> text = textOf(type, chunk.from(size_t(zero - chunk.begin()) + 1));
  if (xmp)
    out->xmp = text;
  else if (!text.empty())
    out->comments.emplace_back(text.begin(), text.end());
}

// EXIF and texts may stand before and after the pixels, so their chunks are looked for in the whole file: each is a
// length, a type, so many bytes, and a checksum.
void readTexts(ByteView file, Metadata* out) {
  constexpr size_t kSignature = 8, kAround = 12;
  for (size_t at = kSignature; file.size - at >= kAround;) {
    const size_t length = bigEndian32(file.data + at);
    if (length > file.size - at - kAround) return;
    if (length <= kMostOfChunk) takeChunk(bigEndian32(file.data + at + 4), {file.data + at + 8, length}, out);
    at += kAround + length;
  }
}

void readProfileAndResolution(png_structp png, png_infop info, Metadata* out) {
  png_charp name = nullptr;
  png_bytep profile = nullptr;
  png_uint_32 length = 0, x = 0, y = 0;
  int method = 0, unit = 0;
  if (png_get_iCCP(png, info, &name, &method, &profile, &length)) out->icc.assign(profile, profile + length);
  if (png_get_pHYs(png, info, &x, &y, &unit) && unit == PNG_RESOLUTION_METER) {
    out->pixelsPerMetreX = x;
    out->pixelsPerMetreY = y;
  }
}

// Texts with a zero byte at their ends, as libpng wants them.
struct Texts {
  std::string xmp;
  std::vector<std::string> comments;
  explicit Texts(const Metadata& m) : xmp(m.xmp.begin(), m.xmp.end()), comments(m.comments) {}
};

void writeText(png_structp png, png_infop info, int kind, const char* keyword, const std::string& value) {
  png_text t = {};
  t.compression = kind;
  t.key = const_cast<png_charp>(keyword);
  t.text = const_cast<png_charp>(value.c_str());
  png_set_text(png, info, &t, 1);
}

// A profile that does not fit the picture is left out by libpng.
void writeMetadata(png_structp png, png_infop info, const Metadata& m, const Texts& texts) {
  if (!m.icc.empty()) {
    png_set_benign_errors(png, 1);
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, m.icc.data(), png_uint_32(m.icc.size()));
  }
  if (m.pixelsPerMetreX > 0)
    png_set_pHYs(png, info, png_uint_32(std::lround(m.pixelsPerMetreX)), png_uint_32(std::lround(m.pixelsPerMetreY)),
                 PNG_RESOLUTION_METER);
  if (!m.exif.empty()) png_set_eXIf_1(png, info, png_uint_32(m.exif.size()), const_cast<png_bytep>(m.exif.data()));
  if (!texts.xmp.empty()) writeText(png, info, PNG_ITXT_COMPRESSION_NONE, kXmpKeyword, texts.xmp);
  for (const std::string& c : texts.comments) writeText(png, info, PNG_TEXT_COMPRESSION_NONE, "Comment", c);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

class PngDecoder : public Decoder {
 public:
  PngDecoder(Source& source, const DecodeOptions& options)
      : source_(source), keepGoing_(options.keepGoing), warnings_(options.warnings) {
    in_.bytes = source.all();
    if (!isPng(in_.bytes.data, in_.bytes.size)) throw Error(ErrorKind::unsupported, "not a PNG file", 0);
    if (!succeeds(r_.png, [&] { setUp(); })) fail();
    if (!succeeds(r_.png, [&] { png_read_info(r_.png, r_.info); })) fail();
    const PictureFormat f = formatOf(options.limits);
    readProfileAndResolution(r_.png, r_.info, &metadata_);
    readTexts(in_.bytes, &metadata_);
    if (const int turned = exifOrientation(metadata_.exif)) metadata_.orientation = turned;
    if (!succeeds(r_.png, [&] { prepare(f); })) fail();
    const uint64_t held = uint64_t{f.rowBytes()} * uint64_t(f.height);
    if (passes_ > 1 && held > options.limits.maxMemory)
      throw Error(ErrorKind::limit, "PNG: an interlaced picture takes " + std::to_string(held) + " bytes of memory,",
                  0);
    open(f, passes_ > 1 ? f.height : int(std::max<size_t>(1, kBandBytes / f.rowBytes())), options);
  }

 private:
  [[noreturn]] void fail() const { throw Error(ErrorKind::damaged, r_.failure.text, in_.at); }

  void setUp() {
    png_set_read_fn(r_.png, &in_, readBytes);
    png_set_chunk_malloc_max(r_.png, kMostOfChunk);
    png_set_chunk_cache_max(r_.png, kMostChunks);
    png_set_user_limits(r_.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    static const png_byte ours[] = "tEXt\0zTXt\0iTXt\0eXIf";  // readTexts() takes these from the file itself
    png_set_keep_unknown_chunks(r_.png, PNG_HANDLE_CHUNK_NEVER, ours, 4);
    // libpng asks for so many bytes of the pixels at once, and fails where a cut file has fewer.
    if (keepGoing_) png_set_compression_buffer_size(r_.png, 16);
  }

  PictureFormat formatOf(const Limits& limits) const {
    const uint32_t width = png_get_image_width(r_.png, r_.info), height = png_get_image_height(r_.png, r_.info);
    checkSize(width, height, limits, in_.at);
    const int type = png_get_color_type(r_.png, r_.info), depth = png_get_bit_depth(r_.png, r_.info);
    // Deflate expands at most 1032 times.
    const uint64_t pixelBits = uint64_t(depth) * png_get_channels(r_.png, r_.info);
    if (uint64_t{width} * height * pixelBits / 8 > 1032 * uint64_t{in_.bytes.size} && !keepGoing_)
      throw Error(ErrorKind::limit, "PNG: the file is too short for its size in pixels,", in_.at);
    const bool opacity = (type & PNG_COLOR_MASK_ALPHA) || png_get_valid(r_.png, r_.info, PNG_INFO_tRNS);
    const ColourModel model = type & PNG_COLOR_MASK_COLOR ? opacity ? ColourModel::rgba : ColourModel::rgb
                              : opacity                   ? ColourModel::greyAlpha
                                                          : ColourModel::grey;
    return {int(width), int(height), model, depth == 16 ? 16 : 8};
  }
  void prepare(const PictureFormat& f) {
    png_set_expand(r_.png);
    if (f.bitDepth == 16) png_set_swap(r_.png);
    passes_ = png_set_interlace_handling(r_.png);
    png_read_update_info(r_.png, r_.info);
  }

  void decodeBand(Rows to) override {
    int done = 0;
    const auto read = [&] {
      for (int pass = 0; pass < passes_; ++pass)
        for (done = 0; done < to.count; ++done) png_read_row(r_.png, to.row(done), nullptr);
      if (nextRow() + to.count == whole().height) png_read_end(r_.png, nullptr);
    };
    if (keepGoing_)
      for (int y = 0; y < to.count; ++y) std::memset(to.row(y), 0, whole().rowBytes());
    if (ended_) return;
    if (!succeeds(r_.png, read)) {
      if (!keepGoing_) fail();
      warnings_.add(r_.failure.text, in_.at);
      ended_ = true;
    }
    for (int y = 0; y < to.count; ++y) writtenByOthers(to.row(y), whole().rowBytes());
    source_.release(in_.at);
  }

  Source& source_;
  const bool keepGoing_;
  Warnings warnings_;
  Input in_;
  ReadStruct r_;
  int passes_ = 1;
  bool ended_ = false;  // by damage
};

// ---- Writing --------------------------------------------------------------------------------------------------------

int colourType(ColourModel model) {
  switch (model) {
    case ColourModel::grey:
      return PNG_COLOR_TYPE_GRAY;
    case ColourModel::greyAlpha:
      return PNG_COLOR_TYPE_GRAY_ALPHA;
    case ColourModel::rgb:
      return PNG_COLOR_TYPE_RGB;
    case ColourModel::rgba:
      return PNG_COLOR_TYPE_RGB_ALPHA;
    case ColourModel::cmyk:
      break;
  }
  throw Error(ErrorKind::unsupported, "PNG holds no CMYK pictures");
}

class PngEncoder : public Encoder {
 public:
  PngEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const PngEncodeOptions& options)
      : out_{&sink, nullptr} {
    const int type = colourType(format.model);
    if (options.level < 0 || options.level > 9) throw Error(ErrorKind::argument, "a PNG level is 0 to 9");
    open(format, int(std::max<size_t>(1, kBandBytes / format.rowBytes())), options);
    const bool inExif = exifOrientation(metadata.exif) == metadata.orientation;
    if (metadata.orientation != 1 && !inExif)
      warnOfLoss(metadata, ~0u & ~unsigned{kOrientation}, "PNG", options.warnings);
    bits_ = format.bytesPerSample() * 8;
    if (format.bitDepth != bits_) scaled_.reset(new uint8_t[format.rowBytes()]);
    const Texts texts(metadata);
    png_set_write_fn(w_.png, &out_, writeBytes, flush);
    run([&] {
      png_set_compression_level(w_.png, options.level);
      png_set_IHDR(w_.png, w_.info, png_uint_32(format.width), png_uint_32(format.height), bits_, type,
                   PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      writeMetadata(w_.png, w_.info, metadata, texts);
      png_write_info(w_.png, w_.info);
      if (bits_ == 16) png_set_swap(w_.png);
    });
  }

 private:
  template <class Calls>
  void run(const Calls& calls) {
    if (succeeds(w_.png, calls)) return;
    if (out_.failure) std::rethrow_exception(out_.failure);
    throw Error(ErrorKind::argument, w_.failure.text);
  }

  // A row with the values spread over the full range of its bytes.
  const uint8_t* scaled(const uint8_t* row) const {
    if (!scaled_) return row;
    const int samples = format().width * format().channels(), top = format().maxValue(), most = (1 << bits_) - 1;
    const auto spread = [&](auto* from, auto* to) {
      for (int i = 0; i < samples; ++i)
        to[i] = static_cast<std::decay_t<decltype(*to)>>((int64_t{from[i]} * most + top / 2) / top);
    };
    if (bits_ == 8)
      spread(row, scaled_.get());
    else
      spread(reinterpret_cast<const uint16_t*>(row), reinterpret_cast<uint16_t*>(scaled_.get()));
    return scaled_.get();
  }

  void encodeBand(ConstRows rows) override {
    run([&] {
      for (int y = 0; y < rows.count; ++y) png_write_row(w_.png, scaled(rows.row(y)));
    });
  }
  void end() override {
    run([&] { png_write_end(w_.png, nullptr); });
  }

  Output out_;
  WriteStruct w_;
  int bits_ = 8;
  std::unique_ptr<uint8_t[]> scaled_;
};

}  // namespace

bool isPng(const uint8_t* data, size_t size) { return size >= 8 && png_sig_cmp(data, 0, 8) == 0; }

std::unique_ptr<Decoder> openPng(Source& source, const DecodeOptions& options) {
  return std::make_unique<PngDecoder>(source, options);
}

Image decodePng(const uint8_t* data, size_t size, const DecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openPng(*source, options));
}

std::unique_ptr<Encoder> createPng(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                   const PngEncodeOptions& options) {
  return std::make_unique<PngEncoder>(sink, format, metadata, options);
}

std::vector<uint8_t> encodePng(const Image& image, const PngEncodeOptions& options) {
  std::vector<uint8_t> out;
  const std::unique_ptr<Sink> sink = memorySink(&out);
  writeAll(*createPng(*sink, image.format(), image.metadata(), options), image);
  return out;
}

}  // namespace zelcodecs
