// Writing of TIFF files: for each page the directory, the values that do not fit into its entries, and the strips. In
// this order a file that is cut short can still be read in part.
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "tiff/directory.h"
#include "zelj.h"

namespace zelcodecs {
namespace tiff {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kStripBytes = size_t{64} << 10;

// ---- Strips ---------------------------------------------------------------------------------------------------------

// Rows of a picture as they stand in the file: samples of whole bytes, in its byte order.
class FileRows {
 public:
  FileRows(const Image& image, bool bigEndian)
      : image_(image),
        n_(image.width() * image.channels()),
        swapped_(bigEndian && image.bytesPerSample() == 2),
        bytes_(image.rowBytes()) {
    const int top = image.bytesPerSample() == 2 ? 65535 : 255, max = image.maxValue();
    if (top != max)
      for (int v = 0; v <= max; ++v) scaled_.push_back(uint16_t((int64_t{v} * top + max / 2) / max));
    if (swapped_ || !scaled_.empty()) row_.resize((bytes_ + 1) / 2);
  }
  size_t bytes() const { return bytes_; }
  const uint8_t* row(int y) {
    if (row_.empty()) return image_.row(y);
    if (scaled_.empty())
      std::memcpy(row_.data(), image_.row(y), bytes_);
    else
      scale(y);
    if (swapped_) swap_.row(row_.data(), n_);
    return reinterpret_cast<const uint8_t*>(row_.data());
  }

 private:
  void scale(int y) {
    auto* const bytes = reinterpret_cast<uint8_t*>(row_.data());
    for (int i = 0; i < n_; ++i) {
      const uint16_t v = scaled_[size_t(std::min(image_.sample(y, i), image_.maxValue()))];
      if (image_.bytesPerSample() == 2)
        row_[size_t(i)] = v;
      else
        bytes[i] = uint8_t(v);
    }
  }

