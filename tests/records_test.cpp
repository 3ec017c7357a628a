#include "service.hpp"

#include <caprion/video_file_components.hpp>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>

/// How many allocations this thread may make before one fails; none does while this is negative.
static thread_local int allocationsLeft = -1;
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = allocationsLeft >= 0 && allocationsLeft-- == 0 ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace caprion::test {

using namespace std::string_literals;

TEST(Subtitle, ReportsTheFirstFaultInKeyOrder) {
  struct Case {
    std::string json;
    DecodingErrorKind kind;
    std::string key = {};
  };
  using enum DecodingErrorKind;
  for (const Case& c : {
           Case{"", dataCorrupted},
           Case{record() + "x", dataCorrupted},
           Case{"null", valueNotFound},
           Case{"[" + record() + "]", typeMismatch},
           Case{"\"IDSubtitle\"", typeMismatch},
           Case{"{}", keyNotFound, "IDSubtitle"},
           Case{record({{"SubSumCD", ""}, {"MatchedBy", ""}}), keyNotFound, "MatchedBy"},
           Case{record({{"MovieYear", "1979"}, {"SubSumCD", "null"}}), typeMismatch, "MovieYear"},
           Case{record({{"ISO639", "null"}}), valueNotFound, "ISO639"},
           Case{record({{"MovieKind", R"("Movie")"}}), dataCorrupted, "MovieKind"},
           Case{record({{"MovieKind", "3"}}), typeMismatch, "MovieKind"},
           Case{record({{"ZipDownloadLink", "5"}}), typeMismatch, "ZipDownloadLink"},
           Case{record({{"SubFormat", R"({"SubFormat":"srt"})"}}), typeMismatch, "SubFormat"},
           Case{record({{"IDSubtitle", R"(["x"])"}}), typeMismatch, "IDSubtitle"},
           Case{record({{"idsubtitle", "\"x\""}, {"IDSubtitle", ""}}), keyNotFound, "IDSubtitle"},
       }) {
    const auto decoded = Subtitle::decode(c.json);
    ASSERT_FALSE(decoded) << c.json;
    EXPECT_EQ(decoded.error().domain(), DecodingErrorDomain) << c.json;
    EXPECT_EQ(decoded.error().code(), static_cast<std::int64_t>(c.kind)) << c.json;
    const auto& userInfo = decoded.error().userInfo();
    const auto key = userInfo.find(CodingKeyKey);
    EXPECT_EQ(key != userInfo.end() ? std::get<std::string>(key->second) : "", c.key) << c.json;
  }
}

TEST(Subtitle, LeavesAbsentLinksOutAndKeepsTextsAsTheyAre) {
  const auto subtitle = Subtitle::decode(record({{"ZipDownloadLink", "null"},
                                                 {"SubDownloadLink", ""},
                                                 {"MovieName", R"("\u0000\ud83d\ude00\"\\\n")"},
                                                 {"MovieYear", "\"\""}}))
                            .value();
  EXPECT_EQ(subtitle->zipDownloadLink(), std::nullopt);
  EXPECT_EQ(subtitle->subDownloadLink(), std::nullopt);
  EXPECT_EQ(subtitle->movieName(), "\0\xF0\x9F\x98\x80\"\\\n"s);
  EXPECT_EQ(subtitle->movieYear(), "");
  const std::string encoded = subtitle->encode().value();
  EXPECT_EQ(encoded.find("DownloadLink"), std::string::npos);
  EXPECT_EQ(Subtitle::decode(encoded).value()->movieName(), subtitle->movieName());
  EXPECT_EQ(Subtitle::decode(record({{"ZipDownloadLink", "\"\""}})).value()->zipDownloadLink(), "");
}

TEST(Subtitle, DerivesItsDisplayValues) {
  const struct {
    std::string kind, movie, series, imdbID, detail = "The \"Name\" (99)";
  } cases[] = {
      {"movie", "133", "9", "tt0000133"},
      {"episode", "1", "903", "tt0000903", "The \"Name\" (99), season 1, episode "},
      {"movie", "", "", "tt0000000"},
      {"movie", "tt0000133", "", "tt0000000"},
      {"movie", " 42", "", "tt0000000"},
      {"movie", "42 ", "", "tt0000000"},
      {"movie", "+42", "", "tt0000042"},
      {"movie", "-42", "", "tt-000042"},
      {"movie", "+-42", "", "tt0000000"},
      {"movie", "++1", "", "tt0000000"},
      {"movie", "0000042", "", "tt0000042"},
      {"movie", "12345678", "", "tt12345678"},
      {"movie", "9223372036854775808", "", "tt0000000"},
      {"movie", "0x1f", "", "tt0000000"},
  };
  for (const auto& c : cases) {
    const auto quoted = [](const std::string& text) { return '"' + text + '"'; };
    const auto subtitle = Subtitle::decode(record({{"MovieName", R"("The \"Name\"")"},
                                                   {"MovieYear", "\"99\""},
                                                   {"MovieKind", quoted(c.kind)},
                                                   {"IDMovieImdb", quoted(c.movie)},
                                                   {"SeriesIMDBParent", quoted(c.series)},
                                                   {"SeriesSeason", "\"1\""},
                                                   {"SeriesEpisode", "\"\""}}))
                              .value();
    EXPECT_EQ(subtitle->imdbID(), c.imdbID) << c.kind << " " << c.movie;
    EXPECT_EQ(subtitle->detailString(), c.detail);
  }
}

TEST(QueryResult, KeepsTheGoodElementsInTheirOrder) {
  const auto id = [](const char* text) { return record({{"IDSubtitle", text}}); };
  struct Case {
    std::string json;
    std::string ids;
  };
  for (const Case& c : {
           Case{"[]", ""},
           Case{" [ ] \n", ""},
           Case{"[" + id("\"a\"") + "," + record({{"SubSumCD", ""}}) + "," + id("\"b\"") + "]", "ab"},
           Case{"[null,1,\"x\",[" + id("\"a\"") + "],{}," + id("\"c\"") + ",true]", "c"},
           Case{"[" + id("1") + "," + id("null") + "]", ""},
           Case{"[" + record({{"IDSubtitle", "\"x\""}, {"nested", record()}}) + "]", "x"},
           Case{"[" + id("\"a\"") + ",1e-99999999999," + id("\"1e99999\"") + "]", "a1e99999"},
           Case{R"([{"ID\u0053ubtitle":"e",)" + record({{"IDSubtitle", ""}}).substr(1) + "]", "e"},
           // What one element left behind must not complete the next.
           Case{"[" + id("\"a\"") + ",{\"IDSubtitle\":\"b\"}]", "a"},
       }) {
    const auto result = QueryResult::decode(c.json);
    ASSERT_TRUE(result) << c.json;
    std::string ids;
    for (const auto& subtitle : result->subtitles) ids += subtitle->subtitleID();
    EXPECT_EQ(ids, c.ids) << c.json;
  }
  const auto encoded = QueryResult::decode("[" + record() + "," + record() + "]")->encode();
  EXPECT_EQ(*encoded, "{\"subtitles\":[" + record() + "," + record() + "]}");
}

TEST(QueryResult, TakesNothingButAWholeArrayOfValidJSON) {
  const std::string ignored = "[{\"ignored\":", many(1'000'000, '['), deep(500, '[');
  for (const std::string& json : {""s,
                                  "{\"subtitles\":[]}"s,
                                  "[" + record(),
                                  "[" + record() + ",]",
                                  record(),
                                  "null"s,
                                  "[] x"s,
                                  "[]]"s,
                                  ignored + "nul}]",
                                  ignored + "01}]",
                                  ignored + "\"\xFF\"}]",
                                  ignored + "\"\\ud800\"}]",
                                  ignored + "\"\n\"}]",
                                  ignored + "NaN}]",
                                  "['a']"s,
                                  "[1,/* */2]"s,
                                  "[\"\xED\xA0\x80\"]"s,
                                  "[1e]"s,
                                  "\xEF\xBB\xBF[]"s,
                                  "[\0]"s,
                                  many,
                                  "[" + std::string(1'000'000, '{')}) {
    const auto result = QueryResult::decode(json);
    ASSERT_FALSE(result) << json.substr(0, 80);
    EXPECT_EQ(result.error().domain(), DecodingErrorDomain) << json.substr(0, 80);
  }
  for (const std::string& json :
       {deep + std::string(500, ']'), ignored + "123456789012345678901234567890}]", ignored + "1e400}]",
        ignored + "-0.0E-0}]", ignored + "[1e99999999999,-2.5E+2147483648,\"1\\\"1e99999\"]}]",
        ignored + "\"\\u0000\xF4\x8F\xBF\xBF\"}]"}) {
    EXPECT_TRUE(QueryResult::decode(json)) << json.substr(0, 80);
  }
}

TEST(Records, ReportAnyAllocationThatFails) {
  const std::string json = record(), list = "[" + json + "," + json + "]";
  const std::string name = R"({"title":"A title that is not held in place"})";
  const auto code = [](const auto& outcome) { return outcome ? 0 : outcome.error().code(); };
  const auto subtitle = Subtitle::decode(json).value();
  const auto result = QueryResult::decode(list).value();
  const auto components = VideoFileComponents::decode(name).value();
  const std::function<std::int64_t()> operations[] = {
      [&] { return code(Subtitle::decode(json)); },
      [&] { return code(subtitle->encode()); },
      [&] { return code(QueryResult::decode(list)); },
      [&] { return code(result.encode()); },
      [&] { return code(VideoFileComponents::decode(name)); },
      [&] { return code(components.encode()); },
  };
  for (const auto& operation : operations) {
    for (int before = 0, failed = true; failed != 0; ++before) {
      allocationsLeft = before;
      const std::int64_t got = operation();
      failed = std::exchange(allocationsLeft, -1) < 0;
      EXPECT_EQ(got, failed != 0 ? ENOMEM : 0) << "after " << before;
    }
  }
}

}  // namespace caprion::test
