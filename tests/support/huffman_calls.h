// The functions under test and the plain coders side by side, call by call: every status, byte, position, bit count,
// marker, predictor and state record, with random bits wherever a record holds none.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <tuple>

#include "support/data.h"
#include "support/huffman_reference.h"

namespace zeltest {

inline uint64_t ones(int n) { return (uint64_t(1) << n) - 1; }

// An encoder and the same in plain; or, where the room is 0, the statistics.
class EncoderPair {
 public:
  EncoderPair(const HuffmanScan& scan, int room, const ZeliEncodeHuffmanState& start = {})
      : state(start), reference_{scan, room == 0}, random_(uint64_t(room)) {
    reference_.state = start;
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
    if (!src_) src_ = std::make_unique<Guarded<int16_t>>(data.size());
    std::copy(data.begin(), data.end(), src_->data());
    const ZelStatus want = reference_.code(data, flush), got = reference_.counting ? count(flush) : encode(flush);
    state.bits &= pendingBits();
    const auto fields = [](ZelStatus status, int pos, int lastDC, const ZeliEncodeHuffmanState& s) {
      return std::tuple(status, pos, lastDC, s.bits, s.bitCount, s.eobRun, s.correctionBitCount);
    };
    EXPECT_EQ(fields(want, reference_.pos, reference_.lastDC, reference_.state), fields(got, pos_, lastDC_, state))
        << "status, position, predictor, state; room for " << dst_->size();
    EXPECT_EQ(0, std::memcmp(reference_.state.correctionBits, state.correctionBits, sizeof state.correctionBits));
    EXPECT_TRUE(std::equal(dst_->data(), dst_->data() + pos_, reference_.dst.data()))
        << "the first " << pos_ << " bytes";
    EXPECT_EQ(reference_.counts, counts);
    return got;
  }
  std::vector<uint8_t> bytes() const { return {dst_->data(), dst_->data() + pos_}; }

  ZeliEncodeHuffmanState state;
  std::vector<int32_t> counts = std::vector<int32_t>(4 * 256);

 private:
  uint64_t pendingBits() const { return ones(24) & ~ones(24 - state.bitCount); }

  ZelStatus encode(int flush) {
    const Api& z = zel();
    const HuffmanScan& s = reference_.scan;
    const auto with = [&](auto f, auto... arguments) {
      return f(src_->data(), dst_->data(), int(dst_->size()), &pos_, arguments..., &state, flush);
    };
    if (s.coder == kDcRefinement) return with(z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, s.al);
    const ZeliEncodeHuffmanSpec* tables[5] = {};
    const int16_t* rows[5] = {};
    const size_t n = src_->size() / s.components();
    for (size_t i = 0; i < s.tables.size(); ++i) {
      tables[i] = &s.tables[i].enc;
      rows[i] = src_->data() + i * n;
    }
    if (s.coder == kBaseline) return with(z.zeliEncodeHuffman8x8_JPEG_16s1u_C1, &lastDC_, tables[0], tables[1]);
    if (s.coder == kDcFirst) return with(z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, &lastDC_, s.al, tables[0]);
    if (s.coder == kDifference) return with(z.zeliEncodeHuffmanOne_JPEG_16s1u_C1, tables[0]);
    if (s.isBand())
      return with(s.coder == kAcFirst ? z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1
                                      : z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1,
                  s.ss, s.se, s.al, tables[0]);
    return z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, int(n), s.rows, dst_->data(), int(dst_->size()), &pos_, tables,
                                                  &state, flush);
  }

  ZelStatus count(int flush) {
    const Api& z = zel();
    const HuffmanScan& s = reference_.scan;
    const int16_t* src = src_->data();
    int32_t* first = counts.data();
    if (s.coder == kBaseline) return z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1(src, first, first + 256, &lastDC_);
    if (s.coder == kDcFirst) return z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(src, first, &lastDC_, s.al);
    if (s.coder == kDifference) return z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1(src, first);
    const auto f = s.coder == kAcFirst ? z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                       : z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
    return f(src, first, s.ss, s.se, s.al, &state, flush);
  }

  ReferenceEncoder reference_;
  Random random_;
  std::unique_ptr<Guarded<int16_t>> src_;
  std::unique_ptr<Guarded<uint8_t>> dst_;
  int pos_ = 0;
  int16_t lastDC_ = 0;
};

struct CodedScan {
  ZelStatus status;  // of the first call that fails
  std::vector<uint8_t> bytes;
  std::vector<int32_t> counts;
};

// A scan of these calls and its flush into so much room, or its statistics (0). Where the room is too little, the flush
// writes what the record still holds to another destination.
inline CodedScan codeScan(const HuffmanScan& scan, const std::vector<Coefficients>& calls, int room,
                          const ZeliEncodeHuffmanState& start = {}) {
  EncoderPair pair(scan, room, start);
  ZelStatus status = zelStsNoErr;
  for (size_t i = 0; i < calls.size() && status == zelStsNoErr && !testing::Test::HasFailure(); ++i)
    status = pair.call(calls[i]);
  if (room > 0 && status != zelStsNoErr) pair.setRoom(2000);
  if (room > 0 || (scan.isBand() && status == zelStsNoErr)) {
    const ZelStatus flushed = pair.call(calls[0], true);
    if (status == zelStsNoErr) status = flushed;
  }
  return {status, pair.bytes(), pair.counts};
}

