// Encoding: blocks from pixels or from stored coefficients, coded restart interval by restart interval.
#include <algorithm>
#include <cstring>

#include "common/error.h"
#include "jpeg/blocks.h"
#include "jpeg/lossless.h"
#include "jpeg/script.h"
#include "jpeg/writer.h"
#include "common/parallel.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

void requireCodable(int width, int height, int restartInterval) {
  if (width < 1 || height < 1 || width > 65535 || height > 65535)
    throw Error(ErrorKind::argument, "a JPEG picture has 1 to 65535 columns and lines");
  if (restartInterval < 0 || restartInterval > 65535)
    throw Error(ErrorKind::argument, "a restart interval is 0 to 65535 MCUs");
}

// The MCUs of a scan in pieces of whole restart intervals, for threads.
class Pieces {
 public:
  Pieces(int mcus, int interval) : mcus_(mcus), interval_(interval ? interval : mcus) {
    constexpr int kLeast = 256;  // MCUs, so that pieces are worth a thread's while
    step_ = interval_ * ceilDiv(std::min(kLeast, mcus), interval_);
  }
  int count() const { return (mcus_ - 1) / step_ + 1; }
  int begin(int piece) const { return piece * step_; }
  int end(int piece) const { return int(std::min<int64_t>(int64_t{piece + 1} * step_, mcus_)); }
  // The end of the restart interval that begins at an MCU, and the number of the marker before it.
  int intervalEnd(int mcu) const { return int(std::min<int64_t>(int64_t{mcu} + interval_, mcus_)); }
  int marker(int mcu) const { return (mcu / interval_ - 1) & 7; }

 private:
  const int mcus_, interval_;
  int step_;
};

// Codes every MCU of a scan: mcus(from, to, encoder) those of a restart interval. The pieces are joined in their order.
template <class Mcus>
void codeScan(const Scan& scan, ScanKind kind, const EncoderTables* tables, const Pieces& pieces, int threads,
              std::vector<uint8_t>* out, const Mcus& mcus) {
  std::vector<std::vector<uint8_t>> coded(size_t(pieces.count()));
  forEachPiece(pieces.count(), threads, [&](int i) {
    std::vector<uint8_t>* const to = pieces.count() == 1 ? out : &coded[size_t(i)];
    ScanEncoder encoder(scan, kind, tables, to);
    if (i) {  // the marker before a piece is the piece's own
      to->push_back(0xFF);
      to->push_back(uint8_t(kRST0 + pieces.marker(pieces.begin(i))));
    }
    for (int m = pieces.begin(i); m < pieces.end(i); m = pieces.intervalEnd(m)) {
      if (m != pieces.begin(i)) encoder.restart(pieces.marker(m));
      mcus(m, pieces.intervalEnd(m), &encoder);
    }
    encoder.finish();
  });
  for (const std::vector<uint8_t>& piece : coded) out->insert(out->end(), piece.begin(), piece.end());
}

const HuffmanTable& standardTable(int tableClass, int number) {
  if (tableClass == 0) return number ? kChrominanceDc : kLuminanceDc;
  return number ? kChrominanceAc : kLuminanceAc;
}

// The start of a file up to the frame header. Components whose steps are equal share a quantisation table.
void writeHeader(bool jfif, int adobeTransform, const uint16_t* const steps[], Frame frame, SegmentWriter* segments) {
  segments->marker(kSOI);
  if (jfif) segments->jfif();
  if (adobeTransform >= 0) segments->adobe(adobeTransform);
  int tables = 0;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    size_t same = 0;
    while (!std::equal(steps[i], steps[i] + 64, steps[same])) ++same;
    frame.components[i].quantTable = same < i ? frame.components[same].quantTable : tables++;
    if (same == i) segments->quantTable(frame.components[i].quantTable, steps[i]);
  }
  segments->frame(frame);
}

// The Huffman table of each component: 1 for what is chroma in files with these markers.
std::vector<int> huffmanTables(size_t components, int adobeTransform) {
  if (components < 3 || adobeTransform == 0) return std::vector<int>(components, 0);
  return components == 3 ? std::vector<int>{0, 1, 1} : std::vector<int>{0, 1, 1, 0};
}

