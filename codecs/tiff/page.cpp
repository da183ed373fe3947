// The fields of a page, checked (TIFF 6.0, sections 3 to 8, 14, 15, 18 and 21).
#include "tiff/page.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace zelcodecs::tiff {
namespace {

[[noreturn]] void unsupported(const Directory& d, Tag tag, const std::string& what) {
  throw Error(ErrorKind::unsupported, what, d.where(tag));
}

bool isRead(int compression) {
  for (const int c : {kUncompressed, kLzw, kJpeg, kDeflate, kPackBits, kOldDeflate})
    if (compression == c) return true;
  return false;
}

bool hasPredictor(int compression) {
  return compression == kLzw || compression == kDeflate || compression == kOldDeflate;
}

// Values of a field that has one for each sample, but in some files one for all.
template <class Check>
void checkEachSample(const Directory& d, Tag tag, int samples, const Check& check) {
  if (!d.has(tag)) return;
  const uint64_t count = d.count(tag);
  if (count != 1 && count < uint64_t(samples))
    throw Error(ErrorKind::damaged, "fewer values than samples", d.where(tag));
  for (uint64_t i = 0; i < std::min(count, uint64_t(samples)); ++i) check(d.value(tag, i));
}

void checkSamples(const Directory& d, const TiffPage& p) {
  if (p.bitsPerSample < 1) throw Error(ErrorKind::damaged, "samples of 0 bits", d.where(kBitsPerSample));
  checkEachSample(d, kSampleFormat, p.samplesPerPixel, [&](uint64_t format) {
    const std::string bits = " of " + std::to_string(p.bitsPerSample) + " bits";
    if (format == 2) unsupported(d, kSampleFormat, "signed samples" + bits);
    if (format == 3) unsupported(d, kSampleFormat, "floating-point samples" + bits);
    if (format == 5 || format == 6) unsupported(d, kSampleFormat, "complex samples" + bits);
  });
  if (p.bitsPerSample > 16) unsupported(d, kBitsPerSample, "samples of " + std::to_string(p.bitsPerSample) + " bits");
  checkEachSample(d, kBitsPerSample, p.samplesPerPixel, [&](uint64_t bits) {
    if (bits != uint64_t(p.bitsPerSample)) unsupported(d, kBitsPerSample, "samples of different numbers of bits");
  });
  if (p.compression == kJpeg && p.bitsPerSample != 8)
    unsupported(d, kBitsPerSample, "JPEG data of " + std::to_string(p.bitsPerSample) + " bits in a TIFF file");
}

void checkKind(const Directory& d, const TiffPage& p) {
  if (!isRead(p.compression)) unsupported(d, kCompression, "compression " + p.compressionName);
  checkSamples(d, p);
  if (p.planarConfiguration < 1 || p.planarConfiguration > 2)
    unsupported(d, kPlanarConfiguration, "planar configuration " + std::to_string(p.planarConfiguration));
  if (p.fillOrder < 1 || p.fillOrder > 2) unsupported(d, kFillOrder, "fill order " + std::to_string(p.fillOrder));
  if (!hasPredictor(p.compression)) return;
  if (p.predictor == kFloatPredictor) unsupported(d, kPredictor, "the floating-point predictor");
  if (p.predictor < kNoPredictor || p.predictor > kFloatPredictor)
    unsupported(d, kPredictor, "predictor " + std::to_string(p.predictor));
  if (p.predictor == kDifferences && p.bitsPerSample != 8 && p.bitsPerSample != 16)
    unsupported(d, kPredictor, "differences of samples of " + std::to_string(p.bitsPerSample) + " bits");
}

// TIFF 6.0, sections 20 and 21. Of the coefficients between RGB and YCbCr only those of the default are read.
void readUnits(const Directory& d, Layout* l) {
  if (l->bits != 8 || l->samples != 3 || l->planes != 1 || l->predictor != kNoPredictor)
    unsupported(d, kPhotometric, "YCbCr of other than three samples of 8 bits together");
  l->subX = l->subY = 2;
  if (d.has(kYCbCrSubSampling)) {
    const uint64_t x = d.value(kYCbCrSubSampling), y = d.value(kYCbCrSubSampling, 1);
    const auto known = [](uint64_t v) { return v == 1 || v == 2 || v == 4; };
    if (!known(x) || !known(y)) throw Error(ErrorKind::damaged, "chroma of another size", d.where(kYCbCrSubSampling));
    l->subX = int(x);
    l->subY = int(y);
  }
  const double red = d.rational(kYCbCrCoefficients), green = d.rational(kYCbCrCoefficients, 1);
  if (d.has(kYCbCrCoefficients) && (std::abs(red - 0.299) > 0.001 || std::abs(green - 0.587) > 0.001))
    unsupported(d, kYCbCrCoefficients, "YCbCr with other coefficients than those of ITU-R BT.601");
  for (int i = 0; i < 6 && d.has(kReferenceBlackWhite); ++i)
    l->levels[i] = d.rational(kReferenceBlackWhite, uint64_t(i));
  for (int i = 0; i < 6; i += 2)
    if (l->levels[i + 1] - l->levels[i] < 1)
      throw Error(ErrorKind::damaged, "a white that is not above its black", d.where(kReferenceBlackWhite));
  const size_t across = (size_t(l->pieceWidth) + size_t(l->subX) - 1) / size_t(l->subX);
  l->rowBytes = across * size_t(l->subX * l->subY + 2);
}

}  // namespace

