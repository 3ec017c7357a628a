#pragma once

#include "client/search.hpp"

#include <caprion/caprion_helper.hpp>

#include <span>
#include <string_view>

namespace caprion {

/// Start a search by file, text or criteria, like CaprionHelper::findSubtitles. The caller keeps the result
/// until the host's call returns.
StartedSearch startFindingSubtitles(const URL& videoFile, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept;
StartedSearch startFindingSubtitles(Matching matching, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept;
StartedSearch startFindingSubtitles(std::span<const Arg> criteria,
                                    CaprionHelper::SearchCompletion completion) noexcept;

}  // namespace caprion
