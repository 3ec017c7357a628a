#pragma once

#include "network/url_request.hpp"
#include "network/url_session.hpp"

#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <functional>

namespace caprion {

/// Downloads the subtitle's archive, unpacks it and picks the subtitle file out of it, as Caprion::download
/// tells. `requestFor` makes the request for the archive; its task takes the place of `latestTask`, which is
/// cancelled. Throws std::bad_alloc, if at all, before any report.
void downloadSubtitle(const Subtitle& subtitle, URLSession& session, LatestTask& latestTask,
                      const std::function<URLRequest(URL)>& requestFor,
                      const std::function<void(Result<URL>)>& completion);

}  // namespace caprion
