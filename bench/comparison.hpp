#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace caprion::bench {

using Body = std::function<void(benchmark::State&)>;

/// A case and its baseline: the least code that gives the same result. Each body checks its result before
/// it is timed.
struct Case {
  std::string name;
  double aim;  ///< the highest acceptable ratio to the baseline's time; 0 for none
  Body ours;
  Body baseline;
  /// A third time to print, without an aim.
  std::string informationName = {};
  Body information = {};
  /// Whether to measure wall-clock time, rather than the thread's CPU time, which other work of the machine
  /// hardly affects.
  bool isWaiting = false;
};

/// Memory used, in KiB, and that of a baseline.
struct Memory {
  std::string name;
  double aim;  ///< the highest acceptable ratio to the baseline
  double ours;
  double baseline;
};

/// Ends the run if a result is wrong.
inline void check(bool isRight, const std::string& what) {
  if (!isRight) throw std::runtime_error(what);
}

/// A body that repeats a step.
template <class Step>
Body repeating(Step step) {
  return [step](benchmark::State& state) {
    for (auto _ : state) step();
  };
}

/// An answer to a search with this many hits. Like the service's, each has 50 keys and about 1,680 bytes.
std::string answer(std::size_t hits);

/// Starts the stand-in for the subtitle service in a process of its own, which ends with this one, and sets
/// the environment so that this process and its children use it. Must be called before the first thread
/// starts.
///
/// It answers a search for the text "N" with N hits, and for "N-far-away" the same after 20 ms, as over the
/// internet. At archiveURL is an archive of 50 KB with one subtitle, that of the first hit.
void startService();

inline constexpr const char* archiveURL =
    "https://dl.opensubtitles.org/en/download/src-api/vrf-19b30c54/sub/1955000000";
inline constexpr const char* subtitleName = "The.Lighthouse.Keepers.S03E07.srt";
inline constexpr std::size_t subtitleSize = 66'000;

std::vector<Case> computingCases();
std::vector<Case> networkCases();

/// To be measured first: a process started by a large one counts as no smaller, and free memory from earlier
/// work hides what is allocated.
Memory processMemory();
Memory networkMemory();

}  // namespace caprion::bench
