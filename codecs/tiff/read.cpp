// Reading of pages: strips become rows of samples, and these the rows of a picture.
#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "tiff/directory.h"
#include "common/warnings.h"
#include "zelj.h"

namespace zelcodecs {
namespace tiff {
namespace {

// ---- What a page is like --------------------------------------------------------------------------------------------

// Samples as they stand in the file.
struct Layout {
  int width, height, bits, samples;
  int planes;                   // 1 where the samples of a pixel stand together
  size_t rowSamples, rowBytes;  // of one plane
  bool packed, reversed, swapped;
  int rowsPerStrip, stripsPerPlane;
};

// What the samples of a pixel mean.
struct Meaning {
  ColourModel model;
  int colours;  // samples before the extra ones
  int alpha = -1;
  bool associated = false;
  bool inverted = false;
  std::vector<uint8_t> palette;  // red, green and blue of each index
};

[[noreturn]] void unsupported(const Directory& d, Tag tag, const std::string& what) {
  throw Error(ErrorKind::unsupported, what, d.where(tag));
}

std::string nameOfCompression(int compression) {
  switch (compression) {
    case 2:
    case 3:
    case 4:
      return " (CCITT)";
    case 5:
      return " (LZW)";
    case 6:
    case 7:
      return " (JPEG)";
    case 8:
    case 32946:
      return " (Deflate)";
  }
  return "";
}

// Values of a field that has one for each sample, but in some files one for all.
void checkEachSample(const Directory& d, Tag tag, int samples, uint32_t wanted, const char* what) {
  const uint32_t count = d.count(tag);
  if (count != 1 && count < uint32_t(samples))
    throw Error(ErrorKind::damaged, "fewer values than samples", d.where(tag));
  for (uint32_t i = 0; i < std::min(count, uint32_t(samples)); ++i)
    if (d.value(tag, i) != wanted) unsupported(d, tag, what);
}

Layout layoutOf(const Directory& d, const TiffPage& p, const Limits& limits) {
  if (p.tiled) unsupported(d, kTileWidth, "a page in tiles");
  if (p.compression != 1 && p.compression != 32773)
    unsupported(d, kCompression, "compression " + std::to_string(p.compression) + nameOfCompression(p.compression));
  if (p.bitsPerSample != 1 && p.bitsPerSample != 2 && p.bitsPerSample != 4 && p.bitsPerSample != 8 &&
      p.bitsPerSample != 16)
    unsupported(d, kBitsPerSample, "samples of " + std::to_string(p.bitsPerSample) + " bits");
  if (d.has(kBitsPerSample))
    checkEachSample(d, kBitsPerSample, p.samplesPerPixel, uint32_t(p.bitsPerSample),
                    "samples of different numbers of bits");
  if (d.has(kSampleFormat))
    checkEachSample(d, kSampleFormat, p.samplesPerPixel, 1, "samples that are not unsigned whole numbers");
  if (p.planarConfiguration < 1 || p.planarConfiguration > 2)
    unsupported(d, kPlanarConfiguration, "planar configuration " + std::to_string(p.planarConfiguration));
  if (p.fillOrder < 1 || p.fillOrder > 2) unsupported(d, kFillOrder, "fill order " + std::to_string(p.fillOrder));
  checkSize(p.width, p.height, limits, d.where(kImageWidth));

  Layout l;
  l.width = int(p.width);
  l.height = int(p.height);
  l.bits = p.bitsPerSample;
  l.samples = p.samplesPerPixel;
  l.planes = p.planarConfiguration == 2 ? l.samples : 1;
  l.rowSamples = size_t{p.width} * size_t(l.samples / l.planes);
  l.rowBytes = (l.rowSamples * size_t(l.bits) + 7) / 8;
  if (l.rowSamples * size_t(l.planes) > kMostRowBytes / 2)
    throw Error(ErrorKind::limit, "rows of more than 2^29 samples", d.where(kImageWidth));
  l.packed = p.compression != 1;
  l.reversed = p.fillOrder == 2;
  l.swapped = l.bits == 16 && d.file().bigEndian();
  l.rowsPerStrip = int(p.rowsPerStrip);
  l.stripsPerPlane = int(p.strips) / l.planes;
  return l;
}

// Memory and time stay in proportion to the file: PackBits makes 128 bytes of 2 at the most, no compression none.
void checkLength(const Directory& d, const Layout& l, bool keepGoing) {
  const uint64_t raw = uint64_t{l.rowBytes} * uint64_t(l.planes) * uint64_t(l.height);
  // Of a file that is cut short most may be missing, but not nearly all.
  const uint64_t size = d.file().size();
  const uint64_t most = keepGoing ? 1024 * size + (1 << 20) : l.packed ? 64 * size : size;
  if (raw > most)
    throw Error(keepGoing ? ErrorKind::limit : ErrorKind::damaged,
                "a page of " + std::to_string(l.width) + " x " + std::to_string(l.height) +
                    " pixels, for which the file is too short, is named",
                d.where(kImageLength));
}

std::vector<uint8_t> readPalette(const Directory& d, int bits) {
  const uint32_t n = 1u << bits;
  if (d.count(kColorMap) < 3 * n) throw Error(ErrorKind::damaged, "a palette that is too short", d.where(kColorMap));
  std::vector<uint8_t> palette;
  for (uint32_t i = 0; i < n; ++i)
    for (uint32_t c = 0; c < 3; ++c) palette.push_back(uint8_t(d.value(kColorMap, c * n + i) >> 8));
  return palette;
}

// The first extra sample that is an opacity counts, all others are left out.
void findAlpha(const Directory& d, const Layout& l, Meaning* m, Warnings* warnings) {
  const int extra = l.samples - m->colours;
  if (m->model != ColourModel::cmyk)
    for (uint32_t i = 0; i < d.count(kExtraSamples) && i < uint32_t(extra) && m->alpha < 0; ++i) {
      const uint32_t kind = d.value(kExtraSamples, i);
      if (kind != kAssociatedAlpha && kind != kUnassociatedAlpha) continue;
      m->alpha = m->colours + int(i);
      m->associated = kind == kAssociatedAlpha;
      m->model = ColourModel::rgba;
    }
  const int dropped = extra - (m->alpha >= 0);
  if (dropped > 0)
    warnings->add(std::to_string(dropped) + " extra samples of each pixel are left out", d.where(kExtraSamples));
}

Meaning meaningOf(const Directory& d, const TiffPage& p, const Layout& l, Warnings* warnings) {
  Meaning m;
  switch (p.photometric) {
    case kWhiteIsZero:
    case kBlackIsZero:
      m.model = ColourModel::grey;
      break;
    case kRgb:
      m.model = ColourModel::rgb;
      break;
    case kPalette:
      if (l.bits > 8) unsupported(d, kBitsPerSample, "a palette of 65536 colours");
      m.model = ColourModel::rgb;
      m.palette = readPalette(d, l.bits);
      break;
    case kSeparated:
      if (d.valueOr(kInkSet, 1) != 1) unsupported(d, kInkSet, "inks other than cyan, magenta, yellow and black");
      m.model = ColourModel::cmyk;
      break;
    default:
      unsupported(d, kPhotometric, "photometric interpretation " + std::to_string(p.photometric));
  }
  m.inverted = p.photometric == kWhiteIsZero;
  m.colours = m.palette.empty() ? channelsOf(m.model) : 1;
  if (l.samples < m.colours) throw Error(ErrorKind::damaged, "fewer samples than colours", d.where(kSamplesPerPixel));
  findAlpha(d, l, &m, warnings);
  if (p.orientation != 1)
    warnings->add(
        "the picture is stored turned or mirrored and stays so (orientation " + std::to_string(p.orientation) + ")",
        d.where(kOrientation));
  return m;
}

// ---- Strips ---------------------------------------------------------------------------------------------------------

struct Strip {
  size_t offset, bytes;
};

// Where a strip is; one that the file cuts short reaches to its end.
Strip stripAt(const Directory& d, const Layout& l, uint32_t number, int rows) {
  const size_t raw = l.rowBytes * size_t(rows), offset = d.value(kStripOffsets, number);
  if (offset >= d.file().size())
    throw Error(ErrorKind::damaged, "strip " + std::to_string(number) + " is named outside of the file",
                d.position(kStripOffsets, number));
  // No more than can be of use: packed rows take at most two bytes for one, and a few that stand for nothing.
  const size_t count = d.has(kStripByteCounts) ? d.value(kStripByteCounts, number) : raw;
  return {offset, std::min({count, l.packed ? 4 * raw + 16 : raw, d.file().size() - offset})};
}

uint8_t reversedBits(uint8_t b) {
  b = uint8_t(b >> 4 | b << 4);
  b = uint8_t((b >> 2 & 0x33) | (b & 0x33) << 2);
  return uint8_t((b >> 1 & 0x55) | (b & 0x55) << 1);
}

// The rows of a strip one after the other, each unpacked and in the processor's byte order.
class StripRows {
 public:
  StripRows(const File& file, const Layout& layout, const Strip& strip)
      : layout_(layout), offset_(strip.offset), data_(file.data() + strip.offset), left_(strip.bytes) {
    if (!layout.reversed) return;
    turned_.assign(data_, data_ + left_);
    for (uint8_t& b : turned_) b = reversedBits(b);
    data_ = turned_.data();
  }

