#pragma once

#include "network/url_request.hpp"
#include "network/url_session.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <chrono>
#include <functional>
#include <stop_token>

namespace caprion {

/// The place of the download under way, for those that take one another's. Any thread may call its members.
class DownloadSlot {
 public:
  /// Stops the download that has the place. Returns how the newcomer learns that it is to stop itself.
  std::stop_token take();

  /// Stops the download that has the place.
  void stop() noexcept;

 private:
  std::stop_source current_{std::nostopstate};
};

/// Downloads the subtitle's archive, unpacks it and picks the subtitle file out of it, as
/// Downloader::download tells. `requestFor` makes the request for the archive. Once it has made the folder,
/// it takes the slot; from when it is stopped on, it reports nothing, and ends as soon as the transfer and
/// unzip are gone. Waits as long as `longestWait` for another download of the subtitle. Throws
/// std::bad_alloc, if at all, in place of any report.
void downloadSubtitle(const Subtitle& subtitle, URLSession& session, DownloadSlot& slot,
                      const std::function<URLRequest(URL)>& requestFor,
                      const std::function<void(Result<URL>)>& completion,
                      std::chrono::milliseconds longestWait = std::chrono::seconds(60));

}  // namespace caprion
