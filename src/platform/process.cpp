#include "platform/process.hpp"

#include "platform/descriptor.hpp"
#include "platform/error.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

extern "C" {
#include <sys/pidfd.h>  // of glibc 2.36, which has forgotten that it may be C++
}

namespace caprion {

namespace {

/// Lowers a limit of a process that has just been started; returns 0 or an errno.
int lowerLimit(pid_t process, __rlimit_resource resource, rlim_t value) {
  rlimit limit{};
  if (::prlimit(process, resource, nullptr, &limit) != 0) return errno;
  limit.rlim_cur = std::min(limit.rlim_cur, value);
  limit.rlim_max = std::min(limit.rlim_max, value);
  return ::prlimit(process, resource, &limit, nullptr) == 0 ? 0 : errno;
}

/// Waits until the child has exited, and reaps it unless the host has done so or ignores its children.
/// `descriptor` is the process's own, proof against the number going to another child meanwhile; -1 where the
/// system has none.
void waitForExit(pid_t process, int descriptor) {
  if (descriptor < 0) {
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    return;
  }
  pollfd exited{.fd = descriptor, .events = POLLIN, .revents = 0};
  while (::poll(&exited, 1, -1) < 0 && errno == EINTR) {
  }
  siginfo_t status{};
  ::waitid(P_PIDFD, static_cast<id_t>(descriptor), &status, WEXITED | WNOHANG);
  ::close(descriptor);
}

/// The attributes and the descriptors of a process to be spawned.
class SpawnSettings {
 public:
  explicit SpawnSettings(int sharedDescriptor) {
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawn_file_actions_init(&actions_);
    sigset_t signals;
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    // Left closed, 0 to 2 would become files that the program writes, with its messages in them.
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      ::posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDWR, 0);
    }
    const bool shares = sharedDescriptor >= 0;
    if (shares) ::posix_spawn_file_actions_adddup2(&actions_, sharedDescriptor, STDERR_FILENO + 1);
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + (shares ? 2 : 1));
  }
  ~SpawnSettings() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawnattr_t* attributes() const { return &attributes_; }
  const posix_spawn_file_actions_t* actions() const { return &actions_; }

 private:
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

}  // namespace

std::optional<Error> Process::run() const {
  // The arguments and the environment are not changed, for all that the signature says.
  std::vector<char*> argv{const_cast<char*>(executable.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  char* environment[] = {const_cast<char*>("PATH=/usr/bin:/bin"), const_cast<char*>("LC_ALL=C.UTF-8"),
                         nullptr};

  const SpawnSettings settings(sharedDescriptor);
  pid_t process = 0;
  int error = ::posix_spawn(&process, executable.c_str(), settings.actions(), settings.attributes(),
                            argv.data(), environment);
  if (error != 0) return fileError(error, executable);
  const int descriptor = pastStandardDescriptors(::pidfd_open(process, 0));
  // It can't have written much by now. Going past the limit ends it, without a core file.
  lowerLimit(process, RLIMIT_CORE, 0);
  error = lowerLimit(process, RLIMIT_FSIZE, fileSizeLimit);
  if (error == ESRCH) error = 0;  // it has exited already
  if (error != 0) ::kill(process, SIGKILL);
  waitForExit(process, descriptor);
  if (error != 0) return fileError(error, executable);
  return std::nullopt;
}

}  // namespace caprion
