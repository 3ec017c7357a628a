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

/// How tasks reach the thread that drives.
class TaskIntake {
 public:
  enum class Command { resume, cancel };

  /// Takes a command in. Called on any thread.
  virtual void submit(SessionTask& task, Command command) noexcept = 0;

  struct Taken {
    std::shared_ptr<SessionTask> task;
    bool toResume, toCancel;
  };
  /// The next task that something was asked of. Called by the thread that drives.
  virtual std::optional<Taken> take() noexcept = 0;

 protected:
  ~TaskIntake() = default;
};

/// A task of the session, with its body. Its way through the session, on which it keeps itself alive:
///
///   suspended --resume()--> waiting --its turn--> exchanging --the answer's end--> ended --> completion
///       |                    ^   |                 |   |                             ^
///       |                    |   |                 |   |                             |
///       |                    +---|----redirected---+   |                             |
///       +--------cancel()--------+---------------------+----cancel(), a failure------+
///
/// A task that is refused at the intake goes from suspended to ended at once.
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

  // Where the body goes, on the thread that drives.

  /// How many bytes a body may have.
  virtual std::size_t sizeLimit() const = 0;
  /// Adds to the body. Throws std::bad_alloc.
  virtual std::optional<Error> append(std::string_view bytes) = 0;
  /// Throws away what there is of the body.
  virtual void clear() noexcept = 0;

  /// Runs the completion with the outcome, as soon as nobody holds it back, and lets go of the task.
  void run() noexcept override;
  /// The same without waiting for those who hold it back.
  void runAtOnce() noexcept;

  const Result<URLRequest> request;

  /// What the intake knows of the task, under its mutex.
  struct Intake {
    enum { fresh, accepted, refused } state = fresh;
    bool toResume = false, toCancel = false;  // one of which lists it
    std::shared_ptr<SessionTask> next;        // in that list
  } intake;

  /// Keeps the task alive from the first command to the completion.
  std::shared_ptr<SessionTask> self;

  /// The rest belongs to the thread that drives, until the task has ended, and then to the completion.
  enum class Phase { suspended, waiting, exchanging, ended } phase = Phase::suspended;
  WebURL url{};  // of the request, and then of the redirects
  int redirects = 0;
  bool needsFreshConnection = false;
  Host* host = nullptr;                              // while it waits or exchanges
  boost::intrusive::list_member_hook<> waitingHook;  // in the host's queue
  std::list<Exchange>::iterator exchange{};          // while it exchanges
  std::chrono::steady_clock::time_point waitsSince{};
  std::optional<HTTPURLResponse> response;  // the outcome
  std::optional<Error> error;

 protected:
  /// Runs the completion, and lets go of it and of all that it holds.
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
