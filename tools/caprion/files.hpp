#pragma once

#include <caprion/error.hpp>
#include <caprion/result.hpp>

#include <sys/types.h>

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace caprion::tool {

/// The error of NSPOSIXErrorDomain with this errno; its description starts with the path, where there is one.
Error systemError(int number, std::string_view path = {});

/// Reads what there is, waiting for the first of it; returns how many bytes, 0 at the end, or -1 and leaves
/// an errno.
ssize_t readSome(int descriptor, std::span<char> bytes);

/// Writes it all; returns 0 or an errno.
int writeAll(int descriptor, std::string_view bytes);

/// Reads all that is left, up to a size; fails with an error of NSPOSIXErrorDomain, EFBIG for what is larger.
Result<std::string> readAll(int descriptor, std::size_t limit);

/// Reads a file so.
Result<std::string> contentOf(const std::filesystem::path& file, std::size_t limit);

/// Makes a file at a path, where it appears at once and whole or not at all; returns 0 or an errno. A regular
/// file that is there already is replaced if `replace`, or else stays, and EEXIST is returned. Nothing else
/// is ever replaced.
///
/// Signals that end the process wait until it is done, so that they leave nothing behind.
int placeFile(std::string_view content, const std::filesystem::path& path, bool replace);

}  // namespace caprion::tool
