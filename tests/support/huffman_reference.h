// Plain Huffman coders of JPEG blocks and differences, written from the procedures of ITU-T T.81: Annexes F
// (sequential), G (progressive) and H (lossless). They go bit by bit and coefficient by coefficient, and hold the same
// state records as the functions under test. A step that fails throws its status; what was coded before it stays.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/huffman_table.h"

namespace zeltest {

// The natural position of zigzag index k (Figure A.6): the diagonals, walked in alternating directions. The eight
// indexes after the last give the last.
inline int naturalPosition(int k) {
  static const std::vector<int> order = [] {
    std::vector<int> v;
    for (int diagonal = 0; diagonal < 15; ++diagonal)
      for (int i = 0; i <= diagonal; ++i) {
        const int row = diagonal % 2 ? i : diagonal - i, column = diagonal - row;
        if (row < 8 && column < 8) v.push_back(8 * row + column);
      }
    v.resize(72, 63);
    return v;
  }();
  return order[size_t(k)];
}

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

struct HuffmanBand {
  int ss, se, al;
};

// What the calls of a scan code: a block's share of it, one difference, or a row of them (component by component).
struct HuffmanScan {
  enum Coder { baseline, dcFirst, dcRefinement, acFirst, acRefinement, difference, row };
  Coder coder;
  HuffmanBand band = {1, 63, 0};
  std::vector<const HuffmanTable*> tables = {};  // DC and AC; or one for each component of a row
  int rows = 1;                                  // as passed; from the fifth on they are ignored
  size_t components() const { return size_t(rows < 4 ? rows : 4); }
  bool isBand() const { return coder == acFirst || coder == acRefinement; }
};

using Coefficients = std::vector<int16_t>;  // of one call

// Where symbols go: to the destination by their codes or, in a statistics pass, to counters.
struct Alphabet {
  const ZeliEncodeHuffmanSpec* codes = nullptr;
  int32_t* counts = nullptr;
};

class ReferenceEncoder {
 public:
  ZeliEncodeHuffmanState state = {};
  std::vector<uint8_t> dst;
  int pos = 0;

  // One call; tables[i] stands for the scan's i-th.
  ZelStatus code(const HuffmanScan& s, const Coefficients& data, int16_t* lastDC, const std::vector<Alphabet>& tables,
                 bool flushes) {
    if (flushes) return s.isBand() ? flushBand(tables[0]) : flush();
    const int16_t* src = data.data();
    return statusOf([&] {
      if (s.coder == HuffmanScan::baseline) return baseline(src, lastDC, tables[0], tables[1]);
      if (s.coder == HuffmanScan::dcFirst) return dcFirst(src, lastDC, s.band.al, tables[0]);
      if (s.coder == HuffmanScan::dcRefinement) return dcRefinement(src, s.band.al);
      if (s.coder == HuffmanScan::acFirst) return acFirst(src, s.band, tables[0]);
      if (s.coder == HuffmanScan::acRefinement) return acRefinement(src, s.band, tables[0]);
      const size_t components = s.components(), n = data.size() / components;
      for (size_t i = 0; i < data.size(); ++i)
        difference(src[i % components * n + i / components], tables[i % components]);
    });
  }

 private:
  static constexpr int kZeroRun = 0xF0, kEndOfBlock = 0x00;

  // F.1.2: the DC difference, then runs of zeros and coefficients. The statistics bound the categories to 15 and 14.
  void baseline(const int16_t* block, int16_t* lastDC, Alphabet dc, Alphabet ac) {
    const int difference = block[0] - *lastDC;
    *lastDC = block[0];
    coefficient(dc, 0, difference, dc.counts ? 15 : 16);
    if (runsAndCoefficients(block, {1, 63, 0}, ac, ac.counts ? 14 : 15) > 0) symbol(ac, kEndOfBlock);
  }

  // G.1.2.1
  void dcFirst(const int16_t* block, int16_t* lastDC, int al, Alphabet dc) {
    const int value = block[0] >> al, difference = value - *lastDC;
    *lastDC = int16_t(value);
    coefficient(dc, 0, difference, 11);
  }
  void dcRefinement(const int16_t* block, int al) { put(uint32_t(block[0] >> al), 1); }

