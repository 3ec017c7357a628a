#pragma once

#include "get.hpp"
#include "output.hpp"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace caprion::tool {

/// What people and programs are told of a run: a line for each video and language, how far it is, and a
/// summary. For the main thread.
class Telling {
 public:
  Telling(const Wish& wish, const std::vector<Task>& tasks, Output& output);

  /// Tells what became of a video.
  void tell(const Task& task);

  /// How far the run is, in one line of so many columns.
  std::string progress(std::size_t width) const;

  /// Ends the run: `untried` videos didn't get their turn.
  void tellSummary(std::size_t untried);

  /// Whether there was an outcome of this kind. Paths that are no videos count as failures.
  bool has(Ending ending) const { return counts_.count(ending) > 0; }

 private:
  void tell(const Video& video, const Outcome& outcome, std::vector<Error>& told);
  std::size_t count(Ending ending) const { return has(ending) ? counts_.at(ending) : 0; }

  const Wish& wish_;
  Output& output_;
  std::map<Ending, std::size_t> counts_{};
  // The last video for which the service was out of reach got an answer all the same.
  bool isRefused_ = false;
  std::size_t videos_ = 0;
  std::size_t told_ = 0;
  // Those that the service is asked about, which is what takes time.
  std::size_t open_ = 0;
  std::size_t asked_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace caprion::tool
