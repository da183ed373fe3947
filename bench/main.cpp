#include <benchmark/benchmark.h>
#include <omp.h>
#include <png.h>
#include <sched.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>

#include "ratios.h"

namespace bench {
namespace {

struct Row {
  std::string name, unit;
  double units;
  Target target;
  std::vector<std::string> contenders;
  std::vector<Work> works;
  std::map<std::string, std::vector<double>> secondsPerUnit;
};

std::vector<Row>& rows() {
  static std::vector<Row> all;
  return all;
}

std::vector<std::function<void()>>& suites() {
  static std::vector<std::function<void()>> all;
  return all;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// Gathers the repetitions and prints a table row once all of a row's contenders are done.
class RatioReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string full = run.benchmark_name();
      for (Row& row : rows())
        for (const std::string& contender : row.contenders)
          if (full.rfind(row.name + "/" + contender + "/", 0) == 0)
            row.secondsPerUnit[contender].push_back(run.cpu_accumulated_time / double(run.iterations) / row.units);
    }
  }
  // One line for each row, ready for the documentation. What memcpy takes is shown as our share of its speed; a row may
  // have no peer.
  void Finalize() override {
    std::printf(
        "| work | unit | avx2 ns | sse41 ns | peer ns | avx2 ratio | sse41 ratio | at least | aim | of memcpy |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|\n");
    for (const Row& row : rows()) {
      if (row.secondsPerUnit.empty()) continue;
      const auto time = [&](const std::string& name) {
        const auto found = row.secondsPerUnit.find(name);
        return found == row.secondsPerUnit.end() ? 0 : median(found->second) * 1e9;
      };
      const auto cell = [](double v, int digits) {
        if (v > 0) return std::printf(" %.*f |", digits, v);
        return std::printf(" |");
      };
      const std::string& last = row.contenders.back();
      const bool alone = last == "avx2" || last == "sse41" || last == "memcpy";
      const double peer = alone ? 0 : time(last), avx2 = time("avx2"), sse41 = time("sse41");
      std::printf("| %s | %s |", row.name.c_str(), row.unit.c_str());
      for (const double t : {avx2, sse41, peer}) cell(t, 3);
      cell(avx2 > 0 ? peer / avx2 : 0, 2);
      cell(sse41 > 0 ? peer / sse41 : 0, 2);
      cell(row.target.atLeast, 2);
      cell(row.target.aim, 2);
      cell(avx2 > 0 ? time("memcpy") / avx2 : 0, 2);
      std::printf("\n");
    }
  }
};

// Under callgrind: each contender's work once, after once to warm up, as a dump of its own that is named after it and
// the units it handled. The script instructions.sh makes a table of the dumps.
void countInstructions(const std::string& filter) {
  const std::regex wanted(filter);
  for (const Row& row : rows()) {
    if (!std::regex_search(row.name, wanted)) continue;
    for (size_t i = 0; i < row.works.size(); ++i) {
      row.works[i]();
      CALLGRIND_ZERO_STATS;
      row.works[i]();
      char name[200];
      std::snprintf(name, sizeof name, "%s|%s|%.0f|%s", row.name.c_str(), row.contenders[i].c_str(), row.units,
                    row.unit.c_str());
      CALLGRIND_DUMP_STATS_AT(name);
    }
  }
}

}  // namespace

void compare(const std::string& row, double units, const std::string& unit, Target target,
             std::vector<Contender> contenders, Effort effort) {
  Row r{row, unit, units, target, {}, {}, {}};
  for (Contender& c : contenders) {
    r.contenders.push_back(c.name);
    r.works.push_back(c.work);
    benchmark::RegisterBenchmark((row + "/" + c.name).c_str(),
                                 [work = c.work](benchmark::State& state) {
                                   for (auto _ : state) work();
                                 })
        ->Repetitions(effort.repetitions)
        ->MinTime(effort.seconds);
  }
  rows().push_back(std::move(r));
}

Suite::Suite(std::function<void()> rows) { suites().push_back(std::move(rows)); }

const Photo& photo(const std::string& name) {
  static std::map<std::string, Photo> loaded;
  Photo& p = loaded[name];
  if (!p.rgb.empty()) return p;
  const std::string path = std::string(ZELJ_IMAGES) + "/" + name + ".png";
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), image.message);
    std::exit(1);
  }
  image.format = PNG_FORMAT_RGB;
  p.width = int(image.width);
  p.height = int(image.height);
  p.rgb.resize(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, p.rgb.data(), 0, nullptr);
  return p;
}

}  // namespace bench

// The benchmarks reach the variants directly; the test table's notion of a current variant is not used.
namespace zeltest {
const Variant& current() { return variants().back(); }
}  // namespace zeltest

int main(int argc, char** argv) {
  // One core for the whole run, single-threaded; ZELJ_BENCH_CPU picks it.
  cpu_set_t set;
  CPU_ZERO(&set);
  const char* cpu = std::getenv("ZELJ_BENCH_CPU");
  CPU_SET(cpu ? std::atoi(cpu) : 0, &set);
  sched_setaffinity(0, sizeof set, &set);
  omp_set_num_threads(1);

  std::vector<char*> args(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int n = int(args.size());
  benchmark::Initialize(&n, args.data());
  for (const auto& suite : bench::suites()) suite();
  if (n > 1 && std::string(args[1]).rfind("--instructions=", 0) == 0) {
    bench::countInstructions(args[1] + std::strlen("--instructions="));
    return 0;
  }
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
