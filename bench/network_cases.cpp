#include "comparison.hpp"

#include <caprion/caprion.hpp>

#include <curl/curl.h>
#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <latch>
#include <memory>
#include <semaphore>
#include <thread>

namespace caprion::bench {

namespace {

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

std::size_t append(char* bytes, std::size_t one, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, one * count);
  return one * count;
}

/// A handle for a GET that appends the body to `body`, with the library's settings.
Easy makeGet(const std::string& url, std::string& body) {
  Easy easy(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy.get(), CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy.get(), CURLOPT_USERAGENT, "Tovix");
  curl_easy_setopt(easy.get(), CURLOPT_CAINFO, std::getenv("SSL_CERT_FILE"));
  curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &body);
  return easy;
}

std::string searchURL(const std::string& text) {
  return "https://rest.opensubtitles.org/search/query-" + text;
}

// One search at a time, over a kept connection.

void search(benchmark::State& state, const std::string& text) {
  const std::vector<Arg> criteria{{Param::query, text}};
  const auto hits = [&criteria] {
    std::promise<std::size_t> found;
    Caprion::shared().query(criteria,
                            [&](auto result) { found.set_value(result ? result->subtitles.size() : 0); });
    return found.get_future().get();
  };
  check(hits() == std::stoul(text), "a search");
  for (auto _ : state) benchmark::DoNotOptimize(hits());
}

/// One handle, which keeps the connection.
class Getter {
 public:
  explicit Getter(const std::string& text) : easy_(makeGet(searchURL(text), body_)) {
    const std::string last = std::to_string(1'955'000'000 + std::stoul(text) - 1);
    check(!get().empty() && body_.find(last) != std::string::npos, "a bare GET");
  }
  const std::string& get() {
    body_.clear();
    check(curl_easy_perform(easy_.get()) == CURLE_OK, "a bare GET");
    return body_;
  }

 private:
  std::string body_;
  Easy easy_;
};

void bareGet(benchmark::State& state, const std::string& text) {
  Getter getter(text);
  for (auto _ : state) benchmark::DoNotOptimize(getter.get());
}

/// The least that a host needs if it must not block: a thread that does the transfers on request, and hands
/// over the body.
void getOnWorker(benchmark::State& state, const std::string& text) {
  Getter getter(text);
  std::string body;
  std::counting_semaphore<> wanted(0), done(0);
  std::jthread worker([&](const std::stop_token& stop) {
    for (wanted.acquire(); !stop.stop_requested(); wanted.acquire()) {
      body = getter.get();
      done.release();
    }
  });
  for (auto _ : state) {
    wanted.release();
    done.acquire();
  }
  worker.request_stop();
  wanted.release();
}

Case searchCase(const std::string& name, const std::string& text, double aim) {
  return {.name = name,
          .aim = aim,
          .ours = [text](auto& state) { search(state, text); },
          .baseline = [text](auto& state) { getOnWorker(state, text); },
          .informationName = "a bare GET",
          .information = [text](auto& state) { bareGet(state, text); },
          .isWaiting = true};
}

// Many searches at once.

constexpr std::size_t many = 1000;

void searchManyTimes() {
  const std::vector<Arg> criteria{{Param::query, "1"}};
  std::atomic<std::size_t> wrong = 0;
  std::latch left(many);
  for (std::size_t i = 0; i < many; ++i) {
    Caprion::shared().query(criteria, [&](const auto& result) {
      if (!result || result->subtitles.size() != 1) ++wrong;
      left.count_down();
    });
  }
  left.wait();
  check(wrong == 0, "a search among many");
}

/// With one multi handle, which keeps the connections, and the library's limits.
void getManyTimes() {
  static CURLM* const multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, 6L);
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, 24L);
  std::vector<std::string> bodies(many);
  std::vector<Easy> easies;
  for (std::string& body : bodies) {
    easies.push_back(makeGet(searchURL("1"), body));
    curl_multi_add_handle(multi, easies.back().get());
  }
  for (int running = 1; running > 0;) {
    curl_multi_perform(multi, &running);
    if (running > 0) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  for (const Easy& easy : easies) curl_multi_remove_handle(multi, easy.get());
  for (const std::string& body : bodies)
    check(body.size() > 1000 && body == bodies[0], "a bare GET among many");
}

