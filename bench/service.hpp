#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace caprion::bench {

/// The stand-in of the subtitle service, in a process of its own as long as this lives, with the environment
/// set so that this process and those that it starts reach it. To be made before the first thread.
///
/// It answers a search for the text "N" with N hits, and for "N hits, far away" after 20 ms, as over the
/// internet; archiveURL leads to an archive of 50 KB with one subtitle,
/// that of the first hit.
class Service {
 public:
  Service();
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  static constexpr const char* archiveURL =
      "https://dl.opensubtitles.org/en/download/src-api/vrf-19b30c54/sub/1955000000";
  static constexpr const char* subtitleName = "The.Lighthouse.Keepers.S03E07.srt";

 private:
  int connection_ = -1;
  pid_t process_ = -1;
};

}  // namespace caprion::bench
