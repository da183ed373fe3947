// Encoding band by band.
//
// Baseline files are coded as their rows come. One thread makes the blocks of an MCU and codes them at once. Several
// threads code restart intervals side by side in the same way; without restart markers one of them codes the blocks of
// the band before, while the others make those of the present band. Scripts, progressive files and tables made to
// measure look at all blocks before they code the first, which are stored therefore.
#include <algorithm>
#include <numeric>

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
  // codedInOrder: as threadsFor() has it.
  BlockEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options,
               bool codedInOrder);

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
                           const JpegEncodeOptions& options, bool codedInOrder)
    : sink_(sink),
      options_(options),
      metadata_(metadata),
      picture_(format),
      layout_(layoutFor(format.model, options)),
      frame_(frameFor(format, layout_)),
      all_(scanOfAll(frame_)),
      quant_{{kLuminanceQuant, options.quality}, {kChrominanceQuant, options.quality}},
      team_(threadsFor(format, options.threads, codedInOrder)) {
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
  // What one thread has coded of a band.
  struct Coded {
    std::vector<uint8_t> bytes;
    std::unique_ptr<Sink> sink = memorySink(&bytes);
    std::unique_ptr<ScanEncoder> encoder;
  };

  void encodeBand(ConstRows rows) override;
  void end() override;
  void writeStart();
  int chooseBandRows();
  void codePixels(int from, int to, int firstRow, ScanEncoder* encoder) const;
  void codeIntervals(int from, int to, int firstRow);
  void codeBlocks();
  void beginMcu(int mcu, ScanEncoder* encoder) const {
    if (interval_ && mcu > 0 && mcu % interval_ == 0) encoder->restart(mcu / interval_ - 1);
  }

  EncoderTables tables_[2];
  Scan scan_;
  int partOf_[kMaxBlocksPerMcu];  // of each block of the MCU
  int blocks_ = 0;                // in an MCU
  bool sideBySide_ = false;       // bands are whole restart intervals
  std::unique_ptr<ScanEncoder> encoder_;
  std::vector<std::unique_ptr<Coded>> coded_;
  // Several threads without restart markers: the blocks of two bands, and the rows of MCUs that are not coded yet.
  std::unique_ptr<BlockRing> ring_;
  int codeFrom_ = 0, codeTo_ = 0;
};

StreamingEncoder::StreamingEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                   const JpegEncodeOptions& options)
    : BlockEncoder(sink, format, metadata, options, !options.restartInterval && !options.restartRows), scan_(all_) {
  const std::vector<int> tableOf = huffmanTables(frame_.components.size(), layout_.adobeTransform);
  for (int i = 0; i < scan_.count; ++i) {
    const Component& c = frame_.components[size_t(i)];
    scan_.parts[i].dcTable = scan_.parts[i].acTable = tableOf[size_t(i)];
    for (int b = 0; b < c.h * c.v; ++b) partOf_[blocks_++] = i;
  }
  const int bandRows = chooseBandRows();
  open(bandRows);
  if (team_.threads() > 1 && !sideBySide_) ring_ = std::make_unique<BlockRing>(frame_, 2 * bandRows);
  writeStart();
  encoder_ = std::make_unique<ScanEncoder>(scan_, ScanKind::sequential, tables_, &sink_);
}

// One row of MCUs for one thread. For several so many that a band is worth waking them, and whole restart intervals
// where these are not too long.
int StreamingEncoder::chooseBandRows() {
  if (team_.threads() == 1) return 1;
  constexpr uint64_t kBandBytes = 384 << 10, kMostBandBytes = 4 << 20;  // of blocks
  constexpr int kMostRows = 32;
  const uint64_t row = BlockRing::rowBytes(frame_);
  const int rows = int(std::clamp<uint64_t>(kBandBytes / row, 1, kMostRows));
  const int whole = interval_ / std::gcd(interval_, frame_.mcusWide);
  sideBySide_ = whole > 0 && uint64_t(whole) * row <= kMostBandBytes;
  return std::min(frame_.mcusHigh, sideBySide_ ? ceilDiv(2 * rows, whole) * whole : rows);
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
  const int first = nextRow() / mcuHeight(), high = ceilDiv(rows.count, mcuHeight());
  const int from = first * frame_.mcusWide, to = (first + high) * frame_.mcusWide;
  if (sideBySide_) return codeIntervals(from, to, first);
  if (!ring_) return codePixels(from, to, first, encoder_.get());
  const McuWalk<int16_t> walk(ring_->blocks(), frame_, all_);
  const int coding = codeFrom_ < codeTo_ ? 1 : 0;
  team_.forEach(coding + high * piecesOfRow(), [&](int i) {
    if (i < coding)
      codeBlocks();
    else
      makeBlocks(i - coding, first, walk);
  });
  codeFrom_ = first;
  codeTo_ = first + high;
}

// MCUs from pixels to bytes. The band begins with the given row of MCUs.
void StreamingEncoder::codePixels(int from, int to, int firstRow, ScanEncoder* encoder) const {
  alignas(32) Block blocks[kMaxBlocksPerMcu];
  int16_t* at[kMaxBlocksPerMcu];
  for (int b = 0; b < blocks_; ++b) at[b] = blocks[b];
  const int wide = frame_.mcusWide;
  for (int y = from / wide, x = from % wide; from < to; ++y, x = 0)
    for (; x < wide && from < to; ++x, ++from) {
      beginMcu(from, encoder);
      maker_->mcu(x, y - firstRow, at);
      for (int b = 0; b < blocks_; ++b) encoder->block(at[b], partOf_[b]);
      encoder->endMcu();
    }
}

// Each piece begins with its marker, and pieces are joined in their order.
void StreamingEncoder::codeIntervals(int from, int to, int firstRow) {
  const Pieces pieces(from, to, interval_);
  while (int(coded_.size()) < pieces.count()) {
    coded_.push_back(std::make_unique<Coded>());
    Coded& c = *coded_.back();
    c.encoder = std::make_unique<ScanEncoder>(scan_, ScanKind::sequential, tables_, c.sink.get());
  }
  team_.forEach(pieces.count(), [&](int i) {
    ScanEncoder* const encoder = coded_[size_t(i)]->encoder.get();
    codePixels(pieces.begin(i), pieces.end(i), firstRow, encoder);
    encoder->finish();
  });
  for (int i = 0; i < pieces.count(); ++i) {
    sink_.write(coded_[size_t(i)]->bytes);
    coded_[size_t(i)]->bytes.clear();
  }
}

void StreamingEncoder::codeBlocks() {
  McuWalk<const int16_t> walk(asConst(ring_->blocks()), frame_, scan_);
  for (int y = codeFrom_; y < codeTo_; ++y) {
    walk.moveTo(0, y);
    for (int x = 0; x < frame_.mcusWide; ++x, walk.next()) {
      beginMcu(y * frame_.mcusWide + x, encoder_.get());
      for (int b = 0; b < blocks_; ++b) encoder_->block(walk.blocks()[b], partOf_[b]);
      encoder_->endMcu();
    }
  }
}

void StreamingEncoder::end() {
  if (codeFrom_ < codeTo_) codeBlocks();
  if (!sideBySide_) encoder_->finish();
  std::vector<uint8_t> out;
  SegmentWriter(&out).marker(kEOI);
  sink_.write(out);
}

// ---- Stored first ---------------------------------------------------------------------------------------------------

class StoringEncoder : public BlockEncoder {
 public:
  StoringEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const JpegEncodeOptions& options)
      : BlockEncoder(sink, format, metadata, options, false), store_(storeFor(frame_)) {
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
