#include "command.hpp"
#include "service.hpp"

#include <boost/json/parse.hpp>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

constexpr OptionRule options[] = {{"file"}, {"text"}, {"where"}, {"lang", true, 'l'}};

constexpr std::string_view help = R"(usage: caprion search --file VIDEO [-l LANG]
       caprion search --text TEXT [-l LANG]
       caprion search --where KEY=VALUE [--where KEY=VALUE ...]

Searches for subtitles and prints what was found.

  --file VIDEO       those of a video file, by its content
  --text TEXT        those that match a text, such as a title
  --where KEY=VALUE  those that meet a criterion of the service; several are
                     sent in the given order. KEY is episode, imdbid,
                     moviebytesize, moviehash, query, season, sublanguageid
                     or tag.
  -l, --lang LANG    the language, such as ger; eng when not given. Without
                     effect on --where, which sends its own criteria alone:
                     use --where sublanguageid=LANG there.
)";

/// What the command line asks for. Exactly one of the first three is there.
struct Search {
  std::optional<std::string_view> file;
  std::optional<std::string_view> text;
  std::vector<Arg> criteria;
  std::string_view language = "eng";
};

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
  for (const auto& [name, value] : arguments.options) {
    if (name == "lang") {
      search.language = value;
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
  return search;
}

Result<Hits> outcomeOf(const Search& search) {
  if (search.file) return findSubtitles(URL::fileURLWithPath(*search.file), search.language);
  if (search.text) return findSubtitles(*search.text, search.language);
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

void printTable(const Hits& hits, Output& output) {
  std::vector<Row> rows{{"ID", "LANGUAGE", "FORMAT", "MATCHED BY", "TITLE", "FILE NAME"}};
  for (const auto& hit : hits) {
    Row row = {std::string(hit->subtitleID()),
               std::string(hit->languageName()),
               std::string(hit->subFormat()),
               std::string(hit->matchedBy()),
               hit->detailString(),
               std::string(hit->subFileName())};
    rows.push_back(std::move(row));
  }
  output.printTable(std::move(rows));
}

ExitStatus run(const Arguments& arguments, Output& output) {
  const Search search = searchFrom(arguments);
  const auto hits = [&] {
    const Progress progress(output, "Searching ...");
    return outcomeOf(search);
  }();

  if (!hits) {
    output.printFailure(search.file.value_or("search"), hits.error(), search.file);
    return ExitStatus::failed;
  }
  if (hits->empty()) {
    if (!output.json()) output.printNote("nothing found");
    return ExitStatus::nothingFound;
  }
  if (output.json()) return printLines(*hits, output);
  printTable(*hits, output);
  return ExitStatus::done;
}

}  // namespace

constexpr Command searchCommand{"search", "find subtitles for a video file, a text or criteria", help,
                                options, run};

}  // namespace caprion::tool
