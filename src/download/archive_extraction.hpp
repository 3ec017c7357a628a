#pragma once

#include "download/cache_folder.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <stop_token>
#include <string>
#include <vector>

namespace caprion {

/// Unpacks the archive into the folder, and renames the first entry with the extension of the subtitle's file
/// so that its name ends in the language and the format. Returns what there is to report, in this order: an
/// error for each part of the folder that could not be read, and then the entry's location or why there is
/// none. An archive that holds too much, or takes too long, is given up. A stop ends the unpacking at once.
std::vector<Result<URL>> extractSubtitle(const Subtitle& subtitle, const CacheFolder& folder,
                                         const std::string& archive, const std::stop_token& stop = {});

}  // namespace caprion