  // To rowBytes of memory, which is aligned where samples have two bytes.
  void next(uint8_t* row) {
    const size_t used = layout_.packed ? unpack(row) : copy(row);
    data_ += used;
    left_ -= used;
    offset_ += used;
    if (layout_.swapped) swap_.row(reinterpret_cast<uint16_t*>(row), int(layout_.rowSamples));
  }

 private:
  size_t copy(uint8_t* row) const {
    if (left_ < layout_.rowBytes) throw Error(ErrorKind::damaged, "a strip that ends in a row", offset_ + left_);
    std::memcpy(row, data_, layout_.rowBytes);
    return layout_.rowBytes;
  }
  size_t unpack(uint8_t* row) const {
    int used = 0;
    const int most = int(std::min<size_t>(left_, INT32_MAX));
    if (most == 0) throw Error(ErrorKind::damaged, "a strip that ends before its last row", offset_);
    if (zeliUnpackBitsRow_TIFF_8u_C1(data_, &used, most, row, int(layout_.rowBytes)) != zelStsNoErr)
      throw Error(ErrorKind::damaged, "a packed row whose data end, or a run in it that leaves the row,",
                  offset_ + size_t(used));
    return size_t(used);
  }

  const Layout& layout_;
  size_t offset_;
  const uint8_t* data_;
  size_t left_;
  std::vector<uint8_t> turned_;
  ByteSwap swap_;
};

// ---- Samples to pixels ----------------------------------------------------------------------------------------------

// Samples of less than a byte, the first in the highest bits, each times scale.
void widen(const uint8_t* row, int bits, int scale, size_t n, uint8_t* out, size_t step) {
  const int mask = (1 << bits) - 1;
  const size_t perByte = 8 / size_t(bits);
  for (size_t i = 0; i < n; ++i) {
    const int shift = 8 - bits * int(i % perByte + 1);
    out[i * step] = uint8_t((row[i / perByte] >> shift & mask) * scale);
  }
}

// A colour that was multiplied with the opacity. Where that is none, nothing is known of the colour.
template <class T>
T divided(T colour, T alpha, int max) {
  if (alpha == 0) return 0;
  return T(std::min<int64_t>(max, (int64_t{colour} * max + alpha / 2) / alpha));
}

template <class T>
void toPixels(const T* in, size_t width, int samples, const Meaning& m, T* out) {
  const int max = T(~T{0}), channels = channelsOf(m.model);
  const T flip = T(m.inverted ? max : 0);
  const int colours = m.model == ColourModel::cmyk ? 4 : channels == 1 ? 1 : 3;
  for (size_t x = 0; x < width; ++x, in += samples, out += channels) {
    if (!m.palette.empty())
      for (int c = 0; c < 3; ++c) out[c] = m.palette[size_t(in[0]) * 3 + size_t(c)];
    else
      for (int c = 0; c < colours; ++c) out[c] = in[m.colours == 1 ? 0 : c] ^ flip;
    if (m.alpha < 0) continue;
    out[3] = in[m.alpha];
    if (m.associated)
      for (int c = 0; c < 3; ++c) out[c] = divided(out[c], out[3], max);
  }
}

// ---- A page ---------------------------------------------------------------------------------------------------------

// The damages of strips, which threads find in any order.
class Failures {
 public:
  void add(int strip, const Error& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    byStrip_.emplace(strip, error);
    if (byStrip_.size() > kMost) byStrip_.erase(std::prev(byStrip_.end()));
  }
  void report(bool keepGoing, Warnings* warnings) const {
    for (const auto& [strip, error] : byStrip_) {
      if (!keepGoing) throw error;
      warnings->add(error);
    }
  }

