#include "process.hpp"

#include "zip_writer.hpp"

namespace caprion::test {

TEST(Process, EndsCleanlyInWhateverWay) {
  struct Case {
    const char* how;
    int times;
    const char* body;
  };
  stand_in::StandIn service;
  std::vector<Case> cases{{"return", 100, "[]"},
                          {"exit in a callback", 50, "[]"},
                          {"exit with a blocked callback", 5, "[]"},
                          {"closed descriptors", 3, "no JSON"}};
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // The sanitizers' own locks don't come through the fork of a process with threads.
  cases.push_back({"fork", 20, "[]"});
#endif
  for (const Case& c : cases) {
    service.setHandler([body = c.body](const auto&) { return stand_in::Answer{.body = body}; });
    for (int i = 0; i < c.times; ++i) {
      const auto run = runThrough(
          service, "LINGER=" + std::to_string(i * 200) + " " PROCESS_UNDER_TEST " " + shellQuoted(c.how));
      EXPECT_EQ(run.status, 0) << c.how << ", time " << i << "\n" << run.error;
      if (run.status != 0) break;
    }
  }
}

TEST(Process, DownloadsInAnyHostWhateverTheArchive) {
  stand_in::ZipWriter plain, closed, encrypted, endless;
  plain.add("film.srt", "x");
  closed.addFolder("a/", 0);
  closed.add("a/film.srt", "x", {.mode = 0});
  encrypted.add("film.srt", "x", {.password = "secret"});
  endless.addZeros("film.srt", std::uint64_t{1} << 30);
  const std::string good = plain.finish();
  const std::string found = "FOLDER/film.eng.srt\n";
  const std::string notFound = "No subtitle file found in the zip archive.\n";
  const std::string unreadable = "FOLDER/a: Permission denied\n";

  struct Case {
    std::string how, archive, reports, output;
  };
  for (const Case& c : {
           Case{"download", good, found, ""},
           Case{"download as a hostile host", good, found, ""},
           // A folder that can't be read doesn't end the walk, and the next download can remove it.
           Case{"download", closed.finish(), unreadable + notFound,
                "directoryEnumerator error at file://FOLDER/a:  " + unreadable},
           Case{"download on a terminal", encrypted.finish(), notFound, ""},
           Case{"download", endless.finish(), "FOLDER/film.srt: File too large\n", ""},
       }) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path, std::filesystem::perms::all);
    stand_in::StandIn service("", [&](const auto&) { return stand_in::Answer{.body = c.archive}; });
    const std::string record =
        R"({"IDSubtitle":"42","MatchedBy":"","SubFileName":"film.srt","SubLanguageID":"eng",)"
        R"("LanguageName":"","ISO639":"","SubFormat":"srt","MovieName":"","MovieYear":"",)"
        R"("MovieKind":"movie","IDMovieImdb":"","SeriesIMDBParent":"","SeriesSeason":"",)"
        R"("SeriesEpisode":"","ZipDownloadLink":"http://dl.test/42","SubSumCD":""})";
    std::string command = PROCESS_UNDER_TEST " " + shellQuoted(c.how) + " " + shellQuoted(record);
    if (c.how.ends_with("terminal"))
      command = "script -qec " + shellQuoted(command + " 2>&3") + " /dev/null 3>&2";
    const auto run = runThrough(service, "cd / && TMPDIR=" + folder.path.string() + " " + command);

    const auto twice = [&](std::string text) {
      for (std::size_t at = 0; (at = text.find("FOLDER", at)) != std::string::npos;) {
        text.replace(at, 6, (folder.path / "Caprion/42").string());
      }
      return text + text;
    };
    EXPECT_EQ(run.status, 0) << c.how;
    EXPECT_EQ(run.error, twice(c.reports)) << c.how;
    EXPECT_EQ(run.output, twice(c.output)) << c.how;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1) << c.how;
  }
}

}  // namespace caprion::test
