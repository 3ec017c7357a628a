#include "platform/regular_expression.hpp"
#include "reports.hpp"
#include "service.hpp"

#include <caprion/video_file_components.hpp>

#include <limits>

namespace caprion {

void PrintTo(const VideoFileComponents& components, std::ostream* out) {
  const auto json = components.encode();
  *out << (json ? *json : json.error().localizedDescription());
}

namespace {

using test::keyAtFault;
using test::repeated;
using Number = std::optional<std::int64_t>;
constexpr auto none = std::nullopt;

VideoFileComponents parsed(std::string_view name) {
  return VideoFileUtilities::componentsFrom(URL::fileURLWithPath("/films/" + std::string(name)));
}

TEST(VideoFileComponents, NameIsSplitAtItsMarkers) {
  const std::pair<std::string_view, VideoFileComponents> cases[] = {
      {"Movie.Name.2010.720p.BluRay.x264.mkv", {"Movie Name", 2010, none, none, "720p"}},
      {"Show.Name.S01E02.HDTV.x264-GROUP.mkv", {"Show Name", none, 1, 2}},
      // The kind of marker searched for last ends the title, not the first marker in the name.
      {"Show.Name.S01E02.720p.HDTV.mkv", {"Show Name S01E02", none, 1, 2, "720p"}},
      {"2010.Show.720p.S01E02.mkv", {"", 2010, 1, 2, "720p"}},
      {"Show.Name.s01e02.s01e03.mkv", {"Show Name s01e02", none, 1, 3}},
      {"Show.s01e02.3x04.mkv", {"Show s01e02", none, 1, 4}},
      {"A.480p.B.720p.C.mkv", {"A 480p B", none, none, none, "720p"}},
      {"Blade.Runner.2049.2017.1080p.mkv", {"Blade Runner 2049", 2017, none, none, "1080p"}},
      {"Show.S1E2.mkv", {"Show", none, 1, 2}},
      {"The.Office.2x05.mkv", {"The Office", none, none, 5}},
      {"Show.s12x34.mkv", {"Show", none, 12, 34}},
      {"Movie_Name (1999).avi", {"Movie Name (", 1999}},
      {"Movie.Name.1080P.mkv", {"Movie Name", none, none, none, "1080P"}},
      // Markers inside longer runs of digits and letters.
      {"Video.1920x1080.mkv", {"Video", 1920, none, 10}},
      {"A.s123e456.mkv", {"A s1", none, none, 45}},
      {"A.320193.mkv", {"A 3", 2019}},
      {"A.192019.mkv", {"A", 1920}},
      {"A.72p.10800p.720pp.x720p.mkv", {"A 72p 10800p 720pp x720p"}},
      {"A.720p_x.mkv", {"A", none, none, none, "720p"}},
      // A leading marker leaves no title.
      {"2012.mkv", {"", 2012}},
      {"1080p.mkv", {"", none, none, none, "1080p"}},
      {"S01E02.Pilot.mkv", {"", none, 1, 2}},
      // Extensions.
      {"Show.Name.S01E02", {"Show Name"}},
      {".hidden", {"hidden"}},
      {"..x", {""}},
      {"Name.2001.", {"Name", 2001}},
      // Only the ends are trimmed, of all kinds of white space.
      {"Some..Movie__Title.avi", {"Some  Movie  Title"}},
      {"\t\u0085\u3000\u2028[A]\u00a0B\u2009\r\n.2001.mkv", {"[A]\u00a0B", 2001}},
      {"\u200bA\u200b.mkv", {"\u200bA\u200b"}},
      // Digits of other scripts: valid in a resolution; make a year invalid; not recognised in an episode.
      {"A.١٠٨٠p.mkv", {"A", none, none, none, "١٠٨٠p"}},
      {"A.2001.19٩٩.mkv", {"A 2001"}},
      {"A.s٠١e٠٢.mkv", {"A s٠١e٠٢"}},
      {"ж720p.ж.1080p.mkv", {"ж720p ж", none, none, none, "1080p"}},
      // Marks, connectors and joiners belong to a word; signs that only look like digits or letters don't.
      {"e\u0301720p.A\u203f720p.720p\uff3f.720p\u0903.\u200d720p.mkv",
       {"e\u0301720p A\u203f720p 720p\uff3f 720p\u0903 \u200d720p"}},
      {"A\u00b2720p\u00bd.mkv", {"A\u00b2", none, none, none, "720p"}},
      {"Caf\u00e9 \u0800\U00010000.ſ03E04.mkv", {"Café \u0800\U00010000", none, 3, 4}},
      // Invalid UTF-8: one U+FFFD for each maximal part of a character.
      {"\xff\xe2\x82.A\xf0\x9f\x98z\xed\xa0\x80\xf5\x80.S01E02.mkv",
       {"\ufffd\ufffd A\ufffdz\ufffd\ufffd\ufffd\ufffd\ufffd", none, 1, 2}},
  };
  for (const auto& [name, expected] : cases) EXPECT_EQ(parsed(name), expected) << name;
}

TEST(VideoFileComponents, NameIsTheLastComponentOfThePath) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"file:///films/2001/Name.mkv", "Name"},
      {"file:///a/Name.x/", "Name"},
      {"http://h/a/Name.x//?b/c.d#e/f.g", "Name"},
      {"Name.x", "Name"},
      {"/a/AC%2FDC.x", "AC/DC"},
      {"/a/A%2ex%00B%2Emkv", "A x\0B"sv},
      {"file:///", "/"},
      {"http://host", ""},
      {"/a/..", ""},
  };
  for (const auto& [url, title] : cases) {
    EXPECT_EQ(VideoFileUtilities::componentsFrom(*URL::fromString(url)).title, title) << url;
  }
}

