#include "client/search.hpp"
#include "client/search_request.hpp"
#include "download/archive_download.hpp"
#include "network/url_session.hpp"
#include "platform/error.hpp"
#include "platform/thread.hpp"
#include "video/video_hash.hpp"

#include <caprion/caprion.hpp>

#include <cerrno>
#include <new>
#include <utility>

namespace caprion {

/// What the client holds: the session, and the latest task of each kind.
struct Caprion::Impl {
  URLSession& urlSession = URLSession::shared();
  LatestTask downloadTask;
};

Caprion& Caprion::shared() noexcept {
  static auto* const client = new Caprion;
  return *client;
}

Caprion::Caprion() : impl_(std::make_unique<Impl>()) {}
Caprion::~Caprion() = default;

void Caprion::query(const std::vector<Arg>& args, QueryCompletion result) noexcept {
  if (!result) result = [](const auto&) {};
  const auto search = startSearch(searchRequest(args), std::move(result));
}

void Caprion::cancelQueryTask() noexcept { cancelLatestSearch(); }

std::optional<VideoHash> Caprion::hashFor(const URL& url) noexcept {
  try {
    return videoHash(url.path());
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

void Caprion::download(const Subtitle& subtitle, const DownloadCompletion& completion) noexcept {
  const DownloadCompletion report = completion ? completion : [](const auto&) {};
  try {
    downloadSubtitle(subtitle, impl_->urlSession, impl_->downloadTask, serviceRequest, report);
  } catch (const std::bad_alloc&) {
    report(posixError(ENOMEM));
  }
}

}  // namespace caprion
