// Rows from a decoder to an encoder: one band after the other, or one written while the next is read.
#include "any/transfer.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "common/team.h"

namespace zelcodecs {
namespace {

// Rows that are read at once: whole bands of the decoder, rounded up to bands of the encoder, of a hundred kilobytes at
// least. Systems write little at once more slowly.
int rowsAtOnce(const Decoder& decoder, const Encoder& encoder) {
  constexpr size_t kLeast = size_t{128} << 10;
  const auto roundedUp = [](int64_t n, int64_t unit) { return (n + unit - 1) / unit * unit; };
  const size_t rowBytes = decoder.format().rowBytes();
  const int64_t rows = roundedUp(int64_t((kLeast + rowBytes - 1) / rowBytes), decoder.bandRows());
  return int(std::min<int64_t>(roundedUp(rows, encoder.bandRows()), decoder.format().height));
}

struct Band {
  std::unique_ptr<uint8_t[]> bytes;
  Rows rows;
  ConstRows filled;  // the rows that are there, in bytes or where the decoder has them
  Band(const PictureFormat& format, int count)
      : bytes(new uint8_t[format.rowBytes() * size_t(count)]), rows{bytes.get(), format.rowBytes(), count} {}
};

class ImageDecoder : public Decoder {
 public:
  explicit ImageDecoder(Image image) : image_(std::move(image)) {
    metadata_ = image_.metadata();
    open(image_.format(), std::min(image_.height(), 64), {});
  }

 private:
  void decodeBand(Rows to) override {
    for (int y = 0; y < to.count; ++y) std::memcpy(to.row(y), image_.row(nextRow() + y), image_.rowBytes());
  }
  const Image image_;
};

// Reads bands and writes them, by way of the converter.
class Transfer {
 public:
  Transfer(Decoder& decoder, Converter* converter, Encoder& encoder)
      : decoder_(decoder),
        converter_(converter),
        encoder_(encoder),
        step_(rowsAtOnce(decoder, encoder)),
        first_(decoder.format(), step_) {
    if (converter) converted_ = std::make_unique<Band>(converter->to(), step_);
  }

  // One band after the other, as long as there are any and enough(microseconds of reading, of writing) says no of the
  // last one.
  template <class Enough>
  void inTurn(const Enough& enough) {
    while (decoder_.rowsLeft() > 0) {
      const auto start = Clock::now();
      read(&first_);
      const auto between = Clock::now();
      write(first_);
      const auto end = Clock::now();
      if (enough(microseconds(start, between), microseconds(between, end))) return;
    }
  }

  // Each band is written while the next one is read.
  void sideBySide(Team* team) {
    if (decoder_.rowsLeft() == 0) return;
    Band second(decoder_.format(), step_);
    Band *ready = &first_, *next = &second;
    read(ready);
    while (ready->filled.count > 0) {
      team->forEach(2, [&](int piece) {
        if (piece == 0)
          write(*ready);
        else
          read(next);
      });
      std::swap(ready, next);
    }
  }

 private:
  using Clock = std::chrono::steady_clock;
  static double microseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
  }

  void read(Band* band) {
    const int count = std::min(step_, decoder_.rowsLeft());
    band->filled = count > 0 ? decoder_.borrow(count) : ConstRows{};
    if (count == 0 || band->filled.count > 0) return;
    const Rows to = band->rows.part(0, count);
    decoder_.read(to);
    band->filled = asConst(to);
  }
  void write(const Band& band) {
    if (!converter_) return encoder_.write(band.filled);
    const Rows to = converted_->rows.part(0, band.filled.count);
    converter_->convert(band.filled, to);
    encoder_.write(asConst(to));
  }

  Decoder& decoder_;
  Converter* const converter_;
  Encoder& encoder_;
  const int step_;
  Band first_;
  std::unique_ptr<Band> converted_;
};

}  // namespace

void transfer(Decoder& decoder, Converter* converter, Encoder& encoder, int threads) {
  Transfer work(decoder, converter, encoder);
  Team team(std::min(threads > 0 ? threads : Team(0).threads(), 2));
  // A second thread takes some tens of microseconds to wake up. It pays where both halves of the work take longer.
  constexpr double kWorthwhile = 200;
  const bool alone = team.threads() == 1;
  work.inTurn([&](double reading, double writing) { return !alone && std::min(reading, writing) > kWorthwhile; });
  work.sideBySide(&team);
  encoder.finish();
}

std::unique_ptr<Decoder> imageDecoder(Image image) { return std::make_unique<ImageDecoder>(std::move(image)); }

std::unique_ptr<Decoder> upright(std::unique_ptr<Decoder> decoder) {
  const int orientation = decoder->metadata().orientation;
  if (orientation == 1) return decoder;
  Image image = oriented(readAll(*decoder), orientation);
  image.metadata().orientation = 1;
  setExifOrientation(&image.metadata().exif, 1);
  return imageDecoder(std::move(image));
}

}  // namespace zelcodecs
