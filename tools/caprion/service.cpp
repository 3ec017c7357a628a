#include "service.hpp"

#include <future>
#include <optional>
#include <utility>

namespace caprion::tool {

namespace {

/// Calls `start` with a completion, and waits for the result.
template <typename Start>
Result<Hits> outcomeOf(const Start& start) {
  // Shared, as the callback may still be inside set_value when get() returns.
  const auto outcome = std::make_shared<std::promise<Result<Hits>>>();
  start([outcome](std::optional<Hits> hits, const std::optional<Error>& error) {
    outcome->set_value(hits ? Result<Hits>(std::move(*hits)) : Result<Hits>(error.value()));
  });
  return outcome->get_future().get();
}

}  // namespace

Result<Hits> findSubtitles(const URL& videoFile, std::string_view language) {
  return outcomeOf([&](const CaprionHelper::SearchCompletion& report) {
    CaprionHelper::shared().findSubtitles(videoFile, language, report);
  });
}

Result<Hits> findSubtitles(Matching matching, std::string_view language) {
  return outcomeOf([&](const CaprionHelper::SearchCompletion& report) {
    CaprionHelper::shared().findSubtitles(matching, language, report);
  });
}

Result<Hits> query(const std::vector<Arg>& criteria) {
  return outcomeOf([&](const CaprionHelper::SearchCompletion& report) {
    Caprion::shared().query(criteria, [report](Result<QueryResult> result) {
      if (result) {
        report(std::move(result->subtitles), std::nullopt);
      } else {
        report(std::nullopt, result.error());
      }
    });
  });
}

std::vector<Result<URL>> download(Downloader& downloader, const Subtitle& subtitle) {
  std::vector<Result<URL>> reports;
  downloader.download(subtitle, [&reports](Result<URL> report) { reports.push_back(std::move(report)); });
  if (reports.empty()) reports.emplace_back(Error("", 0, {}, "The download was cancelled"));
  return reports;
}

}  // namespace caprion::tool