  // G.1.2.2
  void acFirst(const int16_t* block, HuffmanBand band, Alphabet ac) {
    const int zeros = runsAndCoefficients(block, band, ac, ac.counts ? 10 : 11);
    if (zeros > 0 && ++state.eobRun == 32767) endOfBandRun(ac);
  }

  // Gives the number of zeros that end the band.
  int runsAndCoefficients(const int16_t* block, HuffmanBand band, Alphabet ac, int maxCategory) {
    int run = 0;
    for (int k = band.ss; k <= band.se; ++k) {
      const int value = block[naturalPosition(k)], magnitude = std::abs(value) >> band.al;
      if (magnitude == 0) {
        ++run;
        continue;
      }
      endOfBandRun(ac);
      for (; run > 15; run -= 16) symbol(ac, kZeroRun);
      coefficient(ac, run, value < 0 ? -magnitude : magnitude, maxCategory);
      run = 0;
    }
    return run;
  }

  // G.1.2.3
  void acRefinement(const int16_t* block, HuffmanBand band, Alphabet ac) {
    const auto magnitudeAt = [&](int k) { return std::abs(int(block[naturalPosition(k)])) >> band.al; };
    int lastNew = 0;
    for (int k = band.ss; k <= band.se; ++k)
      if (magnitudeAt(k) == 1) lastNew = k;
    int run = 0;
    std::vector<uint32_t> corrections;
    const auto writeCorrections = [&] {
      for (const uint32_t bit : corrections) put(ac, bit, 1);
      corrections.clear();
    };
    for (int k = band.ss; k <= band.se; ++k) {
      const int magnitude = magnitudeAt(k);
      if (magnitude == 0) {
        ++run;
        continue;
      }
      for (; run > 15 && k <= lastNew; run -= 16) {
        endOfBandRun(ac);
        symbol(ac, kZeroRun);
        writeCorrections();
      }
      if (magnitude > 1) {
        corrections.push_back(uint32_t(magnitude) & 1);
        continue;
      }
      endOfBandRun(ac);
      symbol(ac, (run << 4) + 1);
      put(ac, block[naturalPosition(k)] > 0 ? 1 : 0, 1);
      writeCorrections();
      run = 0;
    }
    if (run == 0 && corrections.empty()) return;
    ++state.eobRun;
    for (const uint32_t bit : corrections) state.correctionBits[state.correctionBitCount++] = uint8_t(bit);
    if (state.correctionBitCount > 937 || state.eobRun == 32767) endOfBandRun(ac);
  }

