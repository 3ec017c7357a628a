#pragma once

#include "network/session_threads.hpp"
#include "network/url_session.hpp"
#include "network/web_url.hpp"
#include "platform/file_manager.hpp"

#include <boost/intrusive/list.hpp>

#include <atomic>
#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

class SessionTask;
struct Exchange;
struct Host;

/// The queue of commands from any thread to the driver thread.
class TaskIntake {
 public:
  enum class Command { resume, cancel };

  /// Queues a command. Called on any thread.
  virtual void submit(SessionTask& task, Command command) noexcept = 0;

  struct Pending {
    std::shared_ptr<SessionTask> task;
    bool toResume, toCancel;
  };
  /// The next task with pending commands. Called on the driver thread.
  virtual std::optional<Pending> next() noexcept = 0;

 protected:
  ~TaskIntake() = default;
};

/// A task of the session, with its body. It keeps itself alive until its completion has run. Its states:
///
///   suspended --resume()--> waiting --a free slot--> exchanging --end of answer--> ended --> completion
///       |                    ^   |                 |   |                             ^
///       |                    |   |                 |   |                             |
///       |                    +---|----redirected---+   |                             |
///       +--------cancel()--------+---------------------+----cancel(), a failure------+
///
/// A task that the session refuses goes from suspended to ended at once.
class SessionTask : public URLSessionTask,
                    public SessionCompletion,
                    public std::enable_shared_from_this<SessionTask> {
 public:
  SessionTask(TaskIntake& session, Result<URLRequest> wanted)
      : request(std::move(wanted)), session_(session) {}

  void resume() noexcept override;
  void cancel() noexcept override;
  void holdCompletion() noexcept override { ++holds_; }
  void releaseCompletion() noexcept override { --holds_; }

  // Storage of the body. Called on the driver thread.

  /// The largest body, in bytes.
  virtual std::size_t sizeLimit() const = 0;
  /// Appends to the body. Throws std::bad_alloc.
  virtual std::optional<Error> append(std::string_view bytes) = 0;
  /// Discards the body.
  virtual void clear() noexcept = 0;

  /// Waits until no holdCompletion() is in effect, runs the completion, and releases the task.
  void run() noexcept override;
  /// The same without waiting for holdCompletion().
  void runNow() noexcept;

  const Result<URLRequest> request;

  /// Guarded by the mutex of the TaskIntake.
  struct Intake {
    enum { fresh, accepted, refused } state = fresh;
    bool toResume = false, toCancel = false;  // either one puts it in the list
    std::shared_ptr<SessionTask> next;        // in that list
  } intake;

  /// Keeps the task alive from the first command to the completion.
  std::shared_ptr<SessionTask> self;

  /// From here on: owned by the driver thread until the task has ended, then by the completion.
  enum class Phase { suspended, waiting, exchanging, ended } phase = Phase::suspended;
  WebURL url{};  // of the request, then of the latest redirect
  int redirects = 0;
  bool needsFreshConnection = false;
  Host* host = nullptr;                              // while it waits or exchanges
  boost::intrusive::list_member_hook<> waitingHook;  // in the host's queue
  std::list<Exchange>::iterator exchange{};          // while it exchanges
  std::chrono::steady_clock::time_point waitingSince{};
  std::optional<HTTPURLResponse> response;  // the outcome
  std::optional<Error> error;

 protected:
  /// Runs the completion and destroys it.
  virtual void complete() = 0;

 private:
  TaskIntake& session_;
  std::atomic<int> holds_ = 0;
};

/// A task whose body is kept in memory.
class DataTask final : public SessionTask {
 public:
  DataTask(TaskIntake& session, Result<URLRequest> wanted, URLSession::DataCompletion completion)
      : SessionTask(session, std::move(wanted)), completion_(std::move(completion)) {}

  std::size_t sizeLimit() const override { return std::size_t{64} << 20; }
  std::optional<Error> append(std::string_view bytes) override;
  void clear() noexcept override { body_.clear(); }

 private:
  void complete() override;

  std::string body_;
  URLSession::DataCompletion completion_;
};

/// A task whose body goes to a file.
class DownloadTask final : public SessionTask {
 public:
  DownloadTask(TaskIntake& session, URLRequest wanted, std::string folder,
               URLSession::DownloadCompletion completion)
      : SessionTask(session, std::move(wanted)),
        folder_(std::move(folder)),
        completion_(std::move(completion)) {}

  std::size_t sizeLimit() const override { return std::size_t{256} << 20; }
  std::optional<Error> append(std::string_view bytes) override;
  void clear() noexcept override { file_.reset(); }

 private:
  void complete() override;

  const std::string folder_;
  std::optional<TemporaryFile> file_;
  URLSession::DownloadCompletion completion_;
};

}  // namespace caprion
