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

/// The JSON keys of a type, in the order in which they are read and written.
using CodingKeys = std::span<const std::string_view>;

/// The values that one JSON object has under the keys of a list. Keys are given by their index in the list.
/// Strings live as long as the view.
class KeyedView {
 public:
  explicit KeyedView(CodingKeys keys) : keys_(keys), slots_(keys.size()) {}

  /// An error if the value is not an object.
  std::optional<Error> notAnObject() const;

  /// A required string.
  Result<std::string_view> text(std::size_t key) const;

  /// A string that may be missing or null.
  Result<std::optional<std::string_view>> optionalText(std::size_t key) const;

  /// An integer that may be missing or null.
  Result<std::optional<std::int64_t>> optionalInteger(std::size_t key) const;

  /// A decoding error at this key.
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
  std::string texts_;  // of all slots, in document order
  Found value_ = Found::nothing;
};

/// Decodes JSON (RFC 8259). The whole text must be valid: UTF-8, optionally with a byte order mark, nothing
/// after the value, at most 512 levels of nesting. Of a duplicate key, the last value counts. Stateless.
class JSONDecoder {
 public:
  /// Decodes the text as one value.
  Result<KeyedView> decodeValue(std::string_view json, CodingKeys keys) const;

  /// Decodes the text as an array and calls `visit` for each element in order. An error may be found after
  /// some elements have been visited.
  std::optional<Error> decodeArray(std::string_view json, CodingKeys keys,
                                   const std::function<void(const KeyedView&)>& visit) const;
};

/// An error of encoding.
Error encodingError(std::string_view why);

/// Writes one JSON object, with its keys in the order of the calls.
class JSONObjectWriter {
 public:
  void text(std::string_view key, std::string_view value);
  void integer(std::string_view key, std::int64_t value);
  /// `json` is written as it is.
  void raw(std::string_view key, std::string_view json);

  /// The object's text; an error if a string was not UTF-8.
  Result<std::string> finish() &&;

 private:
  void key(std::string_view name);

  std::string json_ = "{";
  bool failed_ = false;
};

}  // namespace caprion
