// encode and decode: from file to file.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <set>

#include "any/transfer.h"
#include "commands.h"
#include "common/error.h"
#include "common/team.h"
#include "progress.h"

namespace zelcodec {

using namespace zelcodecs;

namespace {

struct Job {
  std::string in, out;
  Format format;
  bool boxes;  // of JPEG 2000: a JP2 file, not a codestream alone
};

// Prints what has been collected, also where the work fails.
class CollectedWarnings {
 public:
  explicit CollectedWarnings(const std::string& file) : file_(file) {}
  ~CollectedWarnings() {
    for (const auto* list : {&reading, &writing})
      for (const std::string& w : *list) std::fprintf(stderr, "zelcodec: %s: warning: %s\n", file_.c_str(), w.c_str());
  }
  std::vector<std::string> reading, writing;

 private:
  const std::string file_;
};

// Runs work as often as asked for and tells the fastest run: the first one also pays for fresh memory.
template <class Work>
void timed(int repeat, const Work& work) {
  double best = 0;
  for (int i = 0; i < repeat; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double took = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    best = i ? std::min(best, took) : took;
  }
  std::fprintf(stderr, "%.2f ms\n", best);
}

// The rows to be written, by what was asked for and what the format can hold. Null where they are those that are read.
std::unique_ptr<Converter> converterFor(const Decoder& decoder, Format format, const Asked& asked) {
  const PictureFormat to = storable(wished(decoder.format(), asked.wishes), format, asked.encode);
  if (to == decoder.format()) return nullptr;
  return std::make_unique<Converter>(decoder.format(), to.model, to.bitDepth, decoder.metadata(),
                                     ConvertOptions{asked.wishes.background});
}

Image convertedImage(Decoder& decoder, Converter* converter) {
  Image image = readAll(decoder);
  if (!converter) return image;
  Image out(converter->to());
  converter->convert(asConst(image.rows(0, image.height())), out.rows(0, out.height()));
  return out;
}

// A command with what it gives to the codecs.
struct Conversion {
  const ConvertCommand& command;
  const Settings reading, writing;
  bool encodes;
};

void convertFile(const Job& job, const Conversion& conversion, const CommonOptions& common) {
  const ConvertCommand& c = conversion.command;
  const bool encodes = conversion.encodes;
  CollectedWarnings warnings(job.in);
  ProgressLine line(common.progress, job.in, 2);
  const std::unique_ptr<Source> source = fileSource(job.in);
  const Format inFormat = formatOf(source->peek(kBytesForFormat));
  const Asked read = conversion.reading.settle(inFormat), written = conversion.writing.settle(job.format);
  AnyDecodeOptions d = read.decode;
  common.apply(&d.common);
  d.common.progress = line.callback();
  d.common.warnings = &warnings.reading;
  if (c.time && !encodes) {
    const ByteView bytes = source->all();
    timed(c.repeat, [&] {
      const std::unique_ptr<Source> again = memorySource(bytes.data, bytes.size);
      warnings.reading.clear();
      readAll(*openAny(*again, inFormat, d));
    });
    warnings.reading.clear();
  }
  std::unique_ptr<Decoder> decoder = openAny(*source, inFormat, d);
  if (read.autoOrient) decoder = upright(std::move(decoder));

  const std::unique_ptr<Converter> converter = converterFor(*decoder, job.format, written);
  const PictureFormat& format = converter ? converter->to() : decoder->format();
  const Metadata metadata = c.strip     ? Metadata{}
                            : converter ? converter->kept(decoder->metadata())
                                        : decoder->metadata();
  AnyEncodeOptions e = written.encode;
  e.common.threads = common.threads;
  e.jpeg2000.jp2 = job.boxes;
  e.common.progress = line.callback();
  e.common.warnings = &warnings.writing;
  if (c.time && encodes) {
    Image image = convertedImage(*decoder, converter.get());
    timed(c.repeat, [&] {
      std::vector<uint8_t> bytes;
      const std::unique_ptr<Sink> memory = memorySink(&bytes);
      warnings.writing.clear();
      writeAll(*createAny(*memory, job.format, format, metadata, e), image);
    });
    warnings.writing.clear();
    const std::unique_ptr<Sink> sink = fileSink(job.out);
    writeAll(*createAny(*sink, job.format, format, metadata, e), image);
    return sink->commit();
  }
  const std::unique_ptr<Sink> sink = fileSink(job.out);
  const std::unique_ptr<Encoder> encoder = createAny(*sink, job.format, format, metadata, e);
  transfer(*decoder, converter.get(), *encoder, common.threads);
  sink->commit();
}

std::string stemOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.find_last_of('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::optional<Format> formatNamed(const std::string& name) {
  for (const Named<Format>& f : kFormatNames)
    if (name == f.name) return f.value;
  return std::nullopt;
}

// What there is to do. Throws Error(argument) before any work where an output's format is not known.
std::vector<Job> jobsOf(const ConvertCommand& c, bool encodes) {
  std::vector<Job> jobs;
  if (c.outputDirectory.empty()) {
    if (c.files.size() != 2)
      throw Error(ErrorKind::argument, "one input and one output are expected; several inputs go to an --output-dir");
    const std::string &out = c.files[1], ending = endingOf(out);
    const std::optional<Format> told = !c.format.empty() ? formatNamed(c.format)
                                       : out == "-"      ? encodes ? Format::jpeg : Format::netpbm
                                                         : formatOfEnding(ending);
    if (!told)
      throw Error(ErrorKind::argument,
                  out + ": no format has this ending; " + allEndings() + " are known, and --format");
    jobs.push_back({c.files[0], out, *told, c.format.empty() ? ending == "jp2" : c.format == "jp2"});
    return jobs;
  }
  if (c.format.empty()) throw Error(ErrorKind::argument, "--output-dir needs a --format");
  std::set<std::string> outputs;
  for (const std::string& in : c.files) {
    if (in == "-") throw Error(ErrorKind::argument, "standard input has no name for a file in --output-dir");
    const std::string out = c.outputDirectory + "/" + stemOf(in) + "." + c.format;
    if (!outputs.insert(out).second) throw Error(ErrorKind::argument, "two inputs would be written to " + out);
    jobs.push_back({in, out, *formatNamed(c.format), c.format == "jp2"});
  }
  return jobs;
}

}  // namespace

int runConvert(const ConvertCommand& c, const CommonOptions& common, bool encodes) {
  try {
    const Conversion conversion = {c, c.settings(kReading), c.settings(kWriting), encodes};
    const std::vector<Job> jobs = jobsOf(c, encodes);
    conversion.writing.settle(jobs[0].format);
    // Of many files each thread takes one after the other; a single one is divided among them.
    Team team(common.threads);
    CommonOptions each = common;
    if (jobs.size() > 1) each.threads = 1;
    std::vector<int> codes(jobs.size(), kOk);
    team.forEach(int(jobs.size()), [&](int i) {
      const Job& job = jobs[size_t(i)];
      try {
        convertFile(job, conversion, each);
      } catch (...) {
        const bool mayKeepGoing = !conversion.reading.asked().decode.common.keepGoing;
        codes[size_t(i)] = report(job.in, std::current_exception(), mayKeepGoing);
      }
    });
    const auto bad = std::find_if(codes.begin(), codes.end(), [](int code) { return code != kOk; });
    return bad == codes.end() ? int(kOk) : *bad;
  } catch (...) {
    return report("", std::current_exception(), false);
  }
}

}  // namespace zelcodec
