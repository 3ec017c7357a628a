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

/// What an HTTP exchange answered with, beside the body.
struct HTTPURLResponse {
  int statusCode;
};

/// One exchange of a URLSession. Any thread may call its members.
class URLSessionTask {
 public:
  virtual ~URLSessionTask() = default;

  /// Starts the exchange and returns at once; does nothing the second time.
  virtual void resume() noexcept = 0;

  /// Ends the exchange, if it has not ended yet, with the error -999 of NSURLErrorDomain. Returns at once.
  virtual void cancel() noexcept = 0;

  /// Keeps the completion from running until the release, which must come soon: a thread waits for it. A call
  /// that starts a task for a host holds its completion until the call is over.
  virtual void holdCompletion() noexcept = 0;
  virtual void releaseCompletion() noexcept = 0;
};

/// The latest of several tasks. Any thread may call its members.
class LatestTask {
 public:
  /// Makes this the latest task; returns the one before.
  std::shared_ptr<URLSessionTask> exchange(std::shared_ptr<URLSessionTask> task);

  /// Cancels the latest task, if there is one.
  void cancel() noexcept;

 private:
  std::shared_ptr<URLSessionTask> task_;  // under a mutex that all of these share
};

/// The process's HTTP client. One thread at a time drives all exchanges; there are at most six at a time with
/// one host, and the others wait for their turn. Any thread may call its members.
///
/// A completion runs exactly once per task that is resumed or cancelled, on a background thread and never
/// inside resume() or cancel(). It gets the response and the body, or an error. (Only when the system refuses
/// its very first threads, or the memory for them, the completion has to run on the caller's.)
class URLSession {
 public:
  using DataCompletion =
      std::function<void(std::optional<std::string>, std::optional<HTTPURLResponse>, std::optional<Error>)>;
  /// Gets the body's file in place of the body.
  using DownloadCompletion =
      std::function<void(std::optional<URL>, std::optional<HTTPURLResponse>, std::optional<Error>)>;

  /// The one session, made on first use, which is when it reads the proxies and the certificate authorities
  /// from the environment. Starts no thread before the first task does. Never destroyed. Throws
  /// std::bad_alloc.
  static URLSession& shared();

  /// A task whose body goes to a new file in the folder, which is gone after the completion unless that has
  /// moved it away. Past 256 MiB it ends with an error. Throws std::bad_alloc.
  std::shared_ptr<URLSessionTask> downloadTask(URLRequest request, std::string folder,
                                               DownloadCompletion completion);

  /// A task whose body is kept in memory. Without a request it ends with that error; past 64 MiB it ends with
  /// an error. Throws std::bad_alloc.
  std::shared_ptr<URLSessionTask> dataTask(Result<URLRequest> request, DataCompletion completion);

 private:
  URLSession();

  class Impl;
  Impl* impl_;
};

}  // namespace caprion
