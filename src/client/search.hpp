#pragma once

#include "client/search_answer.hpp"
#include "network/url_session.hpp"
#include "platform/error.hpp"

#include <caprion/query_result.hpp>
#include <caprion/result.hpp>

#include <memory>
#include <new>
#include <utility>

namespace caprion {

/// A search that has been started by a call of the host's. Its report is made after this is gone, so the call
/// keeps it to its very end.
class [[nodiscard]] StartedSearch {
 public:
  StartedSearch() = default;
  /// Starts the task, and makes it the one that cancelLatestSearch() cancels.
  explicit StartedSearch(std::shared_ptr<URLSessionTask> task) noexcept;
  StartedSearch(StartedSearch&& other) noexcept = default;
  StartedSearch& operator=(StartedSearch&& other) noexcept = default;
  ~StartedSearch() {
    if (task_) task_->releaseCompletion();
  }

  /// Makes it the one that `latest` cancels.
  void makeLatest(LatestTask& latest) const {
    if (task_) latest.exchange(task_);
  }

 private:
  std::shared_ptr<URLSessionTask> task_;
};

/// Cancels the search started last, if it is still running.
void cancelLatestSearch() noexcept;

/// Starts the search by a request, which may be missing, and has `receive` called once with its
/// Result<QueryResult>: later, or at once when there is no memory for more than that.
template <typename Receive>
StartedSearch startSearch(Result<URLRequest>&& request, Receive receive) noexcept {
  std::shared_ptr<Receive> kept;
  try {
    kept = std::make_shared<Receive>(std::move(receive));
    return StartedSearch(URLSession::shared().dataTask(
        std::move(request), [kept](auto body, const auto& response, const auto& error) {
          (*kept)(searchAnswer(std::move(body), response, error));
        }));
  } catch (const std::bad_alloc&) {
    (kept ? *kept : receive)(Result<QueryResult>(outOfMemory()));
  }
  return {};
}

}  // namespace caprion
