#include "info.h"

#include <cstdio>
#include <string>

#include "dds/dds.h"
#include "files.h"
#include "jpeg/jpeg.h"
#include "jpeg2000/jpeg2000.h"
#include "names.h"
#include "tiff/tiff.h"

namespace zelcodec {
namespace {

using namespace zelcodecs;
using Bytes = std::vector<uint8_t>;

std::string quoted(const std::string& s) {
  std::string out = "\"";
  for (char c : s) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += {'\\', c};
    } else if (u < 0x20 || u >= 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\u%04x", u);
      out += hex;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

void aboutJpeg2000(const Bytes& bytes, bool json) {
  const Jpeg2000Info j = readJpeg2000Info(bytes.data(), bytes.size());
  std::string styles, order;
  for (const auto& [name, bit] : kStyles)
    if (j.style & bit) styles += (styles.empty() ? "" : " ") + name;
  for (const auto& [name, value] : kProgressions)
    if (j.progression == value) order = name;
  const char* const format =
      json ? "{\"format\": \"JPEG 2000\", \"jp2\": %s, \"width\": %d, \"height\": %d, \"components\": %zu, "
             "\"bits\": %d, \"reversible\": %s, \"colourTransform\": %s, \"levels\": %d, \"layers\": %d, "
             "\"codeBlock\": [%d, %d], \"tiles\": [%d, %d], \"progression\": \"%s\", \"styles\": \"%s\"}\n"
           : "JPEG 2000, JP2 boxes: %s\n%d x %d pixels, %zu components of %d bits\nreversible: %s, colour transform: "
             "%s\n%d levels, %d layers, code blocks of %d x %d, %d x %d tiles\nprogression %s, code-block styles: %s\n";
  const auto flag = [&](bool b) { return json ? b ? "true" : "false" : b ? "yes" : "no"; };
  std::printf(format, flag(j.jp2), j.width, j.height, j.components.size(), j.components[0].precision,
              flag(j.reversible), flag(j.colourTransform), j.levels, j.layers, j.codeBlockWidth, j.codeBlockHeight,
              j.tilesAcross, j.tilesDown, order.c_str(), styles.c_str());
}

void aboutJpeg(const Bytes& bytes, bool json) {
  const JpegInfo j = readJpegInfo(bytes.data(), bytes.size());
  const char* const pieces = json ? ", " : "\n";
  const auto flag = [&](bool b) { return json ? b ? "true" : "false" : b ? "yes" : "no"; };
  if (json)
    std::printf("{\"format\": \"JPEG\", \"process\": %s, \"width\": %d, \"height\": %d, \"bits\": %d, \"colour\": %s, ",
                quoted(j.process).c_str(), j.width, j.height, j.precision, quoted(j.colour).c_str());
  else
    std::printf("JPEG, %s\n%d x %d pixels, %zu components of %d bits, %s\n", j.process.c_str(), j.width, j.height,
                j.components.size(), j.precision, j.colour.c_str());
  std::printf(json ? "\"components\": [" : "");
  for (size_t i = 0; i < j.components.size(); ++i) {
    const JpegInfo::Component& c = j.components[i];
    std::printf(json ? "%s{\"id\": %d, \"h\": %d, \"v\": %d, \"quantTable\": %d}"
                     : "%scomponent %d: sampling %dx%d, quantisation table %d\n",
                json && i ? ", " : "", c.id, c.h, c.v, c.quantTable);
  }
  std::printf(json ? "], \"scans\": [" : "");
  for (size_t i = 0; i < j.scans.size(); ++i) {
    const JpegInfo::Scan& s = j.scans[i];
    std::printf(
        json
            ? "%s{\"components\": %zu, \"ss\": %d, \"se\": %d, \"ah\": %d, \"al\": %d, \"offset\": %zu, \"bytes\": %zu}"
            : "%sscan of %zu components, coefficients %d to %d, bits %d:%d, at byte %zu, %zu bytes\n",
        json && i ? ", " : "", s.components.size(), s.ss, s.se, s.ah, s.al, s.offset, s.bytes);
  }
  std::printf(json ? "], " : "");
  for (const std::string& c : j.comments) std::printf(json ? "\"comment\": %s, " : "comment: %s\n", quoted(c).c_str());
  std::printf(json ? "\"restartInterval\": %d%s" : "restart interval %d%s", j.restartInterval, pieces);
  std::printf(json ? "\"jfif\": %s%s\"adobe\": %s%s" : "JFIF marker: %s%sAdobe marker: %s%s", flag(j.jfif), pieces,
              flag(j.adobe), pieces);
  std::printf(json ? "\"complete\": %s, \"trailingBytes\": %zu}\n" : "complete: %s, %zu bytes after the image\n",
              flag(j.complete), j.trailingBytes);
}

void aboutDds(const Bytes& bytes, bool json) {
  const DdsInfo d = readDdsInfo(bytes.data(), bytes.size());
  if (json)
    std::printf(
        "{\"format\": \"DDS\", \"texture\": \"%s\", \"width\": %d, \"height\": %d, \"cubeMap\": %s, "
        "\"pictures\": %u, \"levels\": [",
        d.format.c_str(), d.width, d.height, d.cubeMap ? "true" : "false", d.pictures);
  else
    std::printf("DDS, %s\n%d x %d pixels%s, %u pictures\n", d.format.c_str(), d.width, d.height,
                d.cubeMap ? ", cube map" : "", d.pictures);
  for (size_t i = 0; i < d.levels.size(); ++i) {
    const DdsInfo::Level& l = d.levels[i];
    std::printf(json ? "%s{\"width\": %d, \"height\": %d, \"offset\": %zu, \"bytes\": %zu}"
                     : "%slevel of %d x %d pixels at byte %zu, %zu bytes\n",
                json && i ? ", " : "", l.width, l.height, l.offset, l.bytes);
  }
  std::printf(json ? "]}\n" : "");
}

void aboutTiff(const Bytes& bytes, bool json) {
  const TiffInfo t = readTiffInfo(bytes.data(), bytes.size());
  const char* const order = t.bigEndian ? "big" : "little";
  if (json)
    std::printf("{\"format\": \"TIFF\", \"byteOrder\": \"%s\", \"pages\": [", order);
  else
    std::printf("TIFF, %s-endian, %zu pages\n", order, t.pages.size());
  for (size_t i = 0; i < t.pages.size(); ++i) {
    const TiffPage& p = t.pages[i];
    std::printf(json ? "%s{\"width\": %u, \"height\": %u, \"samples\": %d, \"bits\": %d, \"compression\": %d, "
                       "\"photometric\": %d, \"strips\": %u}"
                     : "%s%u x %u pixels, %d samples of %d bits, compression %d, photometric interpretation %d, %u "
                       "strips\n",
                json && i ? ", " : "", p.width, p.height, p.samplesPerPixel, p.bitsPerSample, p.compression,
                p.photometric, p.strips);
  }
  std::printf(json ? "]}\n" : "");
}

void aboutPicture(const Bytes& bytes, bool json) {
  const Image image = readPicture(bytes);
  const char* const format = json ? "{\"width\": %d, \"height\": %d, \"channels\": %d, \"bits\": %d}\n"
                                  : "%d x %d pixels, %d channels of %d bits\n";
  std::printf(format, image.width(), image.height(), image.channels(), image.bitDepth());
}

}  // namespace

void printInfo(const Bytes& bytes, bool json) {
  if (isJpeg2000(bytes.data(), bytes.size())) return aboutJpeg2000(bytes, json);
  if (isJpeg(bytes)) return aboutJpeg(bytes, json);
  if (isDds(bytes.data(), bytes.size())) return aboutDds(bytes, json);
  if (isTiff(bytes.data(), bytes.size())) return aboutTiff(bytes, json);
  aboutPicture(bytes, json);
}

}  // namespace zelcodec
