#include "process.hpp"
#include "records/subtitle_coding.hpp"
#include "service.hpp"
#include "zip_writer.hpp"

#include <caprion/bundle.hpp>
#include <caprion/caprion.h>
#include <caprion/caprion_helper.hpp>
#include <caprion/video_file_components.hpp>

#include <thread>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::string_literals;

namespace {

using Text = std::optional<std::string_view>;

std::string joined(std::initializer_list<Text> texts) {
  std::string line;
  for (const Text& text : texts) line.append(text.value_or("NULL")).append("|");
  return line;
}

Text orNull(const char* text) { return text == nullptr ? Text() : Text(text); }

std::string owned(char* text) {
  const std::string copy = text == nullptr ? "NULL" : text;
  caprion_string_free(text);
  return copy;
}

std::string line(const Subtitle& s) {
  return joined({s.subtitleID(),
                 s.matchedBy(),
                 s.subFileName(),
                 s.subLanguageID(),
                 s.languageName(),
                 s.iso639(),
                 s.subFormat(),
                 s.movieName(),
                 s.movieYear(),
                 rawValue(s.movieKind()),
                 SubtitleCoding::imdbIDMovie(s),
                 SubtitleCoding::imdbIDSeries(s),
                 s.seriesSeason(),
                 s.seriesEpisode(),
                 s.subSumCD(),
                 s.zipDownloadLink(),
                 s.subDownloadLink(),
                 s.imdbID(),
                 s.detailString(),
                 s.encode().value()});
}

std::string line(const caprion_subtitle* s) {
  const bool isMovie = caprion_subtitle_movie_kind(s) == CAPRION_MOVIE_KIND_MOVIE;
  return joined({caprion_subtitle_subtitle_id(s),
                 caprion_subtitle_matched_by(s),
                 caprion_subtitle_sub_file_name(s),
                 caprion_subtitle_sub_language_id(s),
                 caprion_subtitle_language_name(s),
                 caprion_subtitle_iso639(s),
                 caprion_subtitle_sub_format(s),
                 caprion_subtitle_movie_name(s),
                 caprion_subtitle_movie_year(s),
                 isMovie ? "movie" : "episode",
                 caprion_subtitle_imdb_id_movie(s),
                 caprion_subtitle_imdb_id_series(s),
                 caprion_subtitle_series_season(s),
                 caprion_subtitle_series_episode(s),
                 caprion_subtitle_sub_sum_cd(s),
                 orNull(caprion_subtitle_zip_download_link(s)),
                 orNull(caprion_subtitle_sub_download_link(s)),
                 owned(caprion_subtitle_imdb_id_copy(s)),
                 owned(caprion_subtitle_detail_string_copy(s)),
                 owned(caprion_subtitle_json_copy(s, nullptr))});
}

std::string line(const Error& e) {
  const auto info = [&](std::string_view key) {
    const auto found = e.userInfo().find(key);
    if (found == e.userInfo().end()) return Text("none");
    const auto* text = std::get_if<std::string>(&found->second);
    return text == nullptr ? Text() : Text(*text);
  };
  return joined({e.domain(), std::to_string(e.code()), info(NSLocalizedDescriptionKey).value_or("null"),
                 e.localizedRecoverySuggestion(), info(CodingKeyKey), e.localizedDescription().data()});
}

std::string line(const caprion_error* e) {
  const auto info = [&](const char* key) {
    std::size_t length = 0;
    const char* text = caprion_error_user_info(e, key, &length);
    return text == nullptr ? Text("none") : Text({text, length});
  };
  const bool isNull = caprion_error_description_is_null(e);
  caprion_error* copy = caprion_error_copy(e);
  EXPECT_EQ(caprion_error_domain(copy), caprion_error_domain(e)) << "not the same state";
  caprion_error_free(copy);
  return joined({caprion_error_domain(e), std::to_string(caprion_error_code(e)),
                 isNull ? "null" : info(CAPRION_DESCRIPTION_KEY),
                 orNull(caprion_error_recovery_suggestion(e)), info(CAPRION_CODING_KEY_KEY),
                 caprion_error_description(e)});
}

std::string line(const VideoFileComponents& parsed) {
  const auto number = [](std::optional<std::int64_t> value) { return std::to_string(value.value_or(-1)); };
  return joined({parsed.title, number(parsed.year), number(parsed.season), number(parsed.episode),
                 parsed.resolution, parsed.searchString()});
}

std::string line(caprion_components* parsed) {
  const auto number = [&](auto get) {
    std::int64_t value = 0;
    return std::to_string(get(parsed, &value) ? value : -1);
  };
  const std::string line =
      joined({caprion_components_title(parsed), number(caprion_components_year),
              number(caprion_components_season), number(caprion_components_episode),
              orNull(caprion_components_resolution(parsed)), caprion_components_search_string(parsed)});
  caprion_components_free(parsed);
  return line;
}

/// What an operation reported, a line each.
struct Reports {
  std::vector<std::string> lines;
  int releases = 0;
  std::promise<void> over{};
};
using SharedReports = std::shared_ptr<Reports>;

void take(const caprion_error* error, void* context, const std::string& value) {
  Reports& reports = **static_cast<SharedReports*>(context);
  EXPECT_EQ(reports.releases, 0) << "a report after the release";
  reports.lines.push_back(error == nullptr ? value : line(error));
}

void takeHits(const caprion_subtitle_list* list, const caprion_error* error, void* context) {
  EXPECT_NE(list == nullptr, error == nullptr);
  std::string hits = "hits:";
  for (std::size_t i = 0; i < caprion_subtitle_list_count(list); ++i)
    hits += line(caprion_subtitle_list_at(list, i));
  take(error, context, hits);
}

void takeFile(const char* path, const caprion_error* error, void* context) {
  EXPECT_NE(path == nullptr, error == nullptr);
  take(error, context, "file:"s + (path == nullptr ? "" : path));
}

void release(void* context) {
  const std::unique_ptr<SharedReports> last(static_cast<SharedReports*>(context));
  ++(*last)->releases;
  (*last)->over.set_value();  // ends the process when there was one before
}

enum class Kind { file, text, download };

SharedReports startInC(Kind kind, const std::string& argument, caprion_downloader* downloader = nullptr) {
  const auto reports = std::make_shared<Reports>();
  auto* const context = new SharedReports(reports);
  caprion_helper* const helper = caprion_helper_shared();
  if (kind == Kind::download) {
    caprion_subtitle* record = caprion_subtitle_new_from_json(argument.c_str(), nullptr);
    if (downloader != nullptr) {
      caprion_downloader_download(downloader, record, takeFile, context, release);
    } else {
      caprion_helper_download_subtitle_file(helper, record, takeFile, context, release);
    }
    caprion_subtitle_free(record);
    EXPECT_EQ(reports->releases, 1);
  } else if (kind == Kind::file) {
    caprion_helper_find_subtitles_for(helper, argument.c_str(), "eng", takeHits, context, release);
  } else {
    caprion_helper_find_subtitles_matching(helper, argument.c_str(), "eng", takeHits, context, release);
  }
  return reports;
}

SharedReports startInCpp(Kind kind, const std::string& argument) {
  const auto reports = std::make_shared<Reports>();
  const auto completion = [reports](const auto& list, const auto& error) {
    std::string hits = "hits:";
    for (const auto& subtitle : list.value_or(CaprionHelper::SubtitleList())) hits += line(*subtitle);
    reports->lines.push_back(error ? line(*error) : hits);
    reports->over.set_value();
  };
  CaprionHelper& helper = CaprionHelper::shared();
  if (kind == Kind::download) {
    helper.downloadSubtitleFile(**Subtitle::decode(argument), [&](const auto& file, const auto& error) {
      reports->lines.push_back(error ? line(*error) : "file:" + file->path());
    });
    reports->over.set_value();
  } else if (kind == Kind::file) {
    helper.findSubtitles(URL::fileURLWithPath(argument), "eng", completion);
  } else {
    helper.findSubtitles(argument, "eng", completion);
  }
  return reports;
}

std::string recordWith(const std::string& identifier, const std::string& link) {
  return record({{"IDSubtitle", "\"" + identifier + "\""},
                 {"ZipDownloadLink", link},
                 {"SubFileName", R"("film.srt")"},
                 {"SubLanguageID", R"("eng")"},
                 {"SubFormat", R"("srt")"}});
}

}  // namespace

