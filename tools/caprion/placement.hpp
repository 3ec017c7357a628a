#pragma once

#include "get.hpp"

#include <caprion/subtitle.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// The tasks of a run, with all outcomes that can be told before the service is asked: subtitles that are
/// there already, unless they are to be replaced, and videos whose subtitles would be called like those of
/// another.
std::vector<Task> tasksFor(std::vector<Video> videos, const Wish& wish, Folders& folders);

/// A file's name without its extension.
std::string_view stemOf(std::string_view name);

/// Where a hit's subtitle file goes; empty if its format is none that a subtitle may have here.
std::string placeFor(const Video& video, const Subtitle& hit, const Language& language, const Wish& wish);

/// What would keep a file from being placed there: 0 or an errno, and EEXIST for what may not be replaced.
int obstacleAt(const std::string& path, bool replace);

}  // namespace caprion::tool
