// Searches and downloads from many threads for a long time, through a stand-in that spoils one answer in
// three. Counts the outcomes, and checks the memory, files, sockets and threads of the process.
//
// usage: caprion_soak [SECONDS [SEED]]

#include "stand_in.hpp"
#include "zip_writer.hpp"

#include <caprion/caprion.hpp>

#include <fcntl.h>
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
using stand_in::Answer;
using stand_in::ZipWriter;
using Fault = Answer::Fault;
using namespace std::chrono_literals;

namespace {

constexpr unsigned hostThreads = 8;
constexpr int subtitles = 12;
constexpr int mostSearches = 100;  // at a time
constexpr long rssAllowance = 16;  // MiB, in addition to a quarter of the memory

std::string record(int number) {
  const std::string id = std::to_string(number);
  return R"({"MatchedBy":"","LanguageName":"","ISO639":"","MovieName":"","MovieYear":"","IDMovieImdb":"",)"
         R"("SeriesIMDBParent":"","SeriesSeason":"","SeriesEpisode":"","SubSumCD":"","MovieKind":"movie",)"
         R"("SubFileName":"film.srt","SubLanguageID":"eng","SubFormat":"srt","IDSubtitle":")" +
         id + R"(","ZipDownloadLink":"https://dl.test/)" + id + "\"}";
}

// ---- The service, in a process of its own ----

Answer redirect(const std::string& to) { return {.status = 302, .headers = {{"Location", to}}}; }

