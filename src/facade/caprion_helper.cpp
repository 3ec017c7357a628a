#include "client/search_request.hpp"
#include "facade/finding.hpp"
#include "platform/error.hpp"
#include "video/video_hash.hpp"

#include <array>
#include <string>
#include <utility>

namespace caprion {

namespace {

/// Passes the report of a search on as a pair of optional values.
auto pairFor(CaprionHelper::SearchCompletion completion) {
  return [completion = std::move(completion)](Result<QueryResult> result) {
    if (!completion) return;
    if (result) {
      completion(std::move(result->subtitles), std::nullopt);
    } else {
      completion(std::nullopt, result.error());
    }
  };
}

}  // namespace

StartedSearch startFindingSubtitles(const URL& videoFile, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept {
  const auto hash = orOutOfMemory([&]() -> Result<VideoHash> {
    if (auto found = videoHash(videoFile.path())) return *std::move(found);
    return libraryError("Cannot create a video hash for the file");
  });
  if (!hash) {
    if (completion) completion(std::nullopt, hash.error());
    return {};
  }
  auto request = orOutOfMemory([&] {
    return searchRequest(std::array{Arg(Param::moviebytesize, std::to_string(hash->fileSize)),
                                    Arg(Param::moviehash, hash->fileHash),
                                    Arg(Param::sublanguageid, std::string(language))});
  });
  return startSearch(std::move(request), pairFor(std::move(completion)));
}

StartedSearch startFindingSubtitles(Matching matching, std::string_view language,
                                    CaprionHelper::SearchCompletion completion) noexcept {
  auto request = orOutOfMemory([&] {
    return searchRequest(std::array{Arg(Param::query, std::string(matching.text())),
                                    Arg(Param::sublanguageid, std::string(language))});
  });
  return startSearch(std::move(request), pairFor(std::move(completion)));
}

StartedSearch startFindingSubtitles(std::span<const Arg> criteria,
                                    CaprionHelper::SearchCompletion completion) noexcept {
  return startSearch(searchRequest(criteria), pairFor(std::move(completion)));
}

CaprionHelper& CaprionHelper::shared() noexcept {
  static constinit CaprionHelper helper;
  return helper;
}

void CaprionHelper::findSubtitles(const URL& videoFile, std::string_view language,
                                  SearchCompletion completion) noexcept {
  const auto search = startFindingSubtitles(videoFile, language, std::move(completion));
}

void CaprionHelper::findSubtitles(Matching matching, std::string_view language,
                                  SearchCompletion completion) noexcept {
  const auto search = startFindingSubtitles(matching, language, std::move(completion));
}

void CaprionHelper::downloadSubtitleFile(const Subtitle& subtitle,
                                         const DownloadCompletion& completion) noexcept {
  Caprion::shared().download(subtitle, [&](Result<URL> file) {
    if (!completion) return;
    if (file) {
      completion(*std::move(file), std::nullopt);
    } else {
      completion(std::nullopt, file.error());
    }
  });
}

}  // namespace caprion
