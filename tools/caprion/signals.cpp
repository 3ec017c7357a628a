#include "signals.hpp"

#include "output.hpp"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace caprion::tool {

namespace {

bool brokenPipeEnds = false;

bool isDefault(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

void handleSignals() {
  // Ignored, these make the write fail instead.
  std::signal(SIGXFSZ, SIG_IGN);
  brokenPipeEnds = isDefault(SIGPIPE);
  std::signal(SIGPIPE, SIG_IGN);

  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    if (isDefault(number)) ::sigaddset(&signals, number);  // nohup ignores SIGHUP
  }
  // Blocked in all threads and handled by one with sigwait, which isn't restricted to async-signal-safe
  // functions.
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  try {
    std::thread([signals] {
      int number = 0;
      if (::sigwait(&signals, &number) == 0) endBy(number);
    }).detach();
  } catch (const std::system_error&) {  // without the thread, keep the default action
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  }
}

bool endsAtBrokenPipe() { return brokenPipeEnds; }

std::mutex& cleanupMutex() {
  static auto* const mutex = new std::mutex;  // never destroyed, as threads use it until the process ends
  return *mutex;
}

void endBy(int signal) {
  const std::lock_guard lock(cleanupMutex());
  Progress::hide();
  std::signal(signal, SIG_DFL);
  sigset_t only;
  ::sigemptyset(&only);
  ::sigaddset(&only, signal);
  ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  ::raise(signal);
  ::_exit(128 + signal);
}

}  // namespace caprion::tool
