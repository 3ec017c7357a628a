#include "client/search_request.hpp"
#include "download/archive_download.hpp"
#include "download/cache_folder.hpp"
#include "platform/file_manager.hpp"
#include "process.hpp"
#include "reports.hpp"
#include "service.hpp"

#include <caprion/bundle.hpp>
#include <caprion/caprion_helper.hpp>

#include <pwd.h>
#include <spawn.h>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::string_literals;

class DownloadTest : public InTemporaryFolder {
 protected:
  DownloadTest() { service().setHandler(always({.body = zip({"film.srt"})})); }

  std::string relative(const std::string& path) const {
    const std::string folder = root_.path.string() + "/Caprion/";
    return path.starts_with(folder) ? path.substr(folder.size()) : path;
  }

  /// The reports of a download, through the client if there is no downloader.
  std::vector<std::string> download(const Changes& changes = {}, Downloader* by = nullptr) const {
    std::vector<std::string> lines;
    const auto take = [&](const auto& report) { lines.push_back(relative(line(report))); };
    by ? by->download(*subtitle(changes), take) : Caprion::shared().download(*subtitle(changes), take);
    return lines;
  }

  std::string content() const { return contentOfFolder(root_.path / "Caprion/42"); }
};

TEST_F(DownloadTest, SendsTheServicesHeaderAndStartsAfresh) {
  Caprion::shared().download(*subtitle(), nullptr);
  EXPECT_EQ(content(), "archive.zip film.eng.srt");
  EXPECT_EQ(download(), std::vector{"42/film.eng.srt"s});
  EXPECT_EQ(service().requests().back().header("User-Agent"), std::vector{"Tovix"s});
  EXPECT_EQ(service().requests().back().target, "/42");
  service().setHandler(always({.body = zip({"other.srt"})}));
  EXPECT_EQ(download(), std::vector{"42/other.eng.srt"s});
  EXPECT_EQ(content(), "archive.zip other.eng.srt");
  EXPECT_EQ(contentOf(root_.path / "Caprion/42/other.eng.srt"), "other.srt");
}

