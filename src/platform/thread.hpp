#pragma once

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace caprion {

/// Starts a thread with all signals blocked except synchronous ones (SIGSEGV and the like), so that the
/// host's handlers run on its own threads, but its crash handler works. Absent if there isn't a thread, or
/// the memory for one.
std::optional<std::thread> startThread(const char* name, std::function<void()> body) noexcept;

/// Calls work(true) on a new thread, or work(false) on the caller's if none can be started.
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
