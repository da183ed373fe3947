#include "files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "common/error.h"
#include "png/png_file.h"
#include "netpbm/netpbm.h"

namespace zelcodec {
namespace {

struct Close {
  void operator()(FILE* f) const {
    if (f != stdin && f != stdout) std::fclose(f);
  }
};
using File = std::unique_ptr<FILE, Close>;

[[noreturn]] void fail(const std::string& path) { throw FileError(path + ": " + std::strerror(errno)); }

}  // namespace

std::string ending(const std::string& path) {
  const size_t dot = path.find_last_of("./");
  if (dot == std::string::npos || path[dot] != '.') return "";
  std::string e = path.substr(dot + 1);
  std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return e;
}

bool isJpeg2000Ending(const std::string& e) { return e == "jp2" || e == "j2k" || e == "j2c" || e == "jpc"; }

bool isTiffEnding(const std::string& e) { return e == "tif" || e == "tiff"; }

std::vector<uint8_t> readFile(const std::string& path) {
  File f(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
  if (!f) fail(path);
  std::vector<uint8_t> bytes;
  uint8_t chunk[65536];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, f.get())) > 0;) bytes.insert(bytes.end(), chunk, chunk + n);
  if (std::ferror(f.get())) fail(path);
  return bytes;
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  File f(path == "-" ? stdout : std::fopen(path.c_str(), "wb"));
  if (!f) fail(path);
  const bool whole = std::fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size() && std::fflush(f.get()) == 0;
  if (whole) return;
  const int reason = errno;
  f.reset();
  if (path != "-" && path.compare(0, 5, "/dev/") != 0) std::remove(path.c_str());
  errno = reason;
  fail(path);
}

bool isJpeg(const std::vector<uint8_t>& bytes) { return bytes.size() > 2 && bytes[0] == 0xFF && bytes[1] == 0xD8; }

zelcodecs::Image readPicture(const std::vector<uint8_t>& bytes) {
  if (bytes.size() > 2 && bytes[0] == 0x89 && bytes[1] == 'P') return zelcodecs::readPng(bytes.data(), bytes.size());
  if (bytes.size() > 2 && bytes[0] == 'P') return zelcodecs::readPnm(bytes.data(), bytes.size());
  throw zelcodecs::Error(zelcodecs::ErrorKind::unsupported, "neither PNG nor PGM, PPM or PAM", 0);
}

std::vector<uint8_t> packPicture(const std::string& path, const zelcodecs::Image& image, int pngLevel) {
  const std::string e = ending(path);
  if (e == "png") return zelcodecs::writePng(image, pngLevel);
  if (e == "pgm" || e == "ppm" || e == "pnm" || e == "pam" || path == "-") return zelcodecs::writePnm(image);
  throw FileError(path + ": pictures are written to files that end in .png, .pgm, .ppm, .pnm or .pam");
}

}  // namespace zelcodec
