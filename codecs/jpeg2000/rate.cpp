// Slopes of rate and distortion, and the search for the slope at which the layers meet their goals.
#include "jpeg2000/rate.h"

#include <algorithm>
#include <cmath>

namespace zelcodecs::jpeg2000 {

// The upper convex hull of distortion over bytes (T.800 Annex J.14): only at its corners is it of use to cut a block
// off. Each corner has the slope of the edge that leads to it; they fall from one to the next.
BlockCurve::BlockCurve(EncodedBlock* block, const std::vector<double>& distortions)
    : block_(block), distortions_(distortions) {
  const auto rateAt = [&](int passes) { return passes ? block->rates[size_t(passes - 1)] : 0; };
  for (int passes = 1; passes <= block->passes; ++passes) {
    for (;;) {
      const int from = points_.empty() ? 0 : points_.back().passes;
      const double gain = distortionAt(passes) - distortionAt(from);
      const int bytes = rateAt(passes) - rateAt(from);
      if (gain <= 0) break;  // no use in this pass alone
      const double slope = bytes > 0 ? gain / bytes : HUGE_VAL;
      if (!points_.empty() && slope >= points_.back().slope) {
        points_.pop_back();  // the point before lies under the hull
        continue;
      }
      points_.push_back({passes, slope});
      break;
    }
  }
}

// All corners whose edge is at least so steep.
int BlockCurve::passesFor(double slope) const {
  int passes = 0;
  for (const Point& p : points_) {
    if (p.slope < slope) break;
    passes = p.passes;
  }
  return passes;
}

// Layers in order. Each has its goal in bytes of the file so far, or in squared errors that are left; one without a
// goal takes all that there is. A slope for all blocks at once is what shares the bytes best, and is found by bisection
// of its logarithm.
void shareOut(const std::vector<BlockCurve>& curves, const std::vector<LayerGoal>& goals, double allDistortion,
              const std::function<size_t(int)>& sizeUpTo) {
  const size_t layers = goals.size();
  for (const BlockCurve& c : curves) c.block()->layerPasses.assign(layers, 0);
  double steepest = 1;
  for (const BlockCurve& c : curves)
    if (std::isfinite(c.steepest())) steepest = std::max(steepest, c.steepest());
  for (size_t layer = 0; layer < layers; ++layer) {
    const auto before = [&](const EncodedBlock& b) { return layer ? b.layerPasses[layer - 1] : 0; };
    const auto setAll = [&](auto passes) {
      for (const BlockCurve& c : curves) {
        EncodedBlock& b = *c.block();
        const int n = std::max(before(b), passes(c));
        for (size_t l = layer; l < layers; ++l) b.layerPasses[l] = n;
      }
    };
    const LayerGoal& goal = goals[layer];
    if (goal.bytes == 0 && goal.distortion == 0) {
      setAll([](const BlockCurve& c) { return c.block()->passes; });
      continue;
    }
    const auto enough = [&](double slope) {  // whether the layer may stop at this slope
      setAll([slope](const BlockCurve& c) { return c.passesFor(slope); });
      if (goal.distortion > 0) {
        double left = allDistortion;
        for (const BlockCurve& c : curves) left -= c.distortionAt(c.block()->layerPasses[layer]);
        return left <= goal.distortion;
      }
      return double(sizeUpTo(int(layer))) > goal.bytes;
    };
    // A smaller slope gives more bytes and less distortion. For a number of bytes the largest file that keeps to it is
    // wanted, for a distortion the smallest that reaches it.
    double high = std::log(steepest) + 1, low = high - 60;
    for (int i = 0; i < 30; ++i) {
      const double middle = (low + high) / 2;
      (enough(std::exp(middle)) ? low : high) = middle;
    }
    enough(std::exp(goal.distortion > 0 ? low : high));
  }
}

namespace {

// One level of the inverse transform of a line, far from its ends.
std::vector<double> synthesised(const std::vector<double>& low, const std::vector<double>& high, bool reversible) {
  const size_t n = low.size();
  std::vector<double> x(2 * n);
  const auto lift = [&](size_t first, double c) {
    for (size_t i = first; i < x.size(); i += 2) {
      const double left = i ? x[i - 1] : 0, right = i + 1 < x.size() ? x[i + 1] : 0;
      x[i] += c * (left + right);
    }
  };
  // Coefficients of lifting steps and scaling of the 9/7 and 5/3 filters (T.800 Tables F.4 and F.3), in the order of
  // the inverse.
  const double k = reversible ? 1 : 1.230174104914001;
  for (size_t i = 0; i < n; ++i) {
    x[2 * i] = low[i] * k;
    x[2 * i + 1] = high[i] / k;
  }
  if (reversible) {
    lift(0, -0.25);
    lift(1, 0.5);
  } else {
    lift(0, -0.443506852043971);
    lift(1, -0.882911075530934);
    lift(0, 0.052980118572961);
    lift(1, 1.586134342059924);
  }
  return x;
}

}  // namespace

// The norm of what one coefficient adds to a line of samples, which weighs its squared error: by synthesis of a single
// one, as the filters are short.
double basisNorm(int levels, bool high, bool reversible) {
  constexpr int kSettled = 6;  // from here on a level doubles the energy of a line
  const int n = std::min(levels, kSettled);
  double norm = std::pow(2.0, (levels - n) / 2.0);
  if (n == 0) return norm;
  std::vector<double> line(32), zeros(32);
  line[16] = 1;
  line = synthesised(high ? zeros : line, high ? line : zeros, reversible);
  for (int l = 1; l < n; ++l) line = synthesised(line, std::vector<double>(line.size()), reversible);
  double energy = 0;
  for (double v : line) energy += v * v;
  return norm * std::sqrt(energy);
}

}  // namespace zelcodecs::jpeg2000
