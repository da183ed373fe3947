#include "jpeg/lossless.h"

#include <algorithm>
#include <cstring>

#include "jpeg/writer.h"
#include "common/parallel.h"

namespace zelcodecs::jpeg {
namespace {

using Row = std::vector<int16_t>;

// The primitives read samples as signed in the halved terms of predictors 5 to 7. Where samples have all 16 bits, those
// terms are formed here, in the standard's arithmetic.
bool needsWideTerms(int predictor, int bits) { return predictor >= zeliPredictorRaHalfRbRc && bits == 16; }

int widePrediction(int predictor, int a, int b, int c) {
  if (predictor == zeliPredictorRaHalfRbRc) return a + ((b - c) >> 1);
  if (predictor == zeliPredictorRbHalfRaRc) return b + ((a - c) >> 1);
  return (a + b) >> 1;
}

void differences(const int16_t* row, const int16_t* above, int16_t* to, int width, int predictor, int bits) {
  if (!needsWideTerms(predictor, bits)) {
    zeliDiffPredRow_JPEG_16s_C1(row, above, to, width, predictor);
    return;
  }
  const auto *x = reinterpret_cast<const uint16_t*>(row), *up = reinterpret_cast<const uint16_t*>(above);
  to[0] = int16_t(x[0] - up[0]);
  for (int i = 1; i < width; ++i) to[i] = int16_t(x[i] - widePrediction(predictor, x[i - 1], up[i], up[i - 1]));
}

void reconstruct(const int16_t* diff, const int16_t* above, int16_t* to, int width, int predictor, int bits) {
  if (!needsWideTerms(predictor, bits)) {
    zeliReconstructPredRow_JPEG_16s_C1(diff, above, to, width, predictor);
    return;
  }
  auto* x = reinterpret_cast<uint16_t*>(to);
  const auto* up = reinterpret_cast<const uint16_t*>(above);
  x[0] = uint16_t(diff[0] + up[0]);
  for (int i = 1; i < width; ++i) x[i] = uint16_t(diff[i] + widePrediction(predictor, x[i - 1], up[i], up[i - 1]));
}

// ---- Decoding -------------------------------------------------------------------------------------------------------

// A unit is a row of MCUs. A component's part of it is v rows of samples.
class LosslessScan : public ScanDecoder {
 public:
  LosslessScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings, const Planes* planes)
      : ScanDecoder(reader, scan, keepGoing, warnings, scan.mcusHigh(reader.frame()), 1, scan.mcusWide(reader.frame())),
        count_(scan.count),
        mcusWide_(scan.mcusWide(reader.frame())),
        predictor_(scan.ss),
        precision_(reader.frame().precision),
        shift_(scan.al) {
    for (int i = 0; i < count_; ++i) {
      const Scan::Part& part = scan.parts[i];
      const Component& c = reader.frame().components[size_t(part.component)];
      Target& t = targets_[i];
      table_[i] = reader.dcTable(part.dcTable);
      if (!table_[i]) throw Error(ErrorKind::damaged, "a scan uses a Huffman table that is not there", scan.begin);
      t.plane = &planes->plane(part.component);
      t.h = scan.interleaved() ? c.h : 1;
      t.v = scan.interleaved() ? c.v : 1;
      t.width = mcusWide_ * t.h;
      t.diff.resize(size_t(t.width) * size_t(t.v));
      t.above.resize(size_t(t.width));
      t.row.resize(size_t(t.width));
      subsampled_ |= t.h * t.v > 1;
    }
  }

 private:
  struct Target {
    const Plane* plane;
    int h, v, width;
    Row diff, above, row;  // diff has v rows
  };

  std::unique_ptr<ScanDecoder> clone() const override { return std::make_unique<LosslessScan>(*this); }
  void resetPredictors() override { fresh_ = true; }
  void rowDone(int) override {}

  ZelStatus decodeUnits(int* unit, int end) override {
    for (; *unit < end; ++*unit) {
      const ZelStatus status = subsampled_ ? decodeMcus() : decodeRows();
      if (status != zelStsNoErr) return status;
      reconstructRows(*unit);
    }
    return zelStsNoErr;
  }

  void reconstructRows(int unit) {
    for (int i = 0; i < count_; ++i) {
      Target& t = targets_[i];
      for (int r = 0; r < t.v; ++r) {
        const int16_t* diff = &t.diff[size_t(r) * size_t(t.width)];
        if (fresh_ && r == 0)
          zeliReconstructPredFirstRow_JPEG_16s_C1(diff, t.row.data(), t.width, precision_, shift_);
        else
          reconstruct(diff, t.above.data(), t.row.data(), t.width, predictor_, precision_ - shift_);
        store(t, unit * t.v + r);
        t.above.swap(t.row);
      }
    }
    fresh_ = false;
  }

