#include "tiff/directory.h"

#include <algorithm>

#include "zelj.h"

namespace zelcodecs::tiff {
namespace {

constexpr int kMagic = 42, kBigMagic = 43;

// Bytes of one value of a whole number's type, 0 for all other types.
size_t sizeOf(int type) { return type == kByte ? 1 : type == kShort ? 2 : type == kLong ? 4 : 0; }

bool beginsWith(const uint8_t* data, size_t size, int magic) {
  if (size < 4) return false;
  return data[0] == 'I' ? data[1] == 'I' && data[2] == magic && data[3] == 0
                        : data[0] == 'M' && data[1] == 'M' && data[2] == 0 && data[3] == magic;
}

int shortNumber(const Directory& d, Tag tag, uint32_t v) {
  if (v > UINT16_MAX) throw Error(ErrorKind::damaged, "a field with a number that is too large", d.where(tag));
  return int(v);
}

}  // namespace

// ---- The file -------------------------------------------------------------------------------------------------------

File::File(const uint8_t* data, size_t size) : data_(data), size_(size), bigEndian_(size > 0 && data[0] == 'M') {
  if (beginsWith(data, size, kBigMagic))
    throw Error(ErrorKind::unsupported, "a TIFF file with 64-bit offsets (BigTIFF)", 2);
  if (!beginsWith(data, size, kMagic)) throw Error(ErrorKind::unsupported, "not a TIFF file", 0);
  need(4, 4);
}

void File::need(size_t at, size_t bytes) const {
  if (at > size_ || bytes > size_ - at) throw Error(ErrorKind::damaged, "the file ends before a number in it", at);
}

int File::byte(size_t at) const {
  need(at, 1);
  return data_[at];
}

int File::word(size_t at) const {
  need(at, 2);
  const uint8_t* p = data_ + at;
  return bigEndian_ ? p[0] << 8 | p[1] : p[1] << 8 | p[0];
}

uint32_t File::dword(size_t at) const {
  need(at, 4);
  const uint32_t first = uint32_t(word(at)), second = uint32_t(word(at + 2));
  return bigEndian_ ? first << 16 | second : second << 16 | first;
}

// ---- A directory ----------------------------------------------------------------------------------------------------

Directory::Directory(const File& file, size_t at) : file_(&file), at_(at), entries_(uint16_t(file.word(at))) {
  if (entries_ == 0) throw Error(ErrorKind::damaged, "a directory without entries", at);
  if (12 * size_t{entries_} > file.size() - at - 2)
    throw Error(ErrorKind::damaged, "the file ends in a directory of " + std::to_string(entries_) + " entries", at);
  for (size_t e = at + 2; e < at + 2 + 12 * size_t{entries_}; e += 12) {
    Field f = {e, e + 8, file.word(e + 2), file.dword(e + 4)};
    // Values of more than four bytes stand elsewhere. That matters only to a field that is made use of.
    if (uint64_t{f.count} * sizeOf(f.type) > 4) f.values = file.dword(e + 8);
    fields_.emplace(file.word(e), f);  // of two entries with one tag the first counts
  }
}

size_t Directory::where(Tag tag) const {
  const auto found = fields_.find(tag);
  return found == fields_.end() ? at_ : found->second.entry;
}

const Directory::Field& Directory::field(Tag tag) const {
  const auto found = fields_.find(tag);
  if (found == fields_.end())
    throw Error(ErrorKind::damaged, "a page without field " + std::to_string(tag) + " in its directory", at_);
  const Field& f = found->second;
  if (sizeOf(f.type) == 0)
    throw Error(ErrorKind::damaged,
                "field " + std::to_string(tag) + " is of type " + std::to_string(f.type) + ", not a whole number,",
                f.entry);
  return f;
}

uint32_t Directory::count(Tag tag) const {
  if (!has(tag)) return 0;
  const Field& f = field(tag);
  const size_t room = f.values < file_->size() ? (file_->size() - f.values) / sizeOf(f.type) : 0;
  return uint32_t(std::min<size_t>(f.count, room));
}

size_t Directory::position(Tag tag, uint32_t i) const {
  const Field& f = field(tag);
  if (i >= f.count)
    throw Error(ErrorKind::damaged,
                "field " + std::to_string(tag) + " has only " + std::to_string(f.count) + " values,", f.entry);
  return f.values + i * sizeOf(f.type);
}

uint32_t Directory::value(Tag tag, uint32_t i) const {
  const size_t at = position(tag, i), bytes = sizeOf(field(tag).type);
  return bytes == 4 ? file_->dword(at) : uint32_t(bytes == 2 ? file_->word(at) : file_->byte(at));
}

TiffPage Directory::page() const {
  TiffPage p;
  p.width = value(kImageWidth);
  p.height = value(kImageLength);
  if (p.width == 0 || p.height == 0) throw Error(ErrorKind::damaged, "a page without pixels", at_);
  p.samplesPerPixel = shortNumber(*this, kSamplesPerPixel, valueOr(kSamplesPerPixel, 1));
  if (p.samplesPerPixel == 0) throw Error(ErrorKind::damaged, "pixels without samples", where(kSamplesPerPixel));
  p.bitsPerSample = shortNumber(*this, kBitsPerSample, valueOr(kBitsPerSample, 1));
  p.compression = shortNumber(*this, kCompression, valueOr(kCompression, 1));
  p.photometric = shortNumber(*this, kPhotometric, value(kPhotometric));
  p.fillOrder = shortNumber(*this, kFillOrder, valueOr(kFillOrder, 1));
  p.orientation = shortNumber(*this, kOrientation, valueOr(kOrientation, 1));
  p.planarConfiguration = shortNumber(*this, kPlanarConfiguration, valueOr(kPlanarConfiguration, 1));
  p.tiled = has(kTileWidth);
  if (p.tiled) return p;
  p.rowsPerStrip = std::min(valueOr(kRowsPerStrip, UINT32_MAX), p.height);
  if (p.rowsPerStrip == 0) throw Error(ErrorKind::damaged, "strips without rows", where(kRowsPerStrip));
  const uint64_t planes = uint64_t(p.planarConfiguration == 2 ? p.samplesPerPixel : 1);
  const uint64_t strips = ((p.height - 1) / p.rowsPerStrip + uint64_t{1}) * planes;
  if (strips > INT32_MAX) throw Error(ErrorKind::limit, "a page of more than 2^31 strips", where(kRowsPerStrip));
  p.strips = uint32_t(strips);
  return p;
}

std::optional<Directory> DirectoryWalk::next() {
  if (at_ == 0) return std::nullopt;
  if (at_ > file_->size() - 2) throw Error(ErrorKind::damaged, "a directory outside of the file is named", pointer_);
  if (!seen_.insert(at_).second)
    throw Error(ErrorKind::damaged, "the directories go round in a circle: one of them is named again", pointer_);
  Directory d(*file_, at_);
  // Directories that lie across one another could be as many as the file has bytes, with 65535 entries each.
  bytes_ += d.bytes();
  if (bytes_ > file_->size() + 4) throw Error(ErrorKind::damaged, "directories that overlap", at_);
  pointer_ = at_ + d.bytes() - 4;
  at_ = pointer_ + 4 <= file_->size() ? d.next() : 0;
  return d;
}

// ---- Samples --------------------------------------------------------------------------------------------------------

void ByteSwap::row(uint16_t* samples, int n) {
  const size_t count = size_t(n);
  if (planes_.size() < 2 * count) planes_.resize(2 * count);
  uint8_t* const split[2] = {planes_.data(), planes_.data() + count};
  const uint8_t* const exchanged[2] = {split[1], split[0]};
  if (zeliSplitRow_TIFF_16u8u_C1(samples, split, n) != zelStsNoErr ||
      zeliJoinRow_TIFF_8u16u_C1(exchanged, samples, n) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a row without samples");
}

}  // namespace zelcodecs::tiff

namespace zelcodecs {

bool isTiff(const uint8_t* data, size_t size) {
  return tiff::beginsWith(data, size, tiff::kMagic) || tiff::beginsWith(data, size, tiff::kBigMagic);
}

TiffInfo readTiffInfo(const uint8_t* data, size_t size) {
  const tiff::File file(data, size);
  TiffInfo info;
  info.bigEndian = file.bigEndian();
  tiff::DirectoryWalk walk(file);
  while (const std::optional<tiff::Directory> d = walk.next()) info.pages.push_back(d->page());
  if (info.pages.empty()) throw Error(ErrorKind::damaged, "a TIFF file without pages", 4);
  return info;
}

}  // namespace zelcodecs