/// The memory of this process, in KiB, after freed memory has been returned to the system.
double residentMemory() {
  ::malloc_trim(0);
  std::size_t total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident * 4);
}

// Processes.

/// Runs a program, discards its output, and returns its peak memory, in KiB.
double run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int descriptor : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
  // In its own session, like the library's unzip: the kernel may share the processor among sessions.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  pid_t process = 0;
  const int error = posix_spawnp(&process, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  check(error == 0, words[0]);
  int status = 0;
  rusage usage{};
  wait4(process, &status, 0, &usage);
  check(status == 0, words[0]);
  return static_cast<double>(usage.ru_maxrss);
}

const std::vector<std::string> command{CAPRION_COMMAND, "search", "--where", "query=1"};
const std::vector<std::string> curl{"curl", "--fail", "https://rest.opensubtitles.org/search/query-1"};

/// The median of several runs, in KiB.
double memoryOf(const std::vector<std::string>& words) {
  std::vector<double> memories;
  for (int i = 0; i < 9; ++i) memories.push_back(run(words));
  std::ranges::nth_element(memories, memories.begin() + 4);
  return memories[4];
}

// Downloads.

void download(benchmark::State& state) {
  const auto subtitle = QueryResult::decode(answer(1))->subtitles.at(0);
  std::string path;
  const auto get = [&] {
    Caprion::shared().download(*subtitle, [&](const auto& file) { path = file ? file->path() : ""; });
  };
  get();
  check(std::filesystem::file_size(path) == subtitleSize, "a download");
  for (auto _ : state) get();
}

/// One handle, a file, and the process.
void downloadByLibcurl(benchmark::State& state) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "bare";
  std::filesystem::create_directory(folder);
  const std::string archive = folder / "archive.zip";
  std::string unused;
  const Easy easy = makeGet(archiveURL, unused);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, nullptr);
  const auto get = [&] {
    // Overwriting a file could make the file system wait for the disk.
    std::filesystem::remove(folder / subtitleName);
    std::filesystem::remove(archive);
    std::FILE* const file = std::fopen(archive.c_str(), "w");
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, file);
    check(curl_easy_perform(easy.get()) == CURLE_OK && std::fclose(file) == 0, "a bare transfer");
    run({"/usr/bin/unzip", "-o", "-C", archive, "-d", folder});
  };
  get();
  check(std::filesystem::file_size(folder / subtitleName) == subtitleSize, "a bare download");
  for (auto _ : state) get();
}

}  // namespace

Memory processMemory() {
  rusage self{};
  ::getrusage(RUSAGE_SELF, &self);
  const Memory memory{"first search of a process: memory", 1.5, memoryOf(command), memoryOf(curl)};
  check(std::min(memory.ours, memory.baseline) > static_cast<double>(self.ru_maxrss),
        "memory, which this process is too large to measure");
  return memory;
}

Memory networkMemory() {
  std::promise<void> done;
  Caprion::shared().query({{Param::query, "1"}}, [&](const auto&) { done.set_value(); });
  done.get_future().wait();
  const double before = residentMemory();
  searchManyTimes();
  return {"1,000 searches: memory afterwards", 1.1, residentMemory(), before};
}

std::vector<Case> networkCases() {
  return {searchCase("search, 1 hit", "1", 1.1),
          searchCase("search, 50 hits", "50", 0),
          searchCase("search, 1 hit, 20 ms away", "1-far-away", 1.1),
          {.name = "1,000 searches",
           .aim = 1.1,
           .ours = repeating(searchManyTimes),
           .baseline = repeating(getManyTimes),
           .isWaiting = true},
          {.name = "download of 50 KB",
           .aim = 1.1,
           .ours = download,
           .baseline = downloadByLibcurl,
           .isWaiting = true},
          {.name = "first search of a process",
           .aim = 1.1,
           .ours = repeating([] { run(command); }),
           .baseline = repeating([] { run(curl); }),
           .isWaiting = true}};
}

}  // namespace caprion::bench
