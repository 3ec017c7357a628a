#pragma once

#include "get.hpp"
#include "picking.hpp"
#include "rate_limiter.hpp"

#include <caprion/result.hpp>
#include <caprion/search_request.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// Finds, downloads and places subtitles. Thread-safe.
class Finder {
 public:
  /// The user chooses through `picker`; if it is null, the best hit with a usable archive is taken.
  Finder(const GetOptions& options, Picker* picker) : options_(options), picker_(picker) {}

  /// Finds subtitles for all pending outcomes of a task.
  void find(Task& task);

  /// Ends all retries, for good.
  void stopRetrying();

 private:
  struct Attempts;
  /// A cache entry with the latest download, as copies of a video have the same subtitle. The mutex also
  /// keeps a subtitle from being downloaded again, which empties its folder, before it was read.
  struct Slot {
    std::mutex mutex{};
    std::string hit{};
    std::string content{};
  };

  template <typename Attempt>
  auto withRetries(std::string_view host, std::size_t requests, const Attempt& attempt)
      -> decltype(attempt());
  void choose(Task& task, Outcome& outcome, Attempts& attempts, const std::vector<RankedSubtitle>& ranked);
  bool fetch(Task& task, Outcome& outcome, const RankedSubtitle& hit);
  Result<std::string> contentOf(const Video& video, const Subtitle& hit, Outcome& outcome);
  Result<URL> fileOf(const Subtitle& hit, Outcome& outcome);
  void place(Outcome& outcome, std::string content);
  void settle(Outcome& outcome, int error) const;

  const GetOptions& options_;
  Picker* const picker_;
  RateLimiter limiter_;
  std::array<Slot, 64> slots_;  // by the hash of the subtitle's identifier
};

}  // namespace caprion::tool
