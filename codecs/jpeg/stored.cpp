// Scans from stored blocks, each in pieces of its own.
#include "jpeg/stored.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "common/error.h"
#include "jpeg/coefficients.h"
#include "jpeg/script.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

// Calls onBlock(coefficients, part) for the blocks of the MCUs [from, to) of a scan, and afterMcu() after each of
// these.
template <class OnBlock, class AfterMcu>
void forEachBlock(McuWalk<const int16_t> walk, int wide, int from, int to, const OnBlock& onBlock,
                  const AfterMcu& afterMcu) {
  for (int x = from % wide; from < to; x = 0)
    for (walk.moveTo(x, from / wide); x < wide && from < to; ++x, ++from, walk.next()) {
      for (int b = 0; b < walk.count(); ++b) onBlock(walk.blocks()[b], walk.part(b));
      afterMcu();
    }
}

// One scan of stored blocks.
class StoredScanWriter {
 public:
  StoredScanWriter(const JpegCoefficients& in, const Frame& frame, const Scan& scan, ScanKind kind, int interval)
      : frame_(frame),
        scan_(scan),
        kind_(kind),
        walk_(blocksOf(in), frame, scan),
        wide_(scan.mcusWide(frame)),
        pieces_(0, wide_ * scan.mcusHigh(frame), interval) {}

  // Tables made to measure, which stand before the scan.
  void fitTables(Team* team, SegmentWriter* segments);
  void code(const EncoderTables* standard, Team* team, Sink* sink);

 private:
  void count(int piece, SymbolCounter* counter) const;
  void codePiece(int piece, const EncoderTables* tables, Sink* sink) const;

  const Frame& frame_;
  const Scan& scan_;
  const ScanKind kind_;
  const McuWalk<const int16_t> walk_;
  const int wide_;
  const Pieces pieces_;
  EncoderTables fitted_[2];
};

void StoredScanWriter::count(int piece, SymbolCounter* counter) const {
  for (int m = pieces_.begin(piece); m < pieces_.end(piece); m = pieces_.intervalEnd(m)) {
    forEachBlock(
        walk_, wide_, m, pieces_.intervalEnd(m), [&](const int16_t* block, int part) { counter->block(block, part); },
        [] {});
    counter->endInterval();
  }
}

void StoredScanWriter::fitTables(Team* team, SegmentWriter* segments) {
  if (kind_ == ScanKind::dcRefine) return;  // codes bits as they are
  SymbolCounter total(scan_, kind_);
  std::mutex mutex;
  team->forEach(pieces_.count(), [&](int i) {
    SymbolCounter counter(scan_, kind_);
    count(i, &counter);
    const std::lock_guard<std::mutex> lock(mutex);
    total.add(counter);
  });
  bool written[2] = {};
  for (int i = 0; i < scan_.count; ++i) {
    const int t = scan_.parts[i].dcTable;
    if (written[t]) continue;
    written[t] = true;
    if (kind_ == ScanKind::sequential || kind_ == ScanKind::dcFirst) {
      segments->huffmanTable(0, t, total.dcTable(t));
      initEncoderTable(total.dcTable(t), &fitted_[t].dc);
    }
    if (kind_ != ScanKind::dcFirst) {
      segments->huffmanTable(1, t, total.acTable(t));
      initEncoderTable(total.acTable(t), &fitted_[t].ac);
    }
  }
}

void StoredScanWriter::codePiece(int piece, const EncoderTables* tables, Sink* sink) const {
  ScanEncoder encoder(scan_, kind_, tables, sink);
  for (int m = pieces_.begin(piece); m < pieces_.end(piece); m = pieces_.intervalEnd(m)) {
    if (m > 0) encoder.restart(pieces_.marker(m));
    forEachBlock(
        walk_, wide_, m, pieces_.intervalEnd(m), [&](const int16_t* block, int part) { encoder.block(block, part); },
        [&] { encoder.endMcu(); });
  }
  encoder.finish();
}

// The scan with its header, and its tables where it has its own. The pieces are joined in their order.
void StoredScanWriter::code(const EncoderTables* standard, Team* team, Sink* sink) {
  std::vector<uint8_t> head;
  SegmentWriter segments(&head);
  if (!standard) fitTables(team, &segments);
  segments.scan(frame_, scan_);
  sink->write(head);
  const EncoderTables* const tables = standard ? standard : fitted_;
  if (pieces_.count() == 1 || team->threads() == 1) {
    for (int i = 0; i < pieces_.count(); ++i) codePiece(i, tables, sink);
    return;
  }
  std::vector<std::vector<uint8_t>> coded(size_t(pieces_.count()));
  team->forEach(pieces_.count(), [&](int i) { codePiece(i, tables, memorySink(&coded[size_t(i)]).get()); });
  for (const std::vector<uint8_t>& piece : coded) sink->write(piece);
}

