// Any bytes as the JSON of a record, and as lines with the texts of one.
#include "platform/text.hpp"
#include "records.hpp"

#include <caprion/caprion.h>

#include <cassert>

using namespace caprion;

namespace {

void checkIdentifier(const Subtitle& subtitle) {
  const std::string id = subtitle.imdbID().value();
  const std::string number(subtitle.movieKind() == MovieKind::movie ? SubtitleRecord::imdbIDMovie(subtitle)
                                                                    : SubtitleRecord::imdbIDSeries(subtitle));
  const bool isNegative = id[2] == '-' && number.starts_with('-');
  assert(id.starts_with("tt") && id.size() >= 9);
  assert(id.find_first_not_of("0123456789", isNegative ? 3 : 2) == id.npos);
  if (number.empty() || number.size() > 18 || number.find_first_not_of("0123456789") != number.npos) return;
  assert(std::stoll(id.substr(2)) == std::stoll(number));
}

void checkCFace(const std::string& json) {
  caprion_subtitle* const record = caprion_subtitle_new_from_json(json.c_str(), nullptr);
  char* const copy = caprion_subtitle_json_copy(record, nullptr);
  assert(copy != nullptr && copy == json);
  caprion_string_free(copy);
  caprion_subtitle_free(record);
}

/// The outcome of decoding, in the form of expectedOf().
std::string outcomeOf(std::string_view json) {
  const auto record = Subtitle::decode(json);
  if (record) return *(*record)->encode();
  const auto& info = record.error().userInfo();
  assert(record.error().domain() == DecodingErrorDomain && info.contains(NSLocalizedDescriptionKey));
  const auto key = info.find(CodingKeyKey);
  const std::string name = key != info.end() ? std::get<std::string>(key->second) : "";
  return std::to_string(record.error().code()) + ' ' + name;
}

void checkJSON(std::string_view json) {
  const fuzz::Tree tree(json);
  const std::string outcome = outcomeOf(json);
  assert(!tree.isKnown || outcome == (tree.error ? "3 " : fuzz::expectedOf(tree.value)));
  if (!outcome.starts_with('{')) return;
  assert(outcomeOf(outcome) == outcome);
  // An exponent that makes the decoder run twice changes nothing.
  assert(outcomeOf("{\"\":[1e+99999]," + std::string(json.substr(json.find('{') + 1))) == outcome);
  const auto record = *Subtitle::decode(json);
  assert(record->detailString().starts_with(std::string(record->movieName()) + " ("));
  checkIdentifier(*record);
  checkCFace(outcome);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string_view input(data, size);
  checkJSON(input);
  const auto lines = fuzz::recordOf(input, '\n');
  assert(lines || repairedUTF8(std::string(input)) != input);
  assert(lines ? outcomeOf(*lines) == *lines : lines.error().domain() == EncodingErrorDomain);
  if (lines) checkJSON(*lines);
  return 0;
}
