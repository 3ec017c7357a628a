#pragma once

#include "videos.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>

#include <cstddef>
#include <optional>
#include <vector>

namespace caprion::tool {

/// Whether there is a terminal for asking.
bool canPick();

/// Shows the hits for a video on the terminal and asks which one to take.
class Picker {
 public:
  /// The index of the chosen hit; absent for none.
  std::optional<std::size_t> operator()(const Video& video, const Language& language,
                                        const std::vector<RankedSubtitle>& hits);

  /// Whether the input has ended.
  bool isOver() const { return isOver_; }

 private:
  bool isOver_ = false;
};

}  // namespace caprion::tool
