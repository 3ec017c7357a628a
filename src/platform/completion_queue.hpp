#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace caprion {

/// The background queue on which completions run, several at once. Completions are the host's code and may
/// block on one another, so a queue that makes no progress gets more threads each time that tend() finds it
/// so, as many as it takes; one that moves stays at a few. Threads that have nothing to do for a while end.
class CompletionQueue {
 public:
  /// How long a waiting completion may see no progress before a thread is added.
  static constexpr std::chrono::milliseconds patience{10};

  /// `relieved` is called, on any thread, each time the backlog has gone down to `backlogLimit`.
  CompletionQueue(std::size_t backlogLimit, std::function<void()> relieved);

  /// Makes sure that there is a thread; false when the system has none to give.
  bool start();

  void add(std::function<void()> work);

  /// Whether more completions wait than the limit allows.
  bool isFull() const;

  /// To be called about every `patience` as long as it returns true, which means that completions wait.
  bool tend();

  /// Starts no further completion, and gives those that run a moment to end.
  void stop();

 private:
  bool addThread();
  void run();

  const std::size_t backlogLimit_;
  const std::function<void()> relieved_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  std::size_t threads_ = 0;
  std::size_t idle_ = 0;
  std::size_t running_ = 0;
  std::size_t done_ = 0;  // completions that have run so far
  std::size_t doneAtTending_ = 0;
  std::size_t threadsToAdd_ = 1;  // the next time that no completion gets on
  std::chrono::steady_clock::time_point tended_;
  bool stopping_ = false;
};

}  // namespace caprion
