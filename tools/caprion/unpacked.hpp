#pragma once

#include "videos.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>

#include <filesystem>

namespace caprion::tool {

/// A subtitle file of an archive.
struct Unpacked {
  std::filesystem::path file;
  /// Whether the archive holds no other, so that it is the one for every video.
  bool isOnlyOne = true;
};

/// The subtitle file for a video in the cache folder of a hit, of which `reported` was said to be the one:
/// the only file of its kind, or else the one that is called as the hit says or as the video suggests. Fails
/// if that is no single file, or the subtitle comes in several parts.
Result<Unpacked> subtitleFor(const Video& video, const Subtitle& hit, const std::filesystem::path& reported);

}  // namespace caprion::tool
