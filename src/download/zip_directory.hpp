#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace caprion {

/// Gives `visit` each entry in the directory of a zip archive: the name and how large it says that it is,
/// until it answers false; none when it can't be read. All this is the archive's word: good for a forecast,
/// and unzip may find something else.
void readZipDirectory(const std::string& archive,
                      const std::function<bool(std::string_view name, std::uint64_t size)>& visit);

}  // namespace caprion
