#pragma once

#include "download/cache_folder.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <stop_token>
#include <string>
#include <vector>

namespace caprion {

/// Unpacks the archive into the folder, and renames the first file with the extension of subFileName() to
/// STEM.LANGUAGE.FORMAT. Returns the reports in order: an error for each part of the folder that couldn't be
/// read, then the file's location or an error. Limits on size, number of files and time apply. `stop` ends
/// the unpacking at once.
std::vector<Result<URL>> extractSubtitle(const Subtitle& subtitle, const CacheFolder& folder,
                                         const std::string& archive, const std::stop_token& stop = {});

}  // namespace caprion
