// Encoding: pixels to blocks MCU by MCU, each transformed, quantised and coded while it is in the cache.
#include <algorithm>
#include <cstring>

#include "error.h"
#include "jpeg_writer.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

void requireCodable(int width, int height, int restartInterval) {
  if (width < 1 || height < 1 || width > 65535 || height > 65535)
    throw Error(ErrorKind::argument, "a JPEG picture has 1 to 65535 columns and lines");
  if (restartInterval < 0 || restartInterval > 65535)
    throw Error(ErrorKind::argument, "a restart interval is 0 to 65535 MCUs");
}

// Pixels of one MCU to the level-shifted samples of its blocks: luminance, Cb, Cr.
struct PixelsToMcu {
  using Function = ZelStatus (*)(const uint8_t*, int, int16_t* const*);
  Function convert;
  int h, v;  // luminance blocks
};

PixelsToMcu pixelsToMcu(Sampling s) {
  switch (s) {
    case Sampling::s444:
      return {zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R, 1, 1};
    case Sampling::s422:
      return {zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R, 2, 1};
    case Sampling::s420:
      return {zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R, 2, 2};
  }
  throw Error(ErrorKind::argument, "an unknown sampling");
}

struct QuantTables {
  uint16_t forward[64], inverse[64];
  QuantTables(const uint8_t* standard, int quality) {
    uint8_t raw[64];
    std::memcpy(raw, standard, 64);
    if (quality < 1 || quality > 100) throw Error(ErrorKind::argument, "a quality is 1 to 100");
    zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
    zeliQuantFwdTableInit_JPEG_8u16u(raw, forward);
    zeliQuantInvTableInit_JPEG_8u16u(raw, inverse);
  }
};

// The pixels of an MCU. One that passes the edge of the picture is copied with its last column and row repeated.
const uint8_t* mcuPixels(const Image& image, int left, int top, int wide, int high, uint8_t* edge, int* step) {
  const int channels = image.channels();
  *step = static_cast<int>(image.rowBytes());
  if (left + wide <= image.width() && top + high <= image.height()) return image.row(top) + left * channels;
  const int inside = std::min(wide, image.width() - left);
  for (int y = 0; y < high; ++y) {
    const uint8_t* from = image.row(std::min(top + y, image.height() - 1)) + left * channels;
    uint8_t* to = edge + y * wide * channels;
    std::memcpy(to, from, static_cast<size_t>(inside * channels));
    for (int x = inside; x < wide; ++x)
      std::memcpy(to + x * channels, to + (inside - 1) * channels, static_cast<size_t>(channels));
  }
  *step = wide * channels;
  return edge;
}

// Calls mcu(x, y) in order, with restart markers in between.
template <class Mcu>
void codeScan(int wide, int high, int restartInterval, ScanEncoder* encoder, const Progress& progress, const Mcu& mcu) {
  int left = restartInterval, number = 0;
  for (int y = 0; y < high; ++y) {
    if (progress && y % 16 == 0) progress(static_cast<double>(y) / high);
    for (int x = 0; x < wide; ++x) {
      if (restartInterval && left-- == 0) {
        encoder->restart(number);
        number = (number + 1) & 7;
        left = restartInterval - 1;
      }
      mcu(x, y);
      encoder->endMcu();
    }
  }
  encoder->finish();
}

void encodeGrey(const Image& image, const QuantTables& q, const EncoderTables& tables, const JpegEncodeOptions& options,
                std::vector<uint8_t>* out) {
  ScanEncoder encoder(out);
  uint8_t edge[64];
  alignas(32) int16_t block[64];
  codeScan(ceilDiv(image.width(), 8), ceilDiv(image.height(), 8), options.restartInterval, &encoder, options.progress,
           [&](int x, int y) {
             int step;
             const uint8_t* pixels = mcuPixels(image, 8 * x, 8 * y, 8, 8, edge, &step);
             zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(pixels, step, block, q.forward);
             encoder.block(block, 0, tables);
           });
}

