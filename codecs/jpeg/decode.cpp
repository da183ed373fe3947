// Decoding band by band.
//
// A step brings a group of MCU rows further: their blocks are decoded, transformed into planes, and the planes become
// rows of the picture. Interpolation looks at the rows of the next group, so pictures are a step behind the planes:
// step n makes the planes of group n and the pictures of group n - 1, several threads both side by side. What comes in
// several scans is stored first: blocks of DCT processes, whole planes of lossless ones.
#include <algorithm>
#include <numeric>
#include <utility>

#include "jpeg/lossless.h"
#include "jpeg/planes.h"
#include "jpeg/scans.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

PictureOptions pictureOptions(const Reader& reader, const JpegDecodeOptions& options) {
  const int denominator = options.scaleDenominator;
  if (denominator != 1 && denominator != 2 && denominator != 4 && denominator != 8)
    throw Error(ErrorKind::argument, "a scale other than 1, 1/2, 1/4 and 1/8");
  const Frame& frame = reader.frame();
  if (frame.process == kSOF3 && denominator != 1)
    throw Error(ErrorKind::unsupported, "lossless files are decoded at full size only; the frame header is",
                frame.offset);
  PictureOptions p;
  p.coding = codingOf(reader);
  if (!options.convertColour && p.coding == Coding::ycc) p.coding = Coding::rgb;
  if (!options.convertColour && p.coding == Coding::ycck) p.coding = Coding::cmyk;
  p.format = {ceilDiv(frame.width, denominator), ceilDiv(frame.height, denominator), modelOf(p.coding),
              frame.precision};
  p.scaleDenominator = denominator;
  p.smooth = options.smooth;
  p.inverted = options.convertColour && p.format.model == ColourModel::cmyk && reader.adobeTransform() >= 0;
  return p;
}

// Below so many pixels, starting other threads and the memory that they work in take back what they save, in a process
// that does nothing else.
int decodingThreads(const Reader& reader, const PictureFormat& format, int threads) {
  constexpr int64_t kPixelsByDefault = 3 << 20, kStoredPixelsByDefault = 1 << 20;
  const bool intervals = reader.restartInterval() > 0;
  const int process = reader.frame().process;
  if (process == kSOF3) return jpeg::threadsFor(format, threads, !intervals);
  return zelcodecs::threadsFor(format, threads,
                               intervals          ? 0
                               : process == kSOF2 ? kStoredPixelsByDefault
                                                  : kPixelsByDefault);
}

class JpegDecoder : public Decoder {
 public:
  JpegDecoder(Source& source, const JpegDecodeOptions& options);

 private:
  // Where a step finds what it transforms.
  enum class Way {
    straight,  // the scan hands blocks out as it decodes them, or a lossless one makes samples of its own
    stored,    // in the blocks of the whole picture
    planes     // nowhere: the whole planes are there
  };

  void decodeBand(Rows to) override { advance(to); }
  void skipBand(int) override { advance({}); }

  Way chooseWay() const;
  int intervalRows() const;
  int chooseGroupRows(Way way) const;
  void begin();
  void beginScan();
  void beginBlocks();
  void storeSamples();
  void advance(Rows to);
  void step(Rows to);
  void transform(int piece, int group) const;
  void convert(int piece, Rows to) const;
  void endScan();
  int piecesOfRow() const { return ceilDiv(mcus_.mcusWide(scans_.frame()), kPieceMcus); }

  static constexpr int kPieceMcus = 64, kPieceRows = 8;
  // What the blocks or samples of a group take: enough for a step to be worth several threads.
  static constexpr uint64_t kGroupBytes = 96 << 10, kMostGroupBytes = 1 << 20;
  static constexpr int kMostRows = 32;

  const JpegDecodeOptions options_;
  Source& source_;
  Scans scans_;
  const PictureOptions picture_;
  const Scan mcus_;                 // of all components
  const int mcuRows_, mcuColumns_;  // of the picture that an MCU makes
  const int rows_;                  // of MCUs
  Team team_;
  const Way way_;
  const int group_;                    // rows of MCUs in a band
  int wantedFrom_ = 0, wantedTo_ = 0;  // rows of MCUs that are transformed
  bool begun_ = false;
  int step_ = 0;
  int lag_ = 1;  // steps between the first that a group of rows takes part in and the one that makes its pictures

  std::unique_ptr<Planes> planes_;
  std::unique_ptr<Transforms> transforms_;
  std::unique_ptr<ScanDecoder> scan_;  // none where all is stored, or nothing can be decoded
  JpegCoefficients store_;
  ConstBlocks blocks_;  // of store_
};

