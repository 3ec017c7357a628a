#pragma once

namespace caprion::bench {

/// Starts the stand-in of the subtitle service in a process of its own, which ends with this one, and sets
/// the environment so that this process and those that it starts reach it. To be called before the first
/// thread.
///
/// It answers a search for the text "N" with N hits, and for "N-far-away" after 20 ms, as over the
/// internet; archiveURL leads to an archive of 50 KB with one subtitle, that of the first hit.
void startService();

inline constexpr const char* archiveURL =
    "https://dl.opensubtitles.org/en/download/src-api/vrf-19b30c54/sub/1955000000";
inline constexpr const char* subtitleName = "The.Lighthouse.Keepers.S03E07.srt";

}  // namespace caprion::bench