void standardTables(int kinds, SegmentWriter* segments, EncoderTables* tables) {
  for (int t = 0; t < kinds; ++t) {
    segments->huffmanTable(0, t, standardTable(0, t));
    segments->huffmanTable(1, t, standardTable(1, t));
    initEncoderTable(standardTable(0, t), &tables[t].dc);
    initEncoderTable(standardTable(1, t), &tables[t].ac);
  }
}

// ---- From coefficients ----------------------------------------------------------------------------------------------

// The blocks of an MCU of a scan, where they are stored.
class StoredMcus {
 public:
  StoredMcus(const JpegCoefficients& in, const Frame& frame, const Scan& scan) : wide_(scan.mcusWide(frame)) {
    for (int i = 0; i < scan.count; ++i) {
      const JpegCoefficients::Component& c = in.components[size_t(scan.parts[i].component)];
      const int h = scan.interleaved() ? c.h : 1, v = scan.interleaved() ? c.v : 1;
      const size_t row = 64 * size_t(c.storedWide);
      for (int k = 0; k < h * v; ++k)
        places_[count_++] = {c.values.data() + size_t(k / h) * row + 64 * size_t(k % h), 64 * size_t(h),
                             size_t(v) * row, i};
    }
  }
  // Scans of one position read a line of each block only: the processor does not foresee that.
  static constexpr size_t kAhead = 6;
  // Calls onBlock(coefficients, part) for the blocks of the MCUs [from, to), and afterMcu() after each of these.
  template <class OnBlock, class AfterMcu>
  void walk(int from, int to, const OnBlock& onBlock, const AfterMcu& afterMcu) const {
    for (int y = from / wide_, x = from % wide_; from < to; ++y, x = 0) {
      const int16_t* at[kMaxBlocksPerMcu];
      for (int b = 0; b < count_; ++b)
        at[b] = places_[b].first + size_t(x) * places_[b].mcuStep + size_t(y) * places_[b].rowStep;
      for (; x < wide_ && from < to; ++x, ++from) {
        for (int b = 0; b < count_; ++b) {
          __builtin_prefetch(at[b] + kAhead * places_[b].mcuStep);
          onBlock(at[b], places_[b].part);
          at[b] += places_[b].mcuStep;
        }
        afterMcu();
      }
    }
  }

 private:
  struct Place {
    const int16_t* first;  // of the block in the first MCU
    size_t mcuStep, rowStep;
    int part;
  };
  Place places_[kMaxBlocksPerMcu];
  int count_ = 0;
  const int wide_;
};

