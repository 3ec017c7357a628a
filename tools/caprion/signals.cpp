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

void watchSignals() {
  // What would come to the very thread that writes is an error of its write instead.
  std::signal(SIGXFSZ, SIG_IGN);
  brokenPipeEnds = isDefault(SIGPIPE);
  std::signal(SIGPIPE, SIG_IGN);

  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    if (isDefault(number)) ::sigaddset(&signals, number);  // nohup, for one, has them ignored
  }
  // No thread takes them but the one that waits for them, so that it may do whatever there is to do.
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  try {
    std::thread([signals] {
      int number = 0;
      if (::sigwait(&signals, &number) == 0) endBy(number);
    }).detach();
  } catch (const std::system_error&) {  // no thread to be had: the signals end the process by themselves
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  }
}

bool endsAtBrokenPipe() { return brokenPipeEnds; }

std::mutex& cleanEnd() {
  static auto* const mutex = new std::mutex;  // never destroyed: threads use it until the very end
  return *mutex;
}

void endBy(int signal) {
  const std::lock_guard lock(cleanEnd());
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
