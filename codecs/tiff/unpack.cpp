// Compressions of strips and tiles, undone.
#include "tiff/unpack.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "common/foreign.h"
#include "jpeg/jpeg.h"
#include "tiff/lzw.h"
#include "zelj.h"

namespace zelcodecs::tiff {
namespace {

[[noreturn]] void endsEarly(uint64_t offset) {
  throw Error(ErrorKind::damaged, "a strip or tile that ends before its last row", offset);
}

// ---- None -----------------------------------------------------------------------------------------------------------

class Plain : public Unpacker {
 public:
  explicit Plain(const Coded& c) : coded_(c) {}
  void read(uint8_t* to, size_t n) override {
    if (coded_.bytes.size - at_ < n) endsEarly(coded_.offset + coded_.bytes.size);
    std::memcpy(to, coded_.bytes.data + at_, n);
    at_ += n;
  }
  void skip(size_t n) override {
    if (coded_.bytes.size - at_ < n) endsEarly(coded_.offset + coded_.bytes.size);
    at_ += n;
  }
  uint64_t position() const override { return coded_.offset + at_; }

 private:
  const Coded coded_;
  size_t at_ = 0;
};

// ---- PackBits (TIFF 6.0, section 9) ---------------------------------------------------------------------------------

class PackBits : public Unpacker {
 public:
  explicit PackBits(const Coded& c) : coded_(c) {}
  void read(uint8_t* to, size_t n) override {
    const size_t left = coded_.bytes.size - at_;
    int used = 0;
    if (pending_ == 0 && left > 0 &&
        zeliUnpackBitsRow_TIFF_8u_C1(coded_.bytes.data + at_, &used, int(std::min<size_t>(left, INT32_MAX)), to,
                                     int(n)) == zelStsNoErr)
      at_ += size_t(used);
    else
      readByRuns(to, n);
  }
  uint64_t position() const override { return coded_.offset + at_; }

 private:
  // Some writers let runs go on in the next row, though they should not.
  void readByRuns(uint8_t* to, size_t n) {
    while (n > 0) {
      if (pending_ == 0) beginRun();
      const size_t take = std::min(n, pending_);
      if (repeats_)
        std::memset(to, value_, take);
      else
        std::memcpy(to, coded_.bytes.data + at_, take);
      if (!repeats_) at_ += take;
      pending_ -= take;
      to += take;
      n -= take;
    }
  }
  // A count below 128 stands for that many bytes and one, above it the next byte is repeated 257 - count times.
  void beginRun() {
    while (at_ < coded_.bytes.size && coded_.bytes.data[at_] == 128) ++at_;
    if (coded_.bytes.size - at_ < 2) endsEarly(coded_.offset + coded_.bytes.size);
    const int count = coded_.bytes.data[at_++];
    repeats_ = count > 128;
    pending_ = size_t(repeats_ ? 257 - count : count + 1);
    if (repeats_)
      value_ = coded_.bytes.data[at_++];
    else if (coded_.bytes.size - at_ < pending_)
      endsEarly(coded_.offset + coded_.bytes.size);
  }

  const Coded coded_;
  size_t at_ = 0;
  size_t pending_ = 0;  // bytes that the run at work has for the next row
  bool repeats_ = false;
  uint8_t value_ = 0;
};

// ---- LZW ------------------------------------------------------------------------------------------------------------

class Lzw : public Unpacker {
 public:
  explicit Lzw(const Coded& c) : offset_(c.offset), decoder_(c.bytes) {}
  void read(uint8_t* to, size_t n) override {
    if (decoder_.read(to, n) < n)
      throw Error(ErrorKind::damaged, "LZW data that end before the last row, or with a code that cannot be,",
                  offset_ + decoder_.used());
  }
  uint64_t position() const override { return offset_ + decoder_.used(); }

