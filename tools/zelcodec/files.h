// Files on disk, and which format a file has.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "common/image.h"

namespace zelcodec {

class FileError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "-" is standard input and standard output.
std::vector<uint8_t> readFile(const std::string& path);
// A file that cannot be written whole is removed.
void writeFile(const std::string& path, const std::vector<uint8_t>& bytes);

// The ending of a path in small letters, without the dot.
std::string ending(const std::string& path);
bool isJpeg2000Ending(const std::string& ending);
bool isTiffEnding(const std::string& ending);

bool isJpeg(const std::vector<uint8_t>& bytes);

// PNG, PGM, PPM and PAM by their first bytes.
zelcodecs::Image readPicture(const std::vector<uint8_t>& bytes);

// PNG or Netpbm by the ending of the name: .png, .pgm, .ppm, .pnm, .pam; throws a FileError for any other.
std::vector<uint8_t> packPicture(const std::string& path, const zelcodecs::Image& image, int pngLevel = 6);

}  // namespace zelcodec
