// Decoding: chooses the way from scans to pixels, and answers what a file says about itself.
#include <cstring>

#include "jpeg_pixels.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

// The processes that the scan decoder does not know are refused here.
void requireSequential(const Reader& reader) {
  const Frame& f = reader.frame();
  if (f.process != kSOF0 && f.process != kSOF1)
    throw Error(ErrorKind::unsupported, processName(f.process) + " JPEG is not supported yet; the frame header is",
                f.offset);
}

void requireWholeSpectrum(const Scan& scan) {
  if (scan.ss != 0 || scan.se != 63 || scan.ah != 0 || scan.al != 0)
    throw Error(ErrorKind::damaged, "a sequential scan that does not code whole blocks", scan.begin - 3);
}

// A block takes two bits at least, so a file cannot hold more of them than that. A damaged file may lack most of its
// data; then pictures are allowed that are harmless anyhow.
void requirePlausibleSize(const Reader& reader, bool keepGoing) {
  uint64_t blocks = 0;
  for (const Component& c : reader.frame().components)
    blocks += static_cast<uint64_t>(c.blocksWide) * static_cast<uint64_t>(c.blocksHigh);
  if (blocks / 4 > reader.size() && !(keepGoing && blocks <= (1u << 18)))
    throw Error(ErrorKind::limit, "the file is too short for its size in pixels,", reader.frame().offset);
}

// Walks the scans of a sequential file. handle(scan, decoder) decodes one and returns the position after it; with
// keepGoing, whatever goes wrong after the first scan has been found ends the walk with a warning.
class Walk {
 public:
  Walk(const uint8_t* data, size_t size, const JpegDecodeOptions& options)
      : options_(options),
        warnings_(options.warnings),
        reader_(data, size, options.limits, options.keepGoing, &warnings_) {
    if (!reader_.nextScan(&first_)) throw Error(ErrorKind::damaged, "an image without scans", reader_.position());
    requireSequential(reader_);
    requirePlausibleSize(reader_, options.keepGoing);
  }

  const Reader& reader() const { return reader_; }
  const Scan& first() const { return first_; }

  template <class MakeSink>
  void run(const MakeSink& makeSink) {
    std::vector<bool> seen(reader_.frame().components.size());
    try {
      Scan scan = first_;
      do {
        requireWholeSpectrum(scan);
        for (int i = 0; i < scan.count; ++i) {
          const size_t c = static_cast<size_t>(scan.parts[i].component);
          if (seen[c]) throw Error(ErrorKind::damaged, "a second scan of a component", scan.begin);
        }
        ScanDecoder decoder(reader_, scan, options_.keepGoing, &warnings_);
        auto sink = makeSink(scan);
        const size_t end = decoder.run(&sink, options_.progress);
        reader_.resumeAt(end);
        for (int i = 0; i < scan.count; ++i) seen[static_cast<size_t>(scan.parts[i].component)] = true;
      } while (reader_.nextScan(&scan));
      for (size_t c = 0; c < seen.size(); ++c)
        if (!seen[c])
          throw Error(ErrorKind::damaged, "the image ends without a scan of component " + std::to_string(c),
                      reader_.position());
    } catch (const Error& e) {
      if (!options_.keepGoing || e.kind() == ErrorKind::argument) throw;
      warnings_.add(e);
    }
    if (options_.progress) options_.progress(1);
  }

 private:
  const JpegDecodeOptions& options_;
  Warnings warnings_;
  Reader reader_;
  Scan first_;
};

// Adobe's applications store CMYK with 255 for no ink.
void turnUpright(Image* image) {
  uint8_t* p = image->data();
  if (image->bytesPerSample() == 1) {
    for (size_t i = 0; i < image->sizeBytes(); ++i) p[i] = static_cast<uint8_t>(~p[i]);
  } else {
    uint16_t* q = image->row16(0);
    for (size_t i = 0; i < image->sizeBytes() / 2; ++i) q[i] = static_cast<uint16_t>(image->maxValue() - q[i]);
  }
}

}  // namespace

Image decodeJpeg(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  const int denominator = options.scaleDenominator;
  if (denominator != 1 && denominator != 2 && denominator != 4 && denominator != 8)
    throw Error(ErrorKind::argument, "a scale other than 1, 1/2, 1/4 and 1/8");
  Walk walk(data, size, options);
  const Frame& frame = walk.reader().frame();
  const Coding coding = codingOf(walk.reader());
  Image image(ceilDiv(frame.width, denominator), ceilDiv(frame.height, denominator), modelOf(coding), frame.precision);

  const bool allAtOnce = walk.first().count == static_cast<int>(frame.components.size());
  const bool straight = frame.precision == 8 && denominator == 1 && allAtOnce;
  const McuToPixels pixels = straight ? mcuToPixels(frame, coding) : McuToPixels{};
  if (options.keepGoing && straight) std::memset(image.data(), 128, image.sizeBytes());  // for what no scan brings
  if (straight && coding == Coding::grey) {
    walk.run([&](const Scan&) { return GreySink(walk.reader(), &image); });
  } else if (pixels.convert) {
    walk.run([&](const Scan& scan) { return DirectSink(walk.reader(), scan, pixels, &image); });
  } else {
    Planes planes(walk.reader(), denominator);
    if (options.keepGoing) planes.fillGrey();
    walk.run([&](const Scan& scan) { return PlaneSink(walk.reader(), scan, &planes); });
    planes.convert(coding, &image, options.progress);
  }
  if (image.model() == ColourModel::cmyk && walk.reader().adobeTransform() >= 0) turnUpright(&image);
  return image;
}

