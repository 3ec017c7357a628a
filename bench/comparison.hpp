#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace caprion::bench {

using Body = std::function<void(benchmark::State&)>;

/// Something that is timed beside its limit, the least that any program has to do for the same result, and
/// beside what a host would otherwise write or pick. Each body checks its result before it is timed.
struct Case {
  std::string name;
  double aim;  ///< how many times the limit's time it may take; 0 for none
  Body ours;
  Body limit;
  std::string alternativeName = {};
  Body alternative = {};
  double alternativeAim = 0;  ///< how many times ours' time the alternative should take; 0 for none
  double atMost = 0;          ///< how many nanoseconds it may take in any event; 0 for any number
  /// Whether the clock on the wall is looked at, rather than the processor's time of the thread, which other
  /// work of the machine hardly changes.
  bool isWaiting = false;
};

/// One line of the table.
struct Row {
  std::string name;
  std::string unit;  ///< "ns", "KiB" or ""
  double ours;
  double limit;
  double aim;
  double ratioAtBest = 0;  ///< of the shortest times, where `ours` and `limit` are medians
  std::string alternativeName = {};
  double alternative = 0;
  double alternativeAim = 0;
};

/// Ends the run, as a wrong result is worth no time.
inline void check(bool isRight, const std::string& what) {
  if (!isRight) throw std::runtime_error(what);
}

/// The answer to a search with this many hits, of the service's shape: 50 keys and about 1,680 bytes each.
std::string answer(std::size_t hits);

/// How a process ended, and how much memory it had at most, in KiB.
struct Run {
  int status = -1;
  double memory = 0;
};

/// Runs a program and throws its output away.
Run run(std::vector<std::string> words);

std::vector<Case> hashCases();
std::vector<Case> decodeCases();
std::vector<Case> nameCases();
std::vector<Case> networkCases();
std::vector<Case> processCases();

/// Threads and memory. To be measured before all else: a process that is started by a large one counts as no
/// smaller than that, and memory that is still free hides what is taken.
std::vector<Row> processFigures();
std::vector<Row> networkFigures();

}  // namespace caprion::bench
