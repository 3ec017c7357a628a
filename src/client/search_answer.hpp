#pragma once

#include "network/url_session.hpp"

#include <caprion/query_result.hpp>
#include <caprion/result.hpp>

#include <optional>
#include <string>

namespace caprion {

/// The library's own kinds of networking error, in the order of their codes. A server's answer gives rise to
/// the first alone.
enum class NetworkingError { badResponse, badURL, noData, noImage };

/// The kind as an error object, which describes itself without a text in its `userInfo`.
Error errorFor(NetworkingError kind);

/// What a search reports when its task completes with these. An answer that doesn't decode is also written to
/// standard output.
Result<QueryResult> searchAnswer(std::optional<std::string> body,
                                 const std::optional<HTTPURLResponse>& response,
                                 const std::optional<Error>& error) noexcept;

}  // namespace caprion
