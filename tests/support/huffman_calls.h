// The functions under test and the plain coders side by side, call by call: every status, byte, position, bit count,
// marker, predictor and state record, with random bits wherever a record holds none.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/data.h"
#include "support/huffman_reference.h"

namespace zeltest {

inline uint64_t ones(int n) { return (uint64_t(1) << n) - 1; }

// ---- Encoders ----

inline ZelStatus encode(const HuffmanScan& s, const int16_t* src, size_t size, uint8_t* dst, int length, int* pos,
                        int16_t* lastDC, ZeliEncodeHuffmanState* state, int flush) {
  const Api& z = zel();
  const auto& [ss, se, al] = s.band;
  const ZeliEncodeHuffmanSpec* table = s.tables.empty() ? nullptr : &s.tables[0]->enc;
  if (s.coder == HuffmanScan::baseline)
    return z.zeliEncodeHuffman8x8_JPEG_16s1u_C1(src, dst, length, pos, lastDC, table, &s.tables[1]->enc, state, flush);
  if (s.coder == HuffmanScan::dcFirst)
    return z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(src, dst, length, pos, lastDC, al, table, state, flush);
  if (s.coder == HuffmanScan::dcRefinement)
    return z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(src, dst, length, pos, al, state, flush);
  if (s.coder == HuffmanScan::acFirst)
    return z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(src, dst, length, pos, ss, se, al, table, state, flush);
  if (s.coder == HuffmanScan::acRefinement)
    return z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(src, dst, length, pos, ss, se, al, table, state, flush);
  if (s.coder == HuffmanScan::difference)
    return z.zeliEncodeHuffmanOne_JPEG_16s1u_C1(src, dst, length, pos, table, state, flush);
  const int16_t* rows[5] = {};
  const ZeliEncodeHuffmanSpec* tables[5] = {};
  const size_t n = size / s.components();
  for (size_t c = 0; c < s.components(); ++c) {
    rows[c] = src + c * n;
    tables[c] = &s.tables[c]->enc;
  }
  return z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, int(n), s.rows, dst, length, pos, tables, state, flush);
}

inline void expectState(const ZeliEncodeHuffmanState& want, const ZeliEncodeHuffmanState& got) {
  EXPECT_EQ(want.bits, got.bits);
  EXPECT_EQ(want.bitCount, got.bitCount);
  EXPECT_EQ(want.eobRun, got.eobRun);
  EXPECT_EQ(want.correctionBitCount, got.correctionBitCount);
  EXPECT_EQ(0, std::memcmp(want.correctionBits, got.correctionBits, sizeof want.correctionBits));
}

class EncoderPair {
 public:
  EncoderPair(const HuffmanScan& scan, int room) : scan_(scan), random_(uint64_t(room)) {
    for (const HuffmanTable* t : scan.tables) alphabets_.push_back({&t->enc});
    setRoom(room);
  }
  // A new, empty destination; the states stay.
  void setRoom(int room) {
    dst_ = std::make_unique<Guarded<uint8_t>>(size_t(room));
    reference_.dst.assign(size_t(room), 0);
    reference_.pos = pos_ = 0;
  }
  ZelStatus call(const Coefficients& data, bool flush = false) {
    if (random_.below(2)) state.bits |= random_.next() & ~pendingBits();  // no data
    const ZelStatus want = reference_.code(scan_, data, &referenceLastDC_, alphabets_, flush);
    if (!src_) src_ = std::make_unique<Guarded<int16_t>>(data.size());
    std::copy(data.begin(), data.end(), src_->data());
    const ZelStatus got =
        encode(scan_, src_->data(), data.size(), dst_->data(), int(dst_->size()), &pos_, &lastDC_, &state, flush);
    EXPECT_EQ(want, got) << "room for " << dst_->size() << " bytes";
    EXPECT_EQ(reference_.pos, pos_) << "room for " << dst_->size() << " bytes";
    EXPECT_EQ(referenceLastDC_, lastDC_);
    EXPECT_TRUE(std::equal(dst_->data(), dst_->data() + pos_, reference_.dst.begin()))
        << "the first " << pos_ << " bytes";
    state.bits &= pendingBits();
    expectState(reference_.state, state);
    return got;
  }
  std::vector<uint8_t> bytes() const { return {dst_->data(), dst_->data() + pos_}; }
  // Of the functions under test; a test that sets fields sets them for the reference as well.
  ZeliEncodeHuffmanState state = {};
  void shareState() { reference_.state = state; }

 private:
  uint64_t pendingBits() const { return ones(24) & ~ones(24 - state.bitCount); }

  HuffmanScan scan_;
  Random random_;
  std::vector<Alphabet> alphabets_;
  std::unique_ptr<Guarded<int16_t>> src_;
  std::unique_ptr<Guarded<uint8_t>> dst_;
  ReferenceEncoder reference_;
  int pos_ = 0;
  int16_t lastDC_ = 0, referenceLastDC_ = 0;
};

