// Which coding passes the layers of a file get: those that take off the most distortion for their bytes come first
// (T.800 J.10).
#pragma once

#include <functional>

#include "jpeg2000/blocks.h"

namespace zelcodecs::jpeg2000 {

// The passes of a block at which to stop are those on the convex hull of rate and distortion.
class BlockCurve {
 public:
  // distortions: what each pass takes off, summed up, in squared differences of the picture.
  BlockCurve(EncodedBlock* block, const std::vector<double>& distortions);

  // As many passes as take off at least `slope` for each byte.
  int passesFor(double slope) const;
  double distortionAt(int passes) const { return passes ? distortions_[size_t(passes - 1)] : 0; }
  double steepest() const { return points_.empty() ? 0 : points_.front().slope; }
  EncodedBlock* block() const { return block_; }

 private:
  struct Point {
    int passes;
    double slope;
  };
  EncodedBlock* block_;
  std::vector<double> distortions_;
  std::vector<Point> points_;  // slopes fall
};

struct LayerGoal {
  double bytes = 0;       // of the file up to this layer; 0 for no bound
  double distortion = 0;  // what may be left after it; 0 for no bound
};

// Sets every block's layerPasses. sizeUpTo(layer) is the size of the file with the layers as they are set.
void shareOut(const std::vector<BlockCurve>& curves, const std::vector<LayerGoal>& goals, double allDistortion,
              const std::function<size_t(int)>& sizeUpTo);

// The square root of the energy that a coefficient of size one has in the picture: of a band of one direction, after so
// many levels.
double basisNorm(int levels, bool high, bool reversible);

}  // namespace zelcodecs::jpeg2000
