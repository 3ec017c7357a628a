#pragma once

#include <caprion/video_hash.hpp>

#include <optional>
#include <string>

namespace caprion {

/// What the service knows the file at a path by; absent when it can't be read, or is no file. Waits for the
/// file, if another process holds a lease on it, but never for the other end of a pipe. Takes less than 16
/// KiB of stack. Throws std::bad_alloc.
std::optional<VideoHash> videoHash(const std::string& path);

}  // namespace caprion