void encodeColour(const Image& image, PixelsToMcu to, const QuantTables q[2], const EncoderTables tables[2],
                  const JpegEncodeOptions& options, std::vector<uint8_t>* out) {
  ScanEncoder encoder(out);
  const int luminance = to.h * to.v, wide = 8 * to.h, high = 8 * to.v;
  uint8_t edge[16 * 16 * 3];
  alignas(32) int16_t blocks[6][64];
  int16_t* const targets[3] = {blocks[0], blocks[luminance], blocks[luminance + 1]};
  codeScan(ceilDiv(image.width(), wide), ceilDiv(image.height(), high), options.restartInterval, &encoder,
           options.progress, [&](int x, int y) {
             int step;
             const uint8_t* pixels = mcuPixels(image, wide * x, high * y, wide, high, edge, &step);
             to.convert(pixels, step, targets);
             for (int b = 0; b < luminance + 2; ++b) {
               const int chroma = b >= luminance;
               zeliDCTQuantFwd8x8_JPEG_16s_C1I(blocks[b], q[chroma].forward);
               encoder.block(blocks[b], chroma ? b - luminance + 1 : 0, tables[chroma]);
             }
           });
}

}  // namespace

std::vector<uint8_t> encodeJpeg(const Image& image, const JpegEncodeOptions& options) {
  requireCodable(image.width(), image.height(), options.restartInterval);
  if (image.bitDepth() != 8)
    throw Error(ErrorKind::unsupported, "pictures of other than 8 bits a sample cannot be encoded yet");
  if (image.model() == ColourModel::cmyk) throw Error(ErrorKind::unsupported, "CMYK pictures cannot be encoded yet");

  const bool colour = image.model() == ColourModel::rgb;
  const PixelsToMcu to = pixelsToMcu(options.sampling);
  const QuantTables q[2] = {{kLuminanceQuant, options.quality}, {kChrominanceQuant, options.quality}};
  EncoderTables tables[2];
  tables[0].set(kLuminanceDc, kLuminanceAc);
  tables[1].set(kChrominanceDc, kChrominanceAc);

  Frame frame;
  frame.process = kSOF0;
  frame.width = image.width();
  frame.height = image.height();
  Scan scan;
  scan.count = colour ? 3 : 1;
  for (int i = 0; i < scan.count; ++i) {
    const int table = i ? 1 : 0;
    Component c;
    c.id = i + 1;
    c.h = colour && i == 0 ? to.h : 1;
    c.v = colour && i == 0 ? to.v : 1;
    c.quantTable = table;
    frame.components.push_back(c);
    scan.parts[i] = {i, table, table};
  }

  std::vector<uint8_t> out;
  out.reserve(image.sizeBytes() / 8 + 4096);
  SegmentWriter segments(&out);
  segments.marker(kSOI);
  segments.jfif();
  for (int t = 0; t < (colour ? 2 : 1); ++t) segments.quantTable(t, q[t].inverse);
  segments.frame(frame);
  for (int t = 0; t < (colour ? 2 : 1); ++t) {
    segments.huffmanTable(0, t, t ? kChrominanceDc : kLuminanceDc);
    segments.huffmanTable(1, t, t ? kChrominanceAc : kLuminanceAc);
  }
  if (options.restartInterval) segments.restartInterval(options.restartInterval);
  segments.scan(frame, scan);
  if (colour)
    encodeColour(image, to, q, tables, options, &out);
  else
    encodeGrey(image, q[0], tables[0], options, &out);
  segments.marker(kEOI);
  if (options.progress) options.progress(1);
  return out;
}

// ---- From coefficients
// ------------------------------------------------------------------------------------------------

namespace {

// Calls block(coefficients, part) for every block of a scan in its order, and restart() where a marker stands.
template <class OnBlock, class OnRestart>
void walkBlocks(const JpegCoefficients& in, const Frame& frame, const Scan& scan, int restartInterval,
                const OnBlock& onBlock, const OnRestart& onRestart) {
  const int wide = scan.mcusWide(frame), high = scan.mcusHigh(frame);
  for (int mcu = 0; mcu < wide * high; ++mcu) {
    if (restartInterval && mcu && mcu % restartInterval == 0) onRestart(mcu / restartInterval - 1);
    for (int i = 0; i < scan.count; ++i) {
      const JpegCoefficients::Component& c = in.components[static_cast<size_t>(scan.parts[i].component)];
      const int h = scan.interleaved() ? c.h : 1, v = scan.interleaved() ? c.v : 1;
      for (int b = 0; b < h * v; ++b) {
        const size_t x = static_cast<size_t>(mcu % wide * h + b % h), y = static_cast<size_t>(mcu / wide * v + b / h);
        onBlock(&c.values[64 * (y * static_cast<size_t>(c.storedWide) + x)], i);
      }
    }
  }
}

}  // namespace

