#include "jpeg_writer.h"

#include <algorithm>
#include <cstdlib>

#include "error.h"

namespace zelcodecs::jpeg {

// ---- Segments -------------------------------------------------------------------------------------------------------

void SegmentWriter::marker(int code) {
  byte(0xFF);
  byte(code);
}

void SegmentWriter::begin(int code, size_t payload) {
  marker(code);
  word(static_cast<int>(payload) + 2);
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
  begin(kDHT, 17 + static_cast<size_t>(count));
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
  byte(static_cast<int>(frame.components.size()));
  for (const Component& c : frame.components) {
    byte(c.id);
    byte(c.h << 4 | c.v);
    byte(c.quantTable);
  }
}

void SegmentWriter::scan(const Frame& frame, const Scan& scan) {
  begin(kSOS, 4 + 2 * static_cast<size_t>(scan.count));
  byte(scan.count);
  for (int i = 0; i < scan.count; ++i) {
    byte(frame.components[static_cast<size_t>(scan.parts[i].component)].id);
    byte(scan.parts[i].dcTable << 4 | scan.parts[i].acTable);
  }
  byte(scan.ss);
  byte(scan.se);
  byte(scan.ah << 4 | scan.al);
}

// ---- Entropy-coded data ---------------------------------------------------------------------------------------------

void EncoderTables::set(const HuffmanTable& dcTable, const HuffmanTable& acTable) {
  if (zeliEncodeHuffmanSpecInit_JPEG_8u(dcTable.bits, dcTable.values, &dc) != zelStsNoErr ||
      zeliEncodeHuffmanSpecInit_JPEG_8u(acTable.bits, acTable.values, &ac) != zelStsNoErr)
    throw Error(ErrorKind::argument, "a Huffman table that no encoder can use");
}

ScanEncoder::ScanEncoder(std::vector<uint8_t>* out) : out_(out), buffer_(new uint8_t[kBuffer]) {
  zeliEncodeHuffmanStateInit_JPEG_8u(&state_);
}

void ScanEncoder::block(const int16_t* coefficients, int component, const EncoderTables& tables) {
  const ZelStatus status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(coefficients, buffer_.get(), kBuffer, &position_,
                                                              &lastDc_[component], &tables.dc, &tables.ac, &state_, 0);
  if (status != zelStsNoErr) throw Error(ErrorKind::argument, "a coefficient that the Huffman tables have no code for");
}

void ScanEncoder::flushBits() {
  zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, buffer_.get(), kBuffer, &position_, nullptr, nullptr, nullptr, &state_,
                                     1);
}

void ScanEncoder::spill() {
  out_->insert(out_->end(), buffer_.get(), buffer_.get() + position_);
  position_ = 0;
}

void ScanEncoder::restart(int number) {
  flushBits();
  uint8_t* const to = buffer_.get() + position_;
  to[0] = 0xFF;
  to[1] = static_cast<uint8_t>(kRST0 + number);
  position_ += 2;
  std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0});
}

void ScanEncoder::finish() {
  flushBits();
  spill();
}

// ---- Optimised tables -----------------------------------------------------------------------------------------------

namespace {

int category(int v) {
  int n = 0;
  for (v = std::abs(v); v; v >>= 1) ++n;
  return n;
}

}  // namespace

// The symbols of T.81 F.1.2, in the order in which they are coded.
void SymbolCounter::block(const int16_t* coefficients, int component, int table) {
  ++dc_[table][category(coefficients[0] - lastDc_[component])];
  lastDc_[component] = coefficients[0];
  int zeros = 0;
  for (int k = 1; k < 64; ++k) {
    const int v = coefficients[kNaturalOrder[k]];
    if (v == 0) {
      ++zeros;
      continue;
    }
    for (; zeros > 15; zeros -= 16) ++ac_[table][0xF0];
    ++ac_[table][zeros << 4 | category(v)];
    zeros = 0;
  }
  if (zeros) ++ac_[table][0];
}

void SymbolCounter::restart() { std::fill(lastDc_, lastDc_ + kMaxComponents, int16_t{0}); }

HuffmanTable SymbolCounter::build(const int32_t* counts) {
  HuffmanTable t = {};
  if (zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, t.bits, t.values) != zelStsNoErr)
    throw Error(ErrorKind::argument, "no Huffman table can be made for these coefficients");
  return t;
}

}  // namespace zelcodecs::jpeg
