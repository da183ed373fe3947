// A picture that is written from top to bottom.
#pragma once

#include <memory>

#include "common/image.h"
#include "common/options.h"
#include "common/sink.h"

namespace zelcodecs {

// What every format's encoder is to its users. The file is whole after finish(). Throws Error.
class Encoder {
 public:
  virtual ~Encoder() = default;
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  const PictureFormat& format() const { return format_; }
  // The height in which the format takes its rows. Writing so many at once, or multiples, saves a copy.
  int bandRows() const { return bandRows_; }
  void write(ConstRows rows);
  // After the last row. Does not commit the sink.
  void finish();

 protected:
  Encoder() = default;

  // For the constructor of a format's encoder, with the picture that it is going to write.
  void open(const PictureFormat& format, int bandRows, const EncodeOptions& options);
  // For formats whose encodeBand() takes several bands at once as well as one.
  void takeManyBands() { manyBands_ = true; }
  // How much of all work is done before finish(), 0 to 1, for reports of progress.
  void setDoneByRows(double part) { doneByRows_ = part; }
  void report(double part) const {
    if (progress_) progress_(part);
  }

  // The next band: bandRows rows, or what is left at the end. Several of them after takeManyBands().
  virtual void encodeBand(ConstRows rows) = 0;
  // All bands have been encoded.
  virtual void end() = 0;

  // The first row of the next band.
  int nextRow() const { return encoded_; }

 private:
  void encode(ConstRows rows);

  PictureFormat format_;
  int bandRows_ = 1;
  bool manyBands_ = false;
  int encoded_ = 0;
  Progress progress_;
  double doneByRows_ = 1;
  // The beginning of a band.
  std::unique_ptr<uint8_t[]> spare_;
  int waiting_ = 0;
};

// All rows of a picture, and the end.
void writeAll(Encoder& encoder, const Image& image);

}  // namespace zelcodecs
