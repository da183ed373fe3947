// A row goes through 16-bit pixels of the new model in the old depth, and from there to the new depth.
#include "common/convert.h"

#include <lcms2.h>

#include <cstring>
#include <string>
#include <type_traits>

#include "common/error.h"
#include "common/foreign.h"

namespace zelcodecs {

// From CMYK to sRGB by an ICC profile. Without a usable one there is no transform.
class Converter::Profile {
 public:
  Profile(const std::vector<uint8_t>& icc, bool wide) {
    const cmsHPROFILE ink = cmsOpenProfileFromMem(icc.data(), cmsUInt32Number(icc.size()));
    if (!ink) return;
    if (cmsGetColorSpace(ink) == cmsSigCmykData) {
      const cmsHPROFILE screen = cmsCreate_sRGBProfile();
      transform_ = cmsCreateTransform(ink, wide ? TYPE_CMYK_16 : TYPE_CMYK_8, screen, wide ? TYPE_RGB_16 : TYPE_RGB_8,
                                      INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION);
      cmsCloseProfile(screen);
    }
    cmsCloseProfile(ink);
  }
  ~Profile() {
    if (transform_) cmsDeleteTransform(transform_);
  }
  Profile(const Profile&) = delete;
  Profile& operator=(const Profile&) = delete;
  bool usable() const { return transform_ != nullptr; }
  void run(const void* from, void* to, int pixels) const {
    cmsDoTransform(transform_, from, to, cmsUInt32Number(pixels));
  }

