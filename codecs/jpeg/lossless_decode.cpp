// Decoding lossless scans.
#include <algorithm>
#include <cstring>

#include "jpeg/lossless.h"

namespace zelcodecs::jpeg {
namespace {

using Row = std::vector<int16_t>;

void reconstruct(const int16_t* diff, const int16_t* above, int16_t* to, int width, int predictor, int bits) {
  if (!needsWideTerms(predictor, bits)) {
    require(zeliReconstructPredRow_JPEG_16s_C1(diff, above, to, width, predictor));
    return;
  }
  auto* x = reinterpret_cast<uint16_t*>(to);
  const auto* up = reinterpret_cast<const uint16_t*>(above);
  x[0] = uint16_t(diff[0] + up[0]);
  for (int i = 1; i < width; ++i) x[i] = uint16_t(diff[i] + widePrediction(predictor, x[i - 1], up[i], up[i - 1]));
}

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
      table_[i] = reader.dcTable(part.dcTable).get();
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
          require(zeliReconstructPredFirstRow_JPEG_16s_C1(diff, t.row.data(), t.width, precision_, shift_));
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
    if (t.plane->bytesPerSample == 1)
      store(t, t.plane->row(y));
    else
      store(t, reinterpret_cast<uint16_t*>(t.plane->row(y)));
  }
  // Values beyond the precision come from damaged data only.
  template <class Sample>
  void store(const Target& t, Sample* __restrict to) const {
    const int width = std::min(t.width, t.plane->width), shift = shift_;
    const auto mask = uint16_t((1 << precision_) - 1);
    const auto* from = reinterpret_cast<const uint16_t*>(t.row.data());
    for (int x = 0; x < width; ++x) to[x] = static_cast<Sample>(uint16_t(from[x] << shift) & mask);
  }

  const int count_, mcusWide_, predictor_, precision_, shift_;
  bool subsampled_ = false;
  bool fresh_ = true;  // the next row is the first of its interval
  Target targets_[kMaxComponents];
  const ZeliDecodeHuffmanSpec* table_[kMaxComponents];
};

}  // namespace

std::unique_ptr<ScanDecoder> losslessScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                          const Planes* planes) {
  return std::make_unique<LosslessScan>(reader, scan, keepGoing, warnings, planes);
}

}  // namespace zelcodecs::jpeg
