// The order of coefficients in files.
#pragma once

#include <cstddef>
#include <vector>

namespace zeltest {

// The natural position of zigzag index k (ITU-T T.81, Figure A.6): the diagonals, walked in alternating directions. The
// eight indexes after the last give the last.
inline int naturalPosition(int k) {
  static const std::vector<int> order = [] {
    std::vector<int> v;
    for (int diagonal = 0; diagonal < 15; ++diagonal)
      for (int i = 0; i <= diagonal; ++i) {
        const int row = diagonal % 2 ? i : diagonal - i, column = diagonal - row;
        if (row < 8 && column < 8) v.push_back(8 * row + column);
      }
    v.resize(72, 63);
    return v;
  }();
  return order[size_t(k)];
}

}  // namespace zeltest
