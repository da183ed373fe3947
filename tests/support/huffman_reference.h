// Plain Huffman coders of JPEG blocks and differences, written from the procedures of ITU-T T.81: Annexes F
// (sequential), G (progressive) and H (lossless). They go bit by bit and coefficient by coefficient, and hold the same
// state records as the functions under test. A step that fails throws its status; what was coded before it stays.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/huffman_table.h"
#include "support/zigzag.h"

namespace zeltest {

inline int categoryOf(int value) {  // Table F.1
  int size = 0;
  for (int magnitude = std::abs(value); magnitude > 0; magnitude >>= 1) ++size;
  return size;
}

template <class Steps>
ZelStatus statusOf(Steps steps) {
  try {
    steps();
  } catch (const ZelStatus s) {
    return s;
  }
  return zelStsNoErr;
}

// What the calls of a scan code: a block's share of it, one difference, or a row of them (component by component).
enum HuffmanCoder { kBaseline, kDcFirst, kDcRefinement, kAcFirst, kAcRefinement, kDifference, kRow };
struct HuffmanScan {
  HuffmanCoder coder;
  int ss = 1, se = 63, al = 0;
  int rows = 1;                           // as passed for a row; from the fifth on they are ignored
  std::vector<HuffmanTable> tables = {};  // DC and AC; or one for each component of a row
  size_t components() const { return coder == kRow ? size_t(rows < 4 ? rows : 4) : 1; }
  bool isBand() const { return coder == kAcFirst || coder == kAcRefinement; }
  bool isLossless() const { return coder == kDifference || coder == kRow; }
};

using Coefficients = std::vector<int16_t>;  // of one call

// Calls step(i, c) for the differences of a row, sample by sample: difference i is of component c.
template <class Step>
void forEachDifference(const HuffmanScan& scan, size_t size, Step step) {
  const size_t components = scan.components(), n = size / components;
  for (size_t x = 0; x < n; ++x)
    for (size_t c = 0; c < components; ++c) step(c * n + x, c);
}

class ReferenceEncoder {
 public:
  HuffmanScan scan;
  bool counting = false;  // a statistics pass: symbols are counted, not written
  std::vector<int32_t> counts = std::vector<int32_t>(4 * 256);
  std::vector<uint8_t> dst = {};
  int pos = 0;
  int16_t lastDC = 0;
  ZeliEncodeHuffmanState state = {};

  ZelStatus code(const Coefficients& data, bool flushes) {
    if (flushes) return scan.isBand() ? flushBand() : flush();
    const int16_t* block = data.data();
    return statusOf([&] {
      if (scan.coder == kBaseline) return baseline(block);
      if (scan.coder == kDcFirst) return dcFirst(block[0] >> scan.al);
      if (scan.coder == kDcRefinement) return put(uint32_t(block[0] >> scan.al), 1);  // G.1.2.1
      if (scan.coder == kAcFirst) return acFirst(block);
      if (scan.coder == kAcRefinement) return acRefinement(block);
      forEachDifference(scan, data.size(), [&](size_t i, size_t c) { difference(block[i], c); });
    });
  }

 private:
  static constexpr int kZeroRun = 0xF0, kEndOfBlock = 0x00;

  // F.1.2: the DC difference, then runs of zeros and coefficients. The statistics bound the categories to 15 and 14.
  void baseline(const int16_t* block) {
    const int difference = block[0] - lastDC;
    lastDC = block[0];
    coefficient(0, 0, difference, counting ? 15 : 16);
    if (runsAndCoefficients(block, 1, counting ? 14 : 15) > 0) symbol(1, kEndOfBlock);
  }

  // G.1.2.1
  void dcFirst(int value) {
    const int difference = value - lastDC;
    lastDC = int16_t(value);
    coefficient(0, 0, difference, 11);
  }

  // G.1.2.2
  void acFirst(const int16_t* block) {
    const int zeros = runsAndCoefficients(block, 0, counting ? 10 : 11);
    if (zeros > 0 && ++state.eobRun == 32767) endOfBandRun();
  }