std::vector<uint8_t> writeJpegCoefficients(const JpegCoefficients& in, const JpegWriteOptions& options) {
  requireCodable(in.width, in.height, options.restartInterval);
  if (in.components.empty() || in.components.size() > kMaxComponents || (in.precision != 8 && in.precision != 12))
    throw Error(ErrorKind::argument, "a sequential JPEG file has 1 to 4 components of 8 or 12 bits");

  Frame frame;
  frame.width = in.width;
  frame.height = in.height;
  frame.precision = in.precision;
  bool wideTables = false;
  int blocks = 0;
  for (size_t i = 0; i < in.components.size(); ++i) {
    const JpegCoefficients::Component& c = in.components[i];
    Component k;
    k.id = c.id;
    k.h = c.h;
    k.v = c.v;
    k.quantTable = static_cast<int>(i);
    blocks += c.h * c.v;
    frame.components.push_back(k);
    for (uint16_t q : c.quant) wideTables |= q > 255;
  }
  if (options.interleaved && in.components.size() > 1 && blocks > kMaxBlocksPerMcu)
    throw Error(ErrorKind::argument, "more than 10 blocks in an MCU; write a scan for each component");
  frame.process = in.precision == 8 && !wideTables ? kSOF0 : kSOF1;
  frame.layOut();
  for (size_t i = 0; i < in.components.size(); ++i) {
    const size_t stored =
        64 * static_cast<size_t>(frame.components[i].storedWide) * static_cast<size_t>(frame.components[i].storedHigh);
    if (in.components[i].values.size() != stored || in.components[i].storedWide != frame.components[i].storedWide)
      throw Error(ErrorKind::argument, "the stored blocks do not fit the size of the picture");
    // Within this range the difference of two DC coefficients still has a category of at most 15.
    for (int16_t v : in.components[i].values)
      if (v > 16383 || v < -16383) throw Error(ErrorKind::argument, "a coefficient outside -16383 to 16383");
  }

  std::vector<Scan> scans;
  for (size_t i = 0; i < in.components.size(); ++i) {
    if (i == 0 || !options.interleaved) scans.emplace_back();
    Scan& s = scans.back();
    const int table = i == 1 || i == 2 ? 1 : 0;
    s.parts[s.count++] = {static_cast<int>(i), table, table};
  }

  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  segments.marker(kSOI);
  if (in.jfif) segments.jfif();
  if (in.adobeTransform >= 0) segments.adobe(in.adobeTransform);
  for (size_t i = 0; i < in.components.size(); ++i) segments.quantTable(static_cast<int>(i), in.components[i].quant);
  segments.frame(frame);

  HuffmanTable dc[2] = {kLuminanceDc, kChrominanceDc}, ac[2] = {kLuminanceAc, kChrominanceAc};
  const int kinds = in.components.size() > 1 ? 2 : 1;
  if (options.optimiseTables || in.precision > 8) {
    SymbolCounter counter;
    for (const Scan& s : scans) {
      counter.restart();
      walkBlocks(
          in, frame, s, options.restartInterval,
          [&](const int16_t* block, int part) { counter.block(block, part, s.parts[part].dcTable); },
          [&](int) { counter.restart(); });
    }
    for (int t = 0; t < kinds; ++t) {
      dc[t] = counter.dcTable(t);
      ac[t] = counter.acTable(t);
    }
  }
  EncoderTables tables[2];
  for (int t = 0; t < kinds; ++t) {
    segments.huffmanTable(0, t, dc[t]);
    segments.huffmanTable(1, t, ac[t]);
    tables[t].set(dc[t], ac[t]);
  }
  if (options.restartInterval) segments.restartInterval(options.restartInterval);

  for (const Scan& s : scans) {
    segments.scan(frame, s);
    ScanEncoder encoder(&out);
    walkBlocks(
        in, frame, s, options.restartInterval,
        [&](const int16_t* block, int part) {
          encoder.block(block, part, tables[s.parts[part].dcTable]);
          encoder.endMcu();
        },
        [&](int interval) { encoder.restart(interval & 7); });
    encoder.finish();
  }
  segments.marker(kEOI);
  return out;
}

}  // namespace zelcodecs