  // H.1.2.2: category 16 has no bits.
  void difference(int value, Alphabet table) {
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
  ZelStatus flushBand(Alphabet ac) {
    const ZelStatus run = statusOf([&] { endOfBandRun(ac); });
    const bool counting = ac.counts != nullptr;
    const bool full = run == zelStsJPEGOutOfBufErr;
    const ZelStatus rest = full || counting ? run : statusOf([&] {
      correctionBits(ac);
      put(0x7F, 7);
    });
    const int left = state.eobRun;
    state = {};
    if (counting || rest != zelStsNoErr) return rest;
    state.eobRun = left;
    return run;
  }

  void symbol(Alphabet a, int symbol) {
    if (a.counts)
      ++a.counts[symbol];
    else
      put(a.codes->codes[symbol] & 0xFFFF, int(a.codes->codes[symbol] >> 16));
  }

  // A run and a category, then the value's low bits, or those of the value - 1 if it is negative.
  void coefficient(Alphabet a, int run, int value, int maxCategory) {
    const int size = categoryOf(value);
    if (size > maxCategory) throw zelStsJPEGCodeRangeErr;
    symbol(a, (run << 4) + size);
    if (size > 0) put(a, uint32_t(value < 0 ? value - 1 : value), size);
  }

  // Table G.1; the buffered correction bits belong to the run.
  void endOfBandRun(Alphabet ac) {
    if (state.eobRun == 0) return;
    if (ac.counts && state.eobRun > 32767) {
      symbol(ac, 0xE0);
      state.eobRun -= 32767;
    }
    const int size = categoryOf(state.eobRun) - 1;
    if (size > 14) throw zelStsJPEGCodeRangeErr;
    symbol(ac, size << 4);
    if (size > 0) put(ac, uint32_t(state.eobRun), size);
    state.eobRun = 0;
    correctionBits(ac);
  }
  void correctionBits(Alphabet ac) {
    for (int i = 0; i < state.correctionBitCount; ++i) put(ac, state.correctionBits[i], 1);
    state.correctionBitCount = 0;
  }

  void put(Alphabet a, uint32_t value, int n) {
    if (!a.counts) put(value, n);
  }
  // The n low bits of a value. Where the destination is full, the pending bits are those of before.
  void put(uint32_t value, int n) {
    if (n == 0) throw zelStsJPEGHuffTableErr;
    const uint64_t bits = state.bits;
    const int count = state.bitCount;
    try {
      while (n-- > 0) putBit(value >> n & 1);
    } catch (const ZelStatus) {
      state.bits = bits;
      state.bitCount = count;
      throw;
    }
  }
  void putBit(uint32_t bit) {
    state.bits |= uint64_t(bit) << (23 - state.bitCount);
    if (++state.bitCount < 8) return;
    const uint8_t byte = uint8_t(state.bits >> 16);
    putByte(byte);
    if (byte == 0xFF) putByte(0);  // B.1.1.5
    state.bits = 0;
    state.bitCount = 0;
  }
  void putByte(uint8_t byte) {
    if (pos >= int(dst.size())) throw zelStsJPEGOutOfBufErr;
    dst[size_t(pos++)] = byte;
  }
};

class ReferenceDecoder {
 public:
  const uint8_t* src = nullptr;
  int length = 0;
  int pos = 0;
  int marker = 0;
  ZeliDecodeHuffmanState state = {};
  enum { kNothing, kCode, kValue } missing = kNothing;  // what a marker has cut off

  // One call from this state on.
  ZelStatus decode(const HuffmanScan& s, Coefficients* data, int16_t* lastDC) {
    int16_t* dst = data->data();
    return statusOf([&] {
      const auto table = [&](size_t i) -> const ZeliDecodeHuffmanSpec& { return s.tables[i]->dec; };
      if (s.coder == HuffmanScan::baseline) return baseline(dst, lastDC, table(0), table(1));
      if (s.coder == HuffmanScan::dcFirst) return dcFirst(dst, lastDC, s.band.al, table(0));
      if (s.coder == HuffmanScan::dcRefinement) return dcRefinement(dst, s.band.al);
      if (s.coder == HuffmanScan::acFirst) return acFirst(dst, s.band, table(0));
      if (s.coder == HuffmanScan::acRefinement) return acRefinement(dst, s.band, table(0));
      const size_t components = s.components(), n = data->size() / components;
      for (size_t i = 0; i < data->size(); ++i)
        difference(dst + i % components * n + i / components, table(i % components));
    });
  }

