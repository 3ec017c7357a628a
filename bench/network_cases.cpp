#include "comparison.hpp"

#include <caprion/caprion.hpp>

#include <curl/curl.h>

#include <condition_variable>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace caprion::bench {

namespace {

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

std::size_t append(char* bytes, std::size_t one, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, one * count);
  return one * count;
}

/// A handle for a GET whose body goes to `body`, with what the library asks of its own.
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
  std::string url = "https://rest.opensubtitles.org/search/query-";
  for (const char c : text) c == ' ' ? url += "%20" : url += c;
  return url;
}

std::size_t hitsOf(const std::string& text) { return std::stoul(text); }

// One search at a time, over a connection that the first one has opened.

void search(benchmark::State& state, const std::string& text) {
  const std::vector<Arg> criteria{{Param::query, text}};
  const auto hits = [&criteria] {
    std::promise<std::size_t> found;
    Caprion::shared().query(criteria,
                            [&](auto result) { found.set_value(result ? result->subtitles.size() : 0); });
    return found.get_future().get();
  };
  check(hits() == hitsOf(text), "a search");
  for (auto _ : state) benchmark::DoNotOptimize(hits());
}

/// One kept handle, which holds the connection.
class Getter {
 public:
  explicit Getter(const std::string& text) : easy_(makeGet(searchURL(text), body_)) {
    const std::string last = std::to_string(1'955'000'000 + hitsOf(text) - 1);
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

/// What a host would write that may not block: a thread which takes the request and gives the body back.
void getOnWorker(benchmark::State& state, const std::string& text) {
  std::mutex mutex;
  std::condition_variable changed;
  std::promise<std::string>* wanted = nullptr;
  bool done = false;
  Getter getter(text);
  std::thread worker([&] {
    std::unique_lock lock(mutex);
    while (true) {
      changed.wait(lock, [&] { return wanted != nullptr || done; });
      if (done) return;
      std::exchange(wanted, nullptr)->set_value(getter.get());
    }
  });
  for (auto _ : state) {
    std::promise<std::string> body;
    {
      const std::lock_guard lock(mutex);
      wanted = &body;
    }
    changed.notify_one();
    benchmark::DoNotOptimize(body.get_future().get());
  }
  {
    const std::lock_guard lock(mutex);
    done = true;
  }
  changed.notify_one();
  worker.join();
}

Case searchCase(const std::string& name, const std::string& text, double aim) {
  return {.name = name,
          .aim = aim,
          .ours = [text](auto& state) { search(state, text); },
          .limit = [text](auto& state) { bareGet(state, text); },
          .alternativeName = "libcurl on a worker",
          .alternative = [text](auto& state) { getOnWorker(state, text); }};
}

}  // namespace

std::vector<Case> networkCases() {
  return {searchCase("search, 1 hit", "1", 1.05), searchCase("search, 50 hits", "50", 0),
          searchCase("search, 1 hit, 20 ms away", "1 hits, far away", 1.05)};
}

}  // namespace caprion::bench