 private:
  cmsHTRANSFORM transform_ = nullptr;
};

namespace {

bool isGrey(ColourModel m) { return m == ColourModel::grey || m == ColourModel::greyAlpha; }

int luminance(int64_t red, int64_t green, int64_t blue) {
  return int((19595 * red + 38470 * green + 7471 * blue + 32768) >> 16);
}

}  // namespace

Converter::Converter(const PictureFormat& from, ColourModel model, int bitDepth, const Metadata& metadata,
                     const ConvertOptions& options)
    : from_(from), to_(from), options_(options) {
  if (bitDepth < 1 || bitDepth > 16) throw Error(ErrorKind::argument, "a depth is 1 to 16 bits");
  if (model == ColourModel::cmyk && from.model != model)
    throw Error(ErrorKind::argument, "no other colour model is converted to CMYK");
  to_.model = model;
  to_.bitDepth = bitDepth;
  if (from.model == ColourModel::cmyk && model != ColourModel::cmyk && !metadata.icc.empty() &&
      (from.bitDepth == 8 || from.bitDepth == 16)) {
    profile_ = std::make_unique<Profile>(metadata.icc, from.bitDepth == 16);
    if (!profile_->usable()) profile_.reset();
  }
  pixels_.reset(new uint16_t[size_t(from.width) * 4]);
}

Converter::~Converter() = default;

// A row in pixels_: interleaved in the number of channels of the result, except that CMYK becomes RGB and opacity that
// is dropped has been mixed with the background.
template <class From>
void Converter::unite(const From* from, int width) {
  const int top = from_.maxValue(), in = from_.channels(), out = to_.channels();
  const bool drops = hasOpacity(from_.model) && !hasOpacity(to_.model) && !options_.ignoreOpacity;
  const bool greyIn = isGrey(from_.model), greyOut = isGrey(to_.model);
  int back[3] = {};
  for (int i = 0; i < 3 && options_.background; ++i) back[i] = ((*options_.background)[size_t(i)] * top + 127) / 255;
  uint16_t* to = pixels_.get();
  for (int x = 0; x < width; ++x, from += in, to += out) {
    int c[3] = {from[0], from[greyIn ? 0 : 1], from[greyIn ? 0 : 2]};
    const int opacity = hasOpacity(from_.model) ? from[in - 1] : top;
    if (from_.model == ColourModel::cmyk)
      for (int& v : c) v = int(int64_t{top - v} * (top - from[3]) / top);
    if (drops && opacity != top) {
      if (!options_.background)
        throw Error(ErrorKind::argument, "the pixel in column " + std::to_string(x) + " of row " +
                                             std::to_string(row_) +
                                             " is not opaque, which the output cannot hold; give a background");
      for (int i = 0; i < 3; ++i)
        c[i] = int((int64_t{c[i]} * opacity + int64_t{back[i]} * (top - opacity) + top / 2) / top);
    }
    const bool mixed = !greyIn || (drops && opacity != top);
    if (greyOut) {
      to[0] = uint16_t(mixed ? luminance(c[0], c[1], c[2]) : c[0]);
    } else {
      for (int i = 0; i < 3; ++i) to[i] = uint16_t(c[i]);
    }
    if (hasOpacity(to_.model)) to[out - 1] = uint16_t(opacity);
  }
}

// The values of pixels_ in the depth of the result.
template <class To>
void Converter::distribute(int width, To* to) const {
  const uint32_t top = uint32_t(from_.maxValue()), most = uint32_t(to_.maxValue());
  const int samples = width * to_.channels();
  for (int i = 0; i < samples; ++i)
    to[i] = top == most ? To(pixels_[size_t(i)]) : To((pixels_[size_t(i)] * most + top / 2) / top);
}

template <class From, class To>
void Converter::convertRow(const From* from, To* to) {
  const int width = from_.width;
  if (profile_) {
    // The transform gives RGB in the depth of the source, which the common way goes on from.
    std::unique_ptr<From[]> rgb(new From[size_t(width) * 3]);
    profile_->run(from, rgb.get(), width);
    writtenByOthers(rgb.get(), size_t(width) * 3 * sizeof(From));
    for (int x = 0; x < width; ++x) {
      const From* const c = &rgb[size_t(x) * 3];
      uint16_t* const p = &pixels_[size_t(x) * size_t(to_.channels())];
      if (isGrey(to_.model))
        p[0] = uint16_t(luminance(c[0], c[1], c[2]));
      else
        std::copy(c, c + 3, p);
      if (hasOpacity(to_.model)) p[to_.channels() - 1] = uint16_t(from_.maxValue());
    }
  } else if (from_.model == to_.model) {
    std::copy(from, from + width * from_.channels(), pixels_.get());
  } else {
    unite(from, width);
  }
  distribute(width, to);
}

void Converter::convert(ConstRows from, Rows to) {
  for (int y = 0; y < from.count; ++y, ++row_) {
    const uint8_t* const f = from.row(y);
    uint8_t* const t = to.row(y);
    const auto* const wideFrom = reinterpret_cast<const uint16_t*>(f);
    auto* const wideTo = reinterpret_cast<uint16_t*>(t);
    if (from_ == to_)
      std::memcpy(t, f, from_.rowBytes());
    else if (from_.bytesPerSample() == 1 && to_.bytesPerSample() == 1)
      convertRow(f, t);
    else if (from_.bytesPerSample() == 1)
      convertRow(f, wideTo);
    else if (to_.bytesPerSample() == 1)
      convertRow(wideFrom, t);
    else
      convertRow(wideFrom, wideTo);
  }
}

Metadata Converter::kept(const Metadata& metadata) const {
  Metadata m = metadata;
  const bool cmyk = from_.model == ColourModel::cmyk && to_.model != from_.model;
  if (cmyk || isGrey(from_.model) != isGrey(to_.model)) m.icc.clear();
  return m;
}

Image converted(const Image& image, ColourModel model, int bitDepth, const ConvertOptions& options) {
  Converter converter(image.format(), model, bitDepth, image.metadata(), options);
  Image out(converter.to());
  converter.convert(image.rows(0, image.height()), out.rows(0, out.height()));
  out.metadata() = converter.kept(image.metadata());
  return out;
}

}  // namespace zelcodecs
