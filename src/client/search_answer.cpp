#include "client/search_answer.hpp"

#include "platform/error.hpp"
#include "platform/standard_output.hpp"
#include "platform/text.hpp"

#include <array>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

namespace caprion {

Error errorFor(NetworkingError kind) {
  static constexpr std::array descriptions{
      "Bad response from the server", "Couldn't convert the string into a proper URL",
      "No data was returned from the server", "Couldn't create an image from the returned data"};
  return Error(std::string(NetworkingErrorDomain), static_cast<std::int64_t>(kind), {},
               descriptions[static_cast<std::size_t>(kind)]);
}

namespace {

/// The error for an answer that is no list of subtitles. Moves the body, which may be large.
Error answerError(std::string body) {
  const bool isText = isValidUTF8(body);
  printLine(isText ? std::string_view(body) : "defaultvalue");
  Error::UserInfo userInfo;
  userInfo.emplace(NSLocalizedDescriptionKey, isText ? Error::Value(std::move(body)) : Error::Null());
  return Error(std::string(AnswerErrorDomain), 0, std::move(userInfo),
               "The server's answer is neither a list of subtitles nor text");
}

}  // namespace

Result<QueryResult> searchAnswer(std::optional<std::string> body,
                                 const std::optional<HTTPURLResponse>& response,
                                 const std::optional<Error>& error) noexcept {
  if (error) return *error;
  try {
    if (!response || !body) return errorFor(NetworkingError::badResponse);
    // The HTTP status is ignored: the service may send a list with a status such as 404.
    auto result = QueryResult::decode(*body);
    if (result || result.error().domain() != DecodingErrorDomain) return result;
    return answerError(std::move(*body));
  } catch (const std::bad_alloc&) {
    return posixError(ENOMEM);
  }
}

}  // namespace caprion
