// Writing JPEG files: marker segments (T.81 Annex B) and the entropy-coded data of scans (F.1, G.1).
#pragma once

#include <memory>
#include <vector>

#include "common/sink.h"
#include "common/warnings.h"
#include "jpeg/format.h"
#include "jpeg/joiner.h"

namespace zelcodecs::jpeg {

class SegmentWriter {
 public:
  explicit SegmentWriter(std::vector<uint8_t>* out) : out_(out) {}
  void marker(int code);
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

// The start of a file up to and with its frame header. Components whose steps are equal share a quantisation table.
struct FileHead {
  int adobeTransform = -1;  // -1 for a file without Adobe's marker
  bool jfif = true;
  Metadata metadata;
  const uint16_t* steps[kMaxComponents] = {};
};
void writeHead(const FileHead& head, Frame frame, std::vector<uint8_t>* out, Warnings* warnings);

// The Huffman table of each component: 1 for what is chroma in files with these markers.
std::vector<int> huffmanTables(size_t components, int adobeTransform);

// The table with the shortest code for symbols that occur so often (T.81 K.2).
HuffmanTable fittedTable(const int32_t* counts);
void initEncoderTable(const HuffmanTable& table, ZeliEncodeHuffmanSpec* spec);

// What the blocks of a scan are coded by.
enum class ScanKind { sequential, dcFirst, dcRefine, acFirst, acRefine };
ScanKind kindOf(const Scan& scan, bool progressive);

struct EncoderTables {
  ZeliEncodeHuffmanSpec dc, ac;
};
// Makes the tables of T.81 Annex K with these numbers, from 0 on, and writes them.
void standardTables(int count, SegmentWriter* segments, EncoderTables* tables);

// Codes the blocks of restart intervals, or of pieces of them, into a buffer in the cache, which goes to the sink
// whenever it is nearly full.
class ScanEncoder {
 public:
  // tables are found by the numbers in scan, and must stay.
  ScanEncoder(const Scan& scan, ScanKind kind, const EncoderTables* tables, Sink* out);

  void block(const int16_t* coefficients, int part);
  // Call after the blocks of an MCU.
  void endMcu() {
    if (position_ > kBuffer - kMaxMcuBytes) spill();
  }
  // Ends the interval before, if there is one, and begins the next one with its marker.
  void restart(int number);
  // Ends the last interval.
  void finish();

  // A piece of an interval of a sequential scan: begins with the DC predictors that the blocks before have left, one
  // for each part, and ends with the bits that do not fill a byte. A piece that begins with an interval has predictors
  // of 0.
  void beginPiece(const int16_t* predictors);
  BitTail endPiece();
  const int16_t* predictors() const { return lastDc_; }

 private:
  // 64 coefficients of a 16-bit code and 15 extra bits each, every byte stuffed, and the rest of the last byte.
  static constexpr int kMaxBlockBytes = 64 * 31 / 8 * 2 + 8;
  // And the correction bits that AC refinement holds back, and 24 bytes in front of which the coder leaves its fast
  // path.
  static constexpr int kMaxMcuBytes = kMaxBlocksPerMcu * kMaxBlockBytes + 1024 / 8 * 2 + 24;
  static constexpr int kBuffer = 65536;
  ZelStatus code(const int16_t* coefficients, int part, int flush);
  void flush();
  void spill();

  const Scan scan_;
  const ScanKind kind_;
  const ZeliEncodeHuffmanSpec *dc_[kMaxComponents], *ac_[kMaxComponents];
  Sink* const out_;
  const std::unique_ptr<uint8_t[]> buffer_;
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