TEST_F(DownloadTest, ChoosesTheFirstOfThousandsAndListsThemAll) {
  std::vector<std::string> names;
  for (int i = 0; i < 5'000; ++i) names.push_back("d/" + std::to_string(i) + ".txt");
  service().setHandler(always({.body = zip(names)}));
  const auto reports = download();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(std::count(reports[0].begin(), reports[0].end(), '\n'), 5'002);
  // A folder is listed before its contents.
  EXPECT_LT(reports[0].find("d\n"), reports[0].find(".txt"));
}

TEST_F(DownloadTest, KeepsEveryIdentifierInAFolderOfItsOwn) {
  std::ofstream(root_.path / "victim") << "untouched";
  const auto identifiers = split(R"(1 .. . / ../../victim a/b a%2Fb % \u0000 1\u0000 [x]*?\\)", ' ');
  std::set<std::string> files{download({{"IDSubtitle", R"("")"}})[0]};
  for (const std::string& identifier : identifiers) {
    const auto reports = download({{"IDSubtitle", '"' + identifier + '"'}});
    ASSERT_EQ(reports.size(), 1u) << identifier;
    EXPECT_EQ(reports[0].find('/'), reports[0].find("/film.eng.srt")) << identifier << reports[0];
    files.insert(reports[0]);
  }
  EXPECT_EQ(files.size(), identifiers.size() + 1);
  for (const auto& file : files) EXPECT_TRUE(std::filesystem::exists(root_.path / "Caprion" / file)) << file;
  EXPECT_EQ(contentOf(root_.path / "victim"), "untouched");
}

TEST_F(DownloadTest, TakesItsFolderFromTheBundle) {
  const std::pair<std::optional<Bundle::Value>, std::string> cases[] = {{std::nullopt, "Caprion"},
                                                                        {5.0, "Caprion"},
                                                                        {"My Player"s, "My Player"},
                                                                        {"../x"s, "..%2Fx"},
                                                                        {"..[a]*?\\"s, "..[a]*?\\"}};
  for (const auto& [name, folder] : cases) {
    Bundle::InfoDictionary dictionary;
    if (name) dictionary.emplace("CFBundleName", *name);
    Bundle::main().setInfoDictionary(dictionary);
    EXPECT_EQ(download(), std::vector{relative(root_.path / folder / "42/film.eng.srt")});
  }
  // The dictionary may change while another thread reads it.
  const std::jthread reader([](const std::stop_token& stop) {
    while (!stop.stop_requested()) (void)Bundle::main().infoDictionary();
  });
  for (int i = 0; i < 10'000; ++i) Bundle::main().setInfoDictionary(Bundle::InfoDictionary{{"x", true}});
  Bundle::main().setInfoDictionary(std::nullopt);
}

TEST_F(DownloadTest, FindsTheTemporaryFolder) {
  ::setenv("TMPDIR", "", 1);
  ::setenv("XDG_CACHE_HOME", (root_.path / "cache").c_str(), 1);
  EXPECT_EQ(download()[0], root_.path / "cache/Caprion/42/film.eng.srt");
  ::unsetenv("XDG_CACHE_HOME");
  const std::string home = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
  ::unsetenv("HOME");
  const passwd* const user = ::getpwuid(::geteuid());
  EXPECT_EQ(temporaryDirectory(), (user == nullptr ? ""s : user->pw_dir) + "/.cache");
  ::setenv("HOME", home.c_str(), 1);
}

TEST_F(DownloadTest, MayBeStartedFromWithinAnyReport) {
  const auto requests = std::make_shared<std::atomic<int>>(0);
  service().setHandler([requests](const stand_in::Request& request) -> std::optional<Answer> {
    if (request.target != "/42") return Answer{.body = "[]"};
    return ++*requests == 1 ? Answer{.body = "xx", .fault = Fault::truncate}
                            : Answer{.body = zip({"film.srt"})};
  });
  std::vector<std::string> reports;
  CaprionHelper::shared().downloadSubtitleFile(*subtitle(), [&](auto file, auto error) {
    ASSERT_TRUE(!file && error);
    reports = download();  // the same subtitle, while the failed download is still reporting
  });
  EXPECT_EQ(reports, std::vector{"42/film.eng.srt"s});

  constexpr int searches = 16;
  std::latch all(searches);
  std::atomic<int> files = 0;
  for (int i = 0; i < searches; ++i) {
    Caprion::shared().query({}, [&, i](auto) {
      for (const auto& report : download(texts("IDSubtitle", {std::to_string(i % 3)}))) {
        EXPECT_TRUE(report.ends_with("film.eng.srt")) << report;
        ++files;
      }
      all.count_down();
    });
  }
  all.wait();
  EXPECT_GE(files, 1);  // replaced downloads report nothing
}

/// Whether unzip is replaced by a program that never ends, and how often it was.
static std::atomic<bool> isEndless = false;
static std::atomic<int> endless = 0;

TEST_F(DownloadTest, EndsAtOnceWhateverItWaitsFor) {
  for (const std::string waitsFor : {"the lock", "the transfer", "unzip"}) {
    for (const bool isReplaced : {false, true}) {
      SCOPED_TRACE(waitsFor + (isReplaced ? ", replaced" : ", cancelled"));
      const bool hangs = waitsFor == "the transfer";
      service().setHandler([hangs](const stand_in::Request& request) -> std::optional<Answer> {
        if (hangs && request.target == "/42") return Answer{.fault = Fault::hang};
        return Answer{.body = zip({"film.srt"})};
      });
      const std::size_t requests = service().requests().size();
      isEndless = waitsFor == "unzip";
      endless = 0;
      CacheFolder folder("Caprion", "42");
      ASSERT_FALSE(folder.lock());
      std::ofstream(folder.path() + "/reported") << "by another";
      if (waitsFor != "the lock") folder.unlock();

      Downloader downloader, other;
      std::atomic<bool> hasEnded = false;
      std::thread waiting([&] {
        downloader.download(*subtitle(), [](const auto& report) { ADD_FAILURE() << line(report); });
        hasEnded = true;
      });
      if (hangs) service().waitForRequests(requests + 1);
      while (isEndless && endless == 0) std::this_thread::yield();
      isEndless = false;
      const auto another = texts("IDSubtitle ZipDownloadLink", {"43", "https://dl.test/43"});
      const std::vector good{"43/film.eng.srt"s};
      EXPECT_EQ(download(another, &other), good);
      EXPECT_FALSE(hasEnded);
      auto last = good;  // earlier ones may be replaced by the one that is just starting
      while (!hasEnded) isReplaced ? void(last = download(another, &downloader)) : downloader.cancel();
      EXPECT_EQ(last, good);
      waiting.join();
      EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
      EXPECT_TRUE(waitsFor != "the lock" || content() == "reported") << content();
      folder.unlock();
      EXPECT_FALSE(folder.lock({}, std::chrono::milliseconds(0)));
    }
  }
}

TEST_F(DownloadTest, WaitsForALockNoLongerThanItShould) {
  CacheFolder folder("Caprion", "42");
  ASSERT_FALSE(folder.lock());
  DownloadSlot slot;
  std::vector<std::string> reports;
  downloadSubtitle(
      *subtitle(), URLSession::shared(), slot, serviceRequest,
      [&](const auto& report) { reports.push_back(line(report)); }, std::chrono::milliseconds(20));
  EXPECT_EQ(reports, std::vector{"NSPOSIXErrorDomain " + std::to_string(ETIMEDOUT) + " " + folder.path() +
                                 ": another download doesn't let go of it"});
}

TEST_F(DownloadTest, MayLoseItsDownloaderInAReport) {
  auto downloader = std::make_unique<Downloader>();
  downloader->download(*subtitle(), [&](const auto& file) {
    EXPECT_TRUE(file);
    downloader.reset();
  });
  EXPECT_FALSE(downloader);
}

TEST_F(DownloadTest, OverlappingOnesLeaveTheFolderToTheLast) {
  service().setHandler(always({.body = zip({"a/b/c/film.srt", "x", "y", "z"})}));
  for (int round = 0; round < 10; ++round) {
    std::vector<std::jthread> threads;
    std::atomic<int> files = 0;
    Downloader shared;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&, i] {
        Downloader own;
        for (const auto& report : download({}, i < 2 ? &own : &shared)) {
          EXPECT_EQ(report, "42/a/b/c/film.eng.srt");
          ++files;
        }
      });
    }
    threads.clear();
    EXPECT_GE(files, 3);  // of the two that share a downloader, one may have replaced the other
    // A cancelled download must not remove the file that a later one has reported.
    EXPECT_TRUE(std::filesystem::exists(root_.path / "Caprion/42/a/b/c/film.eng.srt")) << round;
  }
}

}  // namespace caprion::test

extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const* argv, char* const* environment) {
  using namespace caprion::test;
  static const auto next = reinterpret_cast<decltype(&posix_spawn)>(::dlsym(RTLD_NEXT, "posix_spawn"));
  if (!isEndless) return next(child, path, actions, attributes, argv, environment);
  char* const sleep[] = {const_cast<char*>("sleep"), const_cast<char*>("600"), nullptr};
  const int error = next(child, "/usr/bin/sleep", actions, attributes, sleep, environment);
  ++endless;
  return error;
}
