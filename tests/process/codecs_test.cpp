// The codecs' threads beside fork(), and progress callbacks and sinks that throw.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "codec/files.h"
#include "common/team.h"
#include "process.h"

using namespace zelcodecs;
using zeltest::succeedsInFork;

namespace {

constexpr int kThreads = 3;

// Whether a team does each piece once, and if not on one thread, on several: the first waits until the second is begun.
bool works(Team& team) {
  std::atomic<int> begun{0};
  team.forEach(2, [&](int) {
    for (++begun; begun < 2;) std::this_thread::yield();
  });
  return begun == 2;
}

TEST(TeamAfterFork, ChildStartsItsOwn) {
  EXPECT_TRUE(succeedsInFork([] {
    auto team = std::make_unique<Team>(kThreads), other = std::make_unique<Team>(kThreads);
    const auto child = [&] {
      const bool right = works(*team) && works(*team);
      team.reset();
      other.reset();  // not used in the child
      return right;
    };
    return works(*team) && works(*other) && succeedsInFork(child) && works(*team) && succeedsInFork(child);
  }));
}

// A file that was begun before fork() is finished on both sides, and what read it goes.
TEST(TeamAfterFork, BothSidesGoOn) {
  EXPECT_TRUE(succeedsInFork([] {
    const Image image = zeltest::picture(400, 600, ColourModel::rgb);
    JpegEncodeOptions e;
    e.restartRows = 1;
    const std::vector<uint8_t> file = encodeJpeg(image, e);
    const Image whole = decodeJpeg(file.data(), file.size());
    const auto source = memorySource(file.data(), file.size());
    JpegDecodeOptions d;
    d.threads = kThreads;
    auto decoder = openJpeg(*source, d);
    Image out(400, 600, ColourModel::rgb, 8);
    const auto rest = [&] {
      decoder->read(out.rows(300, 300));
      decoder.reset();
      return std::equal(out.data(), out.data() + out.sizeBytes(), whole.data());
    };
    decoder->read(out.rows(0, 300));
    return succeedsInFork(rest) && rest();
  }));
}

struct GivenUp {};

struct FullSink : Sink {
  uint64_t written = 0;
  void write(const uint8_t*, size_t size) override {
    written += size;
    if (written > 3000) throw GivenUp();
  }
  uint64_t position() const override { return written; }
  bool canPatch() const override { return true; }
  void patch(uint64_t, const uint8_t*, size_t) override {}
  void commit() override {}
};

// The callback that throws at its n-th call; nothing where there are fewer.
struct Impatient {
  int calls;
  void operator()(double) {
    if (calls-- == 0) throw GivenUp();
  }
};

struct Case {
  const char* name;
  Format format;
  AnyEncodeOptions options;
};

std::vector<Case> cases() {
  std::vector<Case> all{
      {"baseline", Format::jpeg, {}}, {"progressive", Format::jpeg, {}},   {"lossless", Format::jpeg, {}},
      {"restart", Format::jpeg, {}},  {"jpeg 2000", Format::jpeg2000, {}}, {"tiles", Format::jpeg2000, {}},
      {"dds", Format::dds, {}},       {"tiff", Format::tiff, {}},          {"png", Format::png, {}},
      {"netpbm", Format::netpbm, {}}};
  all[1].options.jpeg.process = JpegProcess::progressive;
  all[2].options.jpeg.process = JpegProcess::lossless;
  all[3].options.jpeg.restartRows = 1;
  all[5].options.jpeg2000.tileWidth = all[5].options.jpeg2000.tileHeight = 128;
  return all;
}

std::vector<uint8_t> encode(const Case& c, const Image& image, const Progress& progress) {
  AnyEncodeOptions o = c.options;
  o.common.progress = progress;
  return zeltest::encodedAny(image, c.format, o);
}

Image decode(const Case& c, const std::vector<uint8_t>& file, const Progress& progress) {
  AnyDecodeOptions o;
  o.common.threads = c.options.common.threads;
  o.common.progress = progress;
  return zeltest::decodedAny(file, c.format, o);
}

// Gives up at the first call, then at the second ... until work comes through: each time the exception comes out.
template <class Work>
int timesGivenUp(const Work& work) {
  for (int n = 0;; ++n) try {
      work(Impatient{n});
      return n;
    } catch (const GivenUp&) {
    }
}

TEST(Exceptions, ComeOutOfEveryCodec) {
  const Image image = zeltest::picture(300, 400, ColourModel::rgb);
  for (Case c : cases())
    for (const int threads : {1, kThreads}) {
      SCOPED_TRACE(c.name);
      c.options.common.threads = threads;
      const std::vector<uint8_t> file = encode(c, image, {});
      FullSink full;
      EXPECT_THROW(writeAll(*createAny(full, c.format, image.format(), {}, c.options), image), GivenUp);
      std::vector<uint8_t> again;
      EXPECT_GT(timesGivenUp([&](const Progress& p) { again = encode(c, image, p); }), 0);
      EXPECT_EQ(again, file);
      const Image whole = decode(c, file, {});
      EXPECT_GT(timesGivenUp([&](const Progress& p) {
                  const Image i = decode(c, file, p);
                  EXPECT_TRUE(std::equal(i.data(), i.data() + i.sizeBytes(), whole.data()));
                }),
                0);
    }
}

}  // namespace
