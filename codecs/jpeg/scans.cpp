// Which scans a file may have, and those that are stored.
#include "jpeg/scans.h"

#include <algorithm>
#include <cstring>

namespace zelcodecs::jpeg {
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

}  // namespace

Scans::Scans(ByteView file, const JpegDecodeOptions& options)
    : keepGoing_(options.keepGoing),
      warnings_(options.warnings),
      reader_(file.data, file.size, options.limits, options.keepGoing, &warnings_) {
  if (!reader_.nextScan(&scan_)) throw Error(ErrorKind::damaged, "an image without scans", reader_.position());
  if (frame().process > kSOF3)
    throw Error(ErrorKind::unsupported, processName(frame().process) + " JPEG is not supported; the frame header is",
                frame().offset);
  requirePlausibleSize(reader_, options.keepGoing);
  for (auto& k : known_) k.fill(kNothing);
}

void Scans::checkParameters() const {
  const size_t at = scan_.begin - 3;
  if (frame().process == kSOF2) {
    const bool band = scan_.ss == 0 ? scan_.se == 0 : scan_.ss <= scan_.se && scan_.se < 64 && scan_.count == 1;
    if (!band) throw Error(ErrorKind::damaged, "a progressive scan of an impossible band", at);
    if (scan_.al > 13 || (scan_.ah != 0 && scan_.ah != scan_.al + 1))
      throw Error(ErrorKind::damaged, "a progressive scan of impossible bits", at);
  } else if (frame().process == kSOF3) {
    if (scan_.ss < 1 || scan_.ss > 7) throw Error(ErrorKind::damaged, "a lossless scan with an unknown predictor", at);
    if (scan_.al >= frame().precision)
      throw Error(ErrorKind::damaged, "a lossless scan that drops all bits of the samples", at);
  }
}

void Scans::admit() {
  checkParameters();
  const bool progressive = frame().process == kSOF2;
  // Some encoders leave these bytes zero, others put in what they like; the data are whole blocks all the same.
  const bool whole = scan_.ss == 0 && scan_.se == 63 && scan_.ah == 0 && scan_.al == 0;
  if (!progressive && frame().process != kSOF3 && !whole)
    warnings_.add("a sequential scan that claims to code a part of the blocks", scan_.begin - 3);
  const int first = progressive ? scan_.ss : 0, last = progressive ? scan_.se : 0;
  for (int i = 0; i < scan_.count; ++i) {
    auto& known = known_[scan_.parts[i].component];
    if (!progressive && known[0] != kNothing)
      throw Error(ErrorKind::damaged, "a second scan of a component", scan_.begin);
    const bool odd = progressive && std::any_of(known.begin() + first, known.begin() + last + 1, [&](int8_t k) {
                       return k == kNothing ? scan_.ah != 0 : scan_.ah != k;
                     });
    if (odd) warnings_.add("a progressive scan that does not follow on those before", scan_.begin - 3);
    std::fill(known.begin() + first, known.begin() + last + 1, int8_t(progressive ? scan_.al : 0));
  }
}

bool Scans::next(size_t end) {
  reader_.resumeAt(end);
  if (reader_.nextScan(&scan_)) return true;
  for (size_t c = 0; c < frame().components.size(); ++c)
    if (known_[c][0] == kNothing)
      throw Error(ErrorKind::damaged, "the image ends without a scan of component " + std::to_string(c),
                  reader_.position());
  return false;
}

const uint16_t* Scans::quant(int component) const {
  const QuantTable& t = reader_.quantTable(frame().components[size_t(component)].quantTable);
  if (!t.present)
    throw Error(ErrorKind::damaged, "a scan uses a quantisation table that is not there", reader_.position());
  return t.inverse;
}

void requireMemory(uint64_t bytes, const Limits& limits) {
  if (bytes > limits.maxMemory)
    throw Error(ErrorKind::limit, "decoding would hold " + std::to_string(bytes) + " bytes, above the limit of " +
                                      std::to_string(limits.maxMemory));
}

// ---- Stored scans ---------------------------------------------------------------------------------------------------

namespace {

// Begins scan after scan of a file whose blocks are stored.
class Storing {
 public:
  Storing(const Reader& reader, JpegCoefficients* store) : store_(store) {
    *store = {};  // what it may hold goes first
    *store = storeFor(reader.frame());
    store->jfif = reader.jfif();
    store->adobeTransform = reader.adobeTransform();
    blocks_ = blocksOf(store);
  }
  // The current scan. The quantisation table of a component is the one in force at its first scan.
  std::unique_ptr<ScanDecoder> begin(Scans* scans, bool keepGoing) {
    scans->admit();
    for (int i = 0; i < scans->current().count; ++i) {
      const int c = scans->current().parts[i].component;
      if (!begun_[c]) std::memcpy(store_->components[size_t(c)].quant, scans->quant(c), sizeof(uint16_t[64]));
      begun_[c] = true;
    }
    return storedScan(scans->reader(), scans->current(), keepGoing, scans->warnings(), blocks_);
  }