JpegDecoder::JpegDecoder(Source& source, const JpegDecodeOptions& options)
    : options_(options),
      source_(source),
      scans_(source.all(), options),
      picture_(pictureOptions(scans_.reader(), options)),
      mcus_(scanOfAll(scans_.frame())),
      mcuRows_(Planes::mcuRows(scans_.frame(), options.scaleDenominator)),
      mcuColumns_((mcus_.interleaved() ? scans_.frame().hMax : 1) * scans_.frame().dataUnit() /
                  options.scaleDenominator),
      rows_(mcus_.mcusHigh(scans_.frame())),
      team_(decodingThreads(scans_.reader(), picture_.format, options.threads)),
      way_(chooseWay()),
      group_(chooseGroupRows(way_)) {
  metadata_ = scans_.reader().metadata(scans_.warnings());
  open(picture_.format, group_ * mcuRows_, options);
  const bool storedFirst = way_ == Way::stored || way_ == Way::planes;
  if (storedFirst) setDoneBefore(0.5);
  // Interpolation looks one row beyond those that are wanted.
  wantedFrom_ = std::max(0, wanted().y / mcuRows_ - 1);
  wantedTo_ = std::min(rows_, ceilDiv(wanted().y + wanted().height, mcuRows_) + 1);
  lag_ = way_ == Way::planes ? 0 : 1;
  // What several threads hold besides does not count, so that the limit does not depend on them.
  constexpr int kRowsOfOneThread = 3;
  uint64_t bytes = Planes::rowBytes(scans_.frame(), picture_.format.bytesPerSample()) *
                   uint64_t(way_ == Way::planes ? rows_ : kRowsOfOneThread);
  if (way_ == Way::stored) bytes += storedBytes(scans_.frame());
  requireMemory(bytes, options.limits);
}

JpegDecoder::Way JpegDecoder::chooseWay() const {
  const Frame& frame = scans_.frame();
  const bool oneScan = scans_.current().count == int(frame.components.size());
  if (frame.process == kSOF3) return oneScan ? Way::straight : Way::planes;
  return frame.process == kSOF2 || !oneScan ? Way::stored : Way::straight;
}

// After how many rows of MCUs a restart interval ends with the row, again and again; 0 where that is too many to be
// held at once, or never.
int JpegDecoder::intervalRows() const {
  const int interval = scans_.reader().restartInterval(), wide = mcus_.mcusWide(scans_.frame());
  const int rows = interval / std::gcd(interval, wide);
  return uint64_t(rows) * Planes::rowBytes(scans_.frame(), 1) <= kMostGroupBytes ? rows : 0;
}

// One row for one thread. For several so many that a step is worth waking them, in some hundred kilobytes.
int JpegDecoder::chooseGroupRows(Way way) const {
  if (team_.threads() == 1 || way == Way::planes) return 1;
  const uint64_t row = Planes::rowBytes(scans_.frame(), 1);
  const int rows = int(std::clamp<uint64_t>(kGroupBytes * uint64_t(team_.threads()) / row, 1, kMostRows)),
            whole = intervalRows();
  return std::min(rows_, way == Way::straight && whole ? ceilDiv(rows, whole) * whole : rows);
}

// ---- The beginning

// When the first rows are asked for.
void JpegDecoder::begin() {
  const Frame& frame = scans_.frame();
  planes_ = std::make_unique<Planes>(frame, picture_, way_ == Way::planes ? rows_ : 2 * group_ + 1);
  if (way_ == Way::planes) return storeSamples();
  if (way_ == Way::stored) {
    storeScans(
        &scans_, options_, &team_, [this](double part) { report(part / 2); }, &store_);
    blocks_ = blocksOf(std::as_const(store_));
    return beginBlocks();
  }
  scans_.guard([this] { beginScan(); });
}

void JpegDecoder::beginBlocks() {
  QuantSteps quant;
  for (int i = 0; i < mcus_.count; ++i)
    quant.of[i] = way_ == Way::stored ? store_.components[size_t(i)].quant : scans_.quant(i);
  // Columns, too, with an MCU more on either side.
  const int left = std::max(0, wanted().x / mcuColumns_ - 1),
            right = ceilDiv(wanted().x + wanted().width, mcuColumns_) + 1;
  const Region mcus = {left, wantedFrom_, right - left, wantedTo_ - wantedFrom_};
  transforms_ = std::make_unique<Transforms>(scans_.frame(), quant, *planes_, mcus);
}

