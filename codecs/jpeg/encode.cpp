// Encoding band by band.
//
// Baseline files are coded as their rows come, MCU by MCU from pixels to bytes. Several threads code pieces of a band
// side by side: the DC predictors at the beginning of a piece follow from the MCU before it, whose blocks are made once
// more; only where its bits begin is not known, so that they are moved into their place when pieces are joined.
// Scripts, progressive files and tables made to measure look at all blocks before they code the first, which are stored
// therefore.
#include <algorithm>

#include "common/error.h"
#include "jpeg/blocks.h"
#include "jpeg/lossless.h"
#include "jpeg/segments.h"
#include "jpeg/stored.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

Frame frameFor(const PictureFormat& format, const Layout& layout) {
  Frame frame;
  frame.process = kSOF0;
  frame.width = format.width;
  frame.height = format.height;
  frame.components = layout.components;
  frame.layOut();
  return frame;
}

// What both ways have in common: blocks from bands.
class BlockEncoder : public Encoder {
 protected:
  // pixelsByDefault: as threadsFor() has it.
  BlockEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options,
               int64_t pixelsByDefault);

  void open(int bandRows);
  // Makes the blocks of a piece of a row of MCUs, where walk's store has them. Rows count in the picture.
  static constexpr int kPieceMcus = 64;
  int piecesOfRow() const { return ceilDiv(frame_.mcusWide, kPieceMcus); }
  void makeBlocks(int piece, int firstRow, McuWalk<int16_t> walk) const;
  int mcuHeight() const { return 8 * frame_.vMax; }

  Sink& sink_;
  const JpegEncodeOptions options_;
  const Metadata metadata_;
  const PictureFormat picture_;
  const Layout layout_;
  const Frame frame_;
  const Scan all_;
  const QuantTables quant_[2];
  int interval_;  // of restart markers
  Team team_;
  std::unique_ptr<BlockMaker> maker_;
};

BlockEncoder::BlockEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                           const JpegEncodeOptions& options, int64_t pixelsByDefault)
    : sink_(sink),
      options_(options),
      metadata_(metadata),
      picture_(format),
      layout_(layoutFor(format.model, options)),
      frame_(frameFor(format, layout_)),
      all_(scanOfAll(frame_)),
      quant_{{kLuminanceQuant, options.quality}, {kChrominanceQuant, options.quality}},
      team_(zelcodecs::threadsFor(format, options.threads, pixelsByDefault)) {
  const int64_t interval =
      options.restartInterval ? options.restartInterval : int64_t{options.restartRows} * frame_.mcusWide;
  requireCodable(format.width, format.height, interval);
  interval_ = int(interval);
}

void BlockEncoder::open(int bandRows) {
  Encoder::open(picture_, bandRows * mcuHeight(), options_);
  maker_ = blockMaker(picture_, frame_, quant_, options_, bandRows);
}

void BlockEncoder::makeBlocks(int piece, int firstRow, McuWalk<int16_t> walk) const {
  const int y = piece / piecesOfRow(), from = piece % piecesOfRow() * kPieceMcus;
  walk.moveTo(from, firstRow + y);
  for (int x = from; x < std::min(from + kPieceMcus, frame_.mcusWide); ++x, walk.next())
    maker_->mcu(x, y, walk.blocks());
}

// ---- Coded as they come ---------------------------------------------------------------------------------------------

class StreamingEncoder : public BlockEncoder {
 public:
  StreamingEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options);

 private:
  // Below, starting others and moving pixels between processors takes back what they save, in a process that does
  // nothing else.
  static constexpr int64_t kPixelsByDefault = 1 << 22;

  // Consecutive MCUs that one thread codes. Restart markers are in the midst of those alone that begin with one.
  struct Piece {
    int from, to;
    bool beginsInterval;
    std::vector<uint8_t> bytes;
    BitTail tail;
    std::unique_ptr<Sink> sink = memorySink(&bytes);
    std::unique_ptr<ScanEncoder> encoder;
  };
  // Those of a band; the vector keeps what it had, for the next band.
  struct Pieces {
    std::vector<std::unique_ptr<Piece>> all;
    int count = 0;
  };

  void encodeBand(ConstRows rows) override;
  void end() override;
  void writeStart();
  int chooseBandRows() const;
  void codePixels(int from, int to, int firstRow, ScanEncoder* encoder) const;
  void divide(int from, int to);
  void addPiece(int from, int to);
  void codePiece(Piece* piece, int firstRow) const;
  void predictorsBefore(int mcu, int firstRow, int16_t* predictors) const;
  void join();
  bool isRestart(int mcu) const { return interval_ && mcu > 0 && mcu % interval_ == 0; }

  EncoderTables tables_[2];
  Scan scan_;
  int partOf_[kMaxBlocksPerMcu];          // of each block of the MCU
  int blocks_ = 0;                        // in an MCU
  std::unique_ptr<ScanEncoder> encoder_;  // of one thread
  // Of several: the pieces of this band and of the one before, which are joined meanwhile.
  Pieces coding_, coded_;
  int16_t lastDc_[kMaxComponents] = {};  // behind the band before
  BitJoiner joiner_;
};

