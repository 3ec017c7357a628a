// Times each case and its baseline, and prints a table of the ratios: caprion_bench [OPTION...]
// The options are those of Google Benchmark, such as --benchmark_filter=search or --benchmark_out=FILE.

#include "comparison.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>

namespace caprion::bench {

namespace {

struct Times : benchmark::BenchmarkReporter {
  std::map<std::string, std::vector<double>> of;  ///< sorted times of each body by name, in nanoseconds

  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      std::vector<double>& times = of[run.run_name.function_name];
      const bool isReal = !run.run_name.time_type.empty();
      times.push_back(isReal ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      std::ranges::sort(times);
    }
  }
};

double median(const std::vector<double>& sorted) { return sorted.at(sorted.size() / 2); }

void add(const Case& one, const char* suffix, const Body& body) {
  if (!body) return;
  auto* const added = benchmark::RegisterBenchmark((one.name + suffix).c_str(), body);
  if (one.isWaiting) added->UseRealTime();
}

/// Formats a value: "1.5 ms" for 1,500,000 and the units of time.
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

void print(const Case& one, Times& times) {
  const auto &ours = times.of[one.name + "/ours"], &baseline = times.of[one.name + "/baseline"];
  const auto& information = times.of[one.name + "/information"];
  if (ours.empty() || baseline.empty()) return;  // filtered out
  const double ratio = median(ours) / median(baseline);
  print(one.name, time(median(ours)), time(median(baseline)), ratio, one.aim);
  std::printf(" %8.2f", ours.front() / baseline.front());
  if (!information.empty())
    std::printf("  %s: %s", one.informationName.c_str(), time(median(information)).c_str());
  std::printf("\n");
}

}  // namespace

}  // namespace caprion::bench

int main(int argc, char** argv) try {
  using namespace caprion::bench;
  std::vector<char*> arguments(argv, argv + argc);
  // Many short runs of all bodies in random order, and the median of each, as the machine may be busy.
  std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=25",
                            "--benchmark_min_time=0.02"};
  for (std::string& option : defaults) arguments.insert(arguments.begin() + 1, option.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  const double load = benchmark::CPUInfo::Get().load_avg.at(0);
  startService();
  const Memory memories[] = {processMemory(), networkMemory()};
  std::vector<Case> cases = computingCases();
  std::ranges::move(networkCases(), std::back_inserter(cases));
  for (const Case& one : cases) {
    add(one, "/ours", one.ours);
    add(one, "/baseline", one.baseline);
    add(one, "/information", one.information);
  }
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
} catch (const std::exception& error) {
  std::fprintf(stderr, "caprion_bench: wrong result: %s\n", error.what());
  return 1;
}
