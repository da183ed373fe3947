// Code blocks in both directions (T.800 Annex D): sign and magnitude, bit plane by bit plane.
#pragma once

#include <vector>

#include "jpeg2000/format.h"
#include "zelj.h"

namespace zelcodecs::jpeg2000 {

constexpr int kMaxBlockSamples = 4096;

// What packets have brought of a block: its codeword segments, one after the other.
struct CodedBlock {
  ZeliSize size;
  int bandKind, planes;  // magnitude bit planes of the band
  int zeroPlanes, passes;
  const uint8_t* data;
  const std::vector<int>* segments;  // their lengths
};

enum class BlockState {
  whole,
  surplus,  // there were more passes than bit planes: those too many have been left out
  damaged   // the samples are what came before the damage
};

class BlockDecoder {
 public:
  // Decodes a block's passes into words of sign (bit 31) and magnitude, in steps or, with halves, in half steps: then
  // bit 0 is set where all planes of a sample are known, and the value stands in the middle of its interval.
  BlockState decode(const CodedBlock& block, int blockStyle, bool halves, int32_t* words);

 private:
  std::vector<uint8_t> state_;  // the primitive's record
};

// A block as packets are going to carry it.
struct EncodedBlock {
  int zeroPlanes = 0, passes = 0;
  std::vector<uint8_t> data;
  std::vector<int> rates;        // the bytes that a decoder needs after each pass
  std::vector<int> layerPasses;  // how many passes each layer brings, with those before it
  // Of the packets written so far.
  bool included = false;
  int lengthBits = 3;  // Lblock
};

// Codes blocks of words of sign and magnitude, whose lowest plane to code is bit 31 - planes. distortions: what each
// pass takes off, summed up, in squared steps of the lowest plane; may be null.
class BlockEncoder {
 public:
  BlockEncoder(int blockWidth, int blockHeight);
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;

  void encode(const int32_t* words, ZeliSize size, int planes, int bandKind, int blockStyle, bool lossless,
              EncodedBlock* block, std::vector<double>* distortions);

 private:
  ZeliEncodeState_JPEG2K* state_ = nullptr;
  std::vector<uint8_t> buffer_;
};

}  // namespace zelcodecs::jpeg2000
