// Decoding: chooses the way from scans to pixels.
#include <algorithm>
#include <array>
#include <cstring>

#include "jpeg/lossless.h"
#include "jpeg/pixels.h"
#include "common/parallel.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

// Data units take bits, so a file cannot hold more of them than it has: two bits a block in a sequential file, one in a
// progressive one, one a sample in a lossless one. A damaged file may lack most of its data; then pictures are allowed
// that are harmless anyhow.
void requirePlausibleSize(const Reader& reader, bool keepGoing) {
  const Frame& f = reader.frame();
  uint64_t units = 0;
  for (const Component& c : f.components) units += uint64_t(c.blocksWide) * uint64_t(c.blocksHigh);
  const uint64_t perByte = f.process == kSOF0 || f.process == kSOF1 ? 4 : 8;
  const uint64_t harmless = (uint64_t{1} << 18) * (f.process == kSOF3 ? 64 : 1);
  if (units / perByte > reader.size() && !(keepGoing && units <= harmless))
    throw Error(ErrorKind::limit, "the file is too short for its size in pixels,", f.offset);
}

// Follows which bits of which coefficients the scans have brought.
class Progression {
 public:
  explicit Progression(const Frame& frame) : frame_(frame), known_(frame.components.size()) {
    for (auto& k : known_) std::fill(k.begin(), k.end(), kNothing);
  }

  // Throws where the scan's parameters are not allowed (T.81 B.2.3, G.1.1.1.1), and where a sequential file codes
  // something twice. A progressive file may; what comes of it is its own affair.
  void add(const Scan& scan, Warnings* warnings) {
    const size_t at = scan.begin - 3;
    if (frame_.process == kSOF2) {
      const bool band = scan.ss == 0 ? scan.se == 0 : scan.ss <= scan.se && scan.se < 64 && scan.count == 1;
      if (!band) throw Error(ErrorKind::damaged, "a progressive scan of an impossible band", at);
      if (scan.al > 13 || (scan.ah != 0 && scan.ah != scan.al + 1))
        throw Error(ErrorKind::damaged, "a progressive scan of impossible bits", at);
    } else if (frame_.process == kSOF3) {
      if (scan.ss < 1 || scan.ss > 7) throw Error(ErrorKind::damaged, "a lossless scan with an unknown predictor", at);
      if (scan.al >= frame_.precision)
        throw Error(ErrorKind::damaged, "a lossless scan that drops all bits of the samples", at);
    } else if (scan.ss != 0 || scan.se != 63 || scan.ah != 0 || scan.al != 0) {
      throw Error(ErrorKind::damaged, "a sequential scan that does not code whole blocks", at);
    }
    const int first = frame_.process == kSOF2 ? scan.ss : 0, last = frame_.process == kSOF2 ? scan.se : 0;
    for (int i = 0; i < scan.count; ++i) {
      auto& known = known_[size_t(scan.parts[i].component)];
      if (frame_.process != kSOF2 && known[0] != kNothing)
        throw Error(ErrorKind::damaged, "a second scan of a component", scan.begin);
      const bool odd = std::any_of(known.begin() + first, known.begin() + last + 1, [&](int8_t k) {
        return frame_.process == kSOF2 && (k == kNothing ? scan.ah != 0 : scan.ah != k);
      });
      if (odd) warnings->add("a progressive scan that does not follow on those before", at);
      std::fill(known.begin() + first, known.begin() + last + 1, int8_t(scan.al));
    }
  }

  // The first component without a scan (of its DC coefficients), or -1.
  int missing() const {
    for (size_t c = 0; c < known_.size(); ++c)
      if (known_[c][0] == kNothing) return int(c);
    return -1;
  }

 private:
  static constexpr int8_t kNothing = -1;
  const Frame& frame_;
  std::vector<std::array<int8_t, 64>> known_;  // the lowest bit that is there
};

