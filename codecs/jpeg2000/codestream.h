// The marker segments of a codestream (T.800 Annex A): the main header, where the tile-parts lie, and what the header
// of a tile says.
#pragma once

#include <string>

#include "common/warnings.h"
#include "jpeg2000/packet_reader.h"

namespace zelcodecs::jpeg2000 {

class Codestream {
 public:
  // Reads the main header. offset: of the codestream in the file, for messages.
  Codestream(ByteView bytes, size_t offset, const Limits& limits);

  // Finds the tile-parts, by their headers' lengths alone. Throws where one is damaged; with keepGoing it warns.
  void findTileParts(bool keepGoing, Warnings* warnings);

  const Grid& grid() const { return grid_; }
  const HeaderStyles& styles() const { return styles_; }
  const std::vector<std::string>& comments() const { return comments_; }
  int tileCount() const { return grid_.tilesAcross() * grid_.tilesDown(); }

  bool hasTile(int i) const { return firstParts_[size_t(i)] != kNone; }
  size_t tileOffset(int i) const { return offset_ + parts_[firstParts_[size_t(i)]].start; }
  // Where the first tile-part of any of the tiles from i on lies, or the end.
  size_t beginOfTilesFrom(int i) const { return begins_[size_t(i)]; }

  struct TileData {
    HeaderStyles styles;  // of the tile's own header
    bool ownStyles = false;
    TileBytes bytes;
  };
  // The header and the bytes of a tile that is there.
  TileData tile(int i) const;

 private:
  struct Segment {
    ByteView bytes;
    size_t at;  // in the codestream
    ByteReader reader() const { return ByteReader(bytes); }
  };
  static constexpr uint32_t kNone = ~uint32_t{0};
  struct TilePart {
    uint32_t tile, next;        // next: the tile's next one
    size_t start, header, end;  // header: of what follows SOT
  };

  int nextMarker(size_t* at) const;
  Segment segment(size_t* at) const;
  void readMainHeader();
  void readSize(const Segment& s);
  void checkGrid(const uint32_t (&v)[8], size_t at) const;
  void readComponents(const Segment& s);
  CodingStyle readCodingStyle(const Segment& s, size_t from, bool precincts) const;
  Quantisation readQuantisation(const Segment& s, size_t from) const;
  void readCod(const Segment& s, HeaderStyles* to) const;
  void readCoc(const Segment& s, HeaderStyles* to) const;
  void readQcc(const Segment& s, HeaderStyles* to) const;
  void readRgn(const Segment& s, HeaderStyles* to) const;
  void readPoc(const Segment& s, HeaderStyles* to) const;
  bool readStyle(int marker, const Segment& s, HeaderStyles* to) const;
  void splitPackedHeaders(const std::map<int, Segment>& segments);
  bool findTilePart(size_t* at, bool keepGoing, Warnings* warnings);
  void addTilePart(const TilePart& part);
  void readTilePart(const TilePart& part, bool first, TileData* to) const;
  size_t componentBytes() const { return grid_.components.size() < 257 ? 1 : 2; }
  int componentNumber(const Segment& s) const;
  [[noreturn]] void damaged(const std::string& what, size_t at) const {
    throw Error(ErrorKind::damaged, what, offset_ + at);
  }
  [[noreturn]] void unsupported(const std::string& what, size_t at) const {
    throw Error(ErrorKind::unsupported, what, offset_ + at);
  }

  const ByteView bytes_;
  const size_t offset_;
  const Limits limits_;
  size_t mainEnd_ = 0;
  Grid grid_;
  HeaderStyles styles_;
  std::vector<std::string> comments_;
  std::vector<TilePart> parts_;                   // in their order in the file
  std::vector<uint32_t> firstParts_, lastParts_;  // of each tile
  std::vector<size_t> begins_;                    // of each tile and those behind it, where they begin in the file
  std::vector<uint8_t> packed_;                   // the contents of PPM
  std::vector<ByteView> packedParts_;             // of it, the headers of each tile-part
};

}  // namespace zelcodecs::jpeg2000
