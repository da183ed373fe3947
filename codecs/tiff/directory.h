// The structure of TIFF files (TIFF 6.0, section 2): a header, and a chain of directories whose entries are the fields
// of a page.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "common/error.h"
#include "common/parallel.h"
#include "tiff/tiff.h"

namespace zelcodecs::tiff {

enum Tag : int {
  kNewSubfileType = 254,
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kFillOrder = 266,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kXResolution = 282,
  kYResolution = 283,
  kPlanarConfiguration = 284,
  kResolutionUnit = 296,
  kPageNumber = 297,
  kColorMap = 320,
  kTileWidth = 322,
  kInkSet = 332,
  kExtraSamples = 338,
  kSampleFormat = 339,
};

enum Type : int { kByte = 1, kShort = 3, kLong = 4, kRational = 5 };

enum Photometric : int { kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3, kSeparated = 5 };

// Rows are handed on with lengths of type int.
constexpr size_t kMostRowBytes = size_t{1} << 30;

constexpr int kAssociatedAlpha = 1, kUnassociatedAlpha = 2;  // values of ExtraSamples

// Bytes in the order of the file. A read beyond the end throws.
class File {
 public:
  File(const uint8_t* data, size_t size);
  bool bigEndian() const { return bigEndian_; }
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  int byte(size_t at) const;
  int word(size_t at) const;
  uint32_t dword(size_t at) const;

 private:
  void need(size_t at, size_t bytes) const;
  const uint8_t* data_;
  size_t size_;
  bool bigEndian_;
};

class Directory {
 public:
  Directory(const File& file, size_t at);
  const File& file() const { return *file_; }
  // Where the next directory begins, or 0.
  size_t next() const { return file_->dword(at_ + 2 + 12 * size_t{entries_}); }
  size_t bytes() const { return 2 + 12 * size_t{entries_} + 4; }

  bool has(Tag tag) const { return fields_.count(tag) != 0; }
  // How many of a field's values there are; 0 without the field. Those beyond the end of the file do not count.
  uint32_t count(Tag tag) const;
  // Value i of a field of whole numbers, which must be there.
  uint32_t value(Tag tag, uint32_t i = 0) const;
  uint32_t valueOr(Tag tag, uint32_t fallback) const { return has(tag) ? value(tag) : fallback; }
  // The position of value i.
  size_t position(Tag tag, uint32_t i) const;
  // The position of the entry, or of the directory where it has none.
  size_t where(Tag tag) const;

  TiffPage page() const;

 private:
  struct Field {
    size_t entry;   // position of the entry
    size_t values;  // position of the values
    int type;
    uint32_t count;
  };
  const Field& field(Tag tag) const;

  const File* file_;
  size_t at_;
  uint16_t entries_;
  std::map<int, Field> fields_;
};

// The directories from the first to the last.
class DirectoryWalk {
 public:
  explicit DirectoryWalk(const File& file) : file_(&file), at_(file.dword(4)), pointer_(4) {}
  // Nothing at the end. Throws where the chain is damaged or comes back to where it was.
  std::optional<Directory> next();

 private:
  const File* file_;
  size_t at_;
  size_t pointer_;  // position of the number at_
  size_t bytes_ = 0;
  std::set<size_t> seen_;
};

// Calls work(i) for the strips of a picture. Threads cost more than they gain where all is done in less time than they
// take to start.
template <class Work>
void forEachStrip(int count, int wantedThreads, size_t imageBytes, const Progress& progress, const Work& work) {
  constexpr size_t kWorthwhile = size_t{256} << 10;
  int done = 0;
  forEachPiece(count, imageBytes < kWorthwhile ? 1 : threadCount(wantedThreads), [&](int i) {
    work(i);
    if (!progress) return;
#pragma omp critical(zelcodecs_progress)
    progress(double(++done) / count);
  });
}

// Exchanges the two bytes of 16-bit samples.
class ByteSwap {
 public:
  void row(uint16_t* samples, int n);

 private:
  std::vector<uint8_t> planes_;
};

}  // namespace zelcodecs::tiff
