#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace CAPRION_NAMESPACE {

// Keys of an error's `userInfo`.

/// A description for people.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescriptionKey";
/// A further hint for people.
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey =
    "NSLocalizedRecoverySuggestionErrorKey";
/// The transport's own message about a failed transfer, with more detail than the description; its form may
/// change.
inline constexpr std::string_view TransportMessageKey = "TransportMessageKey";
/// The JSON key at which decoding failed.
inline constexpr std::string_view CodingKeyKey = "CodingKeyKey";

// Error domains. Errors from the library's own checks have the domain "" (the empty string) and the code 0.

/// HTTP transport; the code is one of the well-known negative numbers, such as -999 for a cancelled task.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
/// Files, processes and memory; the code is an errno value.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
/// A search answer that isn't a JSON array; the code is 0 and the description is the answer's body.
inline constexpr std::string_view AnswerErrorDomain = "org.caprion.answer";
/// Networking errors other than the transport's; the code 0 means a bad response from the server.
inline constexpr std::string_view NetworkingErrorDomain = "Caprion.NetworkingError";
/// JSON that can't be decoded; the code is a DecodingErrorKind, and CodingKeyKey names the key at fault.
inline constexpr std::string_view DecodingErrorDomain = "Caprion.DecodingError";
/// A value that JSON can't represent, such as a string that isn't UTF-8; the code is 0.
inline constexpr std::string_view EncodingErrorDomain = "Caprion.EncodingError";

/// What is wrong with a JSON value: the code of an Error of DecodingErrorDomain.
enum class DecodingErrorKind : std::int64_t {
  typeMismatch,   ///< a value of another JSON type
  valueNotFound,  ///< null
  keyNotFound,    ///< no such key
  dataCorrupted,  ///< invalid JSON, or a string that isn't one of those allowed
};

/// Why an operation failed: a domain, a code within it, and further values by key.
///
/// Copies share one immutable state. Any thread may use an Error.
class CAPRION_EXPORT Error {
 public:
  /// The value in `userInfo` of a key that has no string.
  struct Null {
    /// Always true.
    friend bool operator==(Null, Null) noexcept { return true; }
  };
  /// A string, or Null.
  using Value = std::variant<std::string, Null>;
  /// Keys and values.
  using UserInfo = std::map<std::string, Value, std::less<>>;

  /// localizedDescription() returns `suppliedDescription` if `userInfo` has no description.
  Error(std::string domain, std::int64_t code, UserInfo userInfo = {}, std::string suppliedDescription = {});

  /// Shares the other's state.
  Error(const Error&) noexcept;
  /// Shares the other's state.
  Error& operator=(const Error&) noexcept;
  ~Error();

  /// One of the constants named ...Domain; "", with the code 0, for an error from the library's own checks;
  /// or any other string for an error that the host created.
  const std::string& domain() const noexcept;
  /// The meaning depends on the domain.
  std::int64_t code() const noexcept;
  /// Further values. The library's keys are the constants named ...Key.
  const UserInfo& userInfo() const noexcept;

  /// A description for people; lives as long as the error's state. Empty only if `userInfo` has an empty
  /// description.
  std::string_view localizedDescription() const noexcept;

  /// A further hint for people, if there is one.
  std::optional<std::string_view> localizedRecoverySuggestion() const noexcept;

  /// Compares domain, code and `userInfo`.
  friend CAPRION_EXPORT bool operator==(const Error& a, const Error& b) noexcept;

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

}  // namespace CAPRION_NAMESPACE