// A scan of these calls and its flush into so much room. Where that is too little, the flush writes what the record
// still holds to another destination.
inline std::vector<uint8_t> encodeScan(const HuffmanScan& scan, const std::vector<Coefficients>& calls, int room) {
  EncoderPair pair(scan, room);
  ZelStatus status = zelStsNoErr;
  for (size_t i = 0; i < calls.size() && status == zelStsNoErr; ++i) {
    status = pair.call(calls[i]);
    if (testing::Test::HasFailure()) return {};
  }
  if (status != zelStsNoErr) pair.setRoom(2000);
  status = pair.call(calls[0], true);
  return pair.bytes();
}

// ---- Statistics ----

inline ZelStatus count(const HuffmanScan& s, const Coefficients& data, int32_t* dcCounts, int32_t* counts,
                       int16_t* lastDC, ZeliEncodeHuffmanState* state, int flush) {
  const Api& z = zel();
  const int16_t* src = data.data();
  const auto& [ss, se, al] = s.band;
  if (s.coder == HuffmanScan::baseline) return z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1(src, dcCounts, counts, lastDC);
  if (s.coder == HuffmanScan::dcFirst)
    return z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(src, dcCounts, lastDC, al);
  if (s.coder == HuffmanScan::acFirst)
    return z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(src, counts, ss, se, al, state, flush);
  if (s.coder == HuffmanScan::acRefinement)
    return z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(src, counts, ss, se, al, state, flush);
  if (s.coder == HuffmanScan::difference) return z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1(src, counts);
  return zelStsErr;
}

struct SymbolCounts {
  std::vector<int32_t> dc = std::vector<int32_t>(256), other = dc;
};

// Counts a scan's symbols from a state on; progressive AC scans end with a flush. *status: the last.
inline SymbolCounts countScan(const HuffmanScan& scan, const std::vector<Coefficients>& calls, ZelStatus* status,
                              ZeliEncodeHuffmanState state = {}) {
  const bool isDc = scan.coder == HuffmanScan::dcFirst || scan.coder == HuffmanScan::baseline;
  SymbolCounts got, want;
  const Alphabet dc = {nullptr, want.dc.data()}, other = {nullptr, want.other.data()};
  ReferenceEncoder reference;
  reference.state = state;
  int16_t lastDC = 0, referenceLastDC = 0;
  for (size_t i = 0; i < calls.size() + scan.isBand(); ++i) {
    const bool flush = i == calls.size();
    const Coefficients& data = calls[flush ? 0 : i];
    *status = count(scan, data, got.dc.data(), got.other.data(), &lastDC, &state, flush);
    EXPECT_EQ(reference.code(scan, data, &referenceLastDC, {isDc ? dc : other, other}, flush), *status);
    EXPECT_EQ(referenceLastDC, lastDC);
    expectState(reference.state, state);
    if (*status != zelStsNoErr || testing::Test::HasFailure()) break;
  }
  EXPECT_EQ(want.dc, got.dc);
  EXPECT_EQ(want.other, got.other);
  return got;
}

// A table with codes for the counted symbols alone.
inline HuffmanTable fittedTable(const std::vector<int32_t>& counts) {
  HuffmanTable table;
  std::copy(counts.begin(), counts.end(), table.counts);
  table.fit();
  return table;
}

// ---- Decoders ----

inline ZelStatus decode(const HuffmanScan& s, int16_t* dst, size_t size, const uint8_t* src, int length, int* pos,
                        int* marker, int16_t* lastDC, ZeliDecodeHuffmanState* state) {
  const Api& z = zel();
  const auto& [ss, se, al] = s.band;
  const ZeliDecodeHuffmanSpec* table = s.tables.empty() ? nullptr : &s.tables[0]->dec;
  if (s.coder == HuffmanScan::baseline)
    return z.zeliDecodeHuffman8x8_JPEG_1u16s_C1(src, length, pos, dst, lastDC, marker, table, &s.tables[1]->dec, state);
  if (s.coder == HuffmanScan::dcFirst)
    return z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src, length, pos, dst, lastDC, marker, al, table, state);
  if (s.coder == HuffmanScan::dcRefinement)
    return z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src, length, pos, dst, marker, al, state);
  if (s.coder == HuffmanScan::acFirst)
    return z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(src, length, pos, dst, marker, ss, se, al, table, state);
  if (s.coder == HuffmanScan::acRefinement)
    return z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(src, length, pos, dst, marker, ss, se, al, table, state);
  if (s.coder == HuffmanScan::difference)
    return z.zeliDecodeHuffmanOne_JPEG_1u16s_C1(src, length, pos, dst, marker, table, state);
  int16_t* rows[5] = {};
  const ZeliDecodeHuffmanSpec* tables[5] = {};
  const size_t n = size / s.components();
  for (size_t c = 0; c < s.components(); ++c) {
    rows[c] = dst + c * n;
    tables[c] = &s.tables[c]->dec;
  }
  return z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(src, length, pos, rows, int(n), s.rows, marker, tables, state);
}