  void loseUnit(int unit) override {
    for (int i = 0; i < count_; ++i) {
      Target& t = targets_[i];
      std::fill(t.row.begin(), t.row.end(), int16_t(1 << (precision_ - shift_ - 1)));
      for (int r = 0; r < t.v; ++r) store(t, unit * t.v + r);
    }
  }

  ZelStatus decodeRows() {
    int16_t* rows[kMaxComponents];
    for (int i = 0; i < count_; ++i) rows[i] = targets_[i].diff.data();
    return zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(source_.data, source_.length, &source_.position, rows, mcusWide_,
                                                count_, &source_.marker, table_, &source_.state);
  }

  ZelStatus decodeMcus() {
    for (int x = 0; x < mcusWide_; ++x)
      for (int i = 0; i < count_; ++i) {
        Target& t = targets_[i];
        for (int k = 0; k < t.h * t.v; ++k) {
          int16_t* const to = &t.diff[size_t(k / t.h) * size_t(t.width) + size_t(x) * size_t(t.h) + size_t(k % t.h)];
          const ZelStatus status = zeliDecodeHuffmanOne_JPEG_1u16s_C1(source_.data, source_.length, &source_.position,
                                                                      to, &source_.marker, table_[i], &source_.state);
          if (status != zelStsNoErr) return status;
        }
      }
    return zelStsNoErr;
  }

  void store(const Target& t, int y) const {
    if (y >= t.plane->height) return;
    if (t.plane->bytesPerSample == 1)
      store(t, t.plane->row(y));
    else
      store(t, reinterpret_cast<uint16_t*>(t.plane->row(y)));
  }
  // Values beyond the precision come from damaged data only.
  template <class Sample>
  void store(const Target& t, Sample* to) const {
    const int width = std::min(t.width, t.plane->width), mask = (1 << precision_) - 1;
    const auto* from = reinterpret_cast<const uint16_t*>(t.row.data());
    for (int x = 0; x < width; ++x) to[x] = static_cast<Sample>((from[x] << shift_) & mask);
  }

  const int count_, mcusWide_, predictor_, precision_, shift_;
  bool subsampled_ = false;
  bool fresh_ = true;  // the next row is the first of its interval
  Target targets_[kMaxComponents];
  const ZeliDecodeHuffmanSpec* table_[kMaxComponents];
};

// ---- Encoding -------------------------------------------------------------------------------------------------------

// A table for every category where none is made to measure: short codes for the small differences of most pictures, the
// longest (of 16 ones less the last) for those that hardly occur.
const HuffmanTable kGeneralTable = {{0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0},
                                    {2, 0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

// Rows of samples to rows of differences, one for each channel.
class Differences {
 public:
  Differences(const Image& image, int predictor, int shift)
      : image_(image), channels_(image.channels()), width_(image.width()), predictor_(predictor), shift_(shift) {
    const size_t n = size_t(width_);
    for (int c = 0; c < channels_; ++c) above_[c].resize(n), row_[c].resize(n), diff_[c].resize(n);
  }

  // Row y, which is the first of its interval or follows the one of the last call. The result is overwritten by the
  // next call.
  const int16_t* const* of(int y, bool first) {
    if (image_.bytesPerSample() == 1)
      split(image_.row(y));
    else
      split(image_.row16(y));
    const int bits = image_.bitDepth();
    for (int c = 0; c < channels_; ++c) {
      if (first)
        zeliDiffPredFirstRow_JPEG_16s_C1(row_[c].data(), diff_[c].data(), width_, bits, shift_);
      else
        differences(row_[c].data(), above_[c].data(), diff_[c].data(), width_, predictor_, bits - shift_);
      above_[c].swap(row_[c]);
      rows_[c] = diff_[c].data();
    }
    return rows_;
  }

 private:
  template <class Sample>
  void split(const Sample* from) {
    for (int c = 0; c < channels_; ++c) {
      int16_t* const to = row_[c].data();
      for (int x = 0; x < width_; ++x) to[x] = int16_t(from[x * channels_ + c] >> shift_);
    }
  }

  const Image& image_;
  const int channels_, width_, predictor_, shift_;
  Row above_[kMaxComponents], row_[kMaxComponents], diff_[kMaxComponents];
  const int16_t* rows_[kMaxComponents];
};

HuffmanTable tableFor(const Image& image, const JpegEncodeOptions& o, int interval, int threads) {
  int32_t counts[256] = {};
  const int step = interval ? interval : image.height(), pieces = ceilDiv(image.height(), step);
  forEachPiece(pieces, threads, [&](int i) {
    int32_t own[256] = {};
    Differences diff(image, o.predictor, o.pointTransform);
    for (int y = i * step; y < std::min(image.height(), (i + 1) * step); ++y) {
      const int16_t* const* rows = diff.of(y, y == i * step);
      for (int c = 0; c < image.channels(); ++c)
        for (int x = 0; x < image.width(); ++x) zeliGetHuffmanStatisticsOne_JPEG_16s_C1(rows[c] + x, own);
    }
#pragma omp critical(zelcodecs_counts)
    for (int k = 0; k < 256; ++k) counts[k] += own[k];
  });
  return fittedTable(counts);
}

// The rows [from, to) as a restart interval, without a marker.
std::vector<uint8_t> codeRows(const Image& image, const JpegEncodeOptions& o, const ZeliEncodeHuffmanSpec& table,
                              int from, int to, const Progress& progress) {
  // A code of 16 bits and 15 more for each sample, every byte stuffed.
  const size_t most = size_t(image.width()) * size_t(image.channels()) * 8 + 64;
  const int room = int(std::max<size_t>(most, 1 << 16));
  const std::unique_ptr<uint8_t[]> buffer(new uint8_t[size_t(room)]);
  std::vector<uint8_t> out;
  ZeliEncodeHuffmanState state;
  zeliEncodeHuffmanStateInit_JPEG_8u(&state);
  const ZeliEncodeHuffmanSpec* tables[kMaxComponents];
  std::fill(tables, tables + kMaxComponents, &table);
  Differences diff(image, o.predictor, o.pointTransform);
  int position = 0;
  const auto code = [&](const int16_t* const* rows, int flush) {
    const ZelStatus status = zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, image.width(), image.channels(), buffer.get(),
                                                                  room, &position, tables, &state, flush);
    if (status != zelStsNoErr) throw Error(ErrorKind::argument, "a difference that the Huffman table has no code for");
  };
  for (int y = from; y < to; ++y) {
    if (size_t(room - position) < most) {
      out.insert(out.end(), buffer.get(), buffer.get() + position);
      position = 0;
    }
    code(diff.of(y, y == from), 0);
    if (progress && y % 64 == 0) progress(double(y) / image.height());
  }
  code(nullptr, 1);
  out.insert(out.end(), buffer.get(), buffer.get() + position);
  return out;
}

}  // namespace

std::unique_ptr<ScanDecoder> losslessScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                          const Planes* planes) {
  return std::make_unique<LosslessScan>(reader, scan, keepGoing, warnings, planes);
}