  // Gives the number of zeros that end the band.
  int runsAndCoefficients(const int16_t* block, size_t table, int maxCategory) {
    int run = 0;
    for (int k = scan.ss; k <= scan.se; ++k) {
      const int value = block[naturalPosition(k)], magnitude = std::abs(value) >> scan.al;
      if (magnitude == 0) {
        ++run;
        continue;
      }
      endOfBandRun();
      for (; run > 15; run -= 16) symbol(table, kZeroRun);
      if (magnitude == 32768 && scan.coder == kBaseline && !counting) throw zelStsJPEGHuffTableErr;  // it has no symbol
      coefficient(table, run, value < 0 ? -magnitude : magnitude, maxCategory);
      run = 0;
    }
    return run;
  }

  // G.1.2.3
  void acRefinement(const int16_t* block) {
    const auto magnitudeAt = [&](int k) { return std::abs(int(block[naturalPosition(k)])) >> scan.al; };
    int run = 0, lastNew = 0;
    for (int k = scan.ss; k <= scan.se; ++k)
      if (magnitudeAt(k) == 1) lastNew = k;
    std::vector<uint8_t> corrections;
    const auto code = [&](int symbolOfRun, int sign) {
      endOfBandRun();
      symbol(0, symbolOfRun);
      if (symbolOfRun != kZeroRun) put(uint32_t(sign), 1);
      for (const uint8_t bit : corrections) put(bit, 1);
      corrections.clear();
    };
    for (int k = scan.ss; k <= scan.se; ++k) {
      const int magnitude = magnitudeAt(k);
      if (magnitude == 0) {
        ++run;
        continue;
      }
      for (; run > 15 && k <= lastNew; run -= 16) code(kZeroRun, 0);
      if (magnitude > 1) {
        corrections.push_back(uint8_t(magnitude & 1));
        continue;
      }
      code((run << 4) + 1, block[naturalPosition(k)] > 0);
      run = 0;
    }
    if (run == 0 && corrections.empty()) return;
    ++state.eobRun;
    for (const uint8_t bit : corrections) state.correctionBits[state.correctionBitCount++] = bit;
    if (state.correctionBitCount > 937 || state.eobRun == 32767) endOfBandRun();
  }

  // H.1.2.2: category 16 has no bits.
  void difference(int value, size_t table) {
    if (categoryOf(value) == 16)
      symbol(table, 16);
    else
      coefficient(table, 0, value, 15);
  }

  ZelStatus flush() {
    const ZelStatus status = statusOf([&] { put(0x7F, 7); });
    state = {};
    return status;
  }

  // The end of an AC scan. A run that has no code stays, and everything else goes on.
  ZelStatus flushBand() {
    const ZelStatus run = statusOf([&] { endOfBandRun(); });
    const bool isOver = counting || run == zelStsJPEGOutOfBufErr;
    const int left = state.eobRun;
    const ZelStatus rest = isOver ? run : statusOf([&] {
      correctionBits();
      put(0x7F, 7);
    });
    state = {};
    if (isOver || rest != zelStsNoErr) return rest;
    state.eobRun = left;
    return run;
  }

  void symbol(size_t table, int symbol) {
    if (counting) {
      ++counts[table * 256 + size_t(symbol)];
      return;
    }
    const uint32_t code = scan.tables[table].enc.codes[symbol];
    put(code & 0xFFFF, int(code >> 16));
  }

  // A run and a category, then the value's low bits, or those of the value - 1 if it is negative.
  void coefficient(size_t table, int run, int value, int maxCategory) {
    const int size = categoryOf(value);
    if (size > maxCategory) throw zelStsJPEGCodeRangeErr;
    symbol(table, (run << 4) + size);
    if (size > 0) put(uint32_t(value < 0 ? value - 1 : value), size);
  }

