#include "platform/standard_output.hpp"

#include "platform/descriptor.hpp"

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <mutex>

namespace caprion {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::chrono::seconds progressTimeout{5};

/// Held for a whole line, as long as its reader takes: never wait for it without a timeout.
std::mutex writing;

void sleepBriefly() { ::poll(nullptr, 0, 1); }

/// Blocks SIGPIPE for the calling thread, and discards one that a write has raised.
class PipeSignalBlocked {
 public:
  PipeSignalBlocked() {
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGPIPE);
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~PipeSignalBlocked() {
    const timespec now{};
    if (!wasPending_) ::sigtimedwait(&signal_, nullptr, &now);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalBlocked(const PipeSignalBlocked&) = delete;
  PipeSignalBlocked& operator=(const PipeSignalBlocked&) = delete;

 private:
  sigset_t signal_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

/// A line being written.
class Line {
 public:
  Line(std::string_view text, Clock::time_point end) : rest_(text), end_(end), descriptor_(open()) {}
  ~Line() {
    if (descriptor_ != STDOUT_FILENO) ::close(descriptor_);
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  void write() {
    while (!isOver_ && Clock::now() < end_) {
      // Don't block on the lock of `stdout` either: a thread of the host may hold it while waiting for the
      // reader, or for this line.
      bool hasProgress = false;
      if (isWritable(timeToWait()) && ::ftrylockfile(stdout) == 0) {
        hasProgress = writeWhatFits();
        ::funlockfile(stdout);
      }
      if (!hasProgress && !isOver_) sleepBriefly();
    }
  }

 private:
  /// Reopens a pipe or terminal in non-blocking mode, without changing the flags of the host's descriptor.
  static int open() {
    struct stat status {};
    int own = -1;
    if (::fstat(STDOUT_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || ::isatty(STDOUT_FILENO) != 0)) {
      own = ::open("/proc/thread-self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
    own = pastStandardDescriptors(own);
    return own >= 0 ? own : STDOUT_FILENO;
  }

  /// How long to poll at a time: not up to the deadline, as a terminal doesn't always report that it is
  /// writable again.
  milliseconds timeToWait() const {
    return std::clamp(std::chrono::ceil<milliseconds>(end_ - Clock::now()), milliseconds(0),
                      milliseconds(100));
  }

  /// Whether PIPE_BUF bytes can be written without blocking, or writing will fail.
  bool isWritable(milliseconds timeout) const {
    pollfd output{.fd = descriptor_, .events = POLLOUT, .revents = 0};
    return ::poll(&output, 1, static_cast<int>(timeout.count())) > 0;
  }

  /// Writes until the line is complete or a write would block; false if nothing was written. Call with
  /// `stdout` locked.
  bool writeWhatFits() {
    bool hasProgress = false;
    const std::size_t printedBefore = ::__fpending(stdout);
    if (isFirst_ && printedBefore > 0 && printedBefore <= PIPE_BUF) std::fflush(stdout);
    isFirst_ = false;
    while (!isOver_ && isWritable(milliseconds(0)) && writePiece()) hasProgress = true;
    if (hasProgress) end_ = Clock::now() + progressTimeout;
    return hasProgress;
  }

  /// Writes at most PIPE_BUF bytes, which is atomic on a pipe; false if nothing was written.
  bool writePiece() {
    std::array<char, PIPE_BUF> piece;
    const std::size_t length = rest_.copy(piece.data(), piece.size());
    const bool isLast = length < piece.size();
    if (isLast) piece[length] = '\n';
    const ssize_t count = ::write(descriptor_, piece.data(), length + (isLast ? 1 : 0));
    if (count > 0) {
      const auto written = static_cast<std::size_t>(count);
      isOver_ = written > length;
      rest_.remove_prefix(std::min(written, length));
    } else {
      isOver_ = count == 0 || (errno != EAGAIN && errno != EINTR);
    }
    return count > 0;
  }

  std::string_view rest_;  // without the line feed
  Clock::time_point end_;  // when to give up, unless there is progress before
  const int descriptor_;
  bool isFirst_ = true;
  bool isOver_ = false;
};

}  // namespace

void printLine(std::string_view text) noexcept {
  const auto end = Clock::now() + progressTimeout;
  std::unique_lock mine(writing, std::try_to_lock);
  while (!mine && Clock::now() < end) {
    sleepBriefly();
    (void)mine.try_lock();
  }
  if (!mine) return;
  const PipeSignalBlocked blocked;
  Line(text, end).write();
}

}  // namespace caprion
