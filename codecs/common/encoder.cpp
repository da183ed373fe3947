// Gathers rows, however many are given at once, into the bands of a format.
#include "common/encoder.h"

#include <algorithm>
#include <cstring>

#include "common/error.h"
#include "common/team.h"

namespace zelcodecs {

void Encoder::open(const PictureFormat& format, int bandRows, const EncodeOptions& options) {
  format_ = format;
  bandRows_ = std::clamp(bandRows, 1, format.height);
  progress_ = options.progress;
}

void Encoder::encode(ConstRows rows) {
  encodeBand(rows);
  encoded_ += rows.count;
  report(doneByRows_ * encoded_ / format_.height);
}

// Whole bands that are given at once go to the format as they lie; rows of which a band is made up in several calls
// wait in a buffer of one band.
void Encoder::write(ConstRows rows) {
  if (rows.count > format_.height - encoded_ - waiting_)
    throw Error(ErrorKind::argument, "more rows are given than the picture has");
  const size_t rowBytes = format_.rowBytes();
  while (rows.count > 0) {
    const int band = std::min(bandRows_, format_.height - encoded_);
    if (waiting_ == 0 && rows.count >= band) {
      const int given = manyBands_ ? rows.count / band * band : band;
      encode(rows.part(0, given));
      rows = rows.part(given, rows.count - given);
      continue;
    }
    if (!spare_) spare_.reset(new uint8_t[rowBytes * size_t(bandRows_)]);
    const int take = std::min(rows.count, band - waiting_);
    for (int y = 0; y < take; ++y) std::memcpy(&spare_[rowBytes * size_t(waiting_ + y)], rows.row(y), rowBytes);
    waiting_ += take;
    rows = rows.part(take, rows.count - take);
    if (waiting_ == band) {
      waiting_ = 0;
      encode({spare_.get(), rowBytes, band});
    }
  }
}

void Encoder::finish() {
  if (encoded_ != format_.height) throw Error(ErrorKind::argument, "rows of the picture are missing");
  end();
  report(1);
}

void writeAll(Encoder& encoder, const Image& image) {
  // Whole bands, some together where they are low, so that progress is reported now and then.
  const int step = encoder.bandRows() * std::max(1, 64 / encoder.bandRows());
  for (int y = 0; y < image.height(); y += step) encoder.write(image.rows(y, std::min(step, image.height() - y)));
  encoder.finish();
}

}  // namespace zelcodecs