 private:
  JpegCoefficients* const store_;
  Blocks blocks_;
  bool begun_[kMaxComponents] = {};
};

void storeInOrder(Scans* scans, const JpegDecodeOptions& options, Team* team, const Progress& progress,
                  JpegCoefficients* store) {
  Storing storing(scans->reader(), store);
  scans->guard([&] {
    size_t end;
    do {
      const auto decoder = storing.begin(scans, options.keepGoing);
      const int step = decoder->hasIntervals() ? decoder->rows() : 16;
      for (int row = step; row < decoder->rows() + step; row += step) {
        while (const int pieces = decoder->plan(row, team->threads())) {
          team->forEach(pieces, [&](int i) { decoder->work(i); });
          decoder->join();
        }
        // How far the work is shows in the file's bytes.
        if (progress) progress(double(decoder->offset()) / double(scans->reader().size()));
      }
      end = decoder->end();
    } while (scans->next(end));
  });
}

// All scans of a file at once, band by band: a scan decodes a band when those before it that share a component with it
// have done so. That takes a file without damage, whose scans begin where markers say; for any other one only decoding
// in order tells what is wrong, and what of it is the picture.
class SideBySide {
 public:
  SideBySide(const Reader& reader, const JpegDecodeOptions& options, JpegCoefficients* store)
      : scans_({reader.data(), reader.size()}, quiet(options)), known_(odd_.size()), storing_(scans_.reader(), store) {}

  // Decodes all. False where that cannot be done.
  bool store(Team* team, const Progress& progress);
  // What is odd about the scans.
  void tell(Warnings* warnings) const {
    for (size_t i = known_; i < odd_.size(); ++i) warnings->add(odd_[i]);
  }

 private:
  struct OneScan {
    std::unique_ptr<ScanDecoder> decoder;
    size_t begin, end;
    int lag;        // in bands, behind the first scan
    int rowsOfMcu;  // rows of its MCUs in one of the frame's
  };

  JpegDecodeOptions quiet(JpegDecodeOptions options) {
    options.warnings = &odd_;
    return options;
  }
  bool find();
  void decodeBand(OneScan* scan, int band) const;

  // Coefficients in a band: those of all bands that are worked on at a time stay in the cache.
  static constexpr uint64_t kBandBytes = 256 << 10;

  std::vector<std::string> odd_;
  Scans scans_;
  const size_t known_;  // warnings that the file's header has led to
  Storing storing_;
  std::vector<OneScan> all_;
  int bandRows_ = 1;  // of the frame's MCUs
};

// False where not all scans are there, one has restart markers, whose intervals are better decoded side by side, or
// there is but one.
bool SideBySide::find() {
  const Frame& frame = scans_.frame();
  int lags[kMaxComponents] = {};
  try {
    size_t end;
    do {
      const Scan& scan = scans_.current();
      if (scans_.reader().restartInterval()) return false;
      end = scans_.reader().endOfScan(scan.begin);
      OneScan one = {storing_.begin(&scans_, false), scan.begin, end, 0, 1};
      if (!scan.interleaved()) one.rowsOfMcu = frame.components[size_t(scan.parts[0].component)].v;
      for (int i = 0; i < scan.count; ++i) one.lag = std::max(one.lag, lags[scan.parts[i].component]);
      for (int i = 0; i < scan.count; ++i) lags[scan.parts[i].component] = one.lag + 1;
      all_.push_back(std::move(one));
    } while (scans_.next(end));
  } catch (const Error&) {
    return false;
  }
  return all_.size() > 1;
}

void SideBySide::decodeBand(OneScan* scan, int band) const {
  const int end = std::min((band + 1) * bandRows_, scans_.frame().mcusHigh);
  if (scan->decoder->plan(end * scan->rowsOfMcu, 1)) scan->decoder->work(0);
}

bool SideBySide::store(Team* team, const Progress& progress) {
  if (!find()) return false;
  const Frame& frame = scans_.frame();
  bandRows_ = std::max(1, int(kBandBytes * uint64_t(frame.mcusHigh) / storedBytes(frame)));
  const int bands = ceilDiv(frame.mcusHigh, bandRows_);
  // The longest ones first, so that threads end together.
  std::sort(all_.begin(), all_.end(),
            [](const OneScan& a, const OneScan& b) { return a.end - a.begin > b.end - b.begin; });
  int steps = 0;
  for (const OneScan& s : all_) steps = std::max(steps, bands + s.lag);
  std::vector<OneScan*> now;
  for (int step = 0; step < steps; ++step) {
    now.clear();
    for (OneScan& s : all_)
      if (step >= s.lag && step < bands + s.lag) now.push_back(&s);
    try {
      team->forEach(int(now.size()), [&](int i) { decodeBand(now[size_t(i)], step - now[size_t(i)]->lag); });
    } catch (const Error&) {
      return false;
    }
    if (progress) progress(double(step + 1) / steps);
  }
  const size_t odd = odd_.size();
  const bool whole = std::all_of(all_.begin(), all_.end(), [](OneScan& s) { return s.decoder->end() == s.end; });
  return whole && odd_.size() == odd;
}

}  // namespace

void storeScans(Scans* scans, const JpegDecodeOptions& options, Team* team, const Progress& progress,
                JpegCoefficients* store) {
  requireMemory(storedBytes(scans->frame()), options.limits);
  if (team->threads() > 1) {
    SideBySide sideBySide(scans->reader(), options, store);
    if (sideBySide.store(team, progress)) return sideBySide.tell(scans->warnings());
  }
  storeInOrder(scans, options, team, progress, store);
}

}  // namespace zelcodecs::jpeg
