#include "files.hpp"

#include "signals.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

namespace caprion::tool {

namespace {

/// Creates a new file; returns its descriptor, or -1 with errno set.
int create(const std::filesystem::path& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
}

int renameTo(const std::filesystem::path& from, const std::filesystem::path& to, bool replace) {
  struct stat status {};
  if (replace && ::lstat(to.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
  }
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  // Not supported on some file systems, mostly network ones: reserve the name with an empty file.
  const int reserved = create(to);
  if (reserved < 0) return errno;
  ::close(reserved);
  if (::rename(from.c_str(), to.c_str()) == 0) return 0;
  const int error = errno;
  ::unlink(to.c_str());
  return error;
}

}  // namespace

Error systemError(int number, std::string_view path) {
  std::string description(path);
  if (!path.empty()) description += ": ";
  description += std::generic_category().message(number);
  return Error(std::string(NSPOSIXErrorDomain), number, {}, std::move(description));
}

ssize_t readSome(int descriptor, std::span<char> bytes) {
  ssize_t count = 0;
  do {
    count = ::read(descriptor, bytes.data(), bytes.size());
  } while (count < 0 && errno == EINTR);
  return count;
}

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

Result<std::string> readAll(int descriptor, std::size_t limit) {
  std::string content;
  std::array<char, 65'536> part;
  for (ssize_t count; (count = readSome(descriptor, part)) != 0;) {
    if (count < 0) return systemError(errno);
    content.append(part.data(), static_cast<std::size_t>(count));
    if (content.size() > limit) return systemError(EFBIG);
  }
  return content;
}

Result<std::string> contentOf(const std::filesystem::path& file, std::size_t limit) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return systemError(errno);
  auto content = readAll(descriptor, limit);
  ::close(descriptor);
  return content;
}

int placeFile(std::string_view content, const std::filesystem::path& path, bool replace) {
  static std::atomic<unsigned> counter = 0;
  const std::lock_guard lock(cleanupMutex());
  std::filesystem::path temporary;
  int target = -1;
  int error = EEXIST;
  while (target < 0 && error == EEXIST) {
    temporary =
        path.parent_path() / (".caprion-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    target = create(temporary);
    error = target < 0 ? errno : 0;
  }
  if (target < 0) return error;
  error = writeAll(target, content);
  // Some file systems report a full disk only here.
  if (::close(target) != 0 && error == 0) error = errno;
  if (error == 0) error = renameTo(temporary, path, replace);
  if (error != 0) ::unlink(temporary.c_str());
  return error;
}

}  // namespace caprion::tool
