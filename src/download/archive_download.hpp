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

/// Holds at most one running download: a newer one stops it. Thread-safe.
class DownloadSlot {
 public:
  /// Stops the running download and registers a new one; returns the new one's stop token.
  std::stop_token supersede();

  /// Stops the running download.
  void stop() noexcept;

 private:
  std::stop_source current_{std::nostopstate};
};

/// Downloads and unpacks the subtitle's archive and picks the subtitle file, as documented at
/// Downloader::download. `requestFor` creates the request for the archive. Enters the slot once the folder
/// exists; when stopped, reports nothing more and returns as soon as the transfer and unzip have ended. Waits
/// up to `longestWait` for another download of the same subtitle. If it throws std::bad_alloc, it has
/// reported nothing.
void downloadSubtitle(const Subtitle& subtitle, URLSession& session, DownloadSlot& slot,
                      const std::function<URLRequest(URL)>& requestFor,
                      const std::function<void(Result<URL>)>& completion,
                      std::chrono::milliseconds longestWait = std::chrono::seconds(60));

}  // namespace caprion
