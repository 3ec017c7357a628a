#include "platform/error.hpp"

#include <caprion/caprion_helper.hpp>

#include <string>
#include <utility>

namespace caprion {

namespace {

/// A completion of the client that hands its report on as a pair of optional values.
Caprion::QueryCompletion asPair(CaprionHelper::SearchCompletion completion) {
  return [completion = std::move(completion)](Result<QueryResult> result) {
    if (result) {
      completion(std::move(result->subtitles), std::nullopt);
    } else {
      completion(std::nullopt, result.error());
    }
  };
}

}  // namespace

CaprionHelper& CaprionHelper::shared() noexcept {
  static auto* const helper = new CaprionHelper;
  return *helper;
}

void CaprionHelper::findSubtitles(const URL& videoFile, std::string_view language,
                                  SearchCompletion completion) noexcept {
  const auto hash = Caprion::hashFor(videoFile);
  if (!hash) {
    completion(std::nullopt, libraryError("Cannot create a video hash for the file"));
    return;
  }
  Caprion::shared().query(
      {Arg(Param::moviebytesize, std::to_string(hash->fileSize)), Arg(Param::moviehash, hash->fileHash),
       Arg(Param::sublanguageid, std::string(language))},
      asPair(std::move(completion)));
}

void CaprionHelper::downloadSubtitleFile(const Subtitle& subtitle,
                                         const DownloadCompletion& completion) noexcept {
  Caprion::shared().download(subtitle, [&](const Result<URL>& file) {
    if (file) {
      completion(*file, std::nullopt);
    } else {
      completion(std::nullopt, file.error());
    }
  });
}

void CaprionHelper::findSubtitles(std::string_view matching, std::string_view language,
                                  SearchCompletion completion) noexcept {
  Caprion::shared().query(
      {Arg(Param::query, std::string(matching)), Arg(Param::sublanguageid, std::string(language))},
      asPair(std::move(completion)));
}

}  // namespace caprion
