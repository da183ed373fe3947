// The entropy-coded data of a sequential scan (T.81 F.2): MCU after MCU, restart marker after restart marker.
#ifndef ZELCODECS_JPEG_SCAN_DECODE_H
#define ZELCODECS_JPEG_SCAN_DECODE_H

#include "jpeg_reader.h"

namespace zelcodecs::jpeg {

using Block = int16_t[64];  // quantised coefficients in natural order

// Receives the MCUs of a scan in their order. The blocks of a component are in rows from left to right (T.81 A.2.3),
// the components one after the other; the receiver may overwrite them.
class McuSink {
 public:
  virtual ~McuSink() = default;
  virtual void mcu(int x, int y, Block* blocks) = 0;
};

class ScanDecoder {
 public:
  // Throws where the scan names tables that the file has not defined.
  ScanDecoder(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings);

  // Decodes the scan; sink gets every MCU once, and MCUs that are lost as zeros. Returns the position after the data.
  // Every restart interval begins with a reset of everything but the position, so that intervals whose positions are
  // known could be decoded side by side.
  size_t run(McuSink* sink, const Progress& progress);

 private:
  bool interval(int first, int count, McuSink* sink);
  int nextInterval(int expected);
  bool seekMarker();
  void reset();
  void deliver(int mcu, McuSink* sink) { sink->mcu(mcu % mcusWide_, mcu / mcusWide_, blocks_); }
  void lose(int first, int count, McuSink* sink);
  size_t offset() const { return base_ + static_cast<size_t>(position_); }

  struct BlockPlan {
    int part;
    const ZeliDecodeHuffmanSpec* dc;
    const ZeliDecodeHuffmanSpec* ac;
  };

  const uint8_t* data_;  // of the scan
  int length_;
  size_t base_;  // its offset in the file
  bool keepGoing_;
  Warnings* warnings_;
  int restartInterval_;
  int mcusWide_, mcusHigh_;
  BlockPlan plan_[kMaxBlocksPerMcu];
  int planned_ = 0;

  int position_ = 0;
  int marker_ = 0;
  int16_t lastDc_[kMaxComponents] = {};
  ZeliDecodeHuffmanState state_;
  alignas(32) Block blocks_[kMaxBlocksPerMcu];
};

}  // namespace zelcodecs::jpeg

#endif
