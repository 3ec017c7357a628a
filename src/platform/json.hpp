#pragma once

#include <caprion/result.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace caprion {

/// The keys that a type maps, in the order in which it reads and writes them.
using CodingKeys = std::span<const std::string_view>;

/// One JSON value, seen through a list of keys: what stood under each of them. A key is named by its position
/// in the list. Texts live as long as the view.
class KeyedView {
 public:
  explicit KeyedView(CodingKeys keys) : keys_(keys), slots_(keys.size()) {}

  /// The reason why the value has no keys to look at; absent for a JSON object.
  std::optional<Error> notAnObject() const;

  /// A text that has to be there.
  Result<std::string_view> text(std::size_t key) const;

  /// A text that may be missing or null.
  Result<std::optional<std::string_view>> optionalText(std::size_t key) const;

  /// An integer that may be missing or null.
  Result<std::optional<std::int64_t>> optionalInteger(std::size_t key) const;

  /// An error of decoding at this key.
  Error error(DecodingErrorKind kind, std::size_t key) const;

 private:
  friend class JSONReader;

  enum class Found : std::uint8_t { nothing, null, text, integer, object, other };
  struct Slot {
    Found found = Found::nothing;
    std::size_t begin = 0;
    std::size_t length = 0;
    std::int64_t integer = 0;
  };

  CodingKeys keys_;
  std::vector<Slot> slots_;
  std::string texts_;  // of all slots, in the order in which they came
  Found value_ = Found::nothing;
};

/// Decodes JSON texts (RFC 8259). A text is decoded only if the whole of it is valid JSON, in UTF-8, with
/// nothing but a byte order mark before it, nothing after it, and nested at most 512 levels deep; a key that
/// comes twice counts as it came last.
/// Has no state, so any thread may use it.
class JSONDecoder {
 public:
  /// The view of a text that is a single value.
  Result<KeyedView> decodeValue(std::string_view json, CodingKeys keys) const;

  /// Calls `visit` with the view of each element of a text that is an array, in order. Returns why the text
  /// was not decoded, which may come to light after some elements have been visited.
  std::optional<Error> decodeArray(std::string_view json, CodingKeys keys,
                                   const std::function<void(const KeyedView&)>& visit) const;
};

/// Why something has no JSON text.
Error encodingError(std::string_view why);

/// Writes one JSON object, key by key, in the order of the calls.
class JSONObjectWriter {
 public:
  void text(std::string_view key, std::string_view value);
  void integer(std::string_view key, std::int64_t value);
  /// `json` is the text of a JSON value, written as it is.
  void raw(std::string_view key, std::string_view json);

  /// The text of the object, or why it has none: a text that is not UTF-8.
  Result<std::string> finish() &&;

 private:
  void key(std::string_view name);

  std::string json_ = "{";
  bool failed_ = false;
};

}  // namespace caprion
