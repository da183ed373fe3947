// Reading of pages: strips and tiles become rows of samples, and these the rows of a picture.
//
// A band is a row of pieces (strips or tiles), or several: then each piece is read by itself, from its first row to its
// last, and pieces are divided among threads. Where a row of pieces would be a large part of the memory, as in files of
// one strip, a band is some of its rows: then the pieces stay open from band to band.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "common/team.h"
#include "tiff/metadata.h"
#include "tiff/samples.h"
#include "tiff/unpack.h"

namespace zelcodecs {
namespace tiff {
namespace {

constexpr size_t kLargestStrip = size_t{2} << 20, kLargestTileRow = size_t{16} << 20;  // that is read at once
constexpr size_t kBandOfLarge = size_t{128} << 10;
constexpr size_t kBand = size_t{64} << 10, kBandOfThreads = size_t{1} << 20;
constexpr size_t kMostOfThreads = size_t{8} << 20;

// What pieces are read from.
struct Page {
  ByteView file;
  Layout layout;
  Meaning meaning;
  Limits limits;
  ByteView tables;  // of JPEG
  // Of the pieces that the file names.
  std::vector<uint64_t> offsets, lengths;

  const char* pieceName() const { return layout.pieceWidth < layout.width || layout.across > 1 ? "tile " : "strip "; }
  size_t pixelBytes() const { return size_t(channelsOf(meaning.model)) * (meaning.depth > 8 ? 2 : 1); }
};

// No more coded bytes than can be of use for that many: strips that lie across one another must not cost more time than
// the file has bytes. None makes bytes more than these factors; JPEG and Deflate have headers.
size_t mostCoded(const Layout& l, size_t bytes) {
  switch (l.compression) {
    case kUncompressed:
      return bytes;
    case kJpeg:
      return 4 * bytes + 16384;
    case kDeflate:
    case kOldDeflate:
      return 8 * bytes + 1024;
    default:
      return 4 * bytes + 64;
  }
}

// Where a piece of a plane is; one that the file cuts short reaches to its end.
Coded codedPiece(const Page& page, size_t number, int rows) {
  const uint64_t offset = page.offsets[number];
  if (offset >= page.file.size)
    throw Error(ErrorKind::damaged, page.pieceName() + std::to_string(number) + " is named outside of the file",
                page.file.size);
  const size_t most = mostCoded(page.layout, page.layout.bytesOf(rows));
  const size_t size = std::min({size_t(page.lengths[number]), most, page.file.size - size_t(offset)});
  return {{page.file.data + offset, size}, offset, uint64_t(rows)};
}

// The rows of a piece, one after the other.
class PieceReader {
 public:
  // column and row: in pieces.
  PieceReader(const Page& page, int column, int row, bool atOnce) : page_(page), converter_(page.layout, page.meaning) {
    const Layout& l = page.layout;
    const int first = column * l.pieceWidth;
    columns_ = std::min(l.pieceWidth, l.width - first);
    left_ = size_t(first) * page.pixelBytes();
    const int rows = std::min(l.pieceRows, l.height - row * l.pieceRows);
    row_.reset(new uint16_t[(l.rowBytes + 1) / 2]);
    for (int p = 0; p < l.planes; ++p) {
      const size_t number = size_t(p) * size_t(l.piecesOfPlane()) + size_t(row) * size_t(l.across) + size_t(column);
      planes_.push_back(makeUnpacker(l, codedPiece(page, number, rows), atOnce, page.tables, page.limits));
    }
  }

  // Rows of the piece from where it stands; it lies in columns of its own there.
  // to: rows of the page. One that is damaged becomes black.
  void read(Rows to) {
    for (int y = 0; y < to.count; ++y) {
      uint8_t* const out = to.row(y) + left_;
      try {
        readRow(out);
      } catch (const Error&) {
        std::memset(out, 0, size_t(columns_) * page_.pixelBytes());
        throw;
      }
    }
  }
  void skip(int rows) {
    if (page_.layout.units())
      for (; rows > 0; --rows) nextOfUnits();
    else
      for (const auto& plane : planes_) plane->skip(page_.layout.rowBytes * size_t(rows));
  }
  uint64_t position() const { return planes_[0]->position(); }

 private:
  // Which row of the units it is.
  int nextOfUnits() {
    const int row = rowOfUnits_;
    if (row == 0) planes_[0]->read(reinterpret_cast<uint8_t*>(row_.get()), page_.layout.rowBytes);
    rowOfUnits_ = (row + 1) % page_.layout.subY;
    return row;
  }

  // A row takes three steps: the bytes of each plane are unpacked, summed up where differences were coded, and given
  // their meaning. Rows that are pixels as they stand are unpacked straight to their place.
  void readRow(uint8_t* out) {
    if (page_.layout.units()) {
      const int row = nextOfUnits();
      converter_.unitsToPixels(reinterpret_cast<uint8_t*>(row_.get()), row, columns_, out);
      return;
    }
    const bool inPlace = converter_.asItIs() && columns_ == page_.layout.pieceWidth;
    auto* const row = inPlace ? out : reinterpret_cast<uint8_t*>(row_.get());
    for (size_t p = 0; p < planes_.size(); ++p) {
      planes_[p]->read(row, page_.layout.rowBytes);
      converter_.sumUp(row);
      if (!converter_.asItIs()) converter_.takePlane(row, int(p));
    }
    if (!converter_.asItIs())
      converter_.toPixels(size_t(columns_), out);
    else if (!inPlace)
      std::memcpy(out, row, size_t(columns_) * page_.pixelBytes());
  }

