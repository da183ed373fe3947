// Code blocks in both directions (T.800 Annex D): sign and magnitude, bit plane by bit plane.
#pragma once

#include "jpeg2000/tile.h"
#include "zelj.h"

namespace zelcodecs::jpeg2000 {

// The option bits of the tier-1 primitives for a code-block style.
int coderFlags(int blockStyle);
// The sub-band code that chooses their contexts.
int coderBand(int bandKind);

constexpr int kMaxBlockSamples = 4096;

// Decodes a block's passes into words of sign (bit 31) and magnitude, in steps or, with halves, in half steps: then bit
// 0 is set where all planes of a sample are known, and the value stands in the middle of its interval. planes:
// magnitude bit planes of the band. False where damage shows; the samples are then what came before it. Throws where
// the packets told something impossible.
bool decodeBlock(const CodeBlock& block, int bandKind, int planes, int blockStyle, bool halves, int32_t* words);

// Codes a block of words of sign and magnitude, whose lowest plane to code is bit 31 - planes, and sets the block's
// data, passes, rates and empty planes. distortions: what each pass takes off, summed up, in squared steps of the
// lowest plane.
class BlockEncoder {
 public:
  BlockEncoder(int blockWidth, int blockHeight);
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;

  void encode(const int32_t* words, int planes, int bandKind, int blockStyle, bool lossless, CodeBlock* block,
              std::vector<double>* distortions);

 private:
  ZeliEncodeState_JPEG2K* state_ = nullptr;
};

}  // namespace zelcodecs::jpeg2000
