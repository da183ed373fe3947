// What a format cannot keep, and the one EXIF value that is read and changed: the orientation.
#include "common/metadata.h"

#include "common/bytes.h"
#include "common/warnings.h"

namespace zelcodecs {
namespace {

constexpr uint32_t kOrientationTag = 0x112, kShort = 3;

// The position of the orientation's value in an EXIF structure, which is a TIFF file: an entry of 12 bytes in the first
// directory. 0 without one.
size_t orientationPlace(const std::vector<uint8_t>& exif, bool* bigEndian) {
  if (exif.size() < 8) return 0;
  *bigEndian = exif[0] == 'M';
  const ByteReader in({exif.data(), exif.size()}, *bigEndian);
  try {
    const uint64_t directory = in.u32(4);
    const uint32_t entries = in.u16(directory);
    for (uint32_t i = 0; i < entries; ++i) {
      const uint64_t entry = directory + 2 + 12 * uint64_t{i};
      if (in.u16(entry) == kOrientationTag && in.u16(entry + 2) == kShort && in.u16(entry + 8) <= 8)
        return size_t(entry + 8);
    }
  } catch (const Error&) {  // a damaged structure travels as it is, but tells nothing
  }
  return 0;
}

}  // namespace

void warnOfLoss(const Metadata& m, unsigned kept, const std::string& format, std::vector<std::string>* warnings) {
  std::string lost;
  const auto check = [&](bool present, unsigned kind, const char* name) {
    if (present && !(kept & kind)) lost += (lost.empty() ? "" : ", ") + std::string(name);
  };
  check(!m.icc.empty(), kIccProfile, "ICC profile");
  check(!m.exif.empty(), kExif, "EXIF");
  check(!m.xmp.empty(), kXmp, "XMP");
  check(!m.comments.empty(), kComments, "comments");
  check(m.pixelsPerMetreX > 0, kResolution, "resolution");
  const bool inExif = (kept & kExif) && exifOrientation(m.exif) == m.orientation;
  check(m.orientation != 1 && !inExif, kOrientation, "orientation");
  if (!lost.empty()) Warnings(warnings).add("left out, as " + format + " cannot hold it: " + lost);
}

int exifOrientation(const std::vector<uint8_t>& exif) {
  bool bigEndian = false;
  const size_t at = orientationPlace(exif, &bigEndian);
  if (!at) return 0;
  return int(ByteReader({exif.data(), exif.size()}, bigEndian).u16(at));
}

void setExifOrientation(std::vector<uint8_t>* exif, int orientation) {
  bool bigEndian = false;
  const size_t at = orientationPlace(*exif, &bigEndian);
  if (!at) return;
  (*exif)[at] = bigEndian ? 0 : uint8_t(orientation);
  (*exif)[at + 1] = bigEndian ? uint8_t(orientation) : 0;
}

}  // namespace zelcodecs