// Walks the scans of a file. With keepGoing, whatever goes wrong after the first scan has been found ends the walk with
// a warning.
class Walk {
 public:
  Walk(const uint8_t* data, size_t size, const JpegDecodeOptions& options)
      : options_(options),
        warnings_(options.warnings),
        reader_(data, size, options.limits, options.keepGoing, &warnings_) {
    if (!reader_.nextScan(&first_)) throw Error(ErrorKind::damaged, "an image without scans", reader_.position());
    const Frame& f = reader_.frame();
    if (f.process > kSOF3)
      throw Error(ErrorKind::unsupported, processName(f.process) + " JPEG is not supported; the frame header is",
                  f.offset);
    requirePlausibleSize(reader_, options.keepGoing);
  }

  const Reader& reader() const { return reader_; }
  const Scan& first() const { return first_; }
  Warnings* warnings() { return &warnings_; }
  int threads() const { return threadCount(options_.threads); }

  // decoder(scan) makes the decoder of a scan.
  template <class MakeDecoder>
  void run(const MakeDecoder& decoder) {
    Progression progression(reader_.frame());
    try {
      Scan scan = first_;
      do {
        progression.add(scan, &warnings_);
        // How far the work is shows in the file's bytes.
        const double from = double(scan.begin) / double(reader_.size());
        const double to = options_.progress ? double(reader_.endOfScan(scan.begin)) / double(reader_.size()) : 1;
        Progress progress;
        if (options_.progress) progress = [&, from, to](double part) { options_.progress(from + (to - from) * part); };
        reader_.resumeAt(decoder(scan)->run(threads(), progress));
      } while (reader_.nextScan(&scan));
      if (progression.missing() >= 0)
        throw Error(ErrorKind::damaged,
                    "the image ends without a scan of component " + std::to_string(progression.missing()),
                    reader_.position());
    } catch (const Error& e) {
      if (!options_.keepGoing || e.kind() == ErrorKind::argument) throw;
      warnings_.add(e);
    }
    if (options_.progress) options_.progress(1);
  }

  // Decodes every scan into stored blocks.
  void runStored(JpegCoefficients* store) {
    const Frame& frame = reader_.frame();
    store->width = frame.width;
    store->height = frame.height;
    store->precision = frame.precision;
    store->jfif = reader_.jfif();
    store->adobeTransform = reader_.adobeTransform();
    for (const Component& c : frame.components) {
      store->components.emplace_back();
      store->components.back().id = c.id;
      store->components.back().h = c.h;
      store->components.back().v = c.v;
    }
    store->allocate();
    std::vector<bool> begun(frame.components.size());
    run([&](const Scan& scan) {
      // The quantisation table of a component is the one in force at its first scan.
      for (int i = 0; i < scan.count; ++i) {
        const size_t c = size_t(scan.parts[i].component);
        if (!begun[c]) std::memcpy(store->components[c].quant, quant(scan.parts[i].component), sizeof(uint16_t[64]));
        begun[c] = true;
      }
      return storedScan(reader_, scan, options_.keepGoing, &warnings_, store);
    });
  }

  const uint16_t* quant(int component) const {
    const QuantTable& t = reader_.quantTable(reader_.frame().components[size_t(component)].quantTable);
    if (!t.present)
      throw Error(ErrorKind::damaged, "a scan uses a quantisation table that is not there", reader_.position());
    return t.inverse;
  }

 private:
  const JpegDecodeOptions& options_;
  Warnings warnings_;
  Reader reader_;
  Scan first_;
};

// Delivers stored blocks MCU by MCU, as a scan of all components would.
void replay(const JpegCoefficients& store, const Frame& frame, const McuSink& sink, int threads) {
  Scan all;
  all.count = int(frame.components.size());
  for (int i = 0; i < all.count; ++i) all.parts[i].component = i;
  const int wide = all.mcusWide(frame), high = all.mcusHigh(frame);
#pragma omp parallel for num_threads(threads) schedule(dynamic)
  for (int y = 0; y < high; ++y) {
    const int16_t* blocks[kMaxBlocksPerFrameMcu];
    for (int x = 0; x < wide; ++x) {
      int b = 0;
      for (const JpegCoefficients::Component& c : store.components) {
        const int h = all.interleaved() ? c.h : 1, v = all.interleaved() ? c.v : 1;
        for (int k = 0; k < h * v; ++k, ++b) {
          const size_t at = size_t(y * v + k / h) * size_t(c.storedWide) + size_t(x * h + k % h);
          blocks[b] = &c.values[64 * at];
        }
      }
      sink.mcu(x, y, blocks);
    }
  }
}

