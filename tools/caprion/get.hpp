#pragma once

#include "command.hpp"
#include "videos.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

// The types that the parts of `caprion get` share: its options, and for each video a task with an outcome for
// each language.

struct GetOptions {
  std::vector<std::string_view> paths;
  std::vector<Language> languages;
  /// Where the subtitles go; absent for next to the videos.
  std::optional<std::string> folder;
  std::size_t videosAtATime = 6;
  bool force = false;
  bool dryRun = false;
  bool pick = false;
  bool keepEncoding = false;
  bool any = false;
};

enum class Ending { placed, alreadyThere, notFound, declined, failed };

/// The result for one video in one language. It is pending while it is notFound.
struct Outcome {
  Language language;
  Ending ending = Ending::notFound;
  /// The path of the subtitle; in a dry run, where it would be.
  std::string subtitle{};
  /// The hit that was taken, unless the subtitle was there already.
  RankedSubtitle choice{};
  /// The original encoding, if the text was converted.
  std::string convertedFrom{};
  bool isOfUnknownEncoding = false;
  /// All failures in order, even if there is a subtitle in the end.
  std::vector<Error> errors{};

  bool isOpen() const { return ending == Ending::notFound; }
  void fail(Error error) {
    ending = Ending::failed;
    errors.push_back(std::move(error));
  }
};

/// A video of the run, or a path that is no video: then `video` has an error and there are no outcomes.
struct Task {
  Video video;
  std::vector<Outcome> outcomes{};
  /// Whether the service was queried, and whether it was unreachable.
  bool hasQueried = false;
  bool isUnreachable = false;
  /// If so, whether it did answer, but not with what it should.
  bool isRefused = false;

  bool isOpen() const {
    for (const Outcome& outcome : outcomes) {
      if (outcome.isOpen()) return true;
    }
    return false;
  }
};

/// Gets the subtitles, and reports the result for each video.
ExitStatus get(const GetOptions& options, Output& output);

}  // namespace caprion::tool
