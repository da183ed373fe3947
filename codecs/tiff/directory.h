// The structure of TIFF files (TIFF 6.0, section 2): a header, and a chain of directories whose entries are the fields
// of a page. Files with 64-bit offsets (BigTIFF) have the same structure with wider numbers.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "common/bytes.h"
#include "common/error.h"
#include "common/team.h"
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
  kImageDescription = 270,
  kMake = 271,
  kModel = 272,
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
  kSoftware = 305,
  kDateTime = 306,
  kArtist = 315,
  kPredictor = 317,
  kColorMap = 320,
  kTileWidth = 322,
  kTileLength = 323,
  kTileOffsets = 324,
  kTileByteCounts = 325,
  kInkSet = 332,
  kExtraSamples = 338,
  kSampleFormat = 339,
  kJpegTables = 347,
  kYCbCrCoefficients = 529,
  kYCbCrSubSampling = 530,
  kReferenceBlackWhite = 532,
  kXmp = 700,
  kCopyright = 33432,
  kExifDirectory = 34665,
  kIccProfile = 34675,
  kGpsDirectory = 34853,
};

enum Type : int {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSignedByte = 6,
  kUndefined = 7,
  kSignedShort = 8,
  kSignedLong = 9,
  kSignedRational = 10,
  kFloat = 11,
  kDouble = 12,
  kDirectoryOffset = 13,
  kLong8 = 16,
  kDirectoryOffset8 = 18,
};

// Bytes of one value of a type, 0 for types that nobody knows.
size_t bytesOfType(int type);

enum Compression : int {
  kUncompressed = 1,
  kLzw = 5,
  kJpeg = 7,
  kDeflate = 8,
  kPackBits = 32773,
  kOldDeflate = 32946,
};
enum Predictor : int { kNoPredictor = 1, kDifferences = 2, kFloatPredictor = 3 };
enum Photometric : int { kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3, kSeparated = 5, kYCbCr = 6 };

// From which size on threads are used, without being asked for, where packing is little more than moving bytes.
constexpr int64_t kPixelsToMove = int64_t{1} << 26;

// Rows are handed on with lengths of type int.
constexpr size_t kMostRowBytes = size_t{1} << 30;

constexpr int kAssociatedAlpha = 1, kUnassociatedAlpha = 2;  // values of ExtraSamples
constexpr int kPixelsPerInch = 2, kPixelsPerCentimetre = 3;  // values of ResolutionUnit

// How wide the numbers of the structure are.
struct Form {
  bool big = false;

  size_t linkAt() const { return big ? 8 : 4; }  // of the first directory, in the header
  size_t countBytes() const { return big ? 8 : 2; }
  size_t offsetBytes() const { return big ? 8 : 4; }
  size_t entryBytes() const { return 4 + 2 * offsetBytes(); }
};

// The header and the bytes behind it. Reading beyond the end throws.
class File {
 public:
  explicit File(ByteView bytes);
  const ByteReader& in() const { return in_; }
  Form form() const { return form_; }
  bool bigEndian() const { return in_.bigEndian(); }
  uint64_t size() const { return in_.bytes().size; }
  // A number in the width that offsets have.
  uint64_t offset(uint64_t at) const { return form_.big ? in_.u64(at) : in_.u32(at); }

 private:
  ByteReader in_;
  Form form_;
};

class Directory {
 public:
  struct Field {
    uint64_t entry;   // position of the entry
    uint64_t values;  // position of the values
    int type;
    uint64_t count;
  };

  Directory(const File& file, uint64_t at);
  const File& file() const { return *file_; }
  const std::map<int, Field>& fields() const { return fields_; }
  // The position of the offset of the next directory.
  uint64_t link() const { return at_ + bytes_ - file_->form().offsetBytes(); }
  uint64_t bytes() const { return bytes_; }

  bool has(Tag tag) const { return fields_.count(tag) != 0; }
  // How many of a field's values there are; 0 without the field. Those beyond the end of the file do not count.
  uint64_t count(Tag tag) const;
  // Value i of a field of whole numbers, which must be there.
  uint64_t value(Tag tag, uint64_t i = 0) const;
  uint64_t valueOr(Tag tag, uint64_t fallback) const { return has(tag) ? value(tag) : fallback; }
  // The bytes of a field, whatever its type; none without it. Throws where the file ends in them.
  ByteView bytesOf(Tag tag) const;
  // Quotient number i, or 0 where there is none.
  double rational(Tag tag, uint64_t i = 0) const;
  // The position of value i.
  uint64_t position(Tag tag, uint64_t i) const;
  // The position of the entry, or of the directory where it has none.
  size_t where(Tag tag) const;

  TiffPage page() const;

 private:
  const Field& field(Tag tag) const;

  const File* file_;
  uint64_t at_, bytes_;
  std::map<int, Field> fields_;
};

// The directories from the first to the last.
class DirectoryWalk {
 public:
  explicit DirectoryWalk(const File& file)
      : file_(&file), at_(file.offset(file.form().linkAt())), pointer_(file.form().linkAt()) {}
  // Nothing at the end. Throws where the chain is damaged or comes back to where it was.
  std::optional<Directory> next();

 private:
  const File* file_;
  uint64_t at_;
  uint64_t pointer_;  // position of the number at_
  uint64_t bytes_ = 0;
  std::set<uint64_t> seen_;
};

std::string nameOfCompression(int compression);

}  // namespace zelcodecs::tiff
