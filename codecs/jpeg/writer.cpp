// Segments, tables and the coding of blocks.
#include "jpeg/writer.h"

#include <algorithm>

#include "common/error.h"
#include "jpeg/segments.h"

namespace zelcodecs::jpeg {

// ---- Segments -------------------------------------------------------------------------------------------------------

void SegmentWriter::marker(int code) {
  byte(0xFF);
  byte(code);
}

void SegmentWriter::begin(int code, size_t payload) {
  marker(code);
  word(int(payload) + 2);
}

void SegmentWriter::adobe(int transform) {
  begin(kAPP14, 12);
  for (char c : {'A', 'd', 'o', 'b', 'e'}) byte(c);
  word(100);
  word(0);
  word(0);
  byte(transform);
}

void SegmentWriter::quantTable(int number, const uint16_t* steps) {
  const bool wide = *std::max_element(steps, steps + 64) > 255;
  begin(kDQT, wide ? 129 : 65);
  byte((wide ? 16 : 0) | number);
  for (int k = 0; k < 64; ++k) {
    if (wide)
      word(steps[kNaturalOrder[k]]);
    else
      byte(steps[kNaturalOrder[k]]);
  }
}

void SegmentWriter::huffmanTable(int tableClass, int number, const HuffmanTable& table) {
  const int count = table.count();
  begin(kDHT, 17 + size_t(count));
  byte(tableClass << 4 | number);
  out_->insert(out_->end(), table.bits, table.bits + 16);
  out_->insert(out_->end(), table.values, table.values + count);
}

void SegmentWriter::restartInterval(int mcus) {
  begin(kDRI, 2);
  word(mcus);
}

void SegmentWriter::frame(const Frame& frame) {
  begin(frame.process, 6 + 3 * frame.components.size());
  byte(frame.precision);
  word(frame.height);
  word(frame.width);
  byte(int(frame.components.size()));
  for (const Component& c : frame.components) {
    byte(c.id);
    byte(c.h << 4 | c.v);
    byte(c.quantTable);
  }
}

void SegmentWriter::scan(const Frame& frame, const Scan& scan) {
  begin(kSOS, 4 + 2 * size_t(scan.count));
  byte(scan.count);
  for (int i = 0; i < scan.count; ++i) {
    byte(frame.components[size_t(scan.parts[i].component)].id);
    byte(scan.parts[i].dcTable << 4 | scan.parts[i].acTable);
  }
  byte(scan.ss);
  byte(scan.se);
  byte(scan.ah << 4 | scan.al);
}

void writeHead(const FileHead& head, Frame frame, std::vector<uint8_t>* out, Warnings* warnings) {
  SegmentWriter segments(out);
  segments.marker(kSOI);
  writeMetadata(head.metadata, head.jfif, out, warnings);
  if (head.adobeTransform >= 0) segments.adobe(head.adobeTransform);
  int tables = 0;
  for (size_t i = 0; i < frame.components.size() && head.steps[i]; ++i) {
    size_t same = 0;
    while (!std::equal(head.steps[i], head.steps[i] + 64, head.steps[same])) ++same;
    frame.components[i].quantTable = same < i ? frame.components[same].quantTable : tables++;
    if (same == i) segments.quantTable(frame.components[i].quantTable, head.steps[i]);
  }
  segments.frame(frame);
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

namespace {

const HuffmanTable& standardTable(int tableClass, int number) {
  if (tableClass == 0) return number ? kChrominanceDc : kLuminanceDc;
  return number ? kChrominanceAc : kLuminanceAc;
}

}  // namespace

void standardTables(int count, SegmentWriter* segments, EncoderTables* tables) {
  for (int t = 0; t < count; ++t) {
    segments->huffmanTable(0, t, standardTable(0, t));
    segments->huffmanTable(1, t, standardTable(1, t));
    initEncoderTable(standardTable(0, t), &tables[t].dc);
    initEncoderTable(standardTable(1, t), &tables[t].ac);
  }
}

std::vector<int> huffmanTables(size_t components, int adobeTransform) {
  if (components < 3 || adobeTransform == 0) return std::vector<int>(components, 0);
  return components == 3 ? std::vector<int>{0, 1, 1} : std::vector<int>{0, 1, 1, 0};
}

HuffmanTable fittedTable(const int32_t* counts) {
  HuffmanTable t = {};
  if (zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, t.bits, t.values) != zelStsNoErr)
    throw Error(ErrorKind::argument, "no Huffman table can be made for these coefficients");
  return t;
}

void initEncoderTable(const HuffmanTable& table, ZeliEncodeHuffmanSpec* spec) {
  if (zeliEncodeHuffmanSpecInit_JPEG_8u(table.bits, table.values, spec) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a Huffman table that no encoder can use");
}

// ---- Entropy-coded data ---------------------------------------------------------------------------------------------

ScanKind kindOf(const Scan& scan, bool progressive) {
  if (!progressive) return ScanKind::sequential;
  if (scan.ss == 0) return scan.ah ? ScanKind::dcRefine : ScanKind::dcFirst;
  return scan.ah ? ScanKind::acRefine : ScanKind::acFirst;
}

ScanEncoder::ScanEncoder(const Scan& scan, ScanKind kind, const EncoderTables* tables, Sink* out)
    : scan_(scan), kind_(kind), out_(out), buffer_(new uint8_t[kBuffer]) {
  for (int i = 0; i < scan.count; ++i) {
    dc_[i] = &tables[scan.parts[i].dcTable].dc;
    ac_[i] = &tables[scan.parts[i].acTable].ac;
  }
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state_));
}

