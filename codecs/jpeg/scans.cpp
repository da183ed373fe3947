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

void storeScans(Scans* scans, const JpegDecodeOptions& options, Team* team, const Progress& progress,
                JpegCoefficients* store) {
  requireMemory(storedBytes(scans->frame()), options.limits);
  *store = storeFor(scans->frame());
  store->jfif = scans->reader().jfif();
  store->adobeTransform = scans->reader().adobeTransform();
  const Blocks blocks = blocksOf(store);
  bool begun[kMaxComponents] = {};
  const auto scan = [&] {
    scans->admit();
    // The quantisation table of a component is the one in force at its first scan.
    for (int i = 0; i < scans->current().count; ++i) {
      const int c = scans->current().parts[i].component;
      if (!begun[c]) std::memcpy(store->components[size_t(c)].quant, scans->quant(c), sizeof(uint16_t[64]));
      begun[c] = true;
    }
    const auto decoder = storedScan(scans->reader(), scans->current(), options.keepGoing, scans->warnings(), blocks);
    const int step = decoder->hasIntervals() ? decoder->rows() : 16;
    for (int row = step; row < decoder->rows() + step; row += step) {
      while (const int pieces = decoder->plan(row, team->threads())) {
        team->forEach(pieces, [&](int i) { decoder->work(i); });
        decoder->join();
      }
      // How far the work is shows in the file's bytes.
      if (progress) progress(double(decoder->offset()) / double(scans->reader().size()));
    }
    return scans->next(decoder->end());
  };
  scans->guard([&] {
    while (scan()) {
    }
  });
}

void requireMemory(uint64_t bytes, const Limits& limits) {
  if (bytes > limits.maxMemory)
    throw Error(ErrorKind::limit, "decoding would hold " + std::to_string(bytes) + " bytes, above the limit of " +
                                      std::to_string(limits.maxMemory));
}

}  // namespace zelcodecs::jpeg
