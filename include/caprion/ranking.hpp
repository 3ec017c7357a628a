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

/// Why a hit belongs to a video, the strongest evidence first.
enum class Evidence {
  content,  ///< the service knows the video by its movie hash
  release,  ///< the service knows the release by its name, which isn't generic
  title,    ///< title and episode, or title and year, are those in the video's name
};

/// A hit that suits a video, and why.
struct RankedSubtitle {
  /// The hit; never null.
  std::shared_ptr<const Subtitle> subtitle;
  /// The evidence for the hit.
  Evidence evidence;
  /// The same in words for people, with the number of words that both file names share: "found by content",
  /// "same release, 6 words in common".
  std::string reason;
};

/// The hits that suit the video, the best first, by the rules in docs/matching.md. Hits that contradict the
/// video's name are left out: those for another season, episode, kind, year or disc and, unless the evidence
/// is content or release, those with another title. The others are ordered by evidence, then by whether
/// season and episode are known, then by the number of words that both file names share, then by whether the
/// year agrees with one that follows the episode in the name, then as in `hits`.
///
/// Doesn't access the file or the network; the same arguments always give the same result. The time grows
/// in proportion to the number of hits; of each text, at most 1,024 bytes are read. Null pointers are
/// skipped. Fails only with ENOMEM of NSPOSIXErrorDomain. Any thread may call it.
CAPRION_EXPORT Result<std::vector<RankedSubtitle>> rankedSubtitles(
    const std::vector<std::shared_ptr<const Subtitle>>& hits, const URL& video) noexcept;

}  // namespace CAPRION_NAMESPACE
