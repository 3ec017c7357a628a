#include "platform/file_manager.hpp"

#include "platform/descriptor.hpp"
#include "platform/error.hpp"

#include <caprion/url.hpp>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace caprion {

namespace {

constexpr mode_t privateMode = S_IRWXU;
constexpr mode_t privateFileMode = S_IRUSR | S_IWUSR;

std::string environment(const char* name) {
  const char* value = ::secure_getenv(name);
  return value != nullptr ? value : "";
}

/// The user's cache folder, as freedesktop.org's XDG base directories define it.
std::string cacheDirectory() {
  if (std::string folder = environment("XDG_CACHE_HOME"); folder.starts_with('/')) return folder;
  if (const std::string home = environment("HOME"); home.starts_with('/')) return home + "/.cache";
  std::vector<char> buffer(16'384);
  passwd entry{};
  passwd* found = nullptr;
  ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return std::string(found != nullptr ? found->pw_dir : "") + "/.cache";
}

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

/// The entries of a folder in directory order, and the errno if it couldn't be read to the end.
struct Listing {
  std::vector<std::string> names;
  int error = 0;
};

Listing listingOf(const std::string& folder) {
  Listing listing;
  const std::unique_ptr<DIR, CloseFolder> opened(::opendir(folder.c_str()));
  while (opened) {
    errno = 0;
    const dirent* const entry = ::readdir(opened.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") listing.names.emplace_back(name);
  }
  listing.error = errno;
  if (listing.error == ENOMEM) throw std::bad_alloc();
  return listing;
}

enum class Walk { descend, skip, stop };

/// Walks a tree in pre-order without following symbolic links. `visit` returns whether to descend into the
/// entry, skip what is below it, or stop. No descriptor stays open, however deep the tree is.
void walk(const std::string& root, const std::function<Walk(const std::string& path, mode_t mode)>& visit,
          const std::function<void(const std::string& path, int error)>& failed) {
  std::vector<std::string> ahead{root};
  while (!ahead.empty()) {
    const std::string path = std::move(ahead.back());
    ahead.pop_back();
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
      failed(path, errno);
      continue;
    }
    const Walk next = visit(path, status.st_mode);
    if (next == Walk::stop) return;
    if (next == Walk::skip || !S_ISDIR(status.st_mode)) continue;
    const Listing listing = listingOf(path);
    if (listing.error != 0) failed(path, listing.error);
    // NOLINTNEXTLINE(modernize-loop-convert): clang 14 has no view for it
    for (auto name = listing.names.rbegin(); name != listing.names.rend(); ++name) {
      ahead.push_back(path + '/' + *name);
    }
  }
}

void removeTree(const std::string& root, bool withRoot) {
  std::vector<std::string> found;
  const auto visit = [&](const std::string& path, mode_t mode) {
    if (S_ISDIR(mode)) ::chmod(path.c_str(), privateMode);  // or it might not be readable
    if (withRoot || path != root) found.push_back(path);
    return Walk::descend;
  };
  walk(root, visit, [](const auto&, int) {});
  // NOLINTNEXTLINE(modernize-loop-convert)
  for (auto path = found.rbegin(); path != found.rend(); ++path) std::remove(path->c_str());
}

std::optional<std::string> realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), std::free);
  if (resolved == nullptr && errno == ENOMEM) throw std::bad_alloc();
  if (resolved == nullptr) return std::nullopt;
  return resolved.get();
}

}  // namespace

std::string temporaryDirectory() {
  std::string directory = environment("TMPDIR");
  if (directory.empty()) directory = cacheDirectory();
  directory = URL::fileURLWithPath(directory).path();  // made absolute
  while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
  return directory;
}

TemporaryFile::TemporaryFile(std::string folder) : folder_(std::move(folder)) {
  const bool hasDescriptorPaths = ::access("/proc/self/fd", X_OK) == 0;
  if (hasDescriptorPaths)
    descriptor_ = ::open(folder_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, privateFileMode);
  if (descriptor_ < 0) {
    name_ = folder_ + "/.download-XXXXXX";
    descriptor_ = ::mkostemp(name_.data(), O_CLOEXEC);
    isNamed_ = descriptor_ >= 0;
  }
  descriptor_ = pastStandardDescriptors(descriptor_);
  error_ = errno;
  if (descriptor_ >= 0) ::fchmod(descriptor_, privateFileMode);  // whatever the host's umask has left of it
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (isNamed_) ::unlink(name_.c_str());
}

