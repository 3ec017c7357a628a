#include "client/search.hpp"
#include "client/search_request.hpp"
#include "video/video_hash.hpp"

#include <caprion/caprion.hpp>

#include <new>
#include <utility>

namespace caprion {

struct Caprion::Impl {
  Downloader downloader;
};

Caprion& Caprion::shared() noexcept {
  static auto* const client = new Caprion;
  return *client;
}

/// Created while the library is loaded, when memory is still available.
[[gnu::constructor]] static void makeShared() { Caprion::shared(); }

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
  impl_->downloader.download(subtitle, completion);
}

}  // namespace caprion
