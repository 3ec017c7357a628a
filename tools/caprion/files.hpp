#pragma once

#include <caprion/error.hpp>

#include <sys/types.h>

#include <filesystem>
#include <span>
#include <string_view>

namespace caprion::tool {

/// The error of NSPOSIXErrorDomain with this errno; its description starts with the path, where there is one.
Error systemError(int number, std::string_view path = {});

/// Reads what there is, waiting for the first of it; returns how many bytes, 0 at the end, or -1 and leaves
/// an errno.
ssize_t readSome(int descriptor, std::span<char> bytes);

/// Writes it all; returns 0 or an errno.
int writeAll(int descriptor, std::string_view bytes);

/// Copies a file to the path `to`, where it appears at once and whole or not at all; returns 0 or an errno. A
/// file that is there already is replaced if `replace`, or else stays, and EEXIST is returned.
///
/// Signals that end the process wait until it is done, so that they leave nothing behind.
int placeFile(const std::filesystem::path& from, const std::filesystem::path& to, bool replace);

}  // namespace caprion::tool
