// Writing of TIFF files: strips or tiles as the rows come, and behind those of a page its directory. The link to a
// directory stands before it, in the header or in the directory before, and is changed when the position is known.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "common/scratch.h"
#include "common/team.h"
#include "tiff/metadata.h"
#include "tiff/pack.h"
#include "tiff/samples.h"

namespace zelcodecs {
namespace tiff {
namespace {

constexpr size_t kStripBytes = size_t{64} << 10;
constexpr size_t kBandOfThreads = size_t{1} << 20;

// ---- The file -------------------------------------------------------------------------------------------------------

// The header, and the chain of directories behind it. Positions count from where the sink stood at the beginning.
class FileWriter {
 public:
  FileWriter(Sink& sink, bool bigEndian, Form form)
      : target_(sink), held_(sink.canPatch() ? nullptr : memorySink(&memory_)), bigEndian_(bigEndian), form_(form) {
    start_ = out().position();
    Bytes header(2, bigEndian ? 'M' : 'I');
    ByteWriter w(&header, bigEndian);
    w.u16(form.big ? 43 : 42);
    if (form.big) {
      w.u16(8);  // bytes of an offset
      w.u16(0);
    }
    putOffset(0, &header);
    out().write(header);
    link_ = form.linkAt();
  }
  bool bigEndian() const { return bigEndian_; }
  Form form() const { return form_; }
  uint64_t position() const { return (held_ ? *held_ : target_).position() - start_; }

  void write(ByteView bytes) { out().write(bytes.data, bytes.size); }
  // Offsets are even (TIFF 6.0, section 2).
  void align() {
    if (position() % 2) out().write(Bytes(1));
  }
  void directory(const Fields& fields) {
    align();
    const uint64_t at = position();
    Bytes offset;
    putOffset(at, &offset);
    out().patch(start_ + link_, offset.data(), offset.size());
    out().write(fields.directoryAt(at));
    link_ = fields.linkOf(at);
    if (!form_.big && position() > UINT32_MAX)
      throw Error(ErrorKind::limit, "a file above 4 GiB without 64-bit offsets");
  }
  // A sink that cannot be changed gets all at the end.
  void finish() {
    if (held_) target_.write(memory_);
  }

 private:
  Sink& out() { return held_ ? *held_ : target_; }
  void putOffset(uint64_t v, Bytes* to) const {
    ByteWriter w(to, bigEndian_);
    if (form_.big)
      w.u64(v);
    else
      w.u32(uint32_t(v));
  }

  Sink& target_;
  Bytes memory_;
  const std::unique_ptr<Sink> held_;
  const bool bigEndian_;
  const Form form_;
  uint64_t start_;
  uint64_t link_;  // where the offset of the next directory stands
};

// ---- Pieces ---------------------------------------------------------------------------------------------------------

// What turns the pixels of a strip or tile into its bytes.
class PieceWriter {
 public:
  PieceWriter(const PictureFormat& format, const TiffEncodeOptions& options, int width)
      : format_(format),
        width_(width),
        swapped_(options.bigEndian && format.bytesPerSample() == 2),
        differences_(options.predictor &&
                     (options.compression == TiffCompression::lzw || options.compression == TiffCompression::deflate)),
        packer_(options.compression, options.level) {
    const int top = format.bytesPerSample() == 2 ? UINT16_MAX : UINT8_MAX, max = format.maxValue();
    if (top != max)
      for (int v = 0; v <= max; ++v) scaled_.push_back(uint16_t((int64_t{v} * top + max / 2) / max));
  }

  // rows: of the picture. Beyond its right and lower edges a tile is filled up with their pixels. The bytes stay until
  // the next call.
  ByteView pack(ConstRows rows, int firstColumn, int count) {
    const size_t rowBytes = size_t(width_) * format_.pixelBytes();
    const bool asItIs = !swapped_ && !differences_ && scaled_.empty();
    if (asItIs && count == rows.count && rows.step == rowBytes && width_ == format_.width)
      return packer_.pack(rows.data, rowBytes, count);
    buffer_.resize((rowBytes * size_t(count) + 1) / 2);
    auto* const bytes = reinterpret_cast<uint8_t*>(buffer_.data());
    for (int y = 0; y < count; ++y) {
      uint8_t* const to = bytes + rowBytes * size_t(y);
      if (y < rows.count)
        prepare(rows.row(y), firstColumn, to);
      else
        std::memcpy(to, to - rowBytes, rowBytes);
    }
    return packer_.pack(bytes, rowBytes, count);
  }

