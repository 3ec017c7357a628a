#include "client/search.hpp"

#include "platform/never_destroyed.hpp"

namespace caprion {

namespace {

constinit NeverDestroyed<LatestTask> latestSearch;

}  // namespace

StartedSearch::StartedSearch(std::shared_ptr<URLSessionTask> task) noexcept : task_(std::move(task)) {
  task_->holdCompletion();  // before anybody can cancel it
  latestSearch.value.exchange(task_);
  task_->resume();
}

void cancelLatestSearch() noexcept { latestSearch.value.cancel(); }

}  // namespace caprion
