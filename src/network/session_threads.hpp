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

/// What a session does with its exchanges, on one thread at a time, which is then its driver.
class SessionWork {
 public:
  /// Does what there is to be done, and hands the completions of what has ended to SessionThreads::complete.
  /// Returns whether there are exchanges left to wait for. Runs none of the host's code.
  virtual bool perform() = 0;

  /// Waits until there is something to be done for an exchange, but no longer than this.
  virtual void wait(std::chrono::milliseconds longest) = 0;

  /// Ends the wait that is under way, or else the next one. Called on any thread.
  virtual void wake() = 0;

 protected:
  ~SessionWork() = default;
};

/// A session's threads, as leader and followers: one at a time drives the exchanges. When one has ended, the
/// driver leaves the driving to another thread and runs the completion itself, so that no answer is held up
/// by a change of threads. While there are no exchanges, nobody drives.
///
/// Completions are the host's code and may block on one another. One thread never runs them, so that there is
/// always one to drive. When none of the completions gets on while others wait, threads are added, as many as
/// it takes; usually there are a few. Threads that have nothing to do for a while end.
class SessionThreads {
 public:
  SessionThreads(SessionWork& work, std::size_t backlogLimit) : work_(work), backlogLimit_(backlogLimit) {}

  /// Makes sure that there are the threads it takes; false when the system hasn't got them to give.
  bool start();

  /// Has the work performed soon.
  void drive();

  /// Runs a completion soon. Called by the driver.
  void complete(std::function<void()> completion);

  /// Whether more completions wait than the limit allows. When they don't any more, the work is performed.
  bool isFull() const;

  /// Ends the driving, starts no further completion, and gives those that run a moment to end. The threads
  /// that are left do nothing more until the process ends.
  void stop();

 private:
  using Threads = std::list<std::thread>;

  bool addThread();
  void run(Threads::iterator self);
  bool hasDriver() const { return driver_ != std::thread::id(); }
  void drive(std::unique_lock<std::mutex>& lock);
  void growIfStuck();
  void runCompletion(std::unique_lock<std::mutex>& lock);
  void joinEnded();

  SessionWork& work_;
  const std::size_t backlogLimit_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Threads threads_;
  Threads ended_;  // to be joined
  std::size_t idle_ = 0;
  std::thread::id driver_;
  bool hasWork_ = false;
  std::deque<std::function<void()>> waiting_;
  std::size_t running_ = 0;
  std::size_t done_ = 0;  // completions that have run so far
  // At the last look at how the completions get on:
  std::chrono::steady_clock::time_point looked_;
  std::size_t doneWhenLooked_ = 0;
  std::size_t threadsToAdd_ = 1;  // when the next look finds them stuck
  bool isStopping_ = false;
};

}  // namespace caprion
