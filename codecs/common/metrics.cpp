// PSNR over all samples, and SSIM of the luminance through a Gaussian window.
#include "common/metrics.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "common/convert.h"
#include "common/error.h"

namespace zelcodecs {
namespace {

void requireComparable(const Image& a, const Image& b) {
  if (a.width() != b.width() || a.height() != b.height() || a.model() != b.model() || a.bitDepth() != b.bitDepth())
    throw Error(ErrorKind::argument, "the pictures differ in size, colour model or bit depth");
}

double decibels(double squares, double samples, double peak) {
  if (squares == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(peak * peak * samples / squares);
}

constexpr int kTaps = 11;

// Weighted means of values over a window: each row first, into a ring of rows, then the columns.
class Window {
 public:
  Window(int width, int taps) : width_(width), taps_(taps), rows_(size_t(taps) * size_t(width)) {
    double sum = 0;
    for (int i = 0; i < taps; ++i) {
      const double d = i - (taps - 1) / 2.0;
      weights_[i] = std::exp(-d * d / (2 * 1.5 * 1.5));
      sum += weights_[i];
    }
    for (int i = 0; i < taps; ++i) weights_[i] /= sum;
  }
  int outWidth() const { return width_ - taps_ + 1; }
  void push(const double* values) {
    double* to = &rows_[size_t(count_++ % taps_) * size_t(width_)];
    for (int x = 0; x < outWidth(); ++x) {
      double sum = 0;
      for (int i = 0; i < taps_; ++i) sum += weights_[i] * values[x + i];
      to[x] = sum;
    }
  }
  double at(int x) const {
    double sum = 0;
    for (int i = 0; i < taps_; ++i)
      sum += weights_[i] * rows_[size_t((count_ + i) % taps_) * size_t(width_) + size_t(x)];
    return sum;
  }

 private:
  int width_, taps_;
  double weights_[kTaps];
  std::vector<double> rows_;
  int count_ = 0;
};

}  // namespace

Difference difference(const Image& a, const Image& b) {
  requireComparable(a, b);
  Difference d;
  const int channels = a.channels();
  double squares[4] = {};
  for (int y = 0; y < a.height(); ++y) {
    int64_t row[4] = {};  // squares of 16-bit differences: a row of 65535 fits
    for (int i = 0, c = 0; i < a.width() * channels; ++i) {
      const int64_t e = std::abs(a.sample(y, i) - b.sample(y, i));
      row[c] += e * e;
      d.largest = std::max(d.largest, int(e));
      d.differing += e != 0;
      if (++c == channels) c = 0;
    }
    for (int c = 0; c < channels; ++c) squares[c] += double(row[c]);
  }
  const double pixels = double(a.width()) * a.height();
  double all = 0;
  for (int c = 0; c < channels; ++c) {
    d.channelPsnr.push_back(decibels(squares[c], pixels, a.maxValue()));
    all += squares[c];
  }
  d.psnr = decibels(all, pixels * channels, a.maxValue());
  return d;
}

// The samples alone count, not what profiles or opacity say of them.
static Image greyOf(const Image& image) {
  ConvertOptions stored;
  stored.ignoreOpacity = true;
  Converter converter(image.format(), ColourModel::grey, image.bitDepth(), {}, stored);
  Image out(converter.to());
  converter.convert(image.rows(0, image.height()), out.rows(0, out.height()));
  return out;
}

double ssim(const Image& a, const Image& b) {
  requireComparable(a, b);
  const Image greys[2] = {greyOf(a), greyOf(b)};
  const int width = a.width(), taps = std::min({kTaps, width, a.height()});
  const double peak = a.maxValue(), c1 = 0.01 * 0.01 * peak * peak, c2 = 0.03 * 0.03 * peak * peak;
  Window means[2] = {{width, taps}, {width, taps}}, squares(width, taps), products(width, taps);
  std::vector<double> rows[2], sum(size_t(width), 0.0), product(size_t(width), 0.0);
  for (auto& r : rows) r.resize(size_t(width));
  double total = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (size_t x = 0; x < size_t(width); ++x) {
      for (int i = 0; i < 2; ++i) rows[i][x] = greys[i].sample(y, int(x));
      sum[x] = rows[0][x] * rows[0][x] + rows[1][x] * rows[1][x];
      product[x] = rows[0][x] * rows[1][x];
    }
    for (int i = 0; i < 2; ++i) means[i].push(rows[i].data());
    squares.push(sum.data());
    products.push(product.data());
    if (y + 1 < taps) continue;
    for (int x = 0; x < squares.outWidth(); ++x) {
      const double ma = means[0].at(x), mb = means[1].at(x);
      const double variances = squares.at(x) - ma * ma - mb * mb, covariance = products.at(x) - ma * mb;
      total += (2 * ma * mb + c1) * (2 * covariance + c2) / ((ma * ma + mb * mb + c1) * (variances + c2));
    }
  }
  return total / (double(squares.outWidth()) * (a.height() - taps + 1));
}

Image differencePicture(const Image& a, const Image& b, double gain) {
  requireComparable(a, b);
  Image out(a.width(), a.height(), a.model() == ColourModel::grey ? ColourModel::grey : ColourModel::rgb);
  const double scale = gain * 255 / a.maxValue();
  for (int y = 0; y < a.height(); ++y)
    for (int x = 0; x < a.width(); ++x)
      for (int c = 0; c < out.channels(); ++c) {
        const int i = x * a.channels() + c;
        const double v = 128 + scale * (b.sample(y, i) - a.sample(y, i));
        out.setSample(y, x * out.channels() + c, int(std::clamp(v, 0.0, 255.0)));
      }
  return out;
}

}  // namespace zelcodecs
