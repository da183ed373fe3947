// Headers and directories, and what they say of a page.
#include "tiff/directory.h"

#include <algorithm>

#include "tiff/metadata.h"

namespace zelcodecs::tiff {
namespace {

constexpr int kMagic = 42, kBigMagic = 43;

// Types whose values are numbers of places, sizes and kinds. Readers are asked to take any of them in place of another.
bool isWhole(int type) {
  return type == kByte || type == kShort || type == kLong || type == kDirectoryOffset || type == kLong8 ||
         type == kDirectoryOffset8;
}

// The order of bytes in letters, then the version in that order (TIFF 6.0, section 2).
bool beginsWith(const uint8_t* data, size_t size, int magic) {
  if (size < 4) return false;
  return data[0] == 'I' ? data[1] == 'I' && data[2] == magic && data[3] == 0
                        : data[0] == 'M' && data[1] == 'M' && data[2] == 0 && data[3] == magic;
}

// Fields that are numbers of kinds. What they are given as may be wider.
int shortNumber(const Directory& d, Tag tag, uint64_t v) {
  if (v > UINT16_MAX) throw Error(ErrorKind::damaged, "a field with a number that is too large", d.where(tag));
  return int(v);
}

uint32_t longNumber(const Directory& d, Tag tag, uint64_t v) {
  if (v > UINT32_MAX)
    throw Error(ErrorKind::limit, "a page or a part of it of more than 2^32 rows or columns", d.where(tag));
  return uint32_t(v);
}

}  // namespace

// 0 for a type that is not known, whose field is passed over.
size_t bytesOfType(int type) {
  switch (type) {
    case kByte:
    case kAscii:
    case kSignedByte:
    case kUndefined:
      return 1;
    case kShort:
    case kSignedShort:
      return 2;
    case kLong:
    case kSignedLong:
    case kFloat:
    case kDirectoryOffset:
      return 4;
    case kRational:
    case kSignedRational:
    case kDouble:
    case kLong8:
    case 17:  // signed
    case kDirectoryOffset8:
      return 8;
  }
  return 0;
}

std::string nameOfCompression(int compression) {
  static constexpr std::pair<int, const char*> kNames[] = {{kUncompressed, "none"},
                                                           {2, "CCITT modified Huffman"},
                                                           {3, "CCITT group 3"},
                                                           {4, "CCITT group 4"},
                                                           {kLzw, "LZW"},
                                                           {6, "JPEG in its old style"},
                                                           {kJpeg, "JPEG"},
                                                           {kDeflate, "Deflate"},
                                                           {kOldDeflate, "Deflate"},
                                                           {kPackBits, "PackBits"},
                                                           {34661, "JBIG"},
                                                           {34676, "LogLuv"},
                                                           {34677, "LogLuv"},
                                                           {34712, "JPEG 2000"},
                                                           {34887, "LERC"},
                                                           {34925, "LZMA"},
                                                           {50000, "Zstandard"},
                                                           {50001, "WebP"}};
  for (const auto& [number, name] : kNames)
    if (number == compression) return name;
  return "number " + std::to_string(compression);
}

// ---- The file -------------------------------------------------------------------------------------------------------

File::File(ByteView bytes) : in_(bytes, bytes.size > 0 && bytes.data[0] == 'M') {
  form_.big = beginsWith(bytes.data, bytes.size, kBigMagic);
  if (!form_.big && !beginsWith(bytes.data, bytes.size, kMagic))
    throw Error(ErrorKind::unsupported, "not a TIFF file", 0);
  // BigTIFF says how many bytes an offset has, and nobody has ever written others than 8.
  if (form_.big && (in_.u16(4) != 8 || in_.u16(6) != 0))
    throw Error(ErrorKind::unsupported, "a BigTIFF file with offsets of other than 8 bytes", 4);
  offset(form_.linkAt());
}

// ---- A directory ----------------------------------------------------------------------------------------------------

Directory::Directory(const File& file, uint64_t at) : file_(&file), at_(at) {
  const ByteReader& in = file.in();
  const Form form = file.form();
  const uint64_t entries = form.big ? in.u64(at) : in.u16(at);
  if (entries == 0) throw Error(ErrorKind::damaged, "a directory without entries", at);
  // Before any of them is read: what a directory claims costs nothing.
  if (entries > (file.size() - at - form.countBytes()) / form.entryBytes())
    throw Error(ErrorKind::damaged, "the file ends in a directory of " + std::to_string(entries) + " entries", at);
  bytes_ = form.countBytes() + entries * form.entryBytes() + form.offsetBytes();
  for (uint64_t e = at + form.countBytes(); e < link(); e += form.entryBytes()) {
    Field f = {e, e + 4 + form.offsetBytes(), int(in.u16(e + 2)), file.offset(e + 4)};
    // Values that do not fit into the entry stand elsewhere. That matters only to a field that is made use of.
    const size_t bytes = bytesOfType(f.type);
    if (bytes && f.count > form.offsetBytes() / bytes) f.values = file.offset(f.values);
    fields_.emplace(in.u16(e), f);  // of two entries with one tag the first counts
  }
}

// For messages: the entry, or the directory where the field is missing.
size_t Directory::where(Tag tag) const {
  const auto found = fields_.find(tag);
  return found == fields_.end() ? at_ : found->second.entry;
}

// A field that the page cannot do without, or that has been found by has().
const Directory::Field& Directory::field(Tag tag) const {
  const auto found = fields_.find(tag);
  if (found == fields_.end())
    throw Error(ErrorKind::damaged, "a page without field " + std::to_string(tag) + " in its directory", at_);
  const Field& f = found->second;
  if (!isWhole(f.type))
    throw Error(ErrorKind::damaged,
                "field " + std::to_string(tag) + " is of type " + std::to_string(f.type) + ", not a whole number,",
                f.entry);
  return f;
}

// As many values as the field claims and the file can hold.
uint64_t Directory::count(Tag tag) const {
  if (!has(tag)) return 0;
  const Field& f = field(tag);
  const uint64_t room = f.values < file_->size() ? (file_->size() - f.values) / bytesOfType(f.type) : 0;
  return std::min(f.count, room);
}

// Places are not checked here: the reader of the file does that, with the place in its message.
uint64_t Directory::position(Tag tag, uint64_t i) const {
  const Field& f = field(tag);
  if (i >= f.count)
    throw Error(ErrorKind::damaged,
                "field " + std::to_string(tag) + " has only " + std::to_string(f.count) + " values,", f.entry);
  return f.values + i * bytesOfType(f.type);
}

uint64_t Directory::value(Tag tag, uint64_t i) const {
  const uint64_t at = position(tag, i);
  const ByteReader& in = file_->in();
  switch (bytesOfType(field(tag).type)) {
    case 1:
      return in.u8(at);
    case 2:
      return in.u16(at);
    case 4:
      return in.u32(at);
    default:
      return in.u64(at);
  }
}

ByteView Directory::bytesOf(Tag tag) const {
  const auto found = fields_.find(tag);
  if (found == fields_.end()) return {};
  const Field& f = found->second;
  const size_t each = bytesOfType(f.type);
  if (each && f.count > file_->size() / each)
    throw Error(ErrorKind::damaged, "a field of more values than the file has bytes", f.entry);
  return file_->in().view(f.values, f.count * each);
}

// 0 where the field is missing, of another type or cut off: all that is given as a quotient can be done without.
double Directory::rational(Tag tag, uint64_t i) const {
  const auto found = fields_.find(tag);
  if (found == fields_.end() || found->second.type != kRational || found->second.count <= i) return 0;
  const uint64_t at = found->second.values + 8 * i;
  if (at > file_->size() || file_->size() - at < 8) return 0;
  const uint32_t above = file_->in().u32(at), below = file_->in().u32(at + 4);
  return below ? double(above) / below : 0;
}

namespace {

// How long a field says that it is.
uint64_t bytesNamed(const Directory& d, Tag tag) {
  const auto found = d.fields().find(tag);
  return found == d.fields().end() ? 0 : found->second.count;
}

// How the page is divided. Strips are tiles of the page's own width.
void readPieces(const Directory& d, TiffPage* p) {
  p->tiled = d.has(kTileWidth);
  if (p->tiled) {
    p->tileWidth = longNumber(d, kTileWidth, d.value(kTileWidth));
    p->tileHeight = longNumber(d, kTileLength, d.value(kTileLength));
    if (p->tileWidth == 0 || p->tileHeight == 0)
      throw Error(ErrorKind::damaged, "tiles without pixels", d.where(kTileWidth));
  } else {
    p->rowsPerStrip = uint32_t(std::min<uint64_t>(d.valueOr(kRowsPerStrip, UINT32_MAX), p->height));
    if (p->rowsPerStrip == 0) throw Error(ErrorKind::damaged, "strips without rows", d.where(kRowsPerStrip));
  }
  // Channels that lie apart have strips or tiles of their own, those of the first channel first.
  const uint64_t planes = uint64_t(p->planarConfiguration == 2 ? p->samplesPerPixel : 1);
  const uint64_t across = p->tiled ? (p->width - 1) / p->tileWidth + uint64_t{1} : 1;
  const uint64_t down = (p->height - 1) / (p->tiled ? p->tileHeight : p->rowsPerStrip) + uint64_t{1};
  if (across > INT32_MAX / down || across * down > INT32_MAX / planes)
    throw Error(ErrorKind::limit, "a page of more than 2^31 strips or tiles",
                d.where(p->tiled ? kTileWidth : kRowsPerStrip));
  (p->tiled ? p->tiles : p->strips) = uint32_t(across * down * planes);
}

}  // namespace

TiffPage Directory::page() const {
  TiffPage p;
  p.width = longNumber(*this, kImageWidth, value(kImageWidth));
  p.height = longNumber(*this, kImageLength, value(kImageLength));
  if (p.width == 0 || p.height == 0) throw Error(ErrorKind::damaged, "a page without pixels", at_);
  p.samplesPerPixel = shortNumber(*this, kSamplesPerPixel, valueOr(kSamplesPerPixel, 1));
  if (p.samplesPerPixel == 0) throw Error(ErrorKind::damaged, "pixels without samples", where(kSamplesPerPixel));
  p.bitsPerSample = shortNumber(*this, kBitsPerSample, valueOr(kBitsPerSample, 1));
  p.compression = shortNumber(*this, kCompression, valueOr(kCompression, 1));
  p.compressionName = nameOfCompression(p.compression);
  p.predictor = shortNumber(*this, kPredictor, valueOr(kPredictor, 1));
  p.photometric = shortNumber(*this, kPhotometric, value(kPhotometric));
  p.fillOrder = shortNumber(*this, kFillOrder, valueOr(kFillOrder, 1));
  p.orientation = shortNumber(*this, kOrientation, valueOr(kOrientation, 1));
  p.planarConfiguration = shortNumber(*this, kPlanarConfiguration, valueOr(kPlanarConfiguration, 1));
  p.pixelsPerMetreX = pixelsPerMetre(*this, kXResolution);
  p.pixelsPerMetreY = pixelsPerMetre(*this, kYResolution);
  p.iccBytes = bytesNamed(*this, kIccProfile);
  p.xmpBytes = bytesNamed(*this, kXmp);
  p.exif = has(kExifDirectory);
  readPieces(*this, &p);
  return p;
}

std::optional<Directory> DirectoryWalk::next() {
  // A link of 0 ends the chain.
  if (at_ == 0) return std::nullopt;
  if (at_ > file_->size() - 2) throw Error(ErrorKind::damaged, "a directory outside of the file is named", pointer_);
  if (!seen_.insert(at_).second)
    throw Error(ErrorKind::damaged, "the directories go round in a circle: one of them is named again", pointer_);
  Directory d(*file_, at_);
  // Directories that lie across one another could be as many as the file has bytes, with 65535 entries each.
  bytes_ += d.bytes();
  if (bytes_ > file_->size() + 4) throw Error(ErrorKind::damaged, "directories that overlap", at_);
  pointer_ = d.link();
  at_ = pointer_ + file_->form().offsetBytes() <= file_->size() ? file_->offset(pointer_) : 0;
  return d;
}

}  // namespace zelcodecs::tiff

namespace zelcodecs {

bool isTiff(const uint8_t* data, size_t size) {
  return tiff::beginsWith(data, size, tiff::kMagic) || tiff::beginsWith(data, size, tiff::kBigMagic);
}

TiffInfo readTiffInfo(const uint8_t* data, size_t size) {
  const tiff::File file({data, size});
  TiffInfo info;
  info.bigEndian = file.bigEndian();
  info.big = file.form().big;
  tiff::DirectoryWalk walk(file);
  while (const std::optional<tiff::Directory> d = walk.next()) info.pages.push_back(d->page());
  if (info.pages.empty()) throw Error(ErrorKind::damaged, "a TIFF file without pages", 4);
  return info;
}

}  // namespace zelcodecs
