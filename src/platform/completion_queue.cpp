#include "platform/completion_queue.hpp"

#include "platform/thread.hpp"

#include <algorithm>
#include <utility>

namespace caprion {

namespace {

constexpr std::size_t usualThreads = 4;
constexpr std::size_t mostThreadsToAdd = 4;
constexpr std::chrono::seconds idleLimit{10};
constexpr std::chrono::milliseconds stopLimit{200};

thread_local bool isCompletionThread = false;

}  // namespace

CompletionQueue::CompletionQueue(std::size_t backlogLimit, std::function<void()> relieved)
    : backlogLimit_(backlogLimit), relieved_(std::move(relieved)) {}

bool CompletionQueue::start() {
  std::lock_guard lock(mutex_);
  return threads_ > 0 || addThread();
}

void CompletionQueue::add(std::function<void()> work) {
  std::lock_guard lock(mutex_);
  if (waiting_.empty()) {
    tended_ = std::chrono::steady_clock::now();
    doneAtTending_ = done_;
  }
  waiting_.push_back(std::move(work));
  if (waiting_.size() > idle_ && threads_ < usualThreads) addThread();
  changed_.notify_one();
}

bool CompletionQueue::isFull() const {
  std::lock_guard lock(mutex_);
  return waiting_.size() > backlogLimit_;
}

bool CompletionQueue::tend() {
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

void CompletionQueue::stop() {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
  const std::size_t own = isCompletionThread ? 1 : 0;  // exit() may be called by a completion
  changed_.wait_for(lock, stopLimit, [&] { return running_ <= own; });
}

bool CompletionQueue::addThread() {
  auto thread = startThread("caprion-done", [this] { run(); });
  if (!thread) return false;
  thread->detach();
  ++threads_;
  return true;
}

void CompletionQueue::run() {
  isCompletionThread = true;
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (waiting_.empty()) {
      ++idle_;
      const bool woken = changed_.wait_for(lock, idleLimit, [&] { return !waiting_.empty() || stopping_; });
      --idle_;
      if (!woken && threads_ > 1) break;
      continue;
    }
    auto work = std::move(waiting_.front());
    waiting_.pop_front();
    ++running_;
    const bool relieved = waiting_.size() == backlogLimit_;
    lock.unlock();
    if (relieved) relieved_();
    work();
    work = nullptr;
    lock.lock();
    --running_;
    ++done_;
    if (stopping_) changed_.notify_all();
  }
  --threads_;
}

}  // namespace caprion
