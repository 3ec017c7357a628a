#include "comparison.hpp"
#include "run.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace caprion::bench {

namespace {

const std::vector<std::string> ours{CAPRION_COMMAND, "search", "--where", "query=1"};
const std::vector<std::string> limit{"curl", "--fail", "https://rest.opensubtitles.org/search/query-1"};

Body running(const std::vector<std::string>& words) {
  return [words](benchmark::State& state) {
    for (auto _ : state) check(run(words).status == 0, words[0]);
  };
}

/// The median of several runs, in KiB.
double memoryOf(const std::vector<std::string>& words) {
  std::vector<double> memories;
  for (int i = 0; i < 9; ++i) {
    const Run ended = run(words);
    check(ended.status == 0, words[0]);
    memories.push_back(ended.memory);
  }
  std::sort(memories.begin(), memories.end());
  return memories[memories.size() / 2];
}

}  // namespace

std::vector<Row> processFigures() {
  rusage self{};
  ::getrusage(RUSAGE_SELF, &self);
  const double atLeast = static_cast<double>(self.ru_maxrss);
  const Row row{"first search of a process: memory", "KiB", memoryOf(ours), memoryOf(limit), 1.5};
  check(row.ours > atLeast && row.limit > atLeast, "memory, which this process is too large to measure");
  return {row};
}

std::vector<Case> processCases() {
  return {{.name = "first search of a process",
           .aim = 1.3,
           .ours = running(ours),
           .limit = running(limit),
           .isWaiting = true}};
}

}  // namespace caprion::bench
