#pragma once

#include <caprion/error.hpp>
#include <caprion/result.hpp>

#include <sys/types.h>

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace caprion::tool {

/// An error of NSPOSIXErrorDomain with this errno; its description starts with the path, if given.
Error systemError(int number, std::string_view path = {});

/// read(2), retried after EINTR.
ssize_t readSome(int descriptor, std::span<char> bytes);

/// Writes all bytes; returns 0 or an errno.
int writeAll(int descriptor, std::string_view bytes);

/// Reads to the end. Fails with an error of NSPOSIXErrorDomain, EFBIG if there are more than `limit` bytes.
Result<std::string> readAll(int descriptor, std::size_t limit);

/// The same for a file.
Result<std::string> contentOf(const std::filesystem::path& file, std::size_t limit);

/// Creates a file atomically: it appears complete or not at all. Returns 0 or an errno. An existing regular
/// file is replaced if `replace`; otherwise, and for anything else that exists, EEXIST is returned.
///
/// Signals that end the process are delayed meanwhile, so that no temporary file is left.
int placeFile(std::string_view content, const std::filesystem::path& path, bool replace);

}  // namespace caprion::tool