// A scan with its header, and where they are fitted to it with its tables.
std::vector<uint8_t> codeStored(const JpegCoefficients& in, const Frame& frame, const Scan& scan, bool progressive,
                                int restartInterval, const EncoderTables* standard, int threads) {
  const ScanKind kind = kindOf(scan, progressive);
  const StoredMcus mcus(in, frame, scan);
  const Pieces pieces(scan.mcusWide(frame) * scan.mcusHigh(frame), restartInterval);
  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  EncoderTables fitted[2];
  if (!standard && kind != ScanKind::dcRefine) {
    SymbolCounter total(scan, kind);
    forEachPiece(pieces.count(), threads, [&](int i) {
      SymbolCounter counter(scan, kind);
      for (int m = pieces.begin(i); m < pieces.end(i); m = pieces.intervalEnd(m)) {
        mcus.walk(
            m, pieces.intervalEnd(m), [&](const int16_t* block, int part) { counter.block(block, part); }, [] {});
        counter.endInterval();
      }
#pragma omp critical(zelcodecs_counts)
      total.add(counter);
    });
    bool written[2] = {};
    for (int i = 0; i < scan.count; ++i) {
      const int t = scan.parts[i].dcTable;
      if (written[t]) continue;
      written[t] = true;
      if (kind == ScanKind::sequential || kind == ScanKind::dcFirst) {
        segments.huffmanTable(0, t, total.dcTable(t));
        initEncoderTable(total.dcTable(t), &fitted[t].dc);
      }
      if (kind != ScanKind::dcFirst) {
        segments.huffmanTable(1, t, total.acTable(t));
        initEncoderTable(total.acTable(t), &fitted[t].ac);
      }
    }
  }
  segments.scan(frame, scan);
  codeScan(
      scan, kind, standard ? standard : fitted, pieces, threads, &out, [&](int from, int to, ScanEncoder* encoder) {
        mcus.walk(
            from, to, [&](const int16_t* block, int part) { encoder->block(block, part); }, [&] { encoder->endMcu(); });
      });
  return out;
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
    if (in.components[i].values.size() != stored || in.components[i].storedWide != frame.components[i].storedWide)
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

std::vector<uint8_t> writeBlocks(const JpegCoefficients& in, const JpegWriteOptions& options) {
  const Frame frame = frameOf(in, options);
  const int components = int(in.components.size()), threads = threadCount(options.threads);
  const std::vector<int> tableOf = huffmanTables(in.components.size(), in.adobeTransform);
  const std::vector<JpegScan> script = !options.script.empty() ? options.script
                                       : options.progressive   ? defaultScanScript(components, components == 3)
                                                               : plainScript(in.components.size(), options.interleaved);
  const std::vector<Scan> scans = scansOf(script, frame, options.progressive, tableOf);

  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  const uint16_t* steps[kMaxComponents];
  for (int i = 0; i < components; ++i) steps[i] = in.components[size_t(i)].quant;
  writeHeader(in.jfif, in.adobeTransform, steps, frame, &segments);
  EncoderTables tables[2];
  const bool fitted = options.optimiseTables || options.progressive || in.precision > 8;
  if (!fitted) standardTables(1 + *std::max_element(tableOf.begin(), tableOf.end()), &segments, tables);
  if (options.restartInterval) segments.restartInterval(options.restartInterval);

  // Scans do not depend on each other.
  const int count = int(scans.size());
  std::vector<std::vector<uint8_t>> coded(scans.size());
  int done = 0;
  forEachPiece(count, threads, [&](int i) {
    const size_t n = size_t(i);
    coded[n] = codeStored(in, frame, scans[n], options.progressive, options.restartInterval, fitted ? nullptr : tables,
                          count == 1 ? threads : 1);
    if (options.progress) {
#pragma omp critical(zelcodecs_progress)
      options.progress(double(++done) / count);
    }
  });
  for (const std::vector<uint8_t>& s : coded) out.insert(out.end(), s.begin(), s.end());
  segments.marker(kEOI);
  return out;
}

}  // namespace

std::vector<uint8_t> writeJpegCoefficients(const JpegCoefficients& in, const JpegWriteOptions& options) {
  // Within this range the difference of two DC coefficients still has a category of at most 15.
  for (const JpegCoefficients::Component& c : in.components)
    for (int16_t v : c.values)
      if (v > 16383 || v < -16383) throw Error(ErrorKind::argument, "a coefficient outside -16383 to 16383");
  return writeBlocks(in, options);
}

// ---- From pixels ----------------------------------------------------------------------------------------------------

namespace {

// All blocks of the picture.
JpegCoefficients storeBlocks(const Frame& frame, const Layout& layout, const QuantTables* quant,
                             const BlockSource& source, int threads, const Progress& progress) {
  JpegCoefficients store;
  store.width = frame.width;
  store.height = frame.height;
  store.jfif = layout.adobeTransform < 0;
  store.adobeTransform = layout.adobeTransform;
  for (const Component& c : frame.components) {
    store.components.emplace_back();
    JpegCoefficients::Component& k = store.components.back();
    k.id = c.id;
    k.h = c.h;
    k.v = c.v;
    std::memcpy(k.quant, quant[c.quantTable].inverse, sizeof k.quant);
  }
  store.allocate();
  int done = 0;
  forEachPiece(frame.mcusHigh, threads, [&](int y) {
    alignas(32) Block blocks[kMaxBlocksPerMcu];
    for (int x = 0; x < frame.mcusWide; ++x) {
      source.mcu(x, y, blocks);
      int b = 0;
      for (JpegCoefficients::Component& c : store.components)
        for (int k = 0; k < c.h * c.v; ++k, ++b) {
          const size_t at = size_t(y * c.v + k / c.h) * size_t(c.storedWide) + size_t(x * c.h + k % c.h);
          std::memcpy(&c.values[64 * at], blocks[b], sizeof(Block));
        }
    }
    if (progress && y % 16 == 0) {
#pragma omp critical(zelcodecs_progress)
      progress(16.0 * done++ / frame.mcusHigh);
    }
  });
  return store;
}

}  // namespace

