// One tile: samples to bands, bands to coded blocks.
#pragma once

#include "common/picture.h"
#include "common/scratch.h"
#include "common/team.h"
#include "common/zeroed.h"
#include "jpeg2000/packet_writer.h"
#include "jpeg2000/rate.h"

namespace zelcodecs::jpeg2000 {

constexpr int kGuardBits = 2;

// What the encoder knows before it looks at a sample.
struct Plan {
  PictureFormat format;
  Grid grid;
  HeaderStyles styles;
  bool precincts = false;
  bool rateControl = false;          // how much of each block is kept follows from the whole picture
  double weights[4] = {1, 1, 1, 1};  // of the components' squared errors in the picture
};

class TileEncoder {
 public:
  TileEncoder(const Plan& plan, int index);

  // Takes rows of the picture from row y on, of which the tile takes its columns.
  void load(ConstRows rows, int y, Team* team);
  // After all rows.
  void encode(Team* team, ScratchPool<BlockEncoder>* encoders, const Progress& progress);

  const Tile& tile() const { return tile_; }
  EncodedTile* blocks() { return &blocks_; }
  // With rate control: of all blocks; and the squared differences of a picture that keeps nothing.
  std::vector<BlockCurve>& curves() { return curves_; }
  double distortion() const { return distortion_; }

 private:
  struct Item;
  template <class Word>
  using Planes = std::vector<ZeroedVector<Word>>;

  int width() const { return tile_.area.width(); }
  int height() const { return tile_.area.height(); }
  int channels() const { return plan_.format.channels(); }
  template <class Word>
  void loadRow(const uint8_t* from, int y, Planes<Word>* planes) const;
  template <class Word>
  void loadRows(ConstRows rows, int y, Planes<Word>* planes, Team* team) const;
  void transformColours(int y0, int y1);
  void transform(size_t c);
  std::vector<Item> itemsOf(size_t c);
  void encodeItem(Item* item, BlockEncoder* encoder);
  double quantise(size_t c, const Band& band, const Rect& area, int planeX, int planeY, int32_t* words) const;

  const Plan& plan_;
  const Tile tile_;
  const bool reversible_;
  const bool narrow_;   // 16 bits hold all coefficients
  const int fraction_;  // fraction bits of coefficients that are not integers
  EncodedTile blocks_;
  Planes<int16_t> planes16_;
  Planes<int32_t> planes32_;
  std::vector<BlockCurve> curves_;
  double distortion_ = 0;
};

}  // namespace zelcodecs::jpeg2000
