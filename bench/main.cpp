// Times each case beside its baseline and prints one table of the ratios: caprion_bench [options of Google
// Benchmark's, such as --benchmark_filter=search or --benchmark_out=FILE]

#include "comparison.hpp"
#include "service.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace caprion::bench {

namespace {

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
      {"/ours", one.ours}, {"/baseline", one.baseline}, {"/information", one.information}};
  for (const auto& [suffix, body] : bodies) {
    if (!body) continue;
    auto* const registered = benchmark::RegisterBenchmark((one.name + suffix).c_str(), body);
    if (one.isWaiting) registered->UseRealTime();
  }
}

std::vector<Row> rowsOf(const std::vector<Case>& cases, const Times& times) {
  std::vector<Row> rows;
  for (const Case& one : cases) {
    const std::string ours = one.name + "/ours", baseline = one.name + "/baseline";
    if (times.median(ours) == 0 || times.median(baseline) == 0) continue;
    rows.push_back({.name = one.name,
                    .unit = "ns",
                    .ours = times.median(ours),
                    .baseline = times.median(baseline),
                    .aim = one.aim,
                    .ratioAtBest = times.best(ours) / times.best(baseline),
                    .informationName = one.informationName,
                    .information = times.median(one.name + "/information")});
  }
  return rows;
}

std::string shown(double value, const std::string& unit) {
  const double step = unit == "ns" ? 1000 : 1024;
  const std::vector<const char*> units =
      unit == "ns" ? std::vector{"ns", "us", "ms"} : std::vector{"KiB", "MiB"};
  std::size_t i = 0;
  for (; i + 1 < units.size() && value >= step; ++i) value /= step;
  char text[64];
  std::snprintf(text, sizeof text, "%.4g %s", value, units[i]);
  return text;
}

void print(const std::vector<Row>& rows) {
  std::printf("%-38s %10s %10s %6s %8s %8s\n", "case", "ours", "baseline", "ratio", "aim", "at best");
  for (const Row& row : rows) {
    const double ratio = row.ours / row.baseline;
    std::printf("%-38s %10s %10s %6.2f", row.name.c_str(), shown(row.ours, row.unit).c_str(),
                shown(row.baseline, row.unit).c_str(), ratio);
    row.aim > 0 ? std::printf(" %7.2f%c", row.aim, ratio <= row.aim ? ' ' : '!') : std::printf(" %8s", "");
    row.ratioAtBest > 0 ? std::printf(" %8.2f", row.ratioAtBest) : std::printf(" %8s", "");
    if (row.information > 0)
      std::printf("  %s: %s", row.informationName.c_str(), shown(row.information, row.unit).c_str());
    std::printf("\n");
  }
}

int runAll(std::vector<char*> arguments) {
  // Many short turns of all bodies, in random order, and the median of each: the machine may have other work.
  std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=25",
                            "--benchmark_min_time=0.02"};
  for (std::string& option : defaults) arguments.insert(arguments.begin() + 1, option.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  double load = 0;
  ::getloadavg(&load, 1);
  startService();
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