 private:
  const uint64_t offset_;
  LzwDecoder decoder_;
};

// ---- Deflate (in zlib's form, RFC 1950) -----------------------------------------------------------------------------

class Deflate : public Unpacker {
 public:
  explicit Deflate(const Coded& c) : coded_(c) {
    if (inflateInit(&stream_) != Z_OK) throw std::bad_alloc();
  }
  ~Deflate() override { inflateEnd(&stream_); }
  void read(uint8_t* to, size_t n) override {
    constexpr size_t kMost = size_t{1} << 30;  // zlib counts in 32 bits
    while (n > 0) {
      const size_t room = std::min(n, kMost), there = std::min(coded_.bytes.size - at_, kMost);
      stream_.next_in = const_cast<uint8_t*>(coded_.bytes.data + at_);  // NOLINT: zlib does not write to it
      stream_.avail_in = uInt(there);
      stream_.next_out = to;
      stream_.avail_out = uInt(room);
      const int status = inflate(&stream_, Z_SYNC_FLUSH);  // all that fits, also in the middle of a block
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      at_ += there - stream_.avail_in;
      const size_t done = room - stream_.avail_out;
      writtenByOthers(to, done);
      to += done;
      n -= done;
      if (n > 0 && (status != Z_OK || (done == 0 && stream_.avail_in == there)))
        throw Error(ErrorKind::damaged, "Deflate data that are damaged or end before the last row",
                    coded_.offset + at_);
    }
  }
  uint64_t position() const override { return coded_.offset + at_; }

 private:
  const Coded coded_;
  size_t at_ = 0;
  z_stream stream_ = {};
};

constexpr size_t kMostAtOnce = size_t{16} << 20;

// All of a piece, which is faster. What does not come out as it should is left to the other way.
class DeflateAtOnce : public Unpacker {
 public:
  DeflateAtOnce(const Coded& c, size_t bytes) : bytes_(new uint8_t[bytes]), size_(bytes), offset_(c.offset) {
    libdeflate_decompressor* const d = libdeflate_alloc_decompressor();
    if (!d) throw std::bad_alloc();
    size_t there = 0;
    const auto result = libdeflate_zlib_decompress(d, c.bytes.data, c.bytes.size, bytes_.get(), size_, &there);
    libdeflate_free_decompressor(d);
    writtenByOthers(bytes_.get(), there);
    whole_ = result == LIBDEFLATE_SUCCESS && there == size_;
  }
  bool whole() const { return whole_; }
  void read(uint8_t* to, size_t n) override {
    if (size_ - at_ < n) throw Error(ErrorKind::internal, "more rows are read than a strip or tile has");
    std::memcpy(to, bytes_.get() + at_, n);
    at_ += n;
  }
  uint64_t position() const override { return offset_; }

 private:
  const std::unique_ptr<uint8_t[]> bytes_;
  const size_t size_;
  const uint64_t offset_;
  bool whole_ = false;
  size_t at_ = 0;
};

std::unique_ptr<Unpacker> makeDeflate(const Coded& coded, size_t bytes, bool atOnce) {
  if (atOnce && bytes <= kMostAtOnce) {
    auto fast = std::make_unique<DeflateAtOnce>(coded, bytes);
    if (fast->whole()) return fast;
  }
  return std::make_unique<Deflate>(coded);
}

// ---- JPEG (TIFF Technical Note 2) -----------------------------------------------------------------------------------

// Each piece is a JPEG file of its own, but for the tables, which the page has once. Both begin with a start-of-image
// marker, and the tables end with an end-of-image marker: these two inside are left out.
class Jpeg : public Unpacker {
 public:
  Jpeg(const Layout& l, const Coded& c, ByteView tables, const Limits& limits) : offset_(c.offset) {
    ByteView file = c.bytes;
    constexpr uint8_t kStart[] = {0xFF, 0xD8};
    const bool begins = file.size > 2 && std::equal(kStart, kStart + 2, file.data);
    if (tables.size >= 4 && begins) {
      joined_.assign(tables.data, tables.data + tables.size - 2);
      joined_.insert(joined_.end(), c.bytes.data + 2, c.bytes.end());
      file = {joined_.data(), joined_.size()};
    }
    source_ = memorySource(file.data, file.size);
    JpegDecodeOptions o;
    o.threads = 1;
    o.convertColour = l.photometric == kYCbCr;
    o.limits = limits;
    o.limits.maxPixels = uint64_t(l.pieceWidth) * uint64_t(l.pieceRows);
    named([&] { decoder_ = openJpeg(*source_, o); });
    const PictureFormat& f = decoder_->format();
    if (f.width != l.pieceWidth || uint64_t(f.height) < c.rows || f.bitDepth != 8 || f.rowBytes() != l.rowBytes)
      throw Error(ErrorKind::damaged, "JPEG data of another size or kind than their strip or tile", c.offset);
  }
  // Whole rows.
  void read(uint8_t* to, size_t n) override {
    named([&] { decoder_->read({to, n, 1}); });
  }
  void skip(size_t n) override {
    std::vector<uint8_t> row(decoder_->format().rowBytes());
    for (size_t rows = n / row.size(); rows > 0; --rows) read(row.data(), row.size());
  }
  uint64_t position() const override { return offset_; }

