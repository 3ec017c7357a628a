// Searches and downloads from many threads for a long time, through a stand-in that spoils one answer in
// three by a fault of the fault matrix. Checks that each report comes once and is the fault's, and the
// memory, files, sockets and threads of the process.
//
// usage: caprion_soak [SECONDS [SEED]]

#include "fault_rows.hpp"
#include "reports.hpp"

#include <caprion/caprion.hpp>

#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace caprion;
using namespace caprion::test;

namespace {

constexpr unsigned hostThreads = 8;
constexpr unsigned subtitles = 12;
constexpr int mostSearches = 100;  // at a time
constexpr long rssAllowance = 16;  // MiB, in addition to a quarter of the memory

std::vector<Row> rows;  // the first is without a fault
std::atomic<unsigned> nextSeed;

void makeRows() {
  rows = {{.what = "no fault", .search = good, .download = good}};
  for (const auto& table : {faultsOfTheServer(), faultsOfTheWayThere(), faultsOfTheArchive()})
    rows.insert(rows.end(), table.begin(), table.end());
  // Not those that take a minute, nor the answer of 64 MiB.
  std::erase_if(rows,
                [](const Row& row) { return row.search == timedOut || row.answer.body.size() > 1 << 24; });
}

/// A number below the limit.
unsigned roll(unsigned limit) {
  thread_local std::mt19937 random(++nextSeed);
  return std::uniform_int_distribution(0u, limit - 1)(random);
}

/// The number of a row that has this report. Those whose answers or files grow to a limit are rare.
std::size_t draw(std::string Row::*report) {
  if (roll(3) > 0) return 0;
  for (;;) {
    const std::size_t number = roll(static_cast<unsigned>(rows.size()));
    const std::string& expected = rows[number].*report;
    const bool isLarge = expected == tooLarge || expected == posix(EFBIG);
    if (!expected.empty() && (!isLarge || roll(10) == 0)) return number;
  }
}

// ---- The service, in a process of its own ----

/// A target ends with the operation and the row's number ("/search/query-7", "/zip-7"), also if redirected.
Answer answerTo(const stand_in::Request& request) {
  const std::string& target = request.target;
  const auto number = std::strtoul(target.c_str() + target.rfind('-') + 1, nullptr, 10);
  const bool isSearch = target.find("query-") != std::string::npos;
  Answer answer = test::answerTo(request, rows.at(number), isSearch ? goodList : goodArchive);
  for (auto& [name, value] : answer.headers)
    if (name == "Location") value += (isSearch ? "?query-" : "?zip-") + std::to_string(number);
  if (roll(50) == 0) answer.delay = std::chrono::milliseconds(roll(500));
  return answer;
}

/// Serves until the host exits; returns its status.
int serve(int toHost, pid_t host) {
  const stand_in::StandIn service({}, answerTo);
  const std::string places = service.proxyURL() + '\n' + service.authorityFile().string() + '\n';
  if (::write(toHost, places.data(), places.size()) < 0) return 1;
  ::close(toHost);
  int status = 1;
  ::waitpid(host, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// ---- The host ----

std::string root = fs::temp_directory_path() / "caprion-soak-XXXXXX";
std::atomic<int> violations = 0;
std::atomic<int> searchesUnderWay = 0;
std::atomic<long> searches = 0, downloads = 0;
std::mutex outcomesMutex;
std::map<std::string, long> outcomes;

void violated(const std::string& what) {
  ++violations;
  std::fprintf(stderr, "VIOLATION: %s\n", what.c_str());
}

void count(const std::string& outcome) {
  const std::lock_guard lock(outcomesMutex);
  ++outcomes[outcome];
}

void check(const std::string& report, const Row& row, bool isSearch) {
  const std::string operation = isSearch ? "search: " : "download: ";
  if (isSearch && report.starts_with("NSURLErrorDomain -999 ")) return count(operation + "cancelled");
  count(operation + row.what);
  if (!isExpected(report, isSearch ? row.search : row.download, isSearch))
    violated(operation + row.what + ": " + report);
}

void download() {
  const std::size_t number = draw(&Row::download);
  const std::string id = std::to_string(roll(subtitles));
  Changes changes =
      texts("IDSubtitle ZipDownloadLink", {id, "https://dl.test/zip-" + std::to_string(number)});
  changes.insert(changes.end(), rows[number].changes.begin(), rows[number].changes.end());
  const auto subtitle = *Subtitle::decode(recordFor(changes));
  ++downloads;
  auto reports = std::make_shared<std::atomic<int>>(0);
  const auto completion = [=](const auto& report) {
    if (++*reports > 1) violated("a download with several reports");
    const std::string text = replaced(line(report), root + "/Caprion/" + id + '/', "42/");
    check(replaced(text, "\n", " "), rows[number], false);
  };
  if (roll(2) == 0) {
    Caprion::shared().download(*subtitle, completion);
    if (*reports == 0) count("download: replaced");
  } else {
    Downloader().download(*subtitle, completion);
    if (*reports == 0) violated("a download without a report");
  }
}

void search() {
  ++searches;
  ++searchesUnderWay;
  const std::size_t number = draw(&Row::search);
  auto reports = std::make_shared<std::atomic<int>>(0);
  Caprion::shared().query({Arg(Param::query, std::to_string(number))}, [=](const auto& report) {
    if (++*reports > 1) violated("a search with several reports");
    check(line(report), rows[number], true);
    if (roll(16) == 0) std::this_thread::sleep_for(5ms);
    if (roll(16) == 0) search();
    if (roll(16) == 0) download();
    --searchesUnderWay;
  });
}

void work(std::chrono::steady_clock::time_point end) {
  while (std::chrono::steady_clock::now() < end) {
    if (roll(8) == 0) {
      download();
    } else if (searchesUnderWay < mostSearches) {
      search();
    } else {
      std::this_thread::sleep_for(1ms);
    }
    if (roll(10) == 0) Caprion::shared().cancelQueryTask();
  }
}

struct Holdings {
  long megabytes = 0, descriptors = 0, sockets = 0;
  long threads = 0;  // the library's

  static Holdings now() {
    Holdings held;
    long pages = 0;
    std::ifstream("/proc/self/statm") >> held.megabytes >> pages;
    held.megabytes = pages * ::sysconf(_SC_PAGESIZE) >> 20;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      const std::string target = fs::read_symlink(entry, gone);
      ++(target.starts_with("socket:") ? held.sockets : held.descriptors);
    }
    for (const auto& entry : fs::directory_iterator("/proc/self/task")) {
      std::string name;
      std::getline(std::ifstream(entry.path() / "comm"), name);
      held.threads += name == "caprion";
    }
    return held;
  }
  void print(const char* when) const {
    std::fprintf(stderr, "%-10s %8ld searches %7ld downloads %5ld MiB %3ld files %3ld sockets %3ld threads\n",
                 when, searches.load(), downloads.load(), megabytes, descriptors, sockets, threads);
  }
};

int host(int fromService, int seconds) {
  for (Row& row : rows) std::string().swap(row.answer.body);  // only the service needs them
  std::string places;
  char byte = 0;
  while (::read(fromService, &byte, 1) == 1) places += byte;
  ::close(fromService);
  const std::size_t line = places.find('\n');
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, places.substr(0, line).c_str(), 1);
  ::setenv("no_proxy", "127.0.0.1", 1);  // where nothing listens
  ::setenv("SSL_CERT_FILE", places.substr(line + 1, places.size() - line - 2).c_str(), 1);
  if (::mkdtemp(root.data()) == nullptr) return 1;
  ::setenv("TMPDIR", root.c_str(), 1);
  // The library writes invalid answers there.
  const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(null, STDOUT_FILENO);
  ::close(null);

  const Holdings atStart = Holdings::now();
  atStart.print("start");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < hostThreads; ++i) threads.emplace_back(work, end);
  long warm = 0, last = 0;  // MiB: the most in the first half, and at the end
  for (int second = 10; second <= seconds; second += 10) {
    Holdings held = Holdings::now();
    for (int i = 0; i < 10; ++i) {
      std::this_thread::sleep_for(1s);
      const long megabytes = std::exchange(held, Holdings::now()).megabytes;
      held.megabytes = std::min(held.megabytes, megabytes);  // without large answers
    }
    held.print((std::to_string(second) + " s").c_str());
    if (second <= seconds / 2) warm = std::max(warm, held.megabytes);
    last = held.megabytes;
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 900 && searchesUnderWay > 0; ++i) std::this_thread::sleep_for(100ms);
  if (searchesUnderWay > 0) violated(std::to_string(searchesUnderWay) + " searches without a report");
  std::this_thread::sleep_for(25s);  // idle threads end after ten