class CFace : public testing::Test {
 protected:
  CFace() { ::setenv("TMPDIR", folder_.path.c_str(), 1); }
  ~CFace() override { ::unsetenv("TMPDIR"); }

  const TemporaryFolder folder_;
};

TEST_F(CFace, ReportsWhatTheFacadeReportsAndLetsGoOnce) {
  const std::string video = folder_.path / "a%20\xFF.mkv";
  std::ofstream{video};
  stand_in::ZipWriter zip;
  zip.add("film.srt", "x");
  const std::string good = recordWith("1", R"("http://dl.test/")");
  const std::string list = "[" + record({{"MovieKind", R"("episode")"}}) + "," + good + "]";

  struct Case {
    Kind kind;
    std::string argument;
    Answer answer;
    std::string start;  // of the only report
  };
  for (const Case& c : {
           Case{Kind::file, folder_.path / "missing", {}, "|0|Cannot create a video hash for the file|"},
           Case{Kind::file, video, {.body = list}, "hits:the IDSubtitle|"},
           Case{Kind::text, "x y", {.body = "[]"}, "hits:"},
           Case{Kind::text, "x", {.body = list}, "hits:the IDSubtitle|"},
           Case{Kind::text, "x", {.body = "no \0list"s}, "org.caprion.answer|0|no \0list|"s},
           Case{Kind::text, "x", {}, "org.caprion.answer|0||"},
           Case{Kind::text, "x", {.body = "\xFF"}, "org.caprion.answer|0|null|"},
           Case{Kind::text, "x", {.fault = Fault::reset}, "NSURLErrorDomain|-1005|"},
           Case{Kind::text, "x", {.fault = Fault::hang}, "NSURLErrorDomain|-999|"},
           Case{Kind::download, good, {.body = zip.finish()}, "file:" + folder_.path.string()},
           Case{Kind::download, good, {.body = "no zip"}, "|0|No subtitle file found in the zip archive.|"},
           Case{Kind::download, recordWith("1", "null"), {}, "|0|No zip download link available|"},
       }) {
    service().setHandler(always(c.answer));
    const auto linesOf = [&](auto start) {
      const auto requests = service().requests().size();
      const auto reports = start(c.kind, c.argument);
      if (c.answer.fault == Fault::hang) {
        EXPECT_TRUE(service().waitForRequests(requests + 1));
        caprion_query_task_cancel();
      }
      wait(reports->over.get_future());
      return reports->lines;
    };
    const auto lines = linesOf([](Kind kind, const auto& argument) { return startInC(kind, argument); });
    EXPECT_EQ(lines, linesOf(startInCpp));
    ASSERT_EQ(lines.size(), 1) << c.start;
    EXPECT_TRUE(lines.front().starts_with(c.start)) << c.start << "\n" << lines.front();
  }
}

TEST_F(CFace, ReportsAFileThatCannotBeHashedAtOnce) {
  EXPECT_EQ(startInC(Kind::file, folder_.path / "missing")->releases, 1);
}

TEST_F(CFace, LetsGoOfADownloadThatReportsNothing) {
  service().setHandler(
      [](const auto& r) { return Answer{.fault = r.host == "held.test" ? Fault::hang : Fault::none}; });
  for (const bool isCancelled : {false, true}) {
    const auto requests = service().requests().size();
    caprion_downloader* const downloader = isCancelled ? caprion_downloader_new() : nullptr;
    SharedReports reports;
    std::thread caller(
        [&] { reports = startInC(Kind::download, recordWith("1", R"("http://held.test/")"), downloader); });
    ASSERT_TRUE(service().waitForRequests(requests + 1));
    if (isCancelled) {
      caprion_downloader_cancel(downloader);
    } else {
      startInCpp(Kind::download, recordWith("2", R"("http://dl.test/")"));
    }
    caller.join();
    EXPECT_EQ(reports->lines, std::vector<std::string>());
    EXPECT_EQ(reports->releases, 1);
    caprion_downloader_free(downloader);
  }
}

TEST_F(CFace, DecodesHashesAndParsesAsTheLibraryDoes) {
  for (const std::string& json : {record(), recordWith("1", "null"), record({{"SubSumCD", "5"}}), "["s}) {
    caprion_error* error = nullptr;
    caprion_subtitle* subtitle = caprion_subtitle_new_from_json(json.c_str(), &error);
    const auto expected = Subtitle::decode(json);
    ASSERT_EQ(error == nullptr, expected.has_value()) << json;
    EXPECT_EQ(expected ? line(subtitle) : line(error), expected ? line(**expected) : line(expected.error()));
    caprion_subtitle_free(subtitle);
    caprion_error_free(error);
  }

  for (const std::uintmax_t size : {65'535, 65'536}) {
    const std::string path = folder_.path / "a b%";
    std::ofstream{path} << size;
    std::filesystem::resize_file(path, size);
    char hash[CAPRION_FILE_HASH_SIZE] = "unchanged";
    std::uint64_t bytes = 1;
    ASSERT_TRUE(caprion_file_hash(path.c_str(), hash, &bytes));
    EXPECT_EQ((VideoHash{hash, bytes}), Caprion::hashFor(URL::fileURLWithPath(path))) << size;
  }

  for (const std::string path : {"", "Show.Name.S01E02.720p.mkv", "a/2x05 (1999).avi", "\xFF%41.mkv"}) {
    const URL url = URL::fileURLWithPath(path);
    const std::string expected = line(VideoFileUtilities::componentsFrom(url));
    EXPECT_EQ(line(caprion_components_new_from_path(path.c_str())), expected);
    EXPECT_EQ(line(caprion_components_new_from_url(url.absoluteString().c_str())), expected);
  }
  EXPECT_EQ(line(caprion_components_new()), line(VideoFileComponents()));
  EXPECT_EQ(caprion_components_new_from_url("a b"), nullptr);

  Bundle::main().setInfoDictionary(Bundle::InfoDictionary{{"other", true}});
  EXPECT_TRUE(caprion_bundle_set_name("My Player"));
  EXPECT_EQ(Bundle::main().infoDictionary()->at("CFBundleName"), Bundle::Value("My Player"s));
  EXPECT_TRUE(caprion_bundle_set_name(nullptr));
  EXPECT_EQ(Bundle::main().infoDictionary(), (Bundle::InfoDictionary{{"other", true}}));
  Bundle::main().setInfoDictionary(std::nullopt);
}

TEST_F(CFace, ServesAHostInCAndTheExamplesInEveryLanguage) {
  const std::string link = R"("https://dl.opensubtitles.org/en/download/sub/5000101")";
  const std::string name = "Big.Buck.Bunny.2008.1080p.en.eng.srt\n",
                    video = folder_.path / "Big.Buck.Bunny.2008.mkv";
  std::ofstream{video};
  std::filesystem::resize_file(video, 1 << 20);

  struct Case {
    const char* video;
    std::optional<std::string> answer;  // to the search, in the catalogue's place
    int status;
    std::string file, error;
  };
  for (const std::string program : {HOSTS}) {
    for (const Case& c : {
             Case{"Big.Buck.Bunny.2008.mkv", std::nullopt, 0, "/Caprion/5000101/" + name, ""},
             Case{"Big.Buck.Bunny.2008.mkv",
                  "[" + recordWith("1", "null") + "," + recordWith("2", link) + "]", 0, "/Caprion/2/" + name,
                  ""},
             Case{"Big.Buck.Bunny.2008.mkv", "[" + recordWith("1", "\"\"") + "]", 1, "",
                  "Cannot create URL from zipDownloadLink\n"},
             Case{"Big.Buck.Bunny.2008.mkv", "[]", 1, "", "no subtitle found\n"},
             Case{"missing", std::nullopt, 1, "",
                  "Cannot create a video hash for the file\nno subtitle found\n"},
         }) {
      stand_in::StandIn service(CATALOGUE, [&](const stand_in::Request& request) {
        const bool isOurs = c.answer && request.target.starts_with("/search/");
        return isOurs ? std::optional(Answer{.body = *c.answer}) : std::nullopt;
      });
      const auto run = runThrough(service, program + " " + shellQuoted(folder_.path / c.video) + " eng");
      EXPECT_EQ(run.status, c.status) << program;
      EXPECT_EQ(run.output, c.file.empty() ? "" : folder_.path.string() + c.file) << program;
      EXPECT_EQ(run.error, c.error) << program;
      if (program == C_FACE_HOST) break;  // which goes on by itself
    }
  }
}

}  // namespace caprion::test
