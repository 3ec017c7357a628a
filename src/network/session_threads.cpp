#include "network/session_threads.hpp"

#include "platform/thread.hpp"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace caprion {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t fewestThreads = 2;
constexpr std::size_t usualThreads = 5;
constexpr std::size_t mostThreadsToAdd = 4;
constexpr std::chrono::seconds idleLimit{10};
constexpr std::chrono::minutes longestWait{1};
/// How long completions may wait without one getting on before threads are added.
constexpr std::chrono::milliseconds patience{10};
constexpr std::chrono::milliseconds stopLimit{200};

/// In the memory that a thread has from its start: the system ends a process that hasn't got any more to give
/// for a variable of a thread.
[[gnu::tls_model("initial-exec")]] thread_local bool isRunningCompletion = false;

}  // namespace

bool SessionThreads::start() noexcept {
  const Lock lock(mutex_);
  while (threads_.size() < fewestThreads) {
    if (!addThread()) return false;
  }
  return true;
}

void SessionThreads::drive() noexcept {
  mutex_.lock();
  hasWork_ = true;
  const bool isDriven = hasDriver();
  mutex_.unlock();
  isDriven ? work_.wake() : changed_.notifyOne();
}

void SessionThreads::complete(SessionCompletion& completion) noexcept {
  const Lock lock(mutex_);
  if (waiting_.empty()) {
    looked_ = Clock::now();
    doneWhenLooked_ = done_;
  }
  waiting_.push_back(completion);
  if (waiting_.size() > idle_ && threads_.size() < usualThreads) addThread();
}

bool SessionThreads::isFull() const noexcept {
  const Lock lock(mutex_);
  return waiting_.size() > backlogLimit_;
}

void SessionThreads::stop() noexcept {
  const Lock lock(mutex_);
  isStopping_ = true;
  changed_.notifyAll();
  work_.wake();
  const std::size_t own = isRunningCompletion ? 1 : 0;  // exit() may be called by a completion
  const auto end = Clock::now() + stopLimit;
  while ((hasDriver() || running_ > own) && changed_.waitUntil(mutex_, end)) continue;
  // A thread that has ended may still be about to clean up what OpenSSL keeps for it.
  for (std::thread& thread : ended_) {
    while (::pthread_tryjoin_np(thread.native_handle(), nullptr) == EBUSY && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
}

bool SessionThreads::addThread() noexcept {
  try {
    const auto self = threads_.emplace(threads_.end());
    if (auto thread = startThread("caprion", [this, self] { run(self); })) {
      *self = std::move(*thread);
      return true;
    }
    threads_.erase(self);
  } catch (const std::bad_alloc&) {  // one thread fewer, as when the system has none to give
  }
  return false;
}

/// Whether there is something to do for a thread that does nothing.
bool SessionThreads::isNeeded() const {
  return isStopping_ || !waiting_.empty() || (hasWork_ && !hasDriver());
}

void SessionThreads::run(Threads::iterator self) noexcept {
  Threads before;
  {
    const Lock lock(mutex_);
    while (true) {
      if (isStopping_) {
        changed_.wait(mutex_);
      } else if (!waiting_.empty() && (hasDriver() || idle_ > 0)) {
        runCompletion();
      } else if (!hasDriver() && (hasWork_ || !waiting_.empty())) {
        driveHere();
      } else {
        ++idle_;
        const auto end = Clock::now() + idleLimit;
        while (!isNeeded() && changed_.waitUntil(mutex_, end)) continue;
        --idle_;
        if (!isNeeded() && threads_.size() > fewestThreads && (hasDriver() || idle_ > 0)) break;
      }
    }
    before.swap(ended_);
    ended_.splice(ended_.end(), threads_, self);
  }
  // Without the mutex, as a host's thread-local objects may use the library when their thread ends.
  for (std::thread& thread : before) thread.join();
}

/// Drives until there is a completion to run and somebody else to drive, or until there is nothing to do.
void SessionThreads::driveHere() {
  driver_ = std::this_thread::get_id();
  while (!isStopping_) {
    hasWork_ = false;
    mutex_.unlock();
    const bool hasMore = work_.perform();
    mutex_.lock();
    hasWork_ = hasWork_ || hasMore;
    growIfStuck();
    if (waiting_.empty() ? !hasWork_ : idle_ > 0) break;
    const auto longest = waiting_.empty() ? std::chrono::milliseconds(longestWait) : patience;
    mutex_.unlock();
    work_.wait(longest);
    mutex_.lock();
  }
  driver_ = std::thread::id();
  if (isStopping_) changed_.notifyAll();
}

/// Adds threads when no completion has got on for a while.
void SessionThreads::growIfStuck() {
  const auto time = Clock::now();
  if (waiting_.empty() || time - looked_ < patience) return;
  if (done_ != doneWhenLooked_ || idle_ > 0) {
    threadsToAdd_ = 1;
  } else {
    for (std::size_t i = 0; i < threadsToAdd_; ++i) addThread();
    threadsToAdd_ = std::min(threadsToAdd_ * 2, mostThreadsToAdd);
  }
  doneWhenLooked_ = done_;
  looked_ = time;
}

void SessionThreads::runCompletion() {
  SessionCompletion& completion = waiting_.front();
  waiting_.pop_front();
  ++running_;
  const bool isRelieved = waiting_.size() == backlogLimit_;
  const bool isAnotherNeeded = !hasDriver() && (hasWork_ || !waiting_.empty());
  mutex_.unlock();
  if (isAnotherNeeded) changed_.notifyOne();
  if (isRelieved) work_.wake();
  isRunningCompletion = true;
  completion.run();
  isRunningCompletion = false;
  mutex_.lock();
  --running_;
  ++done_;
  if (isStopping_) changed_.notifyAll();
}

}  // namespace caprion
