#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
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

/// The answer to a search with this many hits, of the service's shape: 50 keys and about 1,680 bytes each.
std::string answer(std::size_t hits);

/// Runs a program, throws its output away, and returns how much memory it had at most, in KiB.
double run(std::vector<std::string> words);

std::vector<Case> hashCases();
std::vector<Case> decodeCases();
std::vector<Case> nameCases();
std::vector<Case> networkCases();
std::vector<Case> processCases();

/// To be measured before all else: a process that is started by a large one counts as no smaller than that,
/// and memory that is still free hides what is taken.
Memory processMemory();
Memory networkMemory();

}  // namespace caprion::bench
