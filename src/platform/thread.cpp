#include "platform/thread.hpp"

#include <pthread.h>

#include <csignal>
#include <system_error>
#include <utility>

namespace caprion {

std::optional<std::thread> startThread(const char* name, std::function<void()> body) noexcept {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&blocked, fault);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);  // inherited by the new thread
  std::optional<std::thread> thread;
  try {
    thread.emplace(std::move(body));
    pthread_setname_np(thread->native_handle(), name);
  } catch (const std::exception&) {
    thread.reset();
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace caprion
