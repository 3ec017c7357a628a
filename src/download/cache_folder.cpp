#include "download/cache_folder.hpp"

#include "platform/descriptor.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

namespace caprion {

namespace {

/// Between two attempts to get the lock.
constexpr std::chrono::milliseconds longestPause(16);

}  // namespace

std::string pathComponent(std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  if (text.empty()) return "%";  // no other text maps to that
  const bool isDots = text == "." || text == "..";
  std::string name;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F || c == '/' || c == '%' || isDots) {
      name += {'%', digits[byte >> 4], digits[byte & 15]};
    } else {
      name += c;
    }
  }
  return name;
}

CacheFolder::CacheFolder(std::string_view applicationName, std::string_view subtitleID)
    : root_(temporaryDirectory()),
      parent_(root_ + '/' + pathComponent(applicationName)),
      path_(parent_ + '/' + pathComponent(subtitleID)) {}

CacheFolder::~CacheFolder() { unlock(); }

std::optional<Error> CacheFolder::create() {
  if (auto error = createDirectories(root_)) return error;
  if (auto error = createPrivateDirectory(parent_)) return error;
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) removeItem(path_);
  return createPrivateDirectory(path_);
}

std::optional<Error> CacheFolder::lock(const std::stop_token& stop, std::chrono::milliseconds longest) {
  const auto end = std::chrono::steady_clock::now() + longest;
  do {
    unlock();
    if (auto error = create()) return error;
    descriptor_ =
        pastStandardDescriptors(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (descriptor_ < 0) return fileError(errno, path_);
    std::chrono::milliseconds pause(1);
    while (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      int error = errno;
      const bool isHeld = error == EWOULDBLOCK || error == EINTR;
      if (isHeld && stop.stop_requested()) error = ECANCELED;
      if (isHeld && std::chrono::steady_clock::now() >= end) error = ETIMEDOUT;
      if (error != EWOULDBLOCK && error != EINTR) {
        ::close(std::exchange(descriptor_, -1));
        return fileError(error, path_, error == ETIMEDOUT ? "another download doesn't let go of it" : "");
      }
      std::this_thread::sleep_for(pause);
      pause = std::min(2 * pause, longestPause);
    }
  } while (!isCurrent());
  return std::nullopt;
}

void CacheFolder::empty() const { removeContents(path_); }

void CacheFolder::unlock() {
  if (descriptor_ < 0) return;
  ::flock(descriptor_, LOCK_UN);  // a child of fork() may have the descriptor too
  ::close(descriptor_);
  descriptor_ = -1;
}

/// Whether the locked folder is still the one at the path, and hasn't been removed meanwhile.
bool CacheFolder::isCurrent() const {
  struct stat locked {};
  struct stat present {};
  return ::fstat(descriptor_, &locked) == 0 && ::lstat(path_.c_str(), &present) == 0 &&
         locked.st_dev == present.st_dev && locked.st_ino == present.st_ino;
}

}  // namespace caprion
