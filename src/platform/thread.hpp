#pragma once

#include <functional>
#include <optional>
#include <thread>

namespace caprion {

/// Starts a thread on which signals are blocked, so that the host's handlers run on the host's own threads;
/// only the faults of the thread itself (SIGSEGV and its like) get through to the host's crash handler.
/// Absent when the system has no thread to give.
std::optional<std::thread> startThread(const char* name, std::function<void()> body) noexcept;

/// Runs the work on a thread of its own; on the caller's if the system has no other to give.
void runInBackground(const std::function<void()>& work) noexcept;

}  // namespace caprion
