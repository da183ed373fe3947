// Metadata in marker segments: JFIF's density (ITU-T T.871), EXIF (JEITA CP-3451), XMP (ISO 16684-3), ICC profiles
// (ICC.1 Annex B) and comments.
#pragma once

#include <vector>

#include "common/bytes.h"
#include "common/metadata.h"
#include "common/warnings.h"

namespace zelcodecs::jpeg {

// Collects what the segments of a file say. Refers to the file's bytes.
class MetadataReader {
 public:
  // The payload of a segment of any kind; those that hold no metadata are passed over.
  void add(int marker, ByteView payload, size_t offset);
  // What has been collected. A profile with parts missing is left out.
  Metadata metadata(Warnings* warnings) const;

 private:
  struct ProfilePart {
    int number, count;
    ByteView bytes;
    size_t offset;
  };
  std::vector<uint8_t> profile(Warnings* warnings) const;

  std::vector<ProfilePart> profile_;
  ByteView exif_, xmp_;
  size_t extendedXmp_ = 0;  // where such a segment is, 0 without one
  std::vector<ByteView> comments_;
  int densityUnit_ = 0, densityX_ = 0, densityY_ = 0;
};

// Appends the segments that stand between the start of a file and its tables: JFIF's only where it is asked for, which
// the resolution takes. What does not fit is a warning.
void writeMetadata(const Metadata& metadata, bool jfif, std::vector<uint8_t>* out, Warnings* warnings);

}  // namespace zelcodecs::jpeg
