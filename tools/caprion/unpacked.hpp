#pragma once

#include "videos.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>

#include <filesystem>

namespace caprion::tool {

/// A subtitle file of an archive.
struct Unpacked {
  std::filesystem::path file;
  /// Whether the archive holds no other, so that it fits every video.
  bool isOnlyOne = true;
};

/// Picks the file for a video from an unpacked archive, where the library picked `reported`: the only
/// subtitle, or else the one with the hit's file name, or the one that matches the video's name. Fails if
/// that isn't exactly one, or if the subtitle comes in several parts.
Result<Unpacked> subtitleFor(const Video& video, const Subtitle& hit, const std::filesystem::path& reported);

}  // namespace caprion::tool
