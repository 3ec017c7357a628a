#include "platform/json.hpp"

#include "platform/error.hpp"
#include "platform/text.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace caprion {

namespace {

constexpr std::size_t maximumDepth = 512;

Error decodingError(DecodingErrorKind kind, std::string_view key, std::string_view why) {
  Error::UserInfo userInfo = describedBy(std::string(why));
  if (!key.empty()) userInfo.emplace(CodingKeyKey, std::string(key));
  return Error(std::string(DecodingErrorDomain), static_cast<std::int64_t>(kind), std::move(userInfo));
}

Error notJSON(std::string_view why) {
  return decodingError(DecodingErrorKind::dataCorrupted, "",
                       "The data is not valid JSON: " + std::string(why));
}

/// A small hash table of the wanted keys. An answer has thousands of keys, most of them unwanted.
class KeyIndex {
 public:
  explicit KeyIndex(CodingKeys keys) : keys_(keys), next_(keys.size()) {
    first_.fill(keys.size());
    for (std::size_t key = 0; key < keys.size(); ++key) {
      next_[key] = std::exchange(first_[bucketOf(keys[key])], key);
    }
  }

  /// The index of a key in the list, or the list's size if it isn't in it.
  std::size_t find(std::string_view name) const {
    std::size_t key = first_[bucketOf(name)];
    while (key != keys_.size() && keys_[key] != name) key = next_[key];
    return key;
  }

 private:
  static constexpr std::size_t buckets = 64;
  static std::size_t bucketOf(std::string_view name) {
    return name.empty() ? 0 : (name.size() * 8 + static_cast<unsigned char>(name.back())) % buckets;
  }

  CodingKeys keys_;
  std::array<std::size_t, buckets> first_{};
  std::vector<std::size_t> next_;
};

}  // namespace

/// A SAX handler that fills a view from each value at a certain depth: the document itself, or each element
/// of its array.
class JSONReader {
 public:
  using Visit = std::function<void(const KeyedView&)>;

  // Required by the parser; unlimited.
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  JSONReader(CodingKeys keys, bool elements, const Visit& visit)
      : view_(keys),
        index_(keys),
        slot_(keys.size()),
        viewDepth_(elements ? 1 : 0),
        elements_(elements),
        visit_(visit) {}

  bool on_document_begin(boost::json::error_code&) { return true; }
  bool on_document_end(boost::json::error_code&) { return true; }

  bool on_object_begin(boost::json::error_code&) {
    // Not an array: its members are at the same depth as elements, but must not be visited.
    if (elements_ && depth_ == 0) viewDepth_ = noDepth;
    begin(Found::object);
    ++depth_;
    return true;
  }
  bool on_object_end(std::size_t, boost::json::error_code&) { return containerEnd(); }

  bool on_array_begin(boost::json::error_code&) {
    if (depth_ == 0) isArray_ = true;
    begin(Found::other);
    ++depth_;
    return true;
  }
  bool on_array_end(std::size_t, boost::json::error_code&) { return containerEnd(); }

  bool on_key_part(boost::json::string_view part, std::size_t, boost::json::error_code&) {
    if (inside()) key_.append(part.data(), part.size());
    return true;
  }
  bool on_key(boost::json::string_view part, std::size_t, boost::json::error_code&) {
    if (!inside()) return true;
    if (key_.empty()) {
      slot_ = index_.find({part.data(), part.size()});
    } else {
      key_.append(part.data(), part.size());
      slot_ = index_.find(key_);
      key_.clear();
    }
    textBegin_ = view_.texts_.size();
    return true;
  }

  bool on_string_part(boost::json::string_view part, std::size_t, boost::json::error_code&) {
    if (inside() && slot_ != view_.keys_.size()) view_.texts_.append(part.data(), part.size());
    return true;
  }
  bool on_string(boost::json::string_view part, std::size_t size, boost::json::error_code& error) {
    on_string_part(part, size, error);
    return scalar(Found::text);
  }

