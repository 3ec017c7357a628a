#include "client/search.hpp"

#include "client/search_answer.hpp"
#include "client/search_request.hpp"
#include "process.hpp"
#include "service.hpp"

#include <caprion/caprion_helper.hpp>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::string_literals;

namespace {

Arg query(const std::string& text) { return Arg(Param::query, text); }
const std::vector<Arg> anything{query("x")};

/// The last request that the service has received.
stand_in::Request lastRequest() { return service().requests().back(); }

std::ptrdiff_t threadsOfThisProcess() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

}  // namespace

struct Search : testing::Test {
  Search() { service().setHandler(always({.body = "[]"})); }
};

TEST_F(Search, SendsTheCriteriaByteForByte) {
  const std::string many(60'000, 'x');
  const std::pair<std::vector<Arg>, std::string> cases[] = {
      {{}, "/search"},
      {{Arg(Param::tag, ""), Arg(Param::imdbid, "133")}, "/search/tag-/imdbid-133"},
      {{Arg(Param::season, "1"), Arg(Param::episode, "2")}, "/search/season-1/episode-2"},
      {{query("x y"), Arg(Param::sublanguageid, "eng"), query("z")},
       "/search/query-x%20y/sublanguageid-eng/query-z"},
      {{query("a/../b/./c//d")}, "/search/query-a/../b/./c//d"},
      {{query("%41?x#y[z]\"\\\xC3\xA4\n\0."s)}, "/search/query-%2541%3Fx%23y%5Bz%5D%22%5C%C3%A4%0A%00."},
      {{query(":@!$&'()*+,;=~{}|^`<>")}, "/search/query-:@!$&'()*+,;=~%7B%7D%7C%5E%60%3C%3E"},
      {{query(many)}, "/search/query-" + many},
  };
  EXPECT_EQ(query("x y").arg(), "x y");
  for (const auto& [args, target] : cases) {
    ASSERT_TRUE(search(args)) << target;
    const auto request = lastRequest();
    EXPECT_EQ(request.target, target);
    EXPECT_EQ(request.method + ' ' + request.scheme + ' ' + request.host, "GET https rest.opensubtitles.org");
    EXPECT_EQ(request.header("User-Agent"), std::vector{"Tovix"s});
  }
}

TEST_F(Search, TheFacadeBuildsTheCriteria) {
  service().setHandler(always({.body = "[" + record() + "]"}));
  const auto find = [](const auto& what, std::string_view language) {
    std::promise<std::size_t> hits;
    CaprionHelper::shared().findSubtitles(
        what, language, [&](auto subtitles, auto) { hits.set_value(subtitles ? subtitles->size() : 0); });
    EXPECT_EQ(wait(hits.get_future()), 1u);
    return lastRequest().target;
  };
  const TemporaryFolder folder;
  EXPECT_EQ(find(URL::fileURLWithPath(folder.file("video", 65'536)), "eng"),
            "/search/moviebytesize-65536/moviehash-0000000000010000/sublanguageid-eng");
  EXPECT_EQ(find(URL::fileURLWithPath(folder.file("short", 1'000)), "all"),
            "/search/moviebytesize-0/moviehash-/sublanguageid-all");
  EXPECT_EQ(find(Matching("the matrix"), ""), "/search/query-the%20matrix/sublanguageid-");
}

TEST_F(Search, JudgesAnAnswerByItsBodyAlone) {
  const struct {
    int status;
    std::string body;
    std::optional<std::size_t> hits;  // none for an error with the body as its description
    bool isText = true;
  } cases[] = {
      {404, "[]", 0},
      {500, "[" + record() + ",{}]", 1},
      {304, "", std::nullopt},
      {503, "Service Unavailable", std::nullopt},
      {200, "{\"subtitles\":[]}", std::nullopt},
      {200, "a\0b\r\n\xC3\xA4"s, std::nullopt},
      {200, "[\"\xFF\"]", std::nullopt, false},
  };
  for (const auto& c : cases) {
    service().setHandler(always({.status = c.status, .body = c.body}));
    testing::internal::CaptureStdout();
    const auto result = search(anything);
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_EQ(result ? std::optional(result->subtitles.size()) : std::nullopt, c.hits) << c.body;
    EXPECT_EQ(printed, result ? "" : (c.isText ? c.body : "defaultvalue") + "\n");
    if (result) continue;
    const auto description = c.isText ? Error::Value(c.body) : Error::Null();
    EXPECT_EQ(result.error(), Error("org.caprion.answer", 0, {{"NSLocalizedDescriptionKey", description}}));
    EXPECT_EQ(result.error().localizedDescription().empty(), c.isText && c.body.empty());
  }
}

TEST_F(Search, WithoutACallbackIsASearchAllTheSame) {
  const std::size_t before = service().requests().size();
  Caprion::shared().query(anything, nullptr);
  EXPECT_TRUE(service().waitForRequests(before + 1));
  CaprionHelper::shared().findSubtitles(URL::fileURLWithPath("/missing"), "eng", nullptr);
  EXPECT_TRUE(search(anything));
}

TEST_F(Search, WithoutAResponseIsABadResponse) {
  const auto result = searchAnswer(std::nullopt, std::nullopt, std::nullopt);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error(), Error("Caprion.NetworkingError", 0));
  EXPECT_EQ(result.error().localizedDescription(), "Bad response from the server");
  const Error passed("d", 1);
  EXPECT_NE(passed, Error("d", 1, {{"key", "text"}}));
  EXPECT_EQ(&searchAnswer("[]"s, HTTPURLResponse{200}, passed).error().userInfo(), &passed.userInfo());
}

TEST_F(Search, FollowsRedirectsWithItsHeader) {
  service().setHandler([](const stand_in::Request& request) -> std::optional<Answer> {
    if (request.host == "other.test") return Answer{.body = "[]"};
    return Answer{.status = 301, .headers = {{"Location", "https://other.test/a \"b?c"}}, .body = "moved"};
  });
  ASSERT_TRUE(search(anything));
  EXPECT_EQ(lastRequest().target, "/a%20%22b?c");
  EXPECT_EQ(lastRequest().header("User-Agent"), std::vector{"Tovix"s});
}

TEST_F(Search, CancellationReachesTheLatestAlone) {
  Caprion& client = Caprion::shared();
  std::promise<void> release;
  const auto released = release.get_future().share();
  service().setHandler([released](const stand_in::Request& request) -> std::optional<Answer> {
    if (request.target.ends_with("held")) return Answer{.fault = Fault::hang};
    if (request.target.ends_with("first")) released.wait();
    return Answer{.body = "[]"};
  });
  const std::size_t before = service().requests().size();
  std::promise<Result<QueryResult>> first, second;
  client.query({query("first")}, [&](auto result) { first.set_value(result); });
  client.query({query("held")}, [&](auto result) { second.set_value(result); });
  ASSERT_TRUE(service().waitForRequests(before + 2));
  client.cancelQueryTask();
  const auto cancelled = wait(second.get_future());
  ASSERT_FALSE(cancelled);
  EXPECT_EQ(cancelled.error().code(), -999);
  client.cancelQueryTask();
  release.set_value();
  EXPECT_TRUE(wait(first.get_future()));
}

TEST_F(Search, CancelledAtAnyMomentReportsOnce) {
  constexpr int searches = 400;
  std::latch all(searches);
  std::atomic<int> reports = 0;
  const std::jthread canceller([](const std::stop_token& stop) {
    while (!stop.stop_requested()) Caprion::shared().cancelQueryTask();
  });
  std::vector<std::jthread> callers;
  for (int caller = 1; caller <= 4; ++caller) {
    callers.emplace_back([&, caller] {
      for (int i = 0; i < searches / 4; ++i) {
        Caprion::shared().query(anything, [&](auto result) {
          ++reports;
          EXPECT_TRUE(result || result.error().code() == -999);
          all.count_down();
        });
        std::this_thread::sleep_for(std::chrono::microseconds(i * caller));
      }
    });
  }
  all.wait();
  callers.clear();
  EXPECT_EQ(reports, searches);
}

TEST_F(Search, ManyAtOnceReportOnceEachOnFewThreads) {
  service().setHandler(always({.body = "[" + record() + "]"}));
  constexpr int searches = 1'000;
  std::latch all(searches);
  std::vector<std::atomic<int>> reports(searches);
  std::atomic<std::ptrdiff_t> mostThreads = 0;
  const std::size_t connections = service().connections();
  const std::ptrdiff_t threads = threadsOfThisProcess();
  for (int i = 0; i < searches; ++i) {
    Caprion::shared().query(anything, [&, i](auto result) {
      EXPECT_TRUE(result);
      ++reports[static_cast<std::size_t>(i)];
      if (i % 50 == 0) mostThreads = std::max(mostThreads.load(), threadsOfThisProcess());
      all.count_down();
    });
  }
  all.wait();
  for (const auto& count : reports) EXPECT_EQ(count, 1);
  // The stand-in has a thread for each of the six connections; the library adds a handful.
  EXPECT_LE(mostThreads, threads + 20);
  EXPECT_LE(service().connections(), connections + 6);
}

TEST_F(Search, CallbacksMayBlockOnOneAnother) {
  constexpr int searches = 40;
  std::latch inside(searches), all(searches);
  for (int i = 0; i < searches; ++i) {
    Caprion::shared().query(anything, [&](auto) {
      inside.arrive_and_wait();  // until all callbacks are running
      EXPECT_TRUE(search(anything));
      all.count_down();
    });
  }
  all.wait();
}

TEST_F(Search, ReportsNotBeforeTheCallThatStartedItIsOver) {
  for (const bool isCancelled : {false, true}) {
    std::promise<void> promise;
    std::atomic<bool> isReported = false;
    {
      const auto call = startSearch(searchRequest(anything), [&](const auto&) {
        isReported = true;
        promise.set_value();
      });
      if (isCancelled) cancelLatestSearch();
      for (int i = 0; i < 3; ++i) EXPECT_TRUE(search(anything));  // gives `call` time to report
      EXPECT_FALSE(isReported);
    }
    wait(promise.get_future());
  }
}

}  // namespace caprion::test
