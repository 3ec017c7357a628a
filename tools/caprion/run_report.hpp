#pragma once

#include "get.hpp"
#include "output.hpp"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace caprion::tool {

/// Reports a run: a line for each video and language, the progress, and a summary. For the main thread.
class RunReport {
 public:
  RunReport(const GetOptions& options, const std::vector<Task>& tasks, Output& output);

  /// Reports the outcomes of a task.
  void print(const Task& task);

  /// A progress line of at most `width` columns.
  std::string progress(std::size_t width) const;

  /// Reports the totals; `untried` videos weren't processed.
  void printSummary(std::size_t untried);

  /// Whether there was such an outcome. Paths that are no videos count as failed.
  bool has(Ending ending) const { return counts_.count(ending) > 0; }

 private:
  void print(const Video& video, const Outcome& outcome, std::vector<Error>& told);
  std::size_t count(Ending ending) const { return has(ending) ? counts_.at(ending) : 0; }

  const GetOptions& options_;
  Output& output_;
  std::map<Ending, std::size_t> counts_{};
  // isRefused of the last unreachable task.
  bool isRefused_ = false;
  std::size_t videos_ = 0;
  std::size_t reported_ = 0;
  // For the estimate: tasks that query the service, and those that have.
  std::size_t open_ = 0;
  std::size_t queried_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace caprion::tool
