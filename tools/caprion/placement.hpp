#pragma once

#include "get.hpp"

#include <caprion/subtitle.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// The tasks of a run, with the outcomes that are known before querying the service: subtitles that exist
/// already, unless they are to be replaced, and name conflicts between videos.
std::vector<Task> tasksFor(std::vector<Video> videos, const GetOptions& options, Folders& folders);

/// A file name without its extension.
std::string_view stemOf(std::string_view name);

/// The path for a hit's subtitle; empty if its format is not supported.
std::string placeFor(const Video& video, const Subtitle& hit, const Language& language,
                     const GetOptions& options);

/// 0 if a file can be placed there, or an errno: EEXIST for something that may not be replaced.
int obstacleAt(const std::string& path, bool replace);

}  // namespace caprion::tool
