#include "client/search_answer.hpp"

#include "platform/text.hpp"

#include <array>
#include <string_view>

namespace caprion {

Error errorFor(NetworkingError kind) {
  static constexpr std::array descriptions{
      "Bad response from the server", "Couldn't convert the string into a proper URL",
      "No data was returned from the server", "Couldn't create an image from the returned data"};
  return Error(std::string(NetworkingErrorDomain), static_cast<std::int64_t>(kind), {},
               descriptions[static_cast<std::size_t>(kind)]);
}

Result<QueryResult> searchAnswer(const std::optional<std::string>& body,
                                 const std::optional<HTTPURLResponse>& response,
                                 const std::optional<Error>& error) {
  if (error) return *error;
  if (!response || !body) return errorFor(NetworkingError::badResponse);

  // The status is not looked at: the service may well answer a search with a list and a status such as 404.
  auto result = QueryResult::decode(*body);
  if (result) return result;

  const bool isText = isValidUTF8(*body);
  printLine(isText ? std::string_view(*body) : "defaultvalue");
  const Error::Value description = isText ? Error::Value(*body) : Error::Value(Error::Null());
  return Error(std::string(AnswerErrorDomain), 0, {{std::string(NSLocalizedDescriptionKey), description}},
               "The server's answer is neither a list of subtitles nor text");
}

}  // namespace caprion
