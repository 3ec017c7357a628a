#pragma once

#include "videos.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>

#include <cstddef>
#include <optional>
#include <vector>

namespace caprion::tool {

/// Whether there is a terminal to ask on.
bool canPick();

/// Shows the hits that suit a video on the terminal, the best first, and asks which to take.
class Picker {
 public:
  /// The place of the hit; absent for none.
  std::optional<std::size_t> operator()(const Video& video, const Language& language,
                                        const std::vector<RankedSubtitle>& hits);

  /// Whether nobody answers any more.
  bool isOver() const { return isOver_; }

 private:
  bool isOver_ = false;
};

}  // namespace caprion::tool
