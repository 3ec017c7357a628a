#pragma once

#include "network/url_request.hpp"

#include <caprion/result.hpp>
#include <caprion/search_request.hpp>

#include <span>

namespace CAPRION_NAMESPACE {

/// A request to the service, with the common header and timeout.
URLRequest serviceRequest(URL url);

/// The request for a search by criteria, in their order. Fails with ENOMEM only.
Result<URLRequest> searchRequest(std::span<const Arg> args) noexcept;

}  // namespace CAPRION_NAMESPACE
