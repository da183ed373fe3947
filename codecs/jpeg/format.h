// What the JPEG reader and writer share: marker codes, the frame and its block grid, scans, tables.
#pragma once

#include <string>
#include <vector>

#include "common/team.h"
#include "jpeg/jpeg.h"
#include "zelj.h"

namespace zelcodecs::jpeg {

// Second bytes of markers (T.81 Table B.1).
enum MarkerCode : int {
  kSOF0 = 0xC0,
  kSOF1 = 0xC1,
  kSOF2 = 0xC2,
  kSOF3 = 0xC3,
  kDHT = 0xC4,
  kJPG = 0xC8,
  kDAC = 0xCC,
  kSOF15 = 0xCF,
  kRST0 = 0xD0,
  kRST7 = 0xD7,
  kSOI = 0xD8,
  kEOI = 0xD9,
  kSOS = 0xDA,
  kDQT = 0xDB,
  kDNL = 0xDC,
  kDRI = 0xDD,
  kDHP = 0xDE,
  kAPP0 = 0xE0,
  kAPP1 = 0xE1,
  kAPP2 = 0xE2,
  kAPP14 = 0xEE,
  kCOM = 0xFE,
  kTEM = 0x01
};
constexpr bool isRestart(int marker) { return marker >= kRST0 && marker <= kRST7; }

constexpr int kMaxBlocksPerMcu = 10;  // of an interleaved scan (T.81 B.2.3)
// Of a frame whose scans are not interleaved: four components with factors up to 4 both ways (T.81 B.2.2).
constexpr int kMaxBlocksPerFrameMcu = 4 * 4 * 4;
constexpr int kMaxComponents = 4;

// Where one thread does all entropy coding, in order, the others save less than half of the time, and moving blocks
// between processors takes some of that back.
constexpr int threadsFor(const PictureFormat& f, int threads, bool codedInOrder) {
  constexpr int64_t kPixelsForPipeline = 1 << 22;
  return zelcodecs::threadsFor(f, threads, codedInOrder ? kPixelsForPipeline : 0);
}

constexpr int ceilDiv(int a, int b) { return (a + b - 1) / b; }

struct Component {
  int id = 0, h = 1, v = 1, quantTable = 0;
  int blocksWide = 0, blocksHigh = 0;  // data units that hold samples (T.81 A.1.1)
  int storedWide = 0, storedHigh = 0;  // in whole MCUs of interleaved scans
};

struct Frame {
  int process = -1;  // the SOF marker
  int precision = 8;
  int width = 0, height = 0;
  std::vector<Component> components;
  int hMax = 1, vMax = 1;
  int mcusWide = 0, mcusHigh = 0;  // of interleaved scans
  size_t offset = 0;

  // Samples across a data unit: a block, or a single sample in lossless files.
  int dataUnit() const { return process == kSOF3 ? 1 : 8; }
  // Sets the sizes in data units and MCUs from the size in pixels and the sampling factors.
  void layOut();
};

std::string processName(int sof);

using Block = int16_t[64];  // quantised coefficients in natural order

struct Scan {
  struct Part {
    int component, dcTable, acTable;
  };
  Part parts[kMaxComponents];
  int count = 0;
  int ss = 0, se = 63, ah = 0, al = 0;
  size_t begin = 0;  // of the entropy-coded data

  bool interleaved() const { return count > 1; }
  // The scan's MCUs: of one data unit each where it holds a single component (T.81 A.2.2).
  int mcusWide(const Frame& f) const {
    return interleaved() ? f.mcusWide : f.components[size_t(parts[0].component)].blocksWide;
  }
  int mcusHigh(const Frame& f) const {
    return interleaved() ? f.mcusHigh : f.components[size_t(parts[0].component)].blocksHigh;
  }
};

// A scan of all components.
Scan scanOfAll(const Frame& frame);

// Natural position of each zigzag position (T.81 Figure A.6).
extern const uint8_t kNaturalOrder[64];

// A Huffman table as a stream describes it.
struct HuffmanTable {
  uint8_t bits[16];
  uint8_t values[256];
  int count() const {
    int n = 0;
    for (uint8_t b : bits) n += b;
    return n;
  }
};

// T.81 Annex K: the quantisation tables K.1 and K.2 in zigzag order, the Huffman tables K.3 to K.6.
extern const uint8_t kLuminanceQuant[64];
extern const uint8_t kChrominanceQuant[64];
extern const HuffmanTable kLuminanceDc, kChrominanceDc, kLuminanceAc, kChrominanceAc;

}  // namespace zelcodecs::jpeg