  // Table G.1; the buffered correction bits belong to the run.
  void endOfBandRun() {
    if (state.eobRun == 0) return;
    if (counting && state.eobRun > 32767) {
      symbol(0, 0xE0);
      state.eobRun -= 32767;
    }
    const int size = categoryOf(state.eobRun) - 1;
    if (size > 14) throw zelStsJPEGCodeRangeErr;
    symbol(0, size << 4);
    if (size > 0) put(uint32_t(state.eobRun), size);
    state.eobRun = 0;
    correctionBits();
  }
  void correctionBits() {
    for (int i = 0; i < state.correctionBitCount; ++i) put(state.correctionBits[i], 1);
    state.correctionBitCount = 0;
  }

  // The n low bits of a value. Where the destination is full, the pending bits are those of before.
  void put(uint32_t value, int n) {
    if (counting) return;
    if (n == 0) throw zelStsJPEGHuffTableErr;
    uint64_t bits = state.bits;
    int count = state.bitCount;
    while (n-- > 0) {
      bits |= uint64_t(value >> n & 1) << (23 - count);
      if (++count < 8) continue;
      const uint8_t byte = uint8_t(bits >> 16);
      putByte(byte);
      if (byte == 0xFF) putByte(0);  // B.1.1.5
      bits = 0;
      count = 0;
    }
    state.bits = bits;
    state.bitCount = count;
  }
  void putByte(uint8_t byte) {
    if (pos >= int(dst.size())) throw zelStsJPEGOutOfBufErr;
    dst[size_t(pos++)] = byte;
  }
};

class ReferenceDecoder {
 public:
  const HuffmanScan& scan;
  const uint8_t* src;
  int length;
  int pos = 0, marker = 0;
  int16_t lastDC = 0;
  ZeliDecodeHuffmanState state = {};
  enum { kNothing, kCode, kValue } missing = kNothing;  // what a marker has cut off

  ZelStatus decode(Coefficients* data) {
    int16_t* block = data->data();
    return statusOf([&] {
      if (scan.coder == kBaseline) return baseline(block);
      if (scan.coder == kDcFirst) return dcFirst(block);
      if (scan.coder == kDcRefinement) return dcRefinement(block);
      if (scan.coder == kAcFirst) return acFirst(block);
      if (scan.coder == kAcRefinement) return acRefinement(block);
      forEachDifference(scan, data->size(), [&](size_t i, size_t c) { difference(&block[i], c); });
    });
  }

  // A byte, or a marker (B.1.1.2: after any number of 0xFF).
  void readByte() {
    const uint8_t byte = src[pos++];
    if (byte == 0xFF) {
      while (pos < length && src[pos] == 0xFF) ++pos;
      if (pos >= length) throw zelStsJPEGOutOfBufErr;
      marker = src[pos++];
      if (marker != 0) return;
    }
    state.bits = state.bits << 8 | byte;
    state.bitCount += 8;
  }
  int peek(int n) const { return int(state.bits >> (state.bitCount - n) & ((uint64_t(1) << n) - 1)); }

 private:
  // F.2.2
  void baseline(int16_t* block) {
    std::memset(block, 0, 64 * sizeof *block);
    lastDC = int16_t(lastDC + value(symbol(0) & 15));
    block[0] = lastDC;
    int k = 1;
    while (k < 64) {
      const int rs = symbol(1), run = rs >> 4, size = rs & 15;
      if (size == 0 && run < 15) break;
      k += run;
      if (size > 0) {
        const int coefficient = value(size);
        if (k >= 72) throw zelStsErr;
        block[naturalPosition(k)] = int16_t(coefficient);
      }
      ++k;
    }
    state.lastPosition = k - 1;
  }

  // G.2.1
  void dcFirst(int16_t* block) {
    lastDC = int16_t(lastDC + value(symbol(0) & 15));
    block[0] = int16_t(lastDC * (1 << scan.al));
  }
  void dcRefinement(int16_t* block) {
    if (bits(1, kValue)) block[0] = int16_t(block[0] | 1 << scan.al);
  }