  const Image& image_;
  int n_;
  bool swapped_;
  size_t bytes_;
  std::vector<uint16_t> scaled_;  // by value; empty where samples fill their bytes
  std::vector<uint16_t> row_;
  ByteSwap swap_;
};

// Each row by itself (TIFF 6.0, section 9). A literal of up to 128 bytes takes one byte more.
void packRow(const uint8_t* row, size_t bytes, Bytes* out) {
  const size_t room = bytes + (bytes + 127) / 128, at = out->size();
  out->resize(at + room);
  int packed = 0;
  if (zeliPackBitsRow_TIFF_8u_C1(row, int(bytes), out->data() + at, &packed, int(room)) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a row that PackBits has no room for");
  out->resize(at + size_t(packed));
}

Bytes codeStrip(const Image& image, int firstRow, int rows, const TiffEncodeOptions& options) {
  FileRows source(image, options.bigEndian);
  Bytes out;
  if (options.compression == TiffCompression::none) out.reserve(source.bytes() * size_t(rows));
  for (int y = firstRow; y < firstRow + rows; ++y) {
    const uint8_t* row = source.row(y);
    if (options.compression == TiffCompression::none)
      out.insert(out.end(), row, row + source.bytes());
    else
      packRow(row, source.bytes(), &out);
  }
  return out;
}

int rowsPerStrip(const Image& image, int wanted) {
  const size_t rows = wanted > 0 ? size_t(wanted) : std::max<size_t>(1, kStripBytes / image.rowBytes());
  return int(std::min(rows, size_t(image.height())));
}

// ---- The file -------------------------------------------------------------------------------------------------------

class Writer {
 public:
  explicit Writer(const TiffEncodeOptions& options) : options_(options) {
    out_.assign(2, options.bigEndian ? 'M' : 'I');
    put(42, 2);
    put(0, 4);
  }

  void page(const Image& image, int number, int count) {
    const int perStrip = rowsPerStrip(image, options_.rowsPerStrip);
    Progress ofPage;
    if (options_.progress) ofPage = [&](double part) { options_.progress((number + part) / count); };
    const std::vector<Bytes> strips = codeStrips(image, perStrip, ofPage);
    fields(image, perStrip, number, count);
    std::vector<uint32_t> lengths;
    lengths.reserve(strips.size());
    for (const Bytes& strip : strips) lengths.push_back(uint32_t(strip.size()));
    field(kStripByteCounts, kLong, lengths);
    // Offsets are known only where all else is; they take the place of these.
    field(kStripOffsets, kLong, lengths);

    align();
    const size_t directory = out_.size(), values = directory + 2 + 12 * fields_.size() + 4;
    size_t end = values;
    for (const auto& [tag, f] : fields_)
      if (f.values.size() > 4) end += even(f.values.size());
    std::vector<uint32_t> offsets;
    for (const Bytes& strip : strips) {
      offsets.push_back(uint32_t(end));
      end += even(strip.size());
      if (end > UINT32_MAX) throw Error(ErrorKind::limit, "a TIFF file must have less than 4 GiB");
    }
    field(kStripOffsets, kLong, offsets);
    out_.reserve(end);
    putDirectory(uint32_t(directory), uint32_t(values));
    for (const Bytes& strip : strips) {
      out_.insert(out_.end(), strip.begin(), strip.end());
      align();
    }
  }

  Bytes take() { return std::move(out_); }

 private:
  struct Field {
    Type type;
    uint32_t count;
    Bytes values;
  };

  static size_t even(size_t n) { return n + n % 2; }
  void align() { out_.resize(even(out_.size())); }
  void append(uint32_t v, int bytes, Bytes* to) const {
    for (int i = 0; i < bytes; ++i) to->push_back(uint8_t(v >> 8 * (options_.bigEndian ? bytes - 1 - i : i)));
  }
  void put(uint32_t v, int bytes) { append(v, bytes, &out_); }

  std::vector<Bytes> codeStrips(const Image& image, int perStrip, const Progress& progress) const {
    std::vector<Bytes> strips(size_t((image.height() - 1) / perStrip + 1));
    const int count = int(strips.size());
    forEachStrip(count, options_.threads, image.sizeBytes(), progress, [&](int i) {
      const int first = i * perStrip;
      strips[size_t(i)] = codeStrip(image, first, std::min(perStrip, image.height() - first), options_);
    });
    return strips;
  }

  void field(Tag tag, Type type, const std::vector<uint32_t>& values) {
    Field f = {type, uint32_t(type == kRational ? values.size() / 2 : values.size()), {}};
    for (uint32_t v : values) append(v, type == kShort ? 2 : 4, &f.values);
    fields_[tag] = std::move(f);
  }

  // All but those of the strips.
  void fields(const Image& image, int perStrip, int number, int count) {
    const uint32_t channels = uint32_t(image.channels());
    const uint32_t bits = uint32_t(image.bytesPerSample()) * 8;
    const std::vector<uint32_t> resolution = {uint32_t(options_.dotsPerInch), 1};
    const Photometric meaning = image.model() == ColourModel::grey   ? kBlackIsZero
                                : image.model() == ColourModel::cmyk ? kSeparated
                                                                     : kRgb;
    fields_.clear();
    field(kImageWidth, kLong, {uint32_t(image.width())});
    field(kImageLength, kLong, {uint32_t(image.height())});
    field(kBitsPerSample, kShort, std::vector<uint32_t>(channels, bits));
    field(kCompression, kShort, {uint32_t(options_.compression)});
    field(kPhotometric, kShort, {uint32_t(meaning)});
    field(kSamplesPerPixel, kShort, {channels});
    field(kRowsPerStrip, kLong, {uint32_t(perStrip)});
    field(kXResolution, kRational, resolution);
    field(kYResolution, kRational, resolution);
    field(kPlanarConfiguration, kShort, {1});
    field(kResolutionUnit, kShort, {2});  // inches
    if (image.model() == ColourModel::rgba) field(kExtraSamples, kShort, {kUnassociatedAlpha});
    if (count == 1) return;
    field(kNewSubfileType, kLong, {2});  // one of several pages
    field(kPageNumber, kShort, {uint32_t(number), uint32_t(count)});
  }

  // Values of up to four bytes stand in the entry, others behind the directory.
  void putDirectory(uint32_t at, uint32_t values) {
    Bytes link;
    append(at, 4, &link);
    std::copy(link.begin(), link.end(), out_.begin() + ptrdiff_t(link_));
    put(uint32_t(fields_.size()), 2);
    for (const auto& [tag, f] : fields_) {
      put(uint32_t(tag), 2);
      put(uint32_t(f.type), 2);
      put(f.count, 4);
      if (f.values.size() > 4) {
        put(values, 4);
        values += uint32_t(even(f.values.size()));
      } else {
        out_.insert(out_.end(), f.values.begin(), f.values.end());
        out_.insert(out_.end(), 4 - f.values.size(), 0);
      }
    }
    link_ = out_.size();
    put(0, 4);
    for (const auto& [tag, f] : fields_) {
      if (f.values.size() <= 4) continue;
      out_.insert(out_.end(), f.values.begin(), f.values.end());
      align();
    }
  }

  const TiffEncodeOptions& options_;
  Bytes out_;
  size_t link_ = 4;              // where the offset of the next directory stands
  std::map<Tag, Field> fields_;  // directories are sorted by tag
};

void check(const std::vector<const Image*>& pages, const TiffEncodeOptions& options) {
  if (pages.empty() || pages.size() > UINT16_MAX)
    throw Error(ErrorKind::argument, "a TIFF file is written with 1 to 65535 pages");
  if (options.rowsPerStrip < 0 || options.dotsPerInch < 1)
    throw Error(ErrorKind::argument, "rows per strip and dots per inch must be positive");
  if (options.compression != TiffCompression::none && options.compression != TiffCompression::packBits)
    throw Error(ErrorKind::argument, "an unknown TIFF compression");
  for (const Image* image : pages) {
    if (!image || image->empty()) throw Error(ErrorKind::argument, "a page without a picture");
    if (image->rowBytes() > kMostRowBytes) throw Error(ErrorKind::limit, "rows of more than 2^30 bytes");
  }
}

}  // namespace
}  // namespace tiff

std::vector<uint8_t> encodeTiffPages(const std::vector<const Image*>& pages, const TiffEncodeOptions& options) {
  tiff::check(pages, options);
  tiff::Writer writer(options);
  for (size_t i = 0; i < pages.size(); ++i) writer.page(*pages[i], int(i), int(pages.size()));
  return writer.take();
}

std::vector<uint8_t> encodeTiff(const Image& image, const TiffEncodeOptions& options) {
  return encodeTiffPages({&image}, options);
}

}  // namespace zelcodecs
