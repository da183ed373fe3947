// compare: how alike two pictures are.
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "common/convert.h"
#include "common/error.h"
#include "common/metrics.h"

namespace zelcodec {

using namespace zelcodecs;

namespace {

Image readPicture(const std::string& path, const CommonOptions& common) {
  const std::unique_ptr<Source> source = fileSource(path);
  AnyDecodeOptions d;
  common.apply(&d.common);
  return readAll(*openAny(*source, formatOf(source->peek(kBytesForFormat)), d));
}

// A picture without opacity is an opaque one.
void addOpacity(Image* to, const Image& like) {
  if (hasOpacity(like.model()) && to->model() != like.model() && channelsOf(like.model()) == to->channels() + 1)
    *to = converted(*to, like.model());
}

void save(const std::string& path, const Image& image, const CompareCommand& c) {
  if (path.empty()) return;
  const std::optional<Format> format = formatOfEnding(endingOf(path));
  if (!format) throw Error(ErrorKind::argument, path + ": no format has this ending; " + allEndings() + " are known");
  AnyEncodeOptions e;
  e.png.level = c.pngLevel;
  e.jpeg2000.jp2 = endingOf(path) == "jp2";
  const Region& r = c.crop;
  const Image part = r.width ? crop(image, r.x, r.y, r.width, r.height) : image.clone();
  const std::unique_ptr<Sink> sink = fileSink(path);
  writeAll(*createAny(*sink, *format, part.format(), {}, e), part);
  sink->commit();
}

void print(const Difference& d, double similarity, bool json) {
  if (json) {
    nlohmann::ordered_json j = {{"comparable", true}};
    // JSON has no infinity: null then.
    const auto number = [](double v) { return std::isinf(v) ? nlohmann::ordered_json() : nlohmann::ordered_json(v); };
    j["psnr"] = number(d.psnr);
    j["channelPsnr"] = nlohmann::ordered_json::array();
    for (double v : d.channelPsnr) j["channelPsnr"].push_back(number(v));
    j["ssim"] = similarity;
    j["largest"] = d.largest;
    j["differing"] = d.differing;
    std::printf("%s\n", j.dump().c_str());
    return;
  }
  const auto number = [](double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", v);
    return std::isinf(v) ? std::string("infinite") : std::string(text);
  };
  std::string channels;
  for (double v : d.channelPsnr) channels += (channels.empty() ? "" : " ") + number(v);
  std::printf("PSNR %s dB (channels: %s)\nSSIM %.6f\nlargest difference %d, %llu samples differ\n",
              number(d.psnr).c_str(), channels.c_str(), similarity, d.largest,
              static_cast<unsigned long long>(d.differing));
}

int compare(const CompareCommand& c, Image a, Image b) {
  addOpacity(&a, b);
  addOpacity(&b, a);
  if (a.format() != b.format()) {
    if (c.json)
      std::printf("{\"comparable\":false}\n");
    else
      std::printf("the pictures differ in size, colour model or bit depth\n");
    return kDiffer;
  }
  const Difference d = difference(a, b);
  const double similarity = ssim(a, b);
  print(d, similarity, c.json);
  save(c.saveFirst, a, c);
  save(c.saveSecond, b, c);
  if (!c.diff.empty()) save(c.diff, differencePicture(a, b, c.gain), c);
  return d.psnr < c.minPsnr || similarity < c.minSsim || (c.exact && d.differing) ? kDiffer : kOk;
}

}  // namespace

int runCompare(const CompareCommand& c, const CommonOptions& common) {
  std::string file = c.first;
  try {
    Image a = readPicture(c.first, common);
    file = c.second;
    Image b = readPicture(c.second, common);
    file.clear();
    return compare(c, std::move(a), std::move(b));
  } catch (...) {
    return report(file, std::current_exception(), false);
  }
}

}  // namespace zelcodec