  const Page& page_;
  RowConverter converter_;
  int columns_;
  size_t left_;
  int rowOfUnits_ = 0;  // the next one
  std::unique_ptr<uint16_t[]> row_;
  std::vector<std::unique_ptr<Unpacker>> planes_;
};

// A piece of which rows are read band by band. What is not wanted at its top is passed over when something is.
struct OpenPiece {
  std::unique_ptr<PieceReader> reader;
  int done = -1;  // rows read or passed over; -1 before it is opened
  // Nothing where it has failed before.
  void read(const Page& page, int column, int row, int first, Rows to) {
    if (done < 0) {
      done = 0;
      reader = std::make_unique<PieceReader>(page, column, row, false);
    }
    if (!reader) return;
    std::unique_ptr<PieceReader> current = std::move(reader);
    current->skip(first - done);
    current->read(to);
    done = first + to.count;
    reader = std::move(current);
  }
};

class TiffDecoder : public Decoder {
 public:
  TiffDecoder(Source& source, const TiffDecodeOptions& options)
      : source_(source), keepGoing_(options.keepGoing), warnings_(options.warnings) {
    if (options.page < 0) throw Error(ErrorKind::argument, "a negative number of a page");
    page_.file = source.all();
    page_.limits = options.limits;
    const File file(page_.file);
    DirectoryWalk walk(file);
    for (int i = 0;; ++i) {
      const std::optional<Directory> d = walk.next();
      if (!d) throw Error(ErrorKind::argument, "the file has no page " + std::to_string(options.page));
      if (i < options.page) continue;
      openPage(*d, options);
      return;
    }
  }

 private:
  void openPage(const Directory& d, const TiffDecodeOptions& options) {
    const TiffPage p = d.page();
    page_.layout = layoutOf(d, p, options.limits);
    page_.meaning = meaningOf(d, page_.layout, &warnings_);
    checkLength(d, page_.layout, keepGoing_);
    listPieces(d, p);
    page_.tables = d.bytesOf(kJpegTables);
    metadata_ = readMetadata(d, &warnings_);
    const Layout& l = page_.layout;
    const PictureFormat format = {l.width, l.height, page_.meaning.model, page_.meaning.depth};
    const bool bytesMoved = l.compression == kUncompressed || l.compression == kPackBits;
    team_ = std::make_unique<Team>(threadsFor(format, options.threads, bytesMoved ? kPixelsToMove : 0));
    open(format, chooseBand(format), options);
  }

  // Offsets and lengths are taken out of the file once, as far as it has them. Some writers of tiles use the tags of
  // strips; without lengths, which only raw data can go without, a strip is as long as its rows.
  void listPieces(const Directory& d, const TiffPage& p) {
    const Tag offsets = p.tiled && d.has(kTileOffsets) ? kTileOffsets : kStripOffsets;
    const Tag lengths = p.tiled && d.has(kTileByteCounts) ? kTileByteCounts : kStripByteCounts;
    const Layout& l = page_.layout;
    if (!d.has(lengths)) {
      if (l.compression != kUncompressed)
        throw Error(ErrorKind::damaged, "packed strips without lengths", d.where(offsets));
      warnings_.add("strips without lengths", d.where(offsets));
    }
    const uint64_t all = uint64_t(l.piecesOfPlane()) * uint64_t(l.planes);
    uint64_t there = std::min(d.count(offsets), all);
    if (d.has(lengths)) there = std::min(there, d.count(lengths));
    for (uint64_t i = 0; i < there; ++i) {
      page_.offsets.push_back(d.value(offsets, i));
      page_.lengths.push_back(d.has(lengths) ? d.value(lengths, i) : UINT64_MAX);
    }
    ascending_ = l.planes == 1 && std::is_sorted(page_.offsets.begin(), page_.offsets.end());
    if (there == all) return;
    const Error e(ErrorKind::damaged,
                  "of " + std::to_string(all) + " strips or tiles only " + std::to_string(there) + " are named",
                  d.where(offsets));
    if (!keepGoing_) throw e;
    warnings_.add(e);
  }