Layout layoutOf(const Directory& d, const TiffPage& p, const Limits& limits) {
  checkKind(d, p);
  checkSize(p.width, p.height, limits, d.where(kImageWidth));
  if ((p.tiled ? p.tileWidth : p.width) > INT32_MAX || (p.tiled ? p.tileHeight : p.rowsPerStrip) > INT32_MAX)
    throw Error(ErrorKind::limit, "strips or tiles of more than 2^31 rows or columns", d.where(kTileWidth));
  Layout l;
  l.width = int(p.width);
  l.height = int(p.height);
  l.bits = p.bitsPerSample;
  l.samples = p.samplesPerPixel;
  l.planes = p.planarConfiguration == 2 ? l.samples : 1;
  l.compression = p.compression;
  l.predictor = hasPredictor(l.compression) ? p.predictor : int(kNoPredictor);
  l.photometric = p.photometric;
  l.reversed = p.fillOrder == 2 && !l.jpeg();
  l.swapped = l.bits == 16 && d.file().bigEndian();
  l.pieceWidth = int(p.tiled ? p.tileWidth : p.width);
  l.pieceRows = int(p.tiled ? p.tileHeight : p.rowsPerStrip);
  l.across = (l.width - 1) / l.pieceWidth + 1;
  l.down = (l.height - 1) / l.pieceRows + 1;
  l.rowSamples = size_t(l.pieceWidth) * size_t(l.samples / l.planes);
  l.rowBytes = (l.rowSamples * size_t(l.bits) + 7) / 8;
  if (l.units()) readUnits(d, &l);
  const size_t most = l.rowSamples * size_t(l.planes);
  if (most > kMostRowBytes / 2) throw Error(ErrorKind::limit, "rows of more than 2^29 samples", d.where(kImageWidth));
  // What a row passes through: unpacked bytes, samples and pixels.
  if (most * 8 > limits.maxMemory)
    throw Error(ErrorKind::limit, "rows for which more memory is needed than the limit allows", d.where(kImageWidth));
  return l;
}

// No compression makes more of a byte: PackBits 128 of 2, LZW 4096 of 12 bits, Deflate 258 of 2 bits, JPEG 6 blocks of
// 64 samples of 12 bits.
void checkLength(const Directory& d, const Layout& l, bool keepGoing) {
  // What is unpacked for all rows, tiles beyond the right edge included.
  const double raw = double(l.bytesOf(l.height)) * l.planes * l.across;
  const uint64_t ratio = l.compression == kUncompressed ? 1
                         : l.compression == kPackBits   ? 64
                         : l.compression == kLzw        ? 2731
                                                        : 1032;
  // Of a file that is cut short most may be missing, but not nearly all.
  const uint64_t size = d.file().size();
  const uint64_t most = keepGoing ? std::max<uint64_t>(ratio, 1024) * size + (1 << 20) : ratio * size;
  if (raw > double(most))
    throw Error(keepGoing ? ErrorKind::limit : ErrorKind::damaged,
                "a page of " + std::to_string(l.width) + " x " + std::to_string(l.height) +
                    " pixels, for which the file is too short, is named",
                d.where(kImageLength));
}

