// A header of words and numbers, then samples as text or in binary, row by row.
#include "netpbm/netpbm.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "common/error.h"
#include "common/warnings.h"

namespace zelcodecs {
namespace {

constexpr size_t kMostHeader = size_t{64} << 10;  // with comments
constexpr size_t kBandBytes = size_t{64} << 10;   // rows that are read at once

bool isSpace(uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

[[noreturn]] void endsEarly(uint64_t at) {
  throw Error(ErrorKind::damaged, "the file ends before its last sample,", size_t(at));
}

// The characters of a header, which is parsed in memory.
class HeaderText {
 public:
  explicit HeaderText(ByteView text) : text_(text) {}
  size_t at() const { return at_; }

  // A number after white space and comments, which run from # to the end of the line.
  uint32_t number() {
    skipSpace();
    const size_t start = at_;
    uint32_t value = 0;
    while (at_ < text_.size && text_.data[at_] >= '0' && text_.data[at_] <= '9') {
      value = value * 10 + (text_.data[at_++] - '0');
      if (value > 99999999) throw Error(ErrorKind::damaged, "a number that is too large", start);
    }
    if (at_ == start) throw Error(ErrorKind::damaged, "a number is missing", start);
    return value;
  }
  std::string word() {
    skipSpace();
    std::string out;
    while (at_ < text_.size && !isSpace(text_.data[at_])) out += char(text_.data[at_++]);
    return out;
  }
  // One white-space character stands between the header and binary samples.
  void oneSpace() {
    if (at_ >= text_.size || !isSpace(text_.data[at_])) throw Error(ErrorKind::damaged, "the header does not end", at_);
    ++at_;
  }
  void restOfLine() {
    while (at_ < text_.size && text_.data[at_++] != '\n') {
    }
  }

 private:
  void skipSpace() {
    while (at_ < text_.size && (isSpace(text_.data[at_]) || text_.data[at_] == '#'))
      if (text_.data[at_] == '#')
        restOfLine();
      else
        ++at_;
  }

  ByteView text_;
  size_t at_ = 2;  // behind the letter and the digit
};

// What the text at the beginning of a file says. Kinds 1 to 3 are plain text, 4 to 6 the same in binary (bits, grey,
// RGB), 7 is PAM.
struct Header {
  int kind = 0;  // the digit behind the P
  uint32_t width = 0, height = 0, maxValue = 0;
  ColourModel model = ColourModel::grey;
  bool plain() const { return kind <= 3; }
  bool bits() const { return kind == 1 || kind == 4; }
};

// What the channels of a PAM file are.
ColourModel pamModel(uint32_t depth, const std::string& tuple, size_t at) {
  if (depth == 1) return ColourModel::grey;
  if (depth == 2) return ColourModel::greyAlpha;
  if (depth == 3) return ColourModel::rgb;
  if (depth == 4) return tuple == "RGB_ALPHA" ? ColourModel::rgba : ColourModel::cmyk;
  throw Error(ErrorKind::unsupported, "a PAM file with " + std::to_string(depth) + " channels", at);
}

// Lines of a keyword and a value, in any order, up to ENDHDR.
void readPamHeader(HeaderText& text, Header* h) {
  uint32_t depth = 0;
  std::string tuple;
  for (;;) {
    const size_t at = text.at();
    const std::string key = text.word();
    if (key == "WIDTH")
      h->width = text.number();
    else if (key == "HEIGHT")
      h->height = text.number();
    else if (key == "DEPTH")
      depth = text.number();
    else if (key == "MAXVAL")
      h->maxValue = text.number();
    else if (key == "TUPLTYPE")
      tuple = text.word();
    else if (key == "ENDHDR")
      break;
    else
      throw Error(ErrorKind::damaged, "an unknown line in the PAM header", at);
  }
  text.restOfLine();
  h->model = pamModel(depth, tuple, text.at());
}

Header readHeader(HeaderText& text, int kind) {
  Header h;
  h.kind = kind;
  if (kind == 7) {
    readPamHeader(text, &h);
  } else {
    h.model = kind == 3 || kind == 6 ? ColourModel::rgb : ColourModel::grey;
    h.width = text.number();
    h.height = text.number();
    h.maxValue = h.bits() ? 1 : text.number();
    if (!h.plain()) text.oneSpace();
  }
  if (h.width == 0 || h.height == 0) throw Error(ErrorKind::damaged, "a picture without pixels", text.at());
  if (h.maxValue == 0 || h.maxValue > 65535) throw Error(ErrorKind::damaged, "a maximum outside 1 to 65535", text.at());
  return h;
}

class NetpbmDecoder : public Decoder {
 public:
  NetpbmDecoder(Source& source, const DecodeOptions& options)
      : source_(source), keepGoing_(options.keepGoing), warnings_(options.warnings) {
    const ByteView begin = source.peek(kMostHeader);
    if (!isNetpbm(begin.data, begin.size)) throw Error(ErrorKind::unsupported, "not a Netpbm file", 0);
    HeaderText text(begin);
    header_ = readHeader(text, begin.data[1] - '0');
    checkSize(header_.width, header_.height, options.limits, text.at());
    at_ = source.next(text.at()).size;
    PictureFormat f = {int(header_.width), int(header_.height), header_.model, 1};
    // As few bits as hold the maximum.
    while (uint32_t(f.maxValue()) < header_.maxValue) ++f.bitDepth;
    storedRow_ = header_.bits() ? (size_t(f.width) + 7) / 8 : f.rowBytes();
    open(f, int(std::max<size_t>(1, kBandBytes / f.rowBytes())), options);
    begin_ = text.at();
    const ByteView bytes = asItIs() ? source.inMemory() : ByteView{};
    if (bytes.size >= begin_ && (bytes.size - begin_) / storedRow_ >= size_t(f.height)) samples_ = bytes.data + begin_;
  }

 private:
  void decodeBand(Rows to) override {
    for (int y = asItIs() && to.step == storedRow_ ? readRows(to) : 0; y < to.count; ++y) {
      if (ended_) {
        std::memset(to.row(y), 0, whole().rowBytes());
        continue;
      }
      try {
        if (header_.plain())
          plainRow(to.row(y));
        else
          binaryRow(to.row(y));
      } catch (const Error& e) {
        if (!keepGoing_) throw;
        warnings_.add(e);
        ended_ = true;
        --y;
      }
    }
  }

  bool asItIs() const { return !header_.plain() && header_.maxValue == 255; }

  // Of two bands before this one nobody holds rows any more.
  ConstRows standingRows(int count) override {
    if (!samples_) return {};
    source_.release(begin_ + storedRow_ * size_t(lastStanding_));
    lastStanding_ = nextRow();
    return {samples_ + storedRow_ * size_t(nextRow()), storedRow_, count};
  }

  // Rows that stand in the file as they are wanted, all at once; how many whole ones there were.
  int readRows(Rows to) {
    if (ended_) return 0;
    const size_t got = source_.read(to.data, storedRow_ * size_t(to.count));
    at_ += got;
    const int rows = int(got / storedRow_);
    if (rows == to.count) return rows;
    if (!keepGoing_) endsEarly(at_);
    warnings_.add("the file ends before its last sample,", size_t(at_));
    ended_ = true;
    return rows;
  }
  // The number of samples in a row.
  int samples() const { return whole().width * whole().channels(); }
  // A maximum that is not 2^n - 1 becomes the next one that is, and samples are scaled to it, rounded.
  void put(uint8_t* row, int i, uint32_t v) const {
    const uint32_t top = uint32_t(whole().maxValue()), most = header_.maxValue;
    if (v > most) throw Error(ErrorKind::damaged, "a sample above the maximum", size_t(at_));
    if (top != most) v = (v * top + most / 2) / most;
    if (whole().bytesPerSample() == 1)
      row[i] = uint8_t(v);
    else
      reinterpret_cast<uint16_t*>(row)[i] = uint16_t(v);
  }

  void binaryRow(uint8_t* row) {
    const ByteView from = source_.next(storedRow_);
    if (from.size < storedRow_) endsEarly(at_ + from.size);
    if (header_.bits()) {  // ones are black
      for (int x = 0; x < whole().width; ++x) row[x] = (from.data[x / 8] >> (7 - x % 8) & 1) ^ 1;
    } else if (header_.maxValue == 255) {
      std::memcpy(row, from.data, storedRow_);
    } else {
      const bool wide = whole().bytesPerSample() == 2;
      for (int i = 0; i < samples(); ++i) put(row, i, wide ? bigEndian16(from.data + 2 * i) : from.data[i]);
    }
    at_ += storedRow_;
  }

  // ---- Plain files: numbers as text, which bitmaps may write without spaces between them

  int character() {
    if (textAt_ == text_.size) {
      text_ = source_.next(kBandBytes);
      textAt_ = 0;
      if (text_.size == 0) return -1;
    }
    ++at_;
    return text_.data[textAt_++];
  }
  // One number a sample; in bitmaps one digit, where 1 is black. A comment reaches from # to the end of its line.
  void plainRow(uint8_t* row) {
    for (int i = 0; i < samples(); ++i) {
      int c = character();
      while (c == '#' || (c >= 0 && isSpace(uint8_t(c)))) {
        if (c == '#')
          while (c >= 0 && c != '\n') c = character();
        c = character();
      }
      if (c < 0) endsEarly(at_);
      uint32_t v = 0;
      if (c < '0' || c > '9') throw Error(ErrorKind::damaged, "a number is missing", size_t(at_ - 1));
      if (header_.bits()) {
        put(row, i, c == '0');
        continue;
      }
      for (; c >= '0' && c <= '9' && v <= 65535; c = character()) v = 10 * v + uint32_t(c - '0');
      put(row, i, v);
    }
  }

  Source& source_;
  const bool keepGoing_;
  Warnings warnings_;
  Header header_;
  uint64_t at_ = 0;  // in the file
  // Samples of a file in memory or mapped that are wanted as they are; then nothing is read.
  const uint8_t* samples_ = nullptr;
  size_t begin_ = 0;      // of the samples, in the file
  int lastStanding_ = 0;  // the first row of those that were lent before
  size_t storedRow_;
  bool ended_ = false;
  ByteView text_;
  size_t textAt_ = 0;
};

std::string headerFor(const PictureFormat& f) {
  const std::string width = std::to_string(f.width), height = std::to_string(f.height),
                    top = std::to_string(f.maxValue());
  if (f.model == ColourModel::grey || f.model == ColourModel::rgb)
    return (f.model == ColourModel::grey ? "P5\n" : "P6\n") + width + " " + height + "\n" + top + "\n";
  const std::string tuple = f.model == ColourModel::cmyk   ? "CMYK"
                            : f.model == ColourModel::rgba ? "RGB_ALPHA"
                                                           : "GRAYSCALE_ALPHA";
  return "P7\nWIDTH " + width + "\nHEIGHT " + height + "\nDEPTH " + std::to_string(f.channels()) + "\nMAXVAL " + top +
         "\nTUPLTYPE " + tuple + "\nENDHDR\n";
}

class NetpbmEncoder : public Encoder {
 public:
  NetpbmEncoder(Sink& sink, const PictureFormat& format, const Metadata& metadata, const EncodeOptions& options)
      : sink_(sink) {
    open(format, 1, options);
    takeManyBands();
    warnOfLoss(metadata, 0, "Netpbm", options.warnings);
    const std::string header = headerFor(format);
    sink_.write(reinterpret_cast<const uint8_t*>(header.data()), header.size());
  }

 private:
  void encodeBand(ConstRows rows) override {
    const size_t bytes = format().rowBytes();
    if (format().bytesPerSample() == 1 && rows.step == bytes) return sink_.write(rows.data, bytes * size_t(rows.count));
    if (format().bytesPerSample() == 1) {
      for (int y = 0; y < rows.count; ++y) sink_.write(rows.row(y), bytes);
      return;
    }
    swapped_.resize(bytes);  // high bytes come first
    for (int y = 0; y < rows.count; ++y) {
      const uint16_t* const from = reinterpret_cast<const uint16_t*>(rows.row(y));
      for (size_t i = 0; i < bytes / 2; ++i) {
        swapped_[2 * i] = uint8_t(from[i] >> 8);
        swapped_[2 * i + 1] = uint8_t(from[i]);
      }
      sink_.write(swapped_);
    }
  }
  void end() override {}

  Sink& sink_;
  std::vector<uint8_t> swapped_;
};

}  // namespace

bool isNetpbm(const uint8_t* data, size_t size) {
  return size >= 3 && data[0] == 'P' && data[1] >= '1' && data[1] <= '7' && (isSpace(data[2]) || data[2] == '#');
}

std::unique_ptr<Decoder> openNetpbm(Source& source, const DecodeOptions& options) {
  return std::make_unique<NetpbmDecoder>(source, options);
}

Image decodeNetpbm(const uint8_t* data, size_t size, const DecodeOptions& options) {
  const std::unique_ptr<Source> source = memorySource(data, size);
  return readAll(*openNetpbm(*source, options));
}

std::unique_ptr<Encoder> createNetpbm(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                      const EncodeOptions& options) {
  return std::make_unique<NetpbmEncoder>(sink, format, metadata, options);
}

std::vector<uint8_t> encodeNetpbm(const Image& image, const EncodeOptions& options) {
  std::vector<uint8_t> out;
  const std::unique_ptr<Sink> sink = memorySink(&out);
  writeAll(*createNetpbm(*sink, image.format(), image.metadata(), options), image);
  return out;
}

}  // namespace zelcodecs
