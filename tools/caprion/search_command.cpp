#include "command.hpp"
#include "languages.hpp"
#include "service.hpp"

#include <caprion/ranking.hpp>

#include <boost/json/parse.hpp>

#include <charconv>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

constexpr OptionRule searchOptions[] = {{"file"}, {"text"}, {"where"}, {"lang", true, 'l'}, {"download"}};

constexpr std::string_view searchHelp =
    R"(usage: caprion search --file VIDEO [-l LANG[,LANG...]] [--download N]
       caprion search --text TEXT [-l LANG[,LANG...]] [--download N]
       caprion search --where KEY=VALUE [--where KEY=VALUE ...] [--download N]

Searches for subtitles and prints a numbered table of the hits.

  --file VIDEO       subtitles of a video file, by its content; those that suit
                     the file's name come first, best first, with a * after the
                     number
  --text TEXT        subtitles that match a text, such as a title
  --where KEY=VALUE  subtitles that meet a criterion of the service; several
                     criteria are sent in the given order. KEY is episode,
                     imdbid, moviebytesize, moviehash, query, season,
                     sublanguageid or tag.
  -l, --lang LANG    the languages, such as ger or pt-BR, or all; by default
                     that of the locale. See 'caprion languages'. Has no effect
                     on --where; use --where sublanguageid=LANG there.
  --download N       download the subtitle with this number, and print its path
)";

/// The parsed options. Exactly one of the first three is set.
struct Search {
  std::optional<std::string_view> file;
  std::optional<std::string_view> text;
  std::vector<Arg> criteria;
  std::string languages;
  std::size_t download = 0;  // the number of a hit; 0 for none
};

std::size_t hitNumberFrom(std::string_view word) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size() || number == 0)
    throw UsageError("--download needs the number of a hit, not '" + std::string(word) + "'");
  return number;
}

Arg criterionFrom(std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos)
    throw UsageError("--where needs KEY=VALUE, not '" + std::string(word) + "'");
  const auto param = paramFrom(word.substr(0, equals));
  if (!param) throw UsageError("--where has no key '" + std::string(word.substr(0, equals)) + "'");
  return Arg(*param, std::string(word.substr(equals + 1)));
}

Search searchFrom(const Arguments& arguments) {
  if (!arguments.operands.empty()) {
    throw UsageError("unexpected argument '" + std::string(arguments.operands.front()) + "'");
  }
  Search search;
  std::vector<Language> languages;
  bool isAll = false;
  for (const auto& [name, value] : arguments.options) {
    if (name == "lang") {
      isAll = isAll || value == "all";
      if (value != "all") addLanguages(languages, value);
    } else if (name == "download") {
      search.download = hitNumberFrom(value);
    } else if (name == "where") {
      search.criteria.push_back(criterionFrom(value));
    } else {
      auto& subject = name == "file" ? search.file : search.text;
      if (subject) throw UsageError("--" + std::string(name) + " is given twice");
      subject = value;
    }
  }
  if (search.file.has_value() + search.text.has_value() + !search.criteria.empty() != 1) {
    throw UsageError("give either --file, --text or --where");
  }
  if (languages.empty()) languages = {languageOfLocale()};
  search.languages = isAll ? "all" : identifiersOf(languages);
  return search;
}

Result<Hits> outcomeOf(const Search& search) {
  if (search.file) return findSubtitles(URL::fileURLWithPath(*search.file), search.languages);
  if (search.text) return findSubtitles(Matching(*search.text), search.languages);
  return query(search.criteria);
}

ExitStatus printLines(const Hits& hits, Output& output) {
  ExitStatus status = ExitStatus::done;
  for (const auto& hit : hits) {
    const auto encoded = hit->encode();
    if (!encoded) {
      output.printFailure("search", encoded.error());
      status = ExitStatus::failed;
      continue;
    }
    boost::json::object line = boost::json::parse(*encoded).as_object();
    if (const auto imdbID = hit->imdbID()) line["imdbID"] = *imdbID;
    line["detailString"] = hit->detailString();
    output.printJSON(line);
  }
  return status;
}

/// Moves the hits that match the video to the front, the best first; returns how many there are.
std::size_t sort(Hits& hits, const URL& video) {
  const auto ranked = rankedSubtitles(hits, video);
  if (!ranked) return 0;
  Hits sorted;
  for (const RankedSubtitle& one : *ranked) sorted.push_back(one.subtitle);
  const std::set<std::shared_ptr<const Subtitle>> suitable(sorted.begin(), sorted.end());
  for (const auto& hit : hits) {
    if (!suitable.contains(hit)) sorted.push_back(hit);
  }
  hits = std::move(sorted);
  return ranked->size();
}

/// The first `suitable` hits are marked.
void printTable(const Hits& hits, std::size_t suitable, Output& output) {
  Table table;
  table.columns = {{"#"},
                   {"ID"},
                   {"LANGUAGE", 8, Cut::end, true},
                   {"FORMAT", 0, Cut::end, true},
                   {"MATCHED BY"},
                   {"TITLE", 16, Cut::middle},
                   {"FILE NAME", 16, Cut::start}};
  for (const auto& hit : hits) {
    const std::size_t number = table.rows.size() + 1;
    table.rows.push_back({std::to_string(number) + (number <= suitable ? "*" : ""),
                          std::string(hit->subtitleID()), std::string(hit->languageName()),
                          std::string(hit->subFormat()), std::string(hit->matchedBy()), hit->detailString(),
                          std::string(hit->subFileName())});
  }
  output.printTable(std::move(table));
}

ExitStatus runSearch(const Arguments& arguments, Output& output) {
  const Search search = searchFrom(arguments);
  auto hits = [&] {
    const Progress progress(output, "Searching ...");
    return outcomeOf(search);
  }();

  if (!hits) {
    output.printFailure(search.file.value_or("search"), hits.error(),
                        search.file ? objectOf(*search.file) : boost::json::object());
    return ExitStatus::failed;
  }
  if (hits->empty()) {
    if (!output.json()) output.printNote("nothing found");
    return ExitStatus::nothingFound;
  }
  if (output.json() && search.download == 0) return printLines(*hits, output);
  const std::size_t suitable = search.file ? sort(*hits, URL::fileURLWithPath(*search.file)) : 0;
  if (search.download == 0) {
    printTable(*hits, suitable, output);
    return ExitStatus::done;
  }
  if (search.download > hits->size()) {
    output.printFailure("search",
                        Error("", 0, {}, "There are no more than " + std::to_string(hits->size()) + " hits"));
    return ExitStatus::nothingFound;
  }
  return downloadAndPrint(*(*hits)[search.download - 1], output);
}

}  // namespace

constexpr Command searchCommand{"search", "find subtitles for a video file, a text or criteria", searchHelp,
                                searchOptions, runSearch};

}  // namespace caprion::tool
