// Finds a subtitle for a video file, downloads it, and prints where it is.

#include <caprion/caprion_helper.hpp>

#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

using caprion::CaprionHelper;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: find_subtitles VIDEO LANGUAGE\n";
    return 2;
  }
  CaprionHelper& helper = CaprionHelper::shared();

  // The search returns at once; its completion runs on a thread of the library.
  const auto answer = std::make_shared<std::promise<CaprionHelper::SubtitleList>>();
  auto hits = answer->get_future();
  helper.findSubtitles(caprion::URL::fileURLWithPath(argv[1]), argv[2], [answer](auto subtitles, auto error) {
    if (error) std::cerr << error->localizedDescription() << "\n";
    answer->set_value(std::move(subtitles).value_or(CaprionHelper::SubtitleList()));
  });

  for (const auto& hit : hits.get()) {
    if (!hit->zipDownloadLink()) continue;
    // The download has called back when it returns.
    int status = 1;
    helper.downloadSubtitleFile(*hit, [&](const auto& file, const auto& error) {
      if (error) {
        std::cerr << error->localizedDescription() << "\n";
      } else {
        std::cout << file->path() << "\n";
        status = 0;
      }
    });
    return status;
  }
  std::cerr << "no subtitle found\n";
  return 1;
}
