// Encoding lossless files: rows of samples become rows of differences, band by band, and these are coded while the next
// band's are made. Tables made to measure look at all differences first, which are stored therefore.
#include <algorithm>
#include <mutex>

#include "common/error.h"
#include "common/team.h"
#include "jpeg/lossless.h"
#include "jpeg/segments.h"
#include "jpeg/writer.h"

namespace zelcodecs::jpeg {
namespace {

// A table for every category where none is made to measure: short codes for the small differences of most pictures, the
// longest (of 16 ones less the last) for those that hardly occur.
const HuffmanTable kGeneralTable = {{0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0},
                                    {2, 0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

void differences(const int16_t* row, const int16_t* above, int16_t* to, int width, int predictor, int bits) {
  if (!needsWideTerms(predictor, bits)) {
    require(zeliDiffPredRow_JPEG_16s_C1(row, above, to, width, predictor));
    return;
  }
  const auto *x = reinterpret_cast<const uint16_t*>(row), *up = reinterpret_cast<const uint16_t*>(above);
  to[0] = int16_t(x[0] - up[0]);
  for (int i = 1; i < width; ++i) to[i] = int16_t(x[i] - widePrediction(predictor, x[i - 1], up[i], up[i - 1]));
}

// Rows of differences: a row of each channel after the other, of all rows or of some that take turns.
class DifferenceRows {
 public:
  DifferenceRows(const PictureFormat& format, int held)
      : width_(size_t(format.width)),
        channels_(size_t(format.channels())),
        held_(held),
        values_(new int16_t[width_ * channels_ * size_t(held)]) {}
  int16_t* row(int y, int channel) const {
    return values_.get() + (size_t(y % held_) * channels_ + size_t(channel)) * width_;
  }

 private:
  const size_t width_, channels_;
  const int held_;
  const std::unique_ptr<int16_t[]> values_;
};

// Codes rows into a buffer that goes to the sink whenever it is nearly full.
class RowCoder {
 public:
  RowCoder(const PictureFormat& format, const ZeliEncodeHuffmanSpec* table, Sink* sink)
      : width_(format.width),
        channels_(format.channels()),
        // A code of 16 bits and 15 more for each sample, every byte stuffed.
        most_(width_ * channels_ * 8 + 64),
        room_(std::max(most_, 1 << 16)),
        buffer_(new uint8_t[size_t(room_)]),
        sink_(sink) {
    std::fill(tables_, tables_ + kMaxComponents, table);
    require(zeliEncodeHuffmanStateInit_JPEG_8u(&state_));
  }

  void row(const DifferenceRows& rows, int y) {
    const int16_t* at[kMaxComponents] = {};
    for (int c = 0; c < channels_; ++c) at[c] = rows.row(y, c);
    if (room_ - position_ < most_) spill();
    code(at, 0);
  }
  // Ends the interval before, if there is one, and begins the next one with its marker.
  void restart(int number) {
    finish();
    const uint8_t marker[] = {0xFF, uint8_t(kRST0 + (number & 7))};
    sink_->write(marker, 2);
  }
  void finish() {
    if (room_ - position_ < most_) spill();
    code(nullptr, 1);
    spill();
  }

 private:
  void code(const int16_t* const* rows, int flush) {
    const ZelStatus status = zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, width_, channels_, buffer_.get(), room_,
                                                                  &position_, tables_, &state_, flush);
    if (status != zelStsNoErr) throw Error(ErrorKind::argument, "a difference that the Huffman table has no code for");
  }
  void spill() {
    sink_->write(buffer_.get(), size_t(position_));
    position_ = 0;
  }

  const int width_, channels_, most_, room_;
  const std::unique_ptr<uint8_t[]> buffer_;
  Sink* const sink_;
  const ZeliEncodeHuffmanSpec* tables_[kMaxComponents];
  ZeliEncodeHuffmanState state_;
  int position_ = 0;
};

class LosslessEncoder : public Encoder {
 public:
  LosslessEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options);

 private:
  void encodeBand(ConstRows rows) override;
  void end() override;
  template <class Sample>
  void takeChannel(int channel, ConstRows rows);
  void count(int from, int to, int32_t* counts) const;
  void fitTable();
  void writeStart();
  // The rows that are not coded yet, in pieces of restart intervals.
  int codingPieces() const { return codeFrom_ < codeTo_ ? ceilDiv(codeTo_ - codeFrom_, pieceRows()) : 0; }
  int pieceRows() const {
    constexpr int kLeastRows = 8;
    return sideBySide_ ? interval_ * ceilDiv(kLeastRows, interval_) : std::max(1, codeTo_ - codeFrom_);
  }
  void codePiece(int piece);
  void joinPieces();

  Sink& sink_;
  const JpegEncodeOptions options_;
  const Metadata metadata_;
  const PictureFormat picture_;
  int interval_ = 0;  // of restart markers, in rows; 0 for none
  Team team_;
  bool sideBySide_ = false;  // bands are whole restart intervals
  HuffmanTable table_ = kGeneralTable;
  ZeliEncodeHuffmanSpec codes_;
  std::unique_ptr<DifferenceRows> diff_;
  std::vector<int16_t> above_[kMaxComponents], row_[kMaxComponents];
  std::unique_ptr<RowCoder> coder_;
  std::vector<std::vector<uint8_t>> coded_;
  int codeFrom_ = 0, codeTo_ = 0;
};

LosslessEncoder::LosslessEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                 const JpegEncodeOptions& options)
    : sink_(sink),
      options_(options),
      metadata_(metadata),
      picture_(format),
      team_(threadsFor(format, options.threads, !options.restartInterval && !options.restartRows)) {
  if (format.bitDepth < 2) throw Error(ErrorKind::unsupported, "lossless JPEG has 2 to 16 bits a sample");
  if (options.predictor < 1 || options.predictor > 7) throw Error(ErrorKind::argument, "a predictor is 1 to 7");
  if (options.pointTransform < 0 || options.pointTransform >= format.bitDepth)
    throw Error(ErrorKind::argument, "a point transform is 0 to the bits of a sample less 1");
  const int64_t mcus = options.restartInterval ? options.restartInterval : int64_t{options.restartRows} * format.width;
  if (mcus < 0 || mcus > 65535 || mcus % format.width)
    throw Error(ErrorKind::argument, "a restart interval in a lossless file is whole rows, of up to 65535 samples");
  interval_ = int(mcus / format.width);
  constexpr size_t kBandBytes = 256 << 10;
  const size_t rowBytes = 2 * size_t(format.width) * size_t(format.channels());
  int bandRows = int(std::clamp<size_t>(kBandBytes / rowBytes, 1, 64));
  if (interval_ && team_.threads() > 1) bandRows = ceilDiv(bandRows, interval_) * interval_;
  sideBySide_ = interval_ && team_.threads() > 1;
  open(format, bandRows, options);
  for (int c = 0; c < format.channels(); ++c)
    above_[c].resize(size_t(format.width)), row_[c].resize(size_t(format.width));
  diff_ = std::make_unique<DifferenceRows>(format, options.optimiseTables ? format.height : 2 * this->bandRows());
  if (!options.optimiseTables) writeStart();
}

void LosslessEncoder::writeStart() {
  initEncoderTable(table_, &codes_);
  Frame frame;
  frame.process = kSOF3;
  frame.precision = picture_.bitDepth;
  frame.width = picture_.width;
  frame.height = picture_.height;
  const int channels = picture_.channels();
  for (int i = 0; i < channels; ++i) {
    Component c;
    c.id = channels == 3 ? "RGB"[i] : i + 1;
    frame.components.push_back(c);
  }
  Scan scan = scanOfAll(frame);
  scan.ss = options_.predictor;
  scan.se = 0;
  scan.al = options_.pointTransform;
  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  Warnings warnings(options_.warnings);
  // A JFIF marker would make YCbCr of three components.
  const bool jfif = channels == 1 && metadata_.pixelsPerMetreX > 0;
  writeHead({channels == 3 ? 0 : -1, jfif, metadata_, {}}, frame, &out, &warnings);
  segments.huffmanTable(0, 0, table_);
  if (interval_) segments.restartInterval(interval_ * picture_.width);
  segments.scan(frame, scan);
  sink_.write(out);
  coder_ = std::make_unique<RowCoder>(picture_, &codes_, &sink_);
}

// ---- Rows

void LosslessEncoder::encodeBand(ConstRows rows) {
  const bool late = options_.optimiseTables;
  const int coding = late ? 0 : codingPieces();
  coded_.resize(size_t(sideBySide_ ? coding : 0));
  team_.forEach(coding + picture_.channels(), [&](int i) {
    if (i < coding)
      codePiece(i);
    else if (picture_.bytesPerSample() == 1)
      takeChannel<uint8_t>(i - coding, rows);
    else
      takeChannel<uint16_t>(i - coding, rows);
  });
  joinPieces();
  codeFrom_ = late ? 0 : nextRow();
  codeTo_ = nextRow() + rows.count;
}

template <class Sample>
void LosslessEncoder::takeChannel(int channel, ConstRows rows) {
  std::vector<int16_t>&row = row_[channel], &above = above_[channel];
  const int channels = picture_.channels(), shift = options_.pointTransform, width = picture_.width;
  for (int r = 0; r < rows.count; ++r) {
    const Sample* const from = reinterpret_cast<const Sample*>(rows.row(r)) + channel;
    for (int x = 0; x < width; ++x) row[size_t(x)] = int16_t(from[x * channels] >> shift);
    const int y = nextRow() + r;
    int16_t* const to = diff_->row(y, channel);
    if (interval_ ? y % interval_ == 0 : y == 0)
      require(zeliDiffPredFirstRow_JPEG_16s_C1(row.data(), to, width, picture_.bitDepth, shift));
    else
      differences(row.data(), above.data(), to, width, options_.predictor, picture_.bitDepth - shift);
    above.swap(row);
  }
}

// ---- Differences

void LosslessEncoder::codePiece(int piece) {
  const int from = codeFrom_ + piece * pieceRows(), to = std::min(from + pieceRows(), codeTo_);
  const auto code = [&](RowCoder* coder) {
    for (int y = from; y < to; ++y) {
      if (interval_ && y > 0 && y % interval_ == 0) coder->restart(y / interval_ - 1);
      coder->row(*diff_, y);
    }
  };
  if (!sideBySide_) return code(coder_.get());
  const std::unique_ptr<Sink> sink = memorySink(&coded_[size_t(piece)]);
  RowCoder coder(picture_, &codes_, sink.get());
  code(&coder);
  coder.finish();
}

void LosslessEncoder::joinPieces() {
  for (const std::vector<uint8_t>& piece : coded_) sink_.write(piece);
  coded_.clear();
}

void LosslessEncoder::count(int from, int to, int32_t* counts) const {
  for (int y = from; y < to; ++y)
    for (int c = 0; c < picture_.channels(); ++c)
      for (int x = 0; x < picture_.width; ++x)
        require(zeliGetHuffmanStatisticsOne_JPEG_16s_C1(diff_->row(y, c) + x, counts));
}

void LosslessEncoder::fitTable() {
  constexpr int kRows = 16;
  int32_t counts[256] = {};
  std::mutex mutex;
  team_.forEach(ceilDiv(picture_.height, kRows), [&](int i) {
    int32_t own[256] = {};
    count(i * kRows, std::min(picture_.height, (i + 1) * kRows), own);
    const std::lock_guard<std::mutex> lock(mutex);
    for (int k = 0; k < 256; ++k) counts[k] += own[k];
  });
  table_ = fittedTable(counts);
}

void LosslessEncoder::end() {
  if (options_.optimiseTables) {
    fitTable();
    writeStart();
  }
  const int pieces = codingPieces();
  coded_.resize(size_t(sideBySide_ ? pieces : 0));
  team_.forEach(pieces, [&](int i) { codePiece(i); });
  joinPieces();
  if (!sideBySide_) coder_->finish();
  std::vector<uint8_t> out;
  SegmentWriter(&out).marker(kEOI);
  sink_.write(out);
}

}  // namespace

std::unique_ptr<Encoder> createLossless(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                        const JpegEncodeOptions& options) {
  return std::make_unique<LosslessEncoder>(sink, format, metadata, options);
}

}  // namespace zelcodecs::jpeg
