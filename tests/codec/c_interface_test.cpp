// The C interface of the codecs, as a program sees it that has nothing but its header and the shared library.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "zelcodecs.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Settings = std::vector<const char*>;

int channelsOf(const ZelcPicture& p) { return p.colours == zelcCmyk ? 4 : int(p.colours); }
size_t rowBytes(const ZelcPicture& p) { return size_t(p.width * channelsOf(p) * (p.bits > 8 ? 2 : 1)); }

// Slopes over the whole range, opaque where there is opacity.
Bytes samplesOf(const ZelcPicture& p) {
  Bytes out(rowBytes(p) * size_t(p.height));
  const int channels = channelsOf(p), top = (1 << p.bits) - 1;
  const bool opacity = p.colours == zelcGreyAlpha || p.colours == zelcRgba;
  for (int i = 0; i < p.width * p.height * channels; ++i) {
    const int x = i / channels % p.width, y = i / channels / p.width, c = i % channels;
    const int v = opacity && c == channels - 1 ? top : (x * 37 + y * 11 * (c + 1)) * (top / 255 + 1) & top;
    if (p.bits > 8)
      reinterpret_cast<uint16_t*>(out.data())[i] = uint16_t(v);
    else
      out[size_t(i)] = uint8_t(v);
  }
  return out;
}