 private:
  void prepare(const uint8_t* row, int firstColumn, uint8_t* to) const {
    const size_t pixel = format_.pixelBytes(), there = size_t(std::min(width_, format_.width - firstColumn));
    std::memcpy(to, row + size_t(firstColumn) * pixel, there * pixel);
    for (size_t x = there; x < size_t(width_); ++x) std::memcpy(to + x * pixel, to + (x - 1) * pixel, pixel);
    if (format_.bytesPerSample() == 2)
      finish(reinterpret_cast<uint16_t*>(to));
    else
      finish(to);
  }
  // Scaling comes first, as differences are of the samples in the file; byte order is the last thing, as differences
  // are numbers too.
  template <class T>
  void finish(T* row) const {
    const size_t n = size_t(width_) * size_t(format_.channels());
    if (!scaled_.empty())
      for (size_t i = 0; i < n; ++i) row[i] = T(scaled_[std::min<size_t>(row[i], scaled_.size() - 1)]);
    if (differences_) takeDifferences(row, n, size_t(format_.channels()));
    if constexpr (sizeof(T) == 2)
      if (swapped_) swapBytes(row, n);
  }

  const PictureFormat format_;
  const int width_;
  const bool swapped_, differences_;
  std::vector<uint16_t> scaled_;  // by value; empty where samples fill their bytes
  Packer packer_;
  std::vector<uint16_t> buffer_;
};

// ---- A page ---------------------------------------------------------------------------------------------------------

void check(const PictureFormat& f, const TiffEncodeOptions& o) {
  if (f.width < 1 || f.height < 1) throw Error(ErrorKind::argument, "a page without a picture");
  if (o.rowsPerStrip < 0 || o.dotsPerInch < 1)
    throw Error(ErrorKind::argument, "rows per strip and dots per inch must be positive");
  if (o.level < 1 || o.level > 12) throw Error(ErrorKind::argument, "Deflate has levels 1 to 12");
  const auto known = {TiffCompression::none, TiffCompression::packBits, TiffCompression::lzw, TiffCompression::deflate};
  if (std::find(known.begin(), known.end(), o.compression) == known.end())
    throw Error(ErrorKind::argument, "an unknown TIFF compression");
  if (f.rowBytes() > kMostRowBytes) throw Error(ErrorKind::limit, "rows of more than 2^30 bytes");
  if (o.tileWidth == 0 && o.tileHeight == 0) return;
  if (o.tileWidth < 16 || o.tileHeight < 16 || o.tileWidth % 16 || o.tileHeight % 16)
    throw Error(ErrorKind::argument, "widths and heights of tiles are multiples of 16");
  if (o.tileWidth > 32768 || o.tileHeight > 32768)
    throw Error(ErrorKind::limit, "tiles of more than 32768 columns or rows");
}

bool bytesMoved(TiffCompression c) { return c == TiffCompression::none || c == TiffCompression::packBits; }

// More than the page can take in the file.
uint64_t mostBytes(const PictureFormat& f, const Metadata& m, const TiffEncodeOptions& o) {
  const bool tiled = o.tileWidth > 0;
  const auto filledUp = [](int size, int tile) {
    return (uint64_t(size) + uint64_t(tile) - 1) / uint64_t(tile) * uint64_t(tile);
  };
  const uint64_t width = tiled ? filledUp(f.width, o.tileWidth) : uint64_t(f.width);
  const uint64_t height = tiled ? filledUp(f.height, o.tileHeight) : uint64_t(f.height);
  const uint64_t raw = width * height * f.pixelBytes();
  const bool grows = o.compression != TiffCompression::none;
  size_t text = 0;
  for (const std::string& c : m.comments) text += c.size() + 1;
  // LZW takes up to 12 bits for a byte, every other compression less. A strip has two numbers in the directory.
  return raw + (grows ? raw / 2 : 0) + 32 * height + m.icc.size() + m.xmp.size() + m.exif.size() + text + (1 << 16);
}

class PageEncoder : public Encoder {
 public:
  // file: null for a file of its own on the sink.
  PageEncoder(Sink& sink, FileWriter* file, const PictureFormat& format, const Metadata& metadata,
              const TiffEncodeOptions& options, int number, int count)
      : options_(options),
        meta_(metadata),
        number_(number),
        count_(count),
        team_(threadsFor(format, options.threads, bytesMoved(options.compression) ? kPixelsToMove : 0)) {
    check(format, options);
    tiled_ = options.tileWidth > 0;
    pieceWidth_ = tiled_ ? options.tileWidth : format.width;
    const size_t rowBytes = format.rowBytes();
    const size_t rows = options.rowsPerStrip > 0 ? size_t(options.rowsPerStrip) : kStripBytes / rowBytes;
    pieceRows_ = tiled_ ? options.tileHeight : int(std::clamp<size_t>(rows, 1, size_t(format.height)));
    across_ = (format.width - 1) / pieceWidth_ + 1;
    // Copying alone is not worth a thread, nor are pictures that are done before one has started.
    alone_ = team_.threads() == 1 || options.compression == TiffCompression::none ||
             rowBytes * size_t(format.height) < kStripBytes;
    size_t group = 1;
    if (!alone_ && !tiled_) group = kBandOfThreads / (rowBytes * size_t(pieceRows_)) + size_t(team_.threads());
    open(format, int(std::min(group * size_t(pieceRows_), size_t(format.height))), options);
    if (!file)
      own_ = std::make_unique<FileWriter>(sink, options.bigEndian,
                                          Form{options.big || mostBytes(format, metadata, options) > UINT32_MAX});
    file_ = file ? file : own_.get();
  }

