// Boxes are walked by their lengths; those of other kinds are passed over.
#include "jpeg2000/boxes.h"

#include <cmath>
#include <cstring>

namespace zelcodecs::jpeg2000 {
namespace {

constexpr uint32_t fourCc(const char (&s)[5]) {
  return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 | uint32_t(uint8_t(s[2])) << 8 | uint8_t(s[3]);
}

constexpr uint8_t kSignature[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 13, 10, 0x87, 10};
constexpr size_t kUuidBytes = 16;
constexpr uint8_t kXmp[kUuidBytes] = {0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8,
                                      0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};
constexpr uint8_t kExif[kUuidBytes + 1] = "JpgTiffExif->JP2";

// ---- Reading --------------------------------------------------------------------------------------------------------

struct Box {
  uint32_t type;
  ByteView content;
  size_t at;  // of the content in the file
};

// The boxes that lie in a part of a file, one after the other.
class BoxWalk {
 public:
  BoxWalk(ByteView bytes, size_t at) : bytes_(bytes), offset_(at) {}
  // The next box, whatever its length. False at the end; a box that is cut off reaches to the end.
  bool next(Box* box) {
    const size_t left = bytes_.size - at_;
    if (left < 8) return false;
    const uint8_t* const p = bytes_.data + at_;
    uint64_t length = bigEndian32(p);
    size_t head = 8;
    if (length == 1) {  // it stands behind the type
      if (left < 16) return false;
      length = bigEndian64(p + 8);
      head = 16;
    }
    if (length == 0) length = left;  // to the end of the file
    if (length < head) throw Error(ErrorKind::damaged, "a box with an impossible length", offset_ + at_);
    const size_t size = size_t(std::min<uint64_t>(length, left));
    *box = {bigEndian32(p + 4), {p + head, size - head}, offset_ + at_ + head};
    at_ += size;
    return true;
  }