 private:
  static constexpr size_t kMost = 200;  // more than warnings keep
  std::mutex mutex_;
  std::map<int, Error> byStrip_;
};

class PageReader {
 public:
  PageReader(const Directory& d, const TiffDecodeOptions& options, Warnings* warnings)
      : d_(d), options_(options), warnings_(warnings) {
    const TiffPage p = d.page();
    layout_ = layoutOf(d, p, options.limits);
    meaning_ = meaningOf(d, p, layout_, warnings);
    checkLength(d, layout_, options.keepGoing);
    checkStripFields();
  }

  Image read() {
    image_ = Image(layout_.width, layout_.height, meaning_.model, layout_.bits == 16 ? 16 : 8);
    if (options_.keepGoing) std::memset(image_.data(), 0, image_.sizeBytes());
    Failures failures;
    forEachStrip(strips_, options_.threads, image_.sizeBytes(), options_.progress, [&](int i) {
      int y = i * layout_.rowsPerStrip;
      try {
        if (layout_.bits == 16)
          readStrip<uint16_t>(i, &y);
        else
          readStrip<uint8_t>(i, &y);
      } catch (const Error& e) {
        failures.add(i, e);
        if (y < layout_.height) std::memset(image_.row(y), 0, image_.rowBytes());
      }
    });
    failures.report(options_.keepGoing, warnings_);
    return std::move(image_);
  }

