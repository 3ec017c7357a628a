#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace caprion {

/// The session's threads, as leader and followers: one at a time drives the exchanges. When one has ended,
/// the driver hands the driving on to another thread and runs the completion itself, so that an answer is not
/// held up by a change of threads.
///
/// Completions are the host's code and may block on one another. When none of them gets on while others wait,
/// there are more threads each time that tend() finds it so, as many as it takes; usually there are a few.
/// Threads that have nothing to do for a while end.
class SessionThreads {
 public:
  /// How long a waiting completion may see no progress before a thread is added.
  static constexpr std::chrono::milliseconds patience{10};

  /// `drive` waits for something to do for the exchanges, does it, and calls complete() for those that have
  /// ended. It runs on one thread at a time, again and again, and runs none of the host's code. `wake` ends
  /// its wait, on any thread: when the completions that wait have come down to `backlogLimit`, when one is
  /// added by somebody else, and for the stop.
  SessionThreads(std::size_t backlogLimit, std::function<void()> drive, std::function<void()> wake);

  /// Makes sure that completions can be run; false when the system has no thread to give.
  bool start();

  /// Makes sure that there is a driver, and another thread for the completions; false when the system hasn't
  /// these threads to give.
  bool startDriving();

  /// Runs the completion soon.
  void complete(std::function<void()> completion);

  /// Whether more completions wait than the limit allows.
  bool isFull() const;

  /// To be called about every `patience` as long as it returns true, which means that completions wait.
  bool tend();

  /// Ends the driving, starts no further completion, and gives those that run a moment to end. The threads
  /// that are left do nothing more until the process ends.
  void stop();

 private:
  using Threads = std::list<std::thread>;

  bool addThread();
  void run(Threads::iterator self);
  void drive(std::unique_lock<std::mutex>& lock);
  void runCompletion(std::unique_lock<std::mutex>& lock);
  void joinEnded();

  const std::size_t backlogLimit_;
  const std::function<void()> drive_;
  const std::function<void()> wake_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  Threads threads_;
  Threads ended_;  // to be joined
  bool isDriving_ = false;
  std::thread::id driver_;
  std::size_t idle_ = 0;
  std::size_t running_ = 0;
  std::size_t done_ = 0;  // completions that have run so far
  std::size_t doneAtTending_ = 0;
  std::size_t threadsToAdd_ = 1;  // the next time that no completion gets on
  std::chrono::steady_clock::time_point tended_;
  bool isStopping_ = false;
};

}  // namespace caprion
