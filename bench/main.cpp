// Times each case beside its limit and prints one table of the ratios: caprion_bench [--json FILE] [options
// of Google Benchmark's, such as --benchmark_filter=search]

#include "comparison.hpp"
#include "service.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace caprion::bench {

namespace {

/// The temporary folder of this process, and of those that it starts, as long as this lives.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "caprion-bench-XXXXXX";
    check(::mkdtemp(pattern.data()) != nullptr, "no temporary folder");
    path_ = pattern;
    ::setenv("TMPDIR", pattern.c_str(), 1);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

 private:
  std::filesystem::path path_;
};

/// Keeps the times of each body by its name, in nanoseconds.
class Times : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      std::vector<double>& times = times_[run.run_name.function_name];
      const bool isReal = !run.run_name.time_type.empty();
      times.push_back(isReal ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      std::sort(times.begin(), times.end());
    }
  }
  /// 0 for what did not run.
  double median(const std::string& name) const {
    const auto found = times_.find(name);
    return found == times_.end() ? 0 : found->second[found->second.size() / 2];
  }
  double best(const std::string& name) const { return times_.at(name).front(); }

 private:
  std::map<std::string, std::vector<double>> times_;
};

void registerCase(const Case& one) {
  const std::pair<const char*, const Body&> bodies[] = {
      {"/ours", one.ours}, {"/limit", one.limit}, {"/alternative", one.alternative}};
  for (const auto& [suffix, body] : bodies) {
    if (!body) continue;
    auto* const registered = benchmark::RegisterBenchmark((one.name + suffix).c_str(), body);
    if (one.isWaiting) registered->UseRealTime();
  }
}

std::vector<Row> rowsOf(const std::vector<Case>& cases, const Times& times) {
  std::vector<Row> rows;
  for (const Case& one : cases) {
    const std::string ours = one.name + "/ours", limit = one.name + "/limit";
    if (times.median(ours) == 0 || times.median(limit) == 0) continue;
    rows.push_back({.name = one.name,
                    .unit = "ns",
                    .ours = times.median(ours),
                    .limit = times.median(limit),
                    .aim = one.aim,
                    .ratioAtBest = times.best(ours) / times.best(limit),
                    .alternativeName = one.alternativeName,
                    .alternative = times.median(one.name + "/alternative"),
                    .alternativeAim = one.alternativeAim});
    if (one.atMost > 0)
      rows.push_back({one.name + ", in any event", "ns", times.median(ours), one.atMost, 1});
  }
  return rows;
}

std::string shown(double value, const std::string& unit) {
  struct Scale {
    const char* from;
    double factor;
    const char* to;
  };
  static constexpr Scale scales[] = {{"ns", 1e6, "ms"}, {"ns", 1e3, "us"}, {"KiB", 1024, "MiB"}};
  char text[64];
  for (const auto& [from, factor, to] : scales) {
    if (unit != from || value < factor) continue;
    std::snprintf(text, sizeof text, "%.4g %s", value / factor, to);
    return text;
  }
  std::snprintf(text, sizeof text, "%.4g %s", value, unit.c_str());
  return text;
}

void print(const std::vector<Row>& rows) {
  std::printf("%-38s %10s %10s %6s %8s %8s  %s\n", "case", "ours", "limit", "ratio", "aim", "at best",
              "alternative");
  for (const Row& row : rows) {
    const double ratio = row.ours / row.limit;
    std::printf("%-38s %10s %10s %6.2f", row.name.c_str(), shown(row.ours, row.unit).c_str(),
                shown(row.limit, row.unit).c_str(), ratio);
    row.aim > 0 ? std::printf(" %7.2f%c", row.aim, ratio <= row.aim ? ' ' : '!') : std::printf(" %8s", "");
    row.ratioAtBest > 0 ? std::printf(" %8.2f", row.ratioAtBest) : std::printf(" %8s", "");
    if (row.alternative > 0) {
      const double gain = row.alternative / row.ours;
      std::printf("  %.1fx by %s", gain, row.alternativeName.c_str());
      if (row.alternativeAim > 0)
        std::printf(" (aim %gx)%s", row.alternativeAim, gain < row.alternativeAim ? "!" : "");
    }
    std::printf("\n");
  }
}

void writeJSON(const std::string& path, const std::vector<Row>& rows, double load) {
  auto cases = nlohmann::ordered_json::array();
  for (const Row& row : rows) {
    nlohmann::ordered_json one = {{"case", row.name},
                                  {"unit", row.unit},
                                  {"ours", row.ours},
                                  {"limit", row.limit},
                                  {"ratio", row.ours / row.limit}};
    if (row.aim > 0) one["aim"] = row.aim;
    if (row.ratioAtBest > 0) one["ratioAtBest"] = row.ratioAtBest;
    if (row.alternative > 0) {
      one["alternative"] = {
          {"name", row.alternativeName}, {"value", row.alternative}, {"ratio", row.alternative / row.ours}};
      if (row.alternativeAim > 0) one["alternative"]["aim"] = row.alternativeAim;
    }
    cases.push_back(std::move(one));
  }
  const nlohmann::ordered_json whole = {{"load", load}, {"cases", cases}};
  std::ofstream file(path);
  file << whole.dump(2) << '\n';
  check(file.flush().good(), "can't write " + path);
}

int runAll(std::vector<char*> arguments) {
  std::string json;
  for (std::size_t i = 1; i + 1 < arguments.size(); ++i) {
    if (arguments[i] != std::string_view("--json")) continue;
    json = arguments[i + 1];
    arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(i),
                    arguments.begin() + static_cast<std::ptrdiff_t>(i) + 2);
  }
  // Many short turns of all bodies, in random order, and the median of each: the machine may have other work.
  std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=25",
                            "--benchmark_min_time=0.02"};
  for (std::string& option : defaults) arguments.insert(arguments.begin() + 1, option.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  double load = 0;
  ::getloadavg(&load, 1);
  const TemporaryFolder folder;
  const Service service;
  std::vector<Row> figures = processFigures();
  for (Row& row : networkFigures()) figures.push_back(std::move(row));
  std::vector<Case> cases;
  for (const auto& group : {hashCases, decodeCases, nameCases, networkCases, processCases}) {
    for (Case& one : group()) cases.push_back(std::move(one));
  }
  for (const Case& one : cases) registerCase(one);
  Times times;
  benchmark::RunSpecifiedBenchmarks(&times);
  std::vector<Row> rows = rowsOf(cases, times);
  rows.insert(rows.end(), figures.begin(), figures.end());

  print(rows);
  std::printf("Load of the machine before: %.2f\n", load);
  if (!json.empty()) writeJSON(json, rows, load);
  return 0;
}

}  // namespace

}  // namespace caprion::bench

int main(int argc, char** argv) try {
  return caprion::bench::runAll({argv, argv + argc});
} catch (const std::exception& error) {
  std::fprintf(stderr, "caprion_bench: wrong result: %s\n", error.what());
  return 1;
}
