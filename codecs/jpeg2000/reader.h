// The marker segments of a codestream (T.800 Annex A), and the boxes of a JP2 file around it (Annex I).
#pragma once

#include <map>
#include <string>

#include "common/error.h"
#include "jpeg2000/format.h"
#include "common/warnings.h"

namespace zelcodecs::jpeg2000 {

// What a JP2 file says beside its codestream.
struct Boxes {
  bool present = false;
  int colourSpace = 0;  // enumerated; 0 where it is not given
  struct Palette {
    int columns = 0;
    std::vector<int> depths;
    std::vector<int32_t> entries;  // of all columns, one row after the other
  } palette;
  struct Mapping {
    int component, type, column;
  };
  std::vector<Mapping> mappings;
  struct Channel {
    int index, type, association;
  };
  std::vector<Channel> channels;
  size_t codestream = 0, codestreamBytes = 0;
};

Boxes readBoxes(const uint8_t* data, size_t size);

// The coded packets of a tile, from all its tile-parts.
struct TileData {
  bool present = false;
  TileParameters parameters;
  std::vector<uint8_t> packets;
  bool hasPackedHeaders = false;
  std::vector<uint8_t> packedHeaders;
  size_t offset = 0;  // of the first tile-part
};

class Reader {
 public:
  Reader(const uint8_t* data, size_t size, size_t offset, const Limits& limits, bool keepGoing, Warnings* warnings);

  // The tile-parts. Throws where one is damaged; what has been read before stays. With keepGoing it warns.
  void readTiles();

  const Grid& grid() const { return grid_; }
  const TileParameters& parameters() const { return parameters_; }
  TileData& tile(int i) { return tiles_[size_t(i)]; }
  int tileCount() const { return int(tiles_.size()); }
  const std::vector<std::string>& comments() const { return comments_; }

 private:
  struct Segment {
    const uint8_t* at;
    size_t length;
    size_t offset;  // in the file
  };
  int nextMarker(size_t* at) const;
  Segment segment(size_t* at) const;
  void readMainHeader();
  void readSiz(const Segment& s);
  static void readCodingStyle(const uint8_t* p, size_t n, bool precincts, size_t offset, CodingStyle* to);
  void readCod(const Segment& s, TileParameters* p, bool ofTile);
  void readCoc(const Segment& s, TileParameters* p, bool ofTile);
  void readQuantisation(const uint8_t* at, size_t n, size_t offset, Quantisation* to) const;
  void readQcd(const Segment& s, TileParameters* p, bool ofTile);
  void readQcc(const Segment& s, TileParameters* p, bool ofTile);
  void readRgn(const Segment& s, TileParameters* p) const;
  void readPoc(const Segment& s, TileParameters* p) const;
  bool common(int marker, const Segment& s, TileParameters* p, bool ofTile);
  bool readTilePart(size_t* at);
  void splitPackedHeaders();
  void checkParameters(const TileParameters& p, size_t offset) const;
  int componentNumber(const uint8_t** at, const Segment& s) const;
  [[noreturn]] void damaged(const std::string& what, size_t at) const {
    throw Error(ErrorKind::damaged, what, offset_ + at);
  }

  const uint8_t* const data_;
  const size_t size_, offset_;
  const Limits limits_;
  const bool keepGoing_;
  Warnings* const warnings_;
  size_t at_ = 0;
  Grid grid_;
  TileParameters parameters_;
  bool hasStyle_ = false, hasQuantisation_ = false;
  std::vector<TileData> tiles_;
  std::map<int, Segment> packedSegments_;          // PPM by number
  std::vector<std::vector<uint8_t>> packedParts_;  // packed headers of each tile-part
  size_t tileParts_ = 0;
  std::vector<std::string> comments_;
};

}  // namespace zelcodecs::jpeg2000