  bool on_number_part(boost::json::string_view, boost::json::error_code&) { return true; }
  bool on_int64(std::int64_t number, boost::json::string_view, boost::json::error_code&) {
    return scalar(Found::integer, number);
  }
  bool on_uint64(std::uint64_t, boost::json::string_view, boost::json::error_code&) {
    return scalar(Found::other);  // beyond int64
  }
  bool on_double(double number, boost::json::string_view, boost::json::error_code&) {
    // -2^63 is excluded too, as integers just below it are rounded to it.
    constexpr double limit = 9223372036854775808.0;  // 2^63
    if (number > -limit && number < limit && number == std::trunc(number)) {
      return scalar(Found::integer, static_cast<std::int64_t>(number));
    }
    return scalar(Found::other);
  }
  bool on_bool(bool, boost::json::error_code&) { return scalar(Found::other); }
  bool on_null(boost::json::error_code&) { return scalar(Found::null); }
  bool on_comment_part(boost::json::string_view, boost::json::error_code&) { return true; }
  bool on_comment(boost::json::string_view, boost::json::error_code&) { return true; }

  bool isArray() const { return isArray_; }
  /// How many values have been visited.
  std::size_t visited() const { return visited_; }

 private:
  using Found = KeyedView::Found;
  static constexpr std::size_t noDepth = static_cast<std::size_t>(-2);

  /// Whether the parser is directly inside a value to view.
  bool inside() const { return depth_ == viewDepth_ + 1; }

  void begin(Found found, std::int64_t integer = 0) {
    if (depth_ == viewDepth_) {
      std::fill(view_.slots_.begin(), view_.slots_.end(), KeyedView::Slot());
      view_.texts_.clear();
      view_.value_ = found;
    } else if (inside() && slot_ != view_.keys_.size()) {
      view_.slots_[slot_] = {found, textBegin_, view_.texts_.size() - textBegin_, integer};
    }
    slot_ = view_.keys_.size();
  }

  bool scalar(Found found, std::int64_t integer = 0) {
    begin(found, integer);
    if (depth_ == viewDepth_) visit();
    return true;
  }

  bool containerEnd() {
    if (--depth_ == viewDepth_) visit();
    return true;
  }

  void visit() {
    ++visited_;
    visit_(view_);
  }

  KeyedView view_;
  const KeyIndex index_;
  std::string key_;   // the parts so far of a key that arrives in several
  std::size_t slot_;  // of the key whose value comes next; keys_.size() for an unwanted key
  std::size_t textBegin_ = 0;
  std::size_t depth_ = 0;  // of the value that comes next
  std::size_t viewDepth_;  // of the values to view
  bool elements_;
  bool isArray_ = false;
  std::size_t visited_ = 0;
  const Visit& visit_;
};

namespace {

/// The text with each exponent of more than four digits replaced by 400, which over- or underflows as well.
std::string withShortExponents(std::string_view json) {
  std::string result;
  bool inString = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    result += json[i];
    if (json[i] == '"') inString = !inString;
    if (inString && json[i] == '\\' && i + 1 < json.size()) result += json[++i];
    if (inString || i == 0 || !isDigit(json[i - 1]) || (json[i] != 'e' && json[i] != 'E')) continue;
    if (i + 1 < json.size() && (json[i + 1] == '+' || json[i + 1] == '-')) result += json[++i];
    const std::size_t begin = i + 1;
    while (i + 1 < json.size() && isDigit(json[i + 1])) ++i;
    result += i + 1 - begin > 4 ? "400" : json.substr(begin, i + 1 - begin);
  }
  return result;
}

