#include "platform/error.hpp"
#include "platform/thread.hpp"

#include <caprion/caprion_helper.hpp>

#include <cerrno>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace caprion {

namespace {

/// Runs the search by the criteria that `makeArgs` makes, and hands its report on as a pair of optional
/// values.
template <typename MakeArgs>
void search(const MakeArgs& makeArgs, CaprionHelper::SearchCompletion completion) noexcept {
  if (!completion) completion = [](const auto&, const auto&) {};
  std::vector<Arg> args;
  try {
    args = makeArgs();
  } catch (const std::bad_alloc&) {  // texts may be of any size
    runInBackground([completion = std::move(completion)] { completion(std::nullopt, posixError(ENOMEM)); });
    return;
  }
  Caprion::shared().query(args, [completion = std::move(completion)](Result<QueryResult> result) {
    if (result) {
      completion(std::move(result->subtitles), std::nullopt);
    } else {
      completion(std::nullopt, result.error());
    }
  });
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
    if (completion) completion(std::nullopt, libraryError("Cannot create a video hash for the file"));
    return;
  }
  search(
      [&] {
        return std::vector{Arg(Param::moviebytesize, std::to_string(hash->fileSize)),
                           Arg(Param::moviehash, hash->fileHash),
                           Arg(Param::sublanguageid, std::string(language))};
      },
      std::move(completion));
}

void CaprionHelper::findSubtitles(std::string_view matching, std::string_view language,
                                  SearchCompletion completion) noexcept {
  search(
      [&] {
        return std::vector{Arg(Param::query, std::string(matching)),
                           Arg(Param::sublanguageid, std::string(language))};
      },
      std::move(completion));
}

void CaprionHelper::downloadSubtitleFile(const Subtitle& subtitle,
                                         const DownloadCompletion& completion) noexcept {
  Caprion::shared().download(subtitle, [&](const Result<URL>& file) {
    if (!completion) return;
    if (file) {
      completion(*file, std::nullopt);
    } else {
      completion(std::nullopt, file.error());
    }
  });
}

}  // namespace caprion