StreamingEncoder::StreamingEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                   const JpegEncodeOptions& options)
    : BlockEncoder(sink, format, metadata, options, kPixelsByDefault), scan_(all_), joiner_(&sink) {
  const std::vector<int> tableOf = huffmanTables(frame_.components.size(), layout_.adobeTransform);
  for (int i = 0; i < scan_.count; ++i) {
    const Component& c = frame_.components[size_t(i)];
    scan_.parts[i].dcTable = scan_.parts[i].acTable = tableOf[size_t(i)];
    for (int b = 0; b < c.h * c.v; ++b) partOf_[blocks_++] = i;
  }
  open(chooseBandRows());
  writeStart();
  if (team_.threads() == 1) encoder_ = std::make_unique<ScanEncoder>(scan_, ScanKind::sequential, tables_, &sink_);
}

// One row of MCUs for one thread. For several so many that a band is worth waking them.
int StreamingEncoder::chooseBandRows() const {
  if (team_.threads() == 1) return 1;
  constexpr uint64_t kBandBytes = 4 << 20;  // of pixels
  const uint64_t row = uint64_t(picture_.rowBytes()) * uint64_t(mcuHeight());
  return int(std::clamp<uint64_t>(kBandBytes / row, 1, uint64_t(frame_.mcusHigh)));
}

void StreamingEncoder::writeStart() {
  std::vector<uint8_t> out;
  SegmentWriter segments(&out);
  Warnings warnings(options_.warnings);
  FileHead head = {layout_.adobeTransform, layout_.adobeTransform < 0, metadata_, {}};
  int tables = 1;
  for (int i = 0; i < scan_.count; ++i) {
    head.steps[i] = quant_[frame_.components[size_t(i)].quantTable].inverse;
    tables = std::max(tables, 1 + scan_.parts[i].dcTable);
  }
  writeHead(head, frame_, &out, &warnings);
  standardTables(tables, &segments, tables_);
  if (interval_) segments.restartInterval(interval_);
  segments.scan(frame_, scan_);
  sink_.write(out);
}

void StreamingEncoder::encodeBand(ConstRows rows) {
  maker_->begin(rows, &team_);
  const int wide = frame_.mcusWide, first = nextRow() / mcuHeight(), high = ceilDiv(rows.count, mcuHeight());
  if (encoder_) return codePixels(first * wide, (first + high) * wide, first, encoder_.get());
  std::swap(coding_, coded_);
  divide(first * wide, (first + high) * wide);
  team_.forEach(1 + coding_.count, [&](int i) {
    if (i == 0)
      join();
    else
      codePiece(coding_.all[size_t(i) - 1].get(), first);
  });
  if (coding_.count > 0)
    std::copy_n(coding_.all[size_t(coding_.count) - 1]->encoder->predictors(), kMaxComponents, lastDc_);
}

// MCUs from pixels to bytes. The band begins with the given row of MCUs.
void StreamingEncoder::codePixels(int from, int to, int firstRow, ScanEncoder* encoder) const {
  alignas(32) Block blocks[kMaxBlocksPerMcu];
  int16_t* at[kMaxBlocksPerMcu];
  for (int b = 0; b < blocks_; ++b) at[b] = blocks[b];
  const int wide = frame_.mcusWide;
  for (int y = from / wide, x = from % wide; from < to; ++y, x = 0)
    for (; x < wide && from < to; ++x, ++from) {
      if (isRestart(from)) encoder->restart(from / interval_ - 1);
      maker_->mcu(x, y - firstRow, at);
      for (int b = 0; b < blocks_; ++b) encoder->block(at[b], partOf_[b]);
      encoder->endMcu();
    }
}

// Some pieces for each thread, so that none waits long for the others, but none that is hardly worth its beginning.
void StreamingEncoder::divide(int from, int to) {
  constexpr int kOfThread = 4, kLeast = 128;  // MCUs
  int step = std::max(ceilDiv(to - from, kOfThread * team_.threads()), kLeast);
  if (interval_ && interval_ < step) step -= step % interval_;
  coding_.count = 0;
  while (from < to) {
    int end = std::min(from + step, to);
    if (interval_ && from % interval_ != 0) end = std::min(end, ceilDiv(from, interval_) * interval_);
    addPiece(from, end);
    from = end;
  }
}

