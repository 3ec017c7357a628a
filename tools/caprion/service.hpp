#pragma once

#include <caprion/caprion.hpp>
#include <caprion/caprion_helper.hpp>
#include <caprion/downloader.hpp>

#include <string_view>
#include <vector>

namespace caprion::tool {

// Blocking versions of the library's operations.

using Hits = CaprionHelper::SubtitleList;

Result<Hits> findSubtitles(const URL& videoFile, std::string_view language);
Result<Hits> findSubtitles(Matching matching, std::string_view language);
Result<Hits> query(const std::vector<Arg>& criteria);

/// All reports of a download in order, at most one of them a file; an error if there was no report.
std::vector<Result<URL>> download(Downloader& downloader, const Subtitle& subtitle);

}  // namespace caprion::tool
