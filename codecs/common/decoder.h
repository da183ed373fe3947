// A picture that is read from top to bottom.
#pragma once

#include <memory>

#include "common/image.h"
#include "common/metadata.h"
#include "common/options.h"

namespace zelcodecs {

// What every format's decoder is to its users. Once it is open, all but the pixels is known. Throws Error.
class Decoder {
 public:
  virtual ~Decoder() = default;
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // What read() gives: the region that was asked for, or the whole picture.
  const PictureFormat& format() const { return format_; }
  const Metadata& metadata() const { return metadata_; }

  // The height in which the format brings its rows. Reading so many at once, or multiples, saves a copy.
  int bandRows() const { return bandRows_; }
  int rowsLeft() const { return format_.height - given_; }
  // The next to.count rows, which must be there.
  void read(Rows to);
  // The same without a copy where the format has them in memory as they are wanted: count rows, valid until the second
  // call after this one. No rows, and nothing done, where not.
  ConstRows borrow(int count);

 protected:
  Decoder() = default;

  // For the constructor of a format's decoder, once the header has been read. whole: the picture, of which a region is
  // wanted. A band is bandRows rows, or what is left at the end.
  void open(const PictureFormat& whole, int bandRows, const DecodeOptions& options);
  // How much of all work was done when the first row was asked for, 0 to 1, for reports of progress.
  void setDoneBefore(double part) { doneBefore_ = part; }
  void report(double part) const {
    if (progress_) progress_(part);
  }

  // The rows of the next band, in the width of the whole picture. Columns outside wanted() may be left as they are.
  virtual void decodeBand(Rows to) = 0;
  // The next rows, from nextRow() on, where they stand in memory, for borrow(); any number of them.
  virtual ConstRows standingRows(int) { return {}; }
  // Passes over the next band, of which nothing is wanted. Decodes it all the same where the format has no better way.
  virtual void skipBand(int rows);

  const PictureFormat& whole() const { return whole_; }
  // In the whole picture.
  const Region& wanted() const { return wanted_; }
  // The first row of the next band.
  int nextRow() const { return decoded_; }

  Metadata metadata_;

 private:
  int nextBandRows() const;
  void decodeInto(Rows to);
  Rows spare(int rows);

  PictureFormat whole_, format_;
  Region wanted_;
  int bandRows_ = 1;
  int decoded_ = 0;  // rows of the whole picture, or passed over
  int given_ = 0;    // rows of the region
  Progress progress_;
  double doneBefore_ = 0;
  // A band of which a part has not been given yet.
  std::unique_ptr<uint8_t[]> spare_;
  Rows waiting_;
};

// All rows.
Image readAll(Decoder& decoder);

}  // namespace zelcodecs
