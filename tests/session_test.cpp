#include "network/session_threads.hpp"
#include "network/url_session.hpp"
#include "platform/thread.hpp"
#include "service.hpp"

#include <array>
#include <semaphore>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;

namespace {

struct Completion {
  std::optional<std::string> body;
  std::optional<Error> error;
};

/// What comes of a task once `start` has been called with it.
template <typename Start>
Completion get(const std::string& url, Start start,
               std::chrono::milliseconds timeout = std::chrono::minutes(1)) {
  std::promise<Completion> promise;
  const auto task = URLSession::shared().dataTask(URLRequest{*URL::fromString(url), timeout},
                                                  [&](auto body, auto, auto error) {
                                                    promise.set_value({body, error});
                                                  });
  start(*task);
  return wait(promise.get_future());
}

void resumeTwice(URLSessionTask& task) { task.resume(), task.resume(); }
Completion get(const std::string& url) { return get(url, resumeTwice); }

}  // namespace

TEST(URLSession, TimesOutOnSilenceAlone) {
  // As a whole it takes longer than the time-out.
  service().setHandler(always(
      {.body = std::string(60, 'x'), .fault = Fault::drip, .interval = std::chrono::milliseconds(15)}));
  const auto got = get("http://a.test/", resumeTwice, std::chrono::seconds(1));
  EXPECT_FALSE(got.error);
  EXPECT_EQ(got.body, std::string(60, 'x'));
}

TEST(URLSession, SendsURLsOfAnyLengthUpToItsLimit) {
  service().setHandler(always({}));
  for (const std::size_t length : {100'000u, 300'000u, 900'000u}) {
    const std::string path = "/" + std::string(length, 'x');
    EXPECT_FALSE(get("https://a.test" + path).error) << length;
    EXPECT_EQ(service().requests().back().target.size(), path.size());
  }
  EXPECT_EQ(get("https://a.test/" + std::string(1'000'000, 'x')).error->code(), -1000);
}

TEST(URLSession, ATaskThatWasNeverStartedCanBeCancelled) {
  const auto got = get("https://a.test/", [](auto& task) { task.cancel(), task.resume(); });
  EXPECT_EQ(got.error->code(), -999);
}

TEST(URLSession, WaitsNoLongerThanTheTimeOutBehindRequestsThatHang) {
  service().setHandler(always({.fault = Fault::hang}));
  const std::size_t before = service().requests().size();
  constexpr std::size_t connections = 6;
  std::array<std::promise<std::int64_t>, connections> codes;
  std::vector<std::shared_ptr<URLSessionTask>> tasks;
  for (auto& code : codes) {
    tasks.push_back(URLSession::shared().dataTask(
        URLRequest{*URL::fromString("http://hang.test/"), std::chrono::minutes(1)},
        [&](auto, auto, auto error) { code.set_value(error->code()); }));
    tasks.back()->resume();
  }
  ASSERT_TRUE(service().waitForRequests(before + connections));
  const auto behind = get("http://hang.test/", resumeTwice, std::chrono::milliseconds(100));
  EXPECT_EQ(behind.error->code(), -1001);
  for (const auto& task : tasks) task->cancel();
  for (auto& code : codes) EXPECT_EQ(wait(code.get_future()), -999);
}

TEST(URLSession, BytesBehindAnAnswerBelongToNoOther) {
  const std::string stray = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nstray";
  for (const Fault fault : {Fault::none, Fault::apart}) {
    service().setHandler(always({.body = "x", .fault = fault, .stray = stray}));
    for (const char* url : {"http://stray.test/", "https://stray.test/"}) {
      for (int i = 0; i < 3; ++i) {
        const std::size_t before = service().answers();
        EXPECT_EQ(get(url).body, "x") << url;
        ASSERT_TRUE(service().waitForAnswers(before + 1));
      }
    }
  }
}

TEST(SessionThreads, LeaveAllSignalsToTheHostButFaultsOfTheirOwn) {
  std::promise<sigset_t> promise;
  runInBackground([&](bool) {
    sigset_t blocked;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    promise.set_value(blocked);
  });
  const sigset_t blocked = wait(promise.get_future());
  for (const int signal : {SIGINT, SIGCHLD, SIGUSR1}) EXPECT_EQ(::sigismember(&blocked, signal), 1) << signal;
  for (const int fault : {SIGSEGV, SIGBUS, SIGABRT}) EXPECT_EQ(::sigismember(&blocked, fault), 0) << fault;
}

TEST(SessionThreads, GrowOnlyWhileTheyAreStuckAndNeverLackADriver) {
  constexpr std::size_t works = 30;
  struct Completion final : SessionCompletion {
    void run() noexcept override { stuck->arrive_and_wait(); }
    std::latch* stuck = nullptr;
  };
  struct Work final : SessionWork {
    Work() {
      for (Completion& completion : completions) completion.stuck = &stuck;
    }
    bool perform() override {
      EXPECT_EQ(++drivers, 1);
      for (; started < works; ++started) threads->complete(completions[started]);
      sawFull = sawFull || threads->isFull();
      --drivers;
      return !isOver;
    }
    void wait(std::chrono::milliseconds longest) override {
      ++drivers;
      (void)woken.try_acquire_for(longest);
      --drivers;
    }
    void wake() override { woken.release(); }

    SessionThreads* threads = nullptr;
    std::counting_semaphore<> woken{0};
    std::latch stuck{works};
    std::array<Completion, works> completions;
    std::atomic<int> drivers = 0;
    std::atomic<bool> isOver = false;
    std::size_t started = 0;
    bool sawFull = false;
  };
  static Work work;  // what the threads use outlives the test, as they do
  work.threads = new SessionThreads(work, 2);
  ASSERT_TRUE(work.threads->start());
  EXPECT_EQ(work.drivers, 0);
  work.threads->drive();
  work.stuck.wait();  // which takes a thread for each
  EXPECT_FALSE(work.threads->isFull());
  work.isOver = true;
  work.threads->stop();
  EXPECT_EQ(work.drivers, 0);
  EXPECT_TRUE(work.sawFull);
}

}  // namespace caprion::test
