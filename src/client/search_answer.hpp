#pragma once

#include "network/url_session.hpp"

#include <caprion/query_result.hpp>
#include <caprion/result.hpp>

#include <optional>
#include <string>

namespace caprion {

/// The codes of NetworkingErrorDomain. Only the first is in use.
enum class NetworkingError { badResponse, badURL, noData, noImage };

/// The error for a code, with its description outside of `userInfo`.
Error errorFor(NetworkingError kind);

/// The result of a search, from the outcome of its task. An answer that doesn't decode is also written to
/// standard output.
Result<QueryResult> searchAnswer(std::optional<std::string> body,
                                 const std::optional<HTTPURLResponse>& response,
                                 const std::optional<Error>& error) noexcept;

}  // namespace caprion
