#include "client/search_request.hpp"
#include "download/archive_download.hpp"
#include "network/url_session.hpp"
#include "platform/error.hpp"

#include <caprion/downloader.hpp>

#include <cerrno>
#include <new>

namespace caprion {

struct Downloader::Impl {
  DownloadSlot slot;
};

Downloader::Downloader() : impl_(std::make_shared<Impl>()) {}
Downloader::~Downloader() { cancel(); }

void Downloader::download(const Subtitle& subtitle, const Completion& completion) noexcept {
  const Completion nobody = [](const auto&) {};
  const Completion& report = completion ? completion : nobody;
  const auto impl = impl_;  // the completion may destroy this object
  try {
    downloadSubtitle(subtitle, URLSession::shared(), impl->slot, serviceRequest, report);
  } catch (const std::bad_alloc&) {
    report(posixError(ENOMEM));
  }
}

void Downloader::cancel() noexcept { impl_->slot.stop(); }

}  // namespace caprion
