#include "network/session_threads.hpp"

#include "platform/thread.hpp"

#include <algorithm>
#include <utility>

namespace caprion {

namespace {

constexpr std::size_t fewestThreads = 2;
constexpr std::size_t usualThreads = 5;
constexpr std::size_t mostThreadsToAdd = 4;
constexpr std::chrono::seconds idleLimit{10};
constexpr std::chrono::minutes longestWait{1};
/// How long completions may wait without one getting on before threads are added.
constexpr std::chrono::milliseconds patience{10};
constexpr std::chrono::milliseconds stopLimit{200};

thread_local bool isRunningCompletion = false;

}  // namespace

bool SessionThreads::start() {
  const std::lock_guard lock(mutex_);
  while (threads_.size() < fewestThreads) {
    if (!addThread()) return false;
  }
  return true;
}

void SessionThreads::drive() {
  std::unique_lock lock(mutex_);
  hasWork_ = true;
  if (hasDriver()) {
    lock.unlock();
    work_.wake();
  } else {
    lock.unlock();
    changed_.notify_one();
  }
}

void SessionThreads::complete(std::function<void()> completion) {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) {
    looked_ = std::chrono::steady_clock::now();
    doneWhenLooked_ = done_;
  }
  waiting_.push_back(std::move(completion));
  if (waiting_.size() > idle_ && threads_.size() < usualThreads) addThread();
}

bool SessionThreads::isFull() const {
  const std::lock_guard lock(mutex_);
  return waiting_.size() > backlogLimit_;
}

void SessionThreads::stop() {
  std::unique_lock lock(mutex_);
  isStopping_ = true;
  changed_.notify_all();
  work_.wake();
  changed_.wait(lock, [&] { return !hasDriver(); });
  const std::size_t own = isRunningCompletion ? 1 : 0;  // exit() may be called by a completion
  changed_.wait_for(lock, stopLimit, [&] { return running_ <= own; });
  joinEnded();
}

bool SessionThreads::addThread() {
  const auto self = threads_.emplace(threads_.end());
  auto thread = startThread("caprion", [this, self] { run(self); });
  if (!thread) {
    threads_.erase(self);
    return false;
  }
  *self = std::move(*thread);
  return true;
}

void SessionThreads::run(Threads::iterator self) {
  std::unique_lock lock(mutex_);
  while (true) {
    if (isStopping_) {
      changed_.wait(lock);
    } else if (!waiting_.empty() && (hasDriver() || idle_ > 0)) {
      runCompletion(lock);
    } else if (!hasDriver() && (hasWork_ || !waiting_.empty())) {
      drive(lock);
    } else {
      ++idle_;
      const bool isNeeded = changed_.wait_for(
          lock, idleLimit, [&] { return isStopping_ || !waiting_.empty() || (hasWork_ && !hasDriver()); });
      --idle_;
      if (!isNeeded && threads_.size() > fewestThreads && (hasDriver() || idle_ > 0)) break;
    }
  }
  // Whoever is next to end, or the stop, waits until this thread is gone with all that OpenSSL keeps for it.
  joinEnded();
  ended_.splice(ended_.end(), threads_, self);
}

/// Drives until there is a completion to run and somebody else to drive, or until there is nothing to do.
void SessionThreads::drive(std::unique_lock<std::mutex>& lock) {
  driver_ = std::this_thread::get_id();
  while (!isStopping_) {
    hasWork_ = false;
    lock.unlock();
    const bool hasMore = work_.perform();
    lock.lock();
    hasWork_ = hasWork_ || hasMore;
    growIfStuck();
    if (waiting_.empty() ? !hasWork_ : idle_ > 0) break;
    const auto longest = waiting_.empty() ? longestWait : patience;
    lock.unlock();
    work_.wait(longest);
    lock.lock();
  }
  driver_ = std::thread::id();
  if (isStopping_) changed_.notify_all();
}

/// Adds threads when no completion has got on for a while.
void SessionThreads::growIfStuck() {
  const auto now = std::chrono::steady_clock::now();
  if (waiting_.empty() || now - looked_ < patience) return;
  if (done_ != doneWhenLooked_ || idle_ > 0) {
    threadsToAdd_ = 1;
  } else {
    for (std::size_t i = 0; i < threadsToAdd_; ++i) addThread();
    threadsToAdd_ = std::min(threadsToAdd_ * 2, mostThreadsToAdd);
  }
  doneWhenLooked_ = done_;
  looked_ = now;
}

void SessionThreads::runCompletion(std::unique_lock<std::mutex>& lock) {
  auto completion = std::move(waiting_.front());
  waiting_.pop_front();
  ++running_;
  const bool isRelieved = waiting_.size() == backlogLimit_;
  const bool isAnotherNeeded = !hasDriver() && (hasWork_ || !waiting_.empty());
  lock.unlock();
  if (isAnotherNeeded) changed_.notify_one();
  if (isRelieved) work_.wake();
  isRunningCompletion = true;
  completion();
  completion = nullptr;
  isRunningCompletion = false;
  lock.lock();
  --running_;
  ++done_;
  if (isStopping_) changed_.notify_all();
}

void SessionThreads::joinEnded() {
  for (std::thread& thread : ended_) thread.join();
  ended_.clear();
}

}  // namespace caprion
