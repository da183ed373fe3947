// Regroups the bands of a format into the rows that are asked for, and cuts the region out of them.
#include "common/decoder.h"

#include <algorithm>
#include <cstring>

#include "common/error.h"
#include "common/team.h"

namespace zelcodecs {

void Decoder::open(const PictureFormat& whole, int bandRows, const DecodeOptions& options) {
  whole_ = format_ = whole;
  bandRows_ = std::clamp(bandRows, 1, whole.height);
  progress_ = options.progress;
  wanted_ = {0, 0, whole.width, whole.height};
  if (options.region.whole()) return;
  const Region& r = options.region;
  if (r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1 || r.width > whole.width - r.x || r.height > whole.height - r.y)
    throw Error(ErrorKind::argument, "the region is not inside the picture of " + std::to_string(whole.width) + " x " +
                                         std::to_string(whole.height) + " pixels");
  wanted_ = r;
  format_.width = r.width;
  format_.height = r.height;
}

// The last band of a picture may be lower than the others.
int Decoder::nextBandRows() const { return std::min(bandRows_, whole_.height - decoded_); }

// For formats that have no shorter way over rows which are not wanted: decoded, and thrown away.
void Decoder::skipBand(int rows) { decodeBand(spare(rows)); }

Rows Decoder::spare(int rows) {
  if (!spare_) spare_.reset(new uint8_t[whole_.rowBytes() * size_t(bandRows_)]);
  return {spare_.get(), whole_.rowBytes(), rows};
}

void Decoder::decodeInto(Rows to) {
  decodeBand(to);
  decoded_ += to.count;
}

// Bands of whole rows that the caller has room for are decoded to where they are wanted. All others go through a buffer
// of one band, from which the wanted columns are copied, and whose rows that are left wait for the next call.
void Decoder::read(Rows to) {
  if (to.count > rowsLeft()) throw Error(ErrorKind::argument, "more rows are asked for than there are");
  const bool wholeRows = format_.width == whole_.width;
  const size_t left = size_t(wanted_.x) * whole_.pixelBytes();
  while (to.count > 0) {
    if (waiting_.count == 0) {
      // Bands that end above the region.
      while (decoded_ + nextBandRows() <= wanted_.y) {
        const int rows = nextBandRows();
        skipBand(rows);
        decoded_ += rows;
      }
      const int rows = nextBandRows(), above = std::max(0, wanted_.y - decoded_);
      if (wholeRows && above == 0 && rows <= to.count) {
        decodeInto(to.part(0, rows));
        given_ += rows;
        to = to.part(rows, to.count - rows);
        continue;
      }
      const Rows band = spare(rows);
      decodeInto(band);
      waiting_ = band.part(above, rows - above);
    }
    const int rows = std::min(waiting_.count, to.count);
    for (int y = 0; y < rows; ++y) std::memcpy(to.row(y), waiting_.row(y) + left, format_.rowBytes());
    waiting_ = waiting_.part(rows, waiting_.count - rows);
    to = to.part(rows, to.count - rows);
    given_ += rows;
  }
  report(doneBefore_ + (1 - doneBefore_) * given_ / format_.height);
}

ConstRows Decoder::borrow(int count) {
  if (count > rowsLeft() || waiting_.count > 0 || format_ != whole_) return {};
  const ConstRows rows = standingRows(count);
  decoded_ += rows.count;
  given_ += rows.count;
  if (rows.count > 0) report(doneBefore_ + (1 - doneBefore_) * given_ / format_.height);
  return rows;
}

Image readAll(Decoder& decoder) {
  const PictureFormat& f = decoder.format();
  Image image(f.width, f.height, f.model, f.bitDepth);
  // Pieces of some rows, for reports of progress.
  const int step = decoder.bandRows() * std::max(1, 64 / decoder.bandRows());
  for (int y = 0; y < f.height; y += step) decoder.read(image.rows(y, std::min(step, f.height - y)));
  image.metadata() = decoder.metadata();
  return image;
}

}  // namespace zelcodecs