/// Parses the whole text. Returns an error if it isn't JSON, or isn't an array where `elements` is set.
std::optional<Error> read(std::string_view json, CodingKeys keys, bool elements,
                          const JSONReader::Visit& visit) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (json.starts_with(byteOrderMark)) json.remove_prefix(byteOrderMark.size());
  boost::json::parse_options options;
  options.max_depth = maximumDepth;
  boost::json::basic_parser<JSONReader> parser(options, keys, elements, visit);
  boost::json::error_code error;
  const std::size_t parsed = parser.write_some(false, json.data(), json.size(), error);
  if (error == boost::json::error::exponent_overflow) {
    // A number that JSON allows and the parser doesn't. Parses again, without visiting values twice.
    std::size_t visited = parser.handler().visited();
    return read(withShortExponents(json), keys, elements,
                [&](const KeyedView& view) { visited > 0 ? static_cast<void>(--visited) : visit(view); });
  }
  if (error) return notJSON(error.message());
  if (parsed < json.size()) return notJSON("extra data");
  if (elements && !parser.handler().isArray()) {
    return decodingError(DecodingErrorKind::typeMismatch, "", "The value is not a JSON array");
  }
  return std::nullopt;
}

}  // namespace

Result<KeyedView> JSONDecoder::decodeValue(std::string_view json, CodingKeys keys) const {
  KeyedView value(keys);
  if (const auto error = read(json, keys, false, [&](const KeyedView& view) { value = view; })) return *error;
  return value;
}

std::optional<Error> JSONDecoder::decodeArray(std::string_view json, CodingKeys keys,
                                              const std::function<void(const KeyedView&)>& visit) const {
  return read(json, keys, true, visit);
}

std::optional<Error> KeyedView::notAnObject() const {
  if (value_ == Found::object) return std::nullopt;
  const auto kind =
      value_ == Found::null ? DecodingErrorKind::valueNotFound : DecodingErrorKind::typeMismatch;
  return decodingError(kind, "", "The value is not a JSON object");
}

Result<std::string_view> KeyedView::text(std::size_t key) const {
  switch (slots_[key].found) {
    case Found::nothing:
      return error(DecodingErrorKind::keyNotFound, key);
    case Found::null:
      return error(DecodingErrorKind::valueNotFound, key);
    case Found::text:
      return std::string_view(texts_).substr(slots_[key].begin, slots_[key].length);
    default:
      return error(DecodingErrorKind::typeMismatch, key);
  }
}

Result<std::optional<std::string_view>> KeyedView::optionalText(std::size_t key) const {
  if (slots_[key].found == Found::nothing || slots_[key].found == Found::null) {
    return std::optional<std::string_view>();
  }
  const auto present = text(key);
  if (!present) return present.error();
  return std::optional(*present);
}

Result<std::optional<std::int64_t>> KeyedView::optionalInteger(std::size_t key) const {
  switch (slots_[key].found) {
    case Found::nothing:
    case Found::null:
      return std::optional<std::int64_t>();
    case Found::integer:
      return std::optional(slots_[key].integer);
    default:
      return error(DecodingErrorKind::typeMismatch, key);
  }
}

Error KeyedView::error(DecodingErrorKind kind, std::size_t key) const {
  static constexpr std::array words{"a value of another type", "null", "nothing",
                                    "a text outside the key's vocabulary"};
  const std::string name(keys_[key]);
  return decodingError(kind, name,
                       "Under the key \"" + name + "\" there is " + words[static_cast<std::size_t>(kind)]);
}

Error encodingError(std::string_view why) {
  return Error(std::string(EncodingErrorDomain), 0, describedBy(std::string(why)));
}

void JSONObjectWriter::key(std::string_view name) {
  if (json_.size() > 1) json_ += ',';
  json_ += boost::json::serialize(boost::json::string_view(name.data(), name.size()));
  json_ += ':';
}

void JSONObjectWriter::text(std::string_view name, std::string_view value) {
  if (!isValidUTF8(value)) failed_ = true;
  key(name);
  json_ += boost::json::serialize(boost::json::string_view(value.data(), value.size()));
}

void JSONObjectWriter::integer(std::string_view name, std::int64_t value) {
  key(name);
  json_ += std::to_string(value);
}

void JSONObjectWriter::raw(std::string_view name, std::string_view json) {
  key(name);
  json_ += json;
}

Result<std::string> JSONObjectWriter::finish() && {
  if (failed_) return encodingError("A text is not valid UTF-8");
  json_ += '}';
  return std::move(json_);
}

}  // namespace caprion