// ---- Coefficients ---------------------------------------------------------------------------------------------------

namespace {

class CoefficientSink : public McuSink {
 public:
  CoefficientSink(const Reader& reader, const Scan& scan, JpegCoefficients* out) : scan_(scan), out_(out) {
    for (int i = 0; i < scan.count; ++i) {
      const size_t c = static_cast<size_t>(scan.parts[i].component);
      const QuantTable& t = reader.quantTable(reader.frame().components[c].quantTable);
      std::memcpy(out->components[c].quant, t.inverse, sizeof t.inverse);
    }
  }
  void mcu(int x, int y, Block* blocks) override {
    int b = 0;
    for (int i = 0; i < scan_.count; ++i) {
      JpegCoefficients::Component& c = out_->components[static_cast<size_t>(scan_.parts[i].component)];
      const int wide = scan_.interleaved() ? c.h : 1, high = scan_.interleaved() ? c.v : 1;
      for (int v = 0; v < high; ++v)
        for (int h = 0; h < wide; ++h, ++b) {
          const size_t at =
              static_cast<size_t>(y * high + v) * static_cast<size_t>(c.storedWide) + static_cast<size_t>(x * wide + h);
          std::memcpy(&c.values[64 * at], blocks[b], sizeof(Block));
        }
    }
  }

 private:
  const Scan scan_;
  JpegCoefficients* const out_;
};

}  // namespace

void JpegCoefficients::allocate() {
  Frame f;
  f.width = width;
  f.height = height;
  for (const Component& c : components) {
    jpeg::Component k;
    k.h = c.h;
    k.v = c.v;
    f.components.push_back(k);
  }
  f.layOut();
  for (size_t i = 0; i < components.size(); ++i) {
    Component& c = components[i];
    const jpeg::Component& k = f.components[i];
    c.blocksWide = k.blocksWide;
    c.blocksHigh = k.blocksHigh;
    c.storedWide = k.storedWide;
    c.storedHigh = k.storedHigh;
    c.values.assign(64 * static_cast<size_t>(k.storedWide) * static_cast<size_t>(k.storedHigh), 0);
  }
}

JpegCoefficients readJpegCoefficients(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  Walk walk(data, size, options);
  const Frame& frame = walk.reader().frame();
  JpegCoefficients out;
  out.width = frame.width;
  out.height = frame.height;
  out.precision = frame.precision;
  out.jfif = walk.reader().jfif();
  out.adobeTransform = walk.reader().adobeTransform();
  for (const Component& c : frame.components) {
    JpegCoefficients::Component k;
    k.id = c.id;
    k.h = c.h;
    k.v = c.v;
    out.components.push_back(k);
  }
  out.allocate();
  walk.run([&](const Scan& scan) { return CoefficientSink(walk.reader(), scan, &out); });
  return out;
}

// ---- What a file says about itself
// ------------------------------------------------------------------------------------

JpegInfo readJpegInfo(const uint8_t* data, size_t size, const Limits& limits) {
  Warnings warnings(nullptr);
  Reader reader(data, size, limits, true, &warnings);
  JpegInfo info;
  try {
    Scan scan;
    while (reader.nextScan(&scan)) {
      const size_t end = reader.endOfScan(scan.begin);
      JpegInfo::Scan s{{}, scan.ss, scan.se, scan.ah, scan.al, scan.begin, end - scan.begin};
      for (int i = 0; i < scan.count; ++i) s.components.push_back(scan.parts[i].component);
      info.scans.push_back(s);
      reader.resumeAt(end);
    }
    info.complete = true;
    info.trailingBytes = size - reader.position();
  } catch (const Error&) {
    // What has been read is told; without a frame there is nothing to tell.
    if (reader.frame().mcusWide == 0) throw;
  }
  const Frame& f = reader.frame();
  info.process = processName(f.process);
  info.width = f.width;
  info.height = f.height;
  info.precision = f.precision;
  for (const Component& c : f.components) info.components.push_back({c.id, c.h, c.v, c.quantTable});
  if (f.components.size() == 2) {
    info.colour = "two components";
  } else {
    static const char* const names[] = {"grey", "YCbCr", "RGB", "CMYK", "YCCK"};
    info.colour = names[static_cast<int>(codingOf(reader))];
  }
  info.restartInterval = reader.restartInterval();
  info.jfif = reader.jfif();
  info.adobe = reader.adobeTransform() >= 0;
  info.comments = reader.comments();
  return info;
}

}  // namespace zelcodecs
