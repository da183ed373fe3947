#include "png/png_file.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "common/error.h"

namespace zelcodecs {
namespace {

struct Source {
  const uint8_t* data;
  size_t size;
  size_t at;
};

// libpng, which is C, reports a failure by longjmp; the message waits here until the jump has left its frames.
struct Failure {
  char text[200];
};

[[noreturn]] void onError(png_structp png, png_const_charp what) {
  std::snprintf(static_cast<Failure*>(png_get_error_ptr(png))->text, sizeof(Failure::text), "PNG: %s", what);
  png_longjmp(png, 1);
}
void onWarning(png_structp, png_const_charp) {}

// Runs calls of libpng. The function must not own anything: a jump passes over its frame without destructors.
template <class Calls>
bool succeeds(png_structp png, const Calls& calls) {
  if (setjmp(png_jmpbuf(png))) return false;
  calls();
  return true;
}

void readBytes(png_structp png, png_bytep to, size_t count) {
  auto* source = static_cast<Source*>(png_get_io_ptr(png));
  if (count > source->size - source->at) {
    source->at = source->size;
    png_error(png, "the file ends too early");
  }
  std::memcpy(to, source->data + source->at, count);
  source->at += count;
}
void writeBytes(png_structp png, png_bytep from, size_t count) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  try {
    out->insert(out->end(), from, from + count);
    return;
  } catch (const std::bad_alloc&) {
  }
  png_error(png, "out of memory");
}
void flush(png_structp) {}

struct Reader {
  Failure failure{};
  png_structp png;
  png_infop info;
  Reader()
      : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &failure, onError, onWarning)),
        info(png ? png_create_info_struct(png) : nullptr) {
    if (!info) throw std::bad_alloc();
  }
  Reader(const Reader&) = delete;
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct Writer {
  Failure failure{};
  png_structp png;
  png_infop info;
  Writer()
      : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, onError, onWarning)),
        info(png ? png_create_info_struct(png) : nullptr) {
    if (!info) throw std::bad_alloc();
  }
  Writer(const Writer&) = delete;
  ~Writer() { png_destroy_write_struct(&png, &info); }
};

}  // namespace

Image readPng(const uint8_t* data, size_t size, const Limits& limits) {
  if (size < 8 || png_sig_cmp(data, 0, 8) != 0) throw Error(ErrorKind::unsupported, "not a PNG file", 0);
  Source source{data, size, 0};
  Reader r;
  png_set_read_fn(r.png, &source, readBytes);
  const auto damaged = [&] { return Error(ErrorKind::damaged, r.failure.text, source.at); };
  if (!succeeds(r.png, [&] { png_read_info(r.png, r.info); })) throw damaged();

  const uint32_t width = png_get_image_width(r.png, r.info), height = png_get_image_height(r.png, r.info);
  checkSize(width, height, limits, source.at);
  const int type = png_get_color_type(r.png, r.info);
  const int bits = png_get_bit_depth(r.png, r.info) == 16 ? 16 : 8;
  // Deflate expands at most 1032 times.
  const uint64_t pixelBits = uint64_t(png_get_bit_depth(r.png, r.info) * png_get_channels(r.png, r.info));
  if (uint64_t{width} * height * pixelBits / 8 > 1032 * uint64_t{size})
    throw Error(ErrorKind::limit, "PNG: the file is too short for its size in pixels,", source.at);

  const bool opacity = (type & PNG_COLOR_MASK_ALPHA) || png_get_valid(r.png, r.info, PNG_INFO_tRNS);
  int passes = 1;
  const auto prepare = [&] {
    png_set_expand(r.png);
    if (opacity) png_set_gray_to_rgb(r.png);
    if (bits == 16) png_set_swap(r.png);
    passes = png_set_interlace_handling(r.png);
    png_read_update_info(r.png, r.info);
  };
  if (!succeeds(r.png, prepare)) throw damaged();

  const ColourModel model = opacity                       ? ColourModel::rgba
                            : type & PNG_COLOR_MASK_COLOR ? ColourModel::rgb
                                                          : ColourModel::grey;
  Image image(int(width), int(height), model, bits);
  const auto readRows = [&] {
    for (int pass = 0; pass < passes; ++pass)
      for (int y = 0; y < image.height(); ++y) png_read_row(r.png, image.row(y), nullptr);
    png_read_end(r.png, nullptr);
  };
  if (!succeeds(r.png, readRows)) throw damaged();
  return image;
}

std::vector<uint8_t> writePng(const Image& image, int level) {
  if (image.model() == ColourModel::cmyk) throw Error(ErrorKind::unsupported, "PNG holds no CMYK pictures; use PAM");
  std::vector<uint8_t> out;
  Writer w;
  png_set_write_fn(w.png, &out, writeBytes, flush);
  png_set_compression_level(w.png, level);
  const int bits = image.bytesPerSample() * 8;
  const bool scaled = image.bitDepth() != bits;
  Image line(image.width(), 1, image.model(), bits);
  const int kColourTypes[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                              PNG_COLOR_TYPE_RGB_ALPHA};
  const auto write = [&] {
    png_set_IHDR(w.png, w.info, png_uint_32(image.width()), png_uint_32(image.height()), bits,
                 kColourTypes[image.channels()], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(w.png, w.info);
    if (bits == 16) png_set_swap(w.png);
    for (int y = 0; y < image.height(); ++y) {
      if (scaled)
        for (int i = 0; i < image.width() * image.channels(); ++i)
          line.setSample(
              0, i, int((int64_t{image.sample(y, i)} * line.maxValue() + image.maxValue() / 2) / image.maxValue()));
      png_write_row(w.png, scaled ? line.row(0) : image.row(y));
    }
    png_write_end(w.png, nullptr);
  };
  if (!succeeds(w.png, write)) throw Error(ErrorKind::argument, w.failure.text);
  return out;
}

}  // namespace zelcodecs