 private:
  // Positions of errors are those in the JPEG data; where these begin is added.
  template <class Work>
  void named(const Work& work) const {
    try {
      work();
    } catch (const Error& e) {
      throw Error(e.kind(), std::string("JPEG data of a strip or tile: ") + e.what() + ", which begins", offset_);
    }
  }

  const uint64_t offset_;
  std::vector<uint8_t> joined_;
  std::unique_ptr<Source> source_;
  std::unique_ptr<Decoder> decoder_;
};

// ---- Reversed bits --------------------------------------------------------------------------------------------------

uint8_t reversedBits(uint8_t b) {
  b = uint8_t(b >> 4 | b << 4);
  b = uint8_t((b >> 2 & 0x33) | (b & 0x33) << 2);
  return uint8_t((b >> 1 & 0x55) | (b & 0x55) << 1);
}

class Reversed : public Unpacker {
 public:
  explicit Reversed(const Coded& c) : turned_(c.bytes.begin(), c.bytes.end()) {
    for (uint8_t& b : turned_) b = reversedBits(b);
  }
  ByteView bytes() const { return {turned_.data(), turned_.size()}; }
  void use(std::unique_ptr<Unpacker> inner) { inner_ = std::move(inner); }
  void read(uint8_t* to, size_t n) override { inner_->read(to, n); }
  void skip(size_t n) override { inner_->skip(n); }
  uint64_t position() const override { return inner_->position(); }

 private:
  std::vector<uint8_t> turned_;
  std::unique_ptr<Unpacker> inner_;
};

}  // namespace

void Unpacker::skip(size_t n) {
  uint8_t dropped[4096];
  for (; n > sizeof dropped; n -= sizeof dropped) read(dropped, sizeof dropped);
  if (n) read(dropped, n);
}

std::unique_ptr<Unpacker> makeUnpacker(const Layout& layout, const Coded& coded, bool atOnce, ByteView tables,
                                       const Limits& limits) {
  if (layout.reversed) {
    if (coded.bytes.size > limits.maxMemory)
      throw Error(ErrorKind::limit, "a strip above the limit of memory", coded.offset);
    Layout straight = layout;
    straight.reversed = false;
    auto r = std::make_unique<Reversed>(coded);
    r->use(makeUnpacker(straight, {r->bytes(), coded.offset, coded.rows}, atOnce, tables, limits));
    return r;
  }
  switch (layout.compression) {
    case kUncompressed:
      return std::make_unique<Plain>(coded);
    case kLzw:
      return std::make_unique<Lzw>(coded);
    case kJpeg:
      return std::make_unique<Jpeg>(layout, coded, tables, limits);
    case kPackBits:
      return std::make_unique<PackBits>(coded);
    default:
      return makeDeflate(coded, layout.bytesOf(int(coded.rows)), atOnce);
  }
}

}  // namespace zelcodecs::tiff
