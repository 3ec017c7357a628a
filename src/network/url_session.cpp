#include "network/url_session.hpp"

#include "network/exchanges.hpp"
#include "network/session_task.hpp"
#include "network/session_threads.hpp"
#include "network/transport_error.hpp"
#include "platform/error.hpp"
#include "platform/made_once.hpp"
#include "platform/mutex.hpp"
#include "platform/thread.hpp"

#include <curl/curl.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace caprion {

namespace {

/// How many finished tasks may wait for a thread before no new exchanges are started: bounds the memory when
/// answers arrive faster than the host's completions process them.
constexpr std::size_t backlogLimit = 16;

constinit Mutex latestTasks(MutexLevel::leaf);

/// libcurl writes TLS session keys to the file that SSLKEYLOGFILE names, even in a set-uid program.
bool wouldLogTLSKeys() { return ::getauxval(AT_SECURE) != 0 && std::getenv("SSLKEYLOGFILE") != nullptr; }

}  // namespace

/// Accepts tasks, starts the threads on demand, and stops them at exit.
class URLSession::Impl final : public TaskIntake {
 public:
  void submit(SessionTask& task, Command command) noexcept override;
  std::optional<Pending> next() noexcept override;

 private:
  std::optional<Error> start() CAPRION_REQUIRES(mutex_);
  void stop() noexcept;
  bool isInChild() const CAPRION_REQUIRES(mutex_) { return process_ != 0 && process_ != ::getpid(); }

  Mutex mutex_{MutexLevel::intake};
  std::shared_ptr<SessionTask> first_
      CAPRION_GUARDED_BY(mutex_);  // head of the list of tasks with pending commands
  SessionTask* last_ CAPRION_GUARDED_BY(mutex_) = nullptr;
  pid_t process_ CAPRION_GUARDED_BY(mutex_) = 0;  // in which the session was first used
  bool isRunning_ CAPRION_GUARDED_BY(mutex_) = false;
  bool stopsAtExit_ CAPRION_GUARDED_BY(mutex_) = false;
  bool isStopping_ CAPRION_GUARDED_BY(mutex_) = false;
  SessionThreads threads_{exchanges_, backlogLimit};
  Exchanges exchanges_{*this, threads_};
};

std::shared_ptr<URLSessionTask> LatestTask::exchange(std::shared_ptr<URLSessionTask> task) {
  const Lock lock(latestTasks);
  return std::exchange(task_, std::move(task));
}

void LatestTask::cancel() noexcept {
  std::shared_ptr<URLSessionTask> task;
  {
    const Lock lock(latestTasks);
    task = task_;
  }
  if (task) task->cancel();
}

URLSession& URLSession::shared() {
  struct Made {
    URLSession session;
  };
  static constinit MadeOnce<Made> made;
  return made.get().session;
}

URLSession::URLSession() : impl_(new Impl) {}

std::shared_ptr<URLSessionTask> URLSession::dataTask(Result<URLRequest> request, DataCompletion completion) {
  return std::make_shared<DataTask>(*impl_, std::move(request), std::move(completion));
}

std::shared_ptr<URLSessionTask> URLSession::downloadTask(URLRequest request, std::string folder,
                                                         DownloadCompletion completion) {
  return std::make_shared<DownloadTask>(*impl_, std::move(request), std::move(folder), std::move(completion));
}

void URLSession::Impl::submit(SessionTask& task, Command command) noexcept {
  using Intake = SessionTask::Intake;
  std::optional<Error> refused;
  {
    const Lock lock(mutex_);
    Intake& intake = task.intake;
    if (intake.state == Intake::refused || (intake.state == Intake::accepted && isInChild())) return;
    if (intake.state == Intake::fresh) {
      refused = start();
      intake.state = refused ? Intake::refused : Intake::accepted;
      task.self = task.shared_from_this();
    }
    if (!refused) {
      const bool isListed = intake.toResume || intake.toCancel;
      (command == Command::resume ? intake.toResume : intake.toCancel) = true;
      if (!isListed) {
        (first_ ? last_->intake.next : first_) = task.shared_from_this();
        last_ = &task;
      }
    }
  }
  if (!refused) return threads_.drive();
  task.error = command == Command::cancel ? urlError(url_error::cancelled) : *refused;
  runInBackground([&task](bool isInBackground) { isInBackground ? task.run() : task.runNow(); });
}

std::optional<TaskIntake::Pending> URLSession::Impl::next() noexcept {
  const Lock lock(mutex_);
  if (!first_) return std::nullopt;
  const auto task = std::move(first_);
  first_ = std::move(task->intake.next);
  return Pending{task, std::exchange(task->intake.toResume, false),
                 std::exchange(task->intake.toCancel, false)};
}

/// Starts the threads once; returns why if it can't. The next task tries again.
std::optional<Error> URLSession::Impl::start() {
  if (isStopping_) return posixError(ECANCELED);
  if (isInChild()) return posixError(ECHILD);  // a child of fork() has none of the threads
  if (isRunning_) return std::nullopt;
  process_ = ::getpid();
  if (wouldLogTLSKeys()) return posixError(EPERM);
  // libcurl first, then the exit handler: exit() runs in reverse order, and the threads must stop before
  // OpenSSL is cleaned up.
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return outOfMemory();
  if (auto error = exchanges_.open()) return error;
  if (!stopsAtExit_ && std::atexit([] { shared().impl_->stop(); }) != 0) return outOfMemory();
  stopsAtExit_ = true;
  if (!threads_.start()) return posixError(EAGAIN);
  isRunning_ = true;
  return std::nullopt;
}

/// Returns within two seconds, whatever the threads are doing, even if one is still inside libcurl.
void URLSession::Impl::stop() noexcept {
  {
    const Lock lock(mutex_);
    if (!isRunning_ || isInChild()) return;
    isStopping_ = true;
  }
  threads_.stop();
  exchanges_.close();
}

}  // namespace caprion