 private:
  ByteView bytes_;
  size_t offset_, at_ = 0;
};

void readPalette(const Box& box, Boxes::Palette* to) {
  constexpr uint32_t kMostBits = 38, kMostHere = 16;  // T.800 Table I.12
  const ByteReader r(box.content);
  if (to->columns != 0) throw Error(ErrorKind::damaged, "a second palette", box.at);
  const uint32_t entries = r.u16(0), columns = r.u8(2);
  if (entries < 1 || entries > 1024 || columns < 1) throw Error(ErrorKind::damaged, "a palette of no use", box.at);
  to->columns = int(columns);
  for (uint32_t i = 0; i < columns; ++i) {
    const uint32_t bits = (r.u8(3 + i) & 0x7F) + 1;
    if (bits > kMostBits) throw Error(ErrorKind::damaged, "a palette of an impossible depth", box.at);
    if (bits > kMostHere) throw Error(ErrorKind::unsupported, "a palette of more than 16 bits", box.at);
    to->depths.push_back(int(bits));
    to->isSigned.push_back(r.u8(3 + i) & 0x80);
  }
  size_t at = 3 + columns;
  for (uint32_t e = 0; e < entries; ++e)
    for (uint32_t i = 0; i < columns; ++i) {
      const int bits = to->depths[i];
      int32_t v = int32_t(bits > 8 ? r.u16(at) : r.u8(at));
      if (to->isSigned[i] && v >> (bits - 1)) v -= 1 << bits;
      to->entries.push_back(v);
      at += bits > 8 ? 2 : 1;
    }
}

// The first way to tell the colours that is understood counts.
void readColour(const Box& box, Boxes* boxes) {
  if (boxes->colourSpace != 0 || !boxes->metadata.icc.empty() || box.content.size < 3) return;
  const int method = box.content.data[0];
  if (method == 1 && box.content.size >= 7) {
    constexpr size_t kLabNumbers = 7, kHead = 7;
    boxes->colourSpace = int(bigEndian32(box.content.data + 3) & 0x7FFFFFFF);
    if (boxes->colourSpace != kCieLab || box.content.size < kHead + 4 * kLabNumbers) return;
    for (size_t i = 0; i < kLabNumbers; ++i)
      boxes->colourParameters.push_back(bigEndian32(box.content.data + kHead + 4 * i));
  } else if (method == 2 || method == 3) {  // a profile, restricted or of any kind
    boxes->metadata.icc.assign(box.content.begin() + 3, box.content.end());
  }
}

// Pixels for each metre as fractions with decimal exponents. That of capture goes before that of display.
void readResolution(const Box& box, Metadata* to) {
  BoxWalk walk(box.content, box.at);
  for (Box b; walk.next(&b);) {
    const bool capture = b.type == fourCc("resc");
    if ((!capture && (b.type != fourCc("resd") || to->pixelsPerMetreX != 0)) || b.content.size < 10) continue;
    const uint8_t* const p = b.content.data;
    const auto value = [&](int i) {
      const uint32_t over = bigEndian16(p + 4 * i), under = bigEndian16(p + 4 * i + 2);
      return under ? over * std::pow(10.0, int8_t(p[8 + i])) / under : 0;
    };
    if (value(0) <= 0 || value(1) <= 0) continue;
    to->pixelsPerMetreY = value(0);
    to->pixelsPerMetreX = value(1);
  }
}

// A box of those that stand in the header box.
bool readHeaderBox(const Box& box, Boxes* boxes) {
  const uint8_t* const p = box.content.data;
  const size_t n = box.content.size;
  if (box.type == fourCc("colr")) {
    readColour(box, boxes);
  } else if (box.type == fourCc("pclr")) {
    readPalette(box, &boxes->palette);
  } else if (box.type == fourCc("cmap")) {
    for (size_t i = 0; i + 4 <= n; i += 4) boxes->mappings.push_back({int(bigEndian16(p + i)), p[i + 2], p[i + 3]});
  } else if (box.type == fourCc("cdef")) {
    for (size_t i = 2; i + 6 <= n; i += 6)
      boxes->channels.push_back({int(bigEndian16(p + i)), int(bigEndian16(p + i + 2)), int(bigEndian16(p + i + 4))});
  } else if (box.type == fourCc("res ")) {
    readResolution(box, &boxes->metadata);
  } else {
    return false;
  }
  return true;
}

void readUuid(const Box& box, Metadata* to) {
  if (box.content.size < kUuidBytes) return;
  const ByteView content = box.content.from(kUuidBytes);
  const auto is = [&](const uint8_t* uuid) { return std::memcmp(box.content.data, uuid, kUuidBytes) == 0; };
  if (is(kXmp)) to->xmp.assign(content.begin(), content.end());
  if (!is(kExif)) return;
  const bool prefixed = content.size >= 6 && std::memcmp(content.data, "Exif\0\0", 6) == 0;
  const ByteView exif = prefixed ? content.from(6) : content;
  to->exif.assign(exif.begin(), exif.end());
  if (const int orientation = exifOrientation(to->exif)) to->orientation = orientation;
}

}  // namespace

Boxes readBoxes(ByteView file, Warnings* warnings) {
  Boxes boxes;
  boxes.codestreamBytes = file.size;
  if (file.size >= 2 && file.data[0] == 0xFF && file.data[1] == 0x4F) return boxes;  // SOC
  if (file.size < sizeof kSignature || std::memcmp(file.data, kSignature, sizeof kSignature) != 0)
    throw Error(ErrorKind::unsupported, "neither a JPEG 2000 codestream nor a JP2 file", 0);
  boxes.present = true;
  BoxWalk walk(file.from(sizeof kSignature), sizeof kSignature);
  for (Box box; walk.next(&box);) {
    if (box.type == fourCc("jp2h")) {
      BoxWalk inner(box.content, box.at);
      for (Box b; inner.next(&b);) readHeaderBox(b, &boxes);
    } else if (box.type == fourCc("uuid")) {
      readUuid(box, &boxes.metadata);
    } else if (box.type == fourCc("jp2c") && boxes.codestream == 0) {
      boxes.codestream = box.at;
      boxes.codestreamBytes = box.content.size;
    } else if (readHeaderBox(box, &boxes)) {
      warnings->add("a box of the header stands outside of it", box.at);
    }
  }
  if (boxes.codestream == 0) throw Error(ErrorKind::damaged, "a JP2 file without a codestream", file.size);
  return boxes;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

namespace {

// A box whose length is set when it is complete.
class OpenBox {
 public:
  OpenBox(ByteWriter* to, const char* type) : to_(to), at_(to->size()) {
    to->u32(0);
    to->text(type);
  }
  ~OpenBox() { to_->patch32(at_, uint32_t(to_->size() - at_)); }
  OpenBox(const OpenBox&) = delete;
  OpenBox& operator=(const OpenBox&) = delete;

 private:
  ByteWriter* to_;
  size_t at_;
};

// Whether a profile is for the picture's channels (the data colour space at byte 16).
bool profileFits(const std::vector<uint8_t>& icc, const PictureFormat& format) {
  if (icc.size() < 128) return false;
  const bool cmyk = format.model == ColourModel::cmyk;
  return std::memcmp(&icc[16], cmyk ? "CMYK" : format.channels() < 3 ? "GRAY" : "RGB ", 4) == 0;
}

enum ColourMethod : uint8_t { kEnumerated = 1, kRestrictedProfile = 2, kAnyProfile = 3 };

// A profile of inks is one of any kind, which JP2 readers pass over (T.801 M.11.7.2): the enumerated space that they
// take comes behind it.
void writeColour(const PictureFormat& format, const Metadata& metadata, Warnings* warnings, ByteWriter* w) {
  const bool profile = profileFits(metadata.icc, format), cmyk = format.model == ColourModel::cmyk;
  if (!profile && !metadata.icc.empty()) warnings->add("the ICC profile does not fit the colours and is left out");
  const auto head = [w](ColourMethod method) {
    w->u8(method);
    w->u8(0);  // precedence
    w->u8(0);  // approximation
  };
  if (profile) {
    const OpenBox box(w, "colr");
    head(cmyk ? kAnyProfile : kRestrictedProfile);
    w->bytes(metadata.icc);
  }
  if (profile && !cmyk) return;
  const OpenBox box(w, "colr");
  head(kEnumerated);
  w->u32(cmyk ? kCmyk : format.channels() < 3 ? kGreyscale : kSrgb);
}

// The last channel is the opacity of the whole picture, the others are its colours.
void writeOpacity(const PictureFormat& format, ByteWriter* w) {
  const OpenBox box(w, "cdef");
  const int channels = format.channels();
  w->u16(uint32_t(channels));
  for (int i = 0; i < channels; ++i) {
    const bool opacity = i == channels - 1;
    w->u16(uint32_t(i));
    w->u16(opacity);
    w->u16(opacity ? 0 : uint32_t(i + 1));
  }
}

// 0 to 65535 over 1 to 65535, times a power of ten.
void writeResolution(const Metadata& metadata, ByteWriter* w) {
  const OpenBox outer(w, "res ");
  const OpenBox box(w, "resc");
  int exponents[2];
  for (int i = 0; i < 2; ++i) {
    double v = i ? metadata.pixelsPerMetreX : metadata.pixelsPerMetreY;
    int exponent = 0;
    for (; v > 65535 && exponent < 127; ++exponent) v /= 10;
    uint32_t under = 1;
    while (under <= 1000 && v * under * 10 <= 65535 && v * under != std::floor(v * under)) under *= 10;
    w->u16(uint32_t(std::lround(v * under)));
    w->u16(under);
    exponents[i] = exponent;
  }
  w->u8(uint32_t(exponents[0]));
  w->u8(uint32_t(exponents[1]));
}

void writeUuid(const uint8_t* uuid, const std::vector<uint8_t>& content, ByteWriter* w) {
  const OpenBox box(w, "uuid");
  w->bytes(uuid, kUuidBytes);
  w->bytes(content);
}

// The EXIF structure with the orientation in it: JP2 has no other place for that.
std::vector<uint8_t> exifOf(const Metadata& metadata) {
  std::vector<uint8_t> exif = metadata.exif;
  if (exif.empty() && metadata.orientation != 1)  // one directory with one entry, the orientation
    exif = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
  setExifOrientation(&exif, metadata.orientation);
  return exif;
}

}  // namespace

uint64_t writeBoxes(const PictureFormat& format, const Metadata& metadata, Warnings* warnings, Sink* sink) {
  std::vector<uint8_t> out(kSignature, kSignature + sizeof kSignature);
  ByteWriter w(&out);
  {
    const OpenBox box(&w, "ftyp");
    w.text("jp2 ");
    w.u32(0);
    w.text("jp2 ");
  }
  {
    const OpenBox header(&w, "jp2h");
    {
      const OpenBox box(&w, "ihdr");
      w.u32(uint32_t(format.height));
      w.u32(uint32_t(format.width));
      w.u16(uint32_t(format.channels()));
      w.u8(uint32_t(format.bitDepth - 1));
      w.u8(7);  // the only compression there is
      w.u8(0);  // the colour space is known
      w.u8(0);
    }
    writeColour(format, metadata, warnings, &w);
    if (hasOpacity(format.model)) writeOpacity(format, &w);
    if (metadata.pixelsPerMetreX > 0 && metadata.pixelsPerMetreY > 0) writeResolution(metadata, &w);
  }
  const std::vector<uint8_t> exif = exifOf(metadata);
  if (!exif.empty()) writeUuid(kExif, exif, &w);
  if (!metadata.xmp.empty()) writeUuid(kXmp, metadata.xmp, &w);
  const size_t length = out.size();
  w.u32(0);
  w.text("jp2c");
  const uint64_t at = sink->position() + length;
  sink->write(out);
  return at;
}

}  // namespace zelcodecs::jpeg2000
