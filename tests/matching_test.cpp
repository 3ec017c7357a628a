#include "facade/handles.hpp"
#include "service.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>
#include <caprion/release_name.hpp>

#include <fstream>

namespace caprion::test {

namespace {

using Hits = std::vector<std::shared_ptr<const Subtitle>>;

/// A record from "MATCHED BY|TITLE|YEAR|SEASON|EPISODE|FILE|DISCS|KIND"; for an episode if there is a season.
std::shared_ptr<const Subtitle> hit(const std::string& line) {
  auto fields = split(line, '|');
  fields.resize(8);
  if (!fields[3].empty()) fields[1] = '"' + fields[1] + "\" Part";
  if (fields[7].empty()) fields[7] = fields[3].empty() ? "movie" : "episode";
  return *Subtitle::decode(record(texts(
      "MatchedBy MovieName MovieYear SeriesSeason SeriesEpisode SubFileName SubSumCD MovieKind", fields)));
}

std::vector<RankedSubtitle> ranked(const Hits& hits, const std::string& video) {
  return *rankedSubtitles(hits, URL::fileURLWithPath("/films/" + video));
}

TEST(Ranking, SuitableHitsComeBestFirst) {
  const struct {
    const char* rule;
    const char* video;
    std::string hits;      // separated by semicolons
    std::string expected;  // their indexes, from 0
  } cases[] = {
      {"another season or episode", "Show.S01E02.mkv",
       "moviehash|Show||1|3;tag|Show||2|2;x|Show||2|1;moviehash|Other||1|2", "3"},
      {"either of two episodes", "Show.S01E02E03.mkv", "x|Show||1|3;x|Show||1|2;x|Show||1|4", "01"},
      {"numbers that the service doesn't know", "Show.S01E02.mkv",
       "moviehash|Show||0|0;tag|Show||1|0;x|Show||1|0;x|Show||0|2", "01"},
      {"numbers of the file", "A.S01E02.mkv", "tag|A||0|0|1x03;tag|A||0|0|1x02;tag|A||1|2", "21"},
      {"a later year", "A.S01E02.2020.mkv", "x|A|1990|1|2;x|A||1|2;x|A|2019|1|2", "201"},
      {"an episode that is called a movie", "A.S01E02.mkv", "x|A||1|2|||movie", "0"},
      {"a special", "Show.S00E02.mkv", "x|Show||1|2;x|Show||0|2", "1"},
      {"a movie for a name with an episode", "Show.S01E02.mkv", "moviehash|Show|;x|Show|", ""},
      {"a movie for a whole season", "Show.S01.mkv",
       "moviehash|Show|;moviehash|Show||2|1;x|Show||1|1;moviehash|Show||0|0|S02.srt", ""},
      {"an older series for a whole season", "Show.2005.S01.mkv",
       "moviehash|Show|1990|1|3;moviehash|Show|2005|1|3", "1"},
      {"an episode for a name without one", "Show - 012.mkv",
       "tag|Show||1|12;x|Show - 012||1|12;moviehash|Show||1|12", "2"},
      {"an episode for a name with a year", "Show.2012.mkv", "moviehash|Show|2012|1|12", ""},
      {"an episode for a name whose year is its show's", "Space.1999.mkv", "moviehash|Space: 1999|1975|1|12",
       "0"},
      {"years too far apart", "Dune.2021.mkv",
       "moviehash|Dune|1984;x|Dune|2023;x|Dune|2022;x|Dune|2020;x|Dune|;x|Dune|0", "2345"},
      {"a year of the title's", "Wonder Woman 1984.mkv",
       "x|Wonder Woman|2017;x|Wonder Woman 1984|2020;moviehash|Wonder Woman 1984|2020", "21"},
      {"an older series of that title", "Doctor.Who.2005.S01E02.mkv",
       "x|Doctor Who|1963|1|2;x|Doctor Who|2006|1|2", "1"},
      {"another title", "Alien.1979.mkv", "x|Aliens|1979;x|Alien Nation|1979;x||1979;x|The Alien|1979", "3"},
      {"another title matters to a text search alone", "Alien.1979.mkv", "tag|Obcy|1979;moviehash|Obcy|1979",
       "10"},
      {"a name without title", "S01E02.mkv", "x|||1|2;x|!||1|2;tag|A||1|2;moviehash|A||1|2", "3"},
      {"a generic name", "VTS_01_1.1080p.VOB", "tag|Film|2001;tag|VTS 01 1|", "1"},
      {"a title that is its marker", "$.1971.mkv", "x|$|1971;x|!|1971", ""},
      {"the same but for how it is written", "Amelie.and.the.Wolfs.Spider.Man.2001.mkv",
       "x|L'Amélie & the Wolf's Spider-Man|2001;x|AMÉLIE & THE WOLF’S SPIDER-MAN!|2001", "1"},
      {"an article in front or behind", "Matrix, The (1999).mkv",
       "x|The Matrix|1999;x|A Matrix|1999;x|La Matrix|1999", "01"},
      {"decomposed letters and other scripts", "\u0415\u0308лки и\u0306 ΣΑΣ Cafe\u0301.2010.mkv",
       "x|ёлки й σας café|2010", "0"},
      {"a disc", "A.cd1.avi", "x|A||||A.srt;x|A||||A.CD2.srt;x|A||||A - CD 1.srt|2", "2"},
      {"its content", "A.cd1.avi", "moviehash|A||||a|1;moviehash|A||||disk2;moviehash|A||||a|2", "2"},
      {"no disc", "A.Part.2.avi", "x|A Part 2|||||2;x|A Part 2||||disc1;moviehash|A|||||2", "2"},
      {"a sample", "A.2001-sample.avi", "moviehash|A|2001", ""},
      {"a title like a sample's", "The.Sample.avi", "x|The Sample|2001", "0"},
      {"evidence before names", "A.2001.1080p.mkv",
       "x|A|2001|||A.2001.1080p.srt;tag|A|2001|||z.srt;moviehash|A|2001|||y.srt", "210"},
      {"names of equal evidence, then the service's order", "A.2001.1080p.BluRay-GRP.mkv",
       "tag|A|2001|||A.2001.srt;tag|A|2001|||a_2001_(1080p).srt;tag|A|2001|||2001.A.A.A.srt;tag|A|2001|||grp "
       "a 1080p bluray.srt",
       "3102"},
  };
  for (const auto& [rule, video, lines, expected] : cases) {
    Hits hits{nullptr};
    for (const auto& line : split(lines, ';')) hits.push_back(hit(line));
    std::string order;
    for (const auto& place : ranked(hits, video))
      order += std::to_string(std::ranges::find(hits, place.subtitle) - hits.begin() - 1);
    EXPECT_EQ(order, expected) << rule;
  }
}

TEST(Ranking, PlacesAreExplained) {
  const Hits hits{hit("moviehash|A|2001||||"), hit("tag|A|2001|||A.srt"), hit("x|A|2001|||A-x264.srt"),
                  hit("x|A|")};
  std::string reasons;
  for (const auto& place : ranked(hits, "A.2001.x264.mkv"))
    reasons += std::to_string(int(place.evidence)) + ' ' + place.reason + '\n';
  EXPECT_EQ(reasons,
            "0 found by content\n"
            "1 same release, 1 word in common\n"
            "2 same title and year, 2 words in common\n"
            "2 same title\n");
}

TEST(Ranking, NamesOfTheWorldFindTheirRecordAmongItsLikes) {
  std::ifstream names(FILE_NAMES);
  int count = 0, right = 0;
  for (std::string line; std::getline(names, line);) {
    if (line.starts_with('#')) continue;
    auto fields = split(line, '\t');
    const bool isEpisode = fields.size() == 5;
    fields.resize(5);
    const std::string &name = fields[0], &title = fields[1], &year = fields[2];
    const auto number = [](const std::string& text, int more) {
      return text.empty() ? "" : std::to_string(std::stoi(text) + more);
    };
    const auto like = [&](const std::string& by, const std::string& t, int years = 0, int seasons = 0,
                          int episodes = 0) {
      return hit(by + '|' + t + '|' + number(year, years) + '|' + number(fields[3], seasons) + '|' +
                 number(fields[4], episodes) + '|' + name.substr(0, name.rfind('.')) + ".srt");
    };
    const bool tellsYear = name.find(isEpisode ? "(20" : year) != std::string::npos;
    const std::size_t lastWord = title.rfind(' ');
    const std::string other = lastWord == std::string::npos ? title + "s" : title.substr(0, lastWord);
    Hits hits{like("fulltext", title + ": Origins"),
              like("fulltext", "The Making of " + title),
              like("fulltext", "New " + title),
              like("fulltext", title + " 2", 3),
              like("fulltext", title + " II"),
              like("fulltext", other),
              tellsYear ? like("moviehash", title, -40) : like("fulltext", title + " Returns")};
    if (isEpisode) {
      hits.push_back(like("moviehash", title, 0, 1));
      hits.push_back(like("tag", title, 0, 0, 5));
      hits.push_back(hit("moviehash|" + title + '|' + year));
    } else {
      hits.push_back(hit((tellsYear ? "moviehash|" : "fulltext|") + title + '|' + year + "|1|1"));
      hits.push_back(hit("tag|" + title + '|' + year + "|1|2"));
    }
    hits.push_back(hit("fulltext|" + title + '|' + year + '|' + fields[3] + '|' + fields[4] + "|x.srt"));
    const auto places = ranked(hits, name);
    EXPECT_TRUE(places.empty() || places.front().subtitle == hits.back()) << name;
    ++count;
    right += places.empty() ? 0 : 1;
  }
  EXPECT_GE(count, 150);
  EXPECT_GE(right, count * 9 / 10) << "of " << count;
}

TEST(ReleaseName, TitleEndsAtTheFirstMarker) {
  constexpr auto none = std::nullopt;
  const std::pair<std::string, ReleaseName> cases[] = {
      {"Show.Name.S01E02.720p.HDTV.mkv", {"Show Name", none, 1, {2}}},
      {"Show_Name.720p.s1e2.2012.mkv", {"Show Name", none, 1, {2}}},
      {"Show.S01E02-E04.mkv", {"Show", none, 1, {2, 3, 4}}},
      {"Show - 1x02-03 - Part.mkv", {"Show", none, 1, {2, 3}}},
      {"Show.S01E02.S01E03.S02E04.mkv", {"Show", none, 1, {2, 3}}},
      {"Show S2 - 05 [1080p].mkv", {"Show", none, 2, {5}}},
      {"Show.S01E01-999.mkv", {"Show", none, 1, {1, 999}}},
      {"Show.Season.1.S01E02.mkv", {"Show", none, 1, {2}}},
      {"Show S1 E2.mkv", {"Show", none, 1, {2}}},
      {"Show Season 1 Episode 22.mkv", {"Show", none, 1, {22}}},
      {"Show.E05.mkv", {"Show", none, 1, {5}}},
      {"Show.S02.1080p.mkv", {"Show", none, 2, {}}},
      {"[Group] Show - 05 [1080p].mkv", {"Show - 05", none, none, {}}},
      {"Show.2017.05.12.720p.mkv", {"Show 2017 05 12", none, none, {}}},
      {"Blade.Runner.2049.2017.1080p.mkv", {"Blade Runner 2049", 2017, none, {}}},
      {"1917.2019.mkv", {"1917", 2019, none, {}}},
      {"2012.mkv", {"2012", none, none, {}}},
      {"[REC] (2007).mkv", {"REC", 2007, none, {}}},
      {"[REC].Blu-ray.mkv", {"REC", none, none, {}}},
      {"Movie (2007) Cut of 2012.mkv", {"Movie", 2007, none, {}}},
      {"Movie.Name.DVDRip.2001.mkv", {"Movie Name", 2001, none, {}}},
      {"Movie.1920x1080.H.264.mkv", {"Movie", none, none, {}}},
      {"Movie.Part.2.CD1.DVDRip.avi", {"Movie Part 2", none, none, {}}},
      {"Show.S01E02", {"Show", none, 1, {2}}},
      {"Who's Afraid? (1966).mkv", {"Who's Afraid", 1966, none, {}}},
      {"...", {}},
      {"\xff\xfe.mkv", {}},
      {"s99999e1 1x e 2x2 s1e99999 0000.mkv", {"s99999e1 1x e 2x2 s1e99999 0000", none, none, {}}},
      {std::string(5'000'000, 'x') + " S01E02.mkv", {std::string(1024, 'x'), none, none, {}}},
  };
  for (const auto& [name, expected] : cases) {
    const std::string path = "/films/" + name;
    const auto read = ReleaseName::from(URL::fileURLWithPath(path));
    EXPECT_TRUE(read == expected) << name.substr(0, 80) << " reads " << read.title << ", "
                                  << read.year.value_or(-1) << ", " << read.season.value_or(-1) << ", "
                                  << testing::PrintToString(read.episodes);
    auto* const handle = caprion_release_name_new(path.c_str());
    ReleaseName inC{caprion_release_name_title(handle), {}, {}, {}};
    int number = 0;
    if (caprion_release_name_year(handle, &number)) inC.year = number;
    if (caprion_release_name_season(handle, &number)) inC.season = number;
    while (inC.episodes.size() < caprion_release_name_episode_count(handle))
      inC.episodes.push_back(caprion_release_name_episode_at(handle, inC.episodes.size()));
    EXPECT_TRUE(inC == read) << name.substr(0, 80);
    caprion_release_name_free(handle);
  }
}

TEST(Language, IsFoundByEveryUsualForm) {
  const std::pair<std::string, const char*> cases[] = {
      {"eng", "eng|EN|en-US|en_gb|en-x-anything"},
      {"ger", "de|deu"},
      {"ell", "gre|el"},
      {"scc", "srp"},
      {"mne", "cnr"},
      {"pob", "pob|pt-BR|PT_br|por-BR"},
      {"por", "pt|pt-PT"},
      {"nor", "nb|nn-NO"},
      {"tgl", "fil"},
      {"chi", "zh|zho|zh-CN|zh-Hans-HK"},
      {"zht", "zh-Hant|zh_HK|zh-TW|zht|zh-Hant-HK|zho-Hant"},
      {"", "|all|english|e|-|-en|en-|en--us|en us|e\xC5\x84g|en-é|xx-en"},
  };
  for (const auto& [identifier, codes] : cases) {
    for (const std::string& code : split(codes, '|')) {
      const auto language = Language::from(code);
      EXPECT_EQ(language ? language->identifier : "", identifier) << code;
    }
  }
  for (const Language& language : Language::all()) {
    for (const auto code : {language.identifier, language.iso6391, language.iso6392, language.tag})
      EXPECT_TRUE(code.empty() || Language::from(code) == language) << code;
  }
  EXPECT_FALSE(Language::from(std::string(1'000'000, 'e')));
}

TEST(MatchingCFace, RanksAndKnowsLanguagesAsTheLibraryDoes) {
  const Hits hits{hit("x|A|2001"), hit("tag|B|2001"), hit("x|C|2001"), hit("moviehash|A|2002")};
  caprion_subtitle_list list;
  for (const auto& record : hits) list.subtitles.push_back({record});
  caprion_ranking* const ranking = caprion_ranking_new(&list, "/films/A.2001.mkv");
  std::size_t i = 0;
  for (const auto& [subtitle, evidence, reason] : ranked(hits, "A.2001.mkv")) {
    ASSERT_LT(i, caprion_ranking_count(ranking));
    EXPECT_EQ(caprion_ranking_subtitle_at(ranking, i)->record, subtitle);
    EXPECT_EQ(int(caprion_ranking_evidence_at(ranking, i)), int(evidence));
    EXPECT_EQ(caprion_ranking_reason_at(ranking, i++), reason);
  }
  EXPECT_EQ(i, caprion_ranking_count(ranking));
  EXPECT_FALSE(caprion_ranking_subtitle_at(ranking, i) || caprion_ranking_reason_at(ranking, i));
  caprion_ranking_free(ranking);
  EXPECT_FALSE(caprion_ranking_new(nullptr, "x") || caprion_ranking_count(nullptr));

  i = 0;
  for (const Language& language : Language::all()) {
    const caprion_language* const l = caprion_language_at(i++);
    EXPECT_EQ((Language{caprion_language_identifier(l), caprion_language_iso6391(l),
                        caprion_language_iso6392(l), caprion_language_tag(l), caprion_language_name(l)}),
              language);
    EXPECT_EQ(caprion_language_from(caprion_language_identifier(l)), l);
  }
  EXPECT_EQ(i, caprion_language_count());
  EXPECT_FALSE(caprion_language_at(i) || caprion_language_from("all"));
  EXPECT_EQ(caprion_language_name(caprion_language_from(nullptr)), nullptr);
}

}  // namespace

}  // namespace caprion::test
