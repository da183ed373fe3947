// How the components of a codestream become a picture: which channel each of them is, palettes, places on the reference
// grid, depths and colour spaces.
#pragma once

#include <optional>

#include "common/team.h"
#include "jpeg2000/boxes.h"
#include "jpeg2000/colours.h"
#include "jpeg2000/tile_decoder.h"

namespace zelcodecs::jpeg2000 {

class Picture {
 public:
  // colourTransform: whether the main header says that the codestream has one.
  Picture(const Grid& grid, const Boxes& boxes, bool colourTransform, int reduce, Warnings* warnings);

  const PictureFormat& format() const { return format_; }
  // The pixels whose places lie in an area of the reference grid.
  Rect pixelsOf(const Rect& area) const;
  // What of each component of a tile some pixels of it take their samples from.
  std::map<int, Rect> wanted(const Tile& tile, const Rect& pixels) const;
  // Puts pixels of a tile that has been decoded into rows, from to.row(0) on.
  void paint(const Tile& tile, TileDecoder* decoder, const Rect& pixels, Rows to, Team* team) const;

 private:
  struct Channel {
    int component;
    int column = -1;  // of the palette
    int precision = 8;
    int offset = 0;  // raises signed samples
    bool opacity = false;
  };
  Channel channelOf(int component, int column) const;
  std::vector<Channel> allChannels() const;
  void chooseChannels(bool colourTransform, Warnings* warnings);
  void defineChannels(const std::vector<Channel>& all, Warnings* warnings);
  void guessOpacity(const std::vector<Channel>& all, bool colourTransform, Warnings* warnings);
  void chooseColours(Warnings* warnings);
  void chooseLab(Warnings* warnings);
  int coloursSaid() const;
  Rect sourceOf(const Tile& tile, const Channel& k, const Rect& pixels) const;
  bool isDirect(const Channel& k) const;
  void fetch(const Tile& tile, const TileDecoder& decoder, const Channel& k, const Rect& pixels, int y,
             int32_t* to) const;
  void finish(const Channel& k, int count, int32_t* line) const;
  void toColours(int width, int32_t* lines) const;
  void paintRow(const Tile& tile, const TileDecoder& decoder, const Rect& pixels, int y, int32_t* lines,
                uint8_t* to) const;

  const Grid& grid_;
  const Boxes& boxes_;
  const int reduce_;
  PictureFormat format_;
  std::vector<Channel> channels_;
  int dx_ = 1, dy_ = 1;           // of pixels on the reference grid
  int left_ = 0, top_ = 0;        // of the first pixel, in pixels of the grid
  bool ycc_ = false;              // the three colours are luma and two chroma
  std::optional<LabRanges> lab_;  // they are CIELab
  bool premultiplied_ = false;    // colours have been multiplied with their opacity
};

}  // namespace zelcodecs::jpeg2000
