// PackBits rows beside libtiff's coder, which is reached through strips of a file in memory: one strip for the picture,
// nothing is copied but what the coder itself copies.
#include <tiffio.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ratios.h"

namespace {

using Api = zeltest::Api;
using Bytes = std::vector<uint8_t>;

struct Rows {
  int rowBytes, count;
  uint16_t bits, channels;
  Bytes bytes;
  size_t size() const { return bytes.size(); }
};

// A strip that stays in the cache: the whole photograph is bound by memory.
Rows photographRows() {
  const bench::Photo& photo = bench::photo("canyon");
  const int rows = 32;
  return {3 * photo.width, rows, 8, 3, Bytes(photo.rgb.begin(), photo.rgb.begin() + 3 * photo.width * rows)};
}

Rows bilevelRows() {
  const bench::Photo& photo = bench::photo("dandelion");
  Rows rows = {photo.width / 8, photo.height, 1, 1, Bytes(size_t(photo.width / 8) * size_t(photo.height))};
  for (size_t i = 0; i < 8 * rows.size(); ++i) {
    const size_t y = i / size_t(8 * rows.rowBytes), x = i % size_t(8 * rows.rowBytes);
    const bool white = photo.rgb[3 * (y * size_t(photo.width) + x) + 1] > 127;
    rows.bytes[i / 8] |= uint8_t(white << (7 - i % 8));
  }
  return rows;
}

// Bytes of four levels: runs of a few bytes, and literals between them.
Rows fourLevelRows() {
  const bench::Photo& photo = bench::photo("dandelion");
  Rows rows = {photo.width, photo.height, 8, 1, Bytes(size_t(photo.width) * size_t(photo.height))};
  for (size_t i = 0; i < rows.size(); ++i) rows.bytes[i] = photo.rgb[3 * i + 1] & 0xC0;
  return rows;
}

// A file in memory for libtiff. Where it discards, what is written is counted, not kept.
struct Memory {
  Bytes bytes;
  uint64_t at = 0;
  bool discards = false;

  static Memory& of(thandle_t h) { return *static_cast<Memory*>(h); }
  static tmsize_t read(thandle_t h, void* to, tmsize_t n) {
    Memory& m = of(h);
    const size_t count = std::min(size_t(n), m.bytes.size() - std::min(size_t(m.at), m.bytes.size()));
    std::memcpy(to, m.bytes.data() + m.at, count);
    m.at += count;
    return tmsize_t(count);
  }
  static tmsize_t write(thandle_t h, void* from, tmsize_t n) {
    Memory& m = of(h);
    if (!m.discards) {
      m.bytes.resize(std::max(m.bytes.size(), size_t(m.at) + size_t(n)));
      std::memcpy(&m.bytes[m.at], from, size_t(n));
    }
    m.at += uint64_t(n);
    return n;
  }
  static toff_t seek(thandle_t h, toff_t to, int whence) {
    Memory& m = of(h);
    m.at = whence == SEEK_SET ? to : whence == SEEK_CUR ? m.at + to : m.bytes.size() + to;
    return m.at;
  }
  static int close(thandle_t) { return 0; }
  static toff_t sizeOf(thandle_t h) { return of(h).bytes.size(); }
  static int map(thandle_t h, void** base, toff_t* size) {
    *base = of(h).bytes.data();
    *size = of(h).bytes.size();
    return 1;
  }
  static void unmap(thandle_t, void*, toff_t) {}
};

struct Peer {
  Memory memory;
  TIFF* file = nullptr;
  Bytes rows;

  void open(const char* mode) {
    memory.at = 0;
    file = TIFFClientOpen("memory", mode, &memory, Memory::read, Memory::write, Memory::seek, Memory::close,
                          Memory::sizeOf, Memory::map, Memory::unmap);
    if (!file) std::abort();
  }
  void describe(const Rows& r) {
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, uint32_t(r.rowBytes * 8 / r.bits / r.channels));
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, uint32_t(r.count));
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, r.bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, r.channels);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, r.channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, uint32_t(r.count));
  }
  void encode() {
    if (TIFFWriteEncodedStrip(file, 0, rows.data(), tmsize_t(rows.size())) < 0) std::abort();
  }
  void decode() {
    if (TIFFReadEncodedStrip(file, 0, rows.data(), tmsize_t(rows.size())) < 0) std::abort();
  }
};

void packBitsRows(const std::string& what, const Rows& r, bench::Target decoding) {
  auto rows = std::make_shared<Rows>(r);
  auto packed = std::make_shared<Bytes>(rows->size() + rows->size() / 64 + 256 * size_t(rows->count));
  auto unpacked = std::make_shared<Bytes>(rows->size());
  const auto pack = [rows, packed](const Api& api) {
    int at = 0;
    for (int y = 0; y < rows->count; ++y)
      api.zeliPackBitsRow_TIFF_8u_C1(&rows->bytes[size_t(y) * size_t(rows->rowBytes)], rows->rowBytes, packed->data(),
                                     &at, int(packed->size()) - at);
    return at;
  };
  const int length = pack(zeltest::variants()[0].api);

  auto reader = std::make_shared<Peer>(), writer = std::make_shared<Peer>();
  reader->rows = writer->rows = rows->bytes;
  reader->open("w");
  reader->describe(*rows);
  reader->encode();
  TIFFClose(reader->file);
  reader->open("r");
  reader->rows.assign(rows->size(), 0);
  reader->decode();
  uint64_t* sizes = nullptr;
  TIFFGetField(reader->file, TIFFTAG_STRIPBYTECOUNTS, &sizes);
  if (reader->rows != rows->bytes || double(length) > 1.02 * double(sizes[0]))
    std::printf("PackBits check FAILED: %d bytes, the peer's %llu\n", length,
                static_cast<unsigned long long>(sizes[0]));
  writer->memory.discards = true;
  writer->open("w");
  writer->describe(*rows);

  const auto copy = std::make_shared<Bytes>(rows->size());
  const bench::Contender copying = {"memcpy",
                                    [rows, copy] { std::memcpy(copy->data(), rows->bytes.data(), rows->size()); }};
  auto encoders = bench::ours([&](const Api& api) -> bench::Work { return [pack, &api] { pack(api); }; });
  encoders.push_back(copying);
  encoders.push_back({"libtiff", [writer] { writer->encode(); }});
  bench::compare("PackBits encode, " + what, double(rows->size()), "byte", {1.5, 4}, encoders);

  auto decoders = bench::ours([&](const Api& api) -> bench::Work {
    return [rows, packed, unpacked, length, f = api.zeliUnpackBitsRow_TIFF_8u_C1] {
      int at = 0;
      for (int y = 0; y < rows->count; ++y)
        f(packed->data(), &at, length, &(*unpacked)[size_t(y) * size_t(rows->rowBytes)], rows->rowBytes);
    };
  });
  decoders.push_back(copying);
  decoders.push_back({"libtiff", [reader] { reader->decode(); }});
  bench::compare("PackBits decode, " + what, double(rows->size()), "byte", decoding, decoders);
}

bench::Suite suite([] {
  packBitsRows("bilevel rows", bilevelRows(), {1.5, 2});
  packBitsRows("bytes of four levels", fourLevelRows(), {1.5, 2});
  packBitsRows("32 rows of a photograph", photographRows(), {1.0, 1.5});  // long literals: both copy
});

}  // namespace
