#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace caprion {

/// Calls `visit` with the name and declared uncompressed size of each entry in a zip archive's central
/// directory, until it returns false; not at all if that can't be read. An archive may lie about both.
void readZipDirectory(const std::string& archive,
                      const std::function<bool(std::string_view name, std::uint64_t size)>& visit);

}  // namespace caprion
