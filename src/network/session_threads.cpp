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

constexpr std::size_t minThreads = 2;
constexpr std::size_t softMaxThreads = 5;
constexpr std::size_t maxThreadsToAdd = 4;
constexpr std::chrono::seconds idleLimit{10};
constexpr std::chrono::minutes longestWait{1};
/// How long completions may wait with none finishing before threads are added.
constexpr std::chrono::milliseconds stuckAfter{10};
constexpr std::chrono::milliseconds stopLimit{200};

/// In static TLS: if lazily allocated TLS runs out of memory, glibc aborts the process.
[[gnu::tls_model("initial-exec")]] thread_local bool isRunningCompletion = false;

}  // namespace

bool SessionThreads::start() noexcept {
  const Lock lock(mutex_);
  while (threads_.size() < minThreads) {
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
    lastCheck_ = Clock::now();
    doneAtLastCheck_ = done_;
  }
  waiting_.push_back(completion);
  if (waiting_.size() > idle_ && threads_.size() < softMaxThreads) addThread();
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
  // A finished thread may still be running OpenSSL's thread-local cleanup.
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
  } catch (const std::bad_alloc&) {  // do with one thread fewer
  }
  return false;
}

/// Whether an idle thread has something to do.
bool SessionThreads::isNeeded() const {
  return isStopping_ || !waiting_.empty() || (hasWork_ && !hasDriver());
}

void SessionThreads::run(Threads::iterator self) noexcept {
  Threads finished;
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
        if (!isNeeded() && threads_.size() > minThreads && (hasDriver() || idle_ > 0)) break;
      }
    }
    finished.swap(ended_);
    ended_.splice(ended_.end(), threads_, self);
  }
  // Without the mutex: destructors of a host's thread-local objects may call the library.
  for (std::thread& thread : finished) thread.join();
}

/// Drives until there is a completion to run and another thread free to drive, or nothing left to do.
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
    const auto longest = waiting_.empty() ? std::chrono::milliseconds(longestWait) : stuckAfter;
    mutex_.unlock();
    work_.wait(longest);
    mutex_.lock();
  }
  driver_ = std::thread::id();
  if (isStopping_) changed_.notifyAll();
}

/// Adds threads when no completion has finished for a while.
void SessionThreads::growIfStuck() {
  const auto time = Clock::now();
  if (waiting_.empty() || time - lastCheck_ < stuckAfter) return;
  if (done_ != doneAtLastCheck_ || idle_ > 0) {
    threadsToAdd_ = 1;
  } else {
    for (std::size_t i = 0; i < threadsToAdd_; ++i) addThread();
    threadsToAdd_ = std::min(threadsToAdd_ * 2, maxThreadsToAdd);
  }
  doneAtLastCheck_ = done_;
  lastCheck_ = time;
}

void SessionThreads::runCompletion() {
  SessionCompletion& completion = waiting_.front();
  waiting_.pop_front();
  ++running_;
  const bool isNoLongerFull = waiting_.size() == backlogLimit_;
  const bool isAnotherNeeded = !hasDriver() && (hasWork_ || !waiting_.empty());
  mutex_.unlock();
  if (isAnotherNeeded) changed_.notifyOne();
  if (isNoLongerFull) work_.wake();
  isRunningCompletion = true;
  completion.run();
  isRunningCompletion = false;
  mutex_.lock();
  --running_;
  ++done_;
  if (isStopping_) changed_.notifyAll();
}

}  // namespace caprion
