#pragma once

#include <caprion/caprion.hpp>
#include <caprion/caprion_helper.hpp>
#include <caprion/downloader.hpp>

#include <string_view>
#include <vector>

namespace caprion::tool {

// The library's operations on the service as calls that wait for the outcome.

using Hits = CaprionHelper::SubtitleList;

Result<Hits> findSubtitles(const URL& videoFile, std::string_view language);
Result<Hits> findSubtitles(Matching matching, std::string_view language);
Result<Hits> query(const std::vector<Arg>& criteria);

/// All that the library reports of a download, in its order, or the error that stands for no report at all.
/// At most one is a file.
std::vector<Result<URL>> download(Downloader& downloader, const Subtitle& subtitle);

}  // namespace caprion::tool