Bytes written(const ZelcPicture& p, Settings settings, const ZelcMetadata* metadata = nullptr) {
  settings.push_back(nullptr);
  const Bytes samples = samplesOf(p);
  void* data = nullptr;
  size_t size = 0;
  EXPECT_EQ(zelcWriteMemory(&p, metadata, samples.data(), rowBytes(p), settings.data(), &data, &size), zelcOk)
      << zelcLastError();
  Bytes out;
  if (data) out.assign(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
  zelcFree(data);
  return out;
}

struct Read {
  ZelcStatus status = zelcOk;
  ZelcInfo info{};
  Bytes samples;
};
Read readWhole(const Bytes& file, Settings settings = {}) {
  settings.push_back(nullptr);
  Read r;
  void* samples = nullptr;
  r.status = zelcReadMemory(file.data(), file.size(), settings.data(), &r.info, &samples);
  if (samples) {
    const auto* const p = static_cast<uint8_t*>(samples);
    r.samples.assign(p, p + r.info.rowBytes * size_t(r.info.picture.height));
  }
  zelcFree(samples);
  return r;
}

struct Handle {  // a reader that is closed, and its file
  const Bytes file;
  ZelcReader* reader = nullptr;
  explicit Handle(Bytes bytes, Settings settings = {}) : file(std::move(bytes)) {
    settings.push_back(nullptr);
    EXPECT_EQ(zelcOpenMemory(file.data(), file.size(), settings.data(), &reader), zelcOk) << zelcLastError();
  }
  Handle(const Handle&) = delete;
  ~Handle() { zelcCloseReader(reader); }
};

constexpr ZelcPicture kRgb = {40, 30, zelcRgb, 8};

class CInterface : public testing::Test {
 protected:
  CInterface() { mkdir(folder.c_str(), 0700); }
  ~CInterface() override {
    for (const char* name : {"/a.png", "/b.jp2"}) unlink((folder + name).c_str());
    EXPECT_EQ(rmdir(folder.c_str()), 0) << "something is left in the folder";
  }
  const std::string folder = testing::TempDir() + "zelc" + std::to_string(getpid());
};

// Every format, each without loss: written in bands from rows that lie apart, read at once and in bands into such rows.
TEST_F(CInterface, BandsOfEveryFormat) {
  struct Case {
    ZelcFormat format;
    ZelcPicture picture;
    Settings settings;
  };
  const Case cases[] = {{zelcJpeg, {40, 30, zelcGrey, 12}, {"format=jpg", "lossless"}},
                        {zelcJpeg2000, {40, 30, zelcRgba, 8}, {"format=jp2", "tile=16,16"}},
                        {zelcTiff, {40, 30, zelcCmyk, 16}, {"format=tif", "compression=lzw"}},
                        {zelcPng, {40, 30, zelcGreyAlpha, 16}, {"format=png", "png-level=1"}},
                        {zelcNetpbm, {40, 30, zelcRgb, 10}, {"format=pnm"}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(zelcFormatName(c.format));
    const Bytes samples = samplesOf(c.picture);
    const size_t row = rowBytes(c.picture), step = row + 6;
    Bytes apart(step * 30, 0xA5);
    for (size_t y = 0; y < 30; ++y) std::memcpy(&apart[y * step], &samples[y * row], row);
    Settings settings = c.settings;
    settings.push_back(nullptr);
    ZelcWriter* writer = nullptr;
    ASSERT_EQ(zelcCreateMemory(&c.picture, nullptr, settings.data(), &writer), zelcOk) << zelcLastError();
    for (int y = 0, n = 1; y < 30; y += n, n = std::min(n + 3, 30 - y))
      ASSERT_EQ(zelcWriteRows(writer, &apart[size_t(y) * step], step, n), zelcOk) << zelcLastError();
    ASSERT_EQ(zelcFinish(writer), zelcOk) << zelcLastError();
    void* data = nullptr;
    size_t size = 0;
    ASSERT_EQ(zelcTakeBytes(writer, &data, &size), zelcOk);
    zelcCloseWriter(writer);  // what was taken outlives it
    const Bytes file(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
    zelcFree(data);
    EXPECT_EQ(file, written(c.picture, c.settings)) << "bands, and all rows at once";

    const Read whole = readWhole(file);
    EXPECT_EQ(whole.info.format, c.format);
    EXPECT_EQ(std::memcmp(&whole.info.picture, &c.picture, sizeof c.picture), 0);
    EXPECT_EQ(whole.samples, samples);
    const Handle h(file);
    Bytes to(step * 30, 0xA5);
    int y = 0, given = 0;
    while (zelcReadRows(h.reader, &to[size_t(y) * step], step, std::min(7, 30 - y + !y), &given) == zelcOk && given > 0)
      if ((y += given) == 30) break;
    EXPECT_EQ(to, apart);
    Bytes none(step);
    EXPECT_EQ(zelcReadRows(h.reader, none.data(), step, 1, &given), zelcOk);
    EXPECT_EQ(given, 0);
  }
}

TEST_F(CInterface, FilesAppearWhenTheyAreWhole) {
  const std::string path = folder + "/a.png", jp2 = folder + "/b.jp2";
  const Bytes samples = samplesOf(kRgb);
  for (const bool broken : {false, true}) {
    ZelcWriter* writer = nullptr;
    ASSERT_EQ(zelcCreateFile(path.c_str(), &kRgb, nullptr, nullptr, &writer), zelcOk);
    ASSERT_EQ(zelcWriteRows(writer, samples.data(), rowBytes(kRgb), broken ? 10 : 30), zelcOk);
    EXPECT_TRUE(!broken || zelcFinish(writer) == zelcUsage) << "rows are missing";
    zelcCloseWriter(writer);
    EXPECT_NE(access(path.c_str(), F_OK), 0);
  }
  ASSERT_EQ(zelcWriteFile(path.c_str(), &kRgb, nullptr, samples.data(), rowBytes(kRgb), nullptr), zelcOk);
  ZelcInfo info;
  void* read = nullptr;
  ASSERT_EQ(zelcReadFile(path.c_str(), nullptr, &info, &read), zelcOk) << zelcLastError();
  EXPECT_EQ(info.format, zelcPng);
  EXPECT_EQ(std::memcmp(read, samples.data(), samples.size()), 0);
  zelcFree(read);
  ASSERT_EQ(zelcWriteFile(jp2.c_str(), &kRgb, nullptr, samples.data(), rowBytes(kRgb), nullptr), zelcOk);
  EXPECT_EQ(std::ifstream(jp2, std::ios::binary).get(), 0) << "its ending tells the boxes";
}

// Each call fails as it should, with a text, and leaves null where a result would be.
TEST_F(CInterface, Refusals) {
  const Bytes png = written(kRgb, {"format=png"}), jpg = written(kRgb, {"format=jpg"});
  const Bytes cut(png.begin(), png.begin() + long(png.size() / 2)), gif = {'G', 'I', 'F', '8', '9', 'a'};
  const auto open = [](const Bytes& file, Settings settings) {
    return [file, settings] { return readWhole(file, settings).status; };
  };
  const auto create = [](ZelcPicture p, Settings settings) {
    return [p, settings]() mutable {
      settings.push_back(nullptr);
      ZelcWriter* w = reinterpret_cast<ZelcWriter*>(1);
      const ZelcStatus s = zelcCreateMemory(&p, nullptr, settings.data(), &w);
      EXPECT_EQ(w, nullptr);
      return s;
    };
  };
  ZelcPicture noColours = kRgb;
  const int wrong = 99;
  std::memcpy(&noColours.colours, &wrong, sizeof wrong);
  const std::pair<ZelcStatus, std::function<ZelcStatus()>> cases[] = {
      {zelcDamaged, open(cut, {})},
      {zelcUnsupported, open(gif, {})},
      {zelcUnsupported, open({}, {})},
      {zelcLimit, open(png, {"max-pixels=1199"})},
      {zelcUsage, open(png, {"scale=1/2"})},
      {zelcUsage, open(png, {"quality=5"})},
      {zelcUsage, open(png, {"nonsense"})},
      {zelcUsage, open(png, {"grey=maybe"})},
      {zelcUsage, open(png, {"grey", "grey"})},
      {zelcUsage, open(png, {"crop=0,0,41,1"})},
      {zelcUsage, open(png, {"crop=0,0,4,1,"})},
      {zelcUsage, create(kRgb, {})},
      {zelcUsage, create({1, 1, zelcRgb, 17}, {"format=png"})},
      {zelcUsage, create(noColours, {"format=png"})},
      {zelcUsage, create({9, 9, zelcRgb, 16}, {"format=jpg"})},
      {zelcUsage, create(kRgb, {"format=jpg", "quality=5.5"})},
      {zelcUsage, create(kRgb, {"format=jpg", "lossless", "progressive"})},
      {zelcUsage, create(kRgb, {"format=jp2", "rate=1,5"})},
      {zelcUsage, create(kRgb, {"format=jp2", "style=bypass+nonsense"})},
      {zelcUsage, create(kRgb, {"format=tif", "tile=16"})},
      {zelcUsage, create(kRgb, {"format=png", "background=#12345"})}};
  for (const auto& [status, call] : cases) {
    EXPECT_EQ(call(), status) << &call - &cases[0].second << ": " << zelcLastError();
    EXPECT_STRNE(zelcLastError(), "");
    EXPECT_EQ(zelcLastErrno(), 0);
  }
  ZelcReader* reader = reinterpret_cast<ZelcReader*>(1);
  EXPECT_EQ(zelcOpenFile((folder + "/none.png").c_str(), nullptr, &reader), zelcFile);
  EXPECT_EQ(reader, nullptr);
  EXPECT_EQ(zelcLastErrno(), ENOENT);
  std::thread([] { EXPECT_STREQ(zelcLastError(), ""); }).join();  // each thread has its own
  EXPECT_EQ(open({0xFF, 0xD8, 0xFF, 0xE0, 0, 1, 0, 0}, {})(), zelcDamaged);
  EXPECT_LT(zelcLastOffset(), 8u);
}

TEST_F(CInterface, NullIsRefused) {
  const Bytes png = written(kRgb, {"format=png"});
  const Handle h(png);
  ZelcReader* r;
  ZelcWriter* w;
  ZelcWriter* mine = nullptr;
  const char* const settings[] = {"format=png", nullptr};
  ASSERT_EQ(zelcCreateMemory(&kRgb, nullptr, settings, &mine), zelcOk);
  Bytes row(rowBytes(kRgb));
  ZelcInfo info;
  ZelcParts parts;
  ZelcMetadata metadata{}, bad{};
  void* data;
  size_t size = rowBytes(kRgb);
  int given;
  bad.iccBytes = 3;
  const ZelcStatus all[] = {zelcSetting(0, nullptr),
                            zelcOpenFile(nullptr, nullptr, &r),
                            zelcOpenFile("x", nullptr, nullptr),
                            zelcOpenMemory(nullptr, 1, nullptr, &r),
                            zelcOpenMemory(png.data(), png.size(), nullptr, nullptr),
                            zelcReaderInfo(nullptr, &info),
                            zelcReaderInfo(h.reader, nullptr),
                            zelcReaderParts(nullptr, &parts),
                            zelcReaderParts(h.reader, nullptr),
                            zelcReaderMetadata(nullptr, &metadata),
                            zelcReaderMetadata(h.reader, nullptr),
                            zelcReadRows(nullptr, row.data(), size, 1, &given),
                            zelcReadRows(h.reader, nullptr, size, 1, &given),
                            zelcReadRows(h.reader, row.data(), size, 1, nullptr),
                            zelcReadRows(h.reader, row.data(), size - 1, 1, &given),
                            zelcReadRows(h.reader, row.data(), size, 0, &given),
                            zelcCreateFile(nullptr, &kRgb, nullptr, nullptr, &w),
                            zelcCreateFile("x.png", nullptr, nullptr, nullptr, &w),
                            zelcCreateFile("x.png", &kRgb, nullptr, nullptr, nullptr),
                            zelcCreateFile("x", &kRgb, nullptr, nullptr, &w),
                            zelcCreateMemory(&kRgb, &bad, settings, &w),
                            zelcCreateMemory(&kRgb, nullptr, settings, nullptr),
                            zelcWriteRows(nullptr, row.data(), size, 1),
                            zelcWriteRows(mine, nullptr, size, 1),
                            zelcWriteRows(mine, row.data(), size - 1, 1),
                            zelcWriteRows(mine, row.data(), size, -1),
                            zelcWriteRows(mine, row.data(), size, 31),
                            zelcFinish(nullptr),
                            zelcFinish(mine),
                            zelcTakeBytes(nullptr, &data, &size),
                            zelcTakeBytes(mine, &data, &size),
                            zelcTakeBytes(mine, nullptr, &size),
                            zelcReadFile(nullptr, nullptr, &info, &data),
                            zelcWriteMemory(&kRgb, nullptr, row.data(), size, settings, nullptr, &size)};
  for (const ZelcStatus& s : all) EXPECT_EQ(s, zelcUsage) << &s - all;
  EXPECT_EQ(zelcReaderWarning(nullptr, 0), nullptr);
  EXPECT_EQ(zelcWriterWarning(mine, -1), nullptr);
  // All of it has left the handles as they were.
  const Bytes samples = samplesOf(kRgb);
  EXPECT_EQ(zelcReadRows(h.reader, row.data(), size, 1, &given), zelcOk);
  EXPECT_EQ(zelcWriteRows(mine, samples.data(), size, 30), zelcOk);
  EXPECT_EQ(zelcFinish(mine), zelcOk);
  EXPECT_EQ(zelcFinish(mine), zelcUsage);
  EXPECT_EQ(zelcWriteRows(mine, samples.data(), size, 1), zelcUsage);
  zelcCloseWriter(mine);
  zelcCloseWriter(nullptr);
  zelcCloseReader(nullptr);
  zelcFree(nullptr);
}

TEST_F(CInterface, FailedHandlesOnlyClose) {
  const Bytes png = written(kRgb, {"format=png"});
  const Handle h(Bytes(png.begin(), png.begin() + long(png.size() - 40)));
  Bytes rows(rowBytes(kRgb) * 30);
  int given = -1;
  EXPECT_EQ(zelcReadRows(h.reader, rows.data(), rowBytes(kRgb), 30, &given), zelcDamaged);
  EXPECT_EQ(given, -1);
  EXPECT_EQ(zelcReadRows(h.reader, rows.data(), rowBytes(kRgb), 30, &given), zelcUsage);
  ZelcInfo info;
  EXPECT_EQ(zelcReaderInfo(h.reader, &info), zelcOk);
  const Handle going(Bytes(png.begin(), png.begin() + long(png.size() - 40)), {"keep-going=yes"});
  EXPECT_EQ(zelcReadRows(going.reader, rows.data(), rowBytes(kRgb), 30, &given), zelcOk);
  ASSERT_NE(zelcReaderWarning(going.reader, 0), nullptr);
  EXPECT_EQ(zelcReaderWarning(going.reader, 1), nullptr);

  // A pixel that is not opaque, in the second row.
  const ZelcPicture rgba = {4, 3, zelcRgba, 8};
  Bytes clear = samplesOf(rgba);
  clear[16 + 3] = 0;
  const char* const settings[] = {"format=jpg", nullptr};
  ZelcWriter* writer = nullptr;
  ASSERT_EQ(zelcCreateMemory(&rgba, nullptr, settings, &writer), zelcOk) << zelcLastError();
  EXPECT_EQ(zelcWriteRows(writer, clear.data(), 16, 3), zelcUsage);
  EXPECT_EQ(zelcWriteRows(writer, clear.data(), 16, 1), zelcUsage);
  EXPECT_STREQ(zelcLastError(), "writing has failed before");
  zelcCloseWriter(writer);
}

// Colours, depths and orientations on the way in and out.
TEST_F(CInterface, Conversions) {
  const ZelcPicture deep = {40, 30, zelcRgb, 16};
  const Bytes file = written(deep, {"format=png"}), bytes = written(deep, {"format=png", "depth=8"});
  EXPECT_EQ(readWhole(file, {"depth=8"}).samples, readWhole(bytes).samples);
  EXPECT_EQ(readWhole(file, {"grey"}).info.picture.colours, zelcGrey);
  EXPECT_EQ(readWhole(file, {"grey"}).samples, readWhole(written(deep, {"format=png", "grey"})).samples);
  EXPECT_EQ(readWhole(file, {"crop=3,4,5,6"}).info.picture.height, 6);
  EXPECT_EQ(readWhole(written({40, 30, zelcCmyk, 8}, {"format=png"})).info.picture.colours, zelcRgb);
  EXPECT_EQ(readWhole(written({40, 30, zelcRgba, 8}, {"format=jpg", "background=white"})).info.channels, 3);
  EXPECT_EQ(readWhole(written({40, 30, zelcGrey, 1}, {"format=jpg"})).info.picture.bits, 8);

  const ZelcPicture few = {2, 1, zelcGrey, 4}, twelve = {2, 1, zelcGrey, 12};
  const uint8_t above[] = {15, 16};
  const uint16_t above16[] = {4096, 0, 0}, fine16[] = {1, 2, 3};
  const char* const settings[] = {"format=pnm", nullptr};
  void* data = nullptr;
  size_t size = 0;
  EXPECT_EQ(zelcWriteMemory(&few, nullptr, above, 2, settings, &data, &size), zelcUsage);
  EXPECT_EQ(zelcWriteMemory(&twelve, nullptr, above16, 4, settings, &data, &size), zelcUsage);
  const auto* const odd = reinterpret_cast<const uint8_t*>(fine16) + 1;
  EXPECT_EQ(zelcWriteMemory(&twelve, nullptr, odd, 4, settings, &data, &size), zelcUsage);

  ZelcMetadata turned{};
  turned.orientation = 6;
  const Bytes lying = written(kRgb, {"format=tif"}, &turned);
  const Read upright = readWhole(lying, {"auto-orient"});
  ASSERT_EQ(upright.info.picture.width, 30);
  EXPECT_EQ(upright.samples[29 * 3], readWhole(lying).samples[0]) << "the first row becomes the last column";
}

TEST_F(CInterface, MetadataPartsSettings) {
  const Bytes icc(300, 7), xmp = {'<', 'x', '/', '>'};
  const char* const comments[] = {"one", "two", nullptr};
  const ZelcMetadata given = {nullptr, 0, nullptr, 0, xmp.data(), xmp.size(), comments, 4000, 2000, 1};
  const Handle h(written(kRgb, {"format=jpg"}, &given));
  ZelcMetadata m;
  ASSERT_EQ(zelcReaderMetadata(h.reader, &m), zelcOk);
  EXPECT_EQ(m.icc, nullptr);
  ASSERT_EQ(m.xmpBytes, xmp.size());
  EXPECT_EQ(std::memcmp(m.xmp, xmp.data(), xmp.size()), 0);
  ASSERT_NE(m.comments, nullptr);
  EXPECT_STREQ(m.comments[1], "two");
  EXPECT_EQ(m.comments[2], nullptr);
  EXPECT_NEAR(m.pixelsPerMetreX / m.pixelsPerMetreY, 2, 0.02);
  EXPECT_EQ(m.orientation, 1);

  ZelcWriter* writer = nullptr;
  const char* const netpbm[] = {"format=pnm", nullptr};
  ASSERT_EQ(zelcCreateMemory(&kRgb, &given, netpbm, &writer), zelcOk);
  ASSERT_NE(zelcWriterWarning(writer, 0), nullptr);
  EXPECT_NE(std::strstr(zelcWriterWarning(writer, 0), "XMP"), nullptr);
  zelcCloseWriter(writer);

  const auto partsOf = [](Settings settings) {
    ZelcParts parts{};
    EXPECT_EQ(zelcReaderParts(Handle(written(kRgb, std::move(settings))).reader, &parts), zelcOk);
    return parts;
  };
  EXPECT_EQ(partsOf({"format=dds", "mips=0"}).resolutions, 6);  // 40, 20, 10, 5, 2, 1 columns
  EXPECT_EQ(partsOf({"format=j2k", "levels=3"}).resolutions, 4);
  EXPECT_EQ(partsOf({"format=tif"}).pages, 1);

  EXPECT_EQ(zelcVersion(), std::to_string(ZELC_VERSION_MAJOR) + "." + std::to_string(ZELC_VERSION_MINOR) + "." +
                               std::to_string(ZELC_VERSION_PATCH));
  std::set<std::string> names;
  ZelcSetting s;
  for (int i = 0; zelcSetting(i, &s) == zelcOk; ++i) {
    EXPECT_TRUE(names.insert(s.name).second) << s.name;
    EXPECT_TRUE((s.reading || s.writing) && *s.help) << s.name;
    EXPECT_TRUE(std::string(s.name) != "reduce" || s.formats == 1U << zelcJpeg2000);
  }
  EXPECT_GT(names.size(), 40u);
}

}  // namespace
