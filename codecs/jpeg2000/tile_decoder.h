// One tile: packets to code blocks, code blocks to bands, bands to samples. Of a tile of which only a part is wanted no
// more is decoded, and held, than that part depends on.
#pragma once

#include <functional>

#include "common/scratch.h"
#include "common/team.h"
#include "common/zeroed.h"
#include "jpeg2000/blocks.h"
#include "jpeg2000/packet_reader.h"

namespace zelcodecs::jpeg2000 {

// What a thread decodes a block with.
struct BlockScratch {
  BlockDecoder decoder;
  std::vector<uint8_t> joined;  // segments that are apart in the file
  std::vector<int> segments;    // their lengths
};

class TileDecoder {
 public:
  // wanted: of components by number, an area at the reduced resolution; the others are not wanted.
  TileDecoder(const Tile& tile, const std::map<int, Rect>& wanted, const Jpeg2000DecodeOptions& options,
              ScratchPool<BlockScratch>* scratch);

  // Decodes all that is wanted. Throws Error; with keepGoing damage is left to notes(). progress: called with the part
  // done.
  void decode(TileBytes bytes, Team* team, const Progress& progress);
  // What is odd about the tile.
  const std::vector<std::string>& notes() const { return notes_; }
  // Bytes that decode() takes for samples, at most.
  uint64_t planeBytes() const;

  // Nothing is coded: all samples are in the middle of their range.
  bool blank() const { return blank_; }
  // Finishes rows of components with a colour transform that lie above y; before row() reads them.
  void finishRows(int y, Team* team);
  // Samples of a wanted component, signed ones as they are.
  void row(int component, int y, int x0, int count, int32_t* to) const;

 private:
  // A component's samples, or its coefficients: LL at the top left, then HL, LH and HH of the present resolution.
  struct Component {
    Rect wanted;
    int shown = 0;  // the highest resolution that is decoded
    bool reversible = true;
    bool narrow = false;        // 16 bits hold all coefficients
    int fraction = 0;           // fraction bits of coefficients that are not integers
    std::vector<Rect> windows;  // of each resolution, what is decoded of it
    int width = 0, height = 0;  // of the plane
    Resolution resolution;      // the present one
    ZeroedVector<int16_t> words16;
    ZeroedVector<int32_t> words32;

    template <class T>
    T* at(int x, int y);
  };
  void setUp(int c, Component* k);
  void checkColourTransform();
  bool fitsNarrow(int c) const;
  void readPackets(PacketReader* reader);
  void allocate();
  void decodeBlocks(PacketReader* reader, std::vector<std::vector<uint32_t>> byResolution, Team* team,
                    const Progress& progress);
  void decodeResolution(int r, PacketReader* reader, const std::vector<uint32_t>& blocks, Team* team,
                        const std::function<void(size_t)>& done);
  void makeRoom(Component* k, int r);
  bool contributes(const CodeBlock& block) const;
  BlockState decodeInto(const CodeBlock& block, const PacketReader& reader);
  void place(const CodeBlock& block, const int32_t* words, Component* k) const;
  void transform(Component* k, int r) const;
  void undoColours(int y0, int y1);
  void report(const Error& e);

  const Tile& tile_;
  const Jpeg2000DecodeOptions& options_;
  ScratchPool<BlockScratch>* const scratch_;
  std::map<int, Component> components_;  // those that are wanted, or transformed together with them
  bool colourTransform_ = false;
  bool blank_ = true;
  int finished_ = INT32_MIN;  // rows above this one have left the colour transform behind
  std::vector<std::string> notes_;
};

}  // namespace zelcodecs::jpeg2000
