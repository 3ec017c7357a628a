#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace caprion::bench {

using Body = std::function<void(benchmark::State&)>;

/// What is timed beside a baseline: the same result by the least code that anyone would write for it. Each
/// body checks its result before it is timed.
struct Case {
  std::string name;
  double aim;  ///< how many times the baseline's time it may take; 0 for none
  Body ours;
  Body baseline;
  /// Something else to know beside the two, which nothing is aimed at.
  std::string informationName = {};
  Body information = {};
  /// Whether the clock on the wall is looked at, rather than the processor's time of the thread, which other
  /// work of the machine hardly changes.
  bool isWaiting = false;
};

/// The memory that is taken, in KiB, beside that of a baseline.
struct Memory {
  std::string name;
  double aim;  ///< how many times the baseline's it may be
  double ours;
  double baseline;
};

/// Ends the run, as a wrong result is worth no time.
inline void check(bool isRight, const std::string& what) {
  if (!isRight) throw std::runtime_error(what);
}

/// The body that takes a step over and over.
template <class Step>
Body repeating(Step step) {
  return [step](benchmark::State& state) {
    for (auto _ : state) step();
  };
}

/// The answer to a search with this many hits, of the service's shape: 50 keys and about 1,680 bytes each.
std::string answer(std::size_t hits);

/// Starts the stand-in of the subtitle service in a process of its own, which ends with this one, and sets
/// the environment so that this process and those that it starts reach it. To be called before the first
/// thread.
///
/// It answers a search for the text "N" with N hits, and for "N-far-away" after 20 ms, as over the
/// internet; archiveURL leads to an archive of 50 KB with one subtitle, that of the first hit.
void startService();

inline constexpr const char* archiveURL =
    "https://dl.opensubtitles.org/en/download/src-api/vrf-19b30c54/sub/1955000000";
inline constexpr const char* subtitleName = "The.Lighthouse.Keepers.S03E07.srt";
inline constexpr std::size_t subtitleSize = 66'000;

std::vector<Case> computingCases();
std::vector<Case> networkCases();

/// To be measured before all else: a process that is started by a large one counts as no smaller than that,
/// and memory that is still free hides what is taken.
Memory processMemory();
Memory networkMemory();

}  // namespace caprion::bench
