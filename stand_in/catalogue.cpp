#include "catalogue.hpp"

#include "zip_writer.hpp"

#include <boost/json.hpp>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

namespace caprion::stand_in {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string contents{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::runtime_error("can't read " + path.string());
  return contents;
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto isHex = [&](std::size_t at) {
      return at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at]));
    };
    if (text[i] == '%' && isHex(i + 1) && isHex(i + 2)) {
      decoded += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& letter : result)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return result;
}

std::string_view withoutZeros(std::string_view number) {
  return number.substr(std::min(number.find_first_not_of('0'), number.size()));
}

// The words in lower case, made of letters, digits and non-ASCII bytes.
std::set<std::string> wordsOf(std::string_view text) {
  std::set<std::string> words;
  std::string word;
  for (const char letter : lowered(text) + ' ') {
    if (static_cast<unsigned char>(letter) >= 0x80 || std::isalnum(static_cast<unsigned char>(letter))) {
      word += letter;
    } else if (!word.empty()) {
      words.insert(std::move(word));
      word.clear();
    }
  }
  return words;
}

// The text of a record's field; empty if it is missing or isn't a string.
std::string_view field(const json::object& record, std::string_view key) {
  const json::value* value = record.if_contains(key);
  return value != nullptr && value->is_string() ? std::string_view(value->get_string()) : std::string_view();
}

// "S01E02" for an episode, empty for a movie.
std::string episodeMark(const json::object& record) {
  if (field(record, "MovieKind") != "episode") return {};
  const auto twoDigits = [&](std::string_view key) {
    const std::string number(field(record, key));
    return number.size() < 2 ? std::string(2 - number.size(), '0') + number : number;
  };
  return std::string("S").append(twoDigits("SeriesSeason")).append("E").append(twoDigits("SeriesEpisode"));
}

bool matches(const json::object& record, std::string_view key, std::string_view value) {
  if (key == "moviehash") return lowered(field(record, "MovieHash")) == lowered(value);
  if (key == "moviebytesize") return field(record, "MovieByteSize") == value;
  if (key == "imdbid") return withoutZeros(field(record, "IDMovieImdb")) == withoutZeros(value);
  if (key == "season") return withoutZeros(field(record, "SeriesSeason")) == withoutZeros(value);
  if (key == "episode") return withoutZeros(field(record, "SeriesEpisode")) == withoutZeros(value);
  if (key == "tag")
    return lowered(field(record, "MovieReleaseName")) == lowered(value) ||
           lowered(field(record, "SubFileName")) == lowered(value);
  if (key == "sublanguageid") {
    const std::set<std::string> languages = wordsOf(value);
    return languages.contains("all") || languages.contains(std::string(field(record, "SubLanguageID")));
  }
  if (key == "query") {
    const std::set<std::string> asked = wordsOf(value);
    const std::set<std::string> known =
        wordsOf(std::string(field(record, "MovieName")) + ' ' +
                std::string(field(record, "MovieReleaseName")) + ' ' + episodeMark(record));
    return std::includes(known.begin(), known.end(), asked.begin(), asked.end());
  }
  return true;  // the service ignores unknown keys
}

Answer notFound() {
  return {.status = 404,
          .headers = {{"Content-Type", "text/html; charset=UTF-8"}},
          .body = "<html><head><title>Not found</title></head><body><h1>Not found</h1></body></html>\n"};
}

}  // namespace

Catalogue::Catalogue(fs::path folder) : folder_(std::move(folder)) {
  if (!folder_.empty()) records_ = json::parse(contentsOf(folder_ / "catalogue.json")).as_array();
}

Answer Catalogue::answer(const Request& request) const {
  std::string_view path = request.target;
  path = path.substr(0, path.find_first_of("?#"));
  if (path == "/search" || path.starts_with("/search/")) return search(path.substr(7));
  const auto number = path.rfind('/') + 1;
  if (path.substr(0, number).ends_with("/sub/")) return archive(path.substr(number));
  return notFound();
}

Answer Catalogue::search(std::string_view path) const {
  std::vector<std::pair<std::string, std::string>> criteria;
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string piece = percentDecoded(path.substr(start, end - start));
    const std::size_t dash = piece.find('-');
    if (dash != std::string::npos) criteria.emplace_back(piece.substr(0, dash), piece.substr(dash + 1));
    start = end + 1;
  }

  json::object asked;  // echoed with every hit, as the service does
  for (const auto& [key, value] : criteria) asked[key] = value;
  json::array hits;
  for (const json::value& candidate : records_) {
    const json::object& record = candidate.as_object();
    if (!std::all_of(criteria.begin(), criteria.end(),
                     [&](const auto& one) { return matches(record, one.first, one.second); }))
      continue;
    json::object hit = record;
    hit["MatchedBy"] = asked.contains("moviehash") ? "moviehash" : asked.contains("tag") ? "tag" : "fulltext";
    hit["QueryParameters"] = asked;
    hits.push_back(std::move(hit));
  }
  return {.headers = {{"Content-Type", "application/json"}}, .body = json::serialize(hits)};
}

Answer Catalogue::archive(std::string_view number) const {
  const bool isNumber = !number.empty() && number.find_first_not_of("0123456789") == std::string_view::npos;
  const fs::path files = folder_ / "archives" / number;
  if (folder_.empty() || !isNumber || !fs::is_directory(files)) return notFound();

  std::set<fs::path> names;  // in the same order each time
  for (const auto& entry : fs::directory_iterator(files)) names.insert(entry.path().filename());
  ZipWriter writer;
  for (const fs::path& name : names) writer.add(name.native(), contentsOf(files / name));
  return {.headers = {{"Content-Type", "application/zip"},
                      {"Content-Disposition", "attachment; filename=\"" + std::string(number) + ".zip\""}},
          .body = writer.finish()};
}

}  // namespace caprion::stand_in
