#pragma once

#include <caprion/video_hash.hpp>

#include <optional>
#include <string>

namespace caprion {

/// The movie hash and size of the file at a path; absent if it can't be read or is no file. Waits for a lease
/// that another process holds on the file, but never for a pipe. Uses less than 16 KiB of stack. Throws
/// std::bad_alloc.
std::optional<VideoHash> videoHash(const std::string& path);

}  // namespace caprion
