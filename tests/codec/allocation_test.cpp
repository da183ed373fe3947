// Every allocation of every coder made to fail: the n-th alone, and all from the n-th on, for each n. What comes of it
// is running out of memory, said as that, or the right result, and nothing that was taken stays taken.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#include "any/any.h"
#include "any/transfer.h"
#include "files.h"
#include "zelcodecs.h"

// ---- The allocator of the process -----------------------------------------------------------------------------------

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* p);
}

namespace {

std::atomic<long> untilFailure{-1};  // allocations that still succeed; below 0 none is made to fail
std::atomic<bool> goesOnFailing{false}, hasFailed{false};
std::atomic<long> taken{0};

bool refused() {
  if (untilFailure.load() < 0) return false;
  if (hasFailed.load() && goesOnFailing.load()) return true;
  if (untilFailure.fetch_sub(1) != 0) return false;
  if (goesOnFailing) untilFailure = 0;
  return hasFailed = true;
}

void* counted(void* p) {
  if (p) ++taken;
  return p;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {
void* malloc(size_t size) { return refused() ? nullptr : counted(__libc_malloc(size)); }
void* calloc(size_t count, size_t size) { return refused() ? nullptr : counted(__libc_calloc(count, size)); }
void* realloc(void* p, size_t size) {
  if (refused()) return nullptr;
  void* const q = __libc_realloc(p, size);
  return p ? q : counted(q);
}
void* memalign(size_t alignment, size_t size) {
  return refused() ? nullptr : counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** to, size_t alignment, size_t size) {
  void* const p = memalign(alignment, size);
  if (p) *to = p;
  return p ? 0 : 12;  // ENOMEM
}
void free(void* p) {
  if (p) --taken;
  __libc_free(p);
}
}
#pragma GCC visibility pop

// ---- What is tried --------------------------------------------------------------------------------------------------

namespace {

using namespace zelcodecs;
using zeltest::Bytes;
using zeltest::picture;

using Work = std::function<Bytes()>;

// Fails each allocation of the work in turn, or, for long work, fewer and fewer of them. What work gives that has not
// thrown must be what it gave in calm times.
void failEach(const std::string& name, const Work& work, bool fewer = false) {
  SCOPED_TRACE(name);
  const Bytes calm = work();  // also what is made once for the process
  for (const bool onward : {false, true}) {
    long n = 0;
    for (bool reached = true; reached && !testing::Test::HasFailure(); n += fewer ? 1 + n / 8 : 1) {
      const long before = taken;
      std::string wrong;
      goesOnFailing = onward;
      hasFailed = false;
      untilFailure = n;
      try {
        const Bytes result = work();
        untilFailure = -1;
        if (result != calm) wrong = "another result";
      } catch (const std::exception& e) {
        untilFailure = -1;
        const auto* const error = dynamic_cast<const Error*>(&e);
        const bool isLimit = error && error->kind() == ErrorKind::limit;
        if (!isLimit && !dynamic_cast<const std::bad_alloc*>(&e)) wrong = e.what();
      }
      reached = hasFailed;
      const long kept = taken - before;
      EXPECT_TRUE(wrong.empty()) << "allocation " << n << (onward ? " and all after it: " : ": ") << wrong;
      EXPECT_TRUE(kept == 0 || !wrong.empty())
          << kept << " allocations stay after allocation " << n << (onward ? " and all after it" : "");
    }
    EXPECT_GT(n, 1) << "nothing was allocated";
  }
}

// Encoding, and decoding of what came of it. More than one thread is used in pictures from 65536 pixels on.
void failCoders(const std::string& name, Format format, const Image& image, AnyEncodeOptions e) {
  const bool large = image.width() * image.height() >= 1 << 16;
  for (const int threads : {1, 3}) {
    if (large && threads == 1) continue;
    e.common.threads = threads;
    const Work encode = [&] { return zeltest::encodedAny(image, format, e); };
    failEach(name + " encoded", encode, large);
    const Bytes file = encode();
    for (const bool keepGoing : {false, true}) {
      AnyDecodeOptions d;
      std::vector<std::string> warnings;
      d.common.threads = threads;
      d.common.keepGoing = keepGoing;
      d.common.warnings = keepGoing ? &warnings : nullptr;
      const Work decode = [&] {
        const Image image = zeltest::decodedAny(file, format, d);
        std::vector<std::string>().swap(warnings);
        return Bytes(image.data(), image.data() + image.sizeBytes());
      };
      failEach(name + " decoded", decode, large);
    }
  }
}

Image withMetadata(Image image) {
  image.metadata() = zeltest::everyMetadata();
  image.metadata().icc.resize(200);
  return image;
}

TEST(Allocation, Jpeg) {
  const Image rgb = withMetadata(picture(37, 35, ColourModel::rgb));
  AnyEncodeOptions e;
  failCoders("baseline", Format::jpeg, rgb, e);
  e.jpeg.restartRows = 1;
  e.jpeg.optimiseTables = true;
  failCoders("intervals", Format::jpeg, rgb, e);
  e.jpeg.process = JpegProcess::progressive;
  failCoders("progressive", Format::jpeg, rgb, e);
  e.jpeg.process = JpegProcess::lossless;
  failCoders("lossless", Format::jpeg, picture(19, 9, ColourModel::grey, 12), e);
}

TEST(Allocation, JpegCoefficients) {
  const Bytes file = encodeJpeg(picture(37, 35, ColourModel::rgb));
  const JpegCoefficients whole = readJpegCoefficients(file.data(), file.size());
  failEach("read", [&] {
    const JpegCoefficients c = readJpegCoefficients(file.data(), file.size());
    const auto* const p = reinterpret_cast<const uint8_t*>(c.components[1].values.data());
    return Bytes(p, p + 2 * c.components[1].values.size());
  });
  JpegWriteOptions o;
  o.progressive = true;
  failEach("write", [&] { return writeJpegCoefficients(whole, o); });
}

TEST(Allocation, Jpeg2000) {
  AnyEncodeOptions e;
  e.jpeg2000.codeBlockWidth = e.jpeg2000.codeBlockHeight = 4;
  e.jpeg2000.levels = 2;
  failCoders("lossless", Format::jpeg2000, withMetadata(picture(9, 7, ColourModel::rgba)), e);
  e.jpeg2000.lossless = false;
  e.jpeg2000.rate = 3;
  e.jpeg2000.layers = 2;
  e.jpeg2000.tileWidth = e.jpeg2000.tileHeight = 8;
  failCoders("tiles, layers", Format::jpeg2000, picture(11, 9, ColourModel::rgb), e);
}

TEST(Allocation, Tiff) {
  const Image rgb = withMetadata(picture(37, 35, ColourModel::rgb));
  for (const TiffCompression c :
       {TiffCompression::none, TiffCompression::lzw, TiffCompression::deflate, TiffCompression::packBits}) {
    AnyEncodeOptions e;
    e.tiff.compression = c;
    e.tiff.rowsPerStrip = 10;
    failCoders("strips", Format::tiff, rgb, e);
    e.tiff.tileWidth = e.tiff.tileHeight = 16;
    failCoders("tiles", Format::tiff, rgb, e);
  }
}

TEST(Allocation, DdsPngNetpbm) {
  AnyEncodeOptions e;
  for (const TextureFormat f : {TextureFormat::dxt1, TextureFormat::dxt5, TextureFormat::ycocg}) {
    e.dds.format = f;
    e.dds.levels = 0;
    failCoders("textures", Format::dds, picture(37, 35, ColourModel::rgba), e);
  }
  failCoders("png", Format::png, withMetadata(picture(37, 35, ColourModel::rgba, 16)), e);
  failCoders("netpbm", Format::netpbm, picture(37, 35, ColourModel::greyAlpha), e);
}

TEST(Allocation, Threads) {
  const Image image = picture(330, 201, ColourModel::rgb);
  AnyEncodeOptions e;
  e.jpeg.restartRows = 2;
  failCoders("intervals", Format::jpeg, image, e);
  e.jpeg.process = JpegProcess::progressive;
  failCoders("progressive", Format::jpeg, image, e);
  e.tiff.compression = TiffCompression::lzw;
  e.tiff.rowsPerStrip = 20;
  failCoders("strips", Format::tiff, image, e);
  failCoders("textures", Format::dds, image, e);
  e.jpeg2000.tileWidth = e.jpeg2000.tileHeight = 128;
  failCoders("tiles", Format::jpeg2000, image, e);
}

// Through the C interface running out of memory is a status, whatever the call.
TEST(Allocation, CInterface) {
  const ZelcPicture shape = {37, 35, zelcRgb, 8};
  const Image image = picture(37, 35, ColourModel::rgb);
  const char* const comments[] = {"a comment that takes memory of its own", nullptr};
  const ZelcMetadata metadata = {nullptr, 0, nullptr, 0, "<x/>", 4, comments, 4000, 4000, 6};
  const auto well = [](ZelcStatus s) {
    if (s == zelcMemory) throw std::bad_alloc();
    if (s != zelcOk) throw Error(s == zelcLimit ? ErrorKind::limit : ErrorKind::internal, zelcLastError());
  };
  for (const char* format : {"format=jpg", "format=jp2", "format=tif", "format=png"}) {
    const char* const writing[] = {format, "grey", nullptr};
    const char* const reading[] = {"auto-orient", "depth=16", nullptr};
    const Work write = [&] {
      void* data = nullptr;
      size_t size = 0;
      well(zelcWriteMemory(&shape, &metadata, image.data(), image.rowBytes(), writing, &data, &size));
      const std::unique_ptr<void, void (*)(void*)> held(data, zelcFree);
      return Bytes(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
    };
    failEach(std::string("written, ") + format, write);
    const Bytes file = write();
    failEach(std::string("read, ") + format, [&] {
      ZelcInfo info;
      void* samples = nullptr;
      well(zelcReadMemory(file.data(), file.size(), reading, &info, &samples));
      const std::unique_ptr<void, void (*)(void*)> held(samples, zelcFree);
      const auto* const p = static_cast<uint8_t*>(samples);
      return Bytes(p, p + info.rowBytes * size_t(info.picture.height));
    });
  }
}

TEST(Allocation, Transfer) {
  const Image image = picture(37, 35, ColourModel::cmyk, 16);
  for (const int threads : {1, 2})
    failEach("transfer", [&] {
      Bytes file;
      const auto sink = memorySink(&file);
      Converter converter(image.format(), ColourModel::rgb, 8, {});
      const auto encoder = createAny(*sink, Format::netpbm, converter.to(), {}, {});
      transfer(*imageDecoder(image.clone()), &converter, *encoder, threads);
      return file;
    });
}

}  // namespace
