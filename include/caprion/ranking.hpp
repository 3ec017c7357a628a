#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <memory>
#include <string>
#include <vector>

namespace CAPRION_NAMESPACE {

/// How a hit was found to belong to a video, the strongest evidence first.
enum class Evidence {
  content,  ///< the service knows the video by its movie hash
  release,  ///< the service knows the release by its name, and the name is no generic one
  title,    ///< title and episode, or title and year, are those of the video's name
};

/// A hit that suits a video, and why it stands where it does.
struct RankedSubtitle {
  /// The hit; never null.
  std::shared_ptr<const Subtitle> subtitle;
  /// What the hit was found by.
  Evidence evidence;
  /// The same in words for people, with how many words of the video's name the subtitle file's name shares:
  /// "found by content", "same release, 6 words in common".
  std::string reason;
};

/// Of these hits those that suit the video, the best first; docs/matching.md has the rules. A hit that
/// contradicts the video's name (another season or episode, another kind, another year, another disc) never
/// suits, and one that was found by a text, or by a name that any video may have, suits only if its title is
/// the name's. Better evidence comes first, then known seasons and episodes, then more words that the names
/// of both files share, then the year behind an episode, then the order of `hits`.
///
/// Pure: asks nobody, reads no file, and the same arguments have the same result. The time it takes grows
/// with the number of hits alone. Null pointers are passed over. Fails with ENOMEM of NSPOSIXErrorDomain
/// only. Any thread may call it.
CAPRION_EXPORT Result<std::vector<RankedSubtitle>> rankedSubtitles(
    const std::vector<std::shared_ptr<const Subtitle>>& hits, const URL& video) noexcept;

}  // namespace CAPRION_NAMESPACE
