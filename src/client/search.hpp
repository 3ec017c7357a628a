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

/// A running search. Its completion is delayed until this object is destroyed, so a call that starts a search
/// keeps it until it returns.
class [[nodiscard]] StartedSearch {
 public:
  StartedSearch() = default;
  /// Starts the task, and registers it for cancelLatestSearch().
  explicit StartedSearch(std::shared_ptr<URLSessionTask> task) noexcept;
  StartedSearch(StartedSearch&& other) noexcept = default;
  StartedSearch& operator=(StartedSearch&& other) noexcept = default;
  ~StartedSearch() {
    if (task_) task_->releaseCompletion();
  }

  /// Registers the search with `latest`.
  void makeLatest(LatestTask& latest) const {
    if (task_) latest.exchange(task_);
  }

 private:
  std::shared_ptr<URLSessionTask> task_;
};

/// Cancels the most recently started search, if it is still running.
void cancelLatestSearch() noexcept;

/// Starts a search and calls `receive` once with its Result<QueryResult>: later, or at once if there isn't
/// the memory to start it. If `request` is an error, that is the result.
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