void StreamingEncoder::addPiece(int from, int to) {
  if (coding_.count == int(coding_.all.size())) {
    coding_.all.push_back(std::make_unique<Piece>());
    Piece& p = *coding_.all.back();
    p.encoder = std::make_unique<ScanEncoder>(scan_, ScanKind::sequential, tables_, p.sink.get());
  }
  Piece& p = *coding_.all[size_t(coding_.count++)];
  p.from = from;
  p.to = to;
  p.beginsInterval = from == 0 || isRestart(from);
  p.bytes.clear();
}

void StreamingEncoder::codePiece(Piece* piece, int firstRow) const {
  int16_t predictors[kMaxComponents] = {};
  if (!piece->beginsInterval) predictorsBefore(piece->from, firstRow, predictors);
  piece->encoder->beginPiece(predictors);
  codePixels(piece->from, piece->to, firstRow, piece->encoder.get());
  piece->tail = piece->encoder->endPiece();
}

// The DC coefficients of the MCU before, of each component the last block's. In front of the band they are kept.
void StreamingEncoder::predictorsBefore(int mcu, int firstRow, int16_t* predictors) const {
  const int wide = frame_.mcusWide, before = mcu - 1;
  if (before < firstRow * wide) {
    std::copy_n(lastDc_, kMaxComponents, predictors);
    return;
  }
  alignas(32) Block blocks[kMaxBlocksPerMcu];
  int16_t* at[kMaxBlocksPerMcu];
  for (int b = 0; b < blocks_; ++b) at[b] = blocks[b];
  maker_->mcu(before % wide, before / wide - firstRow, at);
  for (int b = 0; b < blocks_; ++b) predictors[partOf_[b]] = blocks[b][0];
}

void StreamingEncoder::join() {
  for (int i = 0; i < coded_.count; ++i) {
    const Piece& p = *coded_.all[size_t(i)];
    if (p.beginsInterval) joiner_.fill();
    joiner_.append(p.bytes.data(), p.bytes.size(), p.tail);
  }
}

void StreamingEncoder::end() {
  if (encoder_) {
    encoder_->finish();
  } else {
    std::swap(coding_, coded_);
    join();
    joiner_.finish();
  }
  std::vector<uint8_t> out;
  SegmentWriter(&out).marker(kEOI);
  sink_.write(out);
}

// ---- Stored first ---------------------------------------------------------------------------------------------------

class StoringEncoder : public BlockEncoder {
 public:
  StoringEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options)
      : BlockEncoder(sink, format, metadata, options, 0), store_(storeFor(frame_)) {
    store_.jfif = layout_.adobeTransform < 0;
    store_.adobeTransform = layout_.adobeTransform;
    for (size_t i = 0; i < frame_.components.size(); ++i)
      std::copy_n(quant_[frame_.components[i].quantTable].inverse, 64, store_.components[i].quant);
    constexpr int kRows = 8;
    open(team_.threads() > 1 ? kRows : 1);
    setDoneByRows(0.5);
  }

 private:
  void encodeBand(ConstRows rows) override {
    maker_->begin(rows, &team_);
    const McuWalk<int16_t> walk(blocksOf(&store_), frame_, all_);
    team_.forEach(ceilDiv(rows.count, mcuHeight()) * piecesOfRow(),
                  [&](int i) { makeBlocks(i, nextRow() / mcuHeight(), walk); });
  }
  void end() override {
    JpegWriteOptions write;
    write.restartInterval = interval_;
    write.progressive = options_.process == JpegProcess::progressive;
    write.script = options_.script;
    write.optimiseTables = options_.optimiseTables;
    write.warnings = options_.warnings;
    writeStored(
        store_, write, metadata_, &team_, [this](double part) { report((1 + part) / 2); }, &sink_);
  }

  JpegCoefficients store_;
};

}  // namespace

std::unique_ptr<Encoder> createJpeg(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                    const JpegEncodeOptions& options) {
  requireCodable(format.width, format.height, options.restartInterval);
  if (hasOpacity(format.model)) throw Error(ErrorKind::unsupported, "JPEG holds no opacity");
  if (options.process == JpegProcess::lossless) return createLossless(sink, format, metadata, options);
  if (format.bitDepth != 8)
    throw Error(ErrorKind::unsupported, "pictures of other than 8 bits a sample can be encoded without loss only");
  const bool stored = options.process == JpegProcess::progressive || options.optimiseTables || !options.script.empty();
  if (stored) return std::make_unique<StoringEncoder>(sink, format, metadata, options);
  return std::make_unique<StreamingEncoder>(sink, format, metadata, options);
}

std::vector<uint8_t> encodeJpeg(const Image& image, const JpegEncodeOptions& options) {
  std::vector<uint8_t> out;
  const std::unique_ptr<Sink> sink = memorySink(&out);
  writeAll(*createJpeg(*sink, image.format(), image.metadata(), options), image);
  return out;
}

}  // namespace zelcodecs
