// Rows of one colour model and depth from rows of another.
#pragma once

#include <array>
#include <memory>
#include <optional>

#include "common/image.h"

namespace zelcodecs {

struct ConvertOptions {
  // What shows through where opacity is dropped: red, green and blue, 0 to 255. Without it only opaque pixels can be
  // converted, and others are refused.
  std::optional<std::array<int, 3>> background;
  // Takes the colours of pixels that are not opaque as they are stored, where opacity is dropped.
  bool ignoreOpacity = false;
};

// Between all models but to CMYK: colours become their luminance (ITU-R BT.601), grey three equal channels, and an
// opacity that is missing full. CMYK becomes sRGB by its embedded ICC profile, and without one by the plain rule
// red = (1 - cyan) (1 - black). Depths are scaled to the full range, rounded to nearest.
class Converter {
 public:
  // Throws Error(argument) for what cannot be converted.
  Converter(const PictureFormat& from, ColourModel model, int bitDepth, const Metadata& metadata,
            const ConvertOptions& options = {});
  ~Converter();
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  const PictureFormat& to() const { return to_; }
  // As many rows as are given. Throws Error(argument) at a pixel that is not opaque, where it must be.
  void convert(ConstRows from, Rows to);

  // What of the metadata still holds: a profile goes where its colour model does.
  Metadata kept(const Metadata& metadata) const;

 private:
  class Profile;
  template <class From, class To>
  void convertRow(const From* from, To* to);
  template <class From>
  void unite(const From* from, int width);
  template <class To>
  void distribute(int width, To* to) const;

  PictureFormat from_, to_;
  ConvertOptions options_;
  std::unique_ptr<Profile> profile_;
  std::unique_ptr<uint16_t[]> pixels_;  // a row in the channels of the result, in the depth of the source
  int row_ = 0;                         // of the picture, for messages
};

// A whole picture in another model and depth, with the metadata that still holds.
Image converted(const Image& image, ColourModel model, int bitDepth, const ConvertOptions& options = {});
inline Image converted(const Image& image, ColourModel model) { return converted(image, model, image.bitDepth()); }

}  // namespace zelcodecs
