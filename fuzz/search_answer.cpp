// Any bytes as the answer of a search.
#include "client/search_answer.hpp"

#include "platform/text.hpp"
#include "records.hpp"

#include <cassert>

using namespace caprion;

namespace {

void checkError(const Error& error, const std::string& body) {
  assert(error.domain() == AnswerErrorDomain && error.code() == 0 && error.userInfo().size() == 1);
  const auto& description = error.userInfo().at(std::string(NSLocalizedDescriptionKey));
  const bool isText = std::holds_alternative<std::string>(description);
  assert(isText == (repairedUTF8(body) == body));
  assert(isText ? error.localizedDescription() == body : !error.localizedDescription().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string body(data, size);
  const auto result = searchAnswer(body, HTTPURLResponse{200}, std::nullopt);
  const fuzz::Tree tree(body);
  const auto* const list = tree.error ? nullptr : tree.value.if_array();
  assert(!tree.isKnown || result.has_value() == (list != nullptr));
  if (!result) checkError(result.error(), body);
  if (list == nullptr) return 0;

  std::string expected;
  for (const auto& element : *list) {
    const std::string record = fuzz::expectedOf(element);
    if (record.starts_with('{')) expected.append(expected.empty() ? "" : ",").append(record);
  }
  const std::string records = "{\"subtitles\":[" + expected + "]}";
  assert(*result->encode() == records);
  // An exponent that makes the decoder run twice adds and hides nothing, wherever it is.
  if (list->empty()) return 0;
  const auto encoded = [](const std::string& json) { return *QueryResult::decode(json)->encode(); };
  assert(encoded("[1e-99999," + body.substr(body.find('[') + 1)) == records);
  assert(encoded(body.substr(0, body.rfind(']')) + ",{\"\":-2.0E+99999}]") == records);
  return 0;
}
