// Zigzag order (ITU-T T.81, Figure A.6): the diagonals of the block from the top left, walked in alternating
// directions.
#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

constexpr Table<int32_t, 72> naturalPositions() {
  Table<int32_t, 72> t{};
  int k = 0;
  for (int diagonal = 0; diagonal < 15; ++diagonal)
    for (int i = 0; i <= diagonal; ++i) {
      const int row = diagonal % 2 == 0 ? diagonal - i : i;  // even diagonals run upwards
      const int column = diagonal - row;
      if (row < 8 && column < 8) t.at[k++] = 8 * row + column;
    }
  while (k < 72) t.at[k++] = 63;  // a run past the end of a block reads the last coefficient's place
  return t;
}

constexpr Table<int32_t, 64> zigzagIndices() {
  Table<int32_t, 64> t{};
  for (int k = 0; k < 64; ++k) t.at[naturalPositions().at[k]] = k;
  return t;
}

static_assert(naturalPositions().at[2] == 8 && naturalPositions().at[7] == 10 && naturalPositions().at[71] == 63);
static_assert(zigzagIndices().at[7] == 28 && zigzagIndices().at[8] == 2 && zigzagIndices().at[56] == 35);

}  // namespace

constexpr Table<int32_t, 64> zigzag_index_Fwd = zigzagIndices();
constexpr Table<int32_t, 72> own_pj_izigzag_index = naturalPositions();

}  // namespace ZEL_VARIANT
