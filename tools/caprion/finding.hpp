#pragma once

#include "get.hpp"
#include "pace.hpp"
#include "picking.hpp"

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

/// Finds, downloads and places the subtitles of videos; any number of threads may do so at a time.
class Finder {
 public:
  /// With a `picker`, that chooses; if it is null, the best hit is taken whose archive is of use.
  Finder(const Wish& wish, Picker* picker) : wish_(wish), picker_(picker) {}

  /// Finds the subtitles of those outcomes that are open.
  void find(Task& task);

  /// From now on, what the service answered with no list, or no archive, isn't tried again.
  void giveUp();

 private:
  struct Attempts;
  /// What was downloaded last, as copies of a video have the same subtitle. Besides, a subtitle's folder is
  /// emptied when it is downloaded again, so nobody may do that before it was read.
  struct Slot {
    std::mutex mutex{};
    std::string hit{};
    std::string content{};
  };

  template <typename Attempt>
  auto persist(std::string_view host, std::size_t requests, const Attempt& attempt) -> decltype(attempt());
  void choose(Task& task, Outcome& outcome, Attempts& attempts, const std::vector<RankedSubtitle>& ranked);
  bool fetch(Task& task, Outcome& outcome, const RankedSubtitle& hit);
  Result<std::string> contentOf(const Video& video, const Subtitle& hit, Outcome& outcome);
  Result<URL> fileOf(const Subtitle& hit, Outcome& outcome);
  void place(Outcome& outcome, std::string content);
  void settle(Outcome& outcome, int error) const;

  const Wish& wish_;
  Picker* const picker_;
  Pace pace_;
  std::array<Slot, 64> slots_;  // by the subtitles' identifiers
};

}  // namespace caprion::tool
