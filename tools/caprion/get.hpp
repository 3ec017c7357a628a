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

// What the rooms of `caprion get` hand to each other: the wish of the command line goes in, and each video
// comes out with an outcome for each language.

struct Wish {
  std::vector<std::string_view> paths;
  std::vector<Language> languages;
  /// Where the subtitles go, unless it is beside the videos.
  std::optional<std::string> folder;
  std::size_t videosAtATime = 6;
  bool force = false;
  bool dryRun = false;
  bool pick = false;
  bool keepEncoding = false;
  bool any = false;
};

enum class Ending { placed, alreadyThere, notFound, declined, failed };

/// What became of one video in one language. Not found is what it begins with.
struct Outcome {
  Language language;
  Ending ending = Ending::notFound;
  /// Where the subtitle is, or in a dry run would be.
  std::string subtitle{};
  /// The hit that it is of, if it was not there already.
  RankedSubtitle choice{};
  /// What the text was converted from, if it was.
  std::string convertedFrom{};
  bool isOfUnknownEncoding = false;
  /// All that went wrong, in its order, even if there is a subtitle in the end.
  std::vector<Error> errors{};

  bool isOpen() const { return ending == Ending::notFound; }
  void fail(Error error) {
    ending = Ending::failed;
    errors.push_back(std::move(error));
  }
};

/// A video of the run, or a path that is none: then it has an error and no outcomes.
struct Task {
  Video video;
  std::vector<Outcome> outcomes{};
  /// Whether anything was asked of the service, and whether the service was out of reach then.
  bool hasAsked = false;
  bool isCutOff = false;
  /// Whether it could be reached even so, and answered something else than it should.
  bool isRefused = false;

  bool isOpen() const {
    for (const Outcome& outcome : outcomes) {
      if (outcome.isOpen()) return true;
    }
    return false;
  }
};

/// Gets the subtitles, and tells what became of each video.
ExitStatus get(const Wish& wish, Output& output);

}  // namespace caprion::tool
