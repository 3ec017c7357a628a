#pragma once

#include "client/search_answer.hpp"
#include "client/search_request.hpp"
#include "download/archive_download.hpp"
#include "fault_rows.hpp"
#include "process.hpp"
#include "reports.hpp"
#include "service.hpp"

namespace caprion::test {

// Runs the tables of the fault matrix, in fault_test.cpp.

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

inline stand_in::StandIn::Handler handlerOf(const Row& row, const std::string& body) {
  return [row, body](const stand_in::Request& request) {
    // Some hosts search before they download.
    const bool isFirst = body == goodArchive && request.target.starts_with("/search");
    return isFirst ? Answer{.body = "[]"} : answerTo(request, row, body);
  };
}

/// Does the same as Caprion::query or Caprion::download, but with the row's time-out; returns the reports.
inline Lines reportsHere(const Row& row, bool isSearch) {
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
    return {wait(report->get_future())};
  }
  Lines reports;
  DownloadSlot slot;
  downloadSubtitle(
      *subtitle(row.changes), URLSession::shared(), slot,
      [&](URL url) { return timed(serviceRequest(std::move(url))); },
      [&](const auto& report) { reports.push_back(line(report)); });
  return reports;
}

/// The reports of a process that runs the row's operation twice, followed by its standard output; "skipped"
/// if the host isn't possible here.
inline Lines reportsOfProcess(const Row& row, bool isSearch, const fs::path& root) {
  auto own = std::make_unique<stand_in::StandIn>("", handlerOf(row, isSearch ? goodList : goodArchive));
  for (const fs::path& folder : {own->authorityFile().parent_path(), root})
    fs::permissions(folder, fs::perms::all);
  const std::string operation = isSearch ? "search" : recordFor(row.changes);
  std::string command = "$HOST " + shellQuoted(row.host) + " " + shellQuoted(operation);
  if (row.host == "on a terminal")
    command = "script -qec " + shellQuoted(command + " 2>&3") + " /dev/null 3>&2";
  const std::string settings = settingsFor(*own);
  std::thread end;
  if (row.host == "bereft of its proxy") end = std::thread([&] { own->waitForRequests(1), own.reset(); });
  const auto run = runIn(settings, "export HOST='" PROCESS_UNDER_TEST "' TMPDIR=" + root.string() +
                                       "; cd $TMPDIR && " + row.prepare + " && cd / && " + command);
  if (end.joinable()) end.join();
  if (run.status == 77) {
    std::cout << "[  SKIPPED ] " << row.what << ": not on this system, or not under this sanitizer\n";
    return {"skipped"};
  }
  EXPECT_EQ(run.status, 0);
  return split(run.error + run.output, '\n');
}

/// The open files of this process. Sockets don't count, as connections are kept.
inline std::multiset<std::string> openFiles() {
  std::multiset<std::string> found;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry, gone);
    if (!gone && !target.starts_with("socket:") && !target.starts_with("/proc/")) found.insert(target);
  }
  return found;
}

inline Lines reportsOf(const Row& row, bool isSearch, const fs::path& root) {
  if (!row.host.empty()) return reportsOfProcess(row, isSearch, root);
  const auto before = openFiles();
  service().setHandler(handlerOf(row, isSearch ? goodList : goodArchive));
  EXPECT_EQ(std::system(("cd " + root.string() + " && " + row.prepare).c_str()), 0);
  ::setenv("TMPDIR", replaced(row.folder, "ROOT", root).c_str(), 1);
  testing::internal::CaptureStdout();  // hides answers that aren't lists
  const Lines reports = reportsHere(row, isSearch);
  testing::internal::GetCapturedStdout();
  ::unsetenv("TMPDIR");
  // Any further report of the session would come before the end of another search.
  service().setHandler(always({.body = goodList}));
  EXPECT_EQ(line(search({Arg(Param::query, "x")})), "1 record");
  const auto isClosed = [&](const auto& now) { return std::ranges::includes(before, now); };
  for (int i = 0; i < 20'000 && !isClosed(openFiles()); ++i) std::this_thread::yield();
  EXPECT_TRUE(isClosed(openFiles())) << "a file is left open";
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
  return reports;
}

/// Checks that no partial files are left, that the folders are private, and that existing files are kept.
inline void checkFolder(const fs::path& root, bool isGood) {
  const auto modeOf = [](const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
  };
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string name = entry.path().filename();
    const std::set<std::string> expected{"Caprion", "kept", "a"};
    EXPECT_TRUE(entry.path().parent_path() != root || expected.contains(name)) << name;
    EXPECT_FALSE(name.starts_with(".download")) << name;
    if (!fs::is_regular_file(entry.symlink_status())) continue;
    EXPECT_LE(entry.file_size(), (256u << 20) + 1) << name;
    const bool isUsers = name == "archive.zip" || name.ends_with(".eng.srt");
    EXPECT_TRUE(!isUsers || (modeOf(entry.path()) & 0600) == 0600) << name;
  }
  for (const fs::path& folder : {root / "Caprion/42", root / "Caprion"}) {
    const bool isChecked = modeOf(folder) != 0 && (isGood || folder.filename() == "42");
    EXPECT_TRUE(!isChecked || modeOf(folder) == (S_IFDIR | 0700)) << folder;
  }
  EXPECT_EQ(contentOf(root / "kept"), "kept");
}

inline void check(const Row& row, bool isSearch) {
  const std::string& expected = isSearch ? row.search : row.download;
  if (expected.empty()) return;
  SCOPED_TRACE(std::string(row.what) + (isSearch ? ", a search, " : ", a download, ") + row.host);
  const TemporaryFolder root;
  std::ofstream(root.path / "kept") << "kept";
  Lines reports = reportsOf(row, isSearch, root.path);
  if (reports == Lines{"skipped"}) return;
  // Some archives contain folders that only root can read or remove.
  const std::string open =
      "find " + root.path.string() + "/Caprion -type d -exec chmod u+rwx {} ';' 2>/dev/null";
  if (::geteuid() != 0) (void)!std::system(open.c_str());
  for (std::string& report : reports) {
    report = replaced(replaced(report, root.path.string() + "/Caprion/", ""), root.path, "ROOT");
    std::ranges::replace(report, '\n', ' ');
  }
  const auto begins = [&](const auto& report, const auto& beginning) {
    return isExpected(report, beginning, isSearch);
  };
  EXPECT_TRUE(std::ranges::equal(reports, split(expected, '\n'), begins))
      << "reported: " << testing::PrintToString(reports) << "\nexpected: " << expected;
  EXPECT_TRUE(row.content.empty() || row.content == contentOfFolder(root.path / "Caprion/42"))
      << contentOfFolder(root.path / "Caprion/42");
  checkFolder(root.path, expected == good);
}

/// Runs the search and the download of each row, and checks their reports. After each, the session must still
/// work, and no open file, child process or partial file may be left.
inline void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) check(row, true), check(row, false);
}

}  // namespace caprion::test