// What a file of coefficients is written by, checked.
Frame frameOf(const JpegCoefficients& in, const JpegWriteOptions& options) {
  requireCodable(in.width, in.height, options.restartInterval);
  if (in.components.empty() || in.components.size() > kMaxComponents || (in.precision != 8 && in.precision != 12))
    throw Error(ErrorKind::argument, "a JPEG file has 1 to 4 components of 8 or 12 bits");
  Frame frame;
  frame.width = in.width;
  frame.height = in.height;
  frame.precision = in.precision;
  bool wideTables = false;
  for (size_t i = 0; i < in.components.size(); ++i) {
    const JpegCoefficients::Component& c = in.components[i];
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4 || c.id < 0 || c.id > 255)
      throw Error(ErrorKind::argument, "a component has a number from 0 to 255 and sampling factors from 1 to 4");
    for (const Component& other : frame.components)
      if (other.id == c.id) throw Error(ErrorKind::argument, "two components with the same number");
    Component k;
    k.id = c.id;
    k.h = c.h;
    k.v = c.v;
    frame.components.push_back(k);
    for (uint16_t q : c.quant) wideTables |= q > 255;
  }
  frame.process = options.progressive ? kSOF2 : in.precision == 8 && !wideTables ? kSOF0 : kSOF1;
  frame.layOut();
  for (size_t i = 0; i < in.components.size(); ++i) {
    const size_t stored = 64 * size_t(frame.components[i].storedWide) * size_t(frame.components[i].storedHigh);
    if (in.components[i].values.size() != stored || in.components[i].storedWide != frame.components[i].storedWide ||
        in.components[i].storedHigh != frame.components[i].storedHigh)
      throw Error(ErrorKind::argument, "the stored blocks do not fit the size of the picture");
  }
  return frame;
}

std::vector<JpegScan> plainScript(size_t components, bool interleaved) {
  std::vector<JpegScan> script;
  for (size_t i = 0; i < components; ++i) {
    if (i == 0 || !interleaved) script.emplace_back();
    script.back().components.push_back(int(i));
  }
  return script;
}

// What makes the scans of a file, all but their data.
std::vector<Scan> scansFor(const JpegCoefficients& in, const Frame& frame, const JpegWriteOptions& options,
                           const std::vector<int>& tableOf) {
  const int components = int(in.components.size());
  const std::vector<JpegScan> script = !options.script.empty() ? options.script
                                       : options.progressive   ? defaultScanScript(components, components == 3)
                                                               : plainScript(in.components.size(), options.interleaved);
  return scansOf(script, frame, options.progressive, tableOf);
}

// The scans in an order in which threads that code them side by side end nearly together: by the number of coefficients
// in them. Refinements look at those of the scans before again, and come before scans of the same number.
std::vector<size_t> longestFirst(const std::vector<Scan>& scans, const Frame& frame) {
  std::vector<int64_t> work;
  std::vector<size_t> order;
  for (const Scan& s : scans) {
    int64_t blocks = 0;
    for (int i = 0; i < s.count; ++i) {
      const Component& c = frame.components[size_t(s.parts[i].component)];
      blocks += int64_t{c.blocksWide} * c.blocksHigh;
    }
    work.push_back(2 * blocks * (s.se - s.ss + 1) + (s.ah != 0));
    order.push_back(order.size());
  }
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return work[a] > work[b]; });
  return order;
}

}  // namespace

namespace jpeg {

void requireCodable(int width, int height, int64_t restartInterval) {
  if (width < 1 || height < 1 || width > 65535 || height > 65535)
    throw Error(ErrorKind::argument, "a JPEG picture has 1 to 65535 columns and lines");
  if (restartInterval < 0 || restartInterval > 65535)
    throw Error(ErrorKind::argument, "a restart interval is 0 to 65535 MCUs");
}

void writeStored(const JpegCoefficients& in, const JpegWriteOptions& options, const Metadata& metadata, Team* team,
                 const Progress& progress, Sink* sink) {
  const Frame frame = frameOf(in, options);
  const std::vector<int> tableOf = huffmanTables(in.components.size(), in.adobeTransform);
  const std::vector<Scan> scans = scansFor(in, frame, options, tableOf);

  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  Warnings warnings(options.warnings);
  FileHead head = {in.adobeTransform, in.jfif, metadata, {}};
  for (size_t i = 0; i < in.components.size(); ++i) head.steps[i] = in.components[i].quant;
  writeHead(head, frame, &out, &warnings);
  EncoderTables tables[2];
  const bool fitted = options.optimiseTables || options.progressive || in.precision > 8;
  if (!fitted) standardTables(1 + *std::max_element(tableOf.begin(), tableOf.end()), &segments, tables);
  if (options.restartInterval) segments.restartInterval(options.restartInterval);
  sink->write(out);

  const auto write = [&](const Scan& scan, Sink* to) {
    StoredScanWriter(in, frame, scan, kindOf(scan, options.progressive), options.restartInterval)
        .code(fitted ? nullptr : tables, team, to);
  };
  if (scans.size() == 1 || team->threads() == 1) {
    for (size_t i = 0; i < scans.size(); ++i) {
      write(scans[i], sink);
      if (progress) progress(double(i + 1) / double(scans.size()));
    }
  } else {
    std::vector<std::vector<uint8_t>> coded(scans.size());
    const std::vector<size_t> order = longestFirst(scans, frame);
    std::atomic<int> done{0};
    const auto caller = std::this_thread::get_id();
    team->forEach(int(scans.size()), [&](int i) {
      const size_t scan = order[size_t(i)];
      write(scans[scan], memorySink(&coded[scan]).get());
      const int n = ++done;
      if (progress && std::this_thread::get_id() == caller) progress(double(n) / double(scans.size()));
    });
    for (const std::vector<uint8_t>& scan : coded) sink->write(scan);
  }
  out.clear();
  segments.marker(kEOI);
  sink->write(out);
}

}  // namespace jpeg

std::vector<uint8_t> writeJpegCoefficients(const JpegCoefficients& in, const JpegWriteOptions& options) {
  // Within this range the difference of two DC coefficients still has a category of at most 15.
  for (const JpegCoefficients::Component& c : in.components)
    for (int16_t v : c.values)
      if (v > 16383 || v < -16383) throw Error(ErrorKind::argument, "a coefficient outside -16383 to 16383");
  Team team(options.threads);
  std::vector<uint8_t> out;
  writeStored(in, options, {}, &team, options.progress, memorySink(&out).get());
  if (options.progress) options.progress(1);
  return out;
}

}  // namespace zelcodecs
