#pragma once

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace caprion {

/// Starts a thread on which signals are blocked, so that the host's handlers run on the host's own threads;
/// only the faults of the thread itself (SIGSEGV and its like) get through to the host's crash handler.
/// Absent when the system has no thread, or no memory for one, to give.
std::optional<std::thread> startThread(const char* name, std::function<void()> body) noexcept;

/// Calls work(true) on a thread of its own; work(false) on the caller's, if the system has neither a thread
/// nor the memory for one to give.
template <typename Work>
void runInBackground(Work work) noexcept {
  void* const memory = ::operator new(sizeof(Work), std::nothrow);
  if (memory == nullptr) return work(false);
  std::unique_ptr<Work> kept(new (memory) Work(std::move(work)));
  auto thread = startThread("caprion", [kept = kept.get()] { (*std::unique_ptr<Work>(kept))(true); });
  if (!thread) return (*kept)(false);
  (void)kept.release();
  thread->detach();
}

}  // namespace caprion
