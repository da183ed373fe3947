// Sequential data without restart markers (T.81 F.2), decoded by several threads.
//
// Nothing in such data tells where an MCU begins. But Huffman codes fall into step: a decoder that starts anywhere
// decodes nonsense at first, and after some MCUs stands where the one from the beginning comes by, too: between two
// MCUs, with the same bits ahead. From there on both do the same. So a window of the data is divided into stretches,
// which begin at guessed bytes. Each is decoded beyond its bytes, up to where it meets the next one; what that one has
// decoded before is dropped. All that differs then are the DC predictors, by the same number throughout a stretch,
// which is known when the stretches before it are joined.
//
// The first stretch of a window begins where the window before has ended, and needs no guess. Damage, markers and the
// end of the data end a stretch before the MCU in question, which is left to decoding in order: that finds the state
// which it would have come to by itself.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "jpeg/scan_decode.h"

namespace zelcodecs::jpeg {

// How the MCUs of a sequential scan are coded.
struct McuCode {
  int blocks = 0;
  int partOf[kMaxBlocksPerMcu];  // which of the scan's components a block belongs to
  const ZeliDecodeHuffmanSpec *dc[kMaxComponents], *ac[kMaxComponents];
};

// What decoding knows between two MCUs.
struct McuState {
  EntropySource source;
  int16_t lastDc[kMaxComponents];
};

class Stretches {
 public:
  Stretches(const McuCode& code, const McuSink* sink, int mcusWide);
  ~Stretches();

  // A round of work: plan(), work() for each piece, which may be done side by side, then join(). Delivers to the sink
  // the MCUs before `target` that rounds before have decoded. Decodes about `wanted` further ones, at most `left`, from
  // MCU `mcu` of the scan on; none where wanted is 0.
  int plan(int target, int mcu, const McuState& state, int wanted, int left);
  void work(int piece);
  struct Outcome {
    int mcus;        // decoded further
    bool ended;      // by what is left to decoding in order
    McuState state;  // behind them
  };
  Outcome join();

 private:
  struct Stretch;
  // MCUs of a stretch that a piece delivers.
  struct Delivery {
    Stretch* stretch;
    int from, to;
  };

  void planWindow(int wanted);
  std::unique_ptr<Stretch> takeStretch();
  void decode(Stretch* s) const;
  static bool goesOn(Stretch* s);
  void decodeMcu(Stretch* s) const;
  void deliver(const Delivery& d) const;
  bool accept(Stretch* s, const Stretch* before, Outcome* outcome);
  void learnFrom(const Outcome& outcome, bool allMet);

  const McuCode code_;
  const McuSink* const sink_;
  const int mcusWide_, stretchMcus_;
  double bytesOfMcu_ = 0;  // in the window before; 0 before the first
  // After a window whose stretches have not met, some are decoded in one stretch: ever more of them.
  int failures_ = 0, single_ = 0;
  // The round's.
  int target_ = 0, mcu_ = 0, left_ = 0;
  McuState begin_;
  std::vector<std::unique_ptr<Stretch>> window_;
  std::vector<Delivery> deliveries_;

  std::deque<std::unique_ptr<Stretch>> ready_;  // joined, and not yet delivered to their ends
  std::vector<std::unique_ptr<Stretch>> idle_;
};

}  // namespace zelcodecs::jpeg