// ---- Meaning --------------------------------------------------------------------------------------------------------

namespace {

// Old writers gave 8 of the 16 bits of each value.
std::vector<uint8_t> readPalette(const Directory& d, int bits) {
  const uint64_t n = uint64_t{1} << bits;
  if (d.count(kColorMap) < 3 * n) throw Error(ErrorKind::damaged, "a palette that is too short", d.where(kColorMap));
  std::vector<uint64_t> values(3 * n);
  for (uint64_t i = 0; i < 3 * n; ++i) values[i] = d.value(kColorMap, i);
  const int shift = *std::max_element(values.begin(), values.end()) > 255 ? 8 : 0;
  std::vector<uint8_t> palette;
  palette.reserve(3 * n);
  for (uint64_t i = 0; i < n; ++i)
    for (uint64_t c = 0; c < 3; ++c) palette.push_back(uint8_t(values[c * n + i] >> shift));
  return palette;
}

// The first extra sample that is an opacity counts, all others are left out.
void findAlpha(const Directory& d, const Layout& l, Meaning* m, Warnings* warnings) {
  const int extra = l.samples - m->colours;
  const bool possible = m->model != ColourModel::cmyk && (m->palette.empty() || l.bits == 8);
  for (uint64_t i = 0; possible && i < d.count(kExtraSamples) && i < uint64_t(extra) && m->alpha < 0; ++i) {
    const uint64_t kind = d.value(kExtraSamples, i);
    if (kind != uint64_t{kAssociatedAlpha} && kind != uint64_t{kUnassociatedAlpha}) continue;
    m->alpha = m->colours + int(i);
    m->associated = kind == uint64_t{kAssociatedAlpha};
    m->model = m->model == ColourModel::grey ? ColourModel::greyAlpha : ColourModel::rgba;
  }
  const int dropped = extra - (m->alpha >= 0);
  if (dropped > 0)
    warnings->add(std::to_string(dropped) + " extra samples of each pixel are left out", d.where(kExtraSamples));
}

ColourModel modelOf(const Directory& d, const Layout& l) {
  switch (l.photometric) {
    case kWhiteIsZero:
    case kBlackIsZero:
      return ColourModel::grey;
    case kRgb:
    case kPalette:
      return ColourModel::rgb;
    case kSeparated:
      if (d.valueOr(kInkSet, 1) != 1) unsupported(d, kInkSet, "inks other than cyan, magenta, yellow and black");
      return ColourModel::cmyk;
    case kYCbCr:
      if (l.planes > 1) unsupported(d, kPlanarConfiguration, "YCbCr in planes");
      return ColourModel::rgb;
    case 4:
      unsupported(d, kPhotometric, "a transparency mask");
    case 8:
      unsupported(d, kPhotometric, "CIE L*a*b*");
    case 9:
      unsupported(d, kPhotometric, "ICC L*a*b*");
    case 10:
      unsupported(d, kPhotometric, "ITU L*a*b*");
    case 32844:
    case 32845:
      unsupported(d, kPhotometric, "LogLuv");
    case 32803:
    case 34892:
      unsupported(d, kPhotometric, "raw data of a camera's sensor");
  }
  unsupported(d, kPhotometric, "photometric interpretation " + std::to_string(l.photometric));
}

}  // namespace

Meaning meaningOf(const Directory& d, const Layout& l, Warnings* warnings) {
  Meaning m;
  m.model = modelOf(d, l);
  m.depth = std::max(8, l.bits);
  if (l.photometric == kPalette) {
    if (l.jpeg()) unsupported(d, kPhotometric, "JPEG data with a palette");
    m.palette = readPalette(d, l.bits);
    m.depth = 8;
  }
  m.inverted = l.photometric == kWhiteIsZero;
  m.colours = m.palette.empty() ? channelsOf(m.model) : 1;
  if (l.samples < m.colours) throw Error(ErrorKind::damaged, "fewer samples than colours", d.where(kSamplesPerPixel));
  findAlpha(d, l, &m, warnings);
  return m;
}

}  // namespace zelcodecs::tiff