 private:
  // F.2.2
  void baseline(int16_t* block, int16_t* lastDC, const ZeliDecodeHuffmanSpec& dc, const ZeliDecodeHuffmanSpec& ac) {
    std::memset(block, 0, 64 * sizeof *block);
    *lastDC = int16_t(*lastDC + value(symbol(dc) & 15));
    block[0] = *lastDC;
    int k = 1;
    while (k < 64) {
      const int rs = symbol(ac), run = rs >> 4, size = rs & 15;
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
  void dcFirst(int16_t* block, int16_t* lastDC, int al, const ZeliDecodeHuffmanSpec& dc) {
    *lastDC = int16_t(*lastDC + value(symbol(dc) & 15));
    block[0] = int16_t(*lastDC * (1 << al));
  }
  void dcRefinement(int16_t* block, int al) {
    if (bits(1, kValue)) block[0] = int16_t(block[0] | 1 << al);
  }

  // G.2.2
  void acFirst(int16_t* block, HuffmanBand band, const ZeliDecodeHuffmanSpec& ac) {
    if (state.eobRun > 0) {
      --state.eobRun;
      return;
    }
    for (int k = band.ss; k <= band.se; ++k) {
      const int rs = symbol(ac), run = rs >> 4, size = rs & 15;
      if (size == 0 && run < 15) {
        state.eobRun = endOfBandRun(run) - 1;
        return;
      }
      k += run;
      if (size == 0) continue;
      const int coefficient = value(size);
      if (k > band.se) throw zelStsJPEGCodeRangeErr;
      block[naturalPosition(k)] = int16_t(coefficient * (1 << band.al));
    }
  }

  // G.2.3, Figure G.7
  void acRefinement(int16_t* block, HuffmanBand band, const ZeliDecodeHuffmanSpec& ac) {
    int k = band.ss;
    for (; state.eobRun == 0 && k <= band.se; ++k) {
      const int rs = symbol(ac);
      int run = rs >> 4, coefficient = 0;
      if ((rs & 15) != 0) {
        coefficient = bits(1, kValue) ? 1 << band.al : -(1 << band.al);
      } else if (run < 15) {
        state.eobRun = endOfBandRun(run);
        break;
      }
      for (; k <= band.se; ++k) {  // over `run` zeros to the next one
        int16_t& passed = block[naturalPosition(k)];
        if (passed != 0)
          correct(&passed, band.al);
        else if (run-- == 0)
          break;
      }
      if (coefficient == 0) continue;
      if (k > band.se) throw zelStsJPEGCodeRangeErr;
      block[naturalPosition(k)] = int16_t(coefficient);
    }
    if (state.eobRun == 0) return;
    for (; k <= band.se; ++k)
      if (int16_t& c = block[naturalPosition(k)]; c != 0) correct(&c, band.al);
    --state.eobRun;
  }

  // H.2; a symbol above 16 reads as 16.
  void difference(int16_t* value, const ZeliDecodeHuffmanSpec& table) {
    const int size = symbol(table);
    *value = size >= 16 ? int16_t(-32768) : int16_t(this->value(size));
  }

  // Bytes until 25 bits are held, a marker is met (B.1.1.2: after any number of 0xFF) or the source ends.
  void fill(int wanted) {
    while (marker == 0 && state.bitCount < 25) {
      if (pos >= length) {
        if (wanted > state.bitCount) throw zelStsJPEGOutOfBufErr;
        return;
      }
      const uint8_t byte = src[pos++];
      if (byte == 0xFF) {
        while (pos < length && src[pos] == 0xFF) ++pos;
        if (pos >= length) throw zelStsJPEGOutOfBufErr;
        marker = src[pos++];
        if (marker != 0) return;
      }
      state.bits = (state.bits << 8 | byte) & 0xFFFFFFFF;
      state.bitCount += 8;
    }
  }

  int peek(int n) const { return int(state.bits >> (state.bitCount - n) & ((uint64_t(1) << n) - 1)); }
  int bits(int n, decltype(kCode) what) {
    if (n > state.bitCount) {
      missing = what;
      fill(n);
      if (n > state.bitCount) throw zelStsJPEGCodeRangeErr;
      missing = kNothing;
    }
    const int taken = n == 0 ? 0 : peek(n);
    state.bitCount -= n;
    return taken;
  }

  static bool isCode(const ZeliDecodeHuffmanSpec& table, int length, int code) {  // code > MAXCODE fails
    return table.lastCode[length] != 0xFFFF && code <= table.lastCode[length];
  }

  // DECODE, Figure F.16. With eight bits at hand the first eight steps are one, which takes no bits where it fails.
  int symbol(const ZeliDecodeHuffmanSpec& table) {
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

  void correct(int16_t* c, int al) {  // the magnitude gets the bit
    const bool bit = bits(1, kValue) != 0;
    if (bit && (std::abs(int(*c)) >> al & 1) == 0) *c = int16_t(*c + (*c < 0 ? -(1 << al) : 1 << al));
  }
};

}  // namespace zeltest