std::vector<uint8_t> encodeLossless(const Image& image, const JpegEncodeOptions& o) {
  if (image.bitDepth() < 2) throw Error(ErrorKind::unsupported, "lossless JPEG has 2 to 16 bits a sample");
  if (o.predictor < 1 || o.predictor > 7) throw Error(ErrorKind::argument, "a predictor is 1 to 7");
  if (o.pointTransform < 0 || o.pointTransform >= image.bitDepth())
    throw Error(ErrorKind::argument, "a point transform is 0 to the bits of a sample less 1");
  const int64_t mcus = o.restartInterval ? o.restartInterval : int64_t{o.restartRows} * image.width();
  if (mcus < 0 || mcus > 65535 || mcus % image.width())
    throw Error(ErrorKind::argument, "a restart interval in a lossless file is whole rows, of up to 65535 samples");
  const int interval = int(mcus / image.width()), threads = threadCount(o.threads);

  Frame frame;
  frame.process = kSOF3;
  frame.precision = image.bitDepth();
  frame.width = image.width();
  frame.height = image.height();
  Scan scan;
  scan.count = image.channels();
  scan.ss = o.predictor;
  scan.se = 0;
  scan.al = o.pointTransform;
  for (int i = 0; i < scan.count; ++i) {
    Component c;
    c.id = scan.count == 3 ? "RGB"[i] : i + 1;
    frame.components.push_back(c);
    scan.parts[i] = {i, 0, 0};
  }
  const HuffmanTable table = o.optimiseTables ? tableFor(image, o, interval, threads) : kGeneralTable;
  ZeliEncodeHuffmanSpec spec;
  initEncoderTable(table, &spec);

  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  segments.marker(kSOI);
  if (scan.count == 3) segments.adobe(0);
  segments.frame(frame);
  segments.huffmanTable(0, 0, table);
  if (interval) segments.restartInterval(int(mcus));
  segments.scan(frame, scan);
  const int step = interval ? interval : image.height(), pieces = ceilDiv(image.height(), step);
  std::vector<std::vector<uint8_t>> coded(size_t(pieces), std::vector<uint8_t>{});
  const Progress progress = pieces == 1 ? o.progress : nullptr;
  forEachPiece(pieces, threads, [&](int i) {
    coded[size_t(i)] = codeRows(image, o, spec, i * step, std::min(image.height(), (i + 1) * step), progress);
  });
  for (size_t i = 0; i < coded.size(); ++i) {
    if (i) segments.marker(kRST0 + int((i - 1) & 7));
    out.insert(out.end(), coded[i].begin(), coded[i].end());
  }
  segments.marker(kEOI);
  if (o.progress) o.progress(1);
  return out;
}

}  // namespace zelcodecs::jpeg
