// Metadata from marker segments, and to them.
#include "jpeg/segments.h"

#include <algorithm>
#include <cmath>

#include "jpeg/format.h"

namespace zelcodecs::jpeg {
namespace {

// What the segments begin with; the zeros at their ends belong to them.
constexpr char kJfif[] = "JFIF";
constexpr char kExif[] = "Exif\0";
constexpr char kXmp[] = "http://ns.adobe.com/xap/1.0/";
constexpr char kExtendedXmp[] = "http://ns.adobe.com/xmp/extension/";
constexpr char kIcc[] = "ICC_PROFILE";

// A segment's length counts itself and has 16 bits.
constexpr size_t kMaxPayload = 65535 - 2;
// A part of a profile tells its number and their count, of a byte each.
constexpr size_t kMaxProfilePart = kMaxPayload - sizeof kIcc - 2;

template <size_t N>
bool begins(ByteView payload, const char (&text)[N]) {
  return payload.size >= N && std::equal(text, text + N, payload.begin());
}

constexpr double kPerCentimetre = 100;

}  // namespace

// ---- Reading --------------------------------------------------------------------------------------------------------

void MetadataReader::add(int marker, ByteView payload, size_t offset) {
  if (marker == kCOM) {
    comments_.push_back(payload);
  } else if (marker == kAPP0 && begins(payload, kJfif) && payload.size >= 12) {
    densityUnit_ = payload.data[7];
    densityX_ = int(bigEndian16(payload.data + 8));
    densityY_ = int(bigEndian16(payload.data + 10));
  } else if (marker == kAPP1 && begins(payload, kExif)) {
    if (exif_.size == 0) exif_ = payload.from(sizeof kExif);
  } else if (marker == kAPP1 && begins(payload, kXmp)) {
    if (xmp_.size == 0) xmp_ = payload.from(sizeof kXmp);
  } else if (marker == kAPP1 && begins(payload, kExtendedXmp)) {
    extendedXmp_ = offset;
  } else if (marker == kAPP2 && begins(payload, kIcc) && payload.size >= sizeof kIcc + 2) {
    const uint8_t* const p = payload.data + sizeof kIcc;
    profile_.push_back({p[0], p[1], payload.from(sizeof kIcc + 2), offset});
  }
}

// The parts may come in any order.
std::vector<uint8_t> MetadataReader::profile(Warnings* warnings) const {
  if (profile_.empty()) return {};
  std::vector<ProfilePart> parts = profile_;
  std::stable_sort(parts.begin(), parts.end(),
                   [](const ProfilePart& a, const ProfilePart& b) { return a.number < b.number; });
  std::vector<uint8_t> whole;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].number != int(i) + 1 || parts[i].count != int(parts.size())) {
      warnings->add("an ICC profile with missing or surplus parts is left out,", profile_[0].offset);
      return {};
    }
    whole.insert(whole.end(), parts[i].bytes.begin(), parts[i].bytes.end());
  }
  return whole;
}

