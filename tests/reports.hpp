#pragma once

#include <caprion/error.hpp>
#include <caprion/query_result.hpp>
#include <caprion/result.hpp>
#include <caprion/url.hpp>

#include <string>

namespace caprion::test {

/// A report as text: the file, the number of records, or the parts of the error.
inline std::string line(const URL& file) { return std::string(file.path()); }
inline std::string line(const QueryResult& result) {
  return std::to_string(result.subtitles.size()) + " record";
}
inline std::string line(const Error& error) {
  std::string text = error.domain() + ' ' + std::to_string(error.code()) + ' ';
  text += error.localizedDescription();
  if (const auto hint = error.localizedRecoverySuggestion()) text.append(" [").append(*hint).append("]");
  return text;
}
/// The key that a decoding error names, or the empty string.
inline std::string keyAtFault(const Error& error) {
  const auto key = error.userInfo().find(CodingKeyKey);
  return key == error.userInfo().end() ? "" : std::get<std::string>(key->second);
}
template <typename Value>
std::string line(const Result<Value>& report) {
  return report ? line(*report) : line(report.error());
}

}  // namespace caprion::test
