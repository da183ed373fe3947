// Samples between their form in the file and their form in a picture.
#pragma once

#include <vector>

#include "tiff/page.h"

namespace zelcodecs::tiff {

// Exchanges the two bytes of each sample.
void swapBytes(uint16_t* samples, size_t n);

// Differences from the sample of the same kind in the pixel before, to samples and back (TIFF 6.0, section 14). step:
// how many samples a pixel has.
template <class T>
void sumDifferences(T* row, size_t n, size_t step);
template <class T>
void takeDifferences(T* row, size_t n, size_t step);

// Turns rows of a piece into pixels. Used by one thread at a time.
class RowConverter {
 public:
  RowConverter(const Layout& layout, const Meaning& meaning);

  // Whether a row of the piece is, after sumUp(), a row of pixels.
  bool asItIs() const { return asItIs_; }
  // Undoes byte order and predictor, in place.
  void sumUp(uint8_t* row) const;
  // row: of plane number plane, after sumUp().
  void takePlane(const uint8_t* row, int plane);
  // count pixels of the row whose planes have been taken.
  void toPixels(size_t count, uint8_t* out) const;
  // count pixels of a row of YCbCr units.
  void unitsToPixels(const uint8_t* units, int rowOfUnits, int count, uint8_t* out) const;

 private:
  template <class T>
  void spread(const uint8_t* row, T* out) const;
  template <class T>
  void convert(const T* in, size_t count, T* out) const;
  template <class T>
  void lookUp(const T* in, size_t count, uint8_t* out) const;
  uint8_t* samples8() const { return reinterpret_cast<uint8_t*>(samples_.get()); }

  const Layout& layout_;
  const Meaning& meaning_;
  bool asItIs_;
  void prepareLevels();

  std::vector<uint8_t> scaled_;  // by value, where samples have less than 8 bits
  // Of YCbCr units, by value, with 16 bits of fraction: luma from 0 to 255, chroma from -127 to 127.
  std::vector<int> luma_, cb_, cr_;
  std::unique_ptr<uint16_t[]> samples_;
};

}  // namespace zelcodecs::tiff
