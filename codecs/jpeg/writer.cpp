#include "jpeg/writer.h"

#include <algorithm>

#include "common/error.h"

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

void SegmentWriter::jfif() {
  begin(kAPP0, 14);
  for (int c : {0x4A, 0x46, 0x49, 0x46, 0, 1, 1}) byte(c);  // "JFIF", version 1.1
  byte(0);                                                  // the densities give an aspect ratio: square pixels
  word(1);
  word(1);
  byte(0);  // no thumbnail
  byte(0);
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

// ---- Tables ---------------------------------------------------------------------------------------------------------

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

ScanEncoder::ScanEncoder(const Scan& scan, ScanKind kind, const EncoderTables* tables, std::vector<uint8_t>* out)
    : scan_(scan), kind_(kind), out_(out), buffer_(new uint8_t[kBuffer]) {
  for (int i = 0; i < scan.count; ++i) {
    dc_[i] = &tables[scan.parts[i].dcTable].dc;
    ac_[i] = &tables[scan.parts[i].acTable].ac;
  }
  zeliEncodeHuffmanStateInit_JPEG_8u(&state_);
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
  out_->insert(out_->end(), buffer_.get(), buffer_.get() + position_);
  position_ = 0;
}

void ScanEncoder::restart(int number) {
  finish();
  out_->push_back(0xFF);
  out_->push_back(uint8_t(kRST0 + (number & 7)));
  std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0});
}

void ScanEncoder::finish() {
  if (code(nullptr, 0, 1) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a run of blocks that the Huffman tables have no code for");
  spill();
}

// ---- Optimised tables -----------------------------------------------------------------------------------------------

SymbolCounter::SymbolCounter(const Scan& scan, ScanKind kind) : scan_(scan), kind_(kind) {
  zeliEncodeHuffmanStateInit_JPEG_8u(&state_);
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
    zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(nullptr, ac, scan_.ss, scan_.se, scan_.al, &state_, 1);
  else if (kind_ == ScanKind::acRefine)
    zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(nullptr, ac, scan_.ss, scan_.se, scan_.al, &state_, 1);
}

void SymbolCounter::add(const SymbolCounter& other) {
  for (int t = 0; t < 2; ++t)
    for (int k = 0; k < 256; ++k) {
      dc_[t][k] += other.dc_[t][k];
      ac_[t][k] += other.ac_[t][k];
    }
}

}  // namespace zelcodecs::jpeg
