// Mip levels below the picture's own, made and coded while its rows come.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "common/picture.h"
#include "common/team.h"

namespace zelcodecs::dds {

// Codes rows of blocks: to, of rows of pixels of a level of that width (a multiple of four of them, but at the end).
using CodeRows = std::function<void(ConstRows rows, int width, uint8_t* to)>;

// One level. It takes its rows from top to bottom, codes them, and gives the level below the means of them: each pixel
// is the mean of those that it covers, two in a direction, or three of odd sizes, weighted by their shares.
class Level {
 public:
  // below: how many levels there are below this one.
  Level(int width, int height, int channels, int below, size_t blockBytes, Team& team, const CodeRows& code);

  void take(ConstRows rows);
  // The blocks since the last call.
  std::vector<uint8_t> takeBlocks() { return std::exchange(blocks_, {}); }
  Level* below() const { return below_.get(); }

 private:
  void code(ConstRows rows);
  void halveWhatIsThere();
  void dropWhatIsDone();
  void halveRow(int y, uint8_t* to) const;
  const uint8_t* row(int y) const { return &held_[size_t(y - first_) * rowBytes_]; }

  const int width_, height_, channels_;
  const size_t rowBytes_, blockBytes_;
  Team& team_;
  const CodeRows& code_;
  std::unique_ptr<Level> below_;
  std::vector<uint8_t> held_;  // rows first_ to end_
  int first_ = 0, end_ = 0;
  int coded_ = 0;   // rows
  int halved_ = 0;  // rows of the level below
  std::vector<uint8_t> blocks_;
};

}  // namespace zelcodecs::dds
