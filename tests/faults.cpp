#include "faults.hpp"

#include "client/search_answer.hpp"
#include "client/search_request.hpp"
#include "download/archive_download.hpp"
#include "reports.hpp"

#include <iostream>

namespace caprion::test {

using stand_in::Answer;
using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

namespace {

void replace(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

stand_in::StandIn::Handler handlerOf(const Row& row, const std::string& body) {
  return [answer = row.answer, body](const stand_in::Request& request) -> std::optional<Answer> {
    if (!request.header("Authorization").empty()) return Answer{.body = "a user"};
    // A host may search before it downloads.
    if (body == goodArchive && request.target.starts_with("/search")) return Answer{.body = "[]"};
    Answer spoilt = request.host == "good.test" ? Answer{.body = "BODY"} : answer;
    replace(spoilt.body, "LENGTH", std::to_string(body.size()));
    replace(spoilt.body, "BODY", body);
    return spoilt;
  };
}

/// The reports of what Caprion::query or Caprion::download does, with a time-out of the row's.
Lines reportsHere(const Row& row, bool isSearch) {
  Lines reports;
  const auto timed = [&](URLRequest request) {
    if (row.search == timedOut) request.timeoutInterval = std::chrono::milliseconds(300);
    return request;
  };
  if (isSearch) {
    const auto report = std::make_shared<std::promise<std::string>>();
    const auto take = [report](auto body, const auto& response, const auto& error) {
      report->set_value(line(searchAnswer(std::move(body), response, error)));
    };
    const auto request = searchRequest(std::array{Arg(Param::query, "x")}).value();
    URLSession::shared().dataTask(timed(request), take)->resume();
    reports.push_back(wait(report->get_future()));
  } else {
    DownloadSlot slot;
    downloadSubtitle(
        *Subtitle::decode(recordFor(row.changes)).value(), URLSession::shared(), slot,
        [&](URL url) { return timed(serviceRequest(std::move(url))); },
        [&](const auto& report) { reports.push_back(line(report)); });
  }
  return reports;
}

/// What this process has open, but for sockets, some of which are kept.
std::multiset<std::string> openFiles() {
  std::multiset<std::string> found;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry, gone);
    if (!gone && !target.starts_with("socket:") && !target.starts_with("/proc/")) found.insert(target);
  }
  return found;
}

Lines reportsOf(const Row& row, bool isSearch, const fs::path& root) {
  const std::string& body = isSearch ? goodList : goodArchive;
  if (!row.host.empty()) {
    return reportsOfProcess(row, body, root, isSearch ? "search" : recordFor(row.changes));
  }
  const auto before = openFiles();
  service().setHandler(handlerOf(row, body));
  EXPECT_EQ(std::system(("cd " + root.string() + " && " + row.prepare).c_str()), 0);
  std::string temporary = row.folder;
  replace(temporary, "ROOT", root);
  ::setenv("TMPDIR", temporary.c_str(), 1);
  testing::internal::CaptureStdout();  // of answers that are no lists
  const Lines reports = reportsHere(row, isSearch);
  testing::internal::GetCapturedStdout();
  ::unsetenv("TMPDIR");
  // What the session has left to report would have come by the end of another search.
  service().setHandler(always({.body = goodList}));
  EXPECT_EQ(line(search({Arg(Param::query, "x")})), "1 record");
  const auto isClosed = [&](const auto& now) { return std::ranges::includes(before, now); };
  for (int i = 0; i < 20'000 && !isClosed(openFiles()); ++i) std::this_thread::yield();
  EXPECT_TRUE(isClosed(openFiles())) << "a file is left open";
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
  return reports;
}

/// Nothing half-made is left, nothing is there for others, and what was there before is.
void checkFolder(const fs::path& root, bool isGood) {
  struct stat status {};
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string name = entry.path().filename();
    const std::set<std::string> expected{"Caprion", "kept", "a"};
    EXPECT_TRUE(entry.path().parent_path() != root || expected.contains(name)) << name;
    EXPECT_FALSE(name.starts_with(".download")) << name;
    if (!fs::is_regular_file(entry.symlink_status())) continue;
    EXPECT_LE(entry.file_size(), (256u << 20) + 1) << name;
    const bool isUsers = name == "archive.zip" || name.ends_with(".eng.srt");
    EXPECT_TRUE(!isUsers || (::stat(entry.path().c_str(), &status) == 0 && (status.st_mode & 0600) == 0600))
        << name;
  }
  for (const fs::path& folder : {root / "Caprion/42", root / "Caprion"}) {
    if (::lstat(folder.c_str(), &status) == 0 && (isGood || folder.filename() == "42")) {
      EXPECT_EQ(status.st_mode, S_IFDIR | 0700u) << folder;
    }
  }
  EXPECT_EQ(contentOf(root / "kept"), "kept");
}

void checkOperation(const Row& row, bool isSearch, const std::string& expected) {
  SCOPED_TRACE(std::string(row.what) + (isSearch ? ", a search, " : ", a download, ") + row.host);
  const TemporaryFolder root;
  std::ofstream(root.path / "kept") << "kept";
  Lines reports = reportsOf(row, isSearch, root.path);
  if (reports == Lines{"skipped"}) return;
  for (std::string& report : reports) {
    replace(report, root.path.string() + "/Caprion/", "");
    replace(report, root.path, "ROOT");
    replace(report, "\n", " ");
  }
  const auto begins = [&](const std::string& report, const std::string& beginning) {
    const std::string whole = isSearch ? "1 record" : "42/film.eng.srt";
    return beginning == good ? report == whole : report.starts_with(beginning);
  };
  EXPECT_TRUE(std::ranges::equal(reports, split(expected, '\n'), begins))
      << "reported: " << testing::PrintToString(reports) << "\nexpected: " << expected;
  if (!row.content.empty()) {
    EXPECT_EQ(contentOfFolder(root.path / "Caprion/42"), row.content);
  }
  checkFolder(root.path, expected == good);
}

}  // namespace

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    if (!row.search.empty()) checkOperation(row, true, row.search);
    if (!row.download.empty()) checkOperation(row, false, row.download);
  }
}

Lines reportsOfProcess(const Row& row, const std::string& body, const fs::path& root,
                       const std::string& operation) {
  auto own = std::make_unique<stand_in::StandIn>("", handlerOf(row, body));
  for (const fs::path& folder : {own->authorityFile().parent_path(), root}) {
    fs::permissions(folder, fs::perms::all);
  }
  std::string command = PROCESS_UNDER_TEST " " + shellQuoted(row.host) + " " + shellQuoted(operation);
  if (row.host == "on a terminal")
    command = "script -qec " + shellQuoted(command + " 2>&3") + " /dev/null 3>&2";
  const std::string settings = settingsFor(*own);
  std::thread end;
  if (row.host == "bereft of its proxy") end = std::thread([&] { own->waitForRequests(1), own.reset(); });
  const auto run = runIn(settings, "cd / && TMPDIR=" + root.string() + " " + command);
  if (end.joinable()) end.join();
  if (run.status == 77) {
    std::cout << "[  SKIPPED ] " << row.what << ": not on this system, or not under this sanitizer\n";
    return {"skipped"};
  }
  EXPECT_EQ(run.status, 0);
  return split(run.error + run.output, '\n');
}

}  // namespace caprion::test
