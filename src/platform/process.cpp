#include "platform/process.hpp"

#include "platform/descriptor.hpp"
#include "platform/error.hpp"
#include "platform/thread.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

extern "C" {
#include <sys/pidfd.h>  // of glibc 2.36, which has forgotten that it may be C++
}

namespace caprion {

namespace {

/// Lowers a resource limit of a child; returns 0 or an errno. The hard limit is one higher: reaching that of
/// RLIMIT_CPU would mean SIGKILL, which doesn't tell why.
int lowerLimit(pid_t process, __rlimit_resource resource, rlim_t value) {
  rlimit limit{};
  if (::prlimit(process, resource, nullptr, &limit) != 0) return errno;
  limit.rlim_cur = std::min(limit.rlim_cur, value);
  limit.rlim_max = std::min(limit.rlim_max, value + 1);
  return ::prlimit(process, resource, &limit, nullptr) == 0 ? 0 : errno;
}

/// The number after a word in a file of /proc; 0 if there is none.
std::uint64_t numberInProc(const char* file, const char* word, int base) {
  std::array<char, 512> text{};
  const int descriptor = ::open(file, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return 0;
  const ssize_t size = ::read(descriptor, text.data(), text.size() - 1);
  ::close(descriptor);
  const char* const found = size < 0 ? nullptr : std::strstr(text.data(), word);
  return found == nullptr ? 0 : std::strtoull(found + std::strlen(word), nullptr, base);
}

/// A child process. Uses a pidfd, if the system has them, as the host may reap the child and its PID be
/// reused.
class Child {
 public:
  explicit Child(pid_t process)
      : process_(process), descriptor_(pastStandardDescriptors(::pidfd_open(process, 0))) {}
  ~Child() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void kill() const {
    descriptor_ < 0 ? ::kill(process_, SIGKILL) : ::pidfd_send_signal(descriptor_, SIGKILL, nullptr, 0);
  }

  /// Waits for the child to exit and reaps it, unless the host has done so or ignores SIGCHLD. False on
  /// timeout.
  bool exits(std::chrono::milliseconds within) {
    pollfd exited{.fd = descriptor_, .events = POLLIN, .revents = 0};  // poll ignores -1
    if (::poll(&exited, 1, static_cast<int>(within.count())) < 0 && errno != EINTR) {
      std::this_thread::sleep_for(within);
    }
    const auto [kind, number] =
        descriptor_ < 0 ? std::pair(P_PID, process_) : std::pair(P_PIDFD, descriptor_);
    siginfo_t end{};
    int failed = 0;
    do {
      failed = ::waitid(kind, static_cast<id_t>(number), &end, WEXITED | WNOHANG);
    } while (failed != 0 && errno == EINTR);
    if (failed == 0 && end.si_pid != 0) {
      status_ = end.si_code == CLD_EXITED ? end.si_status : 128 + end.si_status;
      return true;
    }
    return exited.revents != 0 || (failed != 0 && errno == ECHILD);
  }

  /// As Process::run() returns it.
  std::optional<int> status() const { return status_; }

  /// How many bytes the child has written so far.
  std::uint64_t written() const {
    std::array<char, 32> file{};  // no std::string: bad_alloc would leave the child running
    std::snprintf(file.data(), file.size(), "/proc/%d/io", static_cast<int>(process_));
    return numberInProc(file.data(), "wchar: ", 10);
  }

 private:
  const pid_t process_;
  const int descriptor_;
  std::optional<int> status_;
};

/// RAII for the attributes and file actions of posix_spawn.
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
    // If 0 to 2 stayed closed, the program's messages would end up in files that it opens.
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      note(::posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDWR, 0));
    }
    const bool shares = sharedDescriptor >= 0;
    if (shares) note(::posix_spawn_file_actions_adddup2(&actions_, sharedDescriptor, STDERR_FILENO + 1));
    note(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + (shares ? 2 : 1)));
  }
  ~SpawnSettings() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawnattr_t* attributes() const { return &attributes_; }
  const posix_spawn_file_actions_t* actions() const { return &actions_; }
  /// 0, or the errno of a setting that failed; without it, the program would write to the host's output.
  int error() const { return error_; }

 private:
  void note(int error) {
    if (error != 0) error_ = error;
  }

  int error_ = 0;
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

/// Starts the program; returns 0 or an errno. If the host's umask would deny the user access to the program's
/// files, it is started from a thread with a umask of its own.
int start(const Process& program, pid_t* process) {
  // posix_spawn doesn't modify its arguments.
  std::vector<char*> argv{const_cast<char*>(program.executable.c_str())};
  for (const std::string& argument : program.arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  char* environment[] = {const_cast<char*>("PATH=/usr/bin:/bin"), const_cast<char*>("LC_ALL=C.UTF-8"),
                         nullptr};
  const SpawnSettings settings(program.sharedDescriptor);
  if (settings.error() != 0) return settings.error();
  int error = 0;
  const auto spawn = [&] {
    error = ::posix_spawn(process, program.executable.c_str(), settings.actions(), settings.attributes(),
                          argv.data(), environment);
  };
  std::optional<std::thread> thread;
  if ((numberInProc("/proc/thread-self/status", "Umask:", 8) & S_IRWXU) != 0) {
    thread = startThread("caprion", [&] {
      if (::unshare(CLONE_FS) == 0) ::umask(S_IRWXG | S_IRWXO);
      spawn();
    });
  }
  thread ? thread->join() : spawn();
  return error;
}

}  // namespace

Result<std::optional<int>> Process::run(const std::stop_token& stop) const {
  const auto end = std::chrono::steady_clock::now() + timeLimit;
  pid_t process = 0;
  if (const int error = start(*this, &process); error != 0) return fileError(error, executable);
  Child child(process);

  // Early enough: it can't have written much yet. Exceeding a limit kills it, without a core dump.
  lowerLimit(process, RLIMIT_CORE, 0);
  int error = lowerLimit(process, RLIMIT_FSIZE, fileSizeLimit);
  if (error == 0) error = lowerLimit(process, RLIMIT_CPU, static_cast<rlim_t>(timeLimit.count()));
  if (error == ESRCH) error = 0;  // it has already exited
  while (error == 0 && !child.exits(std::chrono::milliseconds(10))) {
    if (stop.stop_requested()) error = ECANCELED;
    if (std::chrono::steady_clock::now() >= end) error = ETIMEDOUT;
    if (child.written() > writeLimit) error = EFBIG;
  }
  if (error != 0) {
    child.kill();
    while (!child.exits(std::chrono::milliseconds(10))) {
    }
  }
  if (child.status() == 128 + SIGXCPU) error = ETIMEDOUT;
  if (error == ETIMEDOUT) return fileError(error, executable, "it took too long");
  if (error == EFBIG) return fileError(error, executable, "it wrote too much");
  if (error != 0) return fileError(error, executable);
  return child.status();
}

}  // namespace caprion
