#include "netpbm/netpbm.h"

#include <cstring>
#include <string>

#include "common/error.h"

namespace zelcodecs {
namespace {

class Text {
 public:
  Text(const uint8_t* data, size_t size, size_t at) : data_(data), size_(size), at_(at) {}
  size_t at() const { return at_; }

  // A number after white space and comments, which run from # to the end of the line.
  uint32_t number() {
    skipSpace();
    const size_t start = at_;
    uint32_t value = 0;
    while (at_ < size_ && data_[at_] >= '0' && data_[at_] <= '9') {
      value = value * 10 + (data_[at_++] - '0');
      if (value > 99999999) throw Error(ErrorKind::damaged, "a number that is too large", start);
    }
    if (at_ == start) throw Error(ErrorKind::damaged, "a number is missing", start);
    return value;
  }

  std::string word() {
    skipSpace();
    std::string out;
    while (at_ < size_ && !isSpace(data_[at_])) out += char(data_[at_++]);
    return out;
  }

  // One white-space character stands between the header and binary samples.
  void oneSpace() {
    if (at_ >= size_ || !isSpace(data_[at_])) throw Error(ErrorKind::damaged, "the header does not end", at_);
    ++at_;
  }

  void restOfLine() {
    while (at_ < size_ && data_[at_++] != '\n') {
    }
  }

 private:
  static bool isSpace(uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  void skipSpace() {
    while (at_ < size_ && (isSpace(data_[at_]) || data_[at_] == '#'))
      if (data_[at_] == '#')
        restOfLine();
      else
        ++at_;
  }

  const uint8_t* data_;
  size_t size_;
  size_t at_;
};

struct Header {
  uint32_t width = 0, height = 0, maxValue = 0;
  ColourModel model = ColourModel::grey;
};

Header pamHeader(Text& text) {
  Header h;
  uint32_t depth = 0;
  std::string tuple;
  for (;;) {
    const size_t at = text.at();
    const std::string key = text.word();
    if (key == "WIDTH")
      h.width = text.number();
    else if (key == "HEIGHT")
      h.height = text.number();
    else if (key == "DEPTH")
      depth = text.number();
    else if (key == "MAXVAL")
      h.maxValue = text.number();
    else if (key == "TUPLTYPE")
      tuple = text.word();
    else if (key == "ENDHDR")
      break;
    else
      throw Error(ErrorKind::damaged, "an unknown line in the PAM header", at);
  }
  text.restOfLine();
  if (depth != 1 && depth != 3 && depth != 4)
    throw Error(ErrorKind::unsupported, "a PAM file with " + std::to_string(depth) + " channels", text.at());
  h.model = depth == 1             ? ColourModel::grey
            : depth == 3           ? ColourModel::rgb
            : tuple == "RGB_ALPHA" ? ColourModel::rgba
                                   : ColourModel::cmyk;
  return h;
}

}  // namespace

Image readPnm(const uint8_t* data, size_t size, const Limits& limits) {
  if (size < 3 || data[0] != 'P' || !std::strchr("23567", data[1]))
    throw Error(ErrorKind::unsupported, "not a PGM, PPM or PAM file", 0);
  Text text(data, size, 2);
  const bool plain = data[1] == '2' || data[1] == '3';
  Header h;
  if (data[1] == '7') {
    h = pamHeader(text);
  } else {
    h.model = data[1] == '3' || data[1] == '6' ? ColourModel::rgb : ColourModel::grey;
    h.width = text.number();
    h.height = text.number();
    h.maxValue = text.number();
    if (!plain) text.oneSpace();
  }
  if (h.width == 0 || h.height == 0) throw Error(ErrorKind::damaged, "a picture without pixels", text.at());
  if (h.maxValue == 0 || h.maxValue > 65535) throw Error(ErrorKind::damaged, "a maximum outside 1 to 65535", text.at());
  checkSize(h.width, h.height, limits, text.at());

  int bits = 1;
  while ((1u << bits) - 1 < h.maxValue) ++bits;
  const uint32_t top = (1u << bits) - 1;
  // Every sample takes a byte at least, and in plain files a digit and a space but for the last.
  const uint64_t samples = uint64_t{h.width} * h.height * uint64_t(channelsOf(h.model));
  const uint64_t need = plain ? 2 * samples - 1 : samples * (bits > 8 ? 2 : 1);
  if (need > size - text.at())
    throw Error(ErrorKind::damaged, "the file ends before its " + std::to_string(samples) + " samples", size);

  Image image(int(h.width), int(h.height), h.model, bits);
  const uint8_t* p = data + text.at();
  if (!plain && h.maxValue == 255) {
    std::memcpy(image.data(), p, image.sizeBytes());
    return image;
  }
  const int perRow = image.width() * image.channels();
  for (int y = 0; y < image.height(); ++y)
    for (int i = 0; i < perRow; ++i) {
      uint32_t v;
      const size_t at = plain ? text.at() : size_t(p - data);
      if (plain) {
        v = text.number();
      } else if (bits > 8) {
        v = uint32_t(p[0] << 8 | p[1]);
        p += 2;
      } else {
        v = *p++;
      }
      if (v > h.maxValue) throw Error(ErrorKind::damaged, "a sample above the maximum", at);
      image.setSample(y, i, int(top == h.maxValue ? v : (v * top + h.maxValue / 2) / h.maxValue));
    }
  return image;
}

std::vector<uint8_t> writePnm(const Image& image) {
  const std::string size = std::to_string(image.width()) + " " + std::to_string(image.height());
  std::string header;
  if (image.channels() == 4)
    header = "P7\nWIDTH " + std::to_string(image.width()) + "\nHEIGHT " + std::to_string(image.height()) +
             "\nDEPTH 4\nMAXVAL " + std::to_string(image.maxValue()) + "\nTUPLTYPE " +
             (image.model() == ColourModel::cmyk ? "CMYK" : "RGB_ALPHA") + "\nENDHDR\n";
  else
    header =
        (image.model() == ColourModel::grey ? "P5\n" : "P6\n") + size + "\n" + std::to_string(image.maxValue()) + "\n";
  std::vector<uint8_t> out(header.begin(), header.end());
  out.reserve(out.size() + image.sizeBytes());
  if (image.bytesPerSample() == 1) {
    out.insert(out.end(), image.data(), image.data() + image.sizeBytes());
    return out;
  }
  for (int y = 0; y < image.height(); ++y)
    for (int i = 0; i < image.width() * image.channels(); ++i) {
      const uint16_t v = image.row16(y)[i];
      out.push_back(uint8_t(v >> 8));
      out.push_back(uint8_t(v));
    }
  return out;
}

}  // namespace zelcodecs