 private:
  // A band is a row of tiles, or some strips. Its pieces are packed side by side, and written in the order of the file
  // whatever thread was first.
  void encodeBand(ConstRows rows) override {
    const int down = (rows.count - 1) / pieceRows_ + 1, count = down * across_;
    const auto pack = [&](PieceWriter& writer, int i) {
      const int y = i / across_ * pieceRows_, there = std::min(pieceRows_, rows.count - y);
      return writer.pack(rows.part(y, there), i % across_ * pieceWidth_, tiled_ ? pieceRows_ : there);
    };
    // Tables of compressors cost time to make: they are kept from piece to piece.
    const auto lease = [&] {
      return writers_.lease([&] { return std::make_unique<PieceWriter>(format(), options_, pieceWidth_); });
    };
    if (alone_) {
      const auto writer = lease();
      for (int i = 0; i < count; ++i) writePiece(pack(*writer.get(), i));
      return;
    }
    std::vector<Bytes> packed(size_t{unsigned(count)});
    team_.forEach(count, [&](int i) {
      const auto writer = lease();
      const ByteView bytes = pack(*writer.get(), i);
      packed[size_t(i)].assign(bytes.begin(), bytes.end());
    });
    for (const Bytes& piece : packed) writePiece({piece.data(), piece.size()});
  }

  void writePiece(ByteView bytes) {
    file_->align();
    offsets_.push_back(file_->position());
    lengths_.push_back(bytes.size);
    file_->write(bytes);
  }

  // Only now are the places and lengths of all pieces known. Copies of EXIF's own directories stand before the page's
  // directory, which names them.
  void end() override {
    Fields fields(file_->bigEndian(), file_->form());
    describe(&fields);
    putMetadata(meta_, options_.dotsPerInch, &fields);
    file_->align();
    Warnings warnings(options_.warnings);
    const Bytes exif = exifDirectories(meta_, file_->position(), file_->bigEndian(), file_->form(), &fields, &warnings);
    file_->write({exif.data(), exif.size()});
    file_->directory(fields);
    if (own_) own_->finish();
  }

