#include "platform/error.hpp"
#include "platform/json.hpp"
#include "records/subtitle_record.hpp"

#include <caprion/query_result.hpp>

#include <utility>

namespace caprion {

Result<QueryResult> QueryResult::decode(std::string_view json) noexcept {
  return orOutOfMemory([&]() -> Result<QueryResult> {
    QueryResult result;
    const auto error = JSONDecoder().decodeArray(json, SubtitleRecord::keys, [&](const KeyedView& element) {
      if (auto subtitle = SubtitleRecord::decode(element)) result.subtitles.push_back(std::move(*subtitle));
    });
    if (error) return *error;
    return result;
  });
}

Result<std::string> QueryResult::encode() const noexcept {
  return orOutOfMemory([&]() -> Result<std::string> {
    std::string list = "[";
    for (const auto& subtitle : subtitles) {
      if (!subtitle) return encodingError("A record is missing");
      const auto json = subtitle->encode();
      if (!json) return json.error();
      if (list.size() > 1) list += ',';
      list += *json;
    }
    JSONObjectWriter writer;
    writer.raw("subtitles", list + ']');
    return std::move(writer).finish();
  });
}

}  // namespace caprion