  // G.2.2
  void acFirst(int16_t* block) {
    if (state.eobRun > 0) {
      --state.eobRun;
      return;
    }
    for (int k = scan.ss; k <= scan.se; ++k) {
      const int rs = symbol(0), run = rs >> 4, size = rs & 15;
      if (size == 0 && run < 15) {
        state.eobRun = endOfBandRun(run) - 1;
        return;
      }
      k += run;
      if (size == 0) continue;
      const int coefficient = value(size);
      if (k > scan.se) throw zelStsJPEGCodeRangeErr;
      block[naturalPosition(k)] = int16_t(coefficient * (1 << scan.al));
    }
  }

  // G.2.3, Figure G.7
  void acRefinement(int16_t* block) {
    int k = scan.ss;
    for (; state.eobRun == 0 && k <= scan.se; ++k) {
      const int rs = symbol(0);
      int run = rs >> 4, coefficient = 0;
      if ((rs & 15) != 0) {
        coefficient = bits(1, kValue) ? 1 << scan.al : -(1 << scan.al);
      } else if (run < 15) {
        state.eobRun = endOfBandRun(run);
        break;
      }
      for (; k <= scan.se; ++k) {  // over `run` zeros to the next one
        int16_t& passed = block[naturalPosition(k)];
        if (passed != 0)
          correct(&passed);
        else if (run-- == 0)
          break;
      }
      if (coefficient == 0) continue;
      if (k > scan.se) throw zelStsJPEGCodeRangeErr;
      block[naturalPosition(k)] = int16_t(coefficient);
    }
    if (state.eobRun == 0) return;
    for (; k <= scan.se; ++k)
      if (int16_t& c = block[naturalPosition(k)]; c != 0) correct(&c);
    --state.eobRun;
  }
  void correct(int16_t* c) {  // the magnitude gets the bit
    const int place = 1 << scan.al;
    if (bits(1, kValue) && (std::abs(int(*c)) & place) == 0) *c = int16_t(*c + (*c < 0 ? -place : place));
  }

  // H.2; a symbol above 16 reads as 16.
  void difference(int16_t* value, size_t table) {
    const int size = symbol(table);
    *value = size >= 16 ? int16_t(-32768) : int16_t(this->value(size));
  }

  int bits(int n, decltype(kCode) what) {
    if (n > state.bitCount) {
      missing = what;
      fill(n);
      if (n > state.bitCount) throw zelStsJPEGCodeRangeErr;
      missing = kNothing;
    }
    const int taken = peek(n);
    state.bitCount -= n;
    return taken;
  }
  void fill(int wanted) {  // until 25 bits are held, a marker is met or the source ends
    while (marker == 0 && state.bitCount < 25 && pos < length) readByte();
    if (marker == 0 && wanted > state.bitCount) throw zelStsJPEGOutOfBufErr;
  }

  static bool isCode(const ZeliDecodeHuffmanSpec& table, int length, int code) {  // code > MAXCODE fails
    return table.lastCode[length] != 0xFFFF && code <= table.lastCode[length];
  }

  // DECODE, Figure F.16. With eight bits at hand the first eight steps are one, which takes no bits where it fails.
  int symbol(size_t which) {
    const ZeliDecodeHuffmanSpec& table = scan.tables[which].dec;
    if (state.bitCount < 8) fill(0);
    int size = 1;
    if (state.bitCount >= 8) {
      while (size <= 8 && !isCode(table, size, peek(size))) ++size;
    }
    int code = bits(size, kCode);
    while (!isCode(table, size, code)) {
      if (size == 16) throw zelStsJPEGCodeRangeErr;
      code = code << 1 | bits(1, kCode);
      ++size;
    }
    return table.values[table.firstIndex[size] + code - table.firstCode[size]];
  }

  // RECEIVE and EXTEND, Figures F.17 and F.12
  int value(int size) {
    if (size == 0) return 0;
    const int v = bits(size, kValue);
    return v < 1 << (size - 1) ? v + 1 - (1 << size) : v;
  }
  int endOfBandRun(int size) { return (1 << size) + bits(size, kValue); }
};

}  // namespace zeltest
