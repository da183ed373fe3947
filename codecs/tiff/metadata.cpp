// EXIF keeps its fields in directories of their own, which a TIFF page points to (Exif 2.3, section 4.5). For other
// formats they are put into a small TIFF structure, and come back from one.
#include "tiff/metadata.h"

#include <algorithm>
#include <cmath>

namespace zelcodecs::tiff {
namespace {

constexpr int kInteroperability = 40965;  // in the EXIF directory, points to a directory
constexpr int kLastClassicType = kDirectoryOffset;
// Values may lie across one another, so that a small file could name any amount of them.
constexpr size_t kMostExifBytes = size_t{4} << 20;

// Fields of the page that belong to EXIF's first directory.
constexpr Tag kFirstDirectory[] = {kMake, kModel, kSoftware, kDateTime, kArtist, kCopyright};
constexpr Tag kOfThePicture[] = {kOrientation, kXResolution, kYResolution, kResolutionUnit};

void copyIfThere(const Directory& d, Tag tag, size_t* room, Fields* to) {
  const auto found = d.fields().find(tag);
  if (found == d.fields().end()) return;
  const Directory::Field& f = found->second;
  if (bytesOfType(f.type) == 0 || f.type > kLastClassicType) return;
  const size_t bytes = d.bytesOf(tag).size;
  if (bytes > *room) throw Error(ErrorKind::limit, "EXIF fields of more than 4 MiB", f.entry);
  *room -= bytes;
  to->copy(tag, d, f);
}

// Appends a copy of a directory to what stands from position base on. The copy's position.
uint64_t appendCopy(const Directory& d, bool bigEndian, Form form, uint64_t base, bool nested, size_t* room,
                    Bytes* out) {
  Fields fields(bigEndian, form);
  for (const auto& [tag, field] : d.fields()) {
    if (tag != kInteroperability) {
      copyIfThere(d, static_cast<Tag>(tag), room, &fields);
    } else if (!nested) {
      const Directory inner(d.file(), d.value(static_cast<Tag>(tag)));
      fields.numbers(tag, kLong, {appendCopy(inner, bigEndian, form, base, true, room, out)});
    }
  }
  if (out->size() % 2) out->push_back(0);
  const uint64_t at = base + out->size();
  const Bytes directory = fields.directoryAt(at);
  out->insert(out->end(), directory.begin(), directory.end());
  return at;
}

// The directories of EXIF that d points to, and the fields that point to the copies.
void appendExif(const Directory& d, bool bigEndian, Form form, uint64_t base, size_t* room, Bytes* out,
                Fields* fields) {
  for (const Tag tag : {kExifDirectory, kGpsDirectory})
    if (d.has(tag)) {
      const Directory inner(d.file(), d.value(tag));
      fields->offsets(tag, {appendCopy(inner, bigEndian, form, base, false, room, out)});
    }
}

Bytes readExif(const Directory& d) {
  const Form classic;
  const bool bigEndian = d.file().bigEndian();
  Bytes out(2, bigEndian ? 'M' : 'I');
  ByteWriter writer(&out, bigEndian);
  writer.u16(42);
  writer.u32(0);
  size_t room = kMostExifBytes;
  Fields first(bigEndian, classic);
  for (const Tag tag : kFirstDirectory) copyIfThere(d, tag, &room, &first);
  for (const Tag tag : kOfThePicture) copyIfThere(d, tag, &room, &first);
  appendExif(d, bigEndian, classic, 0, &room, &out, &first);
  if (out.size() % 2) out.push_back(0);
  writer.patch32(classic.linkAt(), uint32_t(out.size()));
  writer.bytes(first.directoryAt(out.size()));
  return out;
}

// A damaged piece of metadata is no reason to refuse a picture.
template <class Read>
void attempt(const char* what, Warnings* warnings, const Read& read) {
  try {
    read();
  } catch (const Error& e) {
    warnings->add(std::string(what) + " is left out: " + e.what());
  }
}

std::vector<std::string> readComments(const Directory& d) {
  std::vector<std::string> comments;
  std::string text;
  const auto flush = [&] {
    if (!text.empty()) comments.push_back(text);
    text.clear();
  };
  for (const uint8_t c : d.bytesOf(kImageDescription))
    if (c)
      text.push_back(char(c));
    else
      flush();
  flush();
  return comments;
}

// As numerator and denominator.
std::vector<uint64_t> quotient(double v) {
  v = std::clamp(v, 0.0, 400000.0);
  if (std::abs(v - std::round(v)) < 1e-6) return {uint64_t(std::lround(v)), 1};
  return {uint64_t(std::llround(v * 10000)), 10000};
}

}  // namespace

double pixelsPerMetre(const Directory& d, Tag tag) {
  uint64_t unit = kPixelsPerInch;
  try {
    unit = d.valueOr(kResolutionUnit, unit);
  } catch (const Error&) {
    return 0;
  }
  const double v = d.rational(tag);
  return unit == kPixelsPerInch ? v * kInchesPerMetre : unit == kPixelsPerCentimetre ? v * 100 : 0;
}

Metadata readMetadata(const Directory& d, Warnings* warnings) {
  Metadata m;
  const auto take = [&](const char* what, Tag tag, std::vector<uint8_t>* to) {
    attempt(what, warnings, [&] {
      const ByteView bytes = d.bytesOf(tag);
      to->assign(bytes.begin(), bytes.end());
    });
  };
  take("the ICC profile", kIccProfile, &m.icc);
  take("the XMP packet", kXmp, &m.xmp);
  if (d.has(kExifDirectory) || d.has(kGpsDirectory)) attempt("EXIF", warnings, [&] { m.exif = readExif(d); });
  attempt("the description", warnings, [&] { m.comments = readComments(d); });
  attempt("the orientation", warnings, [&] {
    const uint64_t orientation = d.valueOr(kOrientation, 1);
    if (orientation < 1 || orientation > 8)
      throw Error(ErrorKind::damaged, "number " + std::to_string(orientation), d.where(kOrientation));
    m.orientation = int(orientation);
  });
  m.pixelsPerMetreX = pixelsPerMetre(d, kXResolution);
  m.pixelsPerMetreY = pixelsPerMetre(d, kYResolution);
  return m;
}

void putMetadata(const Metadata& m, int dotsPerInch, Fields* fields) {
  const auto dots = [&](double perMetre) { return quotient(perMetre > 0 ? perMetre / kInchesPerMetre : dotsPerInch); };
  fields->numbers(kXResolution, kRational, dots(m.pixelsPerMetreX));
  fields->numbers(kYResolution, kRational, dots(m.pixelsPerMetreY > 0 ? m.pixelsPerMetreY : m.pixelsPerMetreX));
  fields->numbers(kResolutionUnit, kShort, {kPixelsPerInch});
  if (m.orientation != 1) fields->numbers(kOrientation, kShort, {uint64_t(m.orientation)});
  if (!m.icc.empty()) fields->bytes(kIccProfile, kUndefined, m.icc.data(), m.icc.size());
  if (!m.xmp.empty()) fields->bytes(kXmp, kByte, m.xmp.data(), m.xmp.size());
  std::string text;
  for (const std::string& comment : m.comments) text += (text.empty() ? "" : "\n") + comment;
  if (text.empty()) return;
  fields->bytes(kImageDescription, kAscii, reinterpret_cast<const uint8_t*>(text.c_str()), text.size() + 1);
}

Bytes exifDirectories(const Metadata& metadata, uint64_t at, bool bigEndian, Form form, Fields* fields,
                      Warnings* warnings) {
  Bytes out;
  if (metadata.exif.empty()) return out;
  attempt("EXIF", warnings, [&] {
    const File file({metadata.exif.data(), metadata.exif.size()});
    const Directory first(file, file.offset(file.form().linkAt()));
    Fields all = *fields;
    size_t room = kMostExifBytes;
    for (const Tag tag : kFirstDirectory) copyIfThere(first, tag, &room, &all);
    Bytes directories;
    appendExif(first, bigEndian, form, at, &room, &directories, &all);
    out = std::move(directories);
    *fields = std::move(all);
  });
  return out;
}

}  // namespace zelcodecs::tiff