  // The fields that every reader needs (TIFF 6.0, section 8 lists those of each kind of picture).
  void describe(Fields* f) const {
    const PictureFormat& p = format();
    const uint64_t channels = uint64_t(p.channels());
    const bool grey = p.model == ColourModel::grey || p.model == ColourModel::greyAlpha;
    const Photometric meaning = grey ? kBlackIsZero : p.model == ColourModel::cmyk ? kSeparated : kRgb;
    const auto compressed = options_.compression;
    f->numbers(kImageWidth, kLong, {uint64_t(p.width)});
    f->numbers(kImageLength, kLong, {uint64_t(p.height)});
    f->numbers(kBitsPerSample, kShort, std::vector<uint64_t>(channels, uint64_t(p.bytesPerSample()) * 8));
    f->numbers(kCompression, kShort, {uint64_t(compressed)});
    f->numbers(kPhotometric, kShort, {uint64_t(meaning)});
    f->numbers(kSamplesPerPixel, kShort, {channels});
    f->numbers(kPlanarConfiguration, kShort, {1});
    if (tiled_) {
      f->numbers(kTileWidth, kLong, {uint64_t(pieceWidth_)});
      f->numbers(kTileLength, kLong, {uint64_t(pieceRows_)});
    } else {
      f->numbers(kRowsPerStrip, kLong, {uint64_t(pieceRows_)});
    }
    f->offsets(tiled_ ? kTileOffsets : kStripOffsets, offsets_);
    f->offsets(tiled_ ? kTileByteCounts : kStripByteCounts, lengths_);
    if (options_.predictor && (compressed == TiffCompression::lzw || compressed == TiffCompression::deflate))
      f->numbers(kPredictor, kShort, {uint64_t{kDifferences}});
    if (hasOpacity(p.model)) f->numbers(kExtraSamples, kShort, {uint64_t{kUnassociatedAlpha}});
    if (count_ == 1) return;
    f->numbers(kNewSubfileType, kLong, {2});  // one of several pages
    f->numbers(kPageNumber, kShort, {uint64_t(number_), uint64_t(count_)});
  }

  const TiffEncodeOptions options_;
  const Metadata meta_;
  const int number_, count_;
  Team team_;
  bool tiled_, alone_;
  int pieceWidth_, pieceRows_, across_;
  std::unique_ptr<FileWriter> own_;
  FileWriter* file_;
  std::vector<uint64_t> offsets_, lengths_;
  ScratchPool<PieceWriter> writers_;
};

}  // namespace
}  // namespace tiff

std::unique_ptr<Encoder> createTiff(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                    const TiffEncodeOptions& options) {
  return std::make_unique<tiff::PageEncoder>(sink, nullptr, format, metadata, options, 0, 1);
}

std::vector<uint8_t> encodeTiffPages(const std::vector<const Image*>& pages, const TiffEncodeOptions& options) {
  if (pages.empty() || pages.size() > UINT16_MAX)
    throw Error(ErrorKind::argument, "a TIFF file is written with 1 to 65535 pages");
  uint64_t most = 0;
  for (const Image* image : pages) {
    if (!image) throw Error(ErrorKind::argument, "a page without a picture");
    tiff::check(image->format(), options);
    most += tiff::mostBytes(image->format(), image->metadata(), options);
  }
  std::vector<uint8_t> out;
  const std::unique_ptr<Sink> sink = memorySink(&out);
  tiff::FileWriter file(*sink, options.bigEndian, {options.big || most > UINT32_MAX});
  const int count = int(pages.size());
  for (int i = 0; i < count; ++i) {
    const Image& image = *pages[size_t(i)];
    TiffEncodeOptions o = options;
    if (options.progress) o.progress = [&](double part) { options.progress((i + part) / count); };
    tiff::PageEncoder encoder(*sink, &file, image.format(), image.metadata(), o, i, count);
    writeAll(encoder, image);
  }
  file.finish();
  return out;
}

std::vector<uint8_t> encodeTiff(const Image& image, const TiffEncodeOptions& options) {
  return encodeTiffPages({&image}, options);
}

}  // namespace zelcodecs