TEST(VideoFileComponents, HugeNameIsParsedAsASmallOne) {
  constexpr std::size_t megabyte = 1'000'000;
  const struct {
    std::string_view piece;
    std::string title;
    Number season{}, episode{};
  } cases[] = {
      {"3", repeated("3", megabyte)},
      {"s1", repeated("s1", megabyte)},
      {"123p4", repeated("123p4", megabyte)},
      {"\u0301", repeated("\u0301", megabyte)},
      {"\xff", repeated("\ufffd", 3 * megabyte)},
      {".", ""},
      {"\u3000", ""},
      {"1x1x1x", repeated("1x1x1x", megabyte - 6), none, 1},
      {"s12e34", repeated("s12e34", megabyte - 6), 12, 34},
  };
  for (const auto& [piece, title, season, episode] : cases) {
    const VideoFileComponents expected{title, none, season, episode, none};
    EXPECT_TRUE(parsed(repeated(piece, megabyte) + ".mkv") == expected) << "repeated: " << piece;
  }
}

TEST(VideoFileComponents, SearchStringTakesWhatFieldsHold) {
  using Limits = std::numeric_limits<std::int64_t>;
  const struct {
    Number year, season, episode;
    std::string_view expected;
  } cases[] = {
      {none, 3, 12, "X s03e12"},
      {2001, none, none, "X 2001"},
      {2001, 3, 12, "X s03e12"},
      {2001, 3, none, "X 2001"},
      {2001, none, 12, "X 2001"},
      {none, 3, none, "X"},
      {none, 100, -1, "X s100e-1"},
      {-5, none, none, "X -5"},
      {none, Limits::min(), Limits::max(), "X s-9223372036854775808e9223372036854775807"},
  };
  for (const auto& [year, season, episode, expected] : cases) {
    EXPECT_EQ((VideoFileComponents{"X", year, season, episode, none}.searchString()), expected);
  }
}

TEST(VideoFileComponents, JSONHoldsThePresentFields) {
  const std::pair<VideoFileComponents, std::string_view> cases[] = {
      {{"A \"b\""}, R"({"title":"A \"b\""})"},
      {{"A", 2001, std::numeric_limits<std::int64_t>::min(), -2, "720p"},
       R"({"title":"A","year":2001,"season":-9223372036854775808,"episode":-2,"resolution":"720p"})"},
      {{"", none, 3, none, ""}, R"({"title":"","season":3,"resolution":""})"},
  };
  for (const auto& [components, json] : cases) {
    EXPECT_EQ(components.encode().value(), json);
    EXPECT_EQ(VideoFileComponents::decode(json).value(), components) << json;
  }
  const auto decoded = VideoFileComponents::decode(R"({"x":1,"year":null,"resolution":null,"title":"A"})");
  EXPECT_EQ(decoded.value(), VideoFileComponents{"A"});
  EXPECT_EQ((VideoFileComponents{"A", {}, {}, {}, "\xff"}.encode().error().domain()), EncodingErrorDomain);
}

TEST(VideoFileComponents, DecodingNamesTheFirstKeyAtFault) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {R"({"year":2001})", "title"},
      {R"({"title":null,"year":"x"})", "title"},
      {R"({"title":"A","resolution":720,"year":"2001"})", "year"},
      {R"({"title":"A","season":{}})", "season"},
      {R"({"title":"A","episode":true})", "episode"},
      {R"({"title":"A","year":-9223372036854775809})", "year"},
      {R"({"title":"A","year":9223372036854775808})", "year"},
      {R"({"title":"A","year":2001.5})", "year"},
      {R"({"title":"A","resolution":720})", "resolution"},
      {R"(["title"])", ""},
      {R"({"title":"A")", ""},
  };
  for (const auto& [json, key] : cases) {
    const auto decoded = VideoFileComponents::decode(json);
    ASSERT_FALSE(decoded) << json;
    EXPECT_EQ(keyAtFault(decoded.error()), key) << json;
  }
}

TEST(RegularExpression, EmptyMatchesDoNotEndTheSearch) {
  const struct {
    std::string_view pattern, subject, matches;
  } cases[] = {{"x*", "axxbx", "xx x "}, {"(?=a)", "aa", ""}, {"aa", "aaaaa", "aa aa "}};
  for (const auto& [pattern, subject, matches] : cases) {
    const RegularExpression expression(pattern);
    std::string found;
    RegularExpression::Matches match(subject);
    for (match.of(expression); match.next();) found.append(match.text()).append(" ");
    EXPECT_EQ(found, matches) << pattern;
  }
}

}  // namespace
}  // namespace caprion
