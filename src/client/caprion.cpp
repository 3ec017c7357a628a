#include "client/caprion_impl.hpp"
#include "client/search_answer.hpp"
#include "client/search_request.hpp"
#include "platform/error.hpp"
#include "platform/thread.hpp"

#include <caprion/caprion.hpp>

#include <cerrno>
#include <new>
#include <utility>

namespace caprion {

Caprion& Caprion::shared() noexcept {
  static auto* const client = new Caprion;
  return *client;
}

Caprion::Caprion() : impl_(std::make_unique<Impl>()) {}
Caprion::~Caprion() = default;

void Caprion::query(const std::vector<Arg>& args, QueryCompletion result) noexcept {
  std::optional<URLRequest> request;
  try {
    request = searchRequest(args);
  } catch (const std::bad_alloc&) {  // criteria may be of any size
    runInBackground([result = std::move(result)] { result(posixError(ENOMEM)); });
    return;
  }
  const auto task = impl_->urlSession.dataTask(
      std::move(*request),
      [result = std::move(result)](const auto& body, const auto& response, const auto& error) {
        result(searchAnswer(body, response, error));
      });
  {
    std::lock_guard lock(impl_->mutex);
    impl_->queryTask = task;
  }
  task->resume();
}

void Caprion::cancelQueryTask() noexcept {
  std::shared_ptr<URLSessionTask> task;
  {
    std::lock_guard lock(impl_->mutex);
    task = impl_->queryTask;
  }
  if (task) task->cancel();
}

}  // namespace caprion
