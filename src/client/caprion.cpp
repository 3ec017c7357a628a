#include "client/search_answer.hpp"
#include "client/search_request.hpp"
#include "network/url_session.hpp"
#include "platform/error.hpp"
#include "platform/thread.hpp"

#include <caprion/caprion.hpp>

#include <cerrno>
#include <new>
#include <utility>

namespace caprion {

/// What the client holds: the session, the latest search and the downloads.
struct Caprion::Impl {
  URLSession& urlSession = URLSession::shared();
  LatestTask queryTask;
  Downloader downloader;
};

Caprion& Caprion::shared() noexcept {
  static auto* const client = new Caprion;
  return *client;
}

Caprion::Caprion() : impl_(std::make_unique<Impl>()) {}
Caprion::~Caprion() = default;

void Caprion::query(const std::vector<Arg>& args, QueryCompletion result) noexcept {
  if (!result) result = [](const auto&) {};
  std::optional<URLRequest> request;
  try {
    request = searchRequest(args);
  } catch (const std::bad_alloc&) {  // criteria may be of any size
    runInBackground([result = std::move(result)] { result(posixError(ENOMEM)); });
    return;
  }
  const auto task = impl_->urlSession.dataTask(
      std::move(*request), [result = std::move(result)](auto body, const auto& response, const auto& error) {
        result(searchAnswer(std::move(body), response, error));
      });
  impl_->queryTask.exchange(task);
  task->resume();
}

void Caprion::cancelQueryTask() noexcept { impl_->queryTask.cancel(); }

void Caprion::download(const Subtitle& subtitle, const DownloadCompletion& completion) noexcept {
  impl_->downloader.download(subtitle, completion);
}

}  // namespace caprion
