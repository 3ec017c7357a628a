#include "network/session_threads.hpp"
#include "network/url_session.hpp"
#include "platform/thread.hpp"
#include "service.hpp"

#include <deque>
#include <semaphore>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::chrono_literals;

namespace {

/// The error's code, or 0, and the body.
using Outcome = std::pair<std::int64_t, std::string>;

/// A new task, and its outcome.
struct Task {
  explicit Task(const std::string& url, std::chrono::milliseconds timeout = 1min)
      : task(URLSession::shared().dataTask(
            URLRequest{*URL::fromString(url), timeout}, [this](auto body, auto, auto error) {
              promise.set_value({error ? error->code() : 0, body.value_or("")});
            })) {}

  Outcome outcome() { return wait(promise.get_future()); }

  std::promise<Outcome> promise;
  std::shared_ptr<URLSessionTask> task;
};

Outcome get(const std::string& url, std::chrono::milliseconds timeout = 1min) {
  Task get(url, timeout);
  get.task->resume(), get.task->resume();
  return get.outcome();
}

}  // namespace

TEST(URLSession, TimesOutOnSilenceAlone) {
  const std::string body(60, 'x');  // the whole body takes longer than the time-out
  service().setHandler(always({.body = body, .fault = Fault::drip, .interval = 15ms}));
  EXPECT_EQ(get("http://a.test/", 1s), Outcome(0, body));
}

TEST(URLSession, SendsURLsOfAnyLengthUpToItsLimit) {
  service().setHandler(always({}));
  for (const std::size_t length : {100'000u, 300'000u, 900'000u}) {
    const std::string path = "/" + std::string(length, 'x');
    EXPECT_EQ(get("https://a.test" + path).first, 0) << length;
    EXPECT_EQ(service().requests().back().target.size(), path.size());
  }
  EXPECT_EQ(get("https://a.test/" + std::string(1'000'000, 'x')).first, -1000);
}

TEST(URLSession, ATaskThatWasNeverStartedCanBeCancelled) {
  Task get("https://a.test/");
  get.task->cancel(), get.task->resume();
  EXPECT_EQ(get.outcome().first, -999);
}

TEST(URLSession, WaitsNoLongerThanTheTimeOutBehindRequestsThatHang) {
  service().setHandler(always({.fault = Fault::hang}));
  const std::size_t before = service().requests().size();
  std::deque<Task> hanging;  // take all connections
  for (int i = 0; i < 6; ++i) hanging.emplace_back("http://hang.test/").task->resume();
  ASSERT_TRUE(service().waitForRequests(before + 6));
  EXPECT_EQ(get("http://hang.test/", 100ms).first, -1001);
  for (Task& each : hanging) {
    each.task->cancel();
    EXPECT_EQ(each.outcome().first, -999);
  }
}

TEST(URLSession, BytesBehindAnAnswerBelongToNoOther) {
  const std::string stray = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nstray";
  static int number = 0;
  for (const Fault fault : {Fault::none, Fault::apart}) {
    service().setHandler(always({.body = "x", .fault = fault, .stray = stray}));
    for (const std::string origin : {"http://stray.test", "https://stray.test"}) {
      for (int i = 0; i < 3; ++i) {
        const std::string target = "/stray-" + std::to_string(++number);
        EXPECT_EQ(get(origin + target).second, "x") << origin;
        ASSERT_TRUE(service().waitForAnswer(target));
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
    explicit Completion(std::latch& all) : stuck(all) {}
    void run() noexcept override { stuck.arrive_and_wait(); }
    std::latch& stuck;
  };
  struct Work final : SessionWork {
    bool perform() override {
      EXPECT_EQ(++drivers, 1);
      while (completions.size() < works) threads->complete(completions.emplace_back(stuck));
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
    std::deque<Completion> completions;
    std::atomic<int> drivers = 0;
    std::atomic<bool> isOver = false;
    bool sawFull = false;
  };
  static std::deque<Work> all;  // static, as the threads outlive the test
  Work& work = all.emplace_back();
  work.threads = new SessionThreads(work, 2);
  ASSERT_TRUE(work.threads->start());
  EXPECT_EQ(work.drivers, 0);
  work.threads->drive();
  work.stuck.wait();  // needs a thread for each completion
  EXPECT_FALSE(work.threads->isFull());
  work.isOver = true;
  work.threads->stop();
  EXPECT_EQ(work.drivers, 0);
  EXPECT_TRUE(work.sawFull);
}

}  // namespace caprion::test
