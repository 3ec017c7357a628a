#pragma once

#include "matching/words.hpp"

#include <caprion/release_name.hpp>

#include <string>

namespace caprion {

/// The name of a video as it is read: comparable, and without the file's extension. A last part that is
/// itself a marker ("Show.S01E02") is none.
std::string stemOf(const URL& video);

/// What the stem of a video says. Throws std::bad_alloc.
ReleaseName releaseNameOf(const std::string& stem);

}  // namespace caprion
