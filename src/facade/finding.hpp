#pragma once

#include "client/search.hpp"

#include <caprion/caprion_helper.hpp>

#include <span>
#include <string_view>

namespace caprion {

/// What CaprionHelper::findSubtitles does, and the same by criteria, for a call that keeps the search to its
/// very end.
StartedSearch startFindingSubtitles(const URL& videoFile, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept;
StartedSearch startFindingSubtitles(Matching matching, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept;
StartedSearch startFindingSubtitles(std::span<const Arg> criteria,
                                    CaprionHelper::SearchCompletion completion) noexcept;

}  // namespace caprion
