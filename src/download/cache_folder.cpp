#include "download/cache_folder.hpp"

#include "platform/descriptor.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"
#include "platform/sha256.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace caprion {

std::string pathComponent(std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string name;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool hides = c == '.' && name.empty();
    // unzip takes some for wildcards.
    const bool isSpecial = std::string_view("/%*?[]\\").find(c) != std::string_view::npos;
    if (byte < 0x20 || byte == 0x7F || isSpecial || hides) {
      name += {'%', digits[byte >> 4], digits[byte & 15]};
    } else {
      name += c;
    }
  }
  // Neither "%" alone nor "%#" comes out of the above.
  if (name.empty()) return "%";
  if (name.size() > NAME_MAX) return "%#" + sha256(text);
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

std::optional<Error> CacheFolder::lock() {
  do {
    unlock();
    if (auto error = create()) return error;
    descriptor_ =
        pastStandardDescriptors(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (descriptor_ < 0) return fileError(errno, path_);
    while (::flock(descriptor_, LOCK_EX) != 0) {
      if (errno != EINTR) return fileError(errno, path_);
    }
  } while (!isStillThere());
  return std::nullopt;
}

void CacheFolder::empty() const { removeContents(path_); }

void CacheFolder::unlock() {
  if (descriptor_ < 0) return;
  ::flock(descriptor_, LOCK_UN);  // a child of fork() may have the descriptor too
  ::close(descriptor_);
  descriptor_ = -1;
}

/// Whether the folder that is locked is the one at the path, and not one that was removed meanwhile.
bool CacheFolder::isStillThere() const {
  struct stat locked {};
  struct stat present {};
  return ::fstat(descriptor_, &locked) == 0 && ::lstat(path_.c_str(), &present) == 0 &&
         locked.st_dev == present.st_dev && locked.st_ino == present.st_ino;
}

}  // namespace caprion