// A stream whose bits are known: which of them a position and a bit count stand for.
class EntropyCodedBits {
 public:
  explicit EntropyCodedBits(const std::vector<uint8_t>& stream) : dataBefore_(stream.size() + 1) {
    size_t i = 0;
    while (i < stream.size()) {
      const size_t start = i;
      while (i < stream.size() && stream[i] == 0xFF) ++i;
      if (i > start && (i == stream.size() || stream[i] != 0)) break;  // a marker, or the end
      data_.push_back(i > start ? 0xFF : stream[i]);
      std::fill(dataBefore_.begin() + int64_t(++i), dataBefore_.end(), data_.size());
    }
  }
  int64_t consumed(int pos, int bitCount) const { return int64_t(dataBefore_[size_t(pos)]) * 8 - bitCount; }
  uint64_t bits(int64_t at, int n) const {
    uint64_t value = 0;
    for (; n > 0; --n, ++at) value = value << 1 | (data_[size_t(at / 8)] >> (7 - at % 8) & 1);
    return value;
  }

 private:
  std::vector<uint8_t> data_;
  std::vector<size_t> dataBefore_;
};

class DecoderPair {
 public:
  DecoderPair(const HuffmanScan& scan, const std::vector<uint8_t>& stream)
      : scan_(scan), random_(stream.size()), src_(stream.size()), stream_(stream) {
    std::copy(stream.begin(), stream.end(), src_.data());
  }

  // Both from the same state. The fast path may have read other bytes than the steps of the standard, up to the same
  // bit.
  ZelStatus call(Coefficients* data) {
    const int length = int(src_.size());
    ReferenceDecoder reference;
    reference.src = src_.data();
    reference.length = length;
    reference.pos = pos;
    reference.marker = marker;
    reference.state = state;
    reference.state.bits &= ones(state.bitCount);
    int16_t referenceLastDC = lastDC_;
    Coefficients wanted = *data;
    const bool mayBeFast = marker == 0 && length - pos >= fastBytes(data->size());
    if (random_.below(2)) state.bits |= random_.next() << state.bitCount;  // no data
    const ZelStatus want = reference.decode(scan_, &wanted, &referenceLastDC);
    if (!dst_) dst_ = std::make_unique<Guarded<int16_t>>(data->size());
    std::copy(data->begin(), data->end(), dst_->data());
    const ZelStatus got =
        decode(scan_, dst_->data(), data->size(), src_.data(), length, &pos, &marker, &lastDC_, &state);
    *data = dst_->copy();
    EXPECT_EQ(want, got) << pos << " of " << length;
    EXPECT_EQ(wanted, *data);
    EXPECT_EQ(referenceLastDC, lastDC_);
    EXPECT_EQ(reference.state.eobRun, state.eobRun);
    EXPECT_EQ(reference.state.lastPosition, state.lastPosition);
    if (testing::Test::HasFailure()) return got;
    state.bits &= ones(state.bitCount);
    if (got != zelStsNoErr || !mayBeFast) {
      EXPECT_EQ(reference.pos, pos);
      EXPECT_EQ(reference.marker, marker);
      EXPECT_EQ(reference.state.bitCount, state.bitCount);
      EXPECT_EQ(reference.state.bits & ones(reference.state.bitCount), state.bits);
      return got;
    }
    if (marker != 0) EXPECT_EQ(reference.marker, marker);  // which the standard's steps may meet sooner
    EXPECT_GE(state.bitCount, 0);
    EXPECT_LE(state.bitCount, 32);
    const int64_t consumed = stream_.consumed(pos, state.bitCount);
    EXPECT_EQ(stream_.consumed(reference.pos, reference.state.bitCount), consumed);
    EXPECT_EQ(stream_.bits(consumed, state.bitCount), state.bits);
    return got;
  }

  int pos = 0, marker = 0;
  ZeliDecodeHuffmanState state = {};

 private:
  int fastBytes(size_t coefficients) const {
    if (scan_.coder == HuffmanScan::difference || scan_.rows > 4) return INT32_MAX;
    return scan_.coder == HuffmanScan::row ? 2 * int(coefficients / scan_.components()) : 24;
  }

  HuffmanScan scan_;
  Random random_;
  Guarded<uint8_t> src_;
  std::unique_ptr<Guarded<int16_t>> dst_;
  EntropyCodedBits stream_;
  int16_t lastDC_ = 0;
};

// Decodes calls into `data`, from its coefficients on, until an error. *status: the last.
inline void decodeScan(const HuffmanScan& scan, const std::vector<uint8_t>& stream, std::vector<Coefficients>* data,
                       ZelStatus* status) {
  DecoderPair pair(scan, stream);
  *status = zelStsNoErr;
  for (Coefficients& c : *data) {
    *status = pair.call(&c);
    if (*status != zelStsNoErr || testing::Test::HasFailure()) return;
  }
}

inline std::vector<uint8_t> truncated(const std::vector<uint8_t>& stream, int length) {
  return {stream.begin(), stream.begin() + length};
}

}  // namespace zeltest
