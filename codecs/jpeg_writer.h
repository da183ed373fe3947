// Writing JPEG files: marker segments (T.81 Annex B) and the entropy-coded data of sequential scans (F.1).
#ifndef ZELCODECS_JPEG_WRITER_H
#define ZELCODECS_JPEG_WRITER_H

#include <memory>
#include <vector>

#include "jpeg_format.h"

namespace zelcodecs::jpeg {

class SegmentWriter {
 public:
  explicit SegmentWriter(std::vector<uint8_t>* out) : out_(out) {}
  void marker(int code);
  void jfif();
  void adobe(int transform);
  // 64 steps in natural order; 16-bit entries where one needs them.
  void quantTable(int number, const uint16_t* steps);
  void huffmanTable(int tableClass, int number, const HuffmanTable& table);
  void restartInterval(int mcus);
  void frame(const Frame& frame);
  void scan(const Frame& frame, const Scan& scan);

 private:
  void begin(int code, size_t payload);
  void byte(int v) { out_->push_back(static_cast<uint8_t>(v)); }
  void word(int v) {
    byte(v >> 8);
    byte(v);
  }
  std::vector<uint8_t>* out_;
};

struct EncoderTables {
  ZeliEncodeHuffmanSpec dc, ac;
  void set(const HuffmanTable& dcTable, const HuffmanTable& acTable);
};

// Codes blocks into a buffer in the cache, which is moved to the end of the file whenever it is nearly full. One object
// codes from one restart marker, or the start of the scan, to the next at the least; intervals are independent.
class ScanEncoder {
 public:
  explicit ScanEncoder(std::vector<uint8_t>* out);

  void block(const int16_t* coefficients, int component, const EncoderTables& tables);
  // Call after the blocks of an MCU.
  void endMcu() {
    if (position_ > kBuffer - kMaxMcuBytes) spill();
  }
  void restart(int number);  // 0 to 7
  void finish();

 private:
  // 64 coefficients of a 16-bit code and 15 extra bits each, every byte stuffed, and the rest of the last byte.
  static constexpr int kMaxBlockBytes = 64 * 31 / 8 * 2 + 8;
  // And 24 bytes in front of which the coder leaves its fast path.
  static constexpr int kMaxMcuBytes = kMaxBlocksPerMcu * kMaxBlockBytes + 24;
  static constexpr int kBuffer = 65536;
  void flushBits();
  void spill();

  std::vector<uint8_t>* out_;
  std::unique_ptr<uint8_t[]> buffer_;
  int position_ = 0;
  int16_t lastDc_[kMaxComponents] = {};
  ZeliEncodeHuffmanState state_;
};

// Counts the symbols that a ScanEncoder would code, for tables that fit them.
class SymbolCounter {
 public:
  void block(const int16_t* coefficients, int component, int table);
  void restart();
  HuffmanTable dcTable(int table) const { return build(dc_[table]); }
  HuffmanTable acTable(int table) const { return build(ac_[table]); }

 private:
  static HuffmanTable build(const int32_t* counts);
  int32_t dc_[2][256] = {}, ac_[2][256] = {};
  int16_t lastDc_[kMaxComponents] = {};
};

}  // namespace zelcodecs::jpeg

#endif
