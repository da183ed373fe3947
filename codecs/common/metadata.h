// What a file says of its picture besides the pixels.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelcodecs {

struct Metadata {
  std::vector<uint8_t> icc;   // an ICC profile
  std::vector<uint8_t> exif;  // a TIFF structure as EXIF has it, without a format's own words before it
  std::vector<uint8_t> xmp;   // an XMP packet
  std::vector<std::string> comments;

  // Pixels for each metre, 0 where nothing is said.
  double pixelsPerMetreX = 0, pixelsPerMetreY = 0;

  // How the stored picture is to be turned to be seen upright: the values 1 to 8 of TIFF's and EXIF's orientation.
  int orientation = 1;

  bool empty() const {
    return icc.empty() && exif.empty() && xmp.empty() && comments.empty() && pixelsPerMetreX == 0 && orientation == 1;
  }
};

// What a format can hold of it.
enum MetadataKind : unsigned {
  kIccProfile = 1,
  kExif = 2,  // with the orientation in it
  kXmp = 4,
  kComments = 8,
  kResolution = 16,
  kOrientation = 32
};

// Tells in one warning what a format without these kinds loses.
void warnOfLoss(const Metadata& metadata, unsigned kept, const std::string& format, std::vector<std::string>* warnings);

constexpr double kInchesPerMetre = 1 / 0.0254;

// The orientation that an EXIF structure holds; 0 without one, or where the structure is damaged.
int exifOrientation(const std::vector<uint8_t>& exif);
// Sets it in place, where the structure has one.
void setExifOrientation(std::vector<uint8_t>* exif, int orientation);

}  // namespace zelcodecs
