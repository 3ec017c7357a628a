#include "get.hpp"

#include "finding.hpp"
#include "picking.hpp"
#include "placement.hpp"
#include "telling.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

// After so many videos in a row for which the service was out of reach, the rest isn't tried.
constexpr std::size_t cutOffsToEnd = 3;

/// The tasks of a run on their way through several threads: each takes one after the other, and the main
/// thread gets back those that are done.
class Queue {
 public:
  explicit Queue(std::vector<Task>& tasks) : tasks_(tasks) {}

  /// The next task; null when there is none, or the run is over.
  Task* take() {
    const std::lock_guard lock(mutex_);
    while (taken_ < tasks_.size() && !isOver_) {
      Task* const task = &tasks_[taken_++];
      if (task->isOpen()) return task;
      done_.push_back(task);  // there is nothing to do for most of a library
    }
    isSomethingDone_.notify_one();
    return nullptr;
  }

  /// Returns false when the service has been found to be out of reach.
  bool giveBack(Task* task) {
    const std::lock_guard lock(mutex_);
    if (task->hasAsked) cutOffs_ = task->isCutOff ? cutOffs_ + 1 : 0;
    isOver_ = isOver_ || cutOffs_ >= cutOffsToEnd;
    done_.push_back(task);
    isSomethingDone_.notify_one();
    return !isOver_;
  }

  /// What was done since the last call; waits for something, but not longer than so. Absent at the end.
  std::optional<std::vector<Task*>> done(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const bool isAtEnd = given_ == taken_ && (taken_ == tasks_.size() || isOver_);
    if (isAtEnd) return std::nullopt;
    isSomethingDone_.wait_for(lock, limit, [this] { return !done_.empty(); });
    given_ += done_.size();
    return std::exchange(done_, {});
  }

  /// From now on, there is no next task.
  void end() {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }

  std::size_t untaken() const { return tasks_.size() - taken_; }

 private:
  std::vector<Task>& tasks_;
  std::mutex mutex_;
  std::condition_variable isSomethingDone_;
  std::vector<Task*> done_;
  std::size_t taken_ = 0, given_ = 0, cutOffs_ = 0;
  bool isOver_ = false;
};

/// Takes care of the next task; false if there is none.
bool workOnNext(Finder& finder, Queue& queue) {
  Task* const task = queue.take();
  if (!task) return false;
  try {
    finder.find(*task);
  } catch (const std::exception& error) {
    for (Outcome& outcome : task->outcomes) {
      if (outcome.isOpen()) outcome.fail(Error("", 0, {}, error.what()));
    }
  }
  if (!queue.giveBack(task)) finder.giveUp();
  return true;
}

/// Starts as many threads as the system gives; throws std::system_error when that is none.
std::vector<std::jthread> startWorkers(std::size_t count, Finder& finder, Queue& queue) {
  std::vector<std::jthread> workers;
  try {
    while (workers.size() < count) {
      workers.emplace_back([&] {
        while (workOnNext(finder, queue)) continue;
      });
    }
  } catch (const std::system_error&) {
    if (workers.empty()) throw;
  }
  return workers;
}

}  // namespace

ExitStatus get(const Wish& wish, Output& output) {
  Folders folders;
  std::vector<Task> tasks = tasksFor(videosAt(wish.paths, wish.any, folders), wish, folders);
  Telling telling(wish, tasks, output);
  Queue queue(tasks);
  Picker picker;
  Finder finder(wish, wish.pick ? &picker : nullptr);
  {
    // Whoever picks is asked by this thread, about one video after the other.
    const auto open = static_cast<std::size_t>(
        std::count_if(tasks.begin(), tasks.end(), [](const Task& task) { return task.isOpen(); }));
    const std::size_t threads = wish.pick ? 0 : std::min(wish.videosAtATime, open);
    const auto workers = startWorkers(threads, finder, queue);
    Progress progress(output);
    for (;;) {
      if (picker.isOver()) queue.end();
      if (threads == 0) workOnNext(finder, queue);
      const auto done = queue.done(std::chrono::milliseconds(200));
      if (!done) break;
      if (!done->empty()) Progress::hide();
      for (const Task* const task : *done) telling.tell(*task);
      output.flush();
      if (progress.isVisible() && !wish.pick) progress.show(telling.progress(progress.width()));
    }
  }
  telling.tellSummary(queue.untaken());
  if (telling.has(Ending::failed)) return ExitStatus::failed;
  const bool isComplete = !telling.has(Ending::notFound) && !telling.has(Ending::declined);
  return isComplete ? ExitStatus::done : ExitStatus::nothingFound;
}

}  // namespace caprion::tool