  // As high as the pieces, or several rows of them for the threads to share; or some rows of large ones.
  int chooseBand(const PictureFormat& format) {
    const Layout& l = page_.layout;
    const size_t rowBytes = format.rowBytes(), pieceRow = rowBytes * size_t(std::min(l.pieceRows, l.height));
    const bool tiles = l.pieceWidth != l.width;
    large_ = l.pieceRows > 1 && pieceRow > (tiles ? kLargestTileRow : kLargestStrip);
    // Copying alone is not worth a thread, nor are pictures that are done before one has started.
    alone_ = team_->threads() == 1 || (l.compression == kUncompressed && RowConverter(l, page_.meaning).asItIs()) ||
             rowBytes * size_t(l.height) < kBand;
    if (large_) {
      return int(std::clamp<size_t>(kBandOfLarge / rowBytes, 1, size_t(l.pieceRows)));
    }
    size_t rows = (alone_ ? kBand : kBandOfThreads) / pieceRow;
    const size_t threads = size_t(team_->threads());
    if (!alone_ && l.across == 1 && threads * pieceRow <= kMostOfThreads) rows = std::max(rows, threads);
    return int(std::clamp<size_t>(rows, 1, size_t(l.down)) * size_t(l.pieceRows));
  }

  template <class Work>
  void forEach(int count, const Work& work) {
    if (alone_)
      for (int i = 0; i < count; ++i) work(i);
    else
      team_->forEach(count, work);
  }

  // Whether the region touches a column of pieces.
  bool isWanted(int column) const {
    const int first = column * page_.layout.pieceWidth;
    return first < wanted().x + wanted().width && first + page_.layout.pieceWidth > wanted().x;
  }
  // Whether the file has the piece in all planes: those of the last one are named last.
  bool isNamed(int column, int row) const {
    const Layout& l = page_.layout;
    const size_t last = size_t(l.planes - 1) * size_t(l.piecesOfPlane()) + size_t(row) * size_t(l.across);
    return last + size_t(column) < page_.offsets.size();
  }

  // What work throws becomes a warning where the picture is to be had all the same, and its rows black.
  template <class Work>
  void guarded(int column, Rows to, std::optional<Error>* error, const Work& work) {
    if (!keepGoing_) return work();
    const size_t begin = size_t(column) * size_t(page_.layout.pieceWidth) * page_.pixelBytes();
    const size_t size = std::min(size_t(page_.layout.pieceWidth) * page_.pixelBytes(), whole().rowBytes() - begin);
    for (int y = 0; y < to.count; ++y) std::memset(to.row(y) + begin, 0, size);
    try {
      work();
    } catch (const Error& e) {
      *error = e;
    }
  }
  void report(const std::vector<std::optional<Error>>& errors) {
    for (const std::optional<Error>& e : errors)
      if (e) warnings_.add(*e);
  }

  void decodeBand(Rows to) override {
    if (large_)
      decodeOpen(to);
    else
      decodePieces(to);
  }
  // Pieces are opened, and rows of open ones passed over, when something is wanted of them.
  void skipBand(int) override {}

  // Whole pieces.
  void decodePieces(Rows to) {
    const Layout& l = page_.layout;
    const int firstRow = nextRow() / l.pieceRows, down = (to.count - 1) / l.pieceRows + 1;
    const int count = down * l.across;
    std::vector<std::optional<Error>> errors(size_t{unsigned(count)});
    forEach(count, [&](int i) {
      const int row = i / l.across, column = i % l.across, y = row * l.pieceRows;
      const Rows rows = to.part(y, std::min(l.pieceRows, to.count - y));
      if (!isWanted(column)) return;
      guarded(column, rows, &errors[size_t(i)], [&] {
        if (!isNamed(column, firstRow + row)) return;
        PieceReader(page_, column, firstRow + row, true).read(rows);
      });
    });
    report(errors);
    const size_t last = size_t(firstRow + down - 1) * size_t(l.across);
    if (ascending_ && last < page_.offsets.size()) source_.release(page_.offsets[last]);
  }

  // Some rows of pieces that stay open.
  void decodeOpen(Rows to) {
    const Layout& l = page_.layout;
    for (int y = 0; y < to.count;) {
      const int at = nextRow() + y, row = at / l.pieceRows, passed = row * l.pieceRows;
      const Rows rows = to.part(y, std::min(passed + l.pieceRows - at, to.count - y));
      if (row != openRow_) {
        open_.clear();
        open_.resize(size_t(l.across));
        openRow_ = row;
      }
      std::vector<std::optional<Error>> errors(open_.size());
      forEach(l.across, [&](int column) {
        if (!isWanted(column)) return;
        guarded(column, rows, &errors[size_t(column)], [&] {
          if (isNamed(column, row)) open_[size_t(column)].read(page_, column, row, at - passed, rows);
        });
      });
      report(errors);
      y += rows.count;
      if (ascending_) source_.release(open_[0].reader ? size_t(open_[0].reader->position()) : 0);
    }
  }

  Source& source_;
  const bool keepGoing_;
  Warnings warnings_;
  std::unique_ptr<Team> team_;
  Page page_;
  bool ascending_ = false;  // pieces lie in the file in the order in which they are read
  bool large_ = false;      // bands are parts of pieces
  bool alone_ = true;       // no threads
  int openRow_ = -1;        // of pieces
  std::vector<OpenPiece> open_;
};

}  // namespace
}  // namespace tiff

std::unique_ptr<Decoder> openTiff(Source& source, const TiffDecodeOptions& options) {
  return std::make_unique<tiff::TiffDecoder>(source, options);
}

Image decodeTiff(const uint8_t* data, size_t size, const TiffDecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openTiff(*source, options));
}

}  // namespace zelcodecs