 private:
  void checkStripFields() {
    const uint64_t all = uint64_t(layout_.stripsPerPlane) * uint64_t(layout_.planes);
    if (!d_.has(kStripByteCounts)) {
      if (layout_.packed) throw Error(ErrorKind::damaged, "packed strips without lengths", d_.where(kStripOffsets));
      warnings_->add("strips without lengths", d_.where(kStripOffsets));
    }
    strips_ = layout_.stripsPerPlane;
    uint32_t there = d_.count(kStripOffsets);
    if (d_.has(kStripByteCounts)) there = std::min(there, d_.count(kStripByteCounts));
    if (there >= all) return;
    const Error e(ErrorKind::damaged,
                  "of " + std::to_string(all) + " strips only " + std::to_string(there) + " are named",
                  d_.where(kStripOffsets));
    if (!options_.keepGoing) throw e;
    warnings_->add(e);
    const uint32_t first = there - std::min(there, uint32_t(all) - uint32_t(layout_.stripsPerPlane));
    strips_ = int(std::min(first, uint32_t(strips_)));
  }

  // *y is the row at work.
  template <class T>
  void readStrip(int strip, int* y) {
    const int end = std::min(layout_.height - *y, layout_.rowsPerStrip) + *y;
    std::vector<StripRows> planes;
    planes.reserve(size_t(layout_.planes));
    for (int p = 0; p < layout_.planes; ++p) {
      const uint32_t number = uint32_t(p * layout_.stripsPerPlane + strip);
      planes.emplace_back(d_.file(), layout_, stripAt(d_, layout_, number, end - *y));
    }
    const bool asItIs = layout_.planes == 1 && layout_.bits >= 8 && meaning_.palette.empty() && !meaning_.inverted &&
                        !meaning_.associated && layout_.samples == image_.channels();
    if (asItIs) {
      for (; *y < end; ++*y) planes[0].next(image_.row(*y));
      return;
    }
    const size_t samples = size_t(layout_.samples);
    std::vector<T> row(layout_.rowBytes / sizeof(T)), pixels(size_t(layout_.width) * samples);
    for (; *y < end; ++*y) {
      for (size_t p = 0; p < planes.size(); ++p) {
        planes[p].next(reinterpret_cast<uint8_t*>(row.data()));
        spread(row.data(), pixels.data() + p, planes.size());
      }
      toPixels(pixels.data(), size_t(layout_.width), layout_.samples, meaning_, reinterpret_cast<T*>(image_.row(*y)));
    }
  }

  // The samples of a plane to every step-th place.
  template <class T>
  void spread(const T* row, T* out, size_t step) const {
    if constexpr (sizeof(T) == 1)
      if (layout_.bits < 8) {
        const int scale = meaning_.palette.empty() ? 255 / ((1 << layout_.bits) - 1) : 1;
        return widen(row, layout_.bits, scale, layout_.rowSamples, out, step);
      }
    for (size_t i = 0; i < layout_.rowSamples; ++i) out[i * step] = row[i];
  }

  const Directory& d_;
  const TiffDecodeOptions& options_;
  Warnings* warnings_;
  Layout layout_;
  Meaning meaning_;
  int strips_ = 0;  // to read, of each plane
  Image image_;
};

}  // namespace
}  // namespace tiff

Image decodeTiff(const uint8_t* data, size_t size, const TiffDecodeOptions& options) {
  if (options.page < 0) throw Error(ErrorKind::argument, "a negative number of a page");
  const tiff::File file(data, size);
  tiff::DirectoryWalk walk(file);
  for (int i = 0; const std::optional<tiff::Directory> d = walk.next(); ++i) {
    if (i < options.page) continue;
    Warnings warnings(options.warnings);
    return tiff::PageReader(*d, options, &warnings).read();
  }
  throw Error(ErrorKind::argument, "the file has no page " + std::to_string(options.page));
}

}  // namespace zelcodecs