ZelStatus ScanEncoder::code(const int16_t* block, int part, int flush) {
  uint8_t* const to = buffer_.get();
  switch (kind_) {
    case ScanKind::sequential:
      return zeliEncodeHuffman8x8_JPEG_16s1u_C1(block, to, kBuffer, &position_, &lastDc_[part], dc_[part], ac_[part],
                                                &state_, flush);
    case ScanKind::dcFirst:
      return zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, to, kBuffer, &position_, &lastDc_[part], scan_.al,
                                                        dc_[part], &state_, flush);
    case ScanKind::dcRefine:
      return zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, to, kBuffer, &position_, scan_.al, &state_, flush);
    case ScanKind::acFirst:
      return zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, to, kBuffer, &position_, scan_.ss, scan_.se, scan_.al,
                                                        ac_[part], &state_, flush);
    case ScanKind::acRefine:
      break;
  }
  return zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, to, kBuffer, &position_, scan_.ss, scan_.se, scan_.al,
                                                     ac_[part], &state_, flush);
}

void ScanEncoder::block(const int16_t* coefficients, int part) {
  if (code(coefficients, part, 0) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a coefficient that the Huffman tables have no code for");
}

void ScanEncoder::spill() {
  out_->write(buffer_.get(), size_t(position_));
  position_ = 0;
}

// What is pending of an interval; nothing where there is none.
void ScanEncoder::flush() {
  if (code(nullptr, 0, 1) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a run of blocks that the Huffman tables have no code for");
}

// The room that is kept for an MCU holds the marker as well.
void ScanEncoder::restart(int number) {
  flush();
  buffer_[size_t(position_++)] = 0xFF;
  buffer_[size_t(position_++)] = uint8_t(kRST0 + (number & 7));
  std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0});
  endMcu();
}

void ScanEncoder::finish() {
  flush();
  spill();
}

void ScanEncoder::beginPiece(const int16_t* predictors) { std::copy_n(predictors, kMaxComponents, lastDc_); }

// Pending bits stand in the state from bit 23 down.
BitTail ScanEncoder::endPiece() {
  const int count = state_.bitCount;
  const BitTail tail = {uint32_t(state_.bits >> (24 - count)) & ((1U << count) - 1), count};
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state_));
  spill();
  return tail;
}

// ---- Optimised tables -----------------------------------------------------------------------------------------------

SymbolCounter::SymbolCounter(const Scan& scan, ScanKind kind) : scan_(scan), kind_(kind) {
  require(zeliEncodeHuffmanStateInit_JPEG_8u(&state_));
}

void SymbolCounter::block(const int16_t* block, int part) {
  int32_t *const dc = dc_[scan_.parts[part].dcTable], *const ac = ac_[scan_.parts[part].acTable];
  ZelStatus status = zelStsNoErr;
  if (kind_ == ScanKind::sequential)
    status = zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &lastDc_[part]);
  else if (kind_ == ScanKind::dcFirst)
    status = zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, dc, &lastDc_[part], scan_.al);
  else if (kind_ == ScanKind::acFirst)
    status = zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, ac, scan_.ss, scan_.se, scan_.al, &state_, 0);
  else if (kind_ == ScanKind::acRefine)
    status = zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(block, ac, scan_.ss, scan_.se, scan_.al, &state_, 0);
  if (status != zelStsNoErr) throw Error(ErrorKind::argument, "a coefficient that is too large for its scan");
}

void SymbolCounter::endInterval() {
  std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0});
  int32_t* const ac = ac_[scan_.parts[0].acTable];
  if (kind_ == ScanKind::acFirst)
    require(zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(nullptr, ac, scan_.ss, scan_.se, scan_.al, &state_, 1));
  else if (kind_ == ScanKind::acRefine)
    require(zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(nullptr, ac, scan_.ss, scan_.se, scan_.al, &state_, 1));
}

void SymbolCounter::add(const SymbolCounter& other) {
  for (int t = 0; t < 2; ++t)
    for (int k = 0; k < 256; ++k) {
      dc_[t][k] += other.dc_[t][k];
      ac_[t][k] += other.ac_[t][k];
    }
}

}  // namespace zelcodecs::jpeg
