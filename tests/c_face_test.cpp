#include "process.hpp"
#include "records/subtitle_record.hpp"
#include "service.hpp"

#include <caprion/bundle.hpp>
#include <caprion/caprion.h>
#include <caprion/caprion_helper.hpp>
#include <caprion/video_file_components.hpp>

#include <list>

namespace caprion::test {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::string_literals;
using namespace std::chrono_literals;

namespace {

std::string orNone(const char* text) { return text == nullptr ? "none" : text; }

/// Copies and frees a string.
std::string owned(char* text) {
  const std::string copy = orNone(text);
  caprion_string_free(text);
  return copy;
}

/// DOMAIN CODE "DESCRIPTION" HINT, KEY AT FAULT
std::string errorLine(const caprion_error* error) {
  caprion_error* const copy = caprion_error_copy(error);
  EXPECT_EQ(caprion_error_domain(copy), caprion_error_domain(error)) << "not the same state";
  std::size_t length = 0;
  const char* const description = caprion_error_user_info(copy, CAPRION_DESCRIPTION_KEY, &length);
  std::string line = caprion_error_domain(copy) + " "s + std::to_string(caprion_error_code(copy)) + " ";
  if (description != nullptr) line += '"' + std::string(description, length) + '"';
  if (caprion_error_description_is_null(copy)) line += "null, "s + caprion_error_description(copy);
  if (const char* hint = caprion_error_recovery_suggestion(copy)) line += " "s + hint;
  if (const char* key = caprion_error_user_info(copy, CAPRION_CODING_KEY_KEY, nullptr)) line += ", "s + key;
  EXPECT_EQ(caprion_error_description(copy), caprion_error_description(error));
  caprion_error_free(copy);
  return line;
}

/// Compares the components, and frees them.
void expectSame(caprion_components* parsed, const VideoFileComponents& expected) {
  EXPECT_EQ(caprion_components_title(parsed), expected.title);
  for (const auto& [get, field] : {std::pair(&caprion_components_year, expected.year),
                                   {&caprion_components_season, expected.season},
                                   {&caprion_components_episode, expected.episode}}) {
    std::int64_t number = -1;
    EXPECT_EQ(get(parsed, &number), field.has_value());
    EXPECT_EQ(number, field.value_or(-1));
    EXPECT_EQ(get(parsed, nullptr), field.has_value());
  }
  EXPECT_EQ(orNone(caprion_components_resolution(parsed)), expected.resolution.value_or("none"));
  EXPECT_EQ(caprion_components_search_string(parsed), expected.searchString());
  caprion_components_free(parsed);
}

using Lines = std::vector<std::string>;

/// The context of an operation. None is destroyed, in case a report comes too late.
struct Operation {
  caprion_subtitle* record = nullptr;  // to be downloaded
  Lines reports{};
  std::promise<void> released{};
};
std::list<Operation> operations;

void report(void* context, const caprion_error* error, bool hasValue, const std::string& value) {
  EXPECT_NE(hasValue, error != nullptr);
  static_cast<Operation*>(context)->reports.push_back(error == nullptr ? value : errorLine(error));
}

void takeHits(const caprion_subtitle_list* list, const caprion_error* error, void* context) {
  std::vector<const caprion_subtitle*> borrowed;
  while (auto* const hit = caprion_subtitle_list_at(list, borrowed.size())) borrowed.push_back(hit);
  caprion_subtitle_list* const made = caprion_subtitle_list_new(borrowed.data(), borrowed.size());
  caprion_subtitle_list* const copy = caprion_subtitle_list_copy(made);
  caprion_subtitle_list_free(made);
  std::string hits = "hits:";
  for (std::size_t i = 0; i < caprion_subtitle_list_count(copy); ++i)
    hits += " "s + caprion_subtitle_subtitle_id(caprion_subtitle_list_at(copy, i));
  caprion_subtitle_list_free(copy);
  report(context, error, list != nullptr, hits);
}

void takeFile(const char* path, const caprion_error* error, void* context) {
  caprion_subtitle_free(std::exchange(static_cast<Operation*>(context)->record, nullptr));
  report(context, error, path != nullptr, orNone(path));
}

void release(void* context) {
  auto* const operation = static_cast<Operation*>(context);
  caprion_subtitle_free(std::exchange(operation->record, nullptr));
  operation->released.set_value();
}

/// Starts an operation with this context.
using Start = std::function<void(Operation*)>;
Start byFile(const char* path, const char* language = "eng", caprion_helper* by = caprion_helper_shared()) {
  return [=](auto* o) { caprion_helper_find_subtitles_for(by, path, language, takeHits, o, release); };
}
Start byText(const char* text, caprion_search_completion take = takeHits) {
  return [=](auto* o) {
    caprion_helper* const own = caprion_helper_new();
    caprion_helper_find_subtitles_matching(own, text, "eng", take, o, release);
    caprion_helper_free(own);  // the search continues
  };
}
Start byCriteria(std::vector<caprion_criterion> criteria) {
  return [=, helper = caprion_helper_shared()](auto* o) {
    caprion_query(helper, criteria.data(), criteria.size(), takeHits, o, release);
  };
}
Start download(const std::string& json, caprion_downloader* by = nullptr) {
  return [=, helper = caprion_helper_shared()](auto* o) {
    o->record = caprion_subtitle_new_from_json(json.c_str(), nullptr);
    if (by != nullptr) return caprion_downloader_download(by, o->record, takeFile, o, release);
    caprion_helper_download_subtitle_file(helper, o->record, takeFile, o, release);
  };
}

bool isReady(const std::future<void>& future) { return future.wait_for(0s) == std::future_status::ready; }

}  // namespace

class CFace : public InTemporaryFolder {};

TEST_F(CFace, ReadsEachKeyAsTheMemberDoes) {
  using Text = std::optional<std::string_view>;
  const struct {
    const char* key;
    std::function<Text(const Subtitle&)> member;
    const char* (*getter)(const caprion_subtitle*);
  } fields[] = {
      {"IDSubtitle", &Subtitle::subtitleID, caprion_subtitle_subtitle_id},
      {"MatchedBy", &Subtitle::matchedBy, caprion_subtitle_matched_by},
      {"SubFileName", &Subtitle::subFileName, caprion_subtitle_sub_file_name},
      {"SubLanguageID", &Subtitle::subLanguageID, caprion_subtitle_sub_language_id},
      {"LanguageName", &Subtitle::languageName, caprion_subtitle_language_name},
      {"ISO639", &Subtitle::iso639, caprion_subtitle_iso639},
      {"SubFormat", &Subtitle::subFormat, caprion_subtitle_sub_format},
      {"MovieName", &Subtitle::movieName, caprion_subtitle_movie_name},
      {"MovieYear", &Subtitle::movieYear, caprion_subtitle_movie_year},
      {"IDMovieImdb", SubtitleRecord::imdbIDMovie, caprion_subtitle_imdb_id_movie},
      {"SeriesIMDBParent", SubtitleRecord::imdbIDSeries, caprion_subtitle_imdb_id_series},
      {"SeriesSeason", &Subtitle::seriesSeason, caprion_subtitle_series_season},
      {"SeriesEpisode", &Subtitle::seriesEpisode, caprion_subtitle_series_episode},
      {"ZipDownloadLink", &Subtitle::zipDownloadLink, caprion_subtitle_zip_download_link},
      {"SubDownloadLink", &Subtitle::subDownloadLink, caprion_subtitle_sub_download_link},
      {"SubSumCD", &Subtitle::subSumCD, caprion_subtitle_sub_sum_cd},
  };
  for (const auto& [kind, inC] :
       {std::pair(R"("movie")", CAPRION_MOVIE_KIND_MOVIE), {R"("episode")", CAPRION_MOVIE_KIND_EPISODE}}) {
    const std::string json = record({{"MovieKind", kind}});
    const auto subtitle = Subtitle::decode(record({{"MovieKind", kind}, {"other", "[1e400, {}]"}})).value();
    caprion_subtitle* const handle = caprion_subtitle_new_from_json(json.c_str(), nullptr);
    for (const auto& [key, member, getter] : fields) {
      EXPECT_EQ(member(*subtitle), "the "s + key);
      EXPECT_EQ(orNone(getter(handle)), "the "s + key);
      EXPECT_EQ(getter(nullptr), nullptr) << key;
    }
    EXPECT_EQ('"' + std::string(rawValue(subtitle->movieKind())) + '"', kind);
    EXPECT_EQ(std::hash<MovieKind>()(subtitle->movieKind()),
              std::hash<std::string_view>()(rawValue(subtitle->movieKind())));
    EXPECT_EQ(caprion_subtitle_movie_kind(handle), inC);
    EXPECT_EQ(subtitle->encode().value(), json);
    EXPECT_EQ(owned(caprion_subtitle_json_copy(handle, nullptr)), json);
    EXPECT_EQ(owned(caprion_subtitle_imdb_id_copy(handle)), subtitle->imdbID());
    EXPECT_EQ(owned(caprion_subtitle_detail_string_copy(handle)), subtitle->detailString());
    caprion_subtitle_free(handle);
  }
}

TEST_F(CFace, ReportsOnceAndLetsGoOnce) {
  const std::string video = root_.file("a%20\xFF.mkv", 0), missing = root_.path / "missing";
  const std::string good = recordFor({}), list = "[" + record() + "," + good + "]";
  const std::string invalid = R"(NSPOSIXErrorDomain 22 "Invalid argument")";
  const std::string found = "hits: the IDSubtitle 42", lost = "The connection to the server was lost";
  const std::string neither = "The server's answer is neither a list of subtitles nor text";
  const Answer hits{.body = list}, archive{.body = zip({"film.srt"})};
  const struct {
    Start start;
    bool isAtOnce;       // on the calling thread
    std::string report;  // empty for none
    Answer answer{};
    std::string target{};  // of the request
  } cases[] = {
      {byFile(missing.c_str()), true, R"( 0 "Cannot create a video hash for the file")"},
      {byFile(video.c_str()), false, found, hits},
      {byText("x"), false, found, hits},
      {byText("x y"), false, "hits:", {.body = "[]"}},
      {byText("x"), false, "org.caprion.answer 0 \"no \0list\""s, {.body = "no \0list"s}},
      {byText("x"), false, R"(org.caprion.answer 0 "")"},
      {byText("x"), false, "org.caprion.answer 0 null, " + neither, {.body = "\xFF"}},
      {byText("x"), false, "NSURLErrorDomain -1005 \"" + lost + '"', {.fault = Fault::reset}},
      {byText("x"), false, R"(NSURLErrorDomain -999 "The request was cancelled")", {.fault = Fault::hang}},
      {byCriteria({{"season", "1"}, {"query", "a b"}}), false, found, hits, "/search/season-1/query-a%20b"},
      {byCriteria({{"season", "1"}, {"Query", "x"}}), true, invalid},
      {byCriteria({{"query", nullptr}}), true, invalid},
      {download(good), true, root_.path / "Caprion/42/film.eng.srt", archive},
      {download(good), true, " 0 \"No subtitle file found in the zip archive.\" archive.zip\n", hits},
      {download("{}"), true, invalid},
      {byFile(nullptr), true, invalid},
      {byText(nullptr), true, invalid},
      {byFile("", "", nullptr), true, invalid},
      {byFile("", nullptr), true, invalid},
      {byText("", nullptr), false, ""},
  };
  for (const auto& [start, isAtOnce, reported, answer, target] : cases) {
    service().setHandler(always(answer));
    const auto requests = service().requests().size();
    Operation& operation = operations.emplace_back();
    auto released = operation.released.get_future();
    start(&operation);
    EXPECT_TRUE(!isAtOnce || isReady(released));
    if (answer.fault == Fault::hang) {
      EXPECT_TRUE(service().waitForRequests(requests + 1));
      caprion_query_task_cancel();
    }
    wait(std::move(released));
    EXPECT_EQ(operation.reports, reported.empty() ? Lines() : Lines{reported});
    EXPECT_TRUE(target.empty() || service().requests().back().target == target) << target;
  }
}

TEST_F(CFace, LetsGoOfADownloadThatReportsNothing) {
  service().setHandler([](const auto& request) {
    return Answer{.fault = request.host == "held.test" ? Fault::hang : Fault::none};
  });
  caprion_downloader* const own = caprion_downloader_new();
  for (const bool isCancelled : {false, true}) {
    const auto requests = service().requests().size();
    Operation& operation = operations.emplace_back();
    const std::string held = recordFor({{"ZipDownloadLink", R"("http://held.test/")"}});
    std::thread caller([&] { download(held, isCancelled ? own : nullptr)(&operation); });
    ASSERT_TRUE(service().waitForRequests(requests + 1));
    isCancelled ? caprion_downloader_cancel(own) : download(recordFor({}))(&operations.emplace_back());
    caller.join();
    EXPECT_EQ(operation.reports, Lines());
    EXPECT_TRUE(isReady(operation.released.get_future()));
  }
  caprion_downloader_free(own);
}

TEST_F(CFace, DecodesHashesAndParsesAsTheLibraryDoes) {
  caprion_error* error = nullptr;
  EXPECT_EQ(caprion_subtitle_new_from_json(record({{"SubSumCD", "5"}}).c_str(), &error), nullptr);
  EXPECT_TRUE(errorLine(error).ends_with(", SubSumCD")) << errorLine(error);
  EXPECT_EQ(caprion_error_code(error), CAPRION_DECODING_TYPE_MISMATCH);
  caprion_error_free(error);

  for (const std::uintmax_t size : {65'535u, 65'536u}) {
    const std::string path = root_.file("a b%", size);
    char hash[CAPRION_FILE_HASH_SIZE] = "unchanged";
    std::uint64_t bytes = 1;
    EXPECT_TRUE(!caprion_file_hash("missing", hash, &bytes) && hash == "unchanged"s && bytes == 1);
    ASSERT_TRUE(caprion_file_hash(path.c_str(), hash, &bytes));
    EXPECT_TRUE(caprion_file_hash(path.c_str(), nullptr, nullptr));
    EXPECT_EQ((VideoHash{hash, bytes}), Caprion::hashFor(URL::fileURLWithPath(path))) << size;
  }

  for (const char* path : {"Show.Name.S01E02.720p.mkv", "a/2x05 (1999).avi", "\xFF%41.mkv"}) {
    const URL url = URL::fileURLWithPath(path);
    expectSame(caprion_components_new_from_path(path), VideoFileUtilities::componentsFrom(url));
    expectSame(caprion_components_new_from_url(url.absoluteString().c_str()),
               VideoFileUtilities::componentsFrom(url));
  }
  expectSame(caprion_components_new(), {});
  expectSame(caprion_components_new_from_path(""), {});
  EXPECT_EQ(caprion_components_new_from_url("a b"), nullptr);

  Bundle::main().setInfoDictionary(Bundle::InfoDictionary{{"other", true}});
  EXPECT_TRUE(caprion_bundle_set_name("My Player"));
  EXPECT_EQ(Bundle::main().infoDictionary()->at("CFBundleName"), Bundle::Value("My Player"s));
  EXPECT_TRUE(caprion_bundle_set_name(nullptr));
  EXPECT_EQ(Bundle::main().infoDictionary(), (Bundle::InfoDictionary{{"other", true}}));
  Bundle::main().setInfoDictionary(std::nullopt);
  EXPECT_EQ(Bundle::main().infoDictionary(), std::nullopt);

  EXPECT_GE(CaprionVersionNumber, 1.0);
  EXPECT_EQ(reinterpret_cast<const char*>(CaprionVersionString), "PROGRAM:Caprion PROJECT:Caprion-1"s);
}

TEST_F(CFace, TakesNullForEveryHandleAndText) {
  caprion_error* error = nullptr;
  EXPECT_FALSE(caprion_subtitle_json_copy(nullptr, &error) ||
               caprion_error_user_info(error, nullptr, nullptr));
  EXPECT_EQ(caprion_error_code(error), EINVAL);
  EXPECT_FALSE(caprion_subtitle_new_from_json(nullptr, nullptr) || caprion_subtitle_imdb_id_copy(nullptr) ||
               caprion_subtitle_new_from_json("", nullptr) || caprion_subtitle_movie_kind(nullptr) ||
               caprion_subtitle_detail_string_copy(nullptr) || caprion_subtitle_list_count(nullptr));
  EXPECT_FALSE(caprion_error_domain(nullptr) || caprion_error_description(nullptr) ||
               caprion_error_code(nullptr) || caprion_error_user_info(nullptr, "", nullptr));
  EXPECT_FALSE(caprion_components_new_from_path(nullptr) || caprion_components_new_from_url(nullptr) ||
               caprion_components_title(nullptr) || caprion_components_resolution(nullptr) ||
               caprion_components_search_string(nullptr) || caprion_components_year(nullptr, nullptr));
  EXPECT_FALSE(caprion_file_hash(nullptr, nullptr, nullptr));
  caprion_helper_free(nullptr), caprion_helper_free(caprion_helper_shared()), caprion_subtitle_free(nullptr);
  const caprion_subtitle* const nobody = nullptr;
  EXPECT_FALSE(caprion_subtitle_list_new(nullptr, 1) || caprion_subtitle_list_new(&nobody, 1));
  caprion_helper_cancel_search(nullptr);
  caprion_subtitle_list_free(nullptr), caprion_error_free(nullptr), caprion_components_free(nullptr);
  caprion_string_free(nullptr), caprion_error_free(error);
}

#ifdef HOSTS  // the command lines of the examples, if they are built
TEST_F(CFace, ServesTheExamplesInEveryLanguage) {
  const std::string video = root_.file("Bunny.mkv", 1 << 20), path = root_.path / "Caprion/42/film.eng.srt\n";
  const std::string good = recordFor({}), withoutLink = recordFor({{"ZipDownloadLink", "null"}});
  const struct {
    std::string video, answer, output, error;
  } cases[] = {
      {video, "[" + good + "]", path, ""},
      {video, "[" + withoutLink + "," + good + "]", path, ""},
      {video, "[" + recordFor({{"ZipDownloadLink", R"("")"}}) + "]", "",
       "Cannot create URL from zipDownloadLink\n"},
      {video, "[]", "", "no subtitle found\n"},
      {"missing", "", "", "Cannot create a video hash for the file\nno subtitle found\n"},
  };
  for (const std::string program : {HOSTS}) {
    for (const auto& c : cases) {
      service().setHandler([&](const stand_in::Request& request) {
        return Answer{.body = request.target.starts_with("/search/") ? c.answer : zip({"film.srt"})};
      });
      const auto run = runThrough(service(), program + " " + shellQuoted(c.video) + " eng");
      EXPECT_EQ(run.status, c.output.empty() ? 1 : 0) << program;
      EXPECT_EQ(run.output, c.output) << program;
      EXPECT_EQ(run.error, c.error) << program;
    }
  }
}
#endif

}  // namespace caprion::test
