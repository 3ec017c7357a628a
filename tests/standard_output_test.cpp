#include "platform/standard_output.hpp"

#include "process.hpp"

#include <poll.h>

#include <array>
#include <csignal>
#include <thread>
#include <utility>

namespace caprion::test {

namespace {

/// Redirects standard output, until destroyed, to a blocking pipe that only this object reads.
class Pipe {
 public:
  Pipe() {
    std::fflush(stdout);
    before_ = ::dup(STDOUT_FILENO);
    EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0);
    ::dup2(ends_[1], STDOUT_FILENO);
    ::close(ends_[1]);
  }
  ~Pipe() {
    ::dup2(before_, STDOUT_FILENO);
    ::close(before_);
    ::close(ends_[0]);
  }

  void loseReader() { ::close(std::exchange(ends_[0], -1)); }

  static bool isFull() {
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    return ::poll(&output, 1, 0) == 0;
  }

  std::string read(std::size_t size) const {
    std::string text(size, '\0');
    // Doesn't use a stream, as that of libc++ waits for more bytes than requested.
    for (ssize_t done = 0, count = 1; done < std::ssize(text) && count > 0; done += count)
      count = ::read(ends_[0], &text[static_cast<std::size_t>(done)], size - static_cast<std::size_t>(done));
    return text;
  }

 private:
  int before_;
  std::array<int, 2> ends_{};
};

}  // namespace

TEST(StandardOutput, LinesStayWholeAndLetTheHostPrint) {
  constexpr std::size_t size = 1 << 20;
  std::string printed, expected = "printed before\n";
  {
    const Pipe output;
    std::fputs("printed ", stdout);
    printLine("before");
    std::vector<std::jthread> threads;
    for (const char letter : {'a', 'b', 'c'})
      threads.emplace_back([letter] { printLine(std::string(size, letter)); });
    while (!Pipe::isFull()) std::this_thread::yield();
    ::flockfile(stdout);  // must not be held by a thread that waits for the reader
    ::funlockfile(stdout);
    printed = output.read(expected.size() + threads.size() * (size + 1));
  }
  for (std::size_t at = expected.size(); at < printed.size(); at += size + 1)
    expected.append(size, printed[at]).append("\n");
  EXPECT_TRUE(printed == expected);
}

TEST(StandardOutput, WhoseReaderIsGoneRaisesNoSignal) {
  Pipe output;
  output.loseReader();
  printLine("x");  // would end this process if it raised SIGPIPE
  sigset_t signal;
  ::sigemptyset(&signal);
  ::sigaddset(&signal, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signal, nullptr);
  ::raise(SIGPIPE);
  printLine("x");  // must not consume the host's pending signal
  const timespec now{};
  EXPECT_EQ(::sigtimedwait(&signal, nullptr, &now), SIGPIPE);
  ::pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
}

TEST(StandardOutput, WithoutAReaderALineIsGivenUp) {
  const Pipe output;
  const std::jthread other([] { printLine(std::string(1 << 20, 'a')); });
  printLine(std::string(1 << 20, 'b'));
}

}  // namespace caprion::test
