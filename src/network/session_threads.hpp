#pragma once

#include "platform/mutex.hpp"

#include <boost/intrusive/slist.hpp>

#include <chrono>
#include <cstddef>
#include <list>
#include <thread>

namespace caprion {

/// What a session's thread runs when an exchange has ended. Waits for its turn without any memory of its own.
class SessionCompletion : public boost::intrusive::slist_base_hook<> {
 public:
  virtual void run() noexcept = 0;

 protected:
  ~SessionCompletion() = default;
};

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
  bool start() noexcept;

  /// Has the work performed soon.
  void drive() noexcept;

  /// Runs a completion soon, which has to be there until it has run. Called by the driver.
  void complete(SessionCompletion& completion) noexcept;

  /// Whether more completions wait than the limit allows. When they don't any more, the work is performed.
  bool isFull() const noexcept;

  /// Ends the driving, starts no further completion, and gives the driver and the completions that run a
  /// moment to end. The threads that are left do nothing more until the process ends.
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
  Threads ended_ CAPRION_GUARDED_BY(mutex_);  // to be joined by the next to end, or the stop
  std::size_t idle_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::thread::id driver_ CAPRION_GUARDED_BY(mutex_);
  bool hasWork_ CAPRION_GUARDED_BY(mutex_) = false;
  Completions waiting_ CAPRION_GUARDED_BY(mutex_);
  std::size_t running_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::size_t done_ CAPRION_GUARDED_BY(mutex_) = 0;  // completions that have run so far
  // At the last look at how the completions get on:
  Time looked_ CAPRION_GUARDED_BY(mutex_);
  std::size_t doneWhenLooked_ CAPRION_GUARDED_BY(mutex_) = 0;
  std::size_t threadsToAdd_ CAPRION_GUARDED_BY(mutex_) = 1;  // when the next look finds them stuck
  bool isStopping_ CAPRION_GUARDED_BY(mutex_) = false;
};

}  // namespace caprion
