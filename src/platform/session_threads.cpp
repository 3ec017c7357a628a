#include "platform/session_threads.hpp"

#include "platform/thread.hpp"

#include <algorithm>
#include <utility>

namespace caprion {

namespace {

constexpr std::size_t usualThreads = 5;
constexpr std::size_t fewestThreads = 2;
constexpr std::size_t mostThreadsToAdd = 4;
constexpr std::chrono::seconds idleLimit{10};
constexpr std::chrono::milliseconds stopLimit{200};

thread_local bool isRunningCompletion = false;

}  // namespace

SessionThreads::SessionThreads(std::size_t backlogLimit, std::function<void()> drive,
                               std::function<void()> wake)
    : backlogLimit_(backlogLimit), drive_(std::move(drive)), wake_(std::move(wake)) {}

bool SessionThreads::start() {
  std::lock_guard lock(mutex_);
  return !threads_.empty() || addThread();
}

bool SessionThreads::startDriving() {
  std::lock_guard lock(mutex_);
  while (threads_.size() < fewestThreads) {
    if (!addThread()) return false;
  }
  isDriving_ = true;
  changed_.notify_one();
  return true;
}

void SessionThreads::complete(std::function<void()> completion) {
  std::lock_guard lock(mutex_);
  if (waiting_.empty()) {
    tended_ = std::chrono::steady_clock::now();
    doneAtTending_ = done_;
  }
  waiting_.push_back(std::move(completion));
  if (waiting_.size() > idle_ && threads_.size() < usualThreads) addThread();
  if (driver_ != std::this_thread::get_id()) {  // which sees to what it has added
    changed_.notify_one();
    if (isDriving_) wake_();
  }
}

bool SessionThreads::isFull() const {
  std::lock_guard lock(mutex_);
  return waiting_.size() > backlogLimit_;
}

bool SessionThreads::tend() {
  std::lock_guard lock(mutex_);
  if (waiting_.empty()) return false;
  const auto now = std::chrono::steady_clock::now();
  if (now - tended_ >= patience) {
    if (done_ != doneAtTending_ || idle_ > 0) {
      threadsToAdd_ = 1;
    } else {
      for (std::size_t i = 0; i < threadsToAdd_; ++i) addThread();
      threadsToAdd_ = std::min(threadsToAdd_ * 2, mostThreadsToAdd);
    }
    doneAtTending_ = done_;
    tended_ = now;
  }
  return true;
}

void SessionThreads::stop() {
  std::unique_lock lock(mutex_);
  isStopping_ = true;
  changed_.notify_all();
  wake_();
  changed_.wait(lock, [&] { return driver_ == std::thread::id(); });
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
  const auto driverIsMissing = [&] { return isDriving_ && driver_ == std::thread::id(); };
  while (true) {
    if (isStopping_) {
      changed_.wait(lock);
    } else if (driverIsMissing()) {
      drive(lock);
    } else if (!waiting_.empty()) {
      runCompletion(lock);
    } else {
      ++idle_;
      const bool isNeeded = changed_.wait_for(
          lock, idleLimit, [&] { return isStopping_ || driverIsMissing() || !waiting_.empty(); });
      --idle_;
      if (!isNeeded && threads_.size() > fewestThreads) break;
    }
  }
  // Whoever is next to end, or the stop, waits until this thread is gone with all that OpenSSL keeps for it.
  joinEnded();
  ended_.splice(ended_.end(), threads_, self);
}

/// Drives until there is a completion to run, and somebody else to drive meanwhile.
void SessionThreads::drive(std::unique_lock<std::mutex>& lock) {
  driver_ = std::this_thread::get_id();
  while (!isStopping_ && (waiting_.empty() || idle_ == 0)) {
    lock.unlock();
    drive_();
    lock.lock();
  }
  driver_ = std::thread::id();
  if (isStopping_) {
    changed_.notify_all();
  } else {
    changed_.notify_one();
    runCompletion(lock);
  }
}

void SessionThreads::runCompletion(std::unique_lock<std::mutex>& lock) {
  auto completion = std::move(waiting_.front());
  waiting_.pop_front();
  ++running_;
  if (isDriving_ && waiting_.size() == backlogLimit_) wake_();
  lock.unlock();
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
