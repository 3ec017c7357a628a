#pragma once

#include <caprion/namespace.hpp>

#include <cstdint>
#include <string>

namespace CAPRION_NAMESPACE {

/// What the service identifies a video file by. No members will be added.
struct VideoHash {
  /// The movie hash: 16 lower-case hexadecimal digits; empty for a file shorter than 65,536 bytes.
  std::string fileHash;
  /// The file's size in bytes; 0 for a file shorter than 65,536 bytes.
  std::uint64_t fileSize = 0;

  friend bool operator==(const VideoHash&, const VideoHash&) = default;
};

}  // namespace CAPRION_NAMESPACE
