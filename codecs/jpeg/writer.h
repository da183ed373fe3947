// Writing JPEG files: marker segments (T.81 Annex B) and the entropy-coded data of scans (F.1, G.1).
#pragma once

#include <memory>
#include <vector>

#include "jpeg/format.h"

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
  void byte(int v) { out_->push_back(uint8_t(v)); }
  void word(int v) {
    byte(v >> 8);
    byte(v);
  }
  std::vector<uint8_t>* out_;
};

// The table with the shortest code for symbols that occur so often (T.81 K.2).
HuffmanTable fittedTable(const int32_t* counts);
void initEncoderTable(const HuffmanTable& table, ZeliEncodeHuffmanSpec* spec);

// What the blocks of a scan are coded by.
enum class ScanKind { sequential, dcFirst, dcRefine, acFirst, acRefine };
ScanKind kindOf(const Scan& scan, bool progressive);

struct EncoderTables {
  ZeliEncodeHuffmanSpec dc, ac;
};

// Codes the blocks of restart intervals into a buffer in the cache, which is moved to the end of the file whenever it
// is nearly full.
class ScanEncoder {
 public:
  // tables are found by the numbers in scan.
  ScanEncoder(const Scan& scan, ScanKind kind, const EncoderTables* tables, std::vector<uint8_t>* out);

  void block(const int16_t* coefficients, int part);
  // Call after the blocks of an MCU.
  void endMcu() {
    if (position_ > kBuffer - kMaxMcuBytes) spill();
  }
  // Ends the interval with a restart marker and begins the next one.
  void restart(int number);
  // Ends the last interval.
  void finish();

 private:
  // 64 coefficients of a 16-bit code and 15 extra bits each, every byte stuffed, and the rest of the last byte.
  static constexpr int kMaxBlockBytes = 64 * 31 / 8 * 2 + 8;
  // And the correction bits that AC refinement holds back, and 24 bytes in front of which the coder leaves its fast
  // path.
  static constexpr int kMaxMcuBytes = kMaxBlocksPerMcu * kMaxBlockBytes + 1024 / 8 * 2 + 24;
  static constexpr int kBuffer = 65536;
  ZelStatus code(const int16_t* coefficients, int part, int flush);
  void spill();

  const Scan scan_;
  const ScanKind kind_;
  const ZeliEncodeHuffmanSpec *dc_[kMaxComponents], *ac_[kMaxComponents];
  std::vector<uint8_t>* out_;
  std::unique_ptr<uint8_t[]> buffer_;
  int position_ = 0;
  int16_t lastDc_[kMaxComponents] = {};
  ZeliEncodeHuffmanState state_;
};

// Counts the symbols that a ScanEncoder would code, for tables that fit them.
class SymbolCounter {
 public:
  SymbolCounter(const Scan& scan, ScanKind kind);
  void block(const int16_t* coefficients, int part);
  // Counts what is pending, and starts anew.
  void endInterval();
  void add(const SymbolCounter& other);
  HuffmanTable dcTable(int table) const { return fittedTable(dc_[table]); }
  HuffmanTable acTable(int table) const { return fittedTable(ac_[table]); }

 private:
  const Scan scan_;
  const ScanKind kind_;
  int32_t dc_[2][256] = {}, ac_[2][256] = {};
  int16_t lastDc_[kMaxComponents] = {};
  ZeliEncodeHuffmanState state_;
};

}  // namespace zelcodecs::jpeg
