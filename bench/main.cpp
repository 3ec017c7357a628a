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

/// "1.5 ms" for 1,500,000 and the units of time, and the like of KiB.
std::string shown(double value, double step, std::vector<const char*> units) {
  std::size_t i = 0;
  for (; i + 1 < units.size() && value >= step; ++i) value /= step;
  char text[64];
  std::snprintf(text, sizeof text, "%.4g %s", value, units[i]);
  return text;
}
std::string time(double nanoseconds) { return shown(nanoseconds, 1000, {"ns", "us", "ms"}); }
std::string memory(double kibibytes) { return shown(kibibytes, 1024, {"KiB", "MiB"}); }

void print(const std::string& name, const std::string& ours, const std::string& baseline, double ratio,
           double aim) {
  std::printf("%-38s %10s %10s %6.2f", name.c_str(), ours.c_str(), baseline.c_str(), ratio);
  aim > 0 ? std::printf(" %7.2f%c", aim, ratio <= aim ? ' ' : '!') : std::printf(" %8s", "");
}

void print(const Case& one, const Times& times) {
  const std::string names[] = {one.name + "/ours", one.name + "/baseline", one.name + "/information"};
  const double ours = times.median(names[0]), baseline = times.median(names[1]);
  if (ours == 0 || baseline == 0) return;
  print(one.name, time(ours), time(baseline), ours / baseline, one.aim);
  std::printf(" %8.2f", times.best(names[0]) / times.best(names[1]));
  if (const double other = times.median(names[2]); other > 0)
    std::printf("  %s: %s", one.informationName.c_str(), time(other).c_str());
  std::printf("\n");
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
  const Memory memories[] = {processMemory(), networkMemory()};
  std::vector<Case> cases;
  for (const auto& group : {hashCases, decodeCases, nameCases, networkCases, processCases}) {
    for (Case& one : group()) cases.push_back(std::move(one));
  }
  for (const Case& one : cases) registerCase(one);
  Times times;
  benchmark::RunSpecifiedBenchmarks(&times);

  std::printf("%-38s %10s %10s %6s %8s %8s\n", "case", "ours", "baseline", "ratio", "aim", "at best");
  for (const Case& one : cases) print(one, times);
  for (const auto& [name, aim, ours, baseline] : memories) {
    print(name, memory(ours), memory(baseline), ours / baseline, aim);
    std::printf("\n");
  }
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