std::string TemporaryFile::path() const {
  return isNamed_ ? name_ : "/proc/self/fd/" + std::to_string(descriptor_);
}

std::optional<Error> TemporaryFile::write(std::string_view bytes) {
  if (descriptor_ < 0) return fileError(error_, folder_);
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return fileError(errno, folder_);
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return std::nullopt;
}

std::optional<Error> createPrivateDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), privateMode) != 0 && errno != EEXIST) return fileError(errno, path);
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return fileError(errno, path);
  if (S_ISLNK(status.st_mode)) return fileError(ELOOP, path, "it is a symbolic link");
  if (!S_ISDIR(status.st_mode)) return fileError(ENOTDIR, path);
  if (status.st_uid != ::geteuid()) return fileError(EPERM, path, "it belongs to another user");
  if ((status.st_mode & 07777) != privateMode && ::chmod(path.c_str(), privateMode) != 0) {
    return fileError(errno, path);
  }
  return std::nullopt;
}

std::optional<Error> createDirectories(const std::string& path) {
  for (std::size_t end = 1; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const std::string folder = path.substr(0, end);
    if (::mkdir(folder.c_str(), privateMode) == 0) {
      ::chmod(folder.c_str(), privateMode);  // whatever the host's umask has left of it
      continue;
    }
    if (errno == EEXIST) continue;
    const int error = errno;
    // An existing folder on the way is fine, even if nothing can be created in it.
    if (struct stat status{}; ::stat(folder.c_str(), &status) != 0) return fileError(error, folder);
  }
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return fileError(errno, path);
  if (!S_ISDIR(status.st_mode)) return fileError(ENOTDIR, path);
  return std::nullopt;
}

void removeItem(const std::string& path) { removeTree(path, true); }

void removeContents(const std::string& path) { removeTree(path, false); }

std::optional<Error> moveItem(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return std::nullopt;
  if (errno != EXDEV && errno != EINVAL && errno != ENOSYS) return fileError(errno, to);
  // Either the flag isn't supported, or `from` is a /proc link to an unnamed file, which is on another file
  // system and must be followed. link(2) doesn't replace a file either.
  int failed = ::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0);
  if (failed != 0 && errno == EXDEV) {
    failed = ::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW);
  }
  if (failed != 0) return fileError(errno, to);
  ::unlink(from.c_str());
  return std::nullopt;
}

std::optional<std::string> pathWithin(const std::string& folder, const std::string& path) {
  const auto target = realPath(path);
  const auto root = realPath(folder);
  if (!target || !root || !target->starts_with(*root + '/')) return std::nullopt;
  return target->substr(root->size() + 1);
}

void grantOwnerAccess(const std::string& folder, const std::string& path) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const std::string item = folder + '/' + path.substr(0, end);
    struct stat status {};
    if (::stat(item.c_str(), &status) != 0) return;
    const mode_t needed = S_ISDIR(status.st_mode) ? privateMode : privateFileMode;
    if ((status.st_mode & needed) != needed) ::chmod(item.c_str(), (status.st_mode & 07777) | needed);
  }
}

std::uint64_t fileSize(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void enumerate(const std::string& folder, const std::function<bool(const std::string& path)>& visit,
               const std::function<void(const std::string& path, const Error& error)>& failed) {
  const auto isHidden = [](const std::string& path) { return path[path.rfind('/') + 1] == '.'; };
  walk(
      folder,
      [&](const std::string& path, mode_t) {
        if (path == folder) return Walk::descend;
        if (isHidden(path)) return Walk::skip;
        return visit(path) ? Walk::descend : Walk::stop;
      },
      [&](const std::string& path, int error) {
        if (path == folder || !isHidden(path)) failed(path, fileError(error, path));
      });
}

}  // namespace caprion
