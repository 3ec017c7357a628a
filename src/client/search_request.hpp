#pragma once

#include "network/url_request.hpp"

#include <caprion/result.hpp>
#include <caprion/search_request.hpp>

#include <span>

namespace CAPRION_NAMESPACE {

/// A request for something of the service, with the header and the time-out that all of them have.
URLRequest serviceRequest(URL url);

/// The request of a search by these criteria, in their order. The only failure is a lack of memory: criteria
/// may be of any size.
Result<URLRequest> searchRequest(std::span<const Arg> args) noexcept;

}  // namespace CAPRION_NAMESPACE