// The file's only scan.
void JpegDecoder::beginScan() {
  scans_.admit();
  const bool keepGoing = options_.keepGoing;
  if (scans_.frame().process == kSOF3) {
    scan_ = losslessScan(scans_.reader(), scans_.current(), keepGoing, scans_.warnings(), planes_.get());
  } else {
    beginBlocks();
    scan_ = sequentialScan(scans_.reader(), scans_.current(), keepGoing, scans_.warnings(), transforms_.get(),
                           team_.threads());
  }
  scan_->choose(wantedFrom_, wantedTo_);
}

// Lossless scans that each bring some of the planes.
void JpegDecoder::storeSamples() {
  scans_.guard([this] {
    size_t end;
    do {
      scans_.admit();
      const auto scan =
          losslessScan(scans_.reader(), scans_.current(), options_.keepGoing, scans_.warnings(), planes_.get());
      while (const int pieces = scan->plan(scan->rows(), team_.threads())) {
        team_.forEach(pieces, [&](int i) { scan->work(i); });
        scan->join();
      }
      end = scan->end();
      report(0.5 * double(end) / double(scans_.reader().size()));
    } while (scans_.next(end));
  });
}

// ---- Steps

// Up to the step that makes the pictures of the next band.
void JpegDecoder::advance(Rows to) {
  if (!begun_) begin();
  begun_ = true;
  const int band = nextRow() / (group_ * mcuRows_);
  while (step_ < band + lag_) step({});
  step(to);
}

void JpegDecoder::step(Rows to) {
  // The last row may need what is being made, and comes alone.
  const Rows ready = to.part(0, std::max(0, to.count - 1));
  int pictures = ceilDiv(ready.count, kPieceRows), transforms = way_ == Way::stored ? group_ * piecesOfRow() : 0;
  for (;;) {
    const int blocks = scan_ ? scan_->plan(std::min((step_ + 1) * group_, wantedTo_), team_.threads()) : 0;
    if (blocks + transforms + pictures == 0) break;
    team_.forEach(blocks + transforms + pictures, [&](int i) {
      if (i < blocks)
        scan_->work(i);
      else if (i < blocks + transforms)
        transform(i - blocks, step_);
      else
        convert(i - blocks - transforms, ready);
    });
    transforms = pictures = 0;
    if (!blocks) break;
    scan_->join();
    source_.release(scan_->offset());
  }
  if (scan_ && (step_ + 1) * group_ >= rows_ && wantedTo_ == rows_ && step_ * group_ < rows_) endScan();
  if (to.count > 0) planes_->convert(nextRow() + to.count - 1, to.part(to.count - 1, 1));
  ++step_;
}

void JpegDecoder::transform(int piece, int group) const {
  const int y = group * group_ + piece / piecesOfRow(), x = piece % piecesOfRow() * kPieceMcus;
  if (y < wantedFrom_ || y >= wantedTo_) return;
  McuWalk<const int16_t> walk(blocks_, scans_.frame(), mcus_);
  walk.moveTo(x, y);
  for (int i = x; i < std::min(x + kPieceMcus, mcus_.mcusWide(scans_.frame())); ++i, walk.next())
    transforms_->mcu(i, y, walk.blocks(), nullptr);
}

void JpegDecoder::convert(int piece, Rows to) const {
  const int first = piece * kPieceRows;
  planes_->convert(nextRow() + first, to.part(first, std::min(kPieceRows, to.count - first)));
}

// Nothing but the end of the image may follow.
void JpegDecoder::endScan() {
  scans_.guard([this] {
    if (scans_.next(scan_->end())) scans_.admit();
  });
}

}  // namespace

std::unique_ptr<Decoder> openJpeg(Source& source, const JpegDecodeOptions& options) {
  return std::make_unique<JpegDecoder>(source, options);
}

Image decodeJpeg(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openJpeg(*source, options));
}

JpegCoefficients readJpegCoefficients(const uint8_t* data, size_t size, const JpegDecodeOptions& options) {
  Scans scans({data, size}, options);
  if (scans.frame().process == kSOF3)
    throw Error(ErrorKind::unsupported, "a lossless file has no coefficients; the frame header is",
                scans.frame().offset);
  Team team(options.threads);
  JpegCoefficients out;
  storeScans(&scans, options, &team, options.progress, &out);
  if (options.progress) options.progress(1);
  return out;
}

}  // namespace zelcodecs
