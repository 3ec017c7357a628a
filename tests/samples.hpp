#pragma once

#include "zip_writer.hpp"

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace caprion::test {

/// The fields of a string; none if it is empty.
inline std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
  return fields;
}

/// Repeats the text until it has at least this size.
inline std::string repeated(std::string_view text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}

/// Keys of a record, and their values as JSON; an empty value removes the key.
using Changes = std::vector<std::pair<std::string, std::string>>;

/// Changes that set the keys, which are separated by spaces, to these strings.
inline Changes texts(const std::string& keys, std::vector<std::string> values) {
  Changes changes;
  for (const std::string& key : split(keys, ' ')) {
    std::string json = "\"";
    for (const char c : values[changes.size()]) (c == '"' ? json += '\\' : json) += c;
    changes.emplace_back(key, json + '"');
  }
  return changes;
}

/// A record with all keys as JSON, after the changes.
inline std::string record(const Changes& changes = {}) {
  const std::string keys =
      "IDSubtitle MatchedBy SubFileName SubLanguageID LanguageName ISO639 SubFormat MovieName MovieYear "
      "MovieKind IDMovieImdb SeriesIMDBParent SeriesSeason SeriesEpisode ZipDownloadLink SubDownloadLink "
      "SubSumCD";
  Changes members;
  for (const auto& key : split(keys, ' ')) members.emplace_back(key, "\"the " + key + '"');
  members[9].second = R"("movie")";
  for (const auto& change : changes) {
    const auto found = std::ranges::find(members, change.first, &Changes::value_type::first);
    found == members.end() ? members.push_back(change) : void(found->second = change.second);
  }
  std::string json;
  for (const auto& [key, value] : members) {
    if (!value.empty()) json += (json.empty() ? "{\"" : ",\"") + key + "\":" + value;
  }
  return json + "}";
}

/// The same for the subtitle 42, "film.srt", in English, with its archive at https://dl.test/42.
inline std::string recordFor(const Changes& changes) {
  Changes all = texts("IDSubtitle SubFileName SubLanguageID SubFormat ZipDownloadLink",
                      {"42", "film.srt", "ENG", "SRT", "https://dl.test/42"});
  all.insert(all.end(), changes.begin(), changes.end());
  return record(all);
}

/// An archive of files that contain their own names, of folders ("a/") and of links ("a -> b").
inline std::string zip(const std::vector<std::string>& names) {
  stand_in::ZipWriter writer;
  for (const std::string& name : names) {
    if (const std::size_t arrow = name.find(" -> "); arrow != std::string::npos) {
      writer.addSymlink(name.substr(0, arrow), name.substr(arrow + 4));
    } else {
      name.ends_with('/') ? writer.addFolder(name) : writer.add(name, name);
    }
  }
  return writer.finish();
}

}  // namespace caprion::test
