#include "download/cache_folder.hpp"
#include "platform/sha256.hpp"
#include "process.hpp"
#include "service.hpp"
#include "zip_writer.hpp"

#include <caprion/bundle.hpp>
#include <caprion/caprion_helper.hpp>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <latch>
#include <set>
#include <thread>

namespace caprion::test {

using stand_in::Answer;
using stand_in::ZipWriter;
using Fault = Answer::Fault;
using namespace std::string_literals;

namespace {

using Changes = std::vector<std::pair<std::string, std::string>>;

/// An archive of files, each of which holds its own name.
std::string zip(const std::vector<std::string>& names) {
  ZipWriter writer;
  for (const std::string& name : names) name.ends_with('/') ? writer.addFolder(name) : writer.add(name, name);
  return writer.finish();
}

std::shared_ptr<const Subtitle> subtitle(const Changes& changes = {}) {
  Changes all{{"IDSubtitle", "\"42\""},
              {"SubFileName", "\"film.srt\""},
              {"SubLanguageID", "\"ENG\""},
              {"SubFormat", "\"SRT\""},
              {"ZipDownloadLink", "\"https://dl.test/42\""}};
  all.insert(all.end(), changes.begin(), changes.end());
  return Subtitle::decode(record(all)).value();
}

}  // namespace

class DownloadTest : public testing::Test {
 protected:
  DownloadTest() { ::setenv("TMPDIR", root_.path.c_str(), 1); }
  ~DownloadTest() override {
    // Nothing is left beside the application's folder.
    for (const auto& entry : std::filesystem::directory_iterator(root_.path)) {
      EXPECT_FALSE(entry.path().filename().string().starts_with("caprion-")) << entry;
    }
    ::unsetenv("TMPDIR");
  }

  std::string relative(const std::string& path) const {
    const std::string folder = root_.path.string() + "/Caprion/";
    return path.starts_with(folder) ? path.substr(folder.size()) : path;
  }

  /// A report as a line: the file below the application's folder, or the domain, code, description and
  /// suggestion.
  std::string line(const Result<URL>& report) const {
    if (report) return relative(report->path());
    const Error& error = report.error();
    std::string text = error.domain() + " " + std::to_string(error.code()) + " ";
    text += error.domain() == NSURLErrorDomain ? "" : std::string(error.localizedDescription());
    if (const auto hint = error.localizedRecoverySuggestion()) text.append(" [").append(*hint).append("]");
    return text;
  }

  std::vector<std::string> download(const Changes& changes = {}) const {
    std::vector<std::string> lines;
    Caprion::shared().download(*subtitle(changes),
                               [&](const auto& report) { lines.push_back(line(report)); });
    return lines;
  }

  /// Everything below the subtitle's folder, sorted.
  std::string content(const std::string& folder = "42") const {
    const auto path = root_.path / "Caprion" / folder;
    if (!std::filesystem::exists(path)) return "no folder";
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      names.insert(entry.path().string().substr(path.string().size() + 1));
    }
    std::string all;
    for (const auto& name : names) all += (all.empty() ? "" : " ") + name;
    return all;
  }

  const TemporaryFolder root_;
};

