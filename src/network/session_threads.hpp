#pragma once

#include "platform/mutex.hpp"

#include <boost/intrusive/slist.hpp>

#include <chrono>
#include <cstddef>
#include <list>
#include <thread>

namespace caprion {

/// What a thread runs when an exchange has ended. An intrusive list node, so that queueing it needs no
/// memory.
class SessionCompletion : public boost::intrusive::slist_base_hook<> {
 public:
  virtual void run() noexcept = 0;

 protected:
  ~SessionCompletion() = default;
};

/// The event loop of a session, run by one thread at a time, the driver.
class SessionWork {
 public:
  /// One pass: does what is due, and hands the completions of ended tasks to SessionThreads::complete.
  /// Returns whether exchanges are left. Runs none of the host's code.
  virtual bool perform() = 0;

  /// Waits until an exchange has something to do, or for `longest`.
  virtual void wait(std::chrono::milliseconds longest) = 0;

  /// Ends the current wait, or else the next one. Called on any thread.
  virtual void wake() = 0;

 protected:
  ~SessionWork() = default;
};

/// A session's threads, in the leader/follower pattern: one at a time, the driver, runs the event loop. When
/// an exchange ends, the driver passes that role to another thread and runs the completion itself, which
/// saves a context switch. While there are no exchanges, no thread drives.
///
/// Completions are the host's code and may block on one another. One thread is always kept free for driving.
/// Threads are added while completions wait and none finishes; threads that stay idle end.
class SessionThreads {
 public:
  SessionThreads(SessionWork& work, std::size_t backlogLimit) : work_(work), backlogLimit_(backlogLimit) {}

  /// Starts the minimum number of threads; false if the system refuses.
  bool start() noexcept;

  /// Requests a pass of the event loop.
  void drive() noexcept;

  /// Queues a completion, which must stay alive until it has run. Called by the driver.
  void complete(SessionCompletion& completion) noexcept;

  /// Whether more than `backlogLimit` completions wait. When that is no longer so, the event loop is woken
  /// up.
  bool isFull() const noexcept;

  /// Stops the event loop, starts no further completions, and waits briefly for the driver and the running
  /// completions. The remaining threads then sleep until the process ends.
  void stop() noexcept;

 private:
  using Threads = std::list<std::thread>;
  using Completions = boost::intrusive::slist<SessionCompletion, boost::intrusive::cache_last<true>>;
  using Time = std::chrono::steady_clock::time_point;

  bool addThread() noexcept CAPRION_REQUIRES(mutex_);
  void run(Threads::iterator self) noexcept;
  bool hasDriver() const CAPRION_REQUIRES(mutex_) { return driver_ != std::thread::id(); }
  bool isNeeded() const CAPRION_REQUIRES(mutex_);
  void driveHere() CAPRION_REQUIRES(mutex_);
  void growIfStuck() CAPRION_REQUIRES(mutex_);
  void runCompletion() CAPRION_REQUIRES(mutex_);

  SessionWork& work_;
  const std::size_t backlogLimit_;
  mutable Mutex mutex_{MutexLevel::threads};
  Condition changed_;
  Threads threads_ CAPRION_GUARDED_BY(mutex_);
  Threads ended_ CAPRION_GUARDED_BY(mutex_);  // to be joined by the next thread that ends, or by stop()
  std::size_t idle_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::thread::id driver_ CAPRION_GUARDED_BY(mutex_);
  bool hasWork_ CAPRION_GUARDED_BY(mutex_) = false;
  Completions waiting_ CAPRION_GUARDED_BY(mutex_);
  std::size_t running_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::size_t done_ CAPRION_GUARDED_BY(mutex_) = 0;  // completions run so far
  // At the last check for stuck completions:
  Time lastCheck_ CAPRION_GUARDED_BY(mutex_);
  std::size_t doneAtLastCheck_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::size_t threadsToAdd_ CAPRION_GUARDED_BY(mutex_) = 1;  // at the next check that finds them stuck
  bool isStopping_ CAPRION_GUARDED_BY(mutex_) = false;
};

}  // namespace caprion