// Adobe's applications store CMYK with 255 for no ink.
void turnUpright(Image* image) {
  uint8_t* p = image->data();
  if (image->bytesPerSample() == 1) {
    for (size_t i = 0; i < image->sizeBytes(); ++i) p[i] = uint8_t(~p[i]);
  } else {
    uint16_t* q = image->row16(0);
    for (size_t i = 0; i < image->sizeBytes() / 2; ++i) q[i] = uint16_t(image->maxValue() - q[i]);
  }
}

}  // namespace

Image decodeJpeg(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  const int denominator = options.scaleDenominator;
  if (denominator != 1 && denominator != 2 && denominator != 4 && denominator != 8)
    throw Error(ErrorKind::argument, "a scale other than 1, 1/2, 1/4 and 1/8");
  Walk walk(data, size, options);
  const Frame& frame = walk.reader().frame();
  Coding coding = codingOf(walk.reader());
  if (!options.convertColour)
    coding = modelOf(coding) == ColourModel::cmyk  ? Coding::cmyk
             : modelOf(coding) == ColourModel::rgb ? Coding::rgb
                                                   : coding;
  Image image(ceilDiv(frame.width, denominator), ceilDiv(frame.height, denominator), modelOf(coding), frame.precision);

  const bool lossless = frame.process == kSOF3;
  if (lossless && denominator != 1)
    throw Error(ErrorKind::unsupported, "lossless files are decoded at full size only; the frame header is",
                frame.offset);

  // Blocks go straight on to pixels where one scan brings them all, and no thread would be idle meanwhile.
  const int threads = walk.threads();
  const bool straight = !lossless && frame.process != kSOF2 && walk.first().count == int(frame.components.size()) &&
                        (threads == 1 || walk.reader().restartInterval() || options.keepGoing);
  JpegCoefficients store;
  QuantSteps quant = {};
  if (straight) {
    for (int i = 0; i < walk.first().count; ++i) quant.of[i] = walk.quant(i);
    std::memset(image.data(), 128, options.keepGoing ? image.sizeBytes() : 0);  // for what no scan brings
  } else if (!lossless) {
    walk.runStored(&store);
    for (size_t i = 0; i < store.components.size(); ++i) quant.of[i] = store.components[i].quant;
  }
  const auto deliver = [&](McuSink* sink) {
    if (straight)
      walk.run(
          [&](const Scan& s) { return sequentialScan(walk.reader(), s, options.keepGoing, walk.warnings(), sink); });
    else
      replay(store, frame, *sink, threads);
  };

  const bool direct = !lossless && frame.precision == 8 && denominator == 1;
  const McuToPixels pixels = direct ? mcuToPixels(frame, coding, options.smooth) : McuToPixels{};
  if (direct && coding == Coding::grey) {
    GreySink sink(quant, &image);
    deliver(&sink);
  } else if (pixels.convert) {
    DirectSink sink(frame, quant, pixels, &image);
    deliver(&sink);
  } else {
    const Planes planes(frame, coding, denominator, options.smooth, &image);
    if (lossless) {
      walk.run(
          [&](const Scan& s) { return losslessScan(walk.reader(), s, options.keepGoing, walk.warnings(), &planes); });
      planes.convertRest(0, threads);
    } else {
      PlaneSink sink(frame, quant, planes);
      deliver(&sink);
      sink.finish(threads);
    }
  }
  if (options.convertColour && image.model() == ColourModel::cmyk && walk.reader().adobeTransform() >= 0)
    turnUpright(&image);
  return image;
}

// ---- Coefficients ---------------------------------------------------------------------------------------------------

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
    c.values = ZeroedVector<int16_t>(64 * size_t(k.storedWide) * size_t(k.storedHigh));
  }
}

JpegCoefficients readJpegCoefficients(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  Walk walk(data, size, options);
  const Frame& frame = walk.reader().frame();
  if (frame.process == kSOF3)
    throw Error(ErrorKind::unsupported, "a lossless file has no coefficients; the frame header is", frame.offset);
  JpegCoefficients out;
  walk.runStored(&out);
  return out;
}

}  // namespace zelcodecs
