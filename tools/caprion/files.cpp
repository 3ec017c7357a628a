#include "files.hpp"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

namespace caprion::tool {

namespace {

/// Holds back the signals by which a process is asked to end, as long as this lives. For the main thread:
/// the library's threads don't take any.
class EndHeldBack {
 public:
  EndHeldBack() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXFSZ}) ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~EndHeldBack() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  EndHeldBack(const EndHeldBack&) = delete;
  EndHeldBack& operator=(const EndHeldBack&) = delete;

 private:
  sigset_t before_;
};

int copyAll(int source, int target) {
  std::array<char, 65'536> part;
  ssize_t count = 0;
  while ((count = readSome(source, part)) > 0) {
    if (const int error = writeAll(target, {part.data(), static_cast<std::size_t>(count)})) return error;
  }
  return count < 0 ? errno : 0;
}

/// Makes a file that is nobody else's; returns its descriptor, or -1 and leaves an errno.
int create(const std::filesystem::path& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
}

int renameTo(const std::filesystem::path& from, const std::filesystem::path& to, bool replace) {
  if (!replace) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno == EEXIST) return EEXIST;
    // Some file systems can't, network ones above all. There, an empty file takes the name first.
    const int reserved = create(to);
    if (reserved < 0) return errno;
    ::close(reserved);
  }
  if (::rename(from.c_str(), to.c_str()) == 0) return 0;
  const int error = errno;
  if (!replace) ::unlink(to.c_str());
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

int placeFile(const std::filesystem::path& from, const std::filesystem::path& to, bool replace) {
  const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (source < 0) return errno;

  const EndHeldBack endHeldBack;
  std::filesystem::path draft;
  int target = -1;
  int error = EEXIST;
  for (unsigned i = 0; target < 0 && error == EEXIST; ++i) {
    draft = to.parent_path() / (".caprion-" + std::to_string(::getpid()) + "-" + std::to_string(i));
    target = create(draft);
    error = target < 0 ? errno : 0;
  }
  if (target >= 0) {
    error = copyAll(source, target);
    // Some file systems tell only now that there was no room.
    if (::close(target) != 0 && error == 0) error = errno;
    if (error == 0) error = renameTo(draft, to, replace);
    if (error != 0) ::unlink(draft.c_str());
  }
  ::close(source);
  return error;
}

}  // namespace caprion::tool