std::string many(const std::string& lines) {
  std::string all;
  while (all.size() < 300'000) all += lines;
  return all;
}

std::string archiveOf(const std::string& name) {
  ZipWriter writer;
  writer.add(name, "1\n00:00:01,000 --> 00:00:02,000\nHello\n");
  return writer.finish();
}

Answer answerTo(const stand_in::Request& request, unsigned roll) {
  static const std::string archive = archiveOf("film.srt");
  static const std::string list = '[' + record(1) + ',' + record(2) + ']';
  const std::string& body = request.target.starts_with("/search") ? list : archive;
  if (roll % 3 != 0) return {.body = body};
  const bool isRare = roll % 100 == 0;
  const Answer faults[] = {
      {.fault = Fault::reset},
      {.fault = Fault::close},
      {.body = body, .fault = Fault::truncate},
      {.body = "[]", .fault = Fault::drip, .interval = 1ms},
      {.body = body, .fault = Fault::garbage},
      {.fault = Fault::close, .delay = 1s},
      redirect("https://expired.test/"),
      redirect("https://cut.test/"),
      redirect("https://closed.test/"),
      redirect(request.target),
      {.status = 503, .body = "<html>"},
      {.headers = {{"Content-Encoding", "gzip"}}, .body = body},
      {.headers = {{"Content-Encoding", "gzip, gzip"}}, .body = body},
      {.headers = {{"Content-Length", "100000"}}, .body = body},
      {.body = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n" + many("A: b\r\n"),
       .fault = Fault::garbage},
      {.body = many("HTTP/1.1 103 \r\n\r\n"), .fault = Fault::garbage},
      {.body = body, .stray = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nstray"},
      {302, {{"Location", "https://dl.test/"}}, std::string(1'000, 'x'), Fault::endless},
      {302, {{"Location", "https://dl.test/"}}, std::string(1'000, 'x'), Fault::truncate},
      {.body = body.substr(0, body.size() / 2)},
      {.body = archiveOf("../film.srt")},
      {.body = archiveOf("film.txt")},
      {.body = body, .delay = 200ms},
      isRare ? Answer{.body = std::string(1 << 20, ' '), .fault = Fault::endless}
             : redirect("http://dl.test/"),
  };
  return faults[roll / 3 % std::size(faults)];
}

/// Serves until the host exits; returns its status.
int serve(int toHost, pid_t host, unsigned seed) {
  std::atomic<unsigned> requests = seed;
  const stand_in::StandIn service({}, [&](const auto& request) {
    std::minstd_rand random(++requests);
    random.discard(3);
    return answerTo(request, static_cast<unsigned>(random()));
  });
  const std::string places = service.proxyURL() + '\n' + service.authorityFile().string() + '\n';
  if (::write(toHost, places.data(), places.size()) < 0) return 1;
  ::close(toHost);
  int status = 1;
  ::waitpid(host, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// ---- The host ----

std::atomic<int> violations = 0;
std::atomic<int> searchesUnderWay = 0, downloadsUnderWay = 0;
std::atomic<long> searches = 0, downloads = 0, replaced = 0;
std::mutex outcomesMutex;
std::map<std::string, long> outcomes;

void violated(const std::string& what) {
  ++violations;
  std::fprintf(stderr, "VIOLATION: %s\n", what.c_str());
}

template <typename T>
void count(const char* operation, const Result<T>& result) {
  std::string outcome = operation;
  outcome += result ? " done" : " " + result.error().domain() + " " + std::to_string(result.error().code());
  const std::lock_guard lock(outcomesMutex);
  ++outcomes[outcome];
}

void download(int number) {
  const auto subtitle = *Subtitle::decode(record(number));
  const bool isAlone = ++downloadsUnderWay == 1;
  const long before = ++downloads;
  auto reports = std::make_shared<std::atomic<int>>(0);
  Caprion::shared().download(*subtitle, [reports](const auto& report) {
    count("download", report);
    ++*reports;
  });
  if (*reports > 1) violated("a download with several reports");
  if (*reports == 0 && isAlone && downloads == before) violated("a download without a report");
  if (*reports == 0) ++replaced;
  --downloadsUnderWay;
}

void search(unsigned roll) {
  ++searches;
  ++searchesUnderWay;
  auto reports = std::make_shared<std::atomic<int>>(0);
  Caprion::shared().query({Arg(Param::query, std::to_string(roll))}, [reports, roll](auto result) {
    if (++*reports > 1) violated("a search with several reports");
    count("search", result);
    if (roll % 16 == 0) std::this_thread::sleep_for(5ms);
    if (roll % 16 == 1) search(roll / 16);
    if (roll % 16 == 2) download(static_cast<int>(roll / 16 % subtitles));
    --searchesUnderWay;
  });
}

void work(unsigned seed, std::chrono::steady_clock::time_point end) {
  std::minstd_rand random(seed);
  while (std::chrono::steady_clock::now() < end) {
    const auto roll = static_cast<unsigned>(random());
    if (roll % 8 == 0) {
      download(static_cast<int>(roll / 8 % subtitles));
    } else if (searchesUnderWay < mostSearches) {
      search(roll / 8);
    } else {
      std::this_thread::sleep_for(1ms);
    }
    if (roll % 10 == 0) Caprion::shared().cancelQueryTask();
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

int host(int fromService, int seconds, unsigned seed) {
  std::string places;
  char byte = 0;
  while (::read(fromService, &byte, 1) == 1) places += byte;
  ::close(fromService);
  const std::size_t line = places.find('\n');
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, places.substr(0, line).c_str(), 1);
  ::setenv("SSL_CERT_FILE", places.substr(line + 1, places.size() - line - 2).c_str(), 1);
  std::string root = fs::temp_directory_path() / "caprion-soak-XXXXXX";
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
  for (unsigned i = 0; i < hostThreads; ++i) threads.emplace_back(work, seed + i, end);
  long warm = 0;  // the most MiB in the first half
  for (int second = 10; second <= seconds; second += 10) {
    std::this_thread::sleep_for(10s);
    const Holdings held = Holdings::now();
    held.print((std::to_string(second) + " s").c_str());
    if (second <= seconds / 2) warm = std::max(warm, held.megabytes);
    if (second > seconds / 2 && held.megabytes > warm + warm / 4 + rssAllowance) violated("memory grows");
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 900 && searchesUnderWay > 0; ++i) std::this_thread::sleep_for(100ms);
  if (searchesUnderWay > 0) violated(std::to_string(searchesUnderWay) + " searches without a report");
  std::this_thread::sleep_for(25s);  // idle threads end after ten

  const Holdings atEnd = Holdings::now();
  atEnd.print("end");
  if (atEnd.descriptors > atStart.descriptors) violated("files are left open");
  if (atEnd.sockets > 40) violated("sockets are left open");
  if (atEnd.threads > 2) violated("threads are left");
  if (::waitpid(-1, nullptr, WNOHANG) != -1) violated("a child is left");
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const fs::path path = entry.path().lexically_relative(root);
    if (*path.begin() != "Caprion" || path.filename().string().starts_with('.'))
      violated("left: " + path.string());
  }
  fs::remove_all(root);
  for (const auto& [outcome, times] : outcomes) std::fprintf(stderr, "%9ld %s\n", times, outcome.c_str());
  std::fprintf(stderr, "%9ld download replaced\n%d violations\n", replaced.load(), violations.load());
  return violations == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 600;
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
  std::fprintf(stderr, "%d seconds, seed %u\n", seconds, seed);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return 1;
  const pid_t child = ::fork();
  if (child < 0) return 1;
  if (child == 0) {
    ::close(ends[1]);
    std::exit(host(ends[0], seconds, seed));
  }
  ::close(ends[0]);
  return serve(ends[1], child, seed);
}
