// Tag trees (T.800 B.10.2): minima over a grid, and over groups of 2 x 2 of them, and so on up to a root. A number is
// told bit by bit, as far as a threshold asks, from the root down; what is known of a node is not told again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelcodecs::jpeg2000 {

// Where the nodes lie in an array: the leaves row by row, then each level above them.
class TagTreeShape {
 public:
  TagTreeShape(int width, int height) {
    size_t first = 0;
    for (;; ++levels_) {
      first_[levels_] = first;
      width_[levels_] = width;
      first += size_t(width) * size_t(height);
      if (width <= 1 && height <= 1) break;
      width = (width + 1) / 2;
      height = (height + 1) / 2;
    }
    nodes_ = first;
  }
  size_t nodes() const { return nodes_; }
  int top() const { return levels_; }  // the root's level; leaves have level 0
  // The node above a leaf.
  size_t at(int level, int x, int y) const {
    return first_[level] + size_t(y >> level) * size_t(width_[level]) + size_t(x >> level);
  }

 private:
  size_t first_[32] = {}, nodes_ = 0;
  int width_[32] = {}, levels_ = 0;
};

// What a reader knows of a node, zero at first: twice the number that its value is at least, and 1 where it is that.
using KnownNode = uint32_t;

// Reads what tells whether a leaf's value is below the threshold. Returns -1 where it is, and else the level of the
// highest node whose value is not: no leaf under that node is.
template <class Get>
int readTagTree(const TagTreeShape& shape, KnownNode* nodes, int x, int y, int threshold, const Get& get) {
  uint32_t low = 0;
  for (int level = shape.top(); level >= 0; --level) {
    KnownNode& node = nodes[shape.at(level, x, y)];
    uint32_t least = node >> 1, known = node & 1;
    if (least < low) least = low;
    while (least < uint32_t(threshold) && !known) {
      if (get())
        known = 1;
      else
        ++least;
    }
    node = least << 1 | known;
    if (least >= uint32_t(threshold)) return level;
    low = least;
  }
  return -1;
}

// The writer's tree: set() the leaves and settle(), then code them in any order.
class TagTreeWriter {
 public:
  TagTreeWriter(int width, int height)
      : shape_(width, height), nodes_(shape_.nodes()), width_(width), height_(height) {}

  void set(int x, int y, int value) { nodes_[shape_.at(0, x, y)].value = value; }
  // Fills the nodes above the leaves, and forgets what has been coded.
  void settle() {
    for (Node& n : nodes_) n.low = 0, n.known = false;
    for (size_t i = size_t(width_) * size_t(height_); i < nodes_.size(); ++i) nodes_[i].value = INT32_MAX;
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x)
        for (int level = 1, value = nodes_[shape_.at(0, x, y)].value; level <= shape_.top(); ++level)
          if (Node& up = nodes_[shape_.at(level, x, y)]; value < up.value) up.value = value;
  }
  // Codes what a reader needs to know whether the leaf's value is below the threshold. put(bit) writes.
  template <class Put>
  void code(int x, int y, int threshold, const Put& put) {
    int low = 0;
    for (int level = shape_.top(); level >= 0; --level) {
      Node& node = nodes_[shape_.at(level, x, y)];
      if (node.low < low) node.low = low;
      for (; node.low < threshold; ++node.low) {
        if (node.low >= node.value) {
          if (!node.known) put(1);
          node.known = true;
          break;
        }
        put(0);
      }
      low = node.low;
    }
  }

 private:
  struct Node {
    int value = 0, low = 0;
    bool known = false;
  };
  TagTreeShape shape_;
  std::vector<Node> nodes_;
  int width_, height_;
};

}  // namespace zelcodecs::jpeg2000
