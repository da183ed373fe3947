// info: what a file says about itself. One description serves both outputs: JSON, and lines for people.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "common/error.h"

namespace zelcodec {

using namespace zelcodecs;
using Json = nlohmann::ordered_json;

namespace {

template <class Value, size_t count>
std::string nameIn(const Named<Value> (&names)[count], Value value) {
  for (const Named<Value>& n : names)
    if (n.value == value) return n.name;
  return "unknown";
}

Json aboutJpeg(ByteView b) {
  const JpegInfo j = readJpegInfo(b.data, b.size);
  Json out = {
      {"process", j.process}, {"width", j.width}, {"height", j.height}, {"bits", j.precision}, {"colour", j.colour}};
  out["components"] = Json::array();
  for (const JpegInfo::Component& c : j.components)
    out["components"].push_back({{"id", c.id}, {"h", c.h}, {"v", c.v}, {"quantTable", c.quantTable}});
  out["scans"] = Json::array();
  for (const JpegInfo::Scan& s : j.scans)
    out["scans"].push_back({{"components", s.components.size()},
                            {"ss", s.ss},
                            {"se", s.se},
                            {"ah", s.ah},
                            {"al", s.al},
                            {"offset", s.offset},
                            {"bytes", s.bytes}});
  out["restartInterval"] = j.restartInterval;
  out["jfif"] = j.jfif;
  out["adobe"] = j.adobe;
  out["complete"] = j.complete;
  out["trailingBytes"] = j.trailingBytes;
  return out;
}

Json aboutJpeg2000(ByteView b) {
  const Jpeg2000Info j = readJpeg2000Info(b.data, b.size);
  Json out = {{"jp2", j.jp2}, {"width", j.width}, {"height", j.height}};
  out["components"] = Json::array();
  for (const Jpeg2000Info::Component& c : j.components)
    out["components"].push_back({{"bits", c.precision}, {"signed", c.isSigned}, {"dx", c.dx}, {"dy", c.dy}});
  out["reversible"] = j.reversible;
  out["colourTransform"] = j.colourTransform;
  out["levels"] = j.levels;
  out["layers"] = j.layers;
  out["codeBlock"] = {j.codeBlockWidth, j.codeBlockHeight};
  out["tiles"] = {j.tilesAcross, j.tilesDown};
  out["progression"] = nameIn(kProgressions, j.progression);
  out["styles"] = Json::array();
  for (const Named<CodeBlockStyle>& s : kCodeBlockStyles)
    if (j.style & s.value) out["styles"].push_back(s.name);
  return out;
}

Json aboutDds(ByteView b) {
  const DdsInfo d = readDdsInfo(b.data, b.size);
  Json out = {{"texture", d.format},  {"width", d.width},       {"height", d.height},
              {"cubeMap", d.cubeMap}, {"pictures", d.pictures}, {"levels", Json::array()}};
  for (const DdsInfo::Level& l : d.levels)
    out["levels"].push_back({{"width", l.width}, {"height", l.height}, {"offset", l.offset}, {"bytes", l.bytes}});
  return out;
}

Json aboutTiff(ByteView b) {
  const TiffInfo t = readTiffInfo(b.data, b.size);
  Json out = {{"byteOrder", t.bigEndian ? "big" : "little"}, {"bigTiff", t.big}, {"pages", Json::array()}};
  for (const TiffPage& p : t.pages) {
    Json page = {{"width", p.width},
                 {"height", p.height},
                 {"samples", p.samplesPerPixel},
                 {"bits", p.bitsPerSample},
                 {"compression", p.compressionName},
                 {"predictor", p.predictor},
                 {"photometric", p.photometric}};
    if (p.tiled)
      page["tiles"] = {p.tileWidth, p.tileHeight};
    else
      page["strips"] = p.strips;
    out["pages"].push_back(std::move(page));
  }
  return out;
}

const char* nameOf(ColourModel model) {
  switch (model) {
    case ColourModel::grey:
      return "grey";
    case ColourModel::greyAlpha:
      return "grey with opacity";
    case ColourModel::rgb:
      return "RGB";
    case ColourModel::rgba:
      return "RGB with opacity";
    case ColourModel::cmyk:
      break;
  }
  return "CMYK";
}

// Text of any bytes as UTF-8: those that are none are taken as Latin-1.
std::string asUtf8(const std::string& text) {
  try {
    Json(text).dump();
    return text;
  } catch (const Json::type_error&) {
  }
  std::string out;
  for (const char c : text) {
    const unsigned u = static_cast<unsigned char>(c);
    if (u < 0x80) {
      out += c;
    } else {
      out += char(0xC0 | u >> 6);
      out += char(0x80 | (u & 0x3F));
    }
  }
  return out;
}

Json aboutMetadata(const Metadata& m) {
  Json out = Json::object();
  if (!m.icc.empty()) out["iccProfileBytes"] = m.icc.size();
  if (!m.exif.empty()) out["exifBytes"] = m.exif.size();
  if (!m.xmp.empty()) out["xmpBytes"] = m.xmp.size();
  if (m.orientation != 1) out["orientation"] = m.orientation;
  if (m.pixelsPerMetreX > 0)
    out["dotsPerInch"] = {m.pixelsPerMetreX / kInchesPerMetre, m.pixelsPerMetreY / kInchesPerMetre};
  if (!m.comments.empty()) {
    out["comments"] = Json::array();
    for (const std::string& c : m.comments) out["comments"].push_back(asUtf8(c));
  }
  return out;
}

Json about(const std::string& path, const CommonOptions& common) {
  const std::unique_ptr<Source> source = fileSource(path);
  const Format format = formatOf(source->peek(kBytesForFormat));
  Json out = {{"file", asUtf8(path)}, {"format", zelcodecs::nameOf(format)}};
  if (format == Format::jpeg) out.update(aboutJpeg(source->all()));
  if (format == Format::jpeg2000) out.update(aboutJpeg2000(source->all()));
  if (format == Format::dds) out.update(aboutDds(source->all()));
  if (format == Format::tiff) out.update(aboutTiff(source->all()));
  // What decoding gives, where the file can be decoded.
  try {
    AnyDecodeOptions d;
    common.apply(&d.common);
    d.common.keepGoing = true;
    const std::unique_ptr<Decoder> decoder = openAny(*source, format, d);
    const PictureFormat& f = decoder->format();
    out["picture"] = {{"width", f.width}, {"height", f.height}, {"colours", nameOf(f.model)}, {"bits", f.bitDepth}};
    out.update(aboutMetadata(decoder->metadata()));
  } catch (const Error& e) {
    out["notDecodable"] = e.what();
  }
  return out;
}

// ---- Lines for people -----------------------------------------------------------------------------------------------

// "restartInterval" as "restart interval".
std::string spoken(const std::string& key) {
  std::string out;
  for (const char c : key) {
    if (c >= 'A' && c <= 'Z') {
      out += ' ';
      out += char(c - 'A' + 'a');
    } else {
      out += c;
    }
  }
  return out;
}

std::string plain(const Json& v) {
  if (v.is_string()) return v.get<std::string>();
  if (v.is_boolean()) return v.get<bool>() ? "yes" : "no";
  if (v.is_number_float()) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", v.get<double>());
    return text;
  }
  std::string out;
  if (v.is_object()) {
    for (const auto& [key, value] : v.items()) out += (out.empty() ? "" : ", ") + spoken(key) + " " + plain(value);
  } else if (v.is_array()) {
    for (const Json& value : v) out += (out.empty() ? "" : " ") + plain(value);
  } else {
    out = v.dump();
  }
  return out;
}

void printLines(const Json& description) {
  for (const auto& [key, value] : description.items()) {
    if (key == "file") {
      std::printf("%s\n", plain(value).c_str());
    } else if (value.is_array() && !value.empty() && value[0].is_object()) {
      std::printf("  %s:\n", spoken(key).c_str());
      for (const Json& entry : value) std::printf("    %s\n", plain(entry).c_str());
    } else {
      std::printf("  %s: %s\n", spoken(key).c_str(), plain(value).c_str());
    }
  }
}

}  // namespace

int runInfo(const InfoCommand& c, const CommonOptions& common) {
  int code = kOk;
  for (const std::string& file : c.files) {
    try {
      const Json description = about(file, common);
      if (c.json)
        std::printf("%s\n", description.dump().c_str());
      else
        printLines(description);
    } catch (...) {
      const int now = report(file, std::current_exception(), false);
      if (code == kOk) code = now;
    }
  }
  return code;
}

}  // namespace zelcodec
