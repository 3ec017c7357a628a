#pragma once

#include "network/url_request.hpp"

#include <caprion/error.hpp>
#include <caprion/result.hpp>
#include <caprion/url.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace caprion {

/// The response of an HTTP exchange, without the body.
struct HTTPURLResponse {
  int statusCode;
};

/// One exchange of a URLSession. Any thread may call its members.
class URLSessionTask {
 public:
  virtual ~URLSessionTask() = default;

  /// Starts the exchange and returns at once. Further calls do nothing.
  virtual void resume() noexcept = 0;

  /// Ends the exchange with error -999 of NSURLErrorDomain, unless it has ended already. Returns at once.
  virtual void cancel() noexcept = 0;

  /// Delays the completion until releaseCompletion(), which must follow soon, as a thread polls for it. Keeps
  /// the completion from running before the host's call that started the task returns.
  virtual void holdCompletion() noexcept = 0;
  virtual void releaseCompletion() noexcept = 0;
};

/// The most recently started of several tasks. Thread-safe.
class LatestTask {
 public:
  /// Stores a new latest task; returns the previous one.
  std::shared_ptr<URLSessionTask> exchange(std::shared_ptr<URLSessionTask> task);

  /// Cancels the latest task, if there is one.
  void cancel() noexcept;

 private:
  std::shared_ptr<URLSessionTask> task_;  // guarded by one mutex for all LatestTasks
};

/// The process's HTTP client. One thread at a time drives all exchanges, of which at most six run per host;
/// the others are queued. Thread-safe.
///
/// The completion of a task that is resumed or cancelled runs exactly once, on a background thread and never
/// inside resume() or cancel(). It receives the response and the body, or an error. (Only if no thread at all
/// can be started, it runs on the caller's.)
class URLSession {
 public:
  using DataCompletion =
      std::function<void(std::optional<std::string>, std::optional<HTTPURLResponse>, std::optional<Error>)>;
  /// Receives the body's file instead of the body.
  using DownloadCompletion =
      std::function<void(std::optional<URL>, std::optional<HTTPURLResponse>, std::optional<Error>)>;

  /// The one session. Reads proxies and certificate authorities from the environment on first use; starts no
  /// threads before the first task is resumed. Never destroyed. Throws std::bad_alloc.
  static URLSession& shared();

  /// A task whose body goes to a new file in the folder; the file is removed after the completion, unless
  /// that has moved it. A body of more than 256 MiB is an error. Throws std::bad_alloc.
  std::shared_ptr<URLSessionTask> downloadTask(URLRequest request, std::string folder,
                                               DownloadCompletion completion);

  /// A task whose body is kept in memory. If `request` is an error, the task ends with it. A body of more
  /// than 64 MiB is an error. Throws std::bad_alloc.
  std::shared_ptr<URLSessionTask> dataTask(Result<URLRequest> request, DataCompletion completion);

 private:
  URLSession();

  class Impl;
  Impl* impl_;
};

}  // namespace caprion