TEST_F(DownloadTest, ReportsEachOutcomeOnceAndLeavesWhatItSays) {
  const std::string notFound = " 0 No subtitle file found in the zip archive. ";
  ZipWriter links;
  links.addSymlink("film.srt", "../../../outside");
  ZipWriter inside;
  inside.add("a/text", "x");
  inside.addSymlink("film.srt", "a/text");
  ZipWriter folderLink;
  folderLink.addSymlink("x", "../..");
  folderLink.add("x/film.srt", "through the link");

  struct Case {
    const char* what;
    Changes changes;
    Answer answer;
    std::string report, content;
  };
  for (const Case& c : {
           Case{"no link",
                {{"ZipDownloadLink", "null"}},
                {},
                " 0 No zip download link available",
                "no folder"},
           Case{"empty link",
                {{"ZipDownloadLink", "\"\""}},
                {},
                " 0 Cannot create URL from zipDownloadLink",
                "no folder"},
           Case{"no URL",
                {{"ZipDownloadLink", "\"a b\""}},
                {},
                " 0 Cannot create URL from zipDownloadLink",
                "no folder"},
           Case{"ftp", {{"ZipDownloadLink", "\"ftp://dl.test/42\""}}, {}, "NSURLErrorDomain -1002 ", ""},
           Case{"file", {{"ZipDownloadLink", "\"file:///etc/passwd\""}}, {}, "NSURLErrorDomain -1002 ", ""},
           Case{"mail", {{"ZipDownloadLink", "\"mailto:a@b.test\""}}, {}, "NSURLErrorDomain -1002 ", ""},
           Case{"reset", {}, {.fault = Fault::reset}, "NSURLErrorDomain -1005 ", ""},
           Case{"cut short",
                {},
                {.body = zip({"film.srt"}), .fault = Fault::truncate},
                "NSURLErrorDomain -1005 ",
                ""},
           Case{"too large",
                {},
                {.body = std::string(1 << 20, 'x'), .fault = Fault::endless},
                "NSURLErrorDomain -1103 ",
                ""},
           Case{"to http",
                {},
                {.status = 302, .headers = {{"Location", "http://dl.test/"}}},
                "NSURLErrorDomain -1002 ",
                ""},
           Case{"empty body", {}, {}, notFound + "[archive.zip\n]", "archive.zip"},
           Case{"error page",
                {},
                {.status = 404, .body = "<html>"},
                notFound + "[archive.zip\n]",
                "archive.zip"},
           Case{"good",
                {},
                {.body = zip({"film.srt", "n.nfo"})},
                "42/film.eng.srt",
                "archive.zip film.eng.srt n.nfo"},
           Case{"in a folder",
                {},
                {.body = zip({"a/b/Movie.Name.srt"})},
                "42/a/b/Movie.Name.eng.srt",
                "a a/b a/b/Movie.Name.eng.srt archive.zip"},
           Case{"other case",
                {{"SubFileName", "\"film.SRT\""}},
                {.body = zip({"film.srt"})},
                "",
                "archive.zip film.srt"},
           Case{"hidden",
                {},
                {.body = zip({".a/film.srt", ".film.srt"})},
                notFound + "[archive.zip\n]",
                ".a .a/film.srt .film.srt archive.zip"},
           Case{"a folder of that name",
                {},
                {.body = zip({"film.srt/"})},
                "42/film.eng.srt",
                "archive.zip film.eng.srt"},
           Case{"no extension",
                {{"SubFileName", "\"film\""}},
                {.body = zip({"README"})},
                "42/README.eng.srt",
                "README.eng.srt archive.zip"},
           Case{"name with folders",
                {{"SubFileName", "\"a.b/film.txt/\""}},
                {.body = zip({"x.txt"})},
                "42/x.eng.srt",
                "archive.zip x.eng.srt"},
           Case{"the archive itself",
                {{"SubFileName", "\"x.zip\""}},
                {.body = "x"},
                "42/archive.eng.srt",
                "archive.eng.srt"},
           Case{"name taken",
                {{"SubFileName", "\"x.a\""}},
                {.body = zip({"x.a", "x.eng.srt"})},
                "NSPOSIXErrorDomain 17 " + root_.path.string() + "/Caprion/42/x.eng.srt: File exists",
                "archive.zip x.a x.eng.srt"},
           Case{"slashes",
                {{"SubLanguageID", "\"../../\xC3\x84\""}, {"SubFormat", R"("/\u0000")"}},
                {.body = zip({"film.srt"})},
                "42/film...%2F..%2F\xC3\xA4.%2F%00",
                "archive.zip film...%2F..%2F\xC3\xA4.%2F%00"},
           Case{"empty parts",
                {{"SubLanguageID", "\"\""}, {"SubFormat", "\"\""}},
                {.body = zip({"film.srt"})},
                "42/film..",
                "archive.zip film.."},
           Case{"link out",
                {},
                {.body = links.finish()},
                " 0 The unzipped subtitle file doesn't exist",
                "archive.zip film.srt"},
           Case{"link in",
                {},
                {.body = inside.finish()},
                "42/film.eng.srt",
                "a a/text archive.zip film.eng.srt"},
           Case{"through a link", {}, {.body = folderLink.finish()}, "", "archive.zip x"},
           Case{"ways out",
                {},
                {.body = zip({"../film.srt", "../../film.srt", "/film.srt"})},
                "42/film.eng.srt",
                "archive.zip film.eng.srt"},
           Case{"an archive inside",
                {},
                {.body = zip({"archive.zip", "film.srt"})},
                "42/film.eng.srt",
                "archive.zip film.eng.srt"},
           Case{"bytes", {}, {.body = zip({"\xE9.srt"})}, "42/\xE9.eng.srt", "archive.zip \xE9.eng.srt"},
       }) {
    std::filesystem::remove_all(root_.path / "Caprion");
    service().setHandler(always(c.answer));
    const auto reports = download(c.changes);
    ASSERT_EQ(reports.size(), 1u) << c.what;
    if (!c.report.empty()) {
      EXPECT_EQ(reports[0], c.report) << c.what;
    }
    EXPECT_EQ(content(), c.content) << c.what;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root_.path), {}),
              c.content == "no folder" ? 0 : 1);
  }
}

