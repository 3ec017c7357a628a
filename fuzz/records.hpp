#pragma once

#include "records/subtitle_record.hpp"

#include <boost/json.hpp>

#include <algorithm>
#include <string>

namespace caprion::fuzz {

/// A JSON text parsed into a tree; the library never builds one.
struct Tree {
  explicit Tree(std::string_view json) {
    if (json.starts_with("\xEF\xBB\xBF")) json.remove_prefix(3);
    boost::json::parse_options options;
    options.max_depth = 512;
    value = boost::json::parse({json.data(), json.size()}, error, {}, options);
    // False for a number that JSON allows but this parser doesn't.
    isKnown = error != boost::json::error::exponent_overflow;
  }
  boost::json::error_code error;
  boost::json::value value;
  bool isKnown;
};

/// The expected outcome of decoding a record: it encoded again, or the code and key of the first error.
inline std::string expectedOf(const boost::json::value& value) {
  const auto* const object = value.if_object();
  if (object == nullptr) return value.is_null() ? "1 " : "0 ";
  boost::json::object record;
  for (const std::string_view key : SubtitleRecord::keys) {
    const auto* const member = object->if_contains({key.data(), key.size()});
    const bool isNull = member != nullptr && member->is_null();
    if (key.ends_with("DownloadLink") && (member == nullptr || isNull)) continue;
    const std::string fault = member == nullptr ? "2 " : isNull ? "1 " : !member->is_string() ? "0 " : "";
    if (!fault.empty()) return fault + std::string(key);
    if (key == "MovieKind" && *member != "movie" && *member != "episode") return "3 MovieKind";
    record[{key.data(), key.size()}] = *member;
  }
  return boost::json::serialize(record);
}

/// The JSON of a record with these texts, separated and in the order of the keys.
inline Result<std::string> recordOf(std::string_view texts, char separator) {
  JSONObjectWriter writer;
  for (const std::string_view key : SubtitleRecord::keys) {
    const std::string_view text = texts.substr(0, texts.find(separator));
    texts.remove_prefix(std::min(text.size() + 1, texts.size()));
    writer.text(key, key != "MovieKind" ? text : text.empty() ? "movie" : "episode");
  }
  return std::move(writer).finish();
}

}  // namespace caprion::fuzz
