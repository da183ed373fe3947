// The running pyramid: of each level only the rows are held that a row of blocks, or of the level below, waits for.
#include "dds/pyramid.h"

#include <algorithm>
#include <cstring>

#include "dds/format.h"

namespace zelcodecs::dds {
namespace {

// The two or three samples in a row that a sample of half the size covers, and their shares. A size of 1 stays.
struct Cover {
  int size, half;
  int count() const { return size == 1 ? 1 : 2 + size % 2; }
  int64_t weight(int i, int tap) const {
    if (size % 2 == 0 || size == 1) return 1;
    return tap == 0 ? half - i : tap == 1 ? half : i + 1;
  }
  int64_t sum() const { return size % 2 || size == 1 ? size : 2; }
};

Cover coverOf(int size) { return {size, std::max(1, size / 2)}; }

constexpr size_t kPieceBytes = size_t{32} << 10;  // of rows that a thread takes at once, about

}  // namespace

Level::Level(int width, int height, int channels, int below, size_t blockBytes, Team& team, const CodeRows& code)
    : width_(width),
      height_(height),
      channels_(channels),
      rowBytes_(size_t(width) * size_t(channels)),
      blockBytes_(blockBytes),
      team_(team),
      code_(code) {
  if (below > 0)
    below_ = std::make_unique<Level>(std::max(1, width / 2), std::max(1, height / 2), channels, below - 1, blockBytes,
                                     team, code);
}

void Level::take(ConstRows rows) {
  if (!below_ && held_.empty() && (rows.count % 4 == 0 || end_ + rows.count == height_)) {  // nothing waits for them
    code(rows);
    first_ = coded_ = end_ += rows.count;
    return;
  }
  const size_t at = held_.size();
  held_.resize(at + rowBytes_ * size_t(rows.count));
  for (int y = 0; y < rows.count; ++y) std::memcpy(&held_[at + rowBytes_ * size_t(y)], rows.row(y), rowBytes_);
  end_ += rows.count;
  const int ready = end_ == height_ ? end_ - coded_ : (end_ - coded_) / 4 * 4;
  if (ready > 0) code({row(coded_), rowBytes_, ready});
  coded_ += ready;
  if (below_) halveWhatIsThere();
  dropWhatIsDone();
}

void Level::code(ConstRows rows) {
  const size_t blockRow = blocksOver(width_) * blockBytes_, at = blocks_.size();
  blocks_.resize(at + blockRow * blocksOver(rows.count));
  const int perPiece = int(std::clamp<size_t>(kPieceBytes / rowBytes_ / 4 * 4, 4, 4096));
  team_.forEach((rows.count - 1) / perPiece + 1, [&](int i) {
    const int y = i * perPiece, n = std::min(perPiece, rows.count - y);
    code_({rows.row(y), rows.step, n}, width_, &blocks_[at + blockRow * size_t(y / 4)]);
  });
}

// Row y of the level below covers rows 2 y and 2 y + 1, of odd heights also 2 y + 2.
void Level::halveWhatIsThere() {
  const Cover down = coverOf(height_);
  const int ready = end_ == height_ ? down.half : std::max(0, (end_ - down.count()) / 2 + (end_ >= down.count()));
  const int rows = ready - halved_;
  if (rows <= 0) return;
  const size_t bytes = size_t(below_->width_) * size_t(channels_);
  std::vector<uint8_t> out(bytes * size_t(rows));
  const int perPiece = int(std::clamp<size_t>(kPieceBytes / bytes, 1, 4096));
  team_.forEach((rows - 1) / perPiece + 1, [&](int i) {
    for (int y = i * perPiece; y < std::min(rows, (i + 1) * perPiece); ++y)
      halveRow(halved_ + y, &out[bytes * size_t(y)]);
  });
  halved_ = ready;
  below_->take({out.data(), bytes, rows});
}

void Level::halveRow(int y, uint8_t* to) const {
  const Cover across = coverOf(width_), down = coverOf(height_);
  if (width_ % 2 == 0 && height_ % 2 == 0) {
    const uint8_t *a = row(2 * y), *b = row(2 * y + 1);
    for (int x = 0; x < across.half; ++x, a += 2 * channels_, b += 2 * channels_)
      for (int c = 0; c < channels_; ++c) *to++ = uint8_t((a[c] + a[c + channels_] + b[c] + b[c + channels_] + 2) / 4);
    return;
  }
  const int64_t whole = across.sum() * down.sum();
  for (int x = 0; x < across.half; ++x)
    for (int c = 0; c < channels_; ++c) {
      int64_t sum = whole / 2;
      for (int v = 0; v < down.count(); ++v) {
        const uint8_t* p = row(2 * y + v) + ptrdiff_t(2 * x) * channels_ + c;
        int64_t inRow = 0;
        for (int u = 0; u < across.count(); ++u) inRow += across.weight(x, u) * p[u * channels_];
        sum += down.weight(y, v) * inRow;
      }
      *to++ = uint8_t(sum / whole);
    }
}

// Rows above both the next row of blocks and the next row of the level below are not needed again.
void Level::dropWhatIsDone() {
  const int needed = below_ ? std::min(coded_, 2 * halved_) : coded_;
  const int drop = std::min(needed, end_) - first_;
  if (drop <= 0) return;
  held_.erase(held_.begin(), held_.begin() + ptrdiff_t(rowBytes_ * size_t(drop)));
  first_ += drop;
}

}  // namespace zelcodecs::dds
