// Files in memory, what reading them gives, and the same work by several threads.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "any/any.h"
#include "common/metrics.h"
#include "picture.h"

namespace zeltest {

using Bytes = std::vector<uint8_t>;

inline Bytes part(const Bytes& b, size_t from, size_t to) { return {b.begin() + long(from), b.begin() + long(to)}; }

inline Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

inline Bytes fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// A file that bytes pass through to a peer and from it, of this process alone.
struct TemporaryFile {
  const std::string path = testing::TempDir() + "zelj" + std::to_string(getpid());
  explicit TemporaryFile(const Bytes& bytes = {}) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  }
  TemporaryFile(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::remove(path.c_str()); }
};

// The error of what must fail.
template <class Action>
zelcodecs::Error refusal(const Action& action) {
  try {
    action();
  } catch (const zelcodecs::Error& e) {
    return e;
  }
  ADD_FAILURE() << "not refused";
  return {zelcodecs::ErrorKind::argument, "not refused"};
}

// Pictures of another size, colour model or bit depth throw.
inline void expectEqual(const zelcodecs::Image& a, const zelcodecs::Image& b) {
  ASSERT_EQ(zelcodecs::difference(a, b).differing, 0u);
}

// A picture read in bands of 1, 4, 7, 10 ... rows.
template <class Options>
zelcodecs::Image readInBands(const Bytes& file, const Options& options,
                             std::unique_ptr<zelcodecs::Decoder> open(zelcodecs::Source&, const Options&)) {
  const auto source = zelcodecs::memorySource(file.data(), file.size());
  const auto decoder = open(*source, options);
  zelcodecs::Image image(decoder->format());
  for (int y = 0, n = 1; y < image.height(); y += n, n += 3)
    decoder->read(image.rows(y, n = std::min(n, decoder->rowsLeft())));
  return image;
}

// A file written in such bands.
using Create = std::function<std::unique_ptr<zelcodecs::Encoder>(zelcodecs::Sink&)>;
inline Bytes writtenInBands(const zelcodecs::Image& image, const Create& create) {
  Bytes file;
  const auto sink = zelcodecs::memorySink(&file);
  const auto encoder = create(*sink);
  for (int y = 0, n = 1; y < image.height(); y += n, n += 3)
    encoder->write(image.rows(y, n = std::min(n, image.height() - y)));
  encoder->finish();
  return file;
}

// A picture as a file of any format, and what such a file holds.
inline Bytes encodedAny(const zelcodecs::Image& image, zelcodecs::Format format,
                        const zelcodecs::AnyEncodeOptions& options = {}) {
  Bytes file;
  const auto sink = zelcodecs::memorySink(&file);
  zelcodecs::writeAll(*zelcodecs::createAny(*sink, format, image.format(), image.metadata(), options), image);
  return file;
}
inline zelcodecs::Image decodedAny(const Bytes& file, zelcodecs::Format format,
                                   const zelcodecs::AnyDecodeOptions& options = {}) {
  const auto source = zelcodecs::memorySource(file.data(), file.size());
  return zelcodecs::readAll(*zelcodecs::openAny(*source, format, options));
}

// Metadata of every kind. The profile takes several segments of JPEG, which holds either resolution well, but not both.
inline zelcodecs::Metadata everyMetadata() {
  zelcodecs::Metadata m;
  for (unsigned i = 0; i < 150000; ++i) m.icc.push_back(uint8_t(i * i >> 7));
  std::copy_n("RGB ", 4, m.icc.begin() + 16);
  m.exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0};
  m.orientation = 6;
  m.xmp = {'<', 'x', '/', '>'};
  m.comments = {"one", "another, which is longer than what a string holds by itself"};
  m.pixelsPerMetreX = 300 * zelcodecs::kInchesPerMetre;
  m.pixelsPerMetreY = 236 * 100;
  return m;
}

inline void expectSameMetadata(const zelcodecs::Metadata& a, const zelcodecs::Metadata& b, double resolution = 1) {
  EXPECT_EQ(a.icc, b.icc);
  EXPECT_EQ(a.exif, b.exif);
  EXPECT_EQ(a.xmp, b.xmp);
  EXPECT_EQ(a.comments, b.comments);
  EXPECT_NEAR(a.pixelsPerMetreX, b.pixelsPerMetreX, resolution);
  EXPECT_NEAR(a.pixelsPerMetreY, b.pixelsPerMetreY, resolution);
  EXPECT_EQ(a.orientation, b.orientation);
}

// The file of a picture, and what comes of it whole and damaged, are the same for any number of threads.
template <class EncodeOptions, class DecodeOptions>
void expectThreadsChangeNothing(const zelcodecs::Image& image,
                                Bytes encode(const zelcodecs::Image&, const EncodeOptions&), EncodeOptions e,
                                zelcodecs::Image decode(const uint8_t*, size_t, const DecodeOptions&),
                                size_t damagedFrom) {
  std::vector<std::string> first;
  for (const int threads : {1, 2, 3, 5}) {
    std::vector<std::string> outcomes;
    DecodeOptions d;
    e.threads = d.threads = threads;
    d.warnings = &outcomes;
    int finished = 0;
    e.progress = d.progress = [&](double done) { finished += done == 1; };
    const auto tell = [&](const Bytes& file) {
      try {
        const zelcodecs::Image i = decode(file.data(), file.size(), d);
        outcomes.emplace_back(i.data(), i.data() + i.sizeBytes());
      } catch (const zelcodecs::Error& error) {
        outcomes.emplace_back(error.what());
      }
    };
    Bytes file = encode(image, e);
    EXPECT_GT(finished, 0);
    outcomes.emplace_back(file.begin(), file.end());
    finished = 0;
    tell(file);
    EXPECT_GT(finished, 0);
    for (size_t at = damagedFrom; at < file.size(); at += 37) file[at] ^= 0x55;
    tell(file);
    d.keepGoing = true;
    tell(file);
    if (threads == 1) first = outcomes;
    ASSERT_TRUE(outcomes == first) << threads << " threads";
  }
}

}  // namespace zeltest