class DecoderPair {
 public:
  DecoderPair(const HuffmanScan& scan, const std::vector<uint8_t>& stream)
      : scan_(scan), random_(stream.size()), src_(stream), at{scan_, src_.data(), int(stream.size())} {}
  DecoderPair(const DecoderPair&) = delete;

  // Both from the same place. On the fast path the function may have read other bytes than the steps of the standard,
  // up to the same bit.
  ZelStatus call(Coefficients* data) {
    ReferenceDecoder reference = at;
    Coefficients wanted = *data;
    const bool mayBeFast = at.marker == 0 && at.length - at.pos >= fastBytes(data->size());
    if (random_.below(2)) at.state.bits |= random_.next() << at.state.bitCount;  // no data
    if (!dst_) dst_ = std::make_unique<Guarded<int16_t>>(data->size());
    std::copy(data->begin(), data->end(), dst_->data());
    const ZelStatus want = reference.decode(&wanted), got = decode();
    *data = dst_->copy();
    if (mayBeFast && endsInHalf() && want == zelStsJPEGOutOfBufErr && !(got == want && startsAfresh())) {
      EXPECT_TRUE(got == zelStsNoErr || got == want) << got;
      return want;
    }
    EXPECT_EQ(want, got) << at.pos << " of " << at.length;
    EXPECT_EQ(wanted, *data);
    const auto fields = [](const ReferenceDecoder& d) {
      return std::tuple(d.lastDC, d.state.eobRun, d.state.lastPosition);
    };
    EXPECT_EQ(fields(reference), fields(at));
    EXPECT_GE(at.state.bitCount, 0);
    EXPECT_LE(at.state.bitCount, 32);
    if (testing::Test::HasFailure()) return got;
    at.state.bits &= ones(at.state.bitCount);
    ReferenceDecoder reached = at;
    if (got == zelStsNoErr && mayBeFast) {
      while (reference.pos < at.pos) reference.readByte();
      while (reached.pos < reference.pos) reached.readByte();
    }
    const auto place = [](const ReferenceDecoder& d) {
      return std::tuple(d.pos, d.marker, d.state.bitCount, d.state.bits & ones(d.state.bitCount));
    };
    EXPECT_EQ(place(reference), place(reached)) << "position, marker, bits";
    return got;
  }

 private:
  int fastBytes(size_t coefficients) const {
    if (!scan_.isLossless()) return 24;
    return scan_.coder == kRow && scan_.rows <= 4 ? 2 * int(coefficients / scan_.components()) : INT32_MAX;
  }

  // Half of a marker or of a stuffed byte, at which the standard's steps fail with bits in hand. The fast path may have
  // used these; what it has decoded then stays in bands and rows.
  bool endsInHalf() const { return at.length > 0 && at.src[at.length - 1] == 0xFF; }
  bool startsAfresh() const { return scan_.coder == kBaseline || scan_.coder == kAcRefinement; }

  ZelStatus decode() {
    const Api& z = zel();
    const HuffmanScan& s = scan_;
    const auto with = [&](auto f, auto... arguments) {
      return f(src_.data(), at.length, &at.pos, dst_->data(), arguments..., &at.state);
    };
    int* marker = &at.marker;
    if (s.coder == kDcRefinement) return with(z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, marker, s.al);
    const ZeliDecodeHuffmanSpec* tables[5] = {};
    int16_t* rows[5] = {};
    const size_t n = dst_->size() / s.components();
    for (size_t i = 0; i < s.tables.size(); ++i) {
      tables[i] = &s.tables[i].dec;
      rows[i] = dst_->data() + i * n;
    }
    if (s.coder == kBaseline)
      return with(z.zeliDecodeHuffman8x8_JPEG_1u16s_C1, &at.lastDC, marker, tables[0], tables[1]);
    if (s.coder == kDcFirst)
      return with(z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, &at.lastDC, marker, s.al, tables[0]);
    if (s.coder == kDifference) return with(z.zeliDecodeHuffmanOne_JPEG_1u16s_C1, marker, tables[0]);
    if (s.isBand())
      return with(s.coder == kAcFirst ? z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1
                                      : z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1,
                  marker, s.ss, s.se, s.al, tables[0]);
    return z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(src_.data(), at.length, &at.pos, rows, int(n), s.rows, marker, tables,
                                                  &at.state);
  }

  HuffmanScan scan_;
  Random random_;
  Guarded<uint8_t> src_;
  std::unique_ptr<Guarded<int16_t>> dst_;

 public:
  ReferenceDecoder at;  // where the function under test is
};

// Decodes calls into `data`, from its coefficients on, until an error.
inline ZelStatus decodeScan(const HuffmanScan& scan, const std::vector<uint8_t>& stream,
                            std::vector<Coefficients>* data) {
  DecoderPair pair(scan, stream);
  for (Coefficients& c : *data) {
    const ZelStatus status = pair.call(&c);
    if (status != zelStsNoErr || testing::Test::HasFailure()) return status;
  }
  return zelStsNoErr;
}

}  // namespace zeltest