  const Holdings atEnd = Holdings::now();
  atEnd.print("end");
  if (std::min(last, atEnd.megabytes) > warm + warm / 4 + rssAllowance) violated("memory grows");
  if (atEnd.descriptors > atStart.descriptors) violated("files are left open");
  if (atEnd.sockets > 40) violated("sockets are left open");
  if (atEnd.threads > 2) violated("threads are left");
  if (::waitpid(-1, nullptr, WNOHANG) != -1) violated("a child is left");
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const fs::path path = entry.path().lexically_relative(root);
    if (*path.begin() != "Caprion" || path.filename().string().starts_with(".download"))
      violated("left: " + path.string());
  }
  fs::remove_all(root);
  for (const auto& [outcome, times] : outcomes) std::fprintf(stderr, "%9ld %s\n", times, outcome.c_str());
  std::fprintf(stderr, "%d violations\n", violations.load());
  return violations == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 600;
  nextSeed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
  std::fprintf(stderr, "%d seconds, seed %u\n", seconds, nextSeed.load());
  ::mallopt(M_MMAP_THRESHOLD, 128 << 10);  // else malloc keeps large blocks after a while
  makeRows();
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return 1;
  const pid_t child = ::fork();
  if (child < 0) return 1;
  if (child == 0) {
    ::close(ends[1]);
    std::exit(host(ends[0], seconds));
  }
  ::close(ends[0]);
  return serve(ends[1], child);
}