TEST_F(DownloadTest, SendsTheServicesHeaderAndStartsAfresh) {
  service().setHandler(always({.body = zip({"film.srt"})}));
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
  // A folder comes before what is in it.
  EXPECT_LT(reports[0].find("d\n"), reports[0].find(".txt"));
}

TEST_F(DownloadTest, KeepsEveryIdentifierInAFolderOfItsOwn) {
  service().setHandler(always({.body = zip({"film.srt"})}));
  const std::string victim = root_.path / "victim";
  std::ofstream(victim) << "untouched";
  std::set<std::string> folders;
  const std::vector<std::string> identifiers{R"("1")",
                                             R"("..")",
                                             R"(".")",
                                             R"("/")",
                                             R"("")",
                                             R"("../../victim")",
                                             R"("a/b")",
                                             R"("a%2Fb")",
                                             R"("%")",
                                             R"("\u0000")",
                                             R"("1\u0000")",
                                             '"' + std::string(5'000, 'x') + '"',
                                             '"' + std::string(5'001, 'x') + '"'};
  for (const std::string& identifier : identifiers) {
    const auto reports = download({{"IDSubtitle", identifier}});
    ASSERT_EQ(reports.size(), 1u) << identifier;
    EXPECT_TRUE(reports[0].ends_with("/film.eng.srt")) << identifier << reports[0];
    EXPECT_EQ(std::count(reports[0].begin(), reports[0].end(), '/'), 1) << identifier << reports[0];
    folders.insert(reports[0]);
  }
  EXPECT_EQ(folders.size(), identifiers.size());
  for (const auto& file : folders)
    EXPECT_TRUE(std::filesystem::exists(root_.path / "Caprion" / file)) << file;
  EXPECT_EQ(contentOf(victim), "untouched");

  EXPECT_EQ(pathComponent("a b.c"), "a b.c");
  EXPECT_EQ(pathComponent("..\n"), "%2E.%0A");
  // From the examples of the standard.
  EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(DownloadTest, TakesItsFolderFromTheBundle) {
  service().setHandler(always({.body = zip({"film.srt"})}));
  struct Case {
    std::optional<Bundle::InfoDictionary> dictionary;
    std::string folder;
  };
  for (const Case& c : {Case{{}, "Caprion"}, Case{Bundle::InfoDictionary{}, "Caprion"},
                        Case{Bundle::InfoDictionary{{"CFBundleName", 5.0}}, "Caprion"},
                        Case{Bundle::InfoDictionary{{"CFBundleName", "My Player"s}}, "My Player"},
                        Case{Bundle::InfoDictionary{{"CFBundleName", "../x"s}}, "%2E.%2Fx"}}) {
    Bundle::main().setInfoDictionary(c.dictionary);
    const std::string expected = root_.path / c.folder / "42/film.eng.srt";
    EXPECT_EQ(download(), std::vector{relative(expected)});
    Bundle::main().setInfoDictionary(std::nullopt);
  }
}

TEST_F(DownloadTest, FollowsNothingThatAnotherMayHavePlaced) {
  service().setHandler(always({.body = zip({"film.srt"})}));
  const auto application = root_.path / "Caprion";
  const auto elsewhere = root_.path / "elsewhere";
  std::filesystem::create_directories(elsewhere / "42");
  std::ofstream(elsewhere / "42/kept") << "kept";

  std::filesystem::create_directory_symlink(elsewhere, application);
  EXPECT_EQ(download()[0], "NSPOSIXErrorDomain 40 " + application.string() + ": it is a symbolic link");
  std::filesystem::remove(application);
  std::ofstream(application) << "a file";
  EXPECT_EQ(download()[0], "NSPOSIXErrorDomain 20 " + application.string() + ": Not a directory");
  std::filesystem::remove(application);
  if (::geteuid() == 0) {
    std::filesystem::create_directory(application);
    ASSERT_EQ(::chown(application.c_str(), 65'534, 65'534), 0);
    EXPECT_EQ(download()[0], "NSPOSIXErrorDomain 1 " + application.string() + ": it belongs to another user");
    std::filesystem::remove(application);
  }
  // The subtitle's own folder is made anew, whatever it was.
  std::filesystem::create_directory(application);
  std::filesystem::create_directory_symlink(elsewhere / "42", application / "42");
  EXPECT_EQ(download()[0], "42/film.eng.srt");
  EXPECT_EQ(contentOf(elsewhere / "42/kept"), "kept");
  struct stat status {};
  ASSERT_EQ(::stat((application / "42").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(DownloadTest, FindsTheTemporaryFolder) {
  service().setHandler(always({.body = zip({"film.srt"})}));
  const std::string file = root_.path / "file";
  std::ofstream(file) << "";
  ::setenv("TMPDIR", file.c_str(), 1);
  EXPECT_EQ(download()[0], "NSPOSIXErrorDomain 20 " + file + ": Not a directory");
  ::setenv("TMPDIR", (root_.path / "new/er//").c_str(), 1);
  EXPECT_EQ(download()[0], root_.path / "new/er/Caprion/42/film.eng.srt");
  ::setenv("TMPDIR", "", 1);
  ::setenv("XDG_CACHE_HOME", (root_.path / "cache").c_str(), 1);
  EXPECT_EQ(download()[0], root_.path / "cache/Caprion/42/film.eng.srt");
  ::unsetenv("XDG_CACHE_HOME");
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
      for (const auto& report : download({{"IDSubtitle", '"' + std::to_string(i % 3) + '"'}})) {
        EXPECT_TRUE(report.ends_with("film.eng.srt")) << report;
        ++files;
      }
      all.count_down();
    });
  }
  all.wait();
  EXPECT_GE(files, 1);  // those that a later one has cancelled report nothing
}

TEST_F(DownloadTest, OneThatHasGivenWayLeavesTheFolderAlone) {
  service().setHandler(always({.body = zip({"film.srt"})}));
  CacheFolder folder("Caprion", "42");
  ASSERT_FALSE(folder.lock());
  std::ofstream(folder.path() + "/reported") << "by another";
  std::vector<std::string> reports;
  std::thread waiting([&] { reports = download(); });
  // Until the kernel lists somebody of this process who waits for a lock.
  const auto isWaiting = [&] {
    std::istringstream locks(contentOf("/proc/locks"));
    for (std::string line; std::getline(locks, line);) {
      if (line.find("-> FLOCK") != std::string::npos &&
          line.find(" " + std::to_string(::getpid()) + " ") != std::string::npos) {
        return true;
      }
    }
    return false;
  };
  while (!isWaiting()) std::this_thread::yield();
  EXPECT_EQ(download({{"IDSubtitle", "\"43\""}}), std::vector{"43/film.eng.srt"s});
  folder.unlock();
  waiting.join();
  EXPECT_TRUE(reports.empty());
  EXPECT_EQ(content(), "reported");
}

TEST_F(DownloadTest, OverlappingOnesLeaveTheFolderToTheLast) {
  service().setHandler(always({.body = zip({"a/b/c/film.srt", "x", "y", "z"})}));
  for (int round = 0; round < 25; ++round) {
    std::vector<std::thread> threads;
    std::atomic<int> files = 0;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        const auto reports = download();
        EXPECT_LE(reports.size(), 1u);
        for (const auto& report : reports) EXPECT_EQ(report, "42/a/b/c/film.eng.srt");
        files += static_cast<int>(reports.size());
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_GE(files, 1);
    // One that was cancelled must not take away what a later one has reported.
    EXPECT_TRUE(std::filesystem::exists(root_.path / "Caprion/42/a/b/c/film.eng.srt")) << round;
  }
}

}  // namespace caprion::test
