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

/// What to show to a person.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescriptionKey";
/// A further hint.
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey =
    "NSLocalizedRecoverySuggestionErrorKey";
/// The transport's own words on a failed transfer: more detail than the description, in no fixed form.
inline constexpr std::string_view TransportMessageKey = "TransportMessageKey";
/// The JSON key at which a decoding failed.
inline constexpr std::string_view CodingKeyKey = "CodingKeyKey";

// Domains of errors, beside "" (the empty text, code 0) of the errors that the library words itself.

/// HTTP transport; the code is one of the well-known negative numbers, such as -999 for a cancelled task.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
/// Files, processes and memory; the code is an errno value.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
/// A search answer that isn't a JSON array; the code is 0 and the description is the answer's body.
inline constexpr std::string_view AnswerErrorDomain = "org.caprion.answer";
/// The library's own kinds of networking error; code 0 is a bad response from the server.
inline constexpr std::string_view NetworkingErrorDomain = "Caprion.NetworkingError";
/// JSON that did not decode; the code is a DecodingErrorKind, and CodingKeyKey names the key at fault.
inline constexpr std::string_view DecodingErrorDomain = "Caprion.DecodingError";
/// A value that JSON can't hold, such as text that is not UTF-8; code 0.
inline constexpr std::string_view EncodingErrorDomain = "Caprion.EncodingError";

/// What was wrong with a JSON value: the code of an Error of DecodingErrorDomain.
enum class DecodingErrorKind : std::int64_t {
  typeMismatch,   ///< a value of another JSON type
  valueNotFound,  ///< null
  keyNotFound,    ///< no such key
  dataCorrupted,  ///< not JSON at all, or a text outside its vocabulary
};

/// Why an operation failed: a domain, a code within it, and a map of keyed values.
///
/// An Error is a value that shares one immutable state with its copies; an error that is "passed on
/// unchanged" is the same state. Any thread may use it.
class CAPRION_EXPORT Error {
 public:
  /// Stands in `userInfo` where there is a key but no text to go with it.
  struct Null {
    /// Always true.
    friend bool operator==(Null, Null) noexcept { return true; }
  };
  /// A text, or the mark that there is none.
  using Value = std::variant<std::string, Null>;
  /// Values by their keys.
  using UserInfo = std::map<std::string, Value, std::less<>>;

  /// `suppliedDescription` is what localizedDescription() gives when `userInfo` holds no text for it.
  Error(std::string domain, std::int64_t code, UserInfo userInfo = {}, std::string suppliedDescription = {});

  /// Shares the state.
  Error(const Error&) noexcept;
  /// Shares the other's state from now on.
  Error& operator=(const Error&) noexcept;
  ~Error();

  /// One of the texts named ...Domain; "", with the code 0, for an error that the library words itself; or
  /// the host's own for an error that the host made.
  const std::string& domain() const noexcept;
  /// What it means depends on the domain.
  std::int64_t code() const noexcept;
  /// The keyed values. The library's keys are the texts named ...Key.
  const UserInfo& userInfo() const noexcept;

  /// What to show to a person; lives as long as the error's state. Never empty, unless the description itself
  /// is the empty text.
  std::string_view localizedDescription() const noexcept;

  /// A further hint, where there is one.
  std::optional<std::string_view> localizedRecoverySuggestion() const noexcept;

  /// Equal domain, code and keyed values.
  friend CAPRION_EXPORT bool operator==(const Error& a, const Error& b) noexcept;

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

}  // namespace CAPRION_NAMESPACE