Metadata MetadataReader::metadata(Warnings* warnings) const {
  Metadata m;
  m.icc = profile(warnings);
  m.exif.assign(exif_.begin(), exif_.end());
  m.xmp.assign(xmp_.begin(), xmp_.end());
  if (extendedXmp_) warnings->add("XMP beyond the first segment is passed over,", extendedXmp_);
  for (const ByteView& c : comments_) m.comments.emplace_back(c.begin(), c.end());
  // Unit 1 is the inch, 2 the centimetre; 0 says nothing of the size but gives the pixels' aspect ratio.
  const double perMetre = densityUnit_ == 1 ? kInchesPerMetre : densityUnit_ == 2 ? kPerCentimetre : 0;
  if (densityX_ > 0 && densityY_ > 0) {
    m.pixelsPerMetreX = densityX_ * perMetre;
    m.pixelsPerMetreY = densityY_ * perMetre;
  }
  const int orientation = exifOrientation(m.exif);
  if (orientation >= 1 && orientation <= 8) m.orientation = orientation;
  return m;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

namespace {

class MetadataWriter {
 public:
  MetadataWriter(std::vector<uint8_t>* out, Warnings* warnings) : out_(out), warnings_(warnings) {}

  void jfif(const Metadata& m);
  void exif(const Metadata& m);
  void profile(const std::vector<uint8_t>& icc);
  template <size_t N>
  void segment(int marker, const char (&head)[N], const std::vector<uint8_t>& bytes, const char* what) {
    if (bytes.empty() || !begin(marker, N + bytes.size(), what)) return;
    out_.bytes(reinterpret_cast<const uint8_t*>(head), N);
    out_.bytes(bytes);
  }
  void comment(const std::string& text) {
    if (begin(kCOM, text.size(), "a comment")) out_.bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  }

 private:
  bool begin(int marker, size_t payload, const char* what) {
    if (payload > kMaxPayload) {
      warnings_->add(std::string(what) + " of " + std::to_string(payload) + " bytes is left out: a segment holds " +
                     std::to_string(kMaxPayload));
      return false;
    }
    out_.u8(0xFF);
    out_.u8(uint32_t(marker));
    out_.u16(uint32_t(payload) + 2);
    return true;
  }

  ByteWriter out_;
  Warnings* const warnings_;
};

// In the unit in which the density is nearer to whole numbers. Without a resolution pixels are square.
void MetadataWriter::jfif(const Metadata& m) {
  begin(kAPP0, 14, "");
  out_.bytes(reinterpret_cast<const uint8_t*>(kJfif), sizeof kJfif);
  out_.u16(0x0101);  // version 1.1
  int unit = 0, x = 1, y = 1;
  double least = 1;
  for (const int u : {1, 2}) {
    const double perMetre = u == 1 ? kInchesPerMetre : kPerCentimetre;
    const double dx = m.pixelsPerMetreX / perMetre, dy = m.pixelsPerMetreY / perMetre;
    const double off = std::abs(dx - std::round(dx)) + std::abs(dy - std::round(dy));
    const bool fits = std::min(dx, dy) >= 0.5 && std::max(dx, dy) < 65535.5;
    if (!fits || off >= least) continue;
    least = off;
    unit = u, x = int(std::lround(dx)), y = int(std::lround(dy));
  }
  if (unit == 0 && m.pixelsPerMetreX > 0) warnings_->add("the resolution does not fit a JPEG file");
  out_.u8(uint32_t(unit));
  out_.u16(uint32_t(x));
  out_.u16(uint32_t(y));
  out_.u16(0);  // no thumbnail
}

// The orientation is EXIF's. Where there is no EXIF, a directory of that one entry holds it.
void MetadataWriter::exif(const Metadata& m) {
  std::vector<uint8_t> exif = m.exif;
  if (exif.empty() && m.orientation != 1) {
    exif = {'M', 'M', 0, 42, 0, 0, 0, 8,              // a TIFF structure, its directory at 8
            0,   1,                                   // one entry
            1,   18,  0, 3,  0, 0, 0, 1, 0, 1, 0, 0,  // orientation, a 16-bit number, one of them, its value
            0,   0,   0, 0};                          // no further directory
  }
  const int there = exifOrientation(exif);
  if (there) setExifOrientation(&exif, m.orientation);
  if (!there && m.orientation != 1) warnings_->add("the orientation is lost: the EXIF structure has no place for it");
  segment(kAPP1, kExif, exif, "EXIF");
}

void MetadataWriter::profile(const std::vector<uint8_t>& icc) {
  const size_t parts = (icc.size() + kMaxProfilePart - 1) / kMaxProfilePart;
  if (parts > 255) {
    warnings_->add("an ICC profile of " + std::to_string(icc.size()) + " bytes is left out: a file holds 255 parts");
    return;
  }
  for (size_t i = 0; i < parts; ++i) {
    const size_t at = i * kMaxProfilePart, size = std::min(kMaxProfilePart, icc.size() - at);
    begin(kAPP2, sizeof kIcc + 2 + size, "");
    out_.bytes(reinterpret_cast<const uint8_t*>(kIcc), sizeof kIcc);
    out_.u8(uint32_t(i) + 1);
    out_.u8(uint32_t(parts));
    out_.bytes(icc.data() + at, size);
  }
}

}  // namespace

void writeMetadata(const Metadata& metadata, bool jfif, std::vector<uint8_t>* out, Warnings* warnings) {
  MetadataWriter writer(out, warnings);
  if (jfif)
    writer.jfif(metadata);
  else if (metadata.pixelsPerMetreX > 0 && metadata.exif.empty())
    warnings->add("the resolution is lost: a file with Adobe's marker has no place for it");
  writer.exif(metadata);
  writer.segment(kAPP1, kXmp, metadata.xmp, "XMP");
  writer.profile(metadata.icc);
  for (const std::string& c : metadata.comments) writer.comment(c);
}

}  // namespace zelcodecs::jpeg
