#pragma once

#include "network/url_request.hpp"

#include <caprion/search_request.hpp>

#include <string>
#include <vector>

namespace caprion {

/// A request for something of the service, with the header and the time-out that all of them have.
URLRequest serviceRequest(URL url);

/// The request of a search by these criteria, in their order.
URLRequest searchRequest(const std::vector<Arg>& args);

}  // namespace caprion
