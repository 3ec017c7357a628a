#include "get.hpp"

#include "finding.hpp"
#include "picking.hpp"
#include "placement.hpp"
#include "run_report.hpp"

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

// After this many videos in a row for which the service was unreachable, the rest isn't tried.
constexpr std::size_t maxUnreachable = 3;

/// A work queue: worker threads take tasks, and the main thread collects those that are done.
class Queue {
 public:
  explicit Queue(std::vector<Task>& tasks) : tasks_(tasks) {}

  /// The next task; null if there is none, or the run is over.
  Task* take() {
    const std::lock_guard lock(mutex_);
    while (handedOut_ < tasks_.size() && !isOver_) {
      Task* const task = &tasks_[handedOut_++];
      if (task->isOpen()) return task;
      done_.push_back(task);  // all its subtitles are there already
    }
    taskDone_.notify_one();
    return nullptr;
  }

  /// Returns false if the service is considered unreachable.
  bool giveBack(Task* task) {
    const std::lock_guard lock(mutex_);
    if (task->hasQueried) unreachable_ = task->isUnreachable ? unreachable_ + 1 : 0;
    isOver_ = isOver_ || unreachable_ >= maxUnreachable;
    done_.push_back(task);
    taskDone_.notify_one();
    return !isOver_;
  }

  /// The tasks done since the last call; waits up to `limit` for one. Absent at the end.
  std::optional<std::vector<Task*>> done(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const bool isAtEnd = collected_ == handedOut_ && (handedOut_ == tasks_.size() || isOver_);
    if (isAtEnd) return std::nullopt;
    taskDone_.wait_for(lock, limit, [this] { return !done_.empty(); });
    collected_ += done_.size();
    return std::exchange(done_, {});
  }

  /// Hands out no further tasks.
  void end() {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }

  std::size_t remaining() const { return tasks_.size() - handedOut_; }

 private:
  std::vector<Task>& tasks_;
  std::mutex mutex_;
  std::condition_variable taskDone_;
  std::vector<Task*> done_;
  std::size_t handedOut_ = 0, collected_ = 0, unreachable_ = 0;
  bool isOver_ = false;
};

/// Processes the next task; false if there is none.
bool processNext(Finder& finder, Queue& queue) {
  Task* const task = queue.take();
  if (!task) return false;
  try {
    finder.find(*task);
  } catch (const std::exception& error) {
    for (Outcome& outcome : task->outcomes) {
      if (outcome.isOpen()) outcome.fail(Error("", 0, {}, error.what()));
    }
  }
  if (!queue.giveBack(task)) finder.stopRetrying();
  return true;
}

/// Starts up to `count` threads; throws std::system_error if not even one can be started.
std::vector<std::jthread> startWorkers(std::size_t count, Finder& finder, Queue& queue) {
  std::vector<std::jthread> workers;
  try {
    while (workers.size() < count) {
      workers.emplace_back([&] {
        while (processNext(finder, queue)) continue;
      });
    }
  } catch (const std::system_error&) {
    if (workers.empty()) throw;
  }
  return workers;
}

}  // namespace

ExitStatus get(const GetOptions& options, Output& output) {
  Folders folders;
  std::vector<Task> tasks = tasksFor(videosAt(options.paths, options.any, folders), options, folders);
  RunReport report(options, tasks, output);
  Queue queue(tasks);
  Picker picker;
  Finder finder(options, options.pick ? &picker : nullptr);
  {
    // With --pick, this thread does the work and asks, one video at a time.
    const auto open = static_cast<std::size_t>(
        std::count_if(tasks.begin(), tasks.end(), [](const Task& task) { return task.isOpen(); }));
    const std::size_t threads = options.pick ? 0 : std::min(options.videosAtATime, open);
    const auto workers = startWorkers(threads, finder, queue);
    Progress progress(output);
    for (;;) {
      if (picker.isOver()) queue.end();
      if (threads == 0) processNext(finder, queue);
      const auto done = queue.done(std::chrono::milliseconds(200));
      if (!done) break;
      if (!done->empty()) Progress::hide();
      for (const Task* const task : *done) report.print(*task);
      output.flush();
      if (progress.isVisible() && !options.pick) progress.show(report.progress(progress.width()));
    }
  }
  report.printSummary(queue.remaining());
  if (report.has(Ending::failed)) return ExitStatus::failed;
  const bool isComplete = !report.has(Ending::notFound) && !report.has(Ending::declined);
  return isComplete ? ExitStatus::done : ExitStatus::nothingFound;
}

}  // namespace caprion::tool