std::vector<uint8_t> encodeJpeg(const Image& image, const JpegEncodeOptions& options) {
  requireCodable(image.width(), image.height(), options.restartInterval);
  if (image.model() == ColourModel::rgba) throw Error(ErrorKind::unsupported, "JPEG holds no transparency");
  if (options.process == JpegProcess::lossless) return encodeLossless(image, options);
  if (image.bitDepth() != 8)
    throw Error(ErrorKind::unsupported, "pictures of other than 8 bits a sample can be encoded without loss only");
  Image inverted;  // as Adobe's applications store ink, which readers expect behind their marker
  if (image.model() == ColourModel::cmyk) {
    inverted = image.clone();
    for (size_t i = 0; i < inverted.sizeBytes(); ++i) inverted.data()[i] = uint8_t(~inverted.data()[i]);
  }
  const Image& pixels = inverted.empty() ? image : inverted;

  const Layout layout = layoutFor(image, options);
  const QuantTables quant[2] = {{kLuminanceQuant, options.quality}, {kChrominanceQuant, options.quality}};
  const int threads = threadCount(options.threads);
  Frame frame;
  frame.process = kSOF0;
  frame.width = image.width();
  frame.height = image.height();
  frame.components = layout.components;
  frame.layOut();
  const int64_t interval =
      options.restartInterval ? options.restartInterval : int64_t{options.restartRows} * frame.mcusWide;
  if (interval < 0 || interval > 65535) throw Error(ErrorKind::argument, "a restart interval is 0 to 65535 MCUs");
  const std::unique_ptr<BlockSource> source = blockSource(pixels, frame, quant, options, threads);

  // Blocks are coded as they are made where that takes one pass, and no thread would be idle meanwhile.
  const bool progressive = options.process == JpegProcess::progressive;
  if (progressive || options.optimiseTables || !options.script.empty() || (threads > 1 && !interval)) {
    JpegWriteOptions write;
    write.restartInterval = int(interval);
    write.progressive = progressive;
    write.script = options.script;
    write.optimiseTables = options.optimiseTables;
    write.threads = threads;
    Progress first;
    if (options.progress) {
      first = [&](double part) { options.progress(part / 2); };
      write.progress = [&](double part) { options.progress((1 + part) / 2); };
    }
    return writeBlocks(storeBlocks(frame, layout, quant, *source, threads, first), write);
  }

  const int count = int(frame.components.size());
  const std::vector<int> tableOf = huffmanTables(frame.components.size(), layout.adobeTransform);
  std::vector<uint8_t> out;
  out.reserve(image.sizeBytes() / 8 + 4096);
  SegmentWriter segments(&out);
  const uint16_t* steps[kMaxComponents];
  for (int i = 0; i < count; ++i) steps[i] = quant[frame.components[size_t(i)].quantTable].inverse;
  writeHeader(layout.adobeTransform < 0, layout.adobeTransform, steps, frame, &segments);
  EncoderTables tables[2];
  standardTables(1 + *std::max_element(tableOf.begin(), tableOf.end()), &segments, tables);
  if (interval) segments.restartInterval(int(interval));
  Scan scan;
  scan.count = count;
  int partOf[kMaxBlocksPerMcu], blocksInMcu = 0;
  for (int i = 0; i < count; ++i) {
    const int table = tableOf[size_t(i)];
    scan.parts[i] = {i, table, table};
    const Component& c = frame.components[size_t(i)];
    for (int b = 0; b < c.h * c.v; ++b) partOf[blocksInMcu++] = i;
  }
  segments.scan(frame, scan);
  const Pieces pieces(frame.mcusWide * frame.mcusHigh, int(interval));
  const int wide = frame.mcusWide;
  codeScan(scan, ScanKind::sequential, tables, pieces, threads, &out, [&](int from, int to, ScanEncoder* encoder) {
    alignas(32) Block blocks[kMaxBlocksPerMcu];
    for (int y = from / wide, x = from % wide; from < to; ++y, x = 0) {
      if (options.progress && threads == 1 && y % 16 == 0) options.progress(double(y) / frame.mcusHigh);
      for (; x < wide && from < to; ++x, ++from) {
        source->mcu(x, y, blocks);
        for (int b = 0; b < blocksInMcu; ++b) encoder->block(blocks[b], partOf[b]);
        encoder->endMcu();
      }
    }
  });
  segments.marker(kEOI);
  if (options.progress) options.progress(1);
  return out;
}

}  // namespace zelcodecs
